// A device that answers each request as the input wants: by the book, late, with whatever bytes
// behind a right check sum, with noise, not at all. Every transaction completes once and in time,
// letters wait for nothing afterwards, and what is delivered is what a fitting reply held.

#include <algorithm>
#include <array>
#include <memory>
#include <numeric>
#include <set>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/wire.h"
#include "tests/modbus/ScriptedPort.h"
#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {
namespace {

using TSpan = std::span<const std::uint8_t>;
using TTime = TVirtualLoop::TTime;
using std::chrono::milliseconds;

constexpr int kMostRounds = 3;
constexpr int kMostItems = 40;  // of a log, so that an input does not take seconds
constexpr std::uint8_t kLastWaited = 128;

struct TRegPlace {
  const char* Name;
  std::uint32_t Adress;
  std::uint8_t Read, Write, Width, Count;
};

// Each kind of read and write, plain ones: no request leaves its page, no write its width.
constexpr TRegPlace kRegs[] = {
    {"Coil", 0, 0x01, 0x05, 2, 1},     {"Coils", 1, 0x01, 0, 1, 8},
    {"Input", 4, 0x02, 0, 1, 1},       {"Holding", 2, 0x03, 0x06, 2, 2},
    {"Wide", 4, 0x03, 0x10, 2, 4},     {"Far", 300, 0x03, 0x6C, 2, 1},
    {"Measured", 2, 0x04, 0, 2, 3},    {"Next", 5, 0x04, 0, 2, 2},
    {"Shorter", 0, 0x21, 0, 2, 2},     {"Longer", 0x101, 0x21, 0, 2, 2},
    {"Paged", 0x20, 0x43, 0x65, 1, 9}, {"Neighbour", 0x29, 0x43, 0x65, 1, 20},
};

void AddRegs(TMBRegs& regs) {
  for (const TRegPlace& place : kRegs) {
    TMBReg& reg = *regs.Add();
    reg.SetDisplayName(place.Name);
    reg.SetRegAdress(place.Adress);
    reg.SetMBFuncWrite(place.Write);
    reg.SetMBFuncRead(place.Read);
    reg.SetBytesInOneReg(place.Width);
    reg.SetRegsCount(place.Count);
  }
}

// What a reply to a read holds for reg, as far as it reaches.
Bytes PartFor(const TMBReg& reg, std::uint8_t func, std::uint32_t start, const Bytes& values) {
  const std::size_t distance = reg.Adress() - start;
  const auto size = static_cast<std::size_t>(reg.CountInByte());
  if (func == 0x01 || func == 0x02) {
    return Bytes(size, static_cast<std::uint8_t>(values.at(distance / 8) >> distance % 8 & 1));
  }
  const std::size_t from = distance * (func == 0x43 ? 1 : reg.BytesInOneReg());
  if (from >= values.size()) return {};
  const TSpan rest = TSpan(values).subspan(from);
  return ToBytes(rest.first(std::min(rest.size(), size)));
}

class TPlant {
 public:
  explicit TPlant(TFuzzInput& input) : fInput(input), fSettings(LineOf(input)) {
    SetUp();
    Listen();
    AddRegs(fLetter.Regs());
    fLetter.SetClient(&fClient);
    for (TMBItemFunction* function : fFunctions) SetUp(*function);
  }

  void Run() {
    for (int round = 0; round < kMostRounds && !fInput.AtEnd(); ++round) {
      const std::uint8_t jobs = fInput.Byte(), more = fInput.Byte();
      if (!fLine.Active()) Reconnect();
      const TTime begin = fLoop.Now();
      const std::uint64_t before = fLine.Counters().Requests;
      Queue([&] { Start(jobs, more); });
      if ((more & 0x80) != 0) return;  // all goes with requests under way
      Await(begin, before);
      Judge();
    }
  }

 private:
  void SetUp() {
    fLine.SetSerialPort(std::make_unique<TScriptedPort>(fWire));
    fLine.SetPortProperty("line");
    fLine.SetBaudRate(fSettings.Port.BaudRate);
    fLine.SetMaxRetries(fSettings.MaxRetries);
    fLine.SetReceiveTimeout(fSettings.ReceiveTimeout);
    fLine.SetSilentInterval(fSettings.SilentInterval);
    fLine.SetEchoSuppression(fSettings.EchoSuppression);
    const std::uint8_t flags = fInput.Byte();
    fLine.SetReconnectInterval((flags & 1) != 0 ? 500 : 0);
    fWire.OnWrite = [this](const Bytes& frame) { Answer(frame); };
    fLine.SetActive(true);
    fConnection.SetRTU(&fLine);
    fClient.SetConnection(&fConnection);
    if ((flags & 6) == 6) fClient.SetAdres(0);
  }

