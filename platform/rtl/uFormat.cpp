#include "platform/rtl/uFormat.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "platform/rtl/uException.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

constexpr int kFixedDecimals = 2;
constexpr int kSignificantDigits = 15;
constexpr std::size_t kLongestField = 9999;  // a longer one comes from a damaged format string

struct TPlaceholder {
  std::size_t index = 0;
  bool left = false;
  std::size_t width = 0;
  int precision = -1;  // -1: none given
  char letter = '\0';  // lower case
};

char LowerLetter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

class TFormatter {
 public:
  TFormatter(std::string& text, std::string_view format, std::initializer_list<TFormatArg> args)
      : fText(text), fFormat(format), fArgs(args) {}

  void Run() {
    while (fAt < fFormat.size()) {
      const std::size_t percent = std::min(fFormat.find('%', fAt), fFormat.size());
      fText += fFormat.substr(fAt, percent - fAt);
      fAt = percent;
      if (!Take('%')) return;
      if (Take('%')) {
        fText += '%';
      } else {
        AppendFilled(ReadPlaceholder());
      }
    }
  }

 private:
  bool Take(char c) {
    if (fAt == fFormat.size() || fFormat[fAt] != c) return false;
    ++fAt;
    return true;
  }

  bool AtDigit() const {
    return fAt < fFormat.size() && fFormat[fAt] >= '0' && fFormat[fAt] <= '9';
  }

  std::size_t ReadNumber() {
    if (!AtDigit()) Refuse();
    std::size_t number = 0;
    while (AtDigit()) {
      number = number * 10 + static_cast<std::size_t>(fFormat[fAt++] - '0');
      if (number > kLongestField) Refuse();
    }
    return number;
  }

  // A number that is no index, for want of the ":", is left to be read as the width.
  std::optional<std::size_t> ReadIndex() {
    if (!AtDigit()) return std::nullopt;
    const std::size_t start = fAt;
    const std::size_t number = ReadNumber();
    if (Take(':')) return number;
    fAt = start;
    return std::nullopt;
  }

  TPlaceholder ReadPlaceholder() {
    TPlaceholder placeholder;
    placeholder.index = ReadIndex().value_or(fNext);
    fNext = placeholder.index + 1;
    placeholder.left = Take('-');
    if (AtDigit()) placeholder.width = ReadNumber();
    if (Take('.')) placeholder.precision = static_cast<int>(ReadNumber());
    if (fAt == fFormat.size()) Refuse();
    placeholder.letter = LowerLetter(fFormat[fAt++]);
    return placeholder;
  }

  void AppendFilled(const TPlaceholder& placeholder) {
    if (placeholder.index >= fArgs.size()) {
      throw EConvertError("No argument for format '" + std::string(fFormat) + "'");
    }
    const std::size_t start = fText.size();
    AppendBody(placeholder, fArgs.begin()[placeholder.index]);
    if (placeholder.width == 0) return;
    const std::size_t length = Utf8Length(std::string_view(fText).substr(start));
    const std::size_t blanks = placeholder.width > length ? placeholder.width - length : 0;
    fText.insert(placeholder.left ? fText.size() : start, blanks, ' ');
  }

  void AppendBody(const TPlaceholder& placeholder, const TFormatArg& arg) {
    if (const auto* integer = arg.Integer()) return AppendInteger(placeholder, *integer);
    if (const auto* real = arg.Real()) return AppendReal(placeholder, *real);
    if (placeholder.letter != 's') Refuse();
    const bool whole = placeholder.precision < 0;
    fText += whole ? *arg.Text()
                   : Utf8Left(*arg.Text(), static_cast<std::size_t>(placeholder.precision));
  }

  void AppendInteger(const TPlaceholder& placeholder, const TFormatInteger& value) {
    const char letter = placeholder.letter;
    if (letter != 'd' && letter != 'u' && letter != 'x') Refuse();
    std::string digits = letter == 'x'   ? IntToHex(value.bits, 1)
                         : letter == 'u' ? std::to_string(value.bits)
                                         : std::to_string(value.magnitude);
    const auto wanted = static_cast<std::size_t>(std::max(0, placeholder.precision));
    if (digits.size() < wanted) digits.insert(0, wanted - digits.size(), '0');
    if (letter == 'd' && value.negative) fText += '-';
    fText += digits;
  }

  void AppendReal(const TPlaceholder& placeholder, double value) {
    const auto precision = [&](int usual) {
      return placeholder.precision < 0 ? usual : placeholder.precision;
    };
    switch (placeholder.letter) {
      case 'f':
        return AppendFixed(fText, value, precision(kFixedDecimals));
      case 'n':  // groups and decimals must not look alike
        return AppendFixed(fText, value, precision(kFixedDecimals),
                           DecimalSeparator() == ',' ? '.' : ',');
      case 'e':
        return AppendExponent(fText, value, precision(kSignificantDigits));
      case 'g':
        return AppendGeneral(fText, value, precision(kSignificantDigits));
      default:
        Refuse();
    }
  }

  [[noreturn]] void Refuse() const {
    throw EConvertError("Format '" + std::string(fFormat) +
                        "' invalid or incompatible with argument");
  }

  std::string& fText;
  const std::string_view fFormat;
  const std::initializer_list<TFormatArg> fArgs;
  std::size_t fAt = 0;
  std::size_t fNext = 0;  // the argument of the next placeholder without an index
};

}  // namespace

std::string Format(std::string_view format, std::initializer_list<TFormatArg> args) {
  std::string text;
  AppendFormat(text, format, args);
  return text;
}

void AppendFormat(std::string& text, std::string_view format,
                  std::initializer_list<TFormatArg> args) {
  TFormatter(text, format, args).Run();
}

}  // namespace OrvixModBus
