#include "tests/storm/storm.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "platform/loop/uSystemLoop.h"
#include "platform/loop/uVirtualLoop.h"
#include "tests/rtl/uTempFolder.h"
#include "tests/storm/station.h"
#include "tests/storm/weather.h"
#include "tools/simulator/uMemoryCable.h"
#include "tools/simulator/uSimulatorLine.h"
#include "tools/simulator/uTerminalPort.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using TClock = std::chrono::steady_clock;

constexpr auto kReceiveTimeout = 200ms;
constexpr std::chrono::hours kVirtualLimit{100'000};
constexpr std::chrono::minutes kRealLimit{30};

TFootprint Footprint() {
  TFootprint footprint;
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (word == "VmRSS:") status >> footprint.Kilobytes;
  }
  const std::filesystem::directory_iterator handles("/proc/self/fd");
  footprint.Handles = static_cast<int>(std::distance(begin(handles), end(handles)));
  return footprint;
}

// What a line is like, so that no two neighbours are alike.
struct TLineKind {
  TBaudRate BaudRate;
  bool Paced;
  std::int32_t SilentInterval;
  std::uint8_t MaxRetries;
  TEchoSuppression Echo;
};
constexpr TLineKind kKinds[] = {
    {9600, true, -1, 2, TEchoSuppression::esAuto},
    {115'200, false, -1, 0, TEchoSuppression::esAuto},
    {19'200, true, -1, 1, TEchoSuppression::esOff},
    {115'200, false, 0, 2, TEchoSuppression::esOff},
};

// A line with its devices at the far end, and the stations at the near one.
class TStormLine {
 public:
  TStormLine(TSerialPort& farEnd, const TLineKind& kind, const TStormSettings& settings,
             std::uint64_t seed, TStormTally& tally)
      : fDevices(seed, StormFaults(settings.Faults, kReceiveTimeout)),
        fFarEnd(
            TLoop::Current(), farEnd,
            [this](std::span<const std::uint8_t> request) { return fDevices.Answer(request); },
            FarSettings(kind, settings)) {
    fDevices.Simulator().OnRequest = [this](const TJournalEntry& entry) { fWitness.Hear(entry); };
    SetUp(kind);
    fConnection.SetRTU(&Line);
    for (std::uint8_t server = 1; server <= TStormDevices::kServers; ++server) {
      AddStation(server, seed * 100 + server, tally);
    }
  }

  void Start() {
    Line.SetActive(true);
    for (const auto& station : fStations) station->Start();
  }
  bool IsIdle() const { return std::ranges::all_of(fStations, &TStation::IsIdle); }
  void AddTo(TStormReport& report);

  TMBRTUConnection Line;

 private:
  static TSimulatorLineSettings FarSettings(const TLineKind& kind, const TStormSettings& settings) {
    TSimulatorLineSettings far;
    if (kind.Paced && !settings.Terminals) far.BaudRate = kind.BaudRate;
    far.Burst = 1;
    return far;
  }
  void SetUp(const TLineKind& kind);
  void AddStation(std::uint8_t server, std::uint64_t seed, TStormTally& tally);

  TWitness fWitness;
  TStormDevices fDevices;
  TSimulatorLine fFarEnd;
  TMBConnection fConnection;
  std::vector<std::unique_ptr<TStation>> fStations;
  std::uint64_t fEnded = 0, fLast = 0;
  std::uint64_t fSum = 0;  // of the numbers of those that have ended, each to be there once
  std::uint64_t fHangups = 0, fReturns = 0;
};

void TStormLine::SetUp(const TLineKind& kind) {
  Line.SetBaudRate(kind.BaudRate);
  Line.SetSilentInterval(kind.SilentInterval);
  Line.SetMaxRetries(kind.MaxRetries);
  Line.SetEchoSuppression(kind.Echo);
  Line.SetReceiveTimeout(kReceiveTimeout.count());
  Line.SetReconnectInterval(50);
  Line.OnPortLost = [this](TModbusConnection&, const std::string&) { ++fHangups; };
  Line.OnPortFound = [this](TModbusConnection&) { ++fReturns; };
}

void TStormLine::AddStation(std::uint8_t server, std::uint64_t seed, TStormTally& tally) {
  fStations.push_back(std::make_unique<TStation>(Line, fConnection, server, fWitness, tally, seed));
  TStation& station = *fStations.back();
  station.OnEnded = [this](const TModbusTransaction& transaction) {
    fWitness.TransactionOver();
    ++fEnded;
    fSum += transaction.Number();
    fLast = std::max(fLast, transaction.Number());
  };
  station.OnDropped = [this] {
    for (const auto& one : fStations) one->Dropped();
  };
}

void TStormLine::AddTo(TStormReport& report) {
  const TLineCounters& counters = Line.Counters();
  report.Requests += counters.Requests;
  report.Late += counters.LateReplies;
  for (std::size_t i = 0; i < report.Replies.size(); ++i) {
    report.Replies[i] += counters.Replies[i];
  }
  for (const TFaultForm& form : FaultForms()) {
    report.Faults[static_cast<std::size_t>(form.Fault)] +=
        fDevices.Simulator().FaultCount(form.Fault);
  }
  report.Hangups += fHangups;
  report.Returns += fReturns;
  const auto pending = static_cast<std::uint64_t>(Line.CountPendingTransactions(nullptr));
  report.Lost += pending + (fEnded + pending == fLast ? 0 : 1);
  if (pending == 0 && fSum != fLast * (fLast + 1) / 2) ++report.Lost;
}

// The lines of a storm, their loop and what carries their bytes.
class TStorm {
 public:
  explicit TStorm(const TStormSettings& settings) : fSettings(settings) {}
  virtual ~TStorm() = default;
  TStorm(const TStorm&) = delete;
  TStorm& operator=(const TStorm&) = delete;

  TStormReport Run();

 protected:
  /// Lays the cable of a line and hooks it up.
  virtual void AddLine(int index) = 0;
  virtual std::chrono::nanoseconds Limit() const = 0;

  TStormLine& NewLine(TSerialPort& farEnd, int index) {
    const TLineKind& kind = kKinds[static_cast<std::size_t>(index) % std::size(kKinds)];
    const std::uint64_t seed = fSettings.Seed * 1000 + static_cast<std::uint64_t>(index);
    fLines.push_back(std::make_unique<TStormLine>(farEnd, kind, fSettings, seed, fTally));
    return *fLines.back();
  }

  const TStormSettings fSettings;
  TStormTally fTally;
  std::vector<std::unique_ptr<TStormLine>> fLines;

 private:
  void RunTo(std::uint64_t transactions) {
    TLoop::Current().RunUntil([&] { return fTally.Ended >= transactions; }, Limit());
  }
  // A port that is away has no handle.
  TFootprint FootprintWithAllPorts() {
    const auto isThere = [](const auto& line) { return line->Line.Active(); };
    TLoop::Current().RunUntil([&] { return std::ranges::all_of(fLines, isThere); }, Limit());
    return Footprint();
  }
};

TStormReport TStorm::Run() {
  TLoop& loop = TLoop::Current();
  const auto began = TClock::now();
  const auto lineBegan = loop.Now();
  for (int i = 0; i < fSettings.Lines; ++i) AddLine(i);
  for (const auto& line : fLines) line->Start();
  TStormReport report;
  RunTo(fSettings.Transactions / 10);
  report.Warm = FootprintWithAllPorts();
  RunTo(fSettings.Transactions);
  fTally.Stopping = true;
  loop.RunUntil([&] { return std::ranges::all_of(fLines, &TStormLine::IsIdle); }, Limit());
  loop.RunUntil([] { return false; }, 1s);  // the stations look at their counters
  report.End = FootprintWithAllPorts();
  for (const auto& line : fLines) line->AddTo(report);
  report.Transactions = fTally.Ended;
  report.Compared = fTally.Compared;
  report.Wrong = fTally.Wrong;
  report.Stuck = fTally.Stuck;
  report.Undecidable = fTally.Undecidable;
  report.Complaints = fTally.Complaints;
  report.Seconds = std::chrono::duration<double>(TClock::now() - began).count();
  report.LineSeconds = std::chrono::duration<double>(loop.Now() - lineBegan).count();
  return report;
}

class TMemoryStorm final : public TStorm {
 public:
  using TStorm::TStorm;
  ~TMemoryStorm() override { fLines.clear(); }

 private:
  void AddLine(int index) override {
    fCables.push_back(std::make_unique<TMemoryCable>(fLoop));
    TStormLine& line = NewLine(fCables.back()->FarEnd(), index);
    line.Line.SetPortProperty("cable" + std::to_string(index));
    line.Line.SetSerialPort(fCables.back()->NewPort());
  }
  std::chrono::nanoseconds Limit() const override { return kVirtualLimit; }

  TVirtualLoop fLoop;
  std::vector<std::unique_ptr<TMemoryCable>> fCables;
};

// Links in a folder of this process, to terminals that come and go.
class TTerminalStorm final : public TStorm {
 public:
  explicit TTerminalStorm(const TStormSettings& settings) : TStorm(settings) {
    fFormer = TLoop::SetCurrent(&fLoop);
  }
  ~TTerminalStorm() override {
    fLines.clear();
    fPorts.clear();
    TLoop::SetCurrent(fFormer);
  }

 private:
  void AddLine(int index) override {
    const std::string path = fFolder.File(std::to_string(index));
    fPorts.push_back(std::make_unique<TTerminalPort>(path));
    NewLine(*fPorts.back(), index).Line.SetPortProperty(path);
  }
  std::chrono::nanoseconds Limit() const override { return kRealLimit; }

  const TTempFolder fFolder;
  TSystemLoop fLoop;
  TLoop* fFormer = nullptr;
  std::vector<std::unique_ptr<TTerminalPort>> fPorts;
};

}  // namespace

TStormReport RunStorm(const TStormSettings& settings) {
  if (settings.Terminals) return TTerminalStorm(settings).Run();
  return TMemoryStorm(settings).Run();
}

std::string TStormReport::Text() const {
  std::ostringstream text;
  const auto row = [&](std::string_view name, auto value) {
    text << "  " << name << std::string(name.size() < 18 ? 18 - name.size() : 1, ' ') << value
         << "\n";
  };
  text << "transactions " << Transactions << ", requests with retries " << Requests << ", "
       << LineSeconds << " s on the lines in " << Seconds << " s\n";
  text << "replies\n";
  for (std::size_t i = 0; i < Replies.size(); ++i) {
    row(TEnumNames<TServerReply>::Values[i], Replies[i]);
  }
  text << "faults, by the request that they befell\n";
  for (const TFaultForm& form : FaultForms()) {
    row(form.Name, Faults[static_cast<std::size_t>(form.Fault)]);
  }
  text << "ports lost " << Hangups << ", found again " << Returns << "\n";
  text << "late replies thrown away " << Late << "\n";
  text << "compared " << Compared << ", wrong " << Wrong << "\n";
  text << "a zero behind a reply of unknown length, which nobody can tell apart: " << Undecidable
       << "\n";
  text << "lost completions " << Lost << "\n";
  text << "stuck wait counters " << Stuck << "\n";
  text << "resident memory " << Warm.Kilobytes << " KiB after a tenth, " << End.Kilobytes
       << " KiB at the end\n";
  text << "open handles " << Warm.Handles << " after a tenth, " << End.Handles << " at the end\n";
  for (const std::string& complaint : Complaints) text << "wrong: " << complaint << "\n";
  return text.str();
}

}  // namespace OrvixModBus
