#include "tools/orvixmb/uEnteredValue.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/rtl/uCodePage.h"
#include "platform/rtl/uFold.h"
#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"
#include "tools/display/uShownText.h"
#include "tools/orvixmb/uFormValues.h"
#include "tools/orvixmb/uLetterWriter.h"
#include "tools/orvixmb/uRawNumber.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kIntegerSize = 4;

// One text for a state of a bit.
struct TBitText {
  std::int32_t Bit;
  bool State;
  std::string Text;
};

std::vector<TBitText> BitTextsOf(const TMBRegTypeBin& bin) {
  std::vector<TBitText> texts;
  const auto add = [&](std::int32_t bit, bool state, const std::string& text) {
    if (!text.empty()) texts.push_back({bit, state, text});
  };
  const auto forEachBit = [](const TStringList& lines, auto action) {
    for (int i = 0; i < lines.Count(); ++i) {
      std::int32_t bit = 0;
      if (TryStrToInt(lines.Names(i), bit)) action(bit, std::string(lines.ValueFromIndex(i)));
    }
  };
  forEachBit(bin.Dictionary(), [&](std::int32_t bit, const std::string&) {
    for (const bool state : {false, true}) add(bit, state, Trim(bin.GetValue(bit, state)));
  });
  forEachBit(bin.Bits(), [&](std::int32_t bit, const std::string& name) { add(bit, true, name); });
  return texts;
}

std::string Joined(const std::vector<TBitText>& texts) {
  std::string joined;
  for (const TBitText& each : texts) joined += (joined.empty() ? "" : ", ") + each.Text;
  return joined;
}

class TEntry {
 public:
  TEntry(const TMBReg& reg, const std::string& text)
      : fReg(reg), fText(text), fSize(reg.Data().size()) {}

  Bytes Data() const {
    if (fReg.MBFuncWrite() == kWriteCoil) return Coil();
    return fText.starts_with('$') ? Raw() : Typed();
  }

 private:
  [[noreturn]] void Refuse(const std::string& why, const std::string& allowed = {}) const {
    throw EUsageError(fReg.Name() + "=" + fText + ": " + why +
                      (allowed.empty() ? "" : " (" + allowed + ")"));
  }

  std::string SizeText() const { return Format(fSize == 1 ? "%d byte" : "%d bytes", {fSize}); }

  // Every byte of a register of coils has its state.
  Bytes Coil() const {
    if (fText == "0" || fText == "1") return Bytes(fSize, fText == "1" ? 1 : 0);
    const Bytes data = fText.starts_with('$') ? Raw() : Typed();
    return Bytes(fSize, std::ranges::all_of(data, [](std::uint8_t b) { return b == 0; }) ? 0 : 1);
  }

  Bytes Raw() const {
    std::string digits = fText;
    std::erase(digits, ' ');
    const bool hex = digits.find_first_not_of("0123456789ABCDEFabcdef", 1) == std::string::npos;
    if (!hex || digits.size() % 2 == 0) Refuse("no pairs of hexadecimal digits behind $");
    Bytes data = TMBLib::HexStrToByteArray(digits, true);
    if (data.size() != fSize) Refuse(Format("%d bytes, and it has %d", {data.size(), fSize}));
    return data;
  }

  Bytes Typed() const {
    if (fReg.RegType() == TRegType::rtStr) return Text();
    if (fText.empty()) Refuse("no value");
    if (fReg.RegType() == TRegType::rtStructur) return Code();
    const TMBRegTypeColItem* const type = fReg.GetRegTypeItem();
    if (const auto* number = dynamic_cast<const TMBRegTypeNumber*>(type)) return Number(*number);
    if (const auto* list = dynamic_cast<const TMBRegTypeList*>(type)) return Listed(*list);
    if (const auto* bin = dynamic_cast<const TMBRegTypeBin*>(type)) return Bits(*bin);
    Refuse("no catalogue describes its type, so only bytes can be written, as in $0102");
  }

  Bytes Text() const {
    Bytes data = TAnsiPage().Encode(fText);
    if (AnsiToUtf8(data) != fText) {
      Refuse(Format("code page %d lacks some of its characters", {AnsiCodePage()}));
    }
    if (data.size() > fSize) Refuse(Format("%d characters, and it has %d", {data.size(), fSize}));
    data.resize(fSize, ' ');
    return data;
  }

  // The whole number that the text is, as far as the bytes hold it.
  std::optional<std::uint32_t> Whole() const {
    std::int32_t value = 0;
    if (!TryStrToInt(fText, value)) return std::nullopt;
    const auto bits = static_cast<std::uint32_t>(value);
    const bool negative = value < 0 && fText.starts_with('-');
    if (negative || fSize > kIntegerSize || (std::uint64_t{bits} >> (8 * fSize)) != 0) {
      Refuse("does not fit " + SizeText());
    }
    return bits;
  }

