#include "platform/rtl/uCodePage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <set>

#include "platform/rtl/uException.h"
#include "platform/rtl/uText.h"
#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

constexpr std::array kPages{1250, 1251, 1252, 1253, 1254,  1255,
                            1256, 1257, 1258, 866,  20866, 28591};

class CodePage : public testing::Test {
 protected:
  ~CodePage() override { SetAnsiCodePage(fBefore); }

 private:
  const int fBefore = AnsiCodePage();
};

struct TPageRow {
  const char* name;
  int page;
  Bytes data;
  const char* text;
};

class CodePageText : public CodePage, public testing::WithParamInterface<TPageRow> {};

TEST_P(CodePageText, IsDecoded) {
  SetAnsiCodePage(GetParam().page);
  EXPECT_EQ(AnsiCodePage(), GetParam().page);
  EXPECT_EQ(AnsiToUtf8(GetParam().data), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CodePageText,
    testing::Values(
        TPageRow{"CentralEuropean", 1250, {0x41, 0xA5, 0xF8, 0xFF}, "AĄř˙"},
        TPageRow{"Cyrillic", 1251, {0xCD, 0xE0, 0xF1, 0xEE, 0xF1, 0xA8, 0xB9}, "НасосЁ№"},
        TPageRow{"Western", 1252, {0x80, 0xB0, 0x43, 0xE9}, "€°Cé"},
        TPageRow{"Greek", 1253, {0xC1, 0xE1, 0xA2, 0xFE}, "ΑαΆώ"},
        TPageRow{"Turkish", 1254, {0xD0, 0xDD, 0xFD, 0xFE}, "Ğİış"},
        TPageRow{"Hebrew", 1255, {0xE0, 0xFA, 0xA4}, "את₪"},
        TPageRow{"Arabic", 1256, {0xC7, 0xED, 0x81}, "ايپ"},
        TPageRow{"Baltic", 1257, {0xC0, 0xE0, 0xFE}, "Ąąž"},
        TPageRow{"Vietnamese", 1258, {0xD0, 0xF5, 0xFE}, "Đơ₫"},
        TPageRow{"DosCyrillic", 866, {0x80, 0xAF, 0xE0, 0xF0, 0xB0}, "АпрЁ░"},
        TPageRow{"Koi8", 20866, {0xC1, 0xC2, 0xE1, 0xA3, 0x80}, "абАё─"},
        TPageRow{"Latin1", 28591, {0x80, 0xA4, 0xE9, 0xFF}, "\xC2\x80¤éÿ"},
        TPageRow{"UndefinedBytesBecomeControls", 1252, {0x81, 0x9D}, "\xC2\x81\xC2\x9D"},
        TPageRow{"UndefinedByteOfCyrillic", 1251, {0x98}, "\xC2\x98"}),
    TRowName());

class EveryCodePage : public CodePage, public testing::WithParamInterface<int> {};

TEST_P(EveryCodePage, MakesACharacterOfItsOwnOfEveryByte) {
  SetAnsiCodePage(GetParam());
  std::set<std::string> characters;
  for (unsigned byte = 0; byte < 256; ++byte) {
    const Bytes data{static_cast<std::uint8_t>(byte)};
    const std::string text = AnsiToUtf8(data);
    EXPECT_TRUE(Utf8First(text).wellFormed);
    EXPECT_EQ(Utf8Length(text), 1u);
    EXPECT_EQ(byte < 0x80, text == std::string(1, static_cast<char>(byte)));
    characters.insert(text);
  }
  EXPECT_EQ(characters.size(), 256u);
}

INSTANTIATE_TEST_SUITE_P(Pages, EveryCodePage, testing::ValuesIn(kPages));

TEST_F(CodePage, UnknownOnesAreRefusedAndNothingChanges) {
  SetAnsiCodePage(1253);
  for (const int unknown : {0, 437, 1249, 1259, 65001, -1251}) {
    EXPECT_THROW(SetAnsiCodePage(unknown), EConvertError);
  }
  EXPECT_THAT([] { SetAnsiCodePage(437); },
              testing::ThrowsMessage<EConvertError>("Code page 437 is not known"));
  EXPECT_EQ(AnsiCodePage(), 1253);
}

TEST_F(CodePage, NoBytesGiveNoText) { EXPECT_EQ(AnsiToUtf8({}), ""); }

struct TLocaleRow {
  const char* name;
  const char* locale;
  int page;
};

class LocalePage : public testing::TestWithParam<TLocaleRow> {};

TEST_P(LocalePage, IsThatOfTheLanguage) {
  EXPECT_EQ(AnsiCodePageOfLocale(GetParam().locale), GetParam().page);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LocalePage,
    testing::Values(
        TLocaleRow{"Russian", "ru_RU.UTF-8", 1251}, TLocaleRow{"Ukrainian", "uk_UA", 1251},
        TLocaleRow{"Belarusian", "be_BY.CP1251", 1251}, TLocaleRow{"Bulgarian", "bg", 1251},
        TLocaleRow{"Polish", "pl_PL.UTF-8", 1250}, TLocaleRow{"Czech", "cs_CZ", 1250},
        TLocaleRow{"SerbianIsCyrillic", "sr_RS.UTF-8", 1251},
        TLocaleRow{"SerbianInLatin", "sr_RS.UTF-8@latin", 1250},
        TLocaleRow{"Greek", "el_GR.UTF-8", 1253}, TLocaleRow{"Turkish", "tr_TR", 1254},
        TLocaleRow{"Lithuanian", "lt_LT.UTF-8", 1257}, TLocaleRow{"English", "en_US", 1252},
        TLocaleRow{"German", "de_DE@euro", 1252}, TLocaleRow{"C", "C.UTF-8", 1252},
        TLocaleRow{"None", "", 1252}, TLocaleRow{"LongerLanguage", "rus_RU", 1252}),
    TRowName());

class SystemLocale : public testing::Test {
 protected:
  SystemLocale() {
    for (const char* name : kNames) unsetenv(name);
  }
  ~SystemLocale() override {
    for (std::size_t i = 0; i < kNames.size(); ++i) {
      if (fBefore[i].empty()) {
        unsetenv(kNames[i]);
      } else {
        setenv(kNames[i], fBefore[i].c_str(), 1);
      }
    }
  }

 private:
  static std::string Read(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
  }

  static constexpr std::array kNames{"LC_ALL", "LC_CTYPE", "LANG"};
  const std::array<std::string, 3> fBefore{Read(kNames[0]), Read(kNames[1]), Read(kNames[2])};
};

TEST_F(SystemLocale, IsWesternWhenNothingIsSet) { EXPECT_EQ(SystemAnsiCodePage(), 1252); }

TEST_F(SystemLocale, TakesTheStrongestVariableThatIsSet) {
  setenv("LANG", "ru_RU.UTF-8", 1);
  EXPECT_EQ(SystemAnsiCodePage(), 1251);
  setenv("LC_CTYPE", "pl_PL.UTF-8", 1);
  EXPECT_EQ(SystemAnsiCodePage(), 1250);
  setenv("LC_ALL", "el_GR.UTF-8", 1);
  EXPECT_EQ(SystemAnsiCodePage(), 1253);
  setenv("LC_ALL", "", 1);
  EXPECT_EQ(SystemAnsiCodePage(), 1250);
}

}  // namespace
}  // namespace OrvixModBus