  void SetUp(TMBItemFunction& function) {
    function.SetMBClient(&fClient);
    function.OnGetCountInfo = [this, &function](TObject&) {
      if (function.ItemCount() <= kMostItems) Queue([&] { ReadItems(function); });
    };
  }

  void ReadItems(TMBItemFunction& function) {
    if (auto* log = dynamic_cast<TMBLogFunction*>(&function)) return log->ReadAllItems();
    fOscil.RaedOscilInfo(1);
    fOscil.ReadOscilData(1, static_cast<std::uint16_t>(fOscil.ItemCount() & 0xFF));
  }

  // ---- what the application asks for ------------------------------------------------------------

  // Whatever action queues is to be completed.
  template <class TAction>
  void Queue(TAction action) {
    const int before = fLine.CountPendingTransactions(nullptr);
    try {
      action();
    } catch (const EModLinkError&) {  // a request that does not fit a frame
    } catch (const EDivByZero&) {     // items of no length
    } catch (const Exception& error) {
      const std::string_view text = error.what();
      Require(text.find("a reply holds items of 1 to") != text.npos, "only what is said is thrown");
    }
    fQueued += fLine.CountPendingTransactions(nullptr) - before;
  }

  void Start(std::uint8_t jobs, std::uint8_t more) {
    if ((jobs & 1) != 0) fLetter.ReadAllRegs();
    if ((jobs & 2) != 0) WriteAll();
    if ((jobs & 4) != 0) AskForOne();
    if ((jobs & 8) != 0) AskForFiles();
    if ((jobs & 16) != 0) fClient.Read(0x11, 0, 0, &fLetter);
    for (std::size_t i = 0; i < fFunctions.size(); ++i) {
      if ((jobs >> (5 + i) & 1) != 0) AskForItems(*fFunctions[i]);
    }
    if ((more & 1) != 0) AskAnything();
  }

  // A register without a write code is waited for, though nothing is sent for it.
  void WriteAll() {
    fLetter.WriteAllRegs();
    fUnsent += static_cast<std::uint32_t>(std::ranges::count(kRegs, 0, &TRegPlace::Write));
  }

  void AskForOne() {
    const std::string name = fInput.OneOf(kRegs).Name;
    fLetter.ReadRegsByName(std::span(&name, 1));
    TMBReg* reg = fLetter.Regs().GetItemByName(name);
    if (reg->MBFuncWrite() == 0) return;
    fLetter.WriteReg(reg, 0, fInput.Bytes(static_cast<std::size_t>(reg->CountInByte())));
  }

  void AskForFiles() {
    TModbusFileRecordList list;
    const int count = fInput.Byte() & 7;
    for (int i = 0; i < count; ++i) list.Add(fInput.Byte(), fInput.Byte(), fInput.Byte() % 127);
    fClient.ReadFileRecord(list, nullptr);
  }

  void AskForItems(TMBItemFunction& function) {
    const std::int32_t length = static_cast<std::int8_t>(fInput.Byte()) * 2;
    fLog20.SetOneRecordLength(length);
    fLog24.SetOneRecordLength(length);
    fOscil.SetOscilInfoLength(length);
    fOscil.SetOscilDataLength(length);
    function.ReadCountItem();
  }

  void AskAnything() {
    const auto func = static_cast<std::uint8_t>(fInput.Byte() & 0x7F);
    fClient.InitCustomTransaction(func, fInput.Bytes(fInput.Byte() % 12), nullptr);
  }

  // ---- the device -------------------------------------------------------------------------------

  void Answer(const Bytes& frame) {
    fRequest = ToBytes(Body(frame));
    const auto sent = TLineTiming(fSettings).Characters(frame.size());
    std::chrono::nanoseconds time = sent;
    for (int i = 0; i < 4; ++i) {
      if (fInput.AtEnd()) return Tire();
      const std::uint8_t how = fInput.Byte();
      if (how == 0) return;
      if ((how & 0x20) != 0) time += PauseOf(fInput);
      const Bytes chunk = Chunk(how & 15, frame);
      const bool spaced = (how & 0x40) != 0;
      const auto apart = spaced ? TLineTiming(fSettings).Characters(1) : TLineTiming::TDuration();
      fWire.Arrive(time, chunk, apart);
      time += apart * static_cast<std::int64_t>(chunk.size());
      // Later than that no reply is expected, so it may be taken for another one's.
      if (time >= sent + 2 * milliseconds(fSettings.ReceiveTimeout) || i > 0) fHonest = false;
      if ((how & 0x80) == 0) return;
    }
  }

  // Nothing is left to answer with: after some time-outs the device goes, which is quicker.
  void Tire() {
    if (++fSilences > 3) fWire.HungUp = true;
  }

