// No frame ends early: every function code's reply in two pieces, and every value of a register
// with its last byte late.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "platform/modbus/uModbusClient.h"
#include "platform/modbus/uModbusConnection.h"
#include "platform/modbus/uRtuFrame.h"
#include "tests/tools/uHexFrame.h"
#include "tools/simulator/uMemoryCable.h"
#include "tools/simulator/uSimulatorLine.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;

struct TExchange {
  std::string Name;
  Bytes Request, Reply;  // from the function code on
};

// A device that answers every request with the same bytes, in two pieces; a client that asks.
class APieces : public testing::Test {
 protected:
  APieces() {
    fConnection.SetSerialPort(fCable.NewPort());
    fConnection.SetPortProperty("cable");
    fConnection.SetMaxRetries(0);
    fConnection.SetActive(true);
    fClient.SetConnection(&fConnection);
    fClient.OnCustomTransactionComplete = [this](TModbusClient&, TModbusTransaction& transaction,
                                                 std::uint8_t) {
      fKind = transaction.ServerReply();
      fReply = ToBytes(transaction.Reply().Data());
    };
  }

  // What of the device's frame comes at once, and after how long the rest.
  void Answer(const Bytes& pdu, std::size_t at, std::chrono::nanoseconds pause) {
    Bytes body{1};
    body.insert(body.end(), pdu.begin(), pdu.end());
    Bytes frame;
    FormFrame(body, frame);
    const auto end = frame.begin() + static_cast<std::ptrdiff_t>(std::min(at, frame.size()));
    fPieces = {{0ns, Bytes(frame.begin(), end)}, {pause, Bytes(end, frame.end())}};
    fBody = body;
  }

  void Exchange(const Bytes& request) {
    fKind = TServerReply::srNone;
    fReply.clear();
    fClient.InitCustomTransaction(request[0], std::span(request).subspan(1), false, nullptr);
    ASSERT_TRUE(fLoop.RunUntil(
        [this] { return fConnection.CountPendingTransactions(nullptr) == 0; }, 1min));
  }

  void ExpectWhole(const Bytes& request) {
    Exchange(request);
    const bool refused = fBody.at(1) > 0x80;
    EXPECT_EQ(fKind, refused ? TServerReply::srExceptionReply : TServerReply::srNormalReply);
    EXPECT_EQ(fReply, fBody);
  }

  // Every place of the frame, every pause in which it does not count as cut.
  void ExpectWholeInAnyPieces(const TExchange& exchange) {
    SCOPED_TRACE(exchange.Name);
    for (std::size_t at = 1; at < exchange.Reply.size() + 3; ++at) {
      for (const auto pause : {1ms, 19ms, 20ms, 21ms, 100ms, 195ms}) {
        SCOPED_TRACE(std::to_string(at) + " bytes, then " + std::to_string(pause.count()) + " ms");
        Answer(exchange.Reply, at, pause);
        ExpectWhole(exchange.Request);
      }
    }
  }

  TVirtualLoop fLoop;
  TMemoryCable fCable{fLoop};
  std::vector<TReplyPiece> fPieces;
  TSimulatorLine fLine{fLoop,
                       fCable.FarEnd(),
                       [this](auto) { return TSimulatedReply{fPieces}; },
                       {.BaudRate = 9600, .Burst = 1, .Silence = 5ms}};
  TModbusConnection fConnection;
  TModbusClient fClient;
  Bytes fBody;
  TServerReply fKind = TServerReply::srNone;
  Bytes fReply;
};

