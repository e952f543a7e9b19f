#pragma once
// uPlant: a whole application on a scripted port in virtual time, any part of which may be
// destroyed at any moment.

#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/loop/uVirtualLoop.h"
#include "platform/model/uDataModule.h"
#include "platform/model/uStringList.h"
#include "tests/modbus/ScriptedPort.h"
#include "tools/simulator/uSimulatedDevice.h"
#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"
#include "uMBReadWrite.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {

/// The devices on the line; the other one is never the victim of a fault.
inline constexpr std::uint8_t kDevice = 1;
inline constexpr std::uint8_t kOtherDevice = 2;

/// Counts what becomes of its requests.
class TCountingClient : public TModbusClient {
 public:
  explicit TCountingClient(TMBRTUConnection* line);
  ~TCountingClient() override { BeginDestroy(); }

  /// Reads a register of the other device.
  void Ask();

  int Asked = 0, Answered = 0, Ended = 0;

 protected:
  void TransactionEnded(TModbusTransaction& transaction) override;
};

/// What a letter is to wait for in the end, by what can be seen from outside: a request that was
/// sent to a line without a port, or dropped, or answered while the letter had no client, is
/// waited for until the letter is told to forget. On purpose an answer to a write that has been
/// forgotten is counted once more, below zero.
class TWaitModel {
 public:
  explicit TWaitModel(TMBLetter& letter) : fLetter(&letter) {}

  /// Before the letter itself enters the lists of its client.
  void Listen(TMBClient& client);
  /// So many requests were sent where nobody can answer.
  void Lose(std::uint64_t count) { fLeft += static_cast<std::uint32_t>(count); }
  const TMBLetter* Letter() const { return fLetter.Get(); }
  /// The sum of the letter's counters, modulo 2^32.
  void Check() const;

 private:
  void Answered(bool write, const TObject* letterOwner);
  void Cleared();
  void Ended(const TModbusTransaction& transaction);

  using TTransactions = std::vector<const TModbusTransaction*>;

  TRef<TMBLetter> fLetter;
  std::uint32_t fLeft = 0;
  TTransactions fCompleting;  // the innermost last
  TTransactions fForgotten;   // were completing when the letter was told to forget
  bool fUncertain = false;    // emulated writes are answered all the same
};

/// How the first device is to be had.
enum class EDevice { Answers, IsSilent, Refuses };

/// Everything but the bystanders belongs to Root.
class TPlant {
 public:
  TPlant();
  TPlant(const TPlant&) = delete;
  TPlant& operator=(const TPlant&) = delete;
  ~TPlant();

  /// Letters enter the lists of their clients.
  void Bind();
  /// The client's device is the emulated one from now on.
  void Emulate();
  /// Runs action; what it throws is kept as what the loop's actions throw.
  template <class TAction>
  void Try(TAction action) {
    try {
      action();
    } catch (...) {
      Keep(std::current_exception());
    }
  }
  void RunFor(TLoop::TClock::duration time);
  /// Everybody's requests, so that there is something to be lost.
  void Traffic();
  /// All registers of the letter. While it has no client, nothing.
  void Read(TMBLetter& letter, const TMBRegProc& proc = {});
  void Write(TMBLetter& letter);
  static void FillRegs(TMBLetter& letter);
  void RenewPort() { Line->SetSerialPort(std::make_unique<TScriptedPort>(Wire)); }

  TVirtualLoop Loop;
  std::map<std::uint8_t, TSimulatedDevice> Devices;  // by server address
  EDevice Device = EDevice::Answers;
  TWire Wire{Loop};
  std::vector<std::string> Errors;  // what left an action of the loop, or a call

  TRef<TDataModule> Root{new TDataModule};
  TRef<TMBRTUConnection> Line{new TMBRTUConnection(Root.Get())};
  TRef<TMBConnection> Connection{new TMBConnection(Root.Get())};
  TRef<TMBClient> Client{new TMBClient(Root.Get())};
  TRef<TMBTypeInfo> Types{new TMBTypeInfo(Root.Get())};
  TRef<TMBLetter> Letter{new TMBLetter(Root.Get())};
  TRef<TMBLetter> Neighbour{new TMBLetter(Root.Get())};  // of the same client
  TRef<TMBRegsAutoFill> Fill{new TMBRegsAutoFill(Root.Get())};
  TRef<TMBFunction20> Log20{new TMBFunction20(Root.Get())};
  TRef<TMBFunction24> Log24{new TMBFunction24(Root.Get())};
  TRef<TMBFunction41> Oscil41{new TMBFunction41(Root.Get())};
  TRef<TRTUClient> Raw{new TRTUClient(Root.Get())};
  TRef<TModbusClient> Plain{new TModbusClient(Root.Get())};
  TRef<TEmulClient> Emul{new TEmulClient(Root.Get())};
  TRef<TMBLetterReadWriter> Driver;
  TRef<TStringList> Lines{new TStringList};
  TRef<TMBReg> Reg;  // of the letter

  TMBConnection OtherConnection;
  TMBClient OtherClient;
  TMBLetter OtherLetter;
  TCountingClient Counting{Line.Get()};
  std::vector<std::unique_ptr<TWaitModel>> Models;

 private:
  std::uint64_t fStartsInside = 0;  // requests that handlers have sent while one was sent

  void Answer(std::span<const std::uint8_t> frame);
  template <class TSend>
  void Send(TMBLetter& letter, std::uint64_t requests, TSend send);
  void Keep(const std::exception_ptr& error);
};

}  // namespace OrvixModBus
