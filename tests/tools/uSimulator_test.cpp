#include "tools/simulator/uSimulator.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/rtl/uException.h"
#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

// A bit string as a table takes it, the first bit lowest.
std::vector<std::uint32_t> Bits(std::string_view hex, std::size_t count) {
  const Bytes bytes = FromHex(hex);
  std::vector<std::uint32_t> bits(count);
  for (std::size_t i = 0; i < count; ++i) {
    bits[i] = (std::uint32_t{bytes[i / 8]} >> (i % 8)) & 1U;
  }
  return bits;
}

void FillDevices(TSimulator& simulator) {
  TSimulatedDevice& device = simulator.Device(0x11);
  device.Coils.Set(0x13, Bits("CD 6B 05", 19));
  device.Discrete.Set(0xC4, Bits("AC DB 35", 22));
  device.Holding.Set(0x6B, {0x022B, 0, 0x64});
  device.Holding.SetFormula(0x200, 2, [](std::uint32_t, double) { return 7U; });
  device.Holding.Set(0xFFFF, {0x12345678});
  device.Input.Set(0x08, {0x0A});
  device.Extended.Set(1, {0x01020304, 0x05060708, 0xDEADBEEF});
  device.Extended.Set(0x301, {9});
  device.Extended.Set(0x100, {10});
  device.Paged.Set(0x000100, {0xA0, 0xA1, 0xA2, 0xA3});
  device.Paged.Set(0x01FFFE, {0xB0, 0xB1, 0xB2});
  device.Identity = {.ServerId = {0x0A, 0x0B}, .Text = "Pump"};
  simulator.Device(0x12);
}

struct TExchange {
  const char* Name;
  const char* Request;
  const char* Reply;  // empty: none
};

class ASimulator : public testing::Test {
 protected:
  ASimulator() { FillDevices(fSimulator); }

  std::string Answer(std::string_view request) {
    return ToHex(fSimulator.Answer(FromHex(request)).AllBytes());
  }

  TSimulator fSimulator;
};

class AFrame : public ASimulator, public testing::WithParamInterface<TExchange> {};

TEST_P(AFrame, IsAnswered) { EXPECT_EQ(Answer(GetParam().Request), GetParam().Reply); }

