#include "tools/orvixmb/uEnteredValue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rtl/uCodePage.h"
#include "platform/rtl/uNumText.h"
#include "tools/display/uShownText.h"

namespace OrvixModBus {
namespace {

using enum TRegType;

struct TEntryRow {
  TRegType Type;
  const char* TypeName;
  std::uint8_t Bytes;
  const char* Entered;
  const char* Result;  // the bytes, or the message
};

class EnteredValue : public testing::Test {
 protected:
  EnteredValue() {
    SetAnsiCodePage(1251);
    Number("Tenths", -400, 1200, 2, 0, 0.1);
    Number("Flue", 0, 4000, 2, 0, 0.1);
    Number("Thirds", 0, 3, 2, 0, 0.3);
    Number("Byte", 0, 300, 1, 0, 1);
    Number("Word", 0, 65535, 2, 0, 1);
    Number("Bar", 0, 16, 1, 1, 1);
    Number("Swing", -10, 10, 1, 1, 1);
    Number("Long", -2147483648.0, 2147483647, 4, 0, 1);
    Number("Unscaled", 0, 10, 2, 0, 0);
    Number("Inner", 0, 10, 1, 0, 1).SetFromIndex(1);
    TMBRegTypeList& list = *fTypes.TypeLists().Add();
    list.SetName("Mode");
    for (const char* line :
         {"0=Off", "1=Стоп", "2=Heating", "3=10", "4=Same", "5=same", "300=Far", "note=Text"}) {
      list.Dictionary().Add(line);
    }
    TMBRegTypeBin& bin = *fTypes.TypeBins().Add();
    bin.SetName("Alarms");
    for (const char* line :
         {"0=calm|fire", "1=|low water", "9=|service", "40=|far", "3=on|off", "4=on|off"}) {
      bin.Dictionary().Add(line);
    }
    bin.Bits().Add("2=Door");
    TMBRegTypeBin& onOff = *fTypes.TypeBins().Add();
    onOff.SetName("OnOff");
    onOff.Dictionary().Add("0=off|on");
  }
  ~EnteredValue() override { SetAnsiCodePage(1252); }

  TMBRegTypeNumber& Number(const char* name, double min, double max, std::uint8_t intPart,
                           std::uint8_t realPart, double multiplier) {
    TMBRegTypeNumber& number = *fTypes.TypeNumbers().Add();
    number.SetName(name);
    number.SetMinValue(min);
    number.SetMaxValue(max);
    number.SetIntPart(intPart);
    number.SetRealPart(realPart);
    number.SetMultiplier(multiplier);
    return number;
  }

  void Prepare(TMBReg& reg, TRegType type, const char* typeName, std::uint8_t size) {
    reg.SetDisplayName("R");
    reg.SetTypeInfo(&fTypes);
    reg.SetRegType(type);
    reg.SetTypeName(typeName);
    reg.SetMBFuncWrite(0x10);
    reg.SetRegsCount(size);
  }

  static std::string Result(const TMBReg& reg, const std::string& entered) {
    try {
      return HexText(EnteredBytes(reg, entered));
    } catch (const EUsageError& error) {
      return error.what();
    }
  }

  template <std::size_t kCount>
  void Expect(const TEntryRow (&rows)[kCount], std::uint8_t funcWrite = 0x10) {
    for (const TEntryRow& row : rows) {
      TMBReg reg(nullptr);
      Prepare(reg, row.Type, row.TypeName, row.Bytes);
      reg.SetMBFuncWrite(funcWrite);
      EXPECT_EQ(Result(reg, row.Entered), row.Result) << row.TypeName << " " << row.Entered;
    }
  }