  // By the book with 1 and 2; else the device or the line can't be trusted any more.
  Bytes Chunk(int how, const Bytes& frame) {
    const auto good = GoodReply(fRequest, Filler());
    if (how != 1 && how != 2) fHonest = false;
    switch (how) {
      case 1:
        if (good) return WithCheckSum(*good);
        fHonest = false;
        return Headed(fInput.Byte());
      case 2:
        fRefused.insert(fHeard);
        return WithCheckSum({fRequest[0], static_cast<std::uint8_t>(fRequest[1] | 0x80), 2});
      case 3:
      case 4:
        return Headed(fInput.Byte());
      case 5:
        return WithCheckSum(fInput.Bytes(2 + (fInput.Byte() & 31)));
      case 6:
        return fInput.Bytes(fInput.Byte() & 63);
      case 7:
        return frame;
      case 8:
        return Damaged(good ? WithCheckSum(*good) : Headed(4), false);
      case 9:
        return good ? Damaged(*good, true) : Headed(5);
      case 10:
        return fLastChunk;
      case 11:
        fWire.HungUp = true;
        return {};
      case 12:
        return FileReply();
      case 13:
        return Counts();
      default:
        return Headed(static_cast<std::uint8_t>(how));
    }
  }

  // Server address and function code, any data, a right check sum.
  Bytes Headed(std::uint8_t size) {
    Bytes body{fRequest[0], fRequest[1]};
    const Bytes data = fInput.Bytes(size);
    body.insert(body.end(), data.begin(), data.end());
    return fLastChunk = WithCheckSum(body);
  }

  Bytes Damaged(Bytes bytes, bool mendCheckSum) {
    const std::size_t at = fInput.Byte() % bytes.size();
    const std::uint8_t change = fInput.Byte();
    if (change == 0) {
      bytes.resize(at);
    } else {
      bytes[at] ^= change;
    }
    return fLastChunk = mendCheckSum ? WithCheckSum(bytes) : bytes;
  }

  // The records as they were asked for.
  Bytes FileReply() {
    if (fRequest[1] != 0x14 || fRequest.size() < 3) return Headed(3);
    Bytes body{fRequest[0], fRequest[1], 0};
    for (std::size_t at = 3; at + 7 <= fRequest.size(); at += 7) {
      const std::size_t length = std::size_t{2} * fRequest[at + 6];
      body.push_back(static_cast<std::uint8_t>(length + 1));
      body.push_back(6);
      const Bytes data = fInput.Bytes(length);
      body.insert(body.end(), data.begin(), data.end());
    }
    body[2] = static_cast<std::uint8_t>((body.size() - 3) & 0xFF);
    return WithCheckSum(body);
  }

  // A small number of items.
  Bytes Counts() {
    const std::uint8_t count = fInput.Byte();
    return WithCheckSum({fRequest[0], fRequest[1], 0, count, 0, count});
  }

  // Tells the answers to one transaction from those to the next.
  std::uint8_t Filler() const { return static_cast<std::uint8_t>(fHeard * 73 & 0xFF); }

  void Reconnect() {
    fWire.HungUp = false;
    fWire.Incoming.clear();
    fLine.SetActive(true);
  }

  // ---- what the application hears ---------------------------------------------------------------

  void Listen() {
    fLine.OnTrace = [this](TModbusConnection&, TTraceDirection direction, TSpan frame, TTime) {
      if (direction == TTraceDirection::tdSent) fSent = ToBytes(Body(frame));
      if (direction == TTraceDirection::tdReceived) fReceived = ToBytes(frame);
    };
    const TMBEvent begin = [this](TMBClient&, TServerReply kind, std::uint8_t func,
                                  std::uint32_t start, const Bytes& values, TObject*) {
      fValues = values;
      fFunc = func;
      fStart = start;
      fNormal = kind == TServerReply::srNormalReply;
    };
    const TMBEvent end = [this](TMBClient&, TServerReply kind, std::uint8_t, std::uint32_t,
                                const Bytes& values, TObject*) {
      fNormal = false;
      Require(kind == TServerReply::srNormalReply || values.empty(), "no reply, no values");
      Hear(kind);
    };
    fClient.OnReadList.Add(begin);
    fClient.OnWriteList.Add(begin);
    fClient.OnRead = end;
    fClient.OnWrite = end;
    fClient.OnCastomTrunsaction.Add([this](TModbusClient&, TModbusTransaction& transaction,
                                           std::uint8_t) { Hear(transaction.ServerReply()); });
    fClient.OnReadFile.Add([this](TMBClient&, TServerReply kind, TModbusFileRecordList& list,
                                  TObject*) { HearFiles(kind, list); });
    fClient.OnClearWaitQueue.Add([this](TObject&) {
      fDiscarded = fQueued - fHeard - 1;
      fUnsent = 0;
    });
    fLetter.OnRegDataChange = [this](TMBLetter&, TMBReg& reg) { HearReg(reg); };
  }