INSTANTIATE_TEST_SUITE_P(
    Frames, AFrame,
    testing::ValuesIn(std::vector<TExchange>{
        {"Coils", "11 01 00 13 00 13 8E 92", "11 01 03 CD 6B 05 40 12"},
        {"OneCoil", "11 01 00 14 00 01 BF 5E", "11 01 01 00 55 48"},
        {"CoilsOfNoCount", "11 01 00 13 00 00 CF 5F", "11 81 03 01 94"},
        {"CoilsTooMany", "11 01 10 00 07 D1 F8 36", "11 81 03 01 94"},
        {"CoilsPastTheEnd", "11 01 00 13 00 14 CF 50", "11 81 02 C0 54"},
        {"Discretes", "11 02 00 C4 00 16 BA A9", "11 02 03 AC DB 35 20 18"},
        {"DiscretesOfNoCount", "11 02 00 C4 00 00 3B 67", "11 82 03 01 64"},
        {"DiscretesTooMany", "11 02 00 C4 07 D1 F9 0B", "11 82 03 01 64"},
        {"DiscretesWhereThereAreNone", "11 02 00 13 00 01 4A 9F", "11 82 02 C0 A4"},
        {"Holdings", "11 03 00 6B 00 03 76 87", "11 03 06 02 2B 00 00 00 64 C8 BA"},
        {"HoldingsOfNoCount", "11 03 00 6B 00 00 36 86", "11 83 03 00 F4"},
        {"HoldingsTooMany", "11 03 10 00 00 7E C3 BA", "11 83 03 00 F4"},
        {"HoldingsBeforeTheFirst", "11 03 00 6A 00 02 E6 87", "11 83 02 C1 34"},
        {"HoldingsPastTheLastAddress", "11 03 FF FF 00 02 C6 BF", "11 83 02 C1 34"},
        {"ComputedHolding", "11 03 02 00 00 02 C7 23", "11 03 04 00 07 00 07 1B F1"},
        {"LowBitsOfACell", "11 03 FF FF 00 01 86 BE", "11 03 02 56 78 46 05"},
        {"Inputs", "11 04 00 08 00 01 B2 98", "11 04 02 00 0A F8 F4"},
        {"InputsOfNoCount", "11 04 00 08 00 00 73 58", "11 84 03 02 C4"},
        {"InputsTooMany", "11 04 00 08 00 7E F3 78", "11 84 03 02 C4"},
        {"InputsWhereThereAreNone", "11 04 00 6B 00 01 42 86", "11 84 02 C3 04"},
        {"CoilOn", "11 05 00 14 FF 00 CE AE", "11 05 00 14 FF 00 CE AE"},
        {"CoilOff", "11 05 00 13 00 00 3E 9F", "11 05 00 13 00 00 3E 9F"},
        {"CoilNeitherOnNorOff", "11 05 00 13 00 01 FF 5F", "11 85 03 03 54"},
        {"CoilThatIsNotThere", "11 05 00 C4 FF 00 CF 57", "11 85 02 C2 94"},
        {"Register", "11 06 00 6B 12 34 F7 F1", "11 06 00 6B 12 34 F7 F1"},
        {"RegisterThatIsNotThere", "11 06 00 01 12 34 D7 ED", "11 86 02 C2 64"},
        {"ComputedRegister", "11 06 02 00 12 34 87 95", "11 86 02 C2 64"},
        {"SeveralCoils", "11 0F 00 13 00 0A 02 CD 01 BF 0B", "11 0F 00 13 00 0A 26 99"},
        {"SeveralCoilsOfNoCount", "11 0F 00 13 00 00 00 1E 7A", "11 8F 03 05 F4"},
        {"SeveralCoilsOfAnotherByteCount", "11 0F 00 13 00 0A 01 CD 1A 0F", "11 8F 03 05 F4"},
        {"SeveralCoilsPastTheEnd", "11 0F 00 25 00 0A 02 CD 01 BA 9D", "11 8F 02 C4 34"},
        {"SeveralRegisters", "11 10 00 6B 00 02 04 00 0A 01 02 40 A7", "11 10 00 6B 00 02 32 84"},
        {"SeveralRegistersOfNoCount", "11 10 00 6B 00 00 00 04 B5", "11 90 03 0D C4"},
        {"SeveralRegistersOfAnotherByteCount", "11 10 00 6B 00 02 02 00 0A E3 08",
         "11 90 03 0D C4"},
        {"SeveralRegistersPastTheEnd", "11 10 00 6D 00 02 04 00 0A 01 02 C0 8D", "11 90 02 CC 04"},
        {"ServerId", "11 11 CD EC", "11 11 07 0A 0B FF 50 75 6D 70 33 20"},
        {"ServerIdOfADeviceWithout", "12 11 CD 1C", "12 91 01 7D 95"},
        {"Extended", "11 21 00 03 00 00 4F 5D", "11 21 DE AD BE EF 24 B8"},
        {"ExtendedAtOddAddress1", "11 21 00 01 00 00 EE 9D", "11 21 04 01 02 03 04 4C 7F"},
        {"ExtendedAtOddAddress2", "11 21 00 02 00 00 1E 9D", "11 21 04 05 06 07 08 0E 4B"},
        {"ExtendedWhereTheLowByteIs1", "11 21 03 01 00 00 EE D9", "11 21 04 00 00 00 09 2D 76"},
        {"ExtendedWhereTheHighByteIs1", "11 21 01 00 00 00 BE A1", "11 21 00 00 00 0A 3F 5A"},
        {"ExtendedOfACount", "11 21 00 03 00 01 8E 9D", "11 A1 03 18 54"},
        {"ExtendedThatIsNotThere", "11 21 00 04 00 00 FE 9C", "11 A1 02 D9 94"},
        {"Paged", "11 43 00 01 00 04 16 96", "11 43 00 01 00 04 A0 A1 A2 A3 AE 9F"},
        {"PagedByItsOtherCode", "11 44 00 01 02 02 22 34", "11 44 00 01 02 02 A2 A3 20 6E"},
        {"PagedToTheEndOfItsPage", "11 43 01 FF FE 02 B6 F8", "11 43 01 FF FE 02 B0 B1 C2 56"},
        {"PagedOfNoCount", "11 43 01 FF F0 00 33 59", "11 43 01 FF F0 00 33 59"},
        {"PagedIntoTheNextPage", "11 43 01 FF FE 03 77 38", "11 C3 02 F0 F4"},
        {"PagedPastTheEnd", "11 44 00 01 00 05 62 96", "11 C4 02 F2 C4"},
        {"PagedWrite", "11 65 00 01 00 02 11 22 A5 84", "11 65 00 01 00 02 9F 53"},
        {"PagedWriteByItsOtherCode", "11 66 02 00 00 01 33 2B 82", "11 66 02 00 00 01 CB 2A"},
        {"PagedWriteOfNoCount", "11 65 00 01 00 00 1E 92", "11 E5 03 2B 54"},
        {"PagedWriteIntoTheNextPage", "11 66 01 FF FF 02 11 22 8E 95", "11 E6 02 EA 64"},
        {"PagedWritePastTheEnd", "11 65 00 01 03 02 11 22 A5 C0", "11 E5 02 EA 94"},
        {"Confirmation", "11 67 02 FD FF 00 E7 2A", "11 67 02 FD FF 00 E7 2A"},
        {"ConfirmationOfSomethingElse", "11 67 02 FD FF 01 26 EA", "11 E7 03 2A 34"},
        {"RegisterByItsOtherCode", "11 6C 00 6C 01 02 D3 1F", "11 6C 00 6C 01 02 D3 1F"},
        {"RegisterByItsOtherCodeThatIsNotThere", "11 6C 00 01 01 02 42 C2", "11 EC 02 EC C4"},
        {"UnknownFunction", "11 2B 0E 01 00 B1 B4", "11 AB 01 9F 35"},
        {"FunctionAboveTheExceptionFlag", "11 83 02 C1 34", "11 83 01 81 35"},
        {"CutRequestWithRightCheckSum", "11 03 00 6B B4 F7", "11 83 03 00 F4"},
        {"OverlongRequestWithRightCheckSum", "11 03 00 6B 00 01 00 07 86", "11 83 03 00 F4"},
        {"AnotherServer", "13 03 00 6B 00 03 77 65", ""},
        {"BroadcastRead", "00 03 00 6B 00 03 75 C6", ""},
        {"BroadcastWrite", "00 06 00 6B 00 03 B9 C6", ""},
        {"WrongCheckSum", "11 03 00 6B 00 03 76 00", ""},
        {"NothingAtAll", "", ""},
        {"AddressAlone", "11", ""},
        {"RightCheckSumOfNothing", "FF FF", ""},
        {"AddressAndItsCheckSum", "11 7F 4C", ""},
    }),
    [](const auto& test) { return std::string(test.param.Name); });

