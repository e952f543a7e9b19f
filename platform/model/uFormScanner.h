#pragma once
// uFormScanner: cuts the text of a form into tokens.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/rtl/uBytes.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {

/// A text that is no form, or names what is not there. The message begins with the place:
/// "plant.form:12:5: ", or "line 12, column 5: " where the text has no file.
class EFormError : public Exception {
 public:
  EFormError(const std::string& file, int line, int column, const std::string& problem);

  const std::string& File() const { return fFile; }  ///< as given to the reader; may be empty
  int Line() const { return fLine; }                 ///< from 1
  int Column() const { return fColumn; }             ///< in characters, from 1
  const std::string& Problem() const { return fProblem; }

 private:
  std::string fFile;
  std::string fProblem;
  int fLine;
  int fColumn;
};

enum class TFormTokenKind {
  tkEnd,         ///< the end of the text
  tkIdentifier,  ///< Text: a word, or a path of words such as Lines.Strings or Types.Numbers[2]
  tkInteger,     ///< Integer
  tkFloat,       ///< Float
  tkString,      ///< Text, UTF-8: the pieces that `+` joins are one token
  tkBinary,      ///< Binary: { hexadecimal digits }
  tkSymbol,      ///< Text: one of = : [ ] ( ) < > ,
};

struct TFormToken {
  TFormTokenKind Kind = TFormTokenKind::tkEnd;
  std::size_t Offset = 0;  ///< of its first byte
  std::string Text = {};
  std::int64_t Integer = 0;
  double Float = 0;
  Bytes Binary = {};
};

/// Reads tokens one after the other. The text stays the caller's and outlives this.
class TFormScanner {
 public:
  TFormScanner(std::string_view text, std::string file);

  /// The token that comes next. Valid until Take.
  const TFormToken& Next() const { return fNext; }
  /// Returns it and goes on to the one behind it. EFormError for what is no token.
  TFormToken Take();
  /// Is the next token this symbol, or this word, whatever its case?
  bool IsSymbol(char symbol) const;
  bool IsWord(std::string_view word) const;

  /// The error of a problem at a place in the text.
  EFormError Error(std::size_t offset, const std::string& problem) const;

 private:
  void Advance();
  void SkipBlanks();
  bool Ends() const { return fPlace >= fText.size(); }
  char Current() const { return Ends() ? '\0' : fText[fPlace]; }
  std::string_view Rest() const { return fText.substr(fPlace); }
  void ScanWord();
  void ScanIndex();
  void ScanNumber();
  void ScanHex();
  void ScanString();
  void ScanPiece();
  void ScanQuoted();
  void ScanCodes();
  char16_t ScanCode();
  void ScanBinary();

  const std::string_view fText;
  const std::string fFile;
  std::size_t fPlace = 0;
  TFormToken fNext;
};

}  // namespace OrvixModBus
