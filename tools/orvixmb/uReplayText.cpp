#include "tools/orvixmb/uReplayText.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "platform/modbus/uRtuFrame.h"
#include "platform/rtl/uFormat.h"
#include "tools/display/uShownText.h"
#include "tools/orvixmb/uAskedRequests.h"
#include "tools/orvixmb/uFrameMeaning.h"

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;
using TKind = TReplayEvent::TKind;

constexpr const char* kKinds[] = {"reply", "port lost", "port found", "server lost",
                                  "server found"};
constexpr std::uint8_t kReadFileRecord = 0x14;

Bytes FrameOf(TByteView body) {
  Bytes frame;
  FormFrame(body, frame);
  return frame;
}

const char* KindText(TKind kind) { return kKinds[static_cast<std::size_t>(kind)]; }

std::string ReplyName(TServerReply reply) {
  return std::string(TEnumNames<TServerReply>::Values[static_cast<std::size_t>(reply)]);
}

int ServerOf(const TReplayEvent& event) { return event.Request.empty() ? 0 : event.Request[0]; }

std::string Meaning(const TReplayEvent& event) {
  const bool unformed = event.Request.size() == 2 && event.Request[1] == kReadFileRecord;
  return unformed ? "read file records" : RequestMeaning(FrameOf(event.Request));
}

bool IsFile(const TReplayEvent& event) {
  return event.Request.size() >= 2 && event.Request[1] == kReadFileRecord;
}

std::string Outcome(const TReplayEvent& event) {
  std::string text;
  if (event.Reply != TServerReply::srNormalReply) {
    const bool broadcast = !event.Request.empty() && event.Request[0] == 0;
    text = broadcast ? "sent" : FailureText(event.Reply, event.ExceptionCode);
  } else if (IsFile(event)) {
    text = Format("%d bytes: %s", {event.Data.size(), HexText(event.Data, "")});
  } else {
    text = ReplyMeaning(FrameOf(event.Data), FrameOf(event.Request));
  }
  if (event.Retries == 0) return text;
  return text + Format(event.Retries == 1 ? ", %d retry" : ", %d retries", {event.Retries});
}

// To the microsecond.
double Seconds(std::chrono::nanoseconds time) {
  return std::round(std::chrono::duration<double, std::micro>(time).count()) / 1e6;
}

std::string RowText(const TRegisterRow& row) {
  std::string text = "    " + row.Letter + "." + row.Name;
  text += row.Error.empty() ? " = " + row.Shown : ": " + row.Error;
  if (row.Error.empty() && !row.Caption.empty()) text += " " + row.Caption;
  return text + "\n";
}

}  // namespace

std::string ReplayText(const TReplayEvent& event, std::span<const TRegisterRow> rows) {
  std::string text = Format("%.6f ", {Seconds(event.Time)});
  switch (event.Kind) {
    case TKind::Reply:
      text += Format("server %d: ", {ServerOf(event)}) + Meaning(event) + " - " + Outcome(event);
      break;
    case TKind::PortLost:
      text += std::string(KindText(event.Kind)) + ": " + event.Text;
      break;
    case TKind::PortFound:
      text += KindText(event.Kind);
      break;
    case TKind::ServerLost:
    case TKind::ServerFound:
      text += Format(event.Kind == TKind::ServerLost ? "server %d lost" : "server %d found",
                     {ServerOf(event)});
      break;
  }
  text += "\n";
  for (const TRegisterRow& row : rows) text += RowText(row);
  return text;
}

TJson ReplayJson(const TReplayEvent& event, std::span<const TRegisterRow> rows) {
  TJson json{{"time", Seconds(event.Time)}, {"event", KindText(event.Kind)}};
  if (event.Kind == TKind::PortLost) json["reason"] = event.Text;
  if (!event.Request.empty()) json["server"] = ServerOf(event);
  if (event.Kind != TKind::Reply) return json;
  json["function"] = event.Request.size() < 2 ? 0 : event.Request[1];
  json["request"] = HexText(event.Request, "");
  json["meaning"] = Meaning(event);
  json["reply"] = ReplyName(event.Reply);
  const bool exception = event.Reply == TServerReply::srExceptionReply;
  json["exception"] = exception ? TJson(event.ExceptionCode) : TJson();
  json["retries"] = event.Retries;
  json["data"] = HexText(event.Data, "");
  if (!rows.empty()) json["registers"] = RowsJson(rows);
  return json;
}

std::string CountersText(const TLineCounters& counters) {
  std::string text = Format(
      "%d frames sent, %d of them retries, %d bytes; %d bytes received, %d thrown away, "
      "%d late replies\n",
      {counters.Requests, counters.Retries, counters.BytesSent, counters.BytesReceived,
       counters.NoiseBytes, counters.LateReplies});
  std::string separator;
  for (std::size_t kind = 0; kind < counters.Replies.size(); ++kind) {
    text += separator + ReplyName(static_cast<TServerReply>(kind)) +
            Format(" %d", {counters.Replies[kind]});
    separator = ", ";
  }
  return text + "\n";
}

TJson CountersJson(const TLineCounters& counters) {
  TJson replies = TJson::object();
  for (std::size_t kind = 0; kind < counters.Replies.size(); ++kind) {
    replies[ReplyName(static_cast<TServerReply>(kind))] = counters.Replies[kind];
  }
  return {{"requests", counters.Requests},
          {"retries", counters.Retries},
          {"bytesSent", counters.BytesSent},
          {"bytesReceived", counters.BytesReceived},
          {"noiseBytes", counters.NoiseBytes},
          {"lateReplies", counters.LateReplies},
          {"replies", replies}};
}

}  // namespace OrvixModBus