// A request and a normal reply for each code that has a rule, with data that looks like frames.
const TExchange kRuled[] = {
    {"01", FromHex("01 00 00 00 10"), FromHex("01 02 01 01")},
    {"02", FromHex("02 00 00 00 10"), FromHex("02 02 01 02")},
    {"03", FromHex("03 00 00 00 02"), FromHex("03 04 01 03 02 01")},
    {"04", FromHex("04 00 00 00 02"), FromHex("04 04 01 84 02 C2")},
    {"05", FromHex("05 00 01 FF 00"), FromHex("05 00 01 FF 00")},
    {"06", FromHex("06 01 06 01 06"), FromHex("06 01 06 01 06")},
    {"0F", FromHex("0F 00 00 00 08 01 FF"), FromHex("0F 00 00 00 08")},
    {"10", FromHex("10 00 01 00 01 02 12 34"), FromHex("10 00 01 00 01")},
    {"11", FromHex("11"), FromHex("11 04 01 11 00 FF")},
    {"14", FromHex("14 07 06 00 01 00 01 00 01"), FromHex("14 04 03 06 01 14")},
    {"15", FromHex("15 09 06 00 01 00 01 00 01 01 15"),
     FromHex("15 09 06 00 01 00 01 00 01 01 15")},
    {"16", FromHex("16 00 01 00 F2 00 25"), FromHex("16 00 01 00 F2 00 25")},
    {"17", FromHex("17 00 01 00 01 00 01 00 01 02 01 17"), FromHex("17 02 01 17")},
    {"21", FromHex("21 00 10 00 00"), FromHex("21 01 21 01 21")},
    {"21 with a byte more", FromHex("21 00 01 00 00"), FromHex("21 04 01 21 01 21")},
    {"43", FromHex("43 01 00 10 02"), FromHex("43 01 00 10 02 01 43")},
    {"44", FromHex("44 01 00 10 02"), FromHex("44 01 00 10 02 01 44")},
    {"65", FromHex("65 01 00 10 01 AA"), FromHex("65 01 00 10 01")},
    {"66", FromHex("66 01 00 10 01 AA"), FromHex("66 01 00 10 01")},
    {"6C", FromHex("6C 00 01 01 6C"), FromHex("6C 00 01 01 6C")},
};

TEST_F(APieces, OfEveryCodeWithARuleMakeItsReply) {
  for (const TExchange& exchange : kRuled) ExpectWholeInAnyPieces(exchange);
}

TEST_F(APieces, OfEveryOtherCodeMakeItsReply) {
  for (int code = 1; code < 0x80; ++code) {
    const auto function = static_cast<std::uint8_t>(code);
    if (fConnection.ReplyLengths().Rule(function).Kind != TReplyLengthRule::TKind::Silence) {
      continue;
    }
    ExpectWholeInAnyPieces(
        {std::to_string(code), {function, 0, 0, 0, 0}, {function, 1, function, 9}});
  }
}

TEST_F(APieces, OfEveryExceptionMakeItsReply) {
  for (int code = 1; code < 0x80; ++code) {
    const auto function = static_cast<std::uint8_t>(code);
    const auto refused = static_cast<std::uint8_t>(code | 0x80);
    ExpectWholeInAnyPieces({std::to_string(code), {function, 0, 0, 0, 1}, {refused, 2}});
  }
}

// One value in 256 makes a frame whose check sum also fits with its last byte missing, or one more.
TEST_F(APieces, OfEveryRegisterMakeItWhenTheLastByteIsLate) {
  for (const std::uint8_t code : {std::uint8_t{0x03}, std::uint8_t{0x04}}) {
    for (unsigned value = 0; value <= 0xFFFF; ++value) {
      Answer(
          {code, 2, static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value & 0xFF)},
          6, 150ms);
      ExpectWhole({code, 0, 0, 0, 1});
      if (HasFailure()) FAIL() << "value " << value;
    }
  }
}

// A reply in which the check sum fits early and that has a value then: 01 04 02 03 01 78 00.
TEST_F(APieces, ThatLookLikeAWholeFrameAreNone) {
  const Bytes early = FromHex("01 04 02 03 01 78");
  ASSERT_TRUE(CheckSumFits(early));
  Answer(FromHex("04 02 03 01"), 6, 195ms);
  ExpectWhole(FromHex("04 00 00 00 01"));
  EXPECT_EQ(ToHex(fReply), "01 04 02 03 01");
}

