// Bytes as text and text as bytes: what is written is read back the same, what is no number is
// refused by every way of asking, and no byte of a text gets lost.

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/model/uStringList.h"
#include "platform/rtl/uCodePage.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"
#include "platform/rtl/uVariant.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/input.h"
#include "uMBLib.h"

namespace OrvixModBus {
namespace {

bool IsHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

template <class TAction>
bool IsRefused(TAction action) {
  try {
    action();
    return false;
  } catch (const EConvertError&) {
    return true;
  }
}

// ---- bytes, written and read --------------------------------------------------------------------

void WriteHex(const Bytes& bytes) {
  Require(TMBLib::HexStrToByteAr(TMBLib::ByteArToHexStr(bytes)) == bytes, "reversed bytes return");
  for (const bool natural : {false, true}) {
    const std::string text = TMBLib::ByteArrayToHexStr(bytes, natural);
    Require(text.size() == 1 + 2 * bytes.size(), "a byte has two digits");
    Require(TMBLib::HexStrToByteArray(text, natural) == bytes, "bytes return in either order");
  }
  const std::string smooth = TMBLib::ByteArToHexStrSmooth(bytes);
  Require(TMBLib::HexStrToByteArSep(smooth, U' ') == bytes, "separated bytes return");
}

void WriteBits(const Bytes& bytes) {
  const std::string text = TMBLib::ByteArToBinStr(bytes, true);
  Require(text.size() == 8 * bytes.size(), "a byte has eight bits");
  Require(TMBLib::ByteArToBinStr(bytes).size() == text.size(), "in every order");
  const std::size_t count = std::min<std::size_t>(text.size(), 65535);
  for (std::size_t bit = 0; bit < count; ++bit) {
    const auto number = static_cast<std::uint16_t>(bit);
    Require((text[text.size() - 1 - bit] == '1') == TMBLib::BitFromAr(bytes, number, true),
            "each bit stands in its place");
  }
}

void ReadNumbers(const Bytes& bytes) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 8 | byte;
  Require(TMBLib::ByteArToCardinal(bytes) == static_cast<std::uint32_t>(value & 0xFFFFFFFF),
          "four bytes are a number");
  Require(TMBLib::ByteArToInt64(bytes) == static_cast<std::int64_t>(value), "so are eight");
  const Bytes back = TMBLib::CardinalToAr(static_cast<std::uint32_t>(value & 0xFFFFFFFF), true);
  Require(TMBLib::ByteArToCardinal(back) == static_cast<std::uint32_t>(value & 0xFFFFFFFF),
          "a number returns");
}

void ReadText(const Bytes& bytes) {
  const std::string text = TMBLib::ByteArToStr(bytes, 0);
  Require(Utf8Length(text) == bytes.size(), "a byte is a character");
  IsRefused([&] { TMBLib::DateTimeToValue(bytes); });
}

// A fixed-point number is what its bytes are, and returns where they are no sign.
void ReadFixedPoint(std::uint8_t sizes, const Bytes& bytes) {
  const std::uint8_t whole = sizes % 5, fraction = sizes / 5 % 5;
  if (bytes.size() < std::size_t{whole} + fraction) return;
  const double value = TMBLib::ByteArToReal(bytes, whole, fraction, 0);
  Require(value >= 0 && value <= std::ldexp(1.0, 8 * whole),
          "a number is not longer than its bytes");
  Require(std::fabs(TMBLib::ByteArToSignedReal(bytes, whole, fraction, 0)) <= std::ldexp(1.0, 32),
          "nor is one with a sign");
  const Bytes back = TMBLib::RealToByteAr(value, whole, fraction);
  Require(back.size() == std::size_t{whole} + fraction, "a number takes its bytes");
  constexpr int kExactBytes = 6;  // of a double
  Require(whole + fraction > kExactBytes || std::equal(back.begin(), back.end(), bytes.begin()),
          "a number returns");
}

// ---- text, read -------------------------------------------------------------------------------

void ReadHex(std::string_view text) {
  Bytes bytes;
  const bool refused = IsRefused([&] { bytes = TMBLib::HexStrToByteArray(text, true); });
  const std::string_view digits = text.substr(std::min<std::size_t>(1, text.size()));
  const bool all = std::ranges::all_of(digits, IsHexDigit);
  if (text.starts_with('$') && digits.size() % 2 == 0 && all) {
    Require(!refused && bytes.size() == digits.size() / 2, "two digits are a byte");
  } else {
    Require(refused || bytes.empty(), "what is not hexadecimal gives no bytes");
  }
  TMBLib::HexStrToByteArSep(text, U' ');
}

// A plain decimal number is read when it has 32 bits.
void RequireDecimal(std::string_view text, bool read, std::int32_t value) {
  const bool negative = text.starts_with('-');
  const std::string_view digits = text.substr(negative ? 1 : 0);
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (digits.empty() || digits.size() > 12 || !std::ranges::all_of(digits, isDigit)) return;
  std::int64_t wanted = 0;
  for (const char digit : digits) wanted = 10 * wanted + (digit - '0');
  if (negative) wanted = -wanted;
  Require(read == std::in_range<std::int32_t>(wanted), "a number of 32 bits is read, no other");
  Require(!read || value == wanted, "a number is what its digits say");
}

void ReadInteger(std::string_view text) {
  std::int32_t value = 77;
  const bool read = TryStrToInt(text, value);
  RequireDecimal(text, read, value);
  Require(read || value == 77, "what is no number changes nothing");
  Require(IsRefused([&] { StrToInt(text); }) == !read, "a number is one by every way of asking");
  Require(StrToIntDef(text, 77) == value, "or its default");
  if (read) Require(StrToInt(IntToStr(value)) == value, "a number returns");
  Require(StrToInt("$" + IntToHex(static_cast<std::uint32_t>(value), 8)) == value,
          "in hexadecimal, too");
}

void ReadReal(std::string_view text) {
  double value = 77;
  const bool read = TryStrToFloat(text, value);
  Require(read || value == 77, "what is no real changes nothing");
  Require(IsRefused([&] { StrToFloat(text); }) == !read, "a real is one by every way of asking");
  Require(std::isfinite(value), "a real is finite");
}

void WriteReal(double value) {
  const std::string text = FloatToStr(value);
  if (!std::isfinite(value)) return;
  double back = 0;
  // Rounded to 15 digits, the greatest may be past the range.
  if (!TryStrToFloat(text, back)) {
    Require(std::fabs(value) > 1.79e308 || std::fabs(value) < 1e-300, "a real is read again");
    return;
  }
  Require(std::fabs(back - value) <= std::fabs(value) * 1e-14 + 1e-320, "a real returns");
  Require(FloatToStr(back) == text || std::fabs(value) < 1e-300, "its text is its shortest one");
}

void Convert(std::string_view text) {
  const Variant variant(text);
  try {
    const std::int32_t value = variant.ToInteger();
    Require(std::fabs(variant.ToDouble() - value) <= 0.5 || text.find_first_of("$xX") != text.npos,
            "an integer is a real's neighbour");
  } catch (const EVariantError&) {
  }
}

void Split(std::string_view text) {
  std::size_t characters = 0;
  for (std::string_view rest = text; !rest.empty(); ++characters) {
    const TUtf8Char first = Utf8First(rest);
    Require(first.length >= 1 && first.length <= std::min<std::size_t>(4, rest.size()),
            "a character is within its text");
    rest.remove_prefix(first.length);
  }
  Require(Utf8Length(text) == characters, "characters are counted one by one");
  Require(Utf8Left(text, characters) == text, "all of them are the text");
  const auto parts = OrvixModBus::Split(text, ' ');
  Require(TMBLib::StringDynArrToString(parts, " ") == text, "parts make the text again");
  Require(ReplaceAll(ReplaceAll(text, " ", "  "), "  ", " ") == text, "what is doubled is halved");
  const std::string trimmed = Trim(text);
  Require(Trim(trimmed) == trimmed && text.find(trimmed) != text.npos, "ends are cut off once");
}

// ---- lines of text ------------------------------------------------------------------------------

void ReadLines(std::string_view text) {
  TStringList list;
  list.SetText(text);
  TStringList again;
  again.SetText(list.Text());
  Require(again.Equals(list), "lines return");
  for (int i = 0; i < list.Count(); ++i) {
    const int found = list.IndexOf(list.Strings(i));
    Require(found >= 0 && found <= i, "a line is found");
    const std::string_view name = list.Names(i);
    if (!name.empty()) Require(list.IndexOfName(name) <= i, "so is a name");
  }
  list.SetSorted(true);
  Require(list.Count() <= again.Count(), "sorting adds nothing");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
  TFuzzInput input(bytes);
  const std::uint8_t what = input.Byte();
  if (what % 3 == 0) {
    const double value = input.Real();
    WriteReal(value);
    const Bytes data = ToBytes(input.Bytes(input.Left()));
    WriteHex(data);
    WriteBits(data);
    ReadNumbers(data);
    ReadText(data);
    return ReadFixedPoint(what, data);
  }
  const std::string_view text = input.Rest();
  if (what % 3 == 1) return ReadLines(text);
  ReadHex(text);
  ReadInteger(text);
  ReadReal(text);
  Convert(text);
  Split(text);
}

}  // namespace OrvixModBus
