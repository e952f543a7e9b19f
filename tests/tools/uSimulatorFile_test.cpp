#include "tools/simulator/uSimulatorFile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "platform/rtl/uException.h"
#include "tests/rtl/uTempFolder.h"
#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

TSimulator Read(std::string_view text) { return ReadSimulatorText(text, "plant.json"); }

// A file whose only server holds this.
TSimulator ReadServer(const std::string& members) {
  return Read(R"({"servers": [{"address": 5, )" + members + "}]}");
}

TEST(SimulatorFile, FillsTheTables) {
  TSimulator simulator = ReadServer(R"(
    "coils": {"0": [1, 0, 1]}, "discrete": {"7": [1]}, "holding": {"100": [1, 65535]},
    "input": {"0x20": [3], "$30": [4]}, "extended": {"1": [4294967295]},
    "paged": {"0x10000": "00 11 fF"})");
  TSimulatedDevice& device = simulator.Device(5);
  EXPECT_TRUE(device.Coils.Has(0, 3) && !device.Coils.Has(3, 1));
  EXPECT_EQ(device.Coils.Get(2), 1U);
  EXPECT_EQ(device.Discrete.Get(7), 1U);
  EXPECT_EQ(device.Holding.Get(101), 65535U);
  EXPECT_EQ(device.Input.Get(0x20), 3U);
  EXPECT_EQ(device.Input.Get(0x30), 4U);
  EXPECT_EQ(device.Extended.Get(1), 4294967295U);
  EXPECT_EQ(device.Paged.Get(0x10001), 0x11U);
  EXPECT_EQ(device.Paged.Get(0x10002), 0xFFU);
  EXPECT_FALSE(device.Identity);
}

TEST(SimulatorFile, MakesAServerOfItsAddressAlone) {
  EXPECT_FALSE(Read(R"({"servers": [{"address": 247}]})").Device(247).Coils.Has(0, 1));
}

TEST(SimulatorFile, FillsByFormulas) {
  TSimulator simulator = ReadServer(R"("holding": {
    "0": {"count": 2, "formula": "constant", "value": 7},
    "10": {"count": 3, "formula": "ramp", "from": 5, "step": -1},
    "20": {"count": 1, "formula": "counter", "from": 100, "step": 2, "period": 0.5},
    "30": {"count": 1, "formula": "sine", "low": 0, "high": 20, "period": 4},
    "40": {"count": 1, "formula": "sine", "low": 0, "high": 2000, "period": 4, "phase": 1,
           "decay": 4},
    "50": {"count": 1, "formula": "cycle", "values": [8, 9]},
    "60": {"count": 1, "formula": "cycle", "values": [8, 9], "period": 10}},
    "coils": {"0": {"count": 1, "formula": "toggle", "period": 1}})");
  const TSimulatedDevice& device = simulator.Device(5);
  EXPECT_EQ(device.Holding.Get(1, 1), 7U);
  EXPECT_EQ(device.Holding.Get(12, 1), 3U);
  EXPECT_EQ(device.Holding.Get(20, 1), 104U);
  EXPECT_EQ(device.Holding.Get(30, 1), 20U);
  EXPECT_EQ(device.Holding.Get(40, 0), 2000U);
  EXPECT_EQ(device.Holding.Get(40, 4), 1368U);
  EXPECT_EQ(device.Holding.Get(50, 1), 9U);
  EXPECT_EQ(device.Holding.Get(60, 9), 8U);
  EXPECT_EQ(device.Holding.Get(60, 10), 9U);
  EXPECT_EQ(device.Coils.Get(0, 1), 1U);
  EXPECT_FALSE(device.Holding.Has(0, 3));
}

TEST(SimulatorFile, ReadsTheIdentity) {
  TSimulator simulator =
      ReadServer(R"("identity": {"id": "0A0B", "text": "Насос", "running": false})");
  const auto& identity = simulator.Device(5).Identity;
  ASSERT_TRUE(identity);
  EXPECT_EQ(identity->ServerId, (Bytes{0x0A, 0x0B}));
  EXPECT_EQ(identity->Text, "Насос");
  EXPECT_FALSE(identity->Running);
}

