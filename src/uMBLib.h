#pragma once
// uMBLib: conversions between the raw bytes of registers and values, and the names of registers.

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "platform/model/uObject.h"
#include "platform/rtl/uBytes.h"
#include "platform/rtl/uDateTime.h"

namespace OrvixModBus {

class TStringList;

/// One decoded register value in three forms at once. The cleared values mean that there is none;
/// consumers compare with them.
struct TRegValue {
  static constexpr std::int32_t kClearedInt = std::numeric_limits<std::int32_t>::min();
  static constexpr double kClearedReal = std::numeric_limits<double>::lowest();

  std::string Srt;  ///< as text
  std::int32_t Int = kClearedInt;
  double R = kClearedReal;

  bool operator==(const TRegValue&) const = default;
};

/// Stateless conversions; any thread may call them. Register data is big-endian: the first byte
/// of an array is the most significant. Failures are of the class Exception with the text given.
class TMBLib : public TObject {
 public:
  TMBLib() = delete;

  // Bytes and integers.

  /// Byte number index of value, 0 = least significant; 0 for an index above 3.
  static std::uint8_t ByteFromCardinal(std::uint32_t value, std::uint8_t index);
  static std::uint16_t ToByteToWord(std::uint8_t hi, std::uint8_t lo);
  /// Big-endian; of more than 4 bytes the last 4. No bytes give 0.
  static std::uint32_t ByteArToCardinal(TByteView data);
  /// Big-endian; of more than 8 bytes the last 8.
  static std::int64_t ByteArToInt64(TByteView data);
  /// Always 4 bytes: big-endian with reverse, else little-endian.
  static Bytes CardinalToAr(std::uint32_t value, bool reverse);
  /// The low 8 bits of a 1-byte value and the low 16 of a 2-byte one, sign-extended. On purpose:
  /// every other size, 3 included, leaves the value as it is.
  static std::int32_t CorrectIntValue(std::int32_t value, int size);
  /// Copies count bytes in reverse order; the areas must not overlap. Count <= 0 does nothing.
  static void ReverseBytes(const void* source, void* dest, int count);
  /// Both bounds belong to the range.
  static bool InRange(double value, double min, double max) { return min <= value && value <= max; }
  /// The text keeps its room.
  static void ClearValue(TRegValue& v) {
    v.Srt.clear();
    v.Int = TRegValue::kClearedInt;
    v.R = TRegValue::kClearedReal;
  }

  // Fixed-point reals: intBytes before the point, fracBytes behind it. The readers throw "Length
  // of data byte array error" when data is too short.

  /// Unsigned, from data[startIndex] on: [01 80] with 1 and 1 is 1.5.
  static double ByteArToReal(TByteView data, std::uint8_t intBytes, std::uint8_t fracBytes,
                             std::uint8_t startIndex);
  /// Sign and magnitude, the sign being the top bit of data[0]: [81 80] with 1 and 1 is -1.5.
  /// On purpose: integers of up to 4 bytes are the whole of data as two's complement instead, and
  /// those of 3 bytes keep no sign (see CorrectIntValue).
  static double ByteArToSignedReal(TByteView data, std::uint8_t intBytes, std::uint8_t fracBytes,
                                   std::uint8_t startIndex);
  /// Unsigned; the integer part is kept modulo 2^32. On purpose: what remains behind the last
  /// fraction byte rounds it up when it is more than a tenth, and a carry out of the fraction is
  /// lost. Throws "Отрицательные числа не поддерживаются." below zero.
  static Bytes RealToByteAr(double value, std::uint8_t intBytes, std::uint8_t fracBytes);
  /// Year - 2000, month, day, hour, minute, second, then milliseconds as 2 bytes or hundredths of
  /// a second as 1. Any other length than 8 or 7 gives 0. Throws EConvertError, see EncodeDateTime.
  static TDateTime DateTimeToValue(TByteView data);

  // Bits, 0 = least significant; a number past the end throws "BitNum error".

  static bool BitFromByte(std::uint8_t b, std::uint8_t bitNum);
  /// On purpose: bit 16 can be asked for, and is always clear.
  static bool BitFromWord(std::uint16_t w, std::uint8_t bitNum);
  /// On purpose: bit 32 can be asked for, and is bit 0.
  static bool BitFromCardinal(std::uint32_t c, std::uint8_t bitNum);
  static std::uint8_t BitToByte(std::uint8_t b, std::uint8_t bitNum, bool value);
  /// On purpose: bit 32 can be set, and is bit 0.
  static std::uint32_t BitToCardinal(std::uint32_t c, std::uint8_t bitNum, bool value);
  /// A bit of the array as one number: big-endian with reverse (bit 0 in the last byte), else
  /// little-endian (bit 0 in the first).
  static bool BitFromAr(TByteView data, std::uint16_t bitNum, bool reverse);
  /// Changes data in place and returns it; an empty array stays as it is.
  static Bytes& BitToAr(Bytes& data, std::uint16_t bitNum, bool value, bool reverse);
  /// Copies one bit of source into dest, changed in place and returned.
  static Bytes& BitCopy(TByteView source, Bytes& dest, std::uint8_t sourceBit, std::uint8_t destBit,
                        bool reverse);

