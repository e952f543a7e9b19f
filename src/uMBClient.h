#pragma once
// uMBClient: the connection that a client is pointed at, and the client through which every
// request passes.

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/model/uComponent.h"
#include "platform/model/uEvent.h"
#include "uMBEmul.h"
#include "uMBRTU.h"
#include "uMBTCP.h"

namespace OrvixModBus {

/// How a client reaches its device. On purpose: mbTCP is a choice that carries no traffic.
enum class TConnectionType : std::uint8_t { mbRtu, mbTCP, mbEmul };
template <>
struct TEnumNames<TConnectionType> {
  static constexpr std::string_view Values[] = {"mbRtu", "mbTCP", "mbEmul"};
};

/// Says which transport to use, and refers to the transport objects, which others own.
class TMBConnection : public TComponent {
 public:
  using TComponent::TComponent;

  TMBRTUConnection* RTU() const { return fRTU.Get(); }
  void SetRTU(TMBRTUConnection* value) { Store(fRTU, value); }
  TMBTCPConnection* TCP() const { return fTCP.Get(); }
  void SetTCP(TMBTCPConnection* value) { Store(fTCP, value); }
  TConnectionType ConnectionType() const { return fConnectionType; }
  void SetConnectionType(TConnectionType value) { Store(fConnectionType, value); }
  bool IsEmul() const { return fConnectionType == TConnectionType::mbEmul; }

  /// Takes over both references and the type.
  void Assign(const TPersistent& source) override;
  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  TRef<TMBRTUConnection> fRTU;
  TRef<TMBTCPConnection> fTCP;
  TConnectionType fConnectionType = TConnectionType::mbRtu;
};

class TMBClient;

/// Sender, ServerReply, Func, StartReg (as the request gave it), Values (empty unless the reply is
/// normal), LetterOwner (as the request gave it; nil when it has been destroyed since).
using TMBEvent =
    TEvent<void(TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&, TObject*)>;
using TMBEventList =
    TEventList<void(TMBClient&, TServerReply, std::uint8_t, std::uint32_t, const Bytes&, TObject*)>;
/// Sender, ServerReply, Command, StartAdres.
using TClientExceptEvent = TEvent<void(TMBClient&, TServerReply, std::uint8_t, std::uint32_t)>;
/// Reg, Data: filled by the handler of a read, handed to it by a write.
using TOnEmul = TEvent<void(TMBReg&, Bytes&)>;

/// What a request remembers while it is under way: who asked, and for what address.
class TLetterOwnerInfo : public TComponent {
 public:
  using TComponent::TComponent;

  TRef<TObject> LetterOwner;  ///< never looked into
  std::uint32_t StartAdres = 0;
  int Holders = 0;  ///< the request while it is queued, transactions that have not ended

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

/// Turns reads and writes of register spans into transactions of its connection, and replies into
/// events. Requests are queued and the call returns; on a serial connection that is not active
/// they are dropped without a trace. Every listener gets every completion of the client and knows
/// its own by LetterOwner; listeners are told first, then the published event. An answer that is
/// missing or no good raises OnNoneAnswer or OnExeptionAnswer, then the ordinary event with empty
/// values. Handlers may do anything, destroying the client included; what one throws leaves when
/// all have been called. Single thread: EThreadError.
class TMBClient : public TComponent {
 public:
  /// Makes a connection of its own, mbRtu without a line.
  explicit TMBClient(TComponent* owner = nullptr);
  ~TMBClient() override;

  TMBConnection* Connection() const { return fConnection.Get(); }
  /// A connection that this client owns is freed when another one takes its place.
  virtual void SetConnection(TMBConnection* value);
  /// The device's server address, 0 = broadcast.
  std::uint8_t GetAdres() const { return fRTUClient->ServerAddress(); }
  void SetAdres(std::uint8_t value);
  /// True for an emulated connection, else whether the serial line is active (also for mbTCP).
  bool Active() const;
  bool IsEmul() const { return fConnection && fConnection->IsEmul(); }
  /// While true every transaction that completes is ignored; emulated answers go on.
  bool DisableHandling() const { return fDisableHandling; }
  void SetDisableHandling(bool value) { Store(fDisableHandling, value); }
  bool MBCntrlOn = true;  ///< false silences OnReadList and OnWriteList

  /// Requests a read. countInBytes is what the function counts: bits for $01, $02; bytes for the
  /// others, two to a register for $03, $04. A paged read ($43, $44) that leaves its 64-KiB page
  /// is two requests; on purpose, both begin at start. data is the payload of $14, $18, $20, $24,
  /// $41, which send nothing without one. Codes that can't be read send nothing.
  void Read(std::uint8_t func, std::uint32_t start, std::uint16_t countInBytes,
            TObject* letterOwner, std::span<const std::uint8_t> data = {});
  /// Requests a write of value: $05, $06, $6C two bytes each, one request per pair; $10 all;
  /// $65, $66 at most 128 bytes, else Exception, and nothing is sent. Other codes, and for the
  /// single writes other lengths, send nothing.
  void Write(std::uint8_t func, std::uint32_t start, const Bytes& value, TObject* letterOwner);
  /// What Write refuses: throws its Exception for that many bytes.
  static void CheckWrite(std::uint8_t func, std::size_t size);
  /// Requests any function with data as it is. EModLinkError without a serial line.
  void InitCustomTransaction(std::uint8_t func, std::span<const std::uint8_t> data,
                             TObject* letterOwner);
  /// Requests of this client that have not been completed; 0 for mbTCP.
  int CountPendingTransactions() const;
  /// How many requests have been started, counted before OnWorkStart tells of one. So a caller
  /// into whom a handler of it has thrown knows that its request is under way all the same.
  std::uint64_t WorkStarts() const { return fWorkStarts; }
  /// Discards everything that is queued on the serial line, of other clients too, and has all
  /// letters forget what they wait for.
  void ClearWaitQueueAllLetters();