  TMBTypeInfo fTypes;
};

TEST_F(EnteredValue, BytesGoAsTheyStandWhateverTheType) {
  constexpr TEntryRow kRows[] = {
      {rtNone, "", 2, "$0102", "01 02"},
      {rtNum, "Tenths", 2, "$ffff", "FF FF"},
      {rtStr, "", 3, "$41 42 43", "41 42 43"},
      {rtNone, "", 2, "$010", "R=$010: no pairs of hexadecimal digits behind $"},
      {rtNone, "", 2, "$01G2", "R=$01G2: no pairs of hexadecimal digits behind $"},
      {rtNone, "", 2, "$", "R=$: 0 bytes, and it has 2"},
      {rtNone, "", 2, "$010203", "R=$010203: 3 bytes, and it has 2"},
  };
  Expect(kRows);
}

TEST_F(EnteredValue, NumbersAreOfTheUnitThatIsShown) {
  constexpr TEntryRow kRows[] = {
      {rtNum, "Tenths", 2, "20.3", "00 CB"},
      {rtNum, "Tenths", 2, "-40", "FE 70"},
      {rtNum, "Tenths", 2, " 120 ", "04 B0"},
      {rtNum, "Tenths", 4, "-40", "FF FF FE 70"},
      {rtNum, "Flue", 2, "2.8", "00 1C"},
      {rtNum, "Thirds", 2, "0.9", "00 03"},
      {rtNum, "Word", 2, "65534", "FF FE"},
      {rtNum, "Word", 4, "5", "00 05 00 00"},
      {rtNum, "Long", 4, "-2147483648", "80 00 00 00"},
      {rtNum, "Bar", 2, "1.5", "01 80"},
      {rtNum, "Bar", 2, "1.3", "01 4D"},
      {rtNum, "Swing", 2, "-1.5", "81 80"},
  };
  Expect(kRows);
}

TEST_F(EnteredValue, NumbersThatTheTypeOrTheBytesCannotHoldAreRefused) {
  constexpr TEntryRow kRows[] = {
      {rtNum, "Tenths", 2, "200", "R=200: out of range (Min: -40; Max: 120)"},
      {rtNum, "Tenths", 2, "-40.1", "R=-40.1: out of range (Min: -40; Max: 120)"},
      {rtNum, "Tenths", 2, "120.1", "R=120.1: out of range (Min: -40; Max: 120)"},
      {rtNum, "Tenths", 2, "20.33", "R=20.33: no multiple of 0.1 (Min: -40; Max: 120)"},
      {rtNum, "Tenths", 2, "warm", "R=warm: no number (Min: -40; Max: 120)"},
      {rtNum, "Tenths", 2, "1E999", "R=1E999: no number (Min: -40; Max: 120)"},
      {rtNum, "Tenths", 2, "", "R=: no value"},
      {rtNum, "Tenths", 2, "-0.1",
       "R=-0.1: its bytes FF FF say that there is no value; write them as $FFFF if that is meant"},
      {rtNum, "Byte", 1, "256", "R=256: does not fit 1 byte"},
      {rtNum, "Word", 1, "5", "R=5: its type has more bytes"},
      {rtNum, "Unscaled", 2, "5", "R=5: its type has a Multiplier of 0"},
      {rtNum, "Inner", 2, "5",
       "R=5: its number is only a part of its bytes; write all of them, as in $0102"},
      {rtNum, "Missing", 2, "5",
       "R=5: no catalogue describes its type, so only bytes can be written, as in $0102"},
      {rtNone, "", 2, "5",
       "R=5: no catalogue describes its type, so only bytes can be written, as in $0102"},
  };
  Expect(kRows);
}

TEST_F(EnteredValue, EveryNumberOfTheRangeReadsBackAsEntered) {
  TMBReg reg(nullptr);
  Prepare(reg, rtNum, "Tenths", 2);
  for (int raw = -400; raw <= 1200; ++raw) {
    if (raw == -1) continue;  // FF FF: no value
    const std::string text = (raw < 0 ? "-" : "") + std::to_string(std::abs(raw) / 10) + "." +
                             std::to_string(std::abs(raw) % 10);
    reg.SetRegData(EnteredBytes(reg, text));
    reg.DataToValue();
    double entered = 0;
    ASSERT_TRUE(TryStrToFloat(text, entered));
    ASSERT_NEAR(reg.ValueRe(), entered, 1e-9) << text;
  }
}

TEST_F(EnteredValue, ListsTakeNamesAndCodes) {
  constexpr TEntryRow kRows[] = {
      {rtList, "Mode", 2, "Heating", "00 02"},
      {rtList, "Mode", 2, "heating", "00 02"},
      {rtList, "Mode", 1, "СТОП", "01"},
      {rtList, "Mode", 4, "2", "00 00 00 02"},
      {rtList, "Mode", 2, "10", "00 03"},  // a name, too
      {rtList, "Mode", 2, "Far", "01 2C"},
      {rtList, "Mode", 1, "Far", "R=Far: code 300 does not fit 1 byte"},
      {rtList, "Mode", 2, "Same",
       "R=Same: more than one code has this name (0: Off; 1: Стоп; 2: Heating; 3: 10; 4: Same; 5: "
       "same; 300: Far; note: Text)"},
      {rtList, "Mode", 2, "7",
       "R=7: not in its list (0: Off; 1: Стоп; 2: Heating; 3: 10; 4: Same; 5: same; 300: Far; "
       "note: "
       "Text)"},
      {rtList, "Mode", 2, "Text",
       "R=Text: not in its list (0: Off; 1: Стоп; 2: Heating; 3: 10; 4: Same; 5: same; 300: Far; "
       "note: Text)"},
      {rtList, "Mode", 2, "", "R=: no value"},
      {rtList, "Mode", 5, "Off", "R=Off: a list has no codes of more than 4 bytes"},
      {rtList, "Mode", 5, "1", "R=1: a list has no codes of more than 4 bytes"},
  };
  Expect(kRows);
}

TEST_F(EnteredValue, BitsAreTextsOrOneNumber) {
  constexpr TEntryRow kRows[] = {
      {rtBin, "Alarms", 2, "fire", "00 01"},
      {rtBin, "Alarms", 2, "Service, low water", "02 02"},
      {rtBin, "Alarms", 2, "calm,Door", "00 04"},
      {rtBin, "Alarms", 2, "0x0201", "02 01"},
      {rtBin, "Alarms", 2, "0", "00 00"},
      {rtBin, "Alarms", 4, "0x80000000", "80 00 00 00"},
      {rtBin, "Alarms", 6, "far", "01 00 00 00 00 00"},
      {rtBin, "Alarms", 2, "65536", "R=65536: does not fit 2 bytes"},
      {rtBin, "Alarms", 2, "-1", "R=-1: does not fit 2 bytes"},
      {rtBin, "Alarms", 4, "-1", "R=-1: does not fit 4 bytes"},
      {rtBin, "Alarms", 2, "far", "R=far: bit 40 does not fit 2 bytes"},
      {rtBin, "Alarms", 2, "fire,calm", "R=fire,calm: bit 0 is told to be 0 and 1"},
      {rtBin, "Alarms", 2, "off",
       "R=off: several bits have the text 'off'; write them as one number"},
      {rtBin, "Alarms", 2, "smoke",
       "R=smoke: no bit has the text 'smoke' (calm, fire, low water, service, far, on, off, on, "
       "off, Door)"},
      {rtBin, "Alarms", 2, "", "R=: no value"},
  };
  Expect(kRows);
}

TEST_F(EnteredValue, TextsAreFilledUpWithBlanks) {
  constexpr TEntryRow kRows[] = {
      {rtStr, "", 4, "Ab", "41 62 20 20"},
      {rtStr, "", 4, "", "20 20 20 20"},
      {rtStr, "", 2, "Да", "C4 E0"},
      {rtStr, "", 4, "12345", "R=12345: 5 characters, and it has 4"},
      {rtStr, "", 4, "日本", "R=日本: code page 1251 lacks some of its characters"},
      {rtStr, "", 4, "a\xFF", "R=a\xFF: code page 1251 lacks some of its characters"},
  };
  Expect(kRows);
}

TEST_F(EnteredValue, ACodeGoesWithItsLowByteFirst) {
  constexpr TEntryRow kRows[] = {
      {rtStructur, "", 2, "258", "02 01"},
      {rtStructur, "", 1, "256", "R=256: does not fit 1 byte"},
      {rtStructur, "", 2, "x", "R=x: no whole number"},
      {rtStructur, "", 6, "1", "R=1: does not fit 6 bytes"},
  };
  Expect(kRows);
}

TEST_F(EnteredValue, ACoilIsOnOrOffInEveryByte) {
  constexpr TEntryRow kRows[] = {
      {rtBin, "OnOff", 1, "on", "01"},
      {rtBin, "OnOff", 1, "Off", "00"},
      {rtNone, "", 1, "1", "01"},
      {rtNone, "", 2, "0", "00 00"},
      {rtNone, "", 2, "$FF00", "01 01"},
      {rtBin, "OnOff", 3, "1", "01 01 01"},
      {rtBin, "OnOff", 1, "open", "R=open: no bit has the text 'open' (off, on)"},
      {rtNone, "", 1, "yes",
       "R=yes: no catalogue describes its type, so only bytes can be written, as in $0102"},
  };
  Expect(kRows, 0x05);
}

}  // namespace
}  // namespace OrvixModBus
