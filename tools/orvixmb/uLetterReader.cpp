#include "tools/orvixmb/uLetterReader.h"

#include <algorithm>
#include <utility>

#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uFrameMeaning.h"

namespace OrvixModBus {

std::string FailureText(TServerReply reply, std::uint8_t exceptionCode) {
  switch (reply) {
    case TServerReply::srNone:
      return "no answer";
    case TServerReply::srInvalidFrame:
      return "a broken answer";
    case TServerReply::srExceptionReply:
      return ExceptionText(exceptionCode);
    default:
      return "an answer to something else";
  }
}

TLetterReader::TLetterReader(TMBLetter& letter) : fLetter(letter), fClient(*letter.Client()) {}

// The client may have several letters, each with a reader.
void TLetterReader::Listen() {
  fClient.OnNoneAnswer = {this, &TLetterReader::Failed};
  fClient.OnExeptionAnswer = {this, &TLetterReader::Failed};
  fClient.RTUClient().OnCustomTransactionComplete = {this, &TLetterReader::Completed};
}

void TLetterReader::StopListening() {
  fClient.OnNoneAnswer = {};
  fClient.OnExeptionAnswer = {};
  fClient.RTUClient().OnCustomTransactionComplete = {&fClient,
                                                     &TMBClient::CustomTransactionComplete};
}

// The client's events do not tell the exception code, so it is noted on the way to them.
void TLetterReader::Completed(TModbusClient& sender, TModbusTransaction& transaction,
                              std::uint8_t command) {
  fExceptionCode = transaction.ExceptionCode();
  fClient.CustomTransactionComplete(sender, transaction, command);
}

void TLetterReader::Failed(TMBClient&, TServerReply reply, std::uint8_t func, std::uint32_t start) {
  for (TAsked& asked : std::ranges::equal_range(fAsked, std::pair(func, start), {}, PlaceOf)) {
    asked.Failure = FailureText(reply, fExceptionCode);
  }
}

std::vector<TRegisterRow> TLetterReader::Read(const TMBRegList& regs) {
  fAsked.clear();
  Listen();
  TMBRegList list = regs;
  fLetter.ReadRegs(list, [this](const TMBReg& group) {
    fAsked.push_back({group.MBFuncRead(),
                      group.Adress(),
                      group.Adress() + static_cast<std::uint32_t>(group.GetRegsCount()),
                      {}});
  });
  std::ranges::sort(fAsked, {}, PlaceOf);
  WaitUntil(fClient, [this] { return fLetter.ChekAllRegsResive(); });
  StopListening();
  std::vector<TRegisterRow> rows;
  rows.reserve(regs.size());
  for (TMBReg* reg : regs) rows.push_back(RowOf(fLetter.Name(), *reg, ErrorOf(*reg)));
  return rows;
}

// Empty when the register was asked for and answered. Requests may overlap, so all that begin
// near enough to hold it are looked at.
std::string TLetterReader::ErrorOf(const TMBReg& reg) const {
  std::string error = "its function code " + std::to_string(reg.MBFuncRead()) + " is not read";
  const std::pair place(reg.MBFuncRead(), reg.Adress());
  auto asked = std::ranges::upper_bound(fAsked, place, {}, PlaceOf);
  while (asked != fAsked.begin()) {
    --asked;
    if (asked->Func != place.first || asked->First + kMaxRegBytes < place.second) break;
    if (asked->First != place.second && asked->End <= place.second) continue;
    if (asked->Failure.empty()) return {};
    error = asked->Failure;
  }
  return error;
}

}  // namespace OrvixModBus
