#include "tools/orvixmb/uComparison.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFold.h"
#include "platform/rtl/uFormat.h"
#include "tools/display/uShownText.h"
#include "tools/orvixmb/uLetterWriter.h"

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;

constexpr const char* kKinds[] = {"changed", "not in the snapshot", "not in the form",
                                  "other layout", "not read"};

const char* KindText(const TDifference& difference) {
  return kKinds[static_cast<std::size_t>(difference.Kind)];
}

// The snapshot's registers by name; those with one name in their order.
class TUnmatched {
 public:
  explicit TUnmatched(const TSnapshot& snapshot) {
    for (const TSnapshotRegister& reg : snapshot.Registers) {
      fByName.emplace(FoldCase(reg.Name), &reg);
    }
  }

  std::optional<TSnapshotRegister> Take(const std::string& name) {
    const auto found = fByName.lower_bound(FoldCase(name));
    if (found == fByName.end() || found->first != FoldCase(name)) return std::nullopt;
    std::optional<TSnapshotRegister> reg = *found->second;
    fByName.erase(found);
    return reg;
  }

  bool Has(const TSnapshotRegister& reg) const {
    const auto [first, last] = fByName.equal_range(FoldCase(reg.Name));
    return std::any_of(first, last, [&](const auto& entry) { return entry.second == &reg; });
  }

 private:
  std::multimap<std::string, const TSnapshotRegister*> fByName;
};

bool SamePlace(const TSnapshotRegister& a, const TSnapshotRegister& b) {
  return a.Adress == b.Adress && a.Function == b.Function && a.Raw.size() == b.Raw.size();
}

// Nothing when the device holds what the snapshot has.
std::optional<EDifference> KindOf(const TDifference& difference) {
  if (!difference.Error.empty()) return EDifference::NotRead;
  if (!difference.Was) return EDifference::NotInSnapshot;
  if (!SamePlace(*difference.Was, *difference.Now)) return EDifference::OtherLayout;
  if (difference.Was->Raw != difference.Now->Raw) return EDifference::Changed;
  return std::nullopt;
}

std::string PlaceText(const TSnapshotRegister& reg) {
  return Format("address %u, function %u, %u bytes", {reg.Adress, reg.Function, reg.Raw.size()});
}

struct TSide {
  std::string Value, Raw;
};

TSide SideOf(const TDifference& difference, const std::optional<TSnapshotRegister>& reg) {
  if (!reg) return {};
  if (difference.Kind == EDifference::OtherLayout) return {PlaceText(*reg), HexText(reg->Raw)};
  const bool bits = reg->Text.find('|') != std::string::npos;
  return {bits ? BitTexts(reg->Text) : reg->Text, HexText(reg->Raw)};
}

TSide NowOf(const TDifference& difference) {
  if (difference.Kind == EDifference::NotRead) return {difference.Error, ""};
  return SideOf(difference, difference.Now);
}

TJson SideJson(const std::optional<TSnapshotRegister>& reg) {
  if (!reg) return {};
  return {{"adress", reg->Adress},
          {"function", reg->Function},
          {"raw", HexText(reg->Raw, "")},
          {"text", reg->Text}};
}

void CheckLength(const TDifference& difference) {
  if (!difference.Was || !difference.Now) return;
  const std::size_t was = difference.Was->Raw.size(), now = difference.Now->Raw.size();
  if (was == now) return;
  throw Exception(Format("%s has %u bytes in the snapshot and %u in the form; nothing is restored",
                         {difference.Now->Name, was, now}));
}

// Empty when a write brings the register back.
std::string Obstacle(const TDifference& difference, const TMBRegs& regs) {
  switch (difference.Kind) {
    case EDifference::NotInForm:
      return "it is not in the form";
    case EDifference::OtherLayout:
      return "it lies elsewhere in the form: " + PlaceText(*difference.Now);
    case EDifference::NotRead:
      return "it was not read: " + difference.Error;
    default:
      break;
  }
  const std::string obstacle = WriteObstacle(*regs.GetItem(difference.Index));
  return obstacle.empty() ? obstacle : "it " + obstacle;
}

}  // namespace

std::vector<TDifference> Compare(const TSnapshot& snapshot, std::span<const TRegisterRow> rows) {
  TUnmatched unmatched(snapshot);
  std::vector<TDifference> differences;
  for (const TRegisterRow& row : rows) {
    TDifference difference{EDifference::Changed, unmatched.Take(row.Name), SnapshotRegister(row),
                           row.Error, row.Index};
    const auto kind = KindOf(difference);
    if (!kind) continue;
    difference.Kind = *kind;
    differences.push_back(std::move(difference));
  }
  for (const TSnapshotRegister& reg : snapshot.Registers) {
    if (!unmatched.Has(reg)) continue;
    TDifference& difference = differences.emplace_back();
    difference.Kind = EDifference::NotInForm;
    difference.Was = reg;
  }
  return differences;
}

TTextTable ComparisonTable(std::span<const TDifference> differences, const std::string& was,
                           const std::string& now) {
  TTextTable table{{{"name"},
                    {"address", EAlign::Right},
                    {"difference"},
                    {was},
                    {now},
                    {was + " bytes"},
                    {now + " bytes"}},
                   {}};
  for (const TDifference& difference : differences) {
    const TSnapshotRegister& reg = difference.Register();
    const TSide before = SideOf(difference, difference.Was), after = NowOf(difference);
    table.Rows.push_back({reg.Name, Format("%u", {reg.Adress}), KindText(difference), before.Value,
                          after.Value, before.Raw, after.Raw});
  }
  return table;
}

TJson ComparisonJson(std::span<const TDifference> differences) {
  TJson json = TJson::array();
  for (const TDifference& difference : differences) {
    const bool read = difference.Kind != EDifference::NotRead;
    json.push_back({{"name", difference.Register().Name},
                    {"difference", KindText(difference)},
                    {"was", SideJson(difference.Was)},
                    {"now", read ? SideJson(difference.Now) : TJson()},
                    {"error", read ? TJson() : TJson(difference.Error)}});
  }
  return json;
}

TRestorePlan PlanRestore(std::span<const TDifference> differences, const TMBRegs& regs) {
  TRestorePlan plan;
  for (const TDifference& difference : differences) {
    if (!difference.Was) continue;
    CheckLength(difference);
    std::string obstacle = Obstacle(difference, regs);
    if (obstacle.empty()) {
      plan.Writes.push_back(difference);
    } else {
      plan.NotRestorable.push_back({difference, std::move(obstacle)});
    }
  }
  return plan;
}

}  // namespace OrvixModBus
