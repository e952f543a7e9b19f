#pragma once
// uMBCustomFunctions: the base of components that read what a device keeps behind a function code
// of its own.

#include <array>
#include <cstdint>
#include <functional>
#include <span>

#include "platform/model/uComponent.h"
#include "platform/model/uEvent.h"
#include "platform/rtl/uBytes.h"
#include "uMBClient.h"

namespace OrvixModBus {

/// Sender, and the bytes that were asked for.
using TGetData = TEvent<void(TObject&, const Bytes&)>;

/// Sends requests of its function code through a client, and knows their replies by itself as
/// LetterOwner. A descendant names the function code and overrides OnRead. Without a client, and
/// where the client has no open serial line, requests do nothing. Handlers may do anything,
/// destroying this component or the client included. Single thread.
class TMBCustomFunction : public TComponent {
 public:
  using TComponent::TComponent;
  ~TMBCustomFunction() override;

  /// The function code.
  std::uint8_t MBFunc() const { return GetMBFunc(); }
  TMBClient* MBClient() const { return fMBClient.Get(); }
  /// Listens to that client from now on. On purpose the former one stays listened to, so what was
  /// asked through it still arrives, and OnReadList gets one more entry with every assignment.
  void SetMBClient(TMBClient* value);

  virtual std::uint8_t GetMBFunc() const = 0;
  /// A completion of the client; values are empty unless the reply is normal. The base does
  /// nothing.
  virtual void OnRead(TMBClient& sender, TServerReply serverReply, std::uint8_t func,
                      std::uint32_t startReg, const Bytes& values, TObject* letterOwner);

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  using TRequest = std::array<std::uint8_t, 4>;

  /// The values of a normal reply, which begins with server address and function code: all bytes
  /// after these. For descendants, where a device sends a byte count first.
  virtual Bytes ReplyValues(std::span<const std::uint8_t> reply) const;

  bool IsOwn(std::uint8_t func, const TObject* letterOwner) const;
  /// Requests four bytes. start is not sent: the reply brings it back, to tell what was asked.
  void Request(std::uint32_t start, const TRequest& data);

 private:
  void OnCastomTrunsaction(TModbusClient& sender, TModbusTransaction& transaction,
                           std::uint8_t command);

  TRef<TMBClient> fMBClient;
};

/// A function that reads items of one size: how many there are, then the items in batches that fit
/// one reply.
class TMBItemFunction : public TMBCustomFunction {
 public:
  static constexpr int kMaxItemBytes = 248;  ///< of all items in one reply

  using TMBCustomFunction::TMBCustomFunction;
  ~TMBItemFunction() override;

  /// The words of the last count reply; -1 until there was one.
  std::int32_t TotalItem() const { return fTotalItem; }
  std::int32_t ItemCount() const { return fCount; }
  /// Asks how many items there are.
  void ReadCountItem();

  /// On purpose a count reply of another length than 4 bytes is ignored without an event.
  void OnRead(TMBClient& sender, TServerReply serverReply, std::uint8_t func,
              std::uint32_t startReg, const Bytes& values, TObject* letterOwner) override;

  TNotifyEvent OnGetCountInfo;
  TNotifyEvent OnErorAnswer;  ///< a reply to this component was not normal

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  /// The values of a normal reply to Request(startReg, ...), startReg not 0.
  virtual void TakeItems(std::uint32_t startReg, const Bytes& values) = 0;

  /// Items of length bytes in one reply; 0 when last is below 1, so that nothing is to be read.
  /// EDivByZero for a length of 0; Exception for one of which no reply holds an item.
  int BatchSize(std::int32_t length, const char* property, int last) const;
  /// Requests items 1 to last in batches; requestOf(item) is the data of the batch that begins with
  /// item. When a handler throws, the others are requested all the same; the first exception leaves
  /// afterwards.
  void RequestBatches(std::uint32_t start, int batch, int last,
                      const std::function<TRequest(int item)>& requestOf);
  /// Hands over values from the byte at first on, in pieces of length. On purpose a rest of one
  /// byte is left out; a longer one that is no whole piece is handed over as it is. Nothing for
  /// values shorter than one piece, or for a length below 1. Handlers are called as by
  /// RequestBatches.
  void Slice(const Bytes& values, std::size_t first, std::int32_t length,
             const std::function<void(const Bytes& piece)>& take);

 private:
  std::int32_t fTotalItem = -1;
  std::int32_t fCount = -1;
};

}  // namespace OrvixModBus
