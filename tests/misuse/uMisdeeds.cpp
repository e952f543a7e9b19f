#include "uMisdeeds.h"

#include <stdexcept>

#include "platform/rtl/uException.h"
#include "tests/src/uTestRegs.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

template <class TAction>
void ForLetters(TPlant& plant, TAction action) {
  for (const TRef<TMBLetter>& letter : {plant.Letter, plant.Neighbour}) {
    if (letter) action(*letter);
  }
}

void ThrowException(TPlant&, const TEventRow&) { throw Exception("misdeed"); }
void ThrowStandard(TPlant&, const TEventRow&) { throw std::runtime_error("misdeed"); }
void ThrowNumber(TPlant&, const TEventRow&) { throw 7; }

void DestroySender(TPlant& plant, const TEventRow& row) { row.DestroySender(plant); }
void DestroyOwner(TPlant& plant, const TEventRow& row) { row.DestroyOwner(plant); }
void DestroyAll(TPlant& plant, const TEventRow&) {
  delete plant.Root.Get();
  delete plant.Driver.Get();
  delete plant.Lines.Get();
}
void DestroySenderAndThrow(TPlant& plant, const TEventRow& row) {
  row.DestroySender(plant);
  throw Exception("misdeed");
}

void StartReads(TPlant& plant, const TEventRow&) {
  ForLetters(plant, [&](TMBLetter& letter) { plant.Read(letter); });
  plant.Read(plant.OtherLetter);
  plant.Counting.Ask();
  if (plant.Log20) plant.Log20->ReadCountItem();
}

void AddRegisters(TPlant& plant, const TEventRow&) {
  ForLetters(plant, [](TMBLetter& letter) {
    for (std::uint32_t i = 0; i < 20; ++i) AddReg(letter.Regs(), {"More" + std::to_string(i), i});
  });
}

void DeleteRegisters(TPlant& plant, const TEventRow&) {
  ForLetters(plant, [](TMBLetter& letter) {
    letter.Regs().DeleteByName("A");
    letter.Regs().DeleteByName("Paged");
    if (letter.Regs().Count() > 0) letter.Regs().Delete(letter.Regs().Count() - 1);
  });
}

void ClearRegisters(TPlant& plant, const TEventRow&) {
  ForLetters(plant, [](TMBLetter& letter) { letter.Regs().Clear(); });
}

void ReplaceRegisters(TPlant& plant, const TEventRow&) {
  ForLetters(plant, [](TMBLetter& letter) {
    letter.Regs().Clear();
    TPlant::FillRegs(letter);
  });
}

void RenameRegisters(TPlant& plant, const TEventRow&) {
  ForLetters(plant, [](TMBLetter& letter) {
    for (TMBReg* reg : letter.Regs().RegList()) reg->SetDisplayName("Renamed" + reg->Name());
  });
}

void MoveRegisters(TPlant& plant, const TEventRow&) {
  ForLetters(plant, [](TMBLetter& letter) {
    for (TMBReg* reg : letter.Regs().RegList()) {
      reg->SetRegAdress(reg->Adress() + 1);
      reg->SetRegsCount(static_cast<std::uint8_t>(reg->GetRegsCount() + 1));
      reg->SetIndex(0);
    }
  });
}

void ClearCatalogue(TPlant& plant, const TEventRow&) {
  if (plant.Types) plant.Types->ClearAllDataType();
}

void ClosePort(TPlant& plant, const TEventRow&) {
  if (plant.Line) plant.Line->SetActive(false);
}

void ReopenPort(TPlant& plant, const TEventRow& row) {
  ClosePort(plant, row);
  plant.Wire.HungUp = false;
  if (plant.Line) plant.Line->SetActive(true);
}

void ReplacePort(TPlant& plant, const TEventRow&) {
  if (!plant.Line) return;
  plant.RenewPort();
  plant.Wire.HungUp = false;
  plant.Line->SetActive(true);
}

void ChangeSettings(TPlant& plant, const TEventRow&) {
  if (!plant.Line) return;
  plant.Line->SetBaudRate(plant.Line->BaudRate() * 2);
  plant.Line->SetMaxRetries(1);
  plant.Line->SetReceiveTimeout(120);
}

void DropClient(TPlant& plant, const TEventRow&) {
  ForLetters(plant, [](TMBLetter& letter) { letter.SetClient(nullptr); });
  if (plant.Log20) plant.Log20->SetMBClient(nullptr);
}

void DestroyClient(TPlant& plant, const TEventRow&) { delete plant.Client.Get(); }
void DestroyLetters(TPlant& plant, const TEventRow&) {
  delete plant.Letter.Get();
  delete plant.Neighbour.Get();
}
void DestroyLine(TPlant& plant, const TEventRow&) { delete plant.Line.Get(); }

void ClearQueue(TPlant& plant, const TEventRow&) {
  if (plant.Client) plant.Client->ClearWaitQueueAllLetters();
}

void DiscardAll(TPlant& plant, const TEventRow&) {
  if (plant.Line) plant.Line->DiscardPendingTransactions(nullptr);
}

void RunTheLoop(TPlant& plant, const TEventRow&) { plant.RunFor(300ms); }

}  // namespace

const std::vector<TMisdeed>& Misdeeds() {
  static const std::vector<TMisdeed> misdeeds = {
      {"throws an Exception", &ThrowException, true},
      {"throws a standard exception", &ThrowStandard, true},
      {"throws a number", &ThrowNumber, true},
      {"destroys the sender", &DestroySender},
      {"destroys the sender's owner", &DestroyOwner},
      {"destroys the sender and throws", &DestroySenderAndThrow, true},
      {"destroys everything", &DestroyAll},
      {"starts new reads", &StartReads},
      {"adds registers", &AddRegisters},
      {"deletes registers", &DeleteRegisters},
      {"clears the register set", &ClearRegisters},
      {"replaces the registers", &ReplaceRegisters},
      {"renames the registers", &RenameRegisters},
      {"moves the registers", &MoveRegisters},
      {"clears the catalogue", &ClearCatalogue},
      {"closes the port", &ClosePort, false, true},
      {"reopens the port", &ReopenPort, false, true},
      {"replaces the port", &ReplacePort, false, true},
      {"changes the settings", &ChangeSettings},
      {"drops the client", &DropClient},
      {"destroys the client", &DestroyClient},
      {"destroys the letters", &DestroyLetters},
      {"clears the queue", &ClearQueue, false, true},
      {"discards what is pending", &DiscardAll, false, true},
      {"destroys the line", &DestroyLine},
      {"runs the loop", &RunTheLoop},
  };
  return misdeeds;
}

}  // namespace OrvixModBus
