#include "uMBLib.h"

#include <cstddef>
#include <iterator>
#include <optional>

#include "platform/model/uStringList.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

constexpr std::string_view kNumberMark = "%";
constexpr std::string_view kRangeSep = "|";
constexpr std::string_view kIndexMark = "!";
constexpr int kNoIndex = -1;
constexpr int kNoBit = -1;
// About as many characters a series may become: a line that would fill the memory is a mistake.
constexpr std::size_t kMostCharacters = std::size_t{256} << 20;

// One series: a name with number marks, the first and the last number, the least count of digits.
struct TSeries {
  std::string name;
  std::int32_t first;
  std::int32_t last;
  std::string width;
};

TSeries ReadSeries(const TStringDynArray& fields) {
  if (fields.size() != 3 && fields.size() != 4) {
    throw Exception("TMBLib.RegNameDecode - Wrong format of register name mask");
  }
  return {fields[0], StrToInt(fields[1]), StrToInt(fields[2]),
          fields.size() == 4 ? fields[3] : "1"};
}

TStringDynArray Expand(const TSeries& series, std::string_view numberMark) {
  const std::string format = "%." + series.width + "d";
  TStringDynArray names;
  std::size_t characters = 0;
  for (std::int64_t number = series.first; number <= series.last; ++number) {
    const std::string text = Format(format, {number});
    characters += sizeof(std::string) + series.name.size() * text.size();
    if (characters > kMostCharacters) throw Exception("The series " + series.name + " is too long");
    names.push_back(ReplaceAll(series.name, numberMark, text));
  }
  return names;
}

// Where a part in brackets stands: the first opening to the first closing one, in this order.
struct TBracketed {
  std::size_t open;
  std::size_t close;
};

std::optional<TBracketed> FindBracketed(std::string_view s, char open, char close) {
  const TBracketed found{s.find(open), s.find(close)};
  if (found.close == std::string_view::npos || found.open > found.close) return std::nullopt;
  return found;
}

std::string WithoutBracketed(std::string_view s, char open, char close) {
  std::string result(s);
  if (const auto part = FindBracketed(s, open, close)) {
    result.erase(part->open, part->close - part->open + 1);
  }
  return result;
}

}  // namespace

TStringDynArray TMBLib::RegNameDecode(std::string_view regName, std::string_view numberMark,
                                      std::string_view rangeSep, std::string_view indexMark,
                                      int index, std::string_view indexFormat) {
  std::string line(regName);
  if (index > kNoIndex) line = ReplaceAll(line, indexMark, Format(indexFormat, {index}));
  const TStringDynArray fields = SplitAtAny(line, rangeSep);
  if (fields.size() <= 1) return TStringDynArray(1, line);
  return Expand(ReadSeries(fields), numberMark);
}

TStringDynArray TMBLib::RegStrDynArDecode(const TStringDynArray& names, std::string_view numberMark,
                                          std::string_view rangeSep, std::string_view indexMark,
                                          int index, std::string_view indexFormat) {
  TStringDynArray result;
  for (const std::string& name : names) {
    TStringDynArray part = RegNameDecode(name, numberMark, rangeSep, indexMark, index, indexFormat);
    result.insert(result.end(), std::make_move_iterator(part.begin()),
                  std::make_move_iterator(part.end()));
  }
  return result;
}

TStringDynArray TMBLib::RegStrDynArDecode(const TStringDynArray& names, int index,
                                          std::string_view indexFormat) {
  return RegStrDynArDecode(names, kNumberMark, kRangeSep, kIndexMark, index, indexFormat);
}

void TMBLib::RegNameListDecode(TStringList* list, std::string_view numberMark,
                               std::string_view rangeSep) {
  if (list == nullptr) return;
  TStringDynArray lines;
  for (int i = 0; i < list->Count(); ++i) lines.push_back(list->Strings(i));
  list->Clear();
  for (const std::string& line : lines) {
    for (const auto& name : RegNameDecode(line, numberMark, rangeSep, kIndexMark, kNoIndex, "%d")) {
      list->Add(name);
    }
  }
}

std::string TMBLib::DeleteBitFromRegName(std::string_view s) {
  return WithoutBracketed(s, '[', ']');
}

int TMBLib::BitValueFromRegName(std::string_view s) {
  const auto bit = FindBracketed(s, '[', ']');
  return bit ? StrToIntDef(s.substr(bit->open + 1, bit->close - bit->open - 1), kNoBit) : kNoBit;
}

std::string TMBLib::DeleteCountMaskFromRegName(std::string_view s) {
  return std::string(s.substr(0, s.find(kRangeSep)));
}

std::string TMBLib::DeleteMaskFromRegName(std::string_view s) {
  return WithoutBracketed(s, '{', '}');
}

}  // namespace OrvixModBus