TEST(SimulatorFile, ReadsTheFiles) {
  TSimulator simulator = ReadServer(R"("files": {
    "5": {"0": "00 01 fF 03", "$10": "", "65535": "AABB"}, "0xFFFF": {}})");
  const auto& files = simulator.Device(5).Files;
  ASSERT_EQ(files.size(), 2U);
  const std::map<std::uint16_t, Bytes> records = {
      {0, {0x00, 0x01, 0xFF, 0x03}}, {0x10, {}}, {65535, {0xAA, 0xBB}}};
  EXPECT_EQ(files.at(5).Records, records);
  EXPECT_TRUE(files.at(0xFFFF).Records.empty());
}

TEST(SimulatorFile, ReadsTheLogs) {
  TSimulator simulator = ReadServer(R"("logs": {
    "$20": {"total": 1200, "records": 3, "format": [
      {"size": 4, "formula": "ramp", "from": 1700000000, "step": 60},
      {"size": 2, "formula": "sine", "low": -256, "high": 256, "period": 4, "order": "little"},
      {"size": 2, "formula": "constant", "value": -2, "order": "big"},
      {"size": 1, "formula": "cycle", "values": [1, 2, 5]},
      {"size": 4, "text": "Öl"}]},
    "36": {"records": ["0102", "03 04 05"]}})");
  const auto& logs = simulator.Device(5).Logs;
  ASSERT_EQ(logs.size(), 2U);
  EXPECT_EQ(logs.at(0x20).Total, 1200);
  const std::vector<Bytes> formed{FromHex("65 53 F1 00 00 00 FF FE 01 C3 96 6C 20"),
                                  FromHex("65 53 F1 3C 00 01 FF FE 02 C3 96 6C 20"),
                                  FromHex("65 53 F1 78 00 00 FF FE 05 C3 96 6C 20")};
  EXPECT_EQ(logs.at(0x20).Records, formed);
  EXPECT_EQ(logs.at(0x24).Total, std::nullopt);
  EXPECT_EQ(logs.at(0x24).Records, (std::vector<Bytes>{{1, 2}, {3, 4, 5}}));
}

TEST(SimulatorFile, ReadsTheOscillograms) {
  TSimulator simulator = ReadServer(R"("oscillograms": {"total": 9,
    "1": {"info": "00 C8", "records": 2, "format": [
      {"size": 2, "formula": "sine", "low": -900, "high": 900, "period": 4, "decay": 1}]},
    "0xFF": {"info": [{"size": 2, "formula": "ramp", "from": 7, "step": 1},
                      {"size": 1, "text": "A"}], "records": []}})");
  const TSimulatedDevice& device = simulator.Device(5);
  EXPECT_EQ(device.OscillogramTotal, 9);
  ASSERT_EQ(device.Oscillograms.size(), 2U);
  EXPECT_EQ(ToHex(device.Oscillograms.at(1).Info), "00 C8");
  EXPECT_EQ(device.Oscillograms.at(1).Records, (std::vector<Bytes>{{0, 0}, {0x01, 0x4B}}));
  EXPECT_EQ(ToHex(device.Oscillograms.at(255).Info), "00 07 41");
  EXPECT_TRUE(device.Oscillograms.at(255).Records.empty());
}

TEST(SimulatorFile, LongestRecordsFitAReply) {
  TSimulator simulator = ReadServer(R"(
    "logs": {"0x20": {"records": 1, "format": [{"size": 252, "text": ""}]},
             "0x24": {"records": 0, "format": [{"size": 1, "text": "x"}]}},
    "oscillograms": {"1": {"info": [{"size": 252, "text": ""}], "records": 65535,
      "format": [{"size": 248, "text": ""}]}})");
  TSimulatedDevice& device = simulator.Device(5);
  EXPECT_EQ(device.Answer(FromHex("20 00 01 00 01"), 0).size(), 253U);
  EXPECT_EQ(ToHex(device.Answer(FromHex("24 00 00 00 00"), 0)), "24 00 00 00 00");
  EXPECT_EQ(device.Answer(FromHex("41 00 01 00 00"), 0).size(), 253U);
  EXPECT_EQ(device.Answer(FromHex("41 01 01 FF FF"), 0).size(), 253U);
}