  // Text.

  /// Decoded with the ANSI code page; cut to len characters when 0 < len < data.size().
  static std::string ByteArToStr(TByteView data, int len);
  /// The characters of the high and the low byte; #0 is a character.
  static std::string WordToChar(std::uint16_t w);
  static std::string WordArToStr(std::span<const std::uint16_t> words);
  /// 8 digits. On purpose: bit 0 first, so that 1 is "10000000".
  static std::string ByteToBinStr(std::uint8_t b);
  /// The bytes in array order, each with its bit 0 first.
  static std::string ByteArToBinStr(TByteView data);
  /// The bits as numbered by BitFromAr, the highest first: with reverse, ordinary binary text.
  static std::string ByteArToBinStr(TByteView data, bool reverse);
  /// "$" and two digits per byte. On purpose: the last byte first, [12 34] is "$3412".
  static std::string ByteArToHexStr(TByteView data);
  /// As ByteArToHexStr, or in array order when natural.
  static std::string ByteArrayToHexStr(TByteView data, bool natural);
  /// "$12 $34", in array order.
  static std::string ByteArToHexStrSmooth(TByteView data);
  /// The inverse of ByteArToHexStr: empty without "$" or with an odd count of digits. Throws
  /// EConvertError when a pair is not hexadecimal.
  static Bytes HexStrToByteAr(std::string_view s);
  static Bytes HexStrToByteArray(std::string_view s, bool natural);
  /// The low 8 bits of each hexadecimal number between separators, with or without "$"; what is
  /// no number is skipped.
  static Bytes HexStrToByteArSep(std::string_view s, char32_t sep);

  // Lists of strings.

  static std::string StringDynArrToString(const TStringDynArray& items, std::string_view sep);
  /// Appends every item that is not empty.
  static void StrDynArrayToList(TStringList& list, const TStringDynArray& items, bool clearFirst);
  /// The lines that are not empty.
  static TStringDynArray ListToStrDynArray(const TStringList& list);
  /// The items without those equal to s, case included.
  static TStringDynArray DelStrFromStrDynAr(const TStringDynArray& items, std::string_view s);

  // Names of registers. One line can stand for a series: "Temp%|8|10|2" is Temp08, Temp09, Temp10
  // (a name with number marks, first, last, and the least count of digits).

  /// The names that a line stands for: itself when it holds none of the separator characters. From
  /// an index of 0 on, index marks are first replaced by the index in indexFormat (see Format).
  /// Throws "TMBLib.RegNameDecode - Wrong format of register name mask" for a wrong count of parts,
  /// EConvertError for a first, last or width that is no number, Exception "The series ... is too
  /// long" for one that would fill the memory.
  static TStringDynArray RegNameDecode(std::string_view regName, std::string_view numberMark,
                                       std::string_view rangeSep, std::string_view indexMark,
                                       int index, std::string_view indexFormat);
  static TStringDynArray RegStrDynArDecode(const TStringDynArray& names,
                                           std::string_view numberMark, std::string_view rangeSep,
                                           std::string_view indexMark, int index,
                                           std::string_view indexFormat);
  /// With the marks "%", "|" and "!".
  static TStringDynArray RegStrDynArDecode(const TStringDynArray& names, int index,
                                           std::string_view indexFormat);
  /// Replaces the lines by their names, index marks kept. When one throws, the names of the lines
  /// before it are in the list, and the rest is gone. Nil is left alone.
  static void RegNameListDecode(TStringList* list, std::string_view numberMark,
                                std::string_view rangeSep);
  /// "Status[3]" without "[3]": what stands from the first "[" to the first "]", in this order.
  static std::string DeleteBitFromRegName(std::string_view s);
  /// The number between the first "[" and the first "]"; -1 when there is none.
  static int BitValueFromRegName(std::string_view s);
  /// What stands before the first "|".
  static std::string DeleteCountMaskFromRegName(std::string_view s);
  /// The name without what stands from the first "{" to the first "}".
  static std::string DeleteMaskFromRegName(std::string_view s);
};

}  // namespace OrvixModBus
