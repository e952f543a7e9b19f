// Any format string with arguments of every kind is filled or refused; a plain placeholder gives
// what the C library gives; a number type shows what is in its range, by any display format.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/input.h"
#include "uMBTypeInfo.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kLongestFill = 100'000;  // what a format string of some bytes may grow to

template <class... TArgs>
void Fill(std::string_view format, const TArgs&... args) {
  try {
    const std::string text = Format(format, {args...});
    if (format.find('%') == format.npos) Require(text == format, "plain text stays");
    Require(text.size() <= kLongestFill * (1 + format.size()), "a field has an end");
    Require(format.find('%') != format.npos || text.size() == format.size(), "nothing is added");
  } catch (const EConvertError& error) {
    const std::string_view named = format.substr(0, format.find('\0'));  // a C text ends there
    Require(std::string_view(error.what()).find(named) != std::string_view::npos,
            "what is refused is named");
    Require(format.find('%') != format.npos, "plain text is never refused");
  }
}

void FillAll(std::string_view format, TFuzzInput& input) {
  const std::int32_t integer = input.Integer();
  const double real = input.Real();
  const std::string text(input.Text(input.Byte()));
  Fill(format);
  Fill(format, integer);
  Fill(format, real);
  Fill(format, text);
  Fill(format, integer, real, text);
  Fill(format, text, text, real, std::uint64_t{0} - 1, std::uint8_t{200}, std::int64_t{integer});
}

// ---- against the C library ----------------------------------------------------------------------

struct TPlain {
  bool Left;
  int Width, Precision;  // -1: none
  char Letter;
};

std::string TextOf(const TPlain& plain, const char* size) {
  std::string text = plain.Left ? "%-" : "%";
  if (plain.Width > 0) text += IntToStr(plain.Width);
  if (plain.Precision >= 0) text += "." + IntToStr(plain.Precision);
  return (text += size) += plain.Letter;
}

template <class TValue>
std::string Printed(const TPlain& plain, const char* size, TValue value) {
  char buffer[512] = {};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(buffer, sizeof buffer, TextOf(plain, size).c_str(), value);
#pragma GCC diagnostic pop
  return buffer;
}

void PrintInteger(TPlain plain, std::int32_t value) {
  constexpr char kLetters[] = {'d', 'u', 'x'};
  plain.Letter = kLetters[static_cast<unsigned char>(plain.Letter) % 3];
  if (plain.Precision == 0) plain.Precision = 1;  // the C library prints nothing for a 0 then
  std::string wanted = plain.Letter == 'd' ? Printed(plain, "", value)
                                           : Printed(plain, "", static_cast<std::uint32_t>(value));
  for (char& c : wanted) c = c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  Require(Format(TextOf(plain, ""), {value}) == wanted, "an integer is printed");
}

void PrintReal(TPlain plain, double value) {
  if (!std::isfinite(value) || std::fabs(value) > 1e15) return;
  plain.Letter = 'f';
  if (plain.Precision < 0) plain.Precision = 2;
  const std::string text = Trim(Format(TextOf(plain, ""), {value}));
  const std::string wanted = Trim(Printed(plain, "", value));
  // The C library rounds exact halves to even; they can't be told where the digits end that a
  // double tells apart.
  const double unit = std::pow(10.0, -plain.Precision);
  const double off = std::fabs(std::strtod(text.c_str(), nullptr) - value);
  const bool fine = unit < std::fabs(value) * 1e-12;
  const bool half = fine || (off >= unit * 0.4999 && off <= unit * 0.5001);
  const bool zero = std::strtod(wanted.c_str(), nullptr) == 0;  // printed without a sign here
  Require(text == wanted || half || zero, "a real is printed");
  Require(off <= unit * 0.5001 + std::fabs(value) * 1e-15, "a real is rounded to the nearest");
}

void Print(TFuzzInput& input) {
  TPlain plain{};
  plain.Left = input.Flag();
  plain.Width = input.Byte() % 40;
  plain.Precision = input.Byte() % 25 - 1;
  plain.Letter = static_cast<char>(input.Byte() & 0x7F);
  PrintInteger(plain, input.Integer());
  PrintReal(plain, input.Real());
}

// ---- numbers of registers -----------------------------------------------------------------------

double ScaledReal(TFuzzInput& input) {
  const std::uint8_t kind = input.Byte();
  if (kind % 4 == 0) return input.Real();
  constexpr double kScales[] = {1, 0.1, 0.01, 1000, 0};
  return input.Integer() * kScales[kind / 4 % 5];
}

void Show(TFuzzInput& input) {
  TMBTypeInfo types;
  TMBRegTypeNumber& type = *types.TypeNumbers().Add();
  type.SetMinValue(ScaledReal(input));
  type.SetMaxValue(ScaledReal(input));
  type.SetIntPart(input.Byte());
  type.SetRealPart(input.Byte());
  type.SetStep(ScaledReal(input));
  type.SetMultiplier(ScaledReal(input));
  type.SetFromIndex(input.Byte() - 8);
  type.SetDisplayFormat(std::string(input.Line()));
  const std::string entered(input.Line());
  const Bytes data = input.Bytes(input.Left());
  const double least = type.MinValue() * type.Multiplier();
  const double most = type.MaxValue() * type.Multiplier();
  try {
    const TRegValue value = type.DataToValue(data);
    const bool shown = value.R != TRegValue::kClearedReal;
    Require(shown || value.Srt.empty() || value.Srt == "-" || value.R == least,
            "what has no value has no text");
    if (shown) Require(value.R >= least && value.R <= most, "what is shown is in the range");
    if (value.Int != TRegValue::kClearedInt) Require(value.Int == value.R, "both values agree");
  } catch (const EConvertError&) {
    Require(type.DisplayFormat().find('%') != std::string::npos, "plain text is never refused");
  } catch (const Exception& error) {
    Require(error.what() == std::string_view("Length of data byte array error"),
            "only too little data is refused");
  }
  type.ConstraintStr();
  try {
    const Bytes back = type.StrToData(entered, 4);
    Require(back.size() == std::size_t{type.IntPart()} + type.RealPart(), "a number has its size");
  } catch (const Exception&) {  // no number, or below zero, or the multiplier is 0
  }
}

}  // namespace

void FuzzOne(std::string_view bytes) {
  TFuzzInput input(bytes);
  const std::uint8_t what = input.Byte();
  if (what % 3 == 0) return Print(input);
  if (what % 3 == 1) return Show(input);
  const std::string format(input.Line());
  FillAll(format, input);
}

}  // namespace OrvixModBus