struct TWrite {
  const char* Name;
  const char* Request;
  const char* Question;
  const char* Answer;
};

TEST_F(ASimulator, ShowsWhatWasWritten) {
  const TWrite writes[] = {
      {"CoilOn", "11 05 00 14 FF 00 CE AE", "11 01 00 13 00 04 CE 9C", "11 01 01 0F 15 4C"},
      {"CoilOff", "11 05 00 13 00 00 3E 9F", "11 01 00 13 00 04 CE 9C", "11 01 01 0C 55 4D"},
      {"Register", "11 06 00 6C 12 34 46 30", "11 03 00 6B 00 03 76 87",
       "11 03 06 02 2B 12 34 00 64 8C 0C"},
      {"RegisterByItsOtherCode", "11 6C 00 6C 01 02 D3 1F", "11 03 00 6B 00 03 76 87",
       "11 03 06 02 2B 01 02 00 64 68 86"},
      {"SeveralCoils", "11 0F 00 13 00 03 01 0A 8B 9F", "11 01 00 13 00 08 CE 99",
       "11 01 01 CA D5 1F"},
      {"SeveralRegisters", "11 10 00 6C 00 02 04 00 0A 01 02 01 41", "11 03 00 6B 00 03 76 87",
       "11 03 06 02 2B 00 0A 01 02 69 02"},
      {"RefusedRegisters", "11 10 00 6D 00 02 04 00 0A 01 02 C0 8D", "11 03 00 6B 00 03 76 87",
       "11 03 06 02 2B 00 00 00 64 C8 BA"},
      {"PagedWrite", "11 65 00 01 01 02 11 22 A4 78", "11 43 00 01 00 04 16 96",
       "11 43 00 01 00 04 A0 11 22 A3 CE B8"},
      {"PagedWriteByItsOtherCode", "11 66 01 FF FF 01 33 6F A6", "11 44 01 FF FE 02 03 38",
       "11 44 01 FF FE 02 B0 33 34 F7"},
      {"Broadcast", "00 06 00 6C 12 34 45 71", "11 03 00 6B 00 03 76 87",
       "11 03 06 02 2B 12 34 00 64 8C 0C"},
      {"WriteToAnotherServer", "13 06 00 6C 12 34 47 D2", "11 03 00 6B 00 03 76 87",
       "11 03 06 02 2B 00 00 00 64 C8 BA"},
  };
  for (const TWrite& write : writes) {
    SCOPED_TRACE(write.Name);
    FillDevices(fSimulator);
    Answer(write.Request);
    EXPECT_EQ(Answer(write.Question), write.Answer);
  }
}

