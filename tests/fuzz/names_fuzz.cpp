// Name lines, and registers that go by them: series are expanded or refused, suffixes and masks
// are cut off once, and a set of registers that are added, renamed and deleted finds each by its
// name.

#include <algorithm>
#include <map>

#include "platform/rtl/uFold.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/input.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {
namespace {

constexpr int kMostOperations = 60;

// Longer ones are refused, or take too long here.
bool IsShortSeries(std::string_view line) {
  const TStringDynArray fields = SplitAtAny(line, "|");
  std::int32_t first = 0, last = 0, width = 1;
  if (fields.size() < 3 || !TryStrToInt(fields[1], first) || !TryStrToInt(fields[2], last)) {
    return true;  // refused
  }
  if (fields.size() > 3 && !TryStrToInt(fields[3], width)) width = 9999;
  const std::int64_t count = std::int64_t{last} - first + 1;
  return count * std::clamp(width + std::int64_t{12}, std::int64_t{12}, std::int64_t{9999}) *
             static_cast<std::int64_t>(fields[0].size() + 1) <
         100'000;
}

void RequireSeries(std::string_view line, const TStringDynArray& names) {
  const TStringDynArray fields = SplitAtAny(line, "|");
  if (fields.size() < 2) {
    Require(names == TStringDynArray{std::string(line)}, "a line without a range is its own name");
    return;
  }
  const std::int64_t first = StrToInt(fields[1]), last = StrToInt(fields[2]);
  Require(std::cmp_equal(names.size(), std::max<std::int64_t>(0, last - first + 1)),
          "a series has as many names as numbers");
  const bool marked = fields[0].find('%') != std::string::npos;
  // The width is a part of a format, which may write the mark itself: "2X%%" gives "03%d".
  const bool written = fields.size() > 3 && fields[3].find('%') != std::string::npos;
  for (const std::string& name : names) {
    Require(marked || name == fields[0], "without a mark all names are the same");
    Require(written || name.find('%') == std::string::npos, "no mark is left");
  }
}

void ExpandLine(std::string_view line, int index) {
  if (!IsShortSeries(line)) return;
  try {
    RequireSeries(line, TMBLib::RegNameDecode(line, "%", "|", "!", -1, "%d"));
  } catch (const EConvertError&) {
  } catch (const Exception& error) {
    Require(error.what() ==
                std::string_view("TMBLib.RegNameDecode - Wrong format of register name mask"),
            "only a wrong mask is refused");
  }
  const std::string numbered = ReplaceAll(line, "!", IntToStr(index));
  if (index < 0 || !IsShortSeries(numbered)) return;
  try {
    const auto names = TMBLib::RegStrDynArDecode({std::string(line)}, index, "%d");
    Require(names == TMBLib::RegStrDynArDecode({numbered}, -1, "%d"), "the index comes first");
  } catch (const Exception&) {
  }
}

// What stands from the first opening to the first closing bracket is cut out, nothing else.
void RequireCut(std::string_view whole, std::string_view cut, char open, char close) {
  const std::size_t from = whole.find(open), to = whole.find(close);
  if (from >= to || to == whole.npos) {
    Require(whole == cut, "what has no brackets stays");
    return;
  }
  Require(cut == std::string(whole.substr(0, from)) + std::string(whole.substr(to + 1)),
          "brackets are cut out");
}

void CutLine(std::string_view line) {
  RequireCut(line, TMBLib::DeleteBitFromRegName(line), '[', ']');
  RequireCut(line, TMBLib::DeleteMaskFromRegName(line), '{', '}');
  const std::string uncounted = TMBLib::DeleteCountMaskFromRegName(line);
  Require(line.starts_with(uncounted) && uncounted.find('|') == std::string::npos,
          "a name ends before its range");
  std::int32_t bit = -1;
  const std::size_t from = line.find('['), to = line.find(']');
  if (from < to && to != line.npos) TryStrToInt(line.substr(from + 1, to - from - 1), bit);
  Require(TMBLib::BitValueFromRegName(line) == bit, "the bit is the number in brackets");
}

// ---- a set of registers against a plain map -----------------------------------------------------

std::string KeyOf(const std::string& name) { return FoldCase(TMBLib::DeleteBitFromRegName(name)); }

class TNamedSet {
 public:
  explicit TNamedSet(TFuzzInput& input) : fInput(input) {}

  void Run() {
    for (int i = 0; i < kMostOperations && !fInput.AtEnd(); ++i) Act(fInput.Byte());
    Compare();
  }

