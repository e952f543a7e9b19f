#pragma once
// uMBEmul: the emulated device - takes requests now and answers them later, from the loop.

#include <cstdint>
#include <deque>
#include <memory>

#include "platform/loop/uMessageSink.h"
#include "platform/model/uComponent.h"
#include "platform/model/uEvent.h"
#include "uMBReg.h"

namespace OrvixModBus {

/// MBReg, LetterOwner.
using TEmulEvent = TEvent<void(TMBReg&, TObject*)>;
/// MBReg (a copy), Data, LetterOwner.
using TEmulWriteEvent = TEvent<void(TMBReg&, Bytes&, TObject*)>;

/// The emulator's wake-up: WParam tells the queue, kEmulReads or kEmulWrites.
inline constexpr std::uint32_t kEmulMessage = kFirstUserMessage + 1;
inline constexpr std::intptr_t kEmulReads = 0;
inline constexpr std::intptr_t kEmulWrites = 1;

/// A device inside the program: queues reads and writes and raises OnRead and OnWrite for them
/// later, from the message loop, in the order of asking (reads and writes apart). One wake-up
/// serves a whole queue, entries that handlers add meanwhile included.
class TEmulClient : public TComponent {
 public:
  explicit TEmulClient(TComponent* owner = nullptr);
  ~TEmulClient() override;

  /// Asks for the value of reg, which stays the caller's; when it is destroyed before its turn, a
  /// register with its address and read function stands for it. Throws Exception "Device
  /// emulation - reading error" when no wake-up can be posted. On purpose: the request is then
  /// queued all the same, and the queue stands still.
  void ReadRegs(TMBReg& reg, TObject* letterOwner);
  /// Asks for value to be written; reg is copied. An empty value is nothing. Throws Exception
  /// "Device emulation - writing error", as ReadRegs does.
  void WriteReg(const TMBReg& reg, const Bytes& value, TObject* letterOwner);

  /// Queued reads and writes.
  int CountPendingTransactions() const;

  /// What the message sink calls: kEmulMessage serves a queue, Result is 0; other messages are
  /// left alone.
  void OnGetMessage(TMessage& message);

  TEmulEvent OnRead;
  TEmulWriteEvent OnWrite;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  struct TEmulToRead {
    TRef<TMBReg> Reg;
    TRef<TObject> LetterOwner;
    std::uint32_t Adress = 0;
    std::uint8_t MBFuncRead = 0;
  };
  struct TEmulToWrite {
    std::unique_ptr<TMBReg> Reg;
    Bytes Value;
    TRef<TObject> LetterOwner;
  };

  template <class TQueue>
  bool WakeUp(TQueue& queue, std::intptr_t which);
  void DoOnRead();
  void AnswerForGone(const TEmulToRead& entry);
  void DoOnWrite();

  std::unique_ptr<TMBReg> fStandIn;  // made beforehand: an answer must not fail
  std::deque<TEmulToRead> fReadRegQueue;
  std::deque<TEmulToWrite> fWriteRegQueue;
  TMessageSink fSink;
};

}  // namespace OrvixModBus