TEST(SimulatorFile, ReadsTheFaults) {
  const TSimulator simulator = Read(R"({"servers": [], "faults": [
    {"address": 1, "function": 3, "requests": [5, 8], "fault": "silence"},
    {"fault": "exception", "code": 6}, {"fault": "checksum"}]})");
  ASSERT_EQ(simulator.Faults.size(), 3U);
  const TFaultRule& silence = simulator.Faults[0];
  EXPECT_EQ(silence.Address, 1);
  EXPECT_EQ(silence.Function, 3);
  EXPECT_EQ(silence.First, 5U);
  EXPECT_EQ(silence.Last, 8U);
  EXPECT_EQ(silence.Fault, EFault::Silence);
  EXPECT_EQ(simulator.Faults[1].Fault, EFault::Exception);
  EXPECT_EQ(simulator.Faults[1].ExceptionCode, 6);
  EXPECT_FALSE(simulator.Faults[1].Address);
  EXPECT_EQ(simulator.Faults[2].Fault, EFault::WrongCheckSum);
}

// A file with one fault that has these members.
TFaultRule ReadFault(const std::string& members) {
  return Read(R"({"servers": [], "faults": [{)" + members + "}]}").Faults.at(0);
}

TEST(SimulatorFile, ReadsTheParametersOfFaults) {
  using namespace std::chrono_literals;
  EXPECT_EQ(ReadFault(R"("fault": "late", "delay": 1.5)").Delay, 1500us);
  EXPECT_EQ(ReadFault(R"("fault": "late")").Delay, std::nullopt);
  EXPECT_EQ(ReadFault(R"("fault": "hangup", "duration": 3600000)").Duration, 1h);
  EXPECT_EQ(ReadFault(R"("fault": "cut", "at": 0)").Position, 0U);
  EXPECT_EQ(ReadFault(R"("fault": "noise", "count": 4096)").Count, 4096U);
  EXPECT_FALSE(ReadFault(R"("fault": "echo", "reply": false)").Reply);
  EXPECT_TRUE(ReadFault(R"("fault": "echo")").Reply);
  EXPECT_EQ(ReadFault(R"("fault": "exception", "code": 0)").ExceptionCode, 0);
  EXPECT_EQ(ReadFault(R"("fault": "exception")").ExceptionCode, 4);
  EXPECT_EQ(ReadFault(R"("fault": "twice", "probability": 0.05)").Probability, 0.05);
  EXPECT_EQ(ReadFault(R"("fault": "twice")").Probability, 1);
}

TEST(SimulatorFile, KnowsAndTellsOfEveryFault) {
  for (const TFaultForm& form : FaultForms()) {
    const std::string name(form.Name);
    SCOPED_TRACE(name);
    EXPECT_EQ(ReadFault("\"fault\": \"" + name + "\"").Fault, form.Fault);
    EXPECT_NE(kSimulatorFileForm.find("{\"fault\": \"" + name + "\"}"), std::string_view::npos);
  }
}

TEST(SimulatorFile, FaultsHaveTheirOwnParametersAlone) {
  const std::pair<unsigned, std::string> parameters[] = {
      {fpDelay, R"("delay": 1)"}, {fpDuration, R"("duration": 1)"}, {fpPosition, R"("at": 1)"},
      {fpCount, R"("count": 1)"}, {fpReply, R"("reply": true)"},    {fpCode, R"("code": 1)"}};
  for (const TFaultForm& form : FaultForms()) {
    for (const auto& [bit, text] : parameters) {
      const std::string members = "\"fault\": \"" + std::string(form.Name) + "\", " + text;
      SCOPED_TRACE(members);
      const bool has = (form.Parameters & bit) != 0;
      if (has) {
        EXPECT_NO_THROW(ReadFault(members));
      } else {
        EXPECT_THROW(ReadFault(members), Exception);
      }
    }
  }
}