 private:
  void Act(std::uint8_t what) {
    TMBReg* const reg = fRegs.Count() > 0 ? fRegs.GetItem(what / 8 % fRegs.Count()) : nullptr;
    switch (what % 8) {
      case 0:
      case 1:
      case 2:
        return Rename(*fRegs.Add(), NextName());
      case 3:
        if (reg != nullptr) Rename(*reg, NextName());
        return;
      case 4:
        if (reg != nullptr) Delete(*reg);
        return;
      case 5:
        return DeleteName(NextName());
      case 6:
        if (reg != nullptr) return AddLine(NextName(), *reg);
        return;
      default:
        Compare();
    }
  }

  std::string NextName() { return std::string(fInput.Line()); }

  void Rename(TMBReg& reg, const std::string& name) {
    if (name != reg.Name()) {
      fModel.erase(KeyOf(reg.Name()));
      fModel.try_emplace(KeyOf(name), &reg);
    }
    reg.SetDisplayName(name);
  }

  void AddLine(const std::string& name, TMBReg& reg) {
    fModel.try_emplace(KeyOf(name), &reg);
    fRegs.AddRegItem(name, reg);
  }

  void Delete(TMBReg& reg) {
    Forget(reg);
    fRegs.Delete(reg.Index());
  }

  void Forget(const TMBReg& reg) {
    std::erase_if(fModel, [address = &reg](const auto& line) { return line.second == address; });
  }

  void DeleteName(const std::string& name) {
    const auto found = fModel.find(KeyOf(name));
    const bool known = found != fModel.end();
    if (known) Forget(*found->second);
    Require(fRegs.DeleteByName(name) == known, "what is there is deleted, and nothing else");
  }

  void Compare() const {
    for (const auto& [key, reg] : fModel) {
      Require(fRegs.RegByName(key) == reg || KeyOf(key) != key, "a name finds its register");
    }
    std::size_t lines = 0;
    for (int i = 0; i < fRegs.Count(); ++i) {
      const auto found = fModel.find(KeyOf(fRegs.GetItem(i)->Name()));
      const TMBReg* const wanted = found != fModel.end() ? found->second : nullptr;
      Require(fRegs.GetItemByName(fRegs.GetItem(i)->Name()) == wanted, "a register is found");
      const int position = fRegs.NameIndex(fRegs.GetItem(i)->Name());
      Require((position >= 0) == (wanted != nullptr), "what is found has a place");
      if (position < 0) continue;
      Require(fRegs.RegByIndex(position) == wanted, "its place is its register's");
      ++lines;
    }
    Require(lines <= static_cast<std::size_t>(fRegs.Count()), "no register has two places");
  }

  TFuzzInput& fInput;
  TMBLetter fLetter;
  TMBRegs& fRegs = fLetter.Regs();
  std::map<std::string, TMBReg*> fModel;
};

// ---- registers from a list of names -------------------------------------------------------------

class TNamedFill : public TMBRegsAutoFill {
 protected:
  void GetRegInfo(TMBReg& reg, bool& done) override {
    reg.SetRegsCount(2);
    done = true;
  }
  void GetRegInfoWithOutType(TMBReg& reg, bool& done) override { GetRegInfo(reg, done); }
};

void FillFrom(std::string_view lines, std::uint8_t how) {
  TMBTypeInfo types;
  TMBLetter letter;
  letter.Regs().SetMBTypeInfo(&types);
  TNamedFill fill;
  fill.SetMBLetter(&letter);
  fill.RegNameList().SetText(lines);
  if ((how & 1) != 0) {
    fill.FillRegs();
  } else {
    fill.FillRegsFast({}, (how & 2) != 0);
  }
  Require(letter.Regs().Count() <= fill.RegNameList().Count(), "a line gives one register at most");
  for (int i = 0; i < fill.RegNameList().Count(); ++i) {
    std::string name = Trim(fill.RegNameList().Strings(i));
    // On purpose a new register takes over the line of the name that it is born with.
    if (name.empty() || FoldCase(name).starts_with("reg")) continue;
    if ((how & 1) != 0) name = TMBLib::DeleteMaskFromRegName(TMBLib::DeleteBitFromRegName(name));
    Require(letter.Regs().GetItemByName(name) != nullptr, "a line gives its register");
  }
}

}  // namespace

void FuzzOne(std::string_view bytes) {
  TFuzzInput input(bytes);
  const std::uint8_t what = input.Byte();
  if (what % 4 == 0) return TNamedSet(input).Run();
  if (what % 4 == 1) return FillFrom(input.Rest(), static_cast<std::uint8_t>(what / 4));
  const int index = what / 4 % 16 - 1;
  while (!input.AtEnd()) {
    const std::string_view line = input.Line();
    ExpandLine(line, index);
    CutLine(line);
  }
}

}  // namespace OrvixModBus
