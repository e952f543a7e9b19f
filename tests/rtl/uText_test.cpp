#include "platform/rtl/uText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/rtl/TestRows.h"

namespace OrvixModBus {
namespace {

using std::string_literals::operator""s;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Trim, DropsBlanksAndControlCharactersAtBothEnds) {
  EXPECT_EQ(Trim(" \t\r\n a b \x01\x1F "), "a b");
  EXPECT_EQ(Trim("ab"), "ab");
  EXPECT_EQ(Trim(""), "");
  EXPECT_EQ(Trim(" \n "), "");
  EXPECT_EQ(Trim("\0a\0"s), "a");
}

TEST(Trim, KeepsBytesAboveAscii) { EXPECT_EQ(Trim(" Насос "), "Насос"); }

TEST(Split, GivesEveryPartEmptyOnesToo) {
  EXPECT_THAT(Split("a|b", '|'), ElementsAre("a", "b"));
  EXPECT_THAT(Split("|a||b|", '|'), ElementsAre("", "a", "", "b", ""));
  EXPECT_THAT(Split("|", '|'), ElementsAre("", ""));
  EXPECT_THAT(Split("ab", '|'), ElementsAre("ab"));
}

TEST(Split, GivesNoPartOfAnEmptyText) {
  EXPECT_THAT(Split("", '|'), IsEmpty());
  EXPECT_THAT(SplitAtAny("", "|;"), IsEmpty());
}

TEST(SplitAtAny, SplitsAtEachCharacterOfTheSet) {
  EXPECT_THAT(SplitAtAny("a;b|c", "|;"), ElementsAre("a", "b", "c"));
  EXPECT_THAT(SplitAtAny("a;|b", "|;"), ElementsAre("a", "", "b"));
  EXPECT_THAT(SplitAtAny("a|b", ""), ElementsAre("a|b"));
}

TEST(SplitAtAny, TakesWholeCharactersNotTheirBytes) {
  EXPECT_THAT(SplitAtAny("a№б№c", "№"), ElementsAre("a", "б", "c"));
  // "а" and "р" share bytes with the separators "с" and "п", but are other characters.
  EXPECT_THAT(SplitAtAny("арс", "сп"), ElementsAre("ар", ""));
  EXPECT_THAT(SplitAtAny("a\xD1"
                         "b",
                         "с"),
              ElementsAre("a\xD1"
                          "b"));
}

TEST(ReplaceAll, ReplacesEveryOccurrenceFromTheLeft) {
  EXPECT_EQ(ReplaceAll("%a%", "%", "12"), "12a12");
  EXPECT_EQ(ReplaceAll("aaa", "aa", "b"), "ba");
  EXPECT_EQ(ReplaceAll("abc", "x", "y"), "abc");
  EXPECT_EQ(ReplaceAll("", "x", "y"), "");
  EXPECT_EQ(ReplaceAll("a.b", ".", ""), "ab");
}

TEST(ReplaceAll, DoesNotReplaceInsideItsOwnReplacement) {
  EXPECT_EQ(ReplaceAll("a", "a", "aa"), "aa");
}

TEST(ReplaceAll, FindsNoEmptyText) { EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc"); }

struct TCharRow {
  const char* name;
  std::string text;
  TUtf8Char first;
};

class Utf8FirstChar : public testing::TestWithParam<TCharRow> {};

TEST_P(Utf8FirstChar, IsWellFormedOrALoneByte) {
  EXPECT_EQ(Utf8First(GetParam().text), GetParam().first);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Utf8FirstChar,
    testing::Values(TCharRow{"Ascii", "ab", {'a', 1, true}}, TCharRow{"Zero", "\0"s, {0, 1, true}},
                    TCharRow{"TwoBytes", "\xD0\x90x", {0x410, 2, true}},
                    TCharRow{"ThreeBytes", "\xE2\x82\xAC", {0x20AC, 3, true}},
                    TCharRow{"FourBytes", "\xF0\x9F\x98\x80", {0x1F600, 4, true}},
                    TCharRow{"LargestCode", "\xF4\x8F\xBF\xBF", {0x10FFFF, 4, true}},
                    TCharRow{"PastTheLargest", "\xF4\x90\x80\x80", {0xF4, 1, false}},
                    TCharRow{"OverlongTwo", "\xC1\xBF", {0xC1, 1, false}},
                    TCharRow{"OverlongThree", "\xE0\x9F\xBF", {0xE0, 1, false}},
                    TCharRow{"OverlongFour", "\xF0\x8F\xBF\xBF", {0xF0, 1, false}},
                    TCharRow{"Surrogate", "\xED\xA0\x80", {0xED, 1, false}},
                    TCharRow{"LastBeforeSurrogates", "\xED\x9F\xBF", {0xD7FF, 3, true}},
                    TCharRow{"ContinuationAlone", "\x90", {0x90, 1, false}},
                    TCharRow{"CutOff", "\xE2\x82", {0xE2, 1, false}},
                    TCharRow{"BrokenOff", "\xE2\x82x", {0xE2, 1, false}},
                    TCharRow{"NoLeadByte", "\xFF", {0xFF, 1, false}}),
    TRowName());

TEST(Utf8Append, IsReadBackAsTheSameCharacter) {
  for (const char32_t code : {U'\0', U'\x7F', U'\x80', U'\x7FF', U'\x800', U'\xD7FF', U'\xE000',
                              U'\xFFFF', U'\x10000', U'\x10FFFF'}) {
    std::string text;
    Utf8Append(text, code);
    EXPECT_EQ(Utf8First(text), (TUtf8Char{code, text.size(), true}));
  }
}

TEST(Utf8Append, ReplacesWhatIsNoCharacter) {
  for (const char32_t code : {char32_t{0xD800}, char32_t{0xDFFF}, char32_t{0x110000}}) {
    std::string text;
    Utf8Append(text, code);
    EXPECT_EQ(text, "\xEF\xBF\xBD");
  }
}

TEST(Utf8Length, CountsCharactersAndLoneBytes) {
  EXPECT_EQ(Utf8Length(""), 0u);
  EXPECT_EQ(Utf8Length("Насос 1"), 7u);
  EXPECT_EQ(Utf8Length("\xFF\xD0"), 2u);
}

TEST(Utf8Left, CutsBetweenCharacters) {
  EXPECT_EQ(Utf8Left("Насос", 2), "На");
  EXPECT_EQ(Utf8Left("Насос", 0), "");
  EXPECT_EQ(Utf8Left("Насос", 9), "Насос");
}

TEST(Split, JoinedAgainIsTheText) {
  std::mt19937 random(1);
  for (int i = 0; i < 1000; ++i) {
    std::string text(1 + random() % 12, ' ');
    for (char& c : text) c = "|ab"[random() % 3];
    std::string joined;
    for (const std::string& part : Split(text, '|')) joined += part + "|";
    EXPECT_EQ(joined, text + "|");
  }
}

}  // namespace
}  // namespace OrvixModBus