TEST(SimulatorFile, SeedsTheFaults) {
  const auto numbers = [](const std::string& seed) {
    TSimulator simulator = Read(R"({"servers": [{"address": 17, "holding": {"0": [1]}}], )" + seed +
                                R"("faults": [{"fault": "silence", "probability": 0.5}]})");
    std::string silent;
    for (int i = 0; i < 64; ++i) {
      silent += simulator.Answer(FromHex("11 03 00 00 00 01 86 9A")).Pieces.empty() ? '1' : '0';
    }
    return silent;
  };
  EXPECT_EQ(numbers(R"("seed": 18446744073709551615, )"),
            numbers(R"("seed": 18446744073709551615, )"));
  EXPECT_NE(numbers(R"("seed": 7, )"), numbers(R"("seed": 8, )"));
  EXPECT_EQ(numbers(""), numbers(R"("seed": 1, )"));
}

TEST(SimulatorFile, LastAddressesCanBeFilled) {
  TSimulator simulator = ReadServer(R"("holding": {"65534": [1, 2]},
    "paged": {"0xFFFFFF": "AA"}, "input": {"65535": {"count": 1, "formula": "ramp",
    "from": 1, "step": 0}})");
  EXPECT_EQ(simulator.Device(5).Holding.Get(65535), 2U);
  EXPECT_EQ(simulator.Device(5).Paged.Get(0xFFFFFF), 0xAAU);
  EXPECT_EQ(simulator.Device(5).Input.Get(65535), 1U);
}

struct TMistake {
  const char* Text;
  const char* Message;
};

template <typename TReader>
void ExpectMessage(const TReader& read, const std::string& message) {
  try {
    read();
    ADD_FAILURE() << "accepted";
  } catch (const Exception& error) {
    EXPECT_EQ(error.what(), message);
  }
}

TEST(SimulatorFile, NamesFileAndPlaceOfAMistake) {
  const TMistake mistakes[] = {
      {"[]", "plant.json: must be an object"},
      {"{}", "plant.json: lacks \"servers\""},
      {R"({"servers": [], "server": []})", "plant.json: can't have \"server\""},
      {R"({"servers": {}})", "plant.json:/servers must be a list"},
      {R"({"servers": [1]})", "plant.json:/servers/0 must be an object"},
      {R"({"servers": [{}]})", "plant.json:/servers/0 lacks \"address\""},
      {R"({"servers": [{"address": 0}]})", "plant.json:/servers/0/address must be 1 to 247"},
      {R"({"servers": [{"address": "1"}]})", "plant.json:/servers/0/address must be 1 to 247"},
      {R"({"servers": [{"address": 1}, {"address": 1}]})",
       "plant.json:/servers/1/address is there twice"},
      {R"({"servers": [], "faults": [{"fault": "flood"}]})",
       "plant.json:/faults/0/fault is no known fault"},
      {R"({"servers": [], "faults": [{}]})", "plant.json:/faults/0 lacks \"fault\""},
      {R"({"servers": [], "faults": [{"fault": "silence", "requests": [2]}]})",
       "plant.json:/faults/0/requests must be the first and the last number"},
      {R"({"servers": [], "faults": [{"fault": "silence", "requests": [2, 1]}]})",
       "plant.json:/faults/0/requests/1 must be 2 to 18446744073709551615"},
      {R"({"servers": [], "faults": [{"fault": "exception", "code": 256}]})",
       "plant.json:/faults/0/code must be 0 to 255"},
      {R"({"servers": [], "faults": [{"fault": "silence", "code": 4}]})",
       "plant.json:/faults/0 can't have \"code\""},
      {R"({"servers": [], "faults": [{"fault": "late", "delay": -1}]})",
       "plant.json:/faults/0/delay must be 0 to 3600000"},
      {R"({"servers": [], "faults": [{"fault": "late", "delay": "1 s"}]})",
       "plant.json:/faults/0/delay must be a number"},
      {R"({"servers": [], "faults": [{"fault": "hangup", "duration": 3600001}]})",
       "plant.json:/faults/0/duration must be 0 to 3600000"},
      {R"({"servers": [], "faults": [{"fault": "noise", "count": 0}]})",
       "plant.json:/faults/0/count must be 1 to 4096"},
      {R"({"servers": [], "faults": [{"fault": "cut", "at": 4097}]})",
       "plant.json:/faults/0/at must be 0 to 4096"},
      {R"({"servers": [], "faults": [{"fault": "echo", "reply": 0}]})",
       "plant.json:/faults/0/reply must be true or false"},
      {R"({"servers": [], "faults": [{"fault": "bit", "probability": 1.5}]})",
       "plant.json:/faults/0/probability must be 0 to 1"},
      {R"({"servers": [], "seed": -1})", "plant.json:/seed must be 0 to 18446744073709551615"},
  };
  for (const TMistake& mistake : mistakes) {
    SCOPED_TRACE(mistake.Text);
    ExpectMessage([&] { Read(mistake.Text); }, mistake.Message);
  }
}

