#include "tools/orvixmb/uItemReader.h"

#include <algorithm>

#include "platform/rtl/uFormat.h"
#include "tools/orvixmb/uAskedRequests.h"
#include "tools/orvixmb/uFormSession.h"

namespace OrvixModBus {
namespace {

constexpr std::uint32_t kReply = 1;  // what a request is started with

// The whole records of a reply, no more than were asked for.
void AppendRecords(std::vector<Bytes>& records, TByteView reply, std::size_t length,
                   std::size_t most) {
  const std::size_t count = std::min(reply.size() / length, most);
  for (std::size_t i = 0; i < count; ++i) {
    records.push_back(ToBytes(reply.subspan(i * length, length)));
  }
}

}  // namespace

TItemReader::TItemReader(const TMBItemFunction& component) : fFunc(component.MBFunc()) {
  SetMBClient(component.MBClient());
}

TItemReader::~TItemReader() { BeginDestroy(); }

void TItemReader::OnRead(TMBClient& /*sender*/, TServerReply serverReply, std::uint8_t func,
                         std::uint32_t /*startReg*/, const Bytes& values, TObject* letterOwner) {
  if (!IsOwn(func, letterOwner)) return;
  if (serverReply == TServerReply::srNormalReply) fReply = values;
}

Bytes TItemReader::Ask(const std::array<std::uint8_t, 4>& data) {
  TMBClient& client = *MBClient();
  const TAskedRequests asked(client);
  fReply.reset();
  Request(kReply, data);
  WaitUntil(client, [&client] { return client.CountPendingTransactions() == 0; });
  if (fReply) return *fReply;
  throw Exception(asked.LastFailure().empty() ? "no answer" : asked.LastFailure());
}

int TItemReader::Count() {
  const Bytes reply = Ask({0, 0, 0, 0});
  if (reply.size() != 4) {
    throw Exception(Format("an answer of %u bytes, not of 4", {reply.size()}));
  }
  return TMBLib::ToByteToWord(reply[2], reply[3]);  // the first word tells how many ever were
}

Bytes OscillogramRecords(const Bytes& reply, std::uint8_t oscillogram, std::uint16_t first) {
  constexpr std::size_t kHead = 4;  // 0, oscillogram, first record: word
  const bool fits = reply.size() >= kHead && reply[1] == oscillogram &&
                    TMBLib::ToByteToWord(reply[2], reply[3]) == first;
  if (!fits) throw Exception("an answer to something else");
  return ToBytes(TByteView(reply).subspan(kHead));
}

TRecording ReadRecords(const TRecordRange& range,
                       const std::function<void(std::size_t)>& progress) {
  const int most = TMBItemFunction::kMaxItemBytes / static_cast<int>(range.Length);
  TRecording recording{.First = range.First};
  try {
    for (int next = range.First; next <= range.Last; next = recording.Next()) {
      const int count = std::min(most, range.Last - next + 1);
      AppendRecords(recording.Records, range.Ask(next, count), range.Length,
                    static_cast<std::size_t>(count));
      if (recording.Next() == next) throw Exception("an answer without a record");
      progress(recording.Records.size());
    }
  } catch (const Exception& error) {
    recording.Problem = error.what();
  }
  return recording;
}

}  // namespace OrvixModBus
