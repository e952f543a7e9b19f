#include "platform/rtl/uFold.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/rtl/uText.h"
#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

struct TFoldRow {
  const char* name;
  const char* text;
  const char* folded;
};

class FoldCaseText : public testing::TestWithParam<TFoldRow> {};

TEST_P(FoldCaseText, IsSmallLetters) {
  const auto& [name, text, folded] = GetParam();
  EXPECT_EQ(FoldCase(text), folded);
  EXPECT_EQ(FoldCase(folded), folded);
  EXPECT_TRUE(SameText(text, folded));
  EXPECT_EQ(HashText(text), HashText(folded));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FoldCaseText,
    testing::Values(TFoldRow{"Empty", "", ""},
                    TFoldRow{"Ascii", "Reg_0[AZaz]@`{", "reg_0[azaz]@`{"},
                    TFoldRow{"Western", "ÀÖØÞßàöøþÿ×÷", "àöøþßàöøþÿ×÷"},
                    TFoldRow{"CentralEuropean", "ĀĎĐĮĲĶĹŁŇŊŠŶŸŹŽſ", "āďđįĳķĺłňŋšŷÿźžs"},
                    TFoldRow{"TurkishDots", "Iİıi", "iİıi"}, TFoldRow{"Romanian", "ȘȚ", "șț"},
                    TFoldRow{"Pinyin", "ǍǛǞǮ", "ǎǜǟǯ"},
                    TFoldRow{"Greek", "ΆΈΊΌΎΏΑΡΣΫΣίσυφος", "άέίόύώαρσϋσίσυφοσ"},
                    TFoldRow{"MicroSignIsMu", "µ", "μ"},
                    TFoldRow{"Russian", "АПРЯЁ насос", "апряё насос"},
                    TFoldRow{"Neighbours", "ЀЂЄІЇЎЏҐӀӁӐԮ", "ѐђєіїўџґӏӂӑԯ"},
                    TFoldRow{"OldCyrillic", "ѠҀ҂", "ѡҁ҂"},
                    TFoldRow{"OtherScriptsPass", "中文 Ա א", "中文 Ա א"}),
    TRowName());

TEST(FoldCase, PassesBytesThatAreNoText) {
  EXPECT_EQ(FoldCase("A\xFF\xC3"
                     "B\xD0"),
            "a\xFF\xC3"
            "b\xD0");
}

TEST(FoldChar, LeavesEveryFoldedCharacterAlone) {
  for (char32_t code = 0; code < 0x3000; ++code) {
    EXPECT_EQ(FoldChar(FoldChar(code)), FoldChar(code)) << static_cast<unsigned>(code);
  }
}

TEST(HashText, TellsTheNamesOfASeriesApart) {
  std::set<std::size_t> hashes;
  for (int i = 0; i < 10000; ++i) hashes.insert(HashText("Temp" + std::to_string(i)));
  EXPECT_EQ(hashes.size(), 10000u);
}

struct TOrderRow {
  const char* name;
  const char* a;
  const char* b;
  int order;
};

class CompareTextOrder : public testing::TestWithParam<TOrderRow> {};

TEST_P(CompareTextOrder, IsThatOfTheFoldedTexts) {
  const auto& [name, a, b, order] = GetParam();
  EXPECT_EQ(CompareText(a, b), order);
  EXPECT_EQ(CompareText(b, a), -order);
  EXPECT_EQ(SameText(a, b), order == 0);
}

INSTANTIATE_TEST_SUITE_P(Rows, CompareTextOrder,
                         testing::Values(TOrderRow{"BothEmpty", "", "", 0},
                                         TOrderRow{"PrefixComesFirst", "ab", "ABC", -1},
                                         TOrderRow{"CaseIgnored", "Pump", "pUMP", 0},
                                         TOrderRow{"CyrillicCaseIgnored", "НАСОС", "насос", 0},
                                         TOrderRow{"FoldedUnderscoreBeforeLetters", "_", "A", -1},
                                         TOrderRow{"DigitsBeforeLetters", "1", "a", -1},
                                         TOrderRow{"LatinBeforeCyrillic", "z", "А", -1},
                                         TOrderRow{"LoneByteAfterCharacters", "\xF4\x8F\xBF\xBF",
                                                   "\x80", -1},
                                         TOrderRow{"LoneBytesByValue", "\x80", "\xFF", -1},
                                         TOrderRow{"DifferentCyrillic", "Б", "а", 1}),
                         TRowName());

// Texts of few pieces are often the same but for case, those of many are longer than what is
// compared at once.
std::vector<std::string> RandomTexts() {
  std::mt19937 random(3);
  const std::vector<std::string> pieces{"a", "A", "b",    "_",    "Я", "я", "Z", "@",
                                        "Ä", "ä", "\xD0", "\xFF", "€", "ſ", "s", "["};
  std::vector<std::string> texts;
  for (int i = 0; i < 400; ++i) {
    const std::size_t known = i % 2 == 0 ? 4 : pieces.size();
    std::string text = i % 4 < 2 ? "" : "TemperatureOf";
    for (auto n = random() % (i % 3 == 0 ? 20U : 4U); n > 0; --n) text += pieces[random() % known];
    texts.push_back(text);
  }
  return texts;
}

TEST(CompareText, OrdersRandomTextsTotallyAndAsTheirFoldedForms) {
  std::vector<std::string> texts = RandomTexts();
  std::sort(texts.begin(), texts.end(),
            [](const auto& a, const auto& b) { return CompareText(a, b) < 0; });
  for (std::size_t i = 0; i < texts.size(); ++i) {
    for (std::size_t j = i; j < texts.size(); ++j) {
      EXPECT_LE(CompareText(texts[i], texts[j]), 0);
      EXPECT_EQ(SameText(texts[i], texts[j]), FoldCase(texts[i]) == FoldCase(texts[j]));
    }
  }
}

TEST(CompareText, ComparesCharacterByCharacterWhateverStandsBefore) {
  for (const std::string before : {"", "Pump", "Station", "Station1", "Станция", "Station11"}) {
    for (int code = 1; code < 0x80; ++code) {
      const std::string one = before + static_cast<char>(code) + "x", other = before + "mX";
      const char32_t folded = FoldChar(static_cast<char32_t>(code));
      const int expected = folded < U'm' ? -1 : folded > U'm' ? 1 : 0;
      EXPECT_EQ(CompareText(one, other), expected) << one;
      EXPECT_EQ(HashText(one) == HashText(other), expected == 0) << one;
    }
  }
}

TEST(HashText, IsThatOfTheFoldedText) {
  for (const std::string& text : RandomTexts()) {
    EXPECT_EQ(HashText(text), HashText(FoldCase(text))) << text;
  }
}

}  // namespace
}  // namespace OrvixModBus