  // A transaction has been completed.
  void Hear(TServerReply kind) {
    Require(fHeard + fDiscarded < fQueued, "nothing completes twice");
    const bool answered =
        kind == TServerReply::srNormalReply || kind == TServerReply::srExceptionReply;
    if (answered) HearAnswer(kind);
    fReceived.clear();
    ++fHeard;
  }

  void HearAnswer(TServerReply kind) const {
    Require(CheckSumFits(fReceived), "an answer has come, with a right check sum");
    const TSpan reply = Body(fReceived);
    Require(MayAnswer(fSent, reply), "an answer fits its request");
    const bool exception = (reply[1] & kExceptionFlag) != 0;
    const auto told = exception ? TServerReply::srExceptionReply : TServerReply::srNormalReply;
    Require(kind == told, "an exception is told as one");
    if (!fHonest) return;
    if (exception) return Require(fRefused.contains(fHeard), "an exception is to its own request");
    const auto good = GoodReply(fSent, Filler());
    Require(good && std::ranges::equal(*good, reply), "an answer is to its own request");
  }

  void HearFiles(TServerReply kind, TModbusFileRecordList& list) {
    for (int i = 0; kind == TServerReply::srNormalReply && i < list.Count(); ++i) {
      const TModbusFileRecord& record = list.Records(i);
      Require(std::cmp_equal(record.Data.size(), 2 * record.Length), "a record is whole");
    }
    Hear(kind);
  }

  void HearReg(const TMBReg& reg) const {
    Require(fNormal, "registers change by good replies only");
    if (fFunc != reg.MBFuncRead()) return;
    const Bytes part = PartFor(reg, fFunc, fStart, fValues);
    const TSpan data = reg.Data();
    Require(data.size() >= part.size() && std::ranges::equal(data.first(part.size()), part),
            "a register holds what came for it");
  }

  // ---- what must hold ---------------------------------------------------------------------------

  void Await(TTime begin, std::uint64_t requestsBefore) {
    const bool done = fLoop.RunUntil(
        [this] { return fLine.CountPendingTransactions(nullptr) == 0; }, std::chrono::hours(24));
    Require(done, "everything completes");
    const auto sent = static_cast<std::int64_t>(fLine.Counters().Requests - requestsBefore);
    const TLineTiming timing(fSettings);
    // A late reply's window, silence on a line that chatters, the request, its wait.
    const auto each = 3 * milliseconds(fSettings.ReceiveTimeout) + 2 * timing.Silence() +
                      timing.Characters(2 * kMaxReplyLength) + timing.Pause() +
                      LongestWait(fSettings) + milliseconds(fLine.TurnaroundDelay());
    Require(fLoop.Now() - begin <= each * (sent + 1), "everything completes in time");
  }

  void Judge() {
    fLoop.RunPending();
    Require(fHeard + fDiscarded == fQueued, "every transaction completes once");
    Require(fLetter.WaitQueue(0) == fUnsent, "what was not sent is waited for");
    for (std::uint8_t func = 1; func <= kLastWaited; ++func) {
      Require(fLetter.WaitQueue(func) == 0, "the letter waits for nothing");
    }
    const auto& replies = fLine.Counters().Replies;
    const auto ended = std::accumulate(replies.begin(), replies.end(), std::uint64_t{0});
    Require(std::cmp_greater_equal(ended, fHeard), "what completes is counted");
  }

  TFuzzInput& fInput;
  const TLineSettings fSettings;
  TVirtualLoop fLoop;
  TWire fWire{fLoop};
  TMBRTUConnection fLine;
  TMBConnection fConnection;
  TMBClient fClient;
  TMBLetter fLetter;
  TMBFunction20 fLog20;
  TMBFunction24 fLog24;
  TMBFunction41 fOscil;
  const std::array<TMBItemFunction*, 3> fFunctions{&fLog20, &fLog24, &fOscil};

  Bytes fRequest;  // that the device answers, without check sum
  Bytes fLastChunk;
  std::set<int> fRefused;  // transactions that were answered by an exception
  bool fHonest = true;     // so far everything was by the book, or nothing at all
  Bytes fSent, fReceived;  // by the trace; without check sum, with it
  Bytes fValues;           // of the completion under way
  std::uint32_t fStart = 0;
  std::uint8_t fFunc = 0;
  bool fNormal = false;
  int fSilences = 0;
  int fQueued = 0, fHeard = 0, fDiscarded = 0;
  std::uint32_t fUnsent = 0;
};

}  // namespace

void FuzzOne(std::string_view bytes) {
  TFuzzInput input(bytes);
  TPlant(input).Run();
}

}  // namespace OrvixModBus
