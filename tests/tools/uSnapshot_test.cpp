#include "tools/orvixmb/uSnapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/rtl/uText.h"
#include "platform/rtl/uTextFile.h"
#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

TSnapshot Pumps() {
  return {"Pumps",
          "2026-07-03T12:34:56Z",
          "/dev/ttyUSB0",
          17,
          {{"T1", 7, 3, {0x01, 0x6E}, "36.6"},
           {"Режим", 0xFFFFFFFF, 0x43, {0x00, 0xAB, 0xFF}, "On||Сбой"},
           {"Nothing", 9, 3, {}, ""}}};
}

constexpr const char* kPumpsText = R"({
  "kind": "orvixmb snapshot",
  "version": 1,
  "letter": "Pumps",
  "when": "2026-07-03T12:34:56Z",
  "port": "/dev/ttyUSB0",
  "server": 17,
  "registers": [
    {
      "name": "T1",
      "adress": 7,
      "function": 3,
      "raw": "016E",
      "text": "36.6"
    },
    {
      "name": "Режим",
      "adress": 4294967295,
      "function": 67,
      "raw": "00ABFF",
      "text": "On||Сбой"
    },
    {
      "name": "Nothing",
      "adress": 9,
      "function": 3,
      "raw": "",
      "text": ""
    }
  ]
}
)";

TEST(Snapshot, IsWrittenAsPeopleCanReadIt) { EXPECT_EQ(SnapshotText(Pumps()), kPumpsText); }

TEST(Snapshot, IsReadBack) { EXPECT_EQ(ReadSnapshotText(kPumpsText, "x"), Pumps()); }

TEST(Snapshot, TellsWhatIsWrongAndWhere) {
  const struct {
    const char *Found, *Replaced, *Message;
  } cases[] = {
      {"{\n  \"kind\"", "\"kind\"", "p.json: line 1, column 7"},
      {"\"kind\": \"orvixmb snapshot\",", "", "p.json: is no \"orvixmb snapshot\""},
      {"orvixmb snapshot", "orvixmb log", "p.json: is no \"orvixmb snapshot\""},
      {"\"version\": 1", "\"version\": 2", "p.json:/version is 2, and only version 1 can be read"},
      {"\"version\": 1,", "", "p.json: lacks \"version\""},
      {"\"letter\": \"Pumps\"", "\"letter\": 5", "p.json:/letter must be a text"},
      {"2026-07-03T12:34:56Z", "2026-07-03", "p.json:/when must be like 2026-07-03T12:34:56Z"},
      {"2026-07-03T12:34:56Z", "2026-07-03T12:34:5xZ",
       "p.json:/when must be like 2026-07-03T12:34:56Z"},
      {"\"server\": 17", "\"server\": 256", "p.json:/server must be 0 to 255"},
      {"\"server\": 17", "\"serve\": 17", "p.json: can't have \"serve\""},
      {"\"adress\": 9", "\"adress\": 4294967296",
       "p.json:/registers/2/adress must be 0 to 4294967295"},
      {"\"adress\": 9", "\"address\": 9", "p.json:/registers/2 can't have \"address\""},
      {"\"function\": 67", "\"function\": -1", "p.json:/registers/1/function must be 0 to 255"},
      {"016E", "016", "p.json:/registers/0/raw must be pairs of hexadecimal digits"},
      {"\"text\": \"36.6\"", "\"text\": 36.6", "p.json:/registers/0/text must be a text"},
  };
  for (const auto& test : cases) {
    const std::string text = ReplaceAll(kPumpsText, test.Found, test.Replaced);
    ASSERT_NE(text, kPumpsText) << test.Found;
    EXPECT_THAT([&] { ReadSnapshotText(text, "p.json"); },
                ThrowsMessage<Exception>(testing::StartsWith(test.Message)));
  }
  EXPECT_THAT([] { ReadSnapshotText("[]", "p.json"); },
              ThrowsMessage<Exception>("p.json: is no \"orvixmb snapshot\""));
}

TEST(Snapshot, FileTakesThePlaceOfTheOneBefore) {
  const TTempFolder folder;
  const std::string path = folder.Write("pumps.json", "something else");
  WriteSnapshotFile(path, Pumps());
  EXPECT_EQ(ReadWholeFile(path), kPumpsText);
  EXPECT_EQ(ReadSnapshotFile(path), Pumps());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
}

TEST(Snapshot, NamesTheFileThatIsNotThere) {
  EXPECT_THAT([] { ReadSnapshotFile("/nowhere/pumps.json"); },
              ThrowsMessage<EStreamError>(HasSubstr("/nowhere/pumps.json")));
  EXPECT_THAT([] { WriteSnapshotFile("/nowhere/pumps.json", Pumps()); },
              ThrowsMessage<EStreamError>(HasSubstr("/nowhere/pumps.json")));
}

TEST(Snapshot, HasNoRegisterThatWasNotRead) {
  TRegisterRow read, failed;
  read.Name = "T1";
  read.Adress = 7;
  read.FuncRead = 3;
  read.Raw = {0x01, 0x6E};
  read.Text = "36.6";
  failed = read;
  failed.Error = "no reply";
  EXPECT_THAT(SnapshotRegisters(std::vector{failed, read}),
              ElementsAre(TSnapshotRegister{"T1", 7, 3, {0x01, 0x6E}, "36.6"}));
}

TEST(Snapshot, TimeIsUtc) {
  using std::chrono::seconds;
  EXPECT_EQ(UtcText(std::chrono::sys_seconds(seconds(0))), "1970-01-01T00:00:00Z");
  EXPECT_EQ(UtcText(std::chrono::sys_seconds(seconds(1'772'236'799))), "2026-02-27T23:59:59Z");
}

}  // namespace
}  // namespace OrvixModBus