  /// Requests file records ($14), which OnReadFile hands back. The list is copied. letterOwner
  /// comes back. On an emulated connection only OnWorkStart is raised.
  void ReadFileRecord(const TModbusFileRecordList& fileRecList, TObject* letterOwner);
  /// Reads records 0 to needRecords - 1 of a file whose records are structures: the last field of
  /// structurInfoAr (in order) tells their length L = (Offset + Size) modulo 256 bytes. Each
  /// request reads a group of R = 251 div (L + 2) records of (L + 1) div 2 registers. On purpose:
  /// firstRecordIndex counts groups, so the first record read is R * firstRecordIndex. Throws
  /// Exception for an empty structurInfoAr, EDivByZero for records of 250 bytes and more, and
  /// nothing is sent.
  void ReadFileByStructur(std::uint16_t fileId, std::uint16_t firstRecordIndex,
                          std::uint16_t needRecords,
                          std::span<TMBRegTypeStructure* const> structurInfoAr,
                          TObject* letterOwner);
  /// Confirms ($67) to a device of the DX517 family; what it answers is ignored. EModLinkError
  /// without a serial line.
  void ConfirmComandDX517();

  /// Hands a read or a write to the emulated device, whatever the connection.
  void ReadEmul(TMBReg& reg, TObject* letterOwner);
  void WriteEmul(const TMBReg& reg, const Bytes& value, TObject* letterOwner);

  /// The transport's and the emulator's completions; public because they and tests call them.
  void CustomTransactionComplete(TModbusClient& sender, TModbusTransaction& transaction,
                                 std::uint8_t command);
  void OnDevId(TModbusClient& sender, const TTransactionInfo& info, int count, const Bytes& data);
  /// After a bad reply, on purpose, all that is queued on the line is discarded first.
  void OnFileRead(TModbusClient& sender, const TTransactionInfo& info,
                  TModbusFileRecordList& fileRecList);
  void OnEmulRead(TMBReg& reg, TObject* letterOwner);
  void OnEmulWrite(TMBReg& reg, Bytes& data, TObject* letterOwner);

  /// The client's own end of the serial line.
  TRTUClient& RTUClient() { return *fRTUClient; }

  /// Takes over the connection only.
  void Assign(const TPersistent& source) override;

  TMBEventList OnReadList;
  TMBEventList OnWriteList;
  TEventList<void(TObject&)> OnClearWaitQueue;  ///< the argument is the client
  TEventList<void(TMBClient&, TServerReply, TModbusFileRecordList&, TObject*)> OnReadFile;
  /// Completions of functions that the client does not decode.
  TEventList<void(TModbusClient&, TModbusTransaction&, std::uint8_t)> OnCastomTrunsaction;

  TMBEvent OnRead;
  TMBEvent OnWrite;
  TClientExceptEvent OnNoneAnswer;
  TClientExceptEvent OnExeptionAnswer;
  TOnEmul OnGetEmulData;     ///< fills the bytes of an emulated read
  TOnEmul OnSetEmulData;     ///< takes the bytes of an emulated write
  TNotifyEvent OnWorkStart;  ///< a request has been queued

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  /// For descendants: a transaction of this client has completed.
  virtual void OnCompleteTransaction() {}
  void DoOnRead(TServerReply serverReply, std::uint8_t func, std::uint32_t startReg,
                const Bytes& values, TObject* letterOwner);
  void DoOnWrite(TServerReply serverReply, std::uint8_t func, std::uint32_t startReg,
                 const Bytes& values, TObject* letterOwner);
  void DoOnCastomTrunsaction(TModbusClient& sender, TModbusTransaction& transaction,
                             std::uint8_t command);
  void DoOnWorkStart();
  void DoChekAnswer(TServerReply serverReply, std::uint8_t command, std::uint32_t startAdres);

 private:
  bool BindToActiveLine();
  template <class TAction>
  void Carry(TLetterOwnerInfo& info, TAction queue);
  template <class TAction>
  void Answer(TServerReply serverReply, std::uint8_t command, std::uint32_t startAdres,
              TAction raiseReply);
  void Queue(std::uint8_t func, std::span<const std::uint8_t> data, TLetterOwnerInfo& info);
  void QueuePagedRead(std::uint8_t func, std::uint32_t start, std::uint16_t count,
                      TLetterOwnerInfo& info);
  void QueueRead(std::uint8_t func, std::uint32_t start, std::uint16_t countInBytes,
                 TLetterOwnerInfo& info);
  void QueueWrite(std::uint8_t func, std::uint32_t start, const Bytes& value,
                  TLetterOwnerInfo& info);
  void RaiseReply(TModbusClient& sender, TModbusTransaction& transaction, std::uint8_t command,
                  std::uint32_t startAdres, TObject* letterOwner);
  void Raise(const TMBEventList& list, const TMBEvent& event, TServerReply serverReply,
             std::uint8_t func, std::uint32_t startReg, const Bytes& values, TObject* letterOwner);
  TLetterOwnerInfo& NewInfo(TObject* letterOwner, std::uint32_t startAdres);
  void Release(TLetterOwnerInfo& info);
  void TransactionEnded(TModbusTransaction& transaction);

  TRef<TMBConnection> fConnection;
  TRTUClient* fRTUClient;  // these three are owned as components
  TTCPClient* fTCPClient;
  TEmulClient* fEmulClient;
  std::vector<TLetterOwnerInfo*> fFreeInfos;
  Bytes fRequest;
  Bytes fValues;
  std::uint64_t fWorkStarts = 0;
  bool fDisableHandling = false;
};

}  // namespace OrvixModBus
