#include "tools/orvixmb/uLetterReader.h"

#include "tools/orvixmb/uAskedRequests.h"
#include "tools/orvixmb/uFormSession.h"

namespace OrvixModBus {

std::vector<TRegisterRow> ReadRegisters(TMBLetter& letter, const TMBRegList& regs) {
  TAskedRequests asked(*letter.Client());
  TMBRegList list = regs;
  letter.ReadRegs(list, [&asked](const TMBReg& group) {
    asked.Ask(group.MBFuncRead(), group.Adress(), group.GetRegsCount());
  });
  WaitUntil(*letter.Client(), [&letter] { return letter.ChekAllRegsResive(); });
  std::vector<TRegisterRow> rows;
  rows.reserve(regs.size());
  for (const TMBReg* reg : regs) {
    const std::string error = asked.ErrorOf(reg->MBFuncRead(), reg->Adress());
    rows.push_back(RowOf(letter.Name(), *reg, error));
  }
  return rows;
}

}  // namespace OrvixModBus
