#include "platform/model/uFormScanner.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "platform/rtl/uFold.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

using enum TFormTokenKind;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool IsWordPart(char c) { return IsLetter(c) || IsDigit(c) || c == '.'; }

// -1 for what is no hexadecimal digit.
int HexDigit(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsHighSurrogate(char32_t code) { return code >= 0xD800 && code < 0xDC00; }
bool IsLowSurrogate(char32_t code) { return code >= 0xDC00 && code < 0xE000; }

std::string PlaceText(const std::string& file, int line, int column) {
  const std::string numbers[] = {std::to_string(line), std::to_string(column)};
  if (file.empty()) return "line " + numbers[0] + ", column " + numbers[1] + ": ";
  return file + ":" + numbers[0] + ":" + numbers[1] + ": ";
}

}  // namespace

EFormError::EFormError(const std::string& file, int line, int column, const std::string& problem)
    : Exception(PlaceText(file, line, column) + problem),
      fFile(file),
      fProblem(problem),
      fLine(line),
      fColumn(column) {}

TFormScanner::TFormScanner(std::string_view text, std::string file)
    : fText(text), fFile(std::move(file)) {
  if (fText.starts_with("\xEF\xBB\xBF")) fPlace = 3;
  Advance();
}

TFormToken TFormScanner::Take() {
  TFormToken taken = std::move(fNext);
  Advance();
  return taken;
}

bool TFormScanner::IsSymbol(char symbol) const {
  return fNext.Kind == tkSymbol && fNext.Text[0] == symbol;
}

bool TFormScanner::IsWord(std::string_view word) const {
  return fNext.Kind == tkIdentifier && SameText(fNext.Text, word);
}

EFormError TFormScanner::Error(std::size_t offset, const std::string& problem) const {
  const std::string_view before = fText.substr(0, offset);
  const auto lines = std::ranges::count(before, '\n');
  const std::size_t lineEnd = before.rfind('\n');
  std::string_view line = before.substr(lineEnd == std::string_view::npos ? 0 : lineEnd + 1);
  if (lines == 0 && line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);
  return {fFile, static_cast<int>(lines) + 1, static_cast<int>(Utf8Length(line)) + 1, problem};
}

void TFormScanner::SkipBlanks() {
  while (!Ends() && static_cast<unsigned char>(Current()) <= ' ') ++fPlace;
}

void TFormScanner::Advance() {
  SkipBlanks();
  fNext = TFormToken();
  fNext.Offset = fPlace;
  if (Ends()) return;
  const char c = Current();
  const bool sign = c == '-' || c == '+';
  const char begin = sign && fPlace + 1 < fText.size() ? fText[fPlace + 1] : c;
  if (IsDigit(begin)) return ScanNumber();
  if (IsLetter(c) || (c == '-' && IsLetter(begin))) return ScanWord();
  if (c == '$') return ScanHex();
  if (c == '\'' || c == '#') return ScanString();
  if (c == '{') return ScanBinary();
  if (std::string_view("=:[]()<>,").find(c) == std::string_view::npos) {
    const auto length = std::min(Utf8First(Rest()).length, Rest().size());
    throw Error(fPlace, "unexpected '" + std::string(Rest().substr(0, length)) + "'");
  }
  fNext.Kind = tkSymbol;
  fNext.Text = c;
  ++fPlace;
}

// A word may have a sign, for there is -INF.
void TFormScanner::ScanWord() {
  fNext.Kind = tkIdentifier;
  ++fPlace;
  while (IsWordPart(Current())) {
    ++fPlace;
    if (Current() == '[') ScanIndex();
  }
  fNext.Text = fText.substr(fNext.Offset, fPlace - fNext.Offset);
}

void TFormScanner::ScanIndex() {
  std::size_t end = fPlace + 1;
  while (end < fText.size() && IsDigit(fText[end])) ++end;
  if (end >= fText.size() || fText[end] != ']') {
    throw Error(end, "expected an index and ']'");
  }
  fPlace = end + 1;
}

