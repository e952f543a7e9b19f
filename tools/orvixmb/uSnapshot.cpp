#include "tools/orvixmb/uSnapshot.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uTextFile.h"
#include "tools/display/uShownText.h"
#include "tools/orvixmb/uJsonText.h"
#include "tools/simulator/uJsonNode.h"

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;

constexpr std::string_view kKind = "orvixmb snapshot";
constexpr std::uint64_t kVersion = 1;

TJson RegisterJson(const TSnapshotRegister& reg) {
  return {{"name", reg.Name},
          {"adress", reg.Adress},
          {"function", reg.Function},
          {"raw", HexText(reg.Raw, "")},
          {"text", reg.Text}};
}

TSnapshotRegister ReadRegister(const TJsonNode& node) {
  node.AllowKeys({"name", "adress", "function", "raw", "text"});
  TSnapshotRegister reg;
  reg.Name = node.Get("name").Text();
  reg.Adress = static_cast<std::uint32_t>(
      node.Get("adress").Integer(0, std::numeric_limits<std::uint32_t>::max()));
  reg.Function = static_cast<std::uint8_t>(node.Get("function").Integer(0, 255));
  reg.Raw = node.Get("raw").HexText();
  reg.Text = node.Get("text").Text();
  return reg;
}

// Another file of the tool, or of anybody, is told before its parts are looked at.
void CheckKind(const TJsonNode& root) {
  const auto kind = root.IsObject() ? root.Find("kind") : std::nullopt;
  if (!kind || kind->Text() != kKind) root.Fail(Format("is no \"%s\"", {kKind}));
  const TJsonNode version = root.Get("version");
  const std::uint64_t number = version.Integer(0, std::numeric_limits<std::uint64_t>::max());
  if (number != kVersion) {
    version.Fail(Format("is %u, and only version %u can be read", {number, kVersion}));
  }
}

bool IsUtcText(std::string_view text) {
  constexpr std::string_view kShape = "0000-00-00T00:00:00Z";
  return std::ranges::equal(text, kShape, [](char given, char shape) {
    return shape == '0' ? '0' <= given && given <= '9' : given == shape;
  });
}

TSnapshot ReadSnapshot(const TJsonNode& root) {
  CheckKind(root);
  root.AllowKeys({"kind", "version", "letter", "when", "port", "server", "registers"});
  TSnapshot snapshot;
  snapshot.Letter = root.Get("letter").Text();
  const TJsonNode when = root.Get("when");
  snapshot.When = when.Text();
  if (!IsUtcText(snapshot.When)) when.Fail("must be like 2026-07-03T12:34:56Z");
  snapshot.Port = root.Get("port").Text();
  snapshot.Server = static_cast<std::uint8_t>(root.Get("server").Integer(0, 255));
  for (const TJsonNode& reg : root.Get("registers").Items()) {
    snapshot.Registers.push_back(ReadRegister(reg));
  }
  return snapshot;
}

}  // namespace

TSnapshotRegister SnapshotRegister(const TRegisterRow& row) {
  return {row.Name, row.Adress, row.FuncRead, row.Raw, row.Text};
}

std::vector<TSnapshotRegister> SnapshotRegisters(std::span<const TRegisterRow> rows) {
  std::vector<TSnapshotRegister> registers;
  for (const TRegisterRow& row : rows) {
    if (row.Error.empty()) registers.push_back(SnapshotRegister(row));
  }
  return registers;
}

std::string UtcText(std::chrono::sys_seconds time) {
  using namespace std::chrono;
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  return Format("%.4d-%.2d-%.2dT%.2d:%.2d:%.2dZ",
                {static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                 static_cast<unsigned>(date.day()), clock.hours().count(), clock.minutes().count(),
                 clock.seconds().count()});
}

std::string SnapshotText(const TSnapshot& snapshot) {
  TJson registers = TJson::array();
  for (const TSnapshotRegister& reg : snapshot.Registers) registers.push_back(RegisterJson(reg));
  return JsonText({{"kind", kKind},
                   {"version", kVersion},
                   {"letter", snapshot.Letter},
                   {"when", snapshot.When},
                   {"port", snapshot.Port},
                   {"server", snapshot.Server},
                   {"registers", std::move(registers)}});
}

TSnapshot ReadSnapshotText(std::string_view text, const std::string& name) {
  const nlohmann::json json = ParseJson(text, name);
  return ReadSnapshot(TJsonNode(json, name + ":"));
}

void WriteSnapshotFile(const std::string& path, const TSnapshot& snapshot) {
  WriteWholeFile(path, SnapshotText(snapshot));
}

TSnapshot ReadSnapshotFile(const std::string& path) {
  return ReadSnapshotText(ReadWholeFile(path), path);
}

}  // namespace OrvixModBus