TEST(SimulatorFile, NamesThePlaceOfAServersMistake) {
  const TMistake mistakes[] = {
      {R"("coil": {})", " can't have \"coil\""},
      {R"("coils": [])", "/coils must be an object"},
      {R"("coils": {"0": [1, 2]})", "/coils/0/1 must be 0 to 1"},
      {R"("coils": {"first": [1]})", "/coils/first must have a key of 0 to 65535"},
      {R"("coils": {"-1": [1]})", "/coils/-1 must have a key of 0 to 65535"},
      {R"("coils": {"65536": [1]})", "/coils/65536 must have a key of 0 to 65535"},
      {R"("holding": {"100": [1, 2, 65536]})", "/holding/100/2 must be 0 to 65535"},
      {R"("holding": {"100": [-1]})", "/holding/100/0 must be 0 to 65535"},
      {R"("holding": {"100": [1.5]})", "/holding/100/0 must be 0 to 65535"},
      {R"("holding": {"65535": [1, 2]})", "/holding/65535 runs past address 65535"},
      {R"("holding": {"100": 5})", "/holding/100 must be a list"},
      {R"("extended": {"1": [4294967296]})", "/extended/1/0 must be 0 to 4294967295"},
      {R"("paged": {"0": [1]})", "/paged/0 must be a text"},
      {R"("paged": {"0": "123"})", "/paged/0 must be pairs of hexadecimal digits"},
      {R"("paged": {"0": "1-"})", "/paged/0 must be pairs of hexadecimal digits"},
      {R"("paged": {"0xFFFFFF": "1122"})", "/paged/0xFFFFFF runs past address 16777215"},
      {R"("files": [])", "/files must be an object"},
      {R"("files": {"5": "00 01"})", "/files/5 must be an object"},
      {R"("files": {"65536": {}})", "/files/65536 must have a key of 0 to 65535"},
      {R"("files": {"5": {"one": "00 01"}})", "/files/5/one must have a key of 0 to 65535"},
      {R"("files": {"5": {"0": [1]}})", "/files/5/0 must be a text"},
      {R"("files": {"5": {"0": "001"}})", "/files/5/0 must be pairs of hexadecimal digits"},
      {R"("files": {"5": {"0": "00 01 02"}})", "/files/5/0 must be whole registers of two bytes"},
      {R"("identity": {"name": "x"})", "/identity can't have \"name\""},
      {R"("identity": {"text": 1})", "/identity/text must be a text"},
      {R"("identity": {"running": 1})", "/identity/running must be true or false"},
      {R"("input": {"9": {"formula": "ramp"}})", "/input/9 lacks \"count\""},
      {R"("input": {"9": {"count": 0, "formula": "ramp"}})", "/input/9/count must be 1 to 65527"},
      {R"("input": {"9": {"count": 1}})", "/input/9 lacks \"formula\""},
      {R"("input": {"9": {"count": 1, "formula": "cosine"}})",
       "/input/9/formula is no known formula"},
      {R"("input": {"9": {"count": 1, "formula": "ramp", "from": 1}})", "/input/9 lacks \"step\""},
      {R"("input": {"9": {"count": 1, "formula": "ramp", "from": 1, "step": "1"}})",
       "/input/9/step must be a number"},
      {R"("input": {"9": {"count": 1, "formula": "constant", "value": 1, "step": 1}})",
       "/input/9 can't have \"step\""},
      {R"("input": {"9": {"count": 1, "formula": "toggle", "period": 0}})",
       "/input/9 is wrong: A period must be above 0"},
      {R"("input": {"9": {"count": 1, "formula": "sine", "low": 1, "high": 2, "period": 1,
          "decay": 0}})",
       "/input/9 is wrong: A decay must be above 0"},
      {R"("input": {"9": {"count": 1, "formula": "cycle", "values": []}})",
       "/input/9 is wrong: A cycle must have values"},
      {R"("input": {"9": {"count": 1, "formula": "cycle", "values": [1, "2"]}})",
       "/input/9/values/1 must be a number"},
      {R"("input": {"9": {"count": 1, "formula": "cycle", "values": [1], "size": 1}})",
       "/input/9 can't have \"size\""},
  };
  for (const TMistake& mistake : mistakes) {
    SCOPED_TRACE(mistake.Text);
    ExpectMessage([&] { ReadServer(mistake.Text); },
                  std::string("plant.json:/servers/0") + mistake.Message);
  }
}