void TFormScanner::ScanNumber() {
  const std::size_t begin = fPlace;
  if (Current() == '-' || Current() == '+') ++fPlace;
  const auto digits = [this] {
    while (IsDigit(Current())) ++fPlace;
  };
  digits();
  fNext.Kind = tkInteger;
  if (Current() == '.') {
    fNext.Kind = tkFloat;
    ++fPlace;
    digits();
  }
  if (Current() == 'e' || Current() == 'E') {
    fNext.Kind = tkFloat;
    ++fPlace;
    if (Current() == '-' || Current() == '+') ++fPlace;
    digits();
  }
  const char* const end = fText.data() + fPlace;
  const char* const first = fText.data() + begin + (fText[begin] == '+' ? 1 : 0);
  auto result = std::from_chars(first, end, fNext.Integer);
  if (fNext.Kind == tkFloat || result.ec == std::errc::result_out_of_range) {
    fNext.Kind = tkFloat;
    result = std::from_chars(first, end, fNext.Float);
  }
  if (result.ec == std::errc::result_out_of_range) throw Error(begin, "the number is out of range");
  if (result.ptr != end || IsWordPart(Current())) throw Error(begin, "this is no number");
}

void TFormScanner::ScanHex() {
  const std::size_t begin = fPlace++;
  fNext.Kind = tkInteger;
  const char* const end = fText.data() + fText.size();
  const auto [stop, error] = std::from_chars(fText.data() + fPlace, end, fNext.Integer, 16);
  if (error == std::errc::result_out_of_range) throw Error(begin, "the number is out of range");
  const bool empty = error != std::errc() || Current() == '-';
  fPlace = static_cast<std::size_t>(stop - fText.data());
  if (empty || IsWordPart(Current())) throw Error(begin, "this is no number");
}

void TFormScanner::ScanString() {
  fNext.Kind = tkString;
  ScanPiece();
  for (;;) {
    const std::size_t end = fPlace;
    SkipBlanks();
    if (Current() != '+') {
      fPlace = end;
      return;
    }
    ++fPlace;
    SkipBlanks();
    if (Current() != '\'' && Current() != '#') throw Error(fPlace, "expected a text behind '+'");
    ScanPiece();
  }
}

// 'quoted'#13#10'quoted': parts that follow each other at once.
void TFormScanner::ScanPiece() {
  while (Current() == '\'' || Current() == '#') {
    if (Current() == '\'') {
      ScanQuoted();
    } else {
      ScanCodes();
    }
  }
}

void TFormScanner::ScanQuoted() {
  const std::size_t begin = fPlace++;
  for (;;) {
    const char c = Current();
    if (Ends() || c == '\n' || c == '\r') throw Error(begin, "the text has no closing quote");
    if (c == '\'') {
      ++fPlace;
      if (Current() != '\'') return;
    }
    const TUtf8Char character = Utf8First(Rest());
    if (!character.wellFormed) throw Error(fPlace, "a byte that is no UTF-8");
    fNext.Text += Rest().substr(0, character.length);
    fPlace += character.length;
  }
}

// #1234#1235: UTF-16 units, so that a character past U+FFFF has two.
void TFormScanner::ScanCodes() {
  while (Current() == '#') {
    const std::size_t begin = fPlace;
    char32_t code = ScanCode();
    if (IsHighSurrogate(code)) {
      const char32_t low = Current() == '#' ? ScanCode() : 0;
      if (!IsLowSurrogate(low)) throw Error(begin, "half a character");
      code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    } else if (IsLowSurrogate(code)) {
      throw Error(begin, "half a character");
    }
    Utf8Append(fNext.Text, code);
  }
}

char16_t TFormScanner::ScanCode() {
  const std::size_t begin = fPlace++;
  const bool hex = Current() == '$';
  if (hex) ++fPlace;
  std::uint16_t code = 0;
  const auto [stop, error] =
      std::from_chars(fText.data() + fPlace, fText.data() + fText.size(), code, hex ? 16 : 10);
  if (error != std::errc()) throw Error(begin, "expected a character's number, 0 to 65535");
  fPlace = static_cast<std::size_t>(stop - fText.data());
  return code;
}

void TFormScanner::ScanBinary() {
  fNext.Kind = tkBinary;
  ++fPlace;
  for (SkipBlanks(); Current() != '}'; SkipBlanks()) {
    const int high = HexDigit(Current());
    const int low = fPlace + 1 < fText.size() ? HexDigit(fText[fPlace + 1]) : -1;
    if (high < 0 || low < 0) throw Error(fPlace, "expected two hexadecimal digits or '}'");
    fNext.Binary.push_back(static_cast<std::uint8_t>(high * 16 + low));
    fPlace += 2;
  }
  ++fPlace;
}

}  // namespace OrvixModBus
