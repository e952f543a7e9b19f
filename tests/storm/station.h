#pragma once
// station: one client of a storm's line with all that uses it, and what it does all the time.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/loop/uLoop.h"
#include "tests/storm/witness.h"
#include "tools/simulator/uReplyFaults.h"
#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {

/// What the stations of a storm have seen.
struct TStormTally {
  /// Counts a comparison; says what was wrong, of the first few.
  void Check(bool right, const std::function<std::string()>& what);

  std::uint64_t Ended = 0;     ///< transactions
  std::uint64_t Compared = 0;  ///< values and whole answers
  std::uint64_t Wrong = 0;
  std::uint64_t Undecidable = 0;  ///< right but for a zero that nobody can tell apart
  std::uint64_t Stuck = 0;        ///< wait counters above 0 with nothing pending
  std::vector<std::string> Complaints;
  bool Stopping = false;  ///< nothing new is begun
};

/// Reads and writes letters, reads logs, an oscillogram, a file and the identity of one server, one
/// after the other in a random order for ever, and checks whatever is reported.
class TStation {
 public:
  TStation(TMBRTUConnection& line, TMBConnection& connection, std::uint8_t server,
           TWitness& witness, TStormTally& tally, std::uint64_t seed);
  TStation(const TStation&) = delete;
  TStation& operator=(const TStation&) = delete;

  /// Begins, or goes on when there was nothing to do.
  void Start() { Wait(0); }
  bool IsIdle() const { return fClient.CountPendingTransactions() == 0; }
  /// Requests of this line have been dropped, so the letters may wait for them in vain.
  void Dropped() { fDropped = true; }

  /// A transaction of the line has ended, dropped ones too.
  std::function<void(const TModbusTransaction&)> OnEnded;
  /// All that was queued on the line has been dropped.
  std::function<void()> OnDropped;

 private:
  void FillReading();
  void FillWriting();
  TMBReg& AddReg(TMBLetter& letter, std::uint8_t read, std::uint32_t adress, std::uint8_t width,
                 std::uint8_t count, std::uint8_t write = 0);
  void Listen(TMBLetter& letter);
  void ListenToClient();
  void ListenToLogs();
  void ListenToOscillograms();

  void Ended(TModbusTransaction& transaction);
  void CheckAnswer(const TModbusTransaction& transaction);
  void Wait(std::uint64_t milliseconds);
  void Next();
  void CheckCounters(TMBLetter& letter);
  void Act();
  void WriteLetter();
  void ReadFile();
  void Check(bool right, const std::string& what) const;

  TMBRTUConnection& fLine;
  TWitness& fWitness;
  TStormTally& fTally;
  const std::uint8_t fServer;
  TFaultRandom fRandom;
  TMBClient fClient;
  TMBLetter fReading, fWriting;
  TMBFunction20 fEvents;
  TMBFunction24 fAlarms;
  TMBFunction41 fOscillograms;
  std::unique_ptr<TLoopTimer> fTimer;
  bool fDropped = false;
};

}  // namespace OrvixModBus
