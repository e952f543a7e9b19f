#pragma once
// uNumText: numbers to text and back, the way a person writes them; never the C locale.

#include <cstdint>
#include <string>
#include <string_view>

namespace OrvixModBus {

std::string IntToStr(std::int64_t value);

/// Upper-case hexadecimal text, filled with zeros to at least `digits` characters.
std::string IntToHex(std::uint64_t value, int digits);

/// Reads a 32-bit integer: leading blanks, a sign, then decimal digits, or "$", "0x" or "x" and up
/// to 32 bits of hexadecimal digits ("$FFFFFFFF" is -1). Nothing may follow, not even a blank.
/// Throws EConvertError "'%s' is not a valid integer value".
std::int32_t StrToInt(std::string_view text);
std::int32_t StrToIntDef(std::string_view text, std::int32_t fallback);
/// As StrToInt; false when the text is no integer, and `value` keeps what it had.
bool TryStrToInt(std::string_view text, std::int32_t& value);

/// Reads a real: sign, digits, decimal separator, digits, exponent; blanks around it are allowed.
/// Throws EConvertError "'%s' is not a valid floating point value", also past the range of a
/// double.
double StrToFloat(std::string_view text);
/// As StrToFloat; false when the text is no real, and `value` keeps what it had.
bool TryStrToFloat(std::string_view text, double& value);

/// The text that a person expects: 15 significant digits, ties away from zero, no trailing zeros;
/// scientific from 1E15 up and below 0.0001. "0" for zero of either sign; "INF", "-INF", "NAN".
std::string FloatToStr(double value);

/// FloatToStr with another count of significant digits (1 or more): scientific when more digits
/// than that stand before the separator.
std::string FloatToGeneral(double value, int digits);
/// A fixed count of decimals, rounded half away from zero on the exact value of the double.
/// With a group character, thousands are set apart by it.
std::string FloatToFixed(double value, int decimals, char group = '\0');
/// Mantissa of `digits` digits in all (2 or more) and at least three digits of exponent:
/// "1.23E+001".
std::string FloatToExponent(double value, int digits);

// The same texts, appended: one that is used again keeps its room.

void AppendInt(std::string& text, std::int64_t value);
void AppendFloat(std::string& text, double value);
void AppendGeneral(std::string& text, double value, int digits);
void AppendFixed(std::string& text, double value, int decimals, char group = '\0');
void AppendExponent(std::string& text, double value, int digits);

/// The decimal separator of every text, "." until the application changes it.
char DecimalSeparator();
void SetDecimalSeparator(char separator);

}  // namespace OrvixModBus