constexpr char kQuestion[] = "11 03 00 6B 00 01 F7 46";
constexpr char kReply[] = "11 03 02 02 2B 38 F8";
constexpr char kInputQuestion[] = "11 04 00 08 00 01 B2 98";
constexpr char kInputReply[] = "11 04 02 00 0A F8 F4";
constexpr char kBroadcast[] = "00 06 00 6B 00 01 38 07";  // 1 to holding register 6B

TEST_F(ASimulator, ExecutesABroadcastOnEveryDevice) {
  fSimulator.Device(0x12).Holding.Set(0x6B, {9});
  EXPECT_EQ(Answer(kBroadcast), "");
  EXPECT_EQ(fSimulator.Device(0x11).Holding.Get(0x6B), 1U);
  EXPECT_EQ(fSimulator.Device(0x12).Holding.Get(0x6B), 1U);
}

TEST_F(ASimulator, CountsWholeRequestsForItsDevices) {
  Answer(kQuestion);
  Answer(kBroadcast);
  Answer("11 2B 0E 01 00 B1 B4");     // refused, yet a request
  Answer("13 03 00 6B 00 01 F6 A4");  // another server's
  Answer("11 03 00 6B 00 01 F7 FF");  // wrong check sum
  EXPECT_EQ(fSimulator.RequestCount(), 3U);
}

struct TJournalCase {
  const char* Name;
  const char* Frame;
  std::vector<TFaultRule> Faults;
  const char* Entry;  // address: request -> reply; empty: none
};

std::string TextOf(const std::vector<TJournalEntry>& journal) {
  std::string text;
  for (const TJournalEntry& entry : journal) {
    text += ToHex(Bytes{entry.Address}) + ": " + ToHex(entry.Request) + " -> " + ToHex(entry.Reply);
    if (entry.Fault != EFault::None) text += " " + std::string(FaultName(entry.Fault));
    text += "\n";
  }
  return text;
}

TEST_F(ASimulator, KeepsAJournalOfWhatWasForItsDevices) {
  const TJournalCase cases[] = {
      {"Read", kQuestion, {}, "11: 03 00 6B 00 01 -> 03 02 02 2B\n"},
      {"Write", "11 06 00 6B 12 34 F7 F1", {}, "11: 06 00 6B 12 34 -> 06 00 6B 12 34\n"},
      {"Refused", "11 2B 0E 01 00 B1 B4", {}, "11: 2B 0E 01 00 -> AB 01\n"},
      {"FunctionCodeAlone", "12 11 CD 1C", {}, "12: 11 -> 91 01\n"},
      {"Broadcast", kBroadcast, {}, "00: 06 00 6B 00 01 -> \n"},
      {"Silence", kQuestion, {{.Fault = EFault::Silence}}, "11: 03 00 6B 00 01 ->  silence\n"},
      {"Exception",
       kQuestion,
       {{.Fault = EFault::Exception}},
       "11: 03 00 6B 00 01 -> 83 04 exception\n"},
      {"ReplyOfWrongCheckSum",
       kQuestion,
       {{.Fault = EFault::WrongCheckSum}},
       "11: 03 00 6B 00 01 -> 03 02 02 2B checksum\n"},
      {"AnotherServer", "13 03 00 6B 00 01 F6 A4", {}, ""},
      {"WrongCheckSum", "11 03 00 6B 00 01 F7 FF", {}, ""},
  };
  fSimulator.KeepsJournal = true;
  for (const TJournalCase& one : cases) {
    SCOPED_TRACE(one.Name);
    FillDevices(fSimulator);
    fSimulator.Journal.clear();
    fSimulator.Faults = one.Faults;
    Answer(one.Frame);
    EXPECT_EQ(TextOf(fSimulator.Journal), one.Entry);
  }
}

TEST_F(ASimulator, JournalIsInTheOrderOfTheRequests) {
  fSimulator.KeepsJournal = true;
  for (const char* frame : {kInputQuestion, kBroadcast, kQuestion}) Answer(frame);
  EXPECT_EQ(TextOf(fSimulator.Journal),
            "11: 04 00 08 00 01 -> 04 02 00 0A\n"
            "00: 06 00 6B 00 01 -> \n"
            "11: 03 00 6B 00 01 -> 03 02 00 01\n");
}

