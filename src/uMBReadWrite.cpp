#include "uMBReadWrite.h"

#include <algorithm>
#include <utility>

namespace OrvixModBus {

TMBLetterReadWriter::TMBLetterReadWriter(const TMBLetter& letter)
    : fSender(std::make_unique<TMBLetter>()) {
  fSender->Assign(letter);
  fSender->OnReadAllRegs = {this, &TMBLetterReadWriter::OnAllRegs};
  fSender->OnWriteAllRegs = {this, &TMBLetterReadWriter::OnAllRegs};
}

void TMBLetterReadWriter::AssignProcs(const TAfterEvent& afterEvent, const TAfterProc& afterProc) {
  fSender->CheckThread();
  fAfterEvent = afterEvent;
  fAfterProc = afterProc;
}

void TMBLetterReadWriter::AssignRegs(std::span<const std::string> names) {
  AssignRegs(fSender->Regs().RegList(names));
}

void TMBLetterReadWriter::AssignRegs(std::span<TMBReg* const> regs) {
  fSender->CheckThread();
  fRegs.assign(regs.begin(), regs.end());
}

TMBRegList TMBLetterReadWriter::Regs() const {
  TMBRegList list;
  for (const TRef<TMBReg>& reg : fRegs) {
    if (reg) list.push_back(reg.Get());
  }
  return list;
}

void TMBLetterReadWriter::ReadArray() { fSender->ReadRegsByArray(Regs()); }

void TMBLetterReadWriter::ReadRegsByArray(const TAfterEvent& afterEvent,
                                          const TAfterProc& afterProc) {
  AssignProcs(afterEvent, afterProc);
  ReadArray();
}

void TMBLetterReadWriter::WriteArray() {
  TMBRegList list = Regs();
  std::erase_if(list, [](const TMBReg* reg) { return IsPagedWrite(reg->MBFuncWrite()); });
  fSender->WriteRegs(std::move(list));
}

double TMBLetterReadWriter::GetFloatValue(const std::string& name, double byDefault) const {
  const TMBReg* reg = fSender->Regs().GetItemByName(name);
  return reg != nullptr ? reg->ValueRe() : byDefault;
}

void TMBLetterReadWriter::OnAllRegs(TMBLetter& /*sender*/) { ExecuteProc(); }

// By copies: the callback may assign others, or destroy this object.
void TMBLetterReadWriter::ExecuteProc() {
  if (const TAfterEvent event = fAfterEvent) {
    event(*fSender);
  } else if (const TAfterProc proc = fAfterProc) {
    proc();
  }
}

}  // namespace OrvixModBus
