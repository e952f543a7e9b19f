#pragma once
// uTestLetter: a letter on a line without a port, its events noted.

#include <memory>
#include <string>
#include <vector>

#include "tests/src/uTestLine.h"
#include "tests/src/uTestRegs.h"
#include "uMBLetters.h"

namespace OrvixModBus {

class TTestLetter : public TTestClient {
 public:
  TTestLetter() { letter->SetClient(client.get()); }

  TMBReg& Add(const TRegTraits& traits) { return AddReg(letter->Regs(), traits); }
  TMBRegs& Regs() { return letter->Regs(); }

  /// Notes all events of the letter.
  void HearAll() {
    letter->OnReadAllRegs = [this](TMBLetter&) { log.push_back("read all"); };
    letter->OnWriteAllRegs = [this](TMBLetter&) { log.push_back("written all"); };
    letter->OnRegDataChange = [this](TMBLetter&, TMBReg& reg) {
      log.push_back(reg.Name() + "=" + Hex(reg.Data()));
    };
    letter->OnWriteReg = [this](TMBLetter&, TMBReg& reg) {
      log.push_back(reg.Name() + " written");
    };
    letter->OnExeptionAnswer = [this](TMBLetter&, std::uint8_t func) {
      log.push_back("exeption $" + IntToHex(func, 2));
    };
    letter->OnNoneAnswer = [this](TMBLetter&, std::uint8_t func) {
      log.push_back("none $" + IntToHex(func, 2));
    };
  }
  /// A good reply to this letter, as the client hands it over.
  void GetReply(std::uint8_t func, std::uint32_t start, const Bytes& values) {
    letter->OnRead(*client, TServerReply::srNormalReply, func, start, values, letter.get());
  }
  void GetWritten(std::uint8_t func, std::uint32_t start, const Bytes& values) {
    letter->OnWrite(*client, TServerReply::srNormalReply, func, start, values, letter.get());
  }
  std::vector<std::string> TakeLog() { return std::exchange(log, {}); }

  std::unique_ptr<TMBLetter> letter = std::make_unique<TMBLetter>();
  TTestLog log;
};

}  // namespace OrvixModBus