TEST_F(ASimulator, KeepsNoJournalUnlessAsked) {
  EXPECT_EQ(Answer(kQuestion), kReply);
  EXPECT_TRUE(fSimulator.Journal.empty());
}

TEST_F(ASimulator, TellsOfEveryRequestWhatBefellIt) {
  std::vector<TJournalEntry> entries;
  fSimulator.OnRequest = [&](const TJournalEntry& entry) { entries.push_back(entry); };
  fSimulator.Faults = {{.First = 2, .Last = 2, .Fault = EFault::Cut}};
  for (const char* frame : {kQuestion, kInputQuestion, kBroadcast}) Answer(frame);
  EXPECT_EQ(TextOf(entries),
            "11: 03 00 6B 00 01 -> 03 02 02 2B\n"
            "11: 04 00 08 00 01 -> 04 02 00 0A cut\n"
            "00: 06 00 6B 00 01 -> \n");
  EXPECT_EQ(fSimulator.FaultCount(EFault::None), 2U);
  EXPECT_EQ(fSimulator.FaultCount(EFault::Cut), 1U);
  EXPECT_EQ(fSimulator.FaultCount(EFault::HangUp), 0U);
}

TEST_F(ASimulator, TakesTheTimeFromItsClock) {
  double now = 1;
  fSimulator.Clock = [&now] { return now; };
  fSimulator.Device(0x11).Input.SetFormula(
      8, 1, [](std::uint32_t, double seconds) { return static_cast<std::uint32_t>(seconds); });
  EXPECT_EQ(Answer(kInputQuestion), "11 04 02 00 01 B9 33");
  now = 2;
  EXPECT_EQ(Answer(kInputQuestion), "11 04 02 00 02 F9 32");
}

TEST_F(ASimulator, OwnClockGoesForward) {
  const double begin = fSimulator.Clock();
  EXPECT_GE(begin, 0);
  EXPECT_GE(fSimulator.Clock(), begin);
}

TEST_F(ASimulator, RefusesAddressesThatNoServerHas) {
  EXPECT_THROW(fSimulator.Device(0), EArgumentOutOfRangeException);
  EXPECT_THROW(fSimulator.Device(248), EArgumentOutOfRangeException);
  EXPECT_NO_THROW(fSimulator.Device(247));
}

TEST_F(ASimulator, SilenceExecutesWithoutAReply) {
  fSimulator.Faults = {{.Fault = EFault::Silence}};
  EXPECT_EQ(Answer("11 06 00 6B 12 34 F7 F1"), "");
  EXPECT_EQ(fSimulator.Device(0x11).Holding.Get(0x6B), 0x1234U);
}

TEST_F(ASimulator, ExceptionDoesNotExecute) {
  fSimulator.Faults = {{.Fault = EFault::Exception, .ExceptionCode = 6}};
  EXPECT_EQ(Answer("11 06 00 6B 12 34 F7 F1"), "11 86 06 C3 A7");
  EXPECT_EQ(fSimulator.Device(0x11).Holding.Get(0x6B), 0x022BU);
}

TEST_F(ASimulator, WrongCheckSumSpoilsTheReplyAlone) {
  fSimulator.Faults = {{.Fault = EFault::WrongCheckSum}};
  EXPECT_EQ(Answer(kQuestion), "11 03 02 02 2B 38 07");
}

TEST_F(ASimulator, FaultBefallsOneFunction) {
  fSimulator.Faults = {{.Function = 0x03}};
  EXPECT_EQ(Answer(kQuestion), "");
  EXPECT_EQ(Answer(kInputQuestion), kInputReply);
}

TEST_F(ASimulator, FaultBefallsOneServer) {
  fSimulator.Faults = {{.Address = 0x11}};
  fSimulator.Device(0x12).Holding.Set(0x6B, {1});
  EXPECT_EQ(Answer(kQuestion), "");
  EXPECT_EQ(Answer("12 03 00 6B 00 01 F7 75"), "12 03 02 00 01 FC 47");
}

TEST_F(ASimulator, FaultBefallsBroadcasts) {
  fSimulator.Faults = {{.Address = 0, .Fault = EFault::Exception}};
  EXPECT_EQ(Answer(kBroadcast), "");
  EXPECT_EQ(fSimulator.Device(0x11).Holding.Get(0x6B), 0x022BU);
}

