#include "tools/orvixmb/uReplayForm.h"

#include <algorithm>
#include <memory>

namespace OrvixModBus {
namespace {

struct TAskedRead {
  std::uint32_t Start = 0;
  std::uint16_t CountInBytes = 0;  // as TMBClient::Read takes it
};

// Server, function code, address (paged: three bytes, else two), count (paged: one, else two).
TAskedRead ReadOf(TByteView request) {
  const std::uint8_t func = request[1];
  const std::size_t countAt = IsPagedRead(func) ? 5 : 4;
  std::uint32_t start = 0, count = 0;
  for (std::size_t i = 2; i < request.size(); ++i) {
    std::uint32_t& number = i < countAt ? start : count;
    number = number << 8U | request[i];
  }
  const std::uint32_t each = func == 0x03 || func == 0x04 ? 2 : 1;
  return {start, static_cast<std::uint16_t>(count * each)};
}

bool Reads(const TReplayEvent& event) {
  return event.Kind == TReplayEvent::TKind::Reply && event.Reply == TServerReply::srNormalReply &&
         event.Request.size() == 6 &&
         std::ranges::find(kMBReadFuncs, event.Request[1]) != std::end(kMBReadFuncs);
}

}  // namespace

TReplayForm::TReplayForm(const std::string& form, TToolIo& io)
    : fSession({.Form = form, .Port = {}, .Trace = false}, io) {
  auto queue = std::make_unique<TRecordedQueue>();
  fQueue = queue.get();
  queue->SetActive(true);
  fLine.SetQueue(std::move(queue));
  fConnection.SetRTU(&fLine);
  for (TMBClient* client : ComponentsOf<TMBClient>(fSession.Root())) {
    client->SetConnection(&fConnection);
  }
  for (TMBLetter* letter : ComponentsOf<TMBLetter>(fSession.Root())) {
    letter->OnRegDataChange = [this](TMBLetter& sender, TMBReg& reg) {
      fRows.push_back(RowOf(sender.Name(), reg, DecodingError(reg)));
    };
  }
}

TReplayForm::~TReplayForm() = default;

std::vector<TRegisterRow> TReplayForm::Take(const TReplayEvent& event) {
  fRows.clear();
  if (!Reads(event)) return {};
  for (TMBLetter* letter : ComponentsOf<TMBLetter>(fSession.Root())) {
    const TMBClient* const client = letter->Client();
    if (client != nullptr && client->GetAdres() == event.Request[0]) Answer(*letter, event);
  }
  return fRows;
}

// The letter knows a reply to one of its own by the owner that comes with it.
void TReplayForm::Answer(TMBLetter& letter, const TReplayEvent& event) {
  const TAskedRead read = ReadOf(event.Request);
  const int index = fQueue->Count();
  letter.Client()->Read(event.Request[1], read.Start, read.CountInBytes, &letter);
  const bool same = fQueue->Count() == index + 1 &&
                    std::ranges::equal(fQueue->Transaction(index).Request().Data(), event.Request);
  if (same) {
    fQueue->Complete(index, TServerReply::srNormalReply, event.Data);
  } else {
    fLine.DiscardPendingTransactions(nullptr);
  }
}

}  // namespace OrvixModBus
