#pragma once
// uLetterReader: reads letters to their end, and knows why a register could not be read.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/orvixmb/uRegisterRows.h"
#include "uMBLetters.h"

namespace OrvixModBus {

/// Reads one letter as often as wanted. The letter and its client, which must be open, outlive
/// this; while Read runs, the client's events are the reader's.
class TLetterReader : public TObject {
 public:
  explicit TLetterReader(TMBLetter& letter);
  TLetterReader(const TLetterReader&) = delete;
  TLetterReader& operator=(const TLetterReader&) = delete;

  /// Reads these registers, in the order given, and waits for the end. A row for each; one that
  /// did not answer has the reason as its error.
  std::vector<TRegisterRow> Read(const TMBRegList& regs);
  std::vector<TRegisterRow> Read() { return Read(fLetter.Regs().RegList()); }

 private:
  // One request, and what became of it.
  struct TAsked {
    std::uint8_t Func;
    std::uint32_t First, End;  // addresses, the end not included
    std::string Failure;
  };

  static std::pair<std::uint8_t, std::uint32_t> PlaceOf(const TAsked& asked) {
    return {asked.Func, asked.First};
  }
  void Listen();
  void StopListening();
  void Completed(TModbusClient& sender, TModbusTransaction& transaction, std::uint8_t command);
  void Failed(TMBClient& sender, TServerReply reply, std::uint8_t func, std::uint32_t start);
  std::string ErrorOf(const TMBReg& reg) const;

  TMBLetter& fLetter;
  TMBClient& fClient;
  std::vector<TAsked> fAsked;
  std::uint8_t fExceptionCode = 0;  // of the reply that is being handled
};

/// "exception 2: illegal data address", "no answer".
std::string FailureText(TServerReply reply, std::uint8_t exceptionCode);

}  // namespace OrvixModBus
