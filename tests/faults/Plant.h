#pragma once
// Plant: what an application has of one function code, on a cable in memory whose device fails.

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/simulator/uMemoryCable.h"
#include "tools/simulator/uSimulator.h"
#include "tools/simulator/uSimulatorLine.h"
#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {

inline constexpr std::uint8_t kServer = 5;
inline constexpr std::uint32_t kTimeout = 1000;  // ms

/// How an application uses a function code.
enum class TRoad { ReadRegister, WriteRegister, WriteBlock, WritePaged, Identity, File, Items };
TRoad RoadOf(std::uint8_t function);

/// A device, a line of 9600 baud in virtual time, and the whole stack on it. Values are told
/// apart by their numbers, from 1: each is different, those of other numbers never occur.
class TPlant {
 public:
  explicit TPlant(std::uint8_t function);

  /// What the device has to be read from now on; for functions that write, what is written next.
  void SetValue(int number);
  /// Asks for the value, or writes it, and waits for the end, at most for a virtual minute.
  void Exchange();
  /// Waits until the connection has its port, at most for a virtual minute.
  void AwaitPort();

  /// The last completion.
  TServerReply Kind() const { return fKind; }
  /// The events since the last call.
  std::string TakeEvents();
  /// What the application holds of it, by reads; what the device holds of it, by writes.
  Bytes Held() const;
  /// Data of that number; the numbers from 1. Of 0: what is there at first.
  Bytes Value(int number) const;
  /// Requests of the letter that are waited for; of others, those of the client.
  unsigned Waiting() const;
  /// The most that were waited for at a time.
  unsigned MostWaiting() const { return fMostWaiting; }

  bool Writes() const;

  TVirtualLoop Loop;
  TMemoryCable Cable{Loop};
  TSimulator Simulator;
  TMBRTUConnection Line;

 private:
  void SetUpRegister();
  void Listen();
  void Ask();
  template <class TFunction>
  void SetUpItems();
  void Note(const char* event);
  bool IsEnded() const { return fClient.CountPendingTransactions() == 0; }

  const std::uint8_t fFunction;
  const TRoad fRoad;
  TSimulatorLine fFarLine;
  TMBConnection fConnection;
  TMBClient fClient;
  TMBLetter fLetter;
  TMBReg* fReg = nullptr;
  std::unique_ptr<TMBItemFunction> fItems;
  Bytes fRead;  // what an event has handed over
  int fNumber = 1;
  unsigned fMostWaiting = 0;
  TServerReply fKind = TServerReply::srNone;
  std::string fEvents;
};

}  // namespace OrvixModBus
