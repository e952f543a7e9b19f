#include "uMBEmul.h"

#include <utility>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uFirstError.h"

namespace OrvixModBus {

TEmulClient::TEmulClient(TComponent* owner)
    : TComponent(owner), fSink(*this, {this, &TEmulClient::OnGetMessage}) {}

TEmulClient::~TEmulClient() { BeginDestroy(); }

void TEmulClient::ReadRegs(TMBReg& reg, TObject* letterOwner) {
  CheckThread();
  fReadRegQueue.push_back({&reg, letterOwner, reg.Adress(), reg.MBFuncRead()});
  if (fReadRegQueue.size() > 1) return;
  if (!fSink.Post(kEmulMessage, kEmulReads, 0)) {
    throw Exception("Device emulation - reading error");
  }
}

void TEmulClient::WriteReg(const TMBReg& reg, const Bytes& value, TObject* letterOwner) {
  CheckThread();
  if (value.empty()) return;
  auto copy = std::make_unique<TMBReg>(nullptr);
  copy->Assign(reg);
  fWriteRegQueue.push_back({std::move(copy), value, letterOwner});
  if (fWriteRegQueue.size() > 1) return;
  if (!fSink.Post(kEmulMessage, kEmulWrites, 0)) {
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
    TMBReg standIn(nullptr);
    standIn.SetRegAdress(entry.Adress);
    standIn.SetMBFuncRead(entry.MBFuncRead);
    error.Run([&] { OnRead(standIn, entry.LetterOwner.Get()); });
  }
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