TEST_F(ASimulator, FaultsFollowAScriptOfRequestNumbers) {
  fSimulator.Faults = {{.First = 2, .Last = 2},
                       {.First = 3, .Last = 4, .Fault = EFault::Exception}};
  const std::string failure = "11 83 04 41 36";
  const std::string replies[] = {kReply, "", failure, failure, kReply};
  for (const std::string& reply : replies) {
    SCOPED_TRACE(fSimulator.RequestCount());
    EXPECT_EQ(Answer(kQuestion), reply);
  }
}

TEST_F(ASimulator, FirstFaultThatFitsCounts) {
  fSimulator.Faults = {{.Function = 0x03, .Fault = EFault::None}, {.Fault = EFault::Silence}};
  EXPECT_EQ(Answer(kQuestion), kReply);
  EXPECT_EQ(Answer(kInputQuestion), "");
}

// The names of what befell so many reads.
std::string Befallen(TSimulator& simulator, int count) {
  std::string names;
  simulator.OnRequest = [&](const TJournalEntry& entry) {
    names += std::string(FaultName(entry.Fault)) + " ";
  };
  for (int i = 0; i < count; ++i) simulator.Answer(FromHex(kQuestion));
  simulator.OnRequest = {};
  return names;
}

TEST_F(ASimulator, SameSeedGivesTheSameFaults) {
  fSimulator.Faults = {{.Fault = EFault::Silence, .Probability = 0.2},
                       {.Fault = EFault::Noise, .Probability = 0.2}};
  const std::string first = Befallen(fSimulator, 50);
  const std::string second = Befallen(fSimulator, 50);
  EXPECT_NE(first, second);
  fSimulator.SetSeed(1);
  EXPECT_EQ(Befallen(fSimulator, 50), first);
  EXPECT_EQ(Befallen(fSimulator, 50), second);
  fSimulator.SetSeed(2);
  EXPECT_NE(Befallen(fSimulator, 50), first);
}

TEST_F(ASimulator, FaultsBefallAsManyAsTheirProbabilityTells) {
  fSimulator.Faults = {{.Fault = EFault::Silence, .Probability = 0},
                       {.Fault = EFault::Echo, .Probability = 0.05},
                       {.Fault = EFault::Twice, .Probability = 0.5}};
  Befallen(fSimulator, 10'000);
  EXPECT_EQ(fSimulator.FaultCount(EFault::Silence), 0U);
  EXPECT_NEAR(static_cast<double>(fSimulator.FaultCount(EFault::Echo)), 500, 100);
  EXPECT_NEAR(static_cast<double>(fSimulator.FaultCount(EFault::Twice)), 4750, 200);
}

TEST_F(ASimulator, AProbabilityIsOfTheRequestsThatFit) {
  fSimulator.Faults = {{.Function = 0x04, .Fault = EFault::Silence, .Probability = 1},
                       {.Fault = EFault::Silence, .Probability = 0}};
  EXPECT_EQ(Answer(kQuestion), kReply);
  EXPECT_EQ(Answer(kInputQuestion), "");
}

TEST_F(ASimulator, ExceptionCode0IsAnyOf1To11) {
  fSimulator.Faults = {{.Fault = EFault::Exception, .ExceptionCode = 0}};
  std::set<int> codes;
  for (int i = 0; i < 300; ++i) {
    codes.insert(fSimulator.Answer(FromHex(kQuestion)).AllBytes().at(2));
  }
  EXPECT_EQ(codes, (std::set<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST_F(ASimulator, HangsUpAfterABroadcastToo) {
  fSimulator.Faults = {{.Fault = EFault::HangUp}};
  const TSimulatedReply reply = fSimulator.Answer(FromHex(kBroadcast));
  EXPECT_TRUE(reply.Pieces.empty());
  EXPECT_TRUE(reply.HangUp);
}

TEST_F(ASimulator, TellsTheSizeOfARequestFrame) {
  EXPECT_EQ(TSimulator::RequestSize(FromHex("11")), 4U);
  EXPECT_EQ(TSimulator::RequestSize(FromHex("11 03 00 6B")), 8U);
  EXPECT_EQ(TSimulator::RequestSize(FromHex("11 11 CD EC")), 4U);
  EXPECT_EQ(TSimulator::RequestSize(FromHex("11 10 00 00 00 02 04")), 13U);
  EXPECT_EQ(TSimulator::RequestSize(FromHex("11 2B 0E 01")), 0U);
}

}  // namespace
}  // namespace OrvixModBus
