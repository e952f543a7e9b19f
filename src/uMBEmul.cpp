#include "uMBEmul.h"

#include <utility>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uFirstError.h"

namespace OrvixModBus {

TEmulClient::TEmulClient(TComponent* owner)
    : TComponent(owner),
      fStandIn(std::make_unique<TMBReg>(nullptr)),
      fSink(*this, {this, &TEmulClient::OnGetMessage}) {}

TEmulClient::~TEmulClient() { BeginDestroy(); }

// Asks to be woken for the first entry of a queue; false when the loop is closed.
template <class TQueue>
bool TEmulClient::WakeUp(TQueue& queue, std::intptr_t which) {
  if (queue.size() > 1) return true;
  try {
    return fSink.Post(kEmulMessage, which, 0);
  } catch (...) {
    queue.pop_back();
    throw;
  }
}

void TEmulClient::ReadRegs(TMBReg& reg, TObject* letterOwner) {
  CheckThread();
  fReadRegQueue.push_back({&reg, letterOwner, reg.Adress(), reg.MBFuncRead()});
  if (!WakeUp(fReadRegQueue, kEmulReads)) {
    throw Exception("Device emulation - reading error");
  }
}

void TEmulClient::WriteReg(const TMBReg& reg, const Bytes& value, TObject* letterOwner) {
  CheckThread();
  if (value.empty()) return;
  auto copy = std::make_unique<TMBReg>(nullptr);
  copy->Assign(reg);
  fWriteRegQueue.push_back({std::move(copy), value, letterOwner});
  if (!WakeUp(fWriteRegQueue, kEmulWrites)) {
    throw Exception("Device emulation - writing error");
  }
}

int TEmulClient::CountPendingTransactions() const {
  return static_cast<int>(fReadRegQueue.size() + fWriteRegQueue.size());
}

void TEmulClient::OnGetMessage(TMessage& message) {
  if (message.Msg != kEmulMessage) return;
  message.Result = 0;
  if (message.WParam == kEmulReads) DoOnRead();
  if (message.WParam == kEmulWrites) DoOnWrite();
}

// A handler that throws must not leave the queue standing without a wake-up, so the queue is
// served to its end; a handler that destroys the emulator ends it at once.
void TEmulClient::DoOnRead() {
  const TRef<TEmulClient> self(this);
  TFirstError error;
  while (self && !fReadRegQueue.empty()) {
    const TEmulToRead entry = std::move(fReadRegQueue.front());
    fReadRegQueue.pop_front();
    if (entry.Reg) {
      error.Run([&] { OnRead(*entry.Reg, entry.LetterOwner.Get()); });
      continue;
    }
    error.Run([&] { AnswerForGone(entry); });
  }
  error.Raise();
}

// Its register is gone; one that has its address and read function stands for it.
void TEmulClient::AnswerForGone(const TEmulToRead& entry) {
  const TRef<TEmulClient> self(this);
  auto standIn = std::exchange(fStandIn, nullptr);
  if (standIn == nullptr) standIn = std::make_unique<TMBReg>(nullptr);  // inside another such one
  standIn->SetRegAdress(entry.Adress);
  standIn->SetMBFuncRead(entry.MBFuncRead);
  TFirstError error;
  error.Run([&] { OnRead(*standIn, entry.LetterOwner.Get()); });
  error.Run([&] {
    if (self) fStandIn = std::make_unique<TMBReg>(nullptr);
  });
  error.Raise();
}

void TEmulClient::DoOnWrite() {
  const TRef<TEmulClient> self(this);
  TFirstError error;
  while (self && !fWriteRegQueue.empty()) {
    TEmulToWrite entry = std::move(fWriteRegQueue.front());
    fWriteRegQueue.pop_front();
    error.Run([&] { OnWrite(*entry.Reg, entry.Value, entry.LetterOwner.Get()); });
  }
  error.Raise();
}

const TClassInfo& TEmulClient::StaticClass() {
  static const TClassInfo info("TEmulClient", &TComponent::StaticClass(),
                               {PublishedEvent("OnRead", &TEmulClient::OnRead),
                                PublishedEvent("OnWrite", &TEmulClient::OnWrite)});
  return info;
}

}  // namespace OrvixModBus
