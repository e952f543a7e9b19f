#include "tools/orvixmb/uLetterReader.h"

#include <unordered_set>

#include "platform/rtl/uFirstError.h"
#include "tools/orvixmb/uAskedRequests.h"
#include "tools/orvixmb/uFormSession.h"

namespace OrvixModBus {
namespace {

// The registers of a letter that an answer has filled, noted for as long as it lives.
class TAnsweredRegs {
 public:
  explicit TAnsweredRegs(TMBLetter& letter) : fLetter(letter), fBefore(letter.OnRegDataChange) {
    fLetter.OnRegDataChange = [this](TMBLetter&, TMBReg& reg) { fRegs.insert(&reg); };
  }
  TAnsweredRegs(const TAnsweredRegs&) = delete;
  TAnsweredRegs& operator=(const TAnsweredRegs&) = delete;
  ~TAnsweredRegs() { fLetter.OnRegDataChange = fBefore; }

  bool Holds(const TMBReg& reg) const { return fRegs.contains(&reg); }

 private:
  TMBLetter& fLetter;
  const TLetterRegEvent fBefore;
  std::unordered_set<const TMBReg*> fRegs;
};

// Not only the letter: a request that goes out as two is complete for it with the first answer.
bool IsComplete(const TMBLetter& letter) {
  return letter.ChekAllRegsResive() && letter.Client()->CountPendingTransactions() == 0;
}

}  // namespace

void WaitForLetter(const TMBLetter& letter) {
  TFirstError undecoded;
  while (!IsComplete(letter)) {
    const int pending = letter.Client()->CountPendingTransactions();
    undecoded.Run([&] { WaitUntil(*letter.Client(), [&letter] { return IsComplete(letter); }); });
    if (letter.Client()->CountPendingTransactions() == pending) undecoded.Raise();
  }
}

std::vector<TRegisterRow> ReadRegisters(TMBLetter& letter, const TMBRegList& regs) {
  TAskedRequests asked(*letter.Client());
  const TAnsweredRegs answered(letter);
  TMBRegList list = regs;
  letter.ReadRegs(list, [&asked](const TMBReg& group) {
    asked.Ask(group.MBFuncRead(), group.Adress(), group.GetRegsCount());
  });
  WaitForLetter(letter);
  const auto errorOf = [&](TMBReg& reg) {
    if (answered.Holds(reg)) return DecodingError(reg);
    const std::string error = asked.ErrorOf(reg.MBFuncRead(), reg.Adress());
    return error.empty() && !letter.Client()->IsEmul() ? "not in the answer" : error;
  };
  std::vector<TRegisterRow> rows;
  rows.reserve(regs.size());
  for (TMBReg* reg : regs) rows.push_back(RowOf(letter.Name(), *reg, errorOf(*reg)));
  return rows;
}

}  // namespace OrvixModBus