TEST(SimulatorFile, NamesThePlaceOfALogsMistake) {
  const TMistake mistakes[] = {
      {R"("logs": [])", "/logs must be an object"},
      {R"("logs": {"0x21": {"records": []}})", "/logs/0x21 must have a key of 0x20 or 0x24"},
      {R"("logs": {"0x120": {"records": []}})", "/logs/0x120 must have a key of 0 to 255"},
      {R"("logs": {"32": []})", "/logs/32 must be an object"},
      {R"("logs": {"32": {}})", "/logs/32 lacks \"records\""},
      {R"("logs": {"32": {"records": [], "size": 8}})", "/logs/32 can't have \"size\""},
      {R"("logs": {"32": {"records": [], "total": 65536}})", "/logs/32/total must be 0 to 65535"},
      {R"("logs": {"32": {"records": 5}})", "/logs/32/records must be a list"},
      {R"("logs": {"32": {"records": ["00", 1]}})", "/logs/32/records/1 must be a text"},
      {R"("logs": {"32": {"records": ["00", ""]}})", "/logs/32/records/1 must be 1 to 252 bytes"},
      {R"("logs": {"32": {"records": ["00"], "format": []}})",
       "/logs/32/records must be 0 to 65535"},
      {R"("logs": {"32": {"records": 65536, "format": []}})",
       "/logs/32/records must be 0 to 65535"},
      {R"("logs": {"32": {"records": 1, "format": {}}})", "/logs/32/format must be a list"},
      {R"("logs": {"32": {"records": 0, "format": []}})", "/logs/32/format must be 1 to 252 bytes"},
      {R"("logs": {"32": {"records": 1, "format": [{"size": 252, "text": ""},
          {"size": 1, "text": ""}]}})",
       "/logs/32/format must be 1 to 252 bytes"},
      {R"("oscillograms": [])", "/oscillograms must be an object"},
      {R"("oscillograms": {"total": -1})", "/oscillograms/total must be 0 to 65535"},
      {R"("oscillograms": {"0": {}})", "/oscillograms/0 must have a key of 1 to 255"},
      {R"("oscillograms": {"256": {}})", "/oscillograms/256 must have a key of 1 to 255"},
      {R"("oscillograms": {"1": {"records": []}})", "/oscillograms/1 lacks \"info\""},
      {R"("oscillograms": {"1": {"info": "00"}})", "/oscillograms/1 lacks \"records\""},
      {R"("oscillograms": {"1": {"info": "00", "records": [], "total": 1}})",
       "/oscillograms/1 can't have \"total\""},
      {R"("oscillograms": {"1": {"info": "", "records": []}})",
       "/oscillograms/1/info must be 1 to 252 bytes"},
      {R"("oscillograms": {"1": {"info": [{"size": 1}], "records": []}})",
       "/oscillograms/1/info/0 lacks \"formula\""},
      {R"("oscillograms": {"1": {"info": 7, "records": []}})",
       "/oscillograms/1/info must be a text"},
      {R"("oscillograms": {"1": {"info": "00", "records": 1,
          "format": [{"size": 249, "text": ""}]}})",
       "/oscillograms/1/format/0/size must be 1 to 248"},
      {R"("oscillograms": {"1": {"info": "00", "records": 1,
          "format": [{"size": 248, "text": ""}, {"size": 1, "text": ""}]}})",
       "/oscillograms/1/format must be 1 to 248 bytes"},
  };
  for (const TMistake& mistake : mistakes) {
    SCOPED_TRACE(mistake.Text);
    ExpectMessage([&] { ReadServer(mistake.Text); },
                  std::string("plant.json:/servers/0") + mistake.Message);
  }
}

