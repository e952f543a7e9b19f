#pragma once
// uModbusTypes: the words of the serial line - reply kinds and the port's settings.

#include <cstdint>
#include <string_view>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {

/// The transport's exception class: a port that can't be opened, a setting that can't be, a
/// buffer read or moved past its ends.
class EModLinkError : public Exception {
 public:
  using Exception::Exception;
};

/// How a transaction ended. The ordinals are fixed: 0 is no answer, 1 to 4 a bad one, 5 success.
enum class TServerReply : std::uint8_t {
  srNone,             ///< nothing came within the receive time-out, or there is no open port
  srInvalidFrame,     ///< a wrong check sum, a cut frame, noise
  srUnexpectedReply,  ///< only another server's frames came
  srUnmatchedReply,   ///< another function code, or an echo that does not fit the request
  srExceptionReply,   ///< the server refused; see TModbusTransaction::ExceptionCode
  srNormalReply,
};

/// What a queued transaction is, and so by which event it is completed.
enum class TTransactionKind : std::uint8_t { tkCustom, tkServerID, tkFileRecord };

using TBaudRate = std::uint32_t;  ///< bits per second
enum class TParityScheme : std::uint8_t { psNone, psOdd, psEven, psMark, psSpace };
enum class TDataBits : std::uint8_t { db5, db6, db7, db8 };
enum class TStopBits : std::uint8_t { sb1, sb1_5, sb2 };

/// Does the adapter hand back what is sent? On auto this is learnt from requests whose reply
/// can't equal them; until one of those has been answered, no echo is assumed.
enum class TEchoSuppression : std::uint8_t { esOff, esOn, esAuto };

/// Who switches an RS-485 driver to sending: nobody (the adapter does), the kernel's driver, or
/// this program by the RTS line.
enum class TRS485Mode : std::uint8_t { rmNone, rmKernel, rmRTS };

/// What became of the driver's low-latency switch when the port was opened.
enum class TLowLatency : std::uint8_t { llNotOffered, llSet };

/// What a traced frame is: sent, accepted as a reply, or received and thrown away.
enum class TTraceDirection : std::uint8_t { tdSent, tdReceived, tdIgnored };

template <>
struct TEnumNames<TServerReply> {
  static constexpr std::string_view Values[] = {
      "srNone",           "srInvalidFrame",   "srUnexpectedReply",
      "srUnmatchedReply", "srExceptionReply", "srNormalReply"};
};
template <>
struct TEnumNames<TParityScheme> {
  static constexpr std::string_view Values[] = {"psNone", "psOdd", "psEven", "psMark", "psSpace"};
};
template <>
struct TEnumNames<TDataBits> {
  static constexpr std::string_view Values[] = {"db5", "db6", "db7", "db8"};
};
template <>
struct TEnumNames<TStopBits> {
  static constexpr std::string_view Values[] = {"sb1", "sb1_5", "sb2"};
};
template <>
struct TEnumNames<TEchoSuppression> {
  static constexpr std::string_view Values[] = {"esOff", "esOn", "esAuto"};
};
template <>
struct TEnumNames<TRS485Mode> {
  static constexpr std::string_view Values[] = {"rmNone", "rmKernel", "rmRTS"};
};
template <>
struct TEnumNames<TLowLatency> {
  static constexpr std::string_view Values[] = {"llNotOffered", "llSet"};
};

}  // namespace OrvixModBus