  // Such a value is read with its low byte first.
  Bytes Code() const {
    const auto code = Whole();
    if (!code) Refuse("no whole number");
    Bytes data = BigEndian(*code, fSize);
    std::ranges::reverse(data);
    return data;
  }

  Bytes Listed(const TMBRegTypeList& list) const {
    if (fSize > kIntegerSize) Refuse("a list has no codes of more than 4 bytes");
    std::vector<std::int32_t> codes;
    for (int i = 0; i < list.Dictionary().Count(); ++i) {
      std::int32_t code = 0;
      if (SameText(list.Dictionary().ValueFromIndex(i), fText) &&
          TryStrToInt(list.Dictionary().Names(i), code)) {
        codes.push_back(code);
      }
    }
    if (codes.size() > 1) Refuse("more than one code has this name", list.ConstraintStr());
    const auto code = codes.empty() ? Whole() : static_cast<std::uint32_t>(codes.front());
    if (!code || list.GetValue(static_cast<std::int32_t>(*code)).empty()) {
      Refuse("not in its list", list.ConstraintStr());
    }
    if (fSize < kIntegerSize && (*code >> (8 * fSize)) != 0) {
      Refuse(Format("code %u does not fit %s", {*code, SizeText()}));
    }
    return BigEndian(*code, fSize);
  }

  Bytes Bits(const TMBRegTypeBin& bin) const {
    if (fSize <= kIntegerSize) {
      if (const auto all = Whole()) return BigEndian(*all, fSize);
    }
    const std::vector<TBitText> texts = BitTextsOf(bin);
    std::map<std::int32_t, bool> states;
    for (const std::string& part : Split(fText, ',')) {
      const TBitText& found = BitOf(texts, Trim(part));
      const auto [known, isNew] = states.emplace(found.Bit, found.State);
      if (!isNew && known->second != found.State) {
        Refuse(Format("bit %d is told to be 0 and 1", {found.Bit}));
      }
    }
    Bytes data(fSize);
    for (const auto& [bit, state] : states) {
      if (bit < 0 || std::cmp_greater_equal(bit, 8 * fSize)) {
        Refuse(Format("bit %d does not fit %s", {bit, SizeText()}));
      }
      TMBLib::BitToAr(data, static_cast<std::uint16_t>(bit), state, true);
    }
    return data;
  }

  const TBitText& BitOf(const std::vector<TBitText>& texts, const std::string& wanted) const {
    const TBitText* found = nullptr;
    for (const TBitText& each : texts) {
      if (!SameText(each.Text, wanted)) continue;
      if (found != nullptr && (found->Bit != each.Bit || found->State != each.State)) {
        Refuse("several bits have the text '" + wanted + "'; write them as one number");
      }
      found = &each;
    }
    if (found == nullptr) Refuse("no bit has the text '" + wanted + "'", Joined(texts));
    return *found;
  }

  Bytes Number(const TMBRegTypeNumber& number) const {
    double value = 0;
    if (!TryStrToFloat(fText, value) || !std::isfinite(value)) {
      Refuse("no number", number.ConstraintStr());
    }
    if (number.Multiplier() == 0) Refuse("its type has a Multiplier of 0");
    const TRawNumber form = RawNumberOf(number, fSize);
    if (form.Size < std::size_t{form.IntPart} + form.RealPart) Refuse("its type has more bytes");
    if (form.Size < fSize) {
      Refuse("its number is only a part of its bytes; write all of them, as in $0102");
    }
    const double raw = RawOf(number, form, value);
    if (!form.Bounds.Holds(raw)) Refuse("does not fit " + SizeText());
    Bytes data = form.OwnBytes(raw);
    if (IsMissingValue(data)) {
      Refuse("its bytes " + HexText(data) + " say that there is no value; write them as $" +
             HexText(data, "") + " if that is meant");
    }
    return data;
  }

  // The raw number, within the range of the type. One without a fraction is rounded here, for a
  // quotient such as 2.8 / 0.1 is just below 28; what is no multiple is refused.
  double RawOf(const TMBRegTypeNumber& number, const TRawNumber& form, double value) const {
    const double quotient = value / number.Multiplier();
    const double tolerance = 1e-9 * std::max(1.0, std::abs(quotient));
    const double nearest = std::round(quotient);
    const bool isWhole = std::abs(quotient - nearest) <= tolerance;
    const double raw = isWhole ? nearest : quotient;
    if (!TRange{number.MinValue(), number.MaxValue()}.Holds(raw)) {
      Refuse("out of range", number.ConstraintStr());
    }
    if (form.IsWhole() && !isWhole) {
      Refuse("no multiple of " + FloatToStr(number.Multiplier()), number.ConstraintStr());
    }
    return raw;
  }

  const TMBReg& fReg;
  const std::string& fText;
  const std::size_t fSize;
};

}  // namespace

Bytes EnteredBytes(const TMBReg& reg, const std::string& text) { return TEntry(reg, text).Data(); }

}  // namespace OrvixModBus