TEST(SimulatorFile, NamesThePlaceOfAFieldsMistake) {
  const TMistake mistakes[] = {
      {R"(7)", " must be an object"},
      {R"({"formula": "constant", "value": 1})", " lacks \"size\""},
      {R"({"size": 1, "formula": "cosine"})", "/formula is no known formula"},
      {R"({"size": 0, "formula": "constant", "value": 1})", "/size must be 1 to 8"},
      {R"({"size": 9, "formula": "constant", "value": 1})", "/size must be 1 to 8"},
      {R"({"size": 1, "formula": "constant", "value": 1, "count": 1})", " can't have \"count\""},
      {R"({"size": 1, "formula": "constant", "value": 1, "order": "middle"})",
       "/order must be \"big\" or \"little\""},
      {R"({"size": 1, "formula": "constant", "value": 1, "order": 1})", "/order must be a text"},
      {R"({"size": 1, "formula": "toggle", "period": 0})", " is wrong: A period must be above 0"},
      {R"({"size": 1, "text": 1})", "/text must be a text"},
      {R"({"size": 0, "text": ""})", "/size must be 1 to 252"},
      {R"({"size": 2, "text": "ABC"})", "/text is wrong: A text is longer than its field"},
      {R"({"size": 3, "text": "ABC", "order": "big"})", " can't have \"order\""},
  };
  for (const TMistake& mistake : mistakes) {
    SCOPED_TRACE(mistake.Text);
    const std::string field(mistake.Text);
    ExpectMessage(
        [&] {
          ReadServer(R"("logs": {"32": {"records": 1, "format": [{"size": 1, "text": "x"}, )" +
                     field + "]}}");
        },
        std::string("plant.json:/servers/0/logs/32/format/1") + mistake.Message);
  }
}

TEST(SimulatorFile, NamesLineAndColumnOfBrokenJson) {
  try {
    Read("{\n  \"servers\": [,]\n}");
    ADD_FAILURE() << "accepted";
  } catch (const Exception& error) {
    EXPECT_EQ(std::string(error.what()).rfind("plant.json: line 2, column 15: ", 0), 0U)
        << error.what();
  }
}

TEST(SimulatorFile, NumbersPastAllBoundsAreRefused) {
  EXPECT_THROW(ReadServer(R"("coils": {"0": [1e999]})"), Exception);
  EXPECT_THROW(ReadServer(R"("holding": {"0": [99999999999999999999999]})"), Exception);
}

TEST(SimulatorFile, IsReadFromTheDisk) {
  const TTempFolder folder;
  const std::string path =
      folder.Write("plant.json", R"({"servers": [{"address": 9, "holding": {"1": [2]}}]})");
  EXPECT_EQ(ReadSimulatorFile(path).Device(9).Holding.Get(1), 2U);
  folder.Write("plant.json", "[]");
  ExpectMessage([&] { ReadSimulatorFile(path); }, path + ": must be an object");
}

TEST(SimulatorFile, NamesAFileThatIsNotThere) {
  ExpectMessage([] { ReadSimulatorFile("/nowhere/plant.json"); },
                "Can't read \"/nowhere/plant.json\": No such file or directory");
}

TEST(SimulatorFile, ExampleInTheHelpCanBeRead) {
  const auto begin = kSimulatorFileForm.find('{');
  const auto end = kSimulatorFileForm.find("Only");
  TSimulator simulator = Read(kSimulatorFileForm.substr(begin, end - begin));
  EXPECT_EQ(simulator.Device(1).Holding.Get(102), 3U);
  EXPECT_EQ(simulator.Device(1).Files.at(5).Records.at(0), (Bytes{0, 1, 2, 3}));
  EXPECT_EQ(simulator.Device(1).Identity->Text, "Pump");
  EXPECT_EQ(simulator.Device(1).Logs.at(0x20).Records.size(), 240U);
  EXPECT_EQ(simulator.Device(1).Oscillograms.at(1).Records.size(), 400U);
  EXPECT_EQ(simulator.Faults.size(), 3U);
}

}  // namespace
}  // namespace OrvixModBus
