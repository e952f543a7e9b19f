#include "platform/model/uFormScanner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace OrvixModBus {
namespace {

using enum TFormTokenKind;

// The token as a test writes it: kind and value.
std::string Shown(const TFormToken& token) {
  switch (token.Kind) {
    case tkEnd:
      return "end";
    case tkIdentifier:
      return "word " + token.Text;
    case tkInteger:
      return "integer " + std::to_string(token.Integer);
    case tkFloat:
      return "float " + std::to_string(token.Float);
    case tkString:
      return "text " + token.Text;
    case tkBinary:
      return "bytes " + std::to_string(token.Binary.size());
    case tkSymbol:
      return "symbol " + token.Text;
  }
  return "";
}

std::vector<std::string> TokensOf(std::string_view text) {
  TFormScanner scanner(text, "");
  std::vector<std::string> tokens;
  while (scanner.Next().Kind != tkEnd) tokens.push_back(Shown(scanner.Take()));
  return tokens;
}

TEST(FormScanner, CutsATextIntoTokens) {
  const struct {
    std::string Text;
    std::vector<std::string> Tokens;
  } cases[] = {
      {"", {}},
      {" \t\r\n", {}},
      {"object Pump: TMBClient", {"word object", "word Pump", "symbol :", "word TMBClient"}},
      {"Lines.Strings=(", {"word Lines.Strings", "symbol =", "symbol ("}},
      {"Types.Numbers[12]", {"word Types.Numbers[12]"}},
      {"[clRed, clBlue]", {"symbol [", "word clRed", "symbol ,", "word clBlue", "symbol ]"}},
      {"< item end>", {"symbol <", "word item", "word end", "symbol >"}},
      {"Насос_1", {"word Насос_1"}},
      {"0 -5 +5 9223372036854775807",
       {"integer 0", "integer -5", "integer 5", "integer 9223372036854775807"}},
      {"$FF $7fffffffffffffff", {"integer 255", "integer 9223372036854775807"}},
      {"1.5 -2.25 1e3 1E-3 2.",
       {"float 1.500000", "float -2.250000", "float 1000.000000", "float 0.001000",
        "float 2.000000"}},
      {"9223372036854775808 -1e2", {"float 9223372036854775808.000000", "float -100.000000"}},
      {"INF -INF NAN", {"word INF", "word -INF", "word NAN"}},
      {"''", {"text "}},
      {"'it''s'", {"text it's"}},
      {"'a'#13#10'b'", {"text a\r\nb"}},
      {"#1053#1072#1089#1086#1089", {"text Насос"}},
      {"#$41#$42", {"text AB"}},
      {"#55357#56832", {"text \xF0\x9F\x98\x80"}},
      {"'Насос'", {"text Насос"}},
      {"'one' +\r\n  'two' + #33", {"text onetwo!"}},
      {"'a' 'b'", {"text a", "text b"}},
      {"{}", {"bytes 0"}},
      {"{ 00 fF\n1A2b }", {"bytes 4"}},
      {"\xEF\xBB\xBFobject", {"word object"}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.Text);
    EXPECT_EQ(TokensOf(each.Text), each.Tokens);
  }
}

TEST(FormScanner, BinaryDataAreItsBytes) {
  TFormScanner scanner("{00FF 1a}", "");
  EXPECT_EQ(scanner.Take().Binary, (Bytes{0x00, 0xFF, 0x1A}));
}

TEST(FormScanner, TellsWhatIsNoTokenAndWhere) {
  const struct {
    std::string Text, Message;
  } cases[] = {
      {"a\n  ?", "f:2:3: unexpected '?'"},
      {"+", "f:1:1: unexpected '+'"},
      {"\"", "f:1:1: unexpected '\"'"},
      {"'open", "f:1:1: the text has no closing quote"},
      {"'open\n'", "f:1:1: the text has no closing quote"},
      {"'a\rb'", "f:1:1: the text has no closing quote"},
      {"'a' +", "f:1:6: expected a text behind '+'"},
      {"'a' + 5", "f:1:7: expected a text behind '+'"},
      {"'\xFF'", "f:1:2: a byte that is no UTF-8"},
      {"'ё' ?", "f:1:5: unexpected '?'"},
      {"#", "f:1:1: expected a character's number, 0 to 65535"},
      {"#65536", "f:1:1: expected a character's number, 0 to 65535"},
      {"#-1", "f:1:1: expected a character's number, 0 to 65535"},
      {"'a'#55357'b'", "f:1:4: half a character"},
      {"#56832", "f:1:1: half a character"},
      {"12a", "f:1:1: this is no number"},
      {"1e", "f:1:1: this is no number"},
      {"1.2.3", "f:1:1: this is no number"},
      {"$", "f:1:1: this is no number"},
      {"$-1", "f:1:1: this is no number"},
      {"$FFFFFFFFFFFFFFFF", "f:1:1: the number is out of range"},
      {"1e999", "f:1:1: the number is out of range"},
      {"Numbers[", "f:1:9: expected an index and ']'"},
      {"Numbers[x]", "f:1:9: expected an index and ']'"},
      {"{0}", "f:1:2: expected two hexadecimal digits or '}'"},
      {"{00", "f:1:4: expected two hexadecimal digits or '}'"},
      {"{0g}", "f:1:2: expected two hexadecimal digits or '}'"},
      {"\xEF\xBB\xBF?", "f:1:1: unexpected '?'"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.Text);
    const auto scan = [&] {
      TFormScanner scanner(each.Text, "f");
      while (scanner.Next().Kind != tkEnd) scanner.Take();
    };
    EXPECT_THAT(scan, testing::ThrowsMessage<EFormError>(each.Message));
  }
}

TEST(FormScanner, AnErrorWithoutAFileNamesLineAndColumnInWords) {
  const EFormError error = TFormScanner("a\nb c", "").Error(4, "what is that");
  EXPECT_STREQ(error.what(), "line 2, column 3: what is that");
  EXPECT_EQ(error.File(), "");
  EXPECT_EQ(error.Line(), 2);
  EXPECT_EQ(error.Column(), 3);
  EXPECT_EQ(error.Problem(), "what is that");
}

}  // namespace
}  // namespace OrvixModBus