TEST_F(APieces, ThatPauseTooLongAreCut) {
  Answer(FromHex("04 02 03 01"), 6, 250ms);
  Exchange(FromHex("04 00 00 00 01"));
  EXPECT_EQ(fKind, TServerReply::srInvalidFrame);
  EXPECT_TRUE(fReply.empty());
}

// Until silence, a line's zeros behind a frame keep its check sum right.
TEST_F(APieces, ZerosBehindAFrameAreNotItsData) {
  for (std::size_t zeros = 2; zeros <= 6; ++zeros) {
    SCOPED_TRACE(zeros);
    Answer(FromHex("20 01 02 03 04"), 100, 0ns);
    fPieces[0].Data.insert(fPieces[0].Data.end(), zeros, 0);
    Exchange(FromHex("20 00 00 00 00"));
    EXPECT_EQ(fKind, TServerReply::srInvalidFrame);
    EXPECT_TRUE(fReply.empty());
  }
}

// One right frame in 256 ends with a zero and would be one without it, too. Only a check sum of 0
// is taken for zeros of the line.
TEST_F(APieces, OfEveryValueUntilSilenceAreWholeUnlessTheCheckSumIs0) {
  int zeros = 0;
  for (unsigned value = 0; value <= 0xFFFF && !HasFailure(); ++value) {
    SCOPED_TRACE(value);
    Answer({0x20, static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value & 0xFF)},
           100, 0ns);
    const Bytes& frame = fPieces[0].Data;
    if (frame[frame.size() - 2] == 0 && frame.back() == 0) {
      ++zeros;
    } else {
      ExpectWhole(FromHex("20 00 00 00 00"));
    }
  }
  EXPECT_EQ(zeros, 1);
}

TEST_F(APieces, ThatEndInZerosAreWhole) {
  Answer(FromHex("20 01 02 00 00"), 100, 0ns);
  ExpectWhole(FromHex("20 00 00 00 00"));
}

// One in 256 right frames: less its last byte each of them is a right frame, too.
TEST_F(APieces, WhoseCheckSumEndsWithZeroAreWhole) {
  int found = 0;
  for (int value = 0; value < 1000; ++value) {
    const Bytes reply{0x20, 0x01, 0x02, static_cast<std::uint8_t>(value >> 8),
                      static_cast<std::uint8_t>(value & 0xFF)};
    Bytes body{0x01}, frame;
    body.insert(body.end(), reply.begin(), reply.end());
    FormFrame(body, frame);
    if (frame.back() != 0) continue;
    ++found;
    Answer(reply, 100, 0ns);
    ExpectWhole(FromHex("20 00 00 00 00"));
  }
  EXPECT_GT(found, 0);
}

// ---- a code of an application's own -------------------------------------------------------------

TEST_F(APieces, OfACodeOfOnesOwnEndByItsRule) {
  const TExchange own{"own", FromHex("42 00 00"), FromHex("42 02 AA BB")};
  fConnection.ReplyLengths().Set(0x42, TReplyLengthRule::Counted(5, 2));
  ExpectWholeInAnyPieces(own);
}

// With the rule a reply ends with its last byte, without it 20 ms later.
TEST_F(APieces, AreNotWaitedForBehindARule) {
  const auto time = [this] {
    Answer(FromHex("42 02 AA BB"), 100, 0ns);
    const auto begin = fLoop.Now();
    ExpectWhole(FromHex("42 00 00"));
    return fLoop.Now() - begin;
  };
  const auto bySilence = time();
  fConnection.ReplyLengths().Set(0x42, TReplyLengthRule::Counted(5, 2));
  const auto byRule = time();
  EXPECT_GE(bySilence - byRule, 15ms);
}

}  // namespace
}  // namespace OrvixModBus
