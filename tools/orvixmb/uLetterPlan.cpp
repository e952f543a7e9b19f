#include "tools/orvixmb/uLetterPlan.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <numeric>
#include <utility>

#include "platform/modbus/uLineTiming.h"
#include "platform/modbus/uRecordedQueue.h"
#include "platform/modbus/uReplyMatch.h"
#include "platform/modbus/uRtuFrame.h"

namespace OrvixModBus {
namespace {

// A client on a line without a port, which keeps its requests and carries none of them.
class TDryLine {
 public:
  explicit TDryLine(std::uint8_t server) {
    auto queue = std::make_unique<TRecordedQueue>();
    queue->SetActive(true);
    queue->OnQueued = [this](TModbusTransaction& transaction) {
      fRequests.push_back(ToBytes(transaction.Request().Data()));
    };
    fLine.SetQueue(std::move(queue));
    fConnection.SetRTU(&fLine);
    fClient.SetConnection(&fConnection);
    fClient.SetAdres(server);
  }
  TDryLine(const TDryLine&) = delete;
  TDryLine& operator=(const TDryLine&) = delete;

  /// Server address, function code and data of each.
  std::vector<Bytes> RequestsToRead(const TMBReg& group, std::uint16_t count) {
    fClient.Read(group.MBFuncRead(), group.Adress(), count, nullptr);
    fLine.DiscardPendingTransactions(nullptr);
    return std::exchange(fRequests, {});
  }

 private:
  std::vector<Bytes> fRequests;
  TMBRTUConnection fLine;
  TMBConnection fConnection;
  TMBClient fClient;
};

// Requests are: server, function code, address (paged: three bytes, else two), count.
void ReadHeader(const Bytes& request, TPlannedRequest& planned) {
  const std::size_t countAt = IsPagedRead(planned.Func) ? 5 : 4;
  for (std::size_t i = 2; i < request.size(); ++i) {
    if (i < countAt) {
      planned.FirstAdress = planned.FirstAdress << 8 | request[i];
    } else {
      planned.Count = planned.Count << 8 | request[i];
    }
  }
}

TPlanSplit SplitBy(TRunBegin begin) {
  switch (begin) {
    case TRunBegin::rbFirst:
      return TPlanSplit::None;
    case TRunBegin::rbGap:
      return TPlanSplit::Gap;
    case TRunBegin::rbTooLong:
      return TPlanSplit::TooLong;
    case TRunBegin::rbTooFar:
      return TPlanSplit::TooFar;
    case TRunBegin::rbNewBlock:
      return TPlanSplit::NewBlock;
    case TRunBegin::rbTooManyBytes:
      return TPlanSplit::TooManyBytes;
  }
  return TPlanSplit::None;
}

// The register that reaches the end of the page in which the run begins.
const TMBReg* RegAtPageEnd(const TMBRegRun& run) {
  const std::uint64_t pageEnd = (run.Regs.front()->Adress() | 0xFFFFULL) + 1;
  const auto found = std::ranges::find_if(run.Regs, [&](const TMBReg* reg) {
    return std::uint64_t{reg->Adress()} + static_cast<unsigned>(reg->CountInByte()) >= pageEnd;
  });
  return found != run.Regs.end() ? *found : run.Regs.back();
}

class TPlanning {
 public:
  explicit TPlanning(const TPlanSettings& settings)
      : fSettings(settings), fTiming(settings.Line), fLine(settings.Server) {}

  void Add(const TMBRegRun& run) {
    const auto count = CountToRead(*run.Group);
    if (!count) return;
    const std::vector<Bytes> requests = fLine.RequestsToRead(*run.Group, *count);
    for (std::size_t i = 0; i < requests.size(); ++i) {
      TPlannedRequest planned = Planned(requests[i]);
      planned.Regs = run.Regs;
      Explain(run, i > 0, planned);
      Requests.push_back(std::move(planned));
    }
  }

  std::vector<TPlannedRequest> Requests;

 private:
  TPlannedRequest Planned(const Bytes& request) const {
    TPlannedRequest planned;
    planned.Func = request.at(1);
    ReadHeader(request, planned);
    planned.RequestBytes = request.size() + kCheckSumLength;
    const bool broadcast = fSettings.Server == 0;
    if (!broadcast) planned.ReplyBytes = LeastReplyLength(fSettings.ReplyLengths, request);
    planned.Time = fTiming.Characters(planned.RequestBytes + planned.ReplyBytes) +
                   (broadcast ? std::chrono::milliseconds(fSettings.Line.TurnaroundDelay)
                              : fSettings.Turnaround + AfterReply(planned.Func));
    return planned;
  }

  // A reply that ends by silence is only taken for whole after more of it than the line needs.
  std::chrono::nanoseconds AfterReply(std::uint8_t func) const {
    const bool known = fSettings.ReplyLengths.Rule(func).Kind != TReplyLengthRule::TKind::Silence;
    return known ? fTiming.Silence() : std::max(fTiming.Silence(), fTiming.Quiet());
  }

  void Explain(const TMBRegRun& run, bool isSecond, TPlannedRequest& planned) const {
    const bool first = Requests.empty() || Requests.back().Func != planned.Func;
    if (first) return;
    planned.Split = isSecond ? TPlanSplit::PageEnd : SplitBy(run.Begin);
    planned.SplitReg = isSecond ? RegAtPageEnd(run) : run.Regs.front();
  }

  const TPlanSettings& fSettings;
  const TLineTiming fTiming;
  TDryLine fLine;
};

}  // namespace

std::size_t TLetterPlan::RequestBytes() const {
  return std::transform_reduce(Requests.begin(), Requests.end(), std::size_t{0}, std::plus<>(),
                               [](const TPlannedRequest& r) { return r.RequestBytes; });
}

std::size_t TLetterPlan::ReplyBytes() const {
  return std::transform_reduce(Requests.begin(), Requests.end(), std::size_t{0}, std::plus<>(),
                               [](const TPlannedRequest& r) { return r.ReplyBytes; });
}

std::chrono::nanoseconds TLetterPlan::Time() const {
  return std::transform_reduce(Requests.begin(), Requests.end(), std::chrono::nanoseconds(0),
                               std::plus<>(), [](const TPlannedRequest& r) { return r.Time; });
}

TPlanSettings PlanSettingsOf(const TMBLetter& letter) {
  TPlanSettings settings;
  const TMBClient* const client = letter.Client();
  if (client == nullptr) return settings;
  settings.Server = client->GetAdres();
  TMBRTUConnection* const line =
      client->Connection() != nullptr ? client->Connection()->RTU() : nullptr;
  if (line == nullptr) return settings;
  settings.ReplyLengths = line->ReplyLengths();
  settings.Line.SilentInterval = line->SilentInterval();
  settings.Line.TurnaroundDelay = line->TurnaroundDelay();
  settings.Line.Port.BaudRate = line->BaudRate();
  settings.Line.Port.Parity = line->Parity();
  settings.Line.Port.DataBits = line->DataBits();
  settings.Line.Port.StopBits = line->StopBits();
  return settings;
}

TLetterPlan PlanLetter(const TMBLetter& letter, const TPlanSettings& settings) {
  TMBRegList regs = letter.Regs().RegList();
  SortMBRegs(regs);
  TPlanning planning(settings);
  for (const std::uint8_t func : kMBReadFuncs) {
    for (const TMBRegRun& run : MBRegRuns(regs, func)) planning.Add(run);
  }
  return {letter.Name(), std::move(planning.Requests)};
}

}  // namespace OrvixModBus
