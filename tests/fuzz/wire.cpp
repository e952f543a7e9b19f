#include "tests/fuzz/wire.h"

#include <algorithm>

#include "platform/modbus/uReplyLength.h"
#include "platform/modbus/uRtuFrame.h"

namespace OrvixModBus {
namespace {

using TSpan = std::span<const std::uint8_t>;
using std::chrono::microseconds;
using std::chrono::milliseconds;

bool SameFrom(TSpan one, TSpan other, std::size_t from, std::size_t count) {
  return one.size() >= from + count && other.size() >= from + count &&
         std::ranges::equal(one.subspan(from, count), other.subspan(from, count));
}

// Server address, function code, a byte count and as many bytes.
bool IsCounted(TSpan reply, std::size_t countAt) {
  return reply.size() > countAt && reply.size() == countAt + 1 + reply[countAt];
}

bool HoldsBytes(TSpan reply, unsigned wanted) { return IsCounted(reply, 2) && reply[2] == wanted; }

unsigned Quantity(TSpan request) { return static_cast<unsigned>(request[4]) << 8 | request[5]; }

bool MayAnswerNormally(TSpan request, TSpan reply) {
  const bool hasQuantity = request.size() >= 6;
  switch (request[1]) {
    case 0x01:
    case 0x02:
      return hasQuantity ? HoldsBytes(reply, (Quantity(request) + 7) / 8) : IsCounted(reply, 2);
    case 0x03:
    case 0x04:
    case 0x17:
      return hasQuantity ? HoldsBytes(reply, 2 * Quantity(request)) : IsCounted(reply, 2);
    case 0x05:
    case 0x06:
    case 0x0F:
    case 0x10:
    case 0x6C:
    case 0x65:
    case 0x66:
      return reply.size() == 6 && (!hasQuantity || SameFrom(request, reply, 2, 4));
    case 0x16:
      return reply.size() == 8 && (request.size() < 8 || SameFrom(request, reply, 2, 6));
    case 0x43:
    case 0x44:
      return IsCounted(reply, 5) && (!hasQuantity || SameFrom(request, reply, 2, 4));
    case 0x11:
    case 0x14:
    case 0x15:
      return IsCounted(reply, 2);
    case 0x21: {
      const bool longer = request.size() > 3 && (request[3] == 1 || request[3] == 2);
      return reply.size() == (longer ? 7u : 6u);
    }
    default:
      return true;
  }
}

}  // namespace

TLineSettings LineOf(TFuzzInput& input) {
  constexpr TBaudRate kRates[] = {1200, 9600, 19200, 115200};
  constexpr std::int32_t kSilences[] = {-1, 0, 500, 50'000};
  constexpr std::uint32_t kTimeOuts[] = {100, 1, 20, 1000};
  const std::uint8_t line = input.Byte(), rules = input.Byte();
  TLineSettings settings;
  settings.Port.BaudRate = kRates[line & 3];
  settings.SilentInterval = kSilences[line >> 2 & 3];
  settings.ReceiveTimeout = kTimeOuts[line >> 4 & 3];
  settings.EchoSuppression = static_cast<TEchoSuppression>((rules & 3) % 3);
  settings.MaxRetries = rules >> 2 & 3;
  return settings;
}

std::chrono::nanoseconds PauseOf(TFuzzInput& input) {
  constexpr std::chrono::nanoseconds kPauses[] = {
      microseconds(0),   microseconds(87),   milliseconds(1),    microseconds(1145),
      milliseconds(9),   milliseconds(19),   milliseconds(20),   milliseconds(21),
      milliseconds(50),  milliseconds(99),   milliseconds(100),  milliseconds(101),
      milliseconds(199), milliseconds(200),  milliseconds(201),  milliseconds(450),
      milliseconds(999), milliseconds(1000), milliseconds(1001), milliseconds(2500)};
  return input.OneOf(kPauses);
}

Bytes WithCheckSum(Bytes body) {
  Bytes frame;
  FormFrame(body, frame);
  return frame;
}

std::optional<Bytes> GoodReply(TSpan request, std::uint8_t filler) {
  if (request.size() < 6) return std::nullopt;
  Bytes reply(request.begin(), request.begin() + 2);
  const auto fill = [&](unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      reply.push_back(static_cast<std::uint8_t>((filler + 37 * i) & 0xFF));
    }
  };
  const auto counted = [&](unsigned count) {
    reply.push_back(static_cast<std::uint8_t>(count & 0xFF));
    fill(count & 0xFF);
  };
  switch (request[1]) {
    case 0x01:
    case 0x02:
      counted((Quantity(request) + 7) / 8);
      break;
    case 0x03:
    case 0x04:
      counted(2 * Quantity(request));
      break;
    case 0x05:
    case 0x06:
    case 0x10:
    case 0x6C:
    case 0x65:
    case 0x66:
      reply.insert(reply.end(), request.begin() + 2, request.begin() + 6);
      break;
    case 0x43:
    case 0x44:
      reply.insert(reply.end(), request.begin() + 2, request.begin() + 6);
      fill(request[5]);
      break;
    case 0x21:
      fill(request[3] == 1 || request[3] == 2 ? 5 : 4);
      break;
    case 0x20:
    case 0x24:
    case 0x41:
      fill(4);
      break;
    default:
      return std::nullopt;
  }
  return reply;
}

bool MayAnswer(TSpan request, TSpan reply) {
  if (request.size() < 2 || reply.size() < 2 || request[0] != reply[0]) return false;
  const bool exception = reply.size() == 3 && reply[1] == (request[1] | 0x80);
  return exception || (request[1] == reply[1] && MayAnswerNormally(request, reply));
}

std::chrono::nanoseconds LongestWait(const TLineSettings& settings) {
  const TLineTiming timing(settings);
  return milliseconds(settings.ReceiveTimeout) + timing.Characters(kMaxReplyLength) +
         timing.Pause();
}

}  // namespace OrvixModBus
