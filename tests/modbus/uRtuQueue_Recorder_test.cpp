// What a line tells its flight recorder, and when the recording is saved.
#include <filesystem>

#include "LineFixture.h"
#include "platform/modbus/uRecording.h"
#include "platform/rtl/uTextFile.h"
#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {
namespace {

using enum TServerReply;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kRequest[] = "03 00 64 00 01";

class TRecorder : public TLineFixture {
 public:
  TRecorder() {
    RunFor(1s);
    NoCharacters();
    Connection->SetReceiveTimeout(100);
    Connection->SetRecorderSize(0);
    Connection->SetRecorderSize(65536);  // without the settings above
  }

  // The entries as they stand in the file.
  std::string Entries() const {
    const std::string text = RecordingText(Connection->Recording());
    return text.substr(text.find("\n0.") + 1);
  }
  void SavesTo(const std::string& file) {
    Connection->SetRecordingFile(file);
    Connection->OnRecorded = [this](TModbusConnection&, const std::string& name,
                                    const std::string& failure) {
      Saved.push_back(name);
      Failures.push_back(failure);
    };
  }

  const TTempFolder Folder;
  const std::string File = Folder.File("line.orvixrec");
  std::vector<std::string> Saved, Failures;
};

TEST_F(TRecorder, AnAnsweredRequestIsFourEntries) {
  Answer({Frame("01 03 02 00 05")}, 10ms);
  Exchange(kRequest);
  EXPECT_EQ(Entries(),
            "0.000000000 queue 1 custom 01 03 00 64 00 01\n"
            "0.000000000 sent 1 0 01 03 00 64 00 01 C5 D5\n"
            "0.010000000 read 01 03 02 00 05 78 47\n"
            "0.010000000 end srNormalReply\n");
}

TEST_F(TRecorder, RetriesNoiseAndLateRepliesAreEntries) {
  Connection->SetMaxRetries(1);
  Connection->SetRecorderSize(0);
  Connection->SetRecorderSize(10000);
  Wire.OnWrite = [this, first = true](const Bytes&) mutable {
    if (first) Wire.Arrive(150ms, Frame("01 03 02 00 05"));
    first = false;
  };
  Exchange(kRequest);
  RunFor(1s);
  Wire.Arrive(0ms, Hex("FF"));
  RunFor(1s);
  Send("06 00 01 00 02");
  RunFor(1ms);
  EXPECT_EQ(Entries(),
            "0.000000000 queue 1 custom 01 03 00 64 00 01\n"
            "0.000000000 sent 1 0 01 03 00 64 00 01 C5 D5\n"
            "0.100000000 end srNone\n"
            "0.100000000 sent 1 1 01 03 00 64 00 01 C5 D5\n"
            "0.150000000 read 01 03 02 00 05 78 47\n"
            "0.150000000 end srNormalReply\n"
            "1.150000000 read FF\n"
            "2.150000000 queue 2 custom 01 06 00 01 00 02\n"
            "2.150000000 sent 2 0 01 06 00 01 00 02 59 CB\n");
}

TEST_F(TRecorder, OtherKindsOfRequestsAreToldApart) {
  TModbusFileRecordList list;
  list.Add(4, 1, 2);
  list.Add(0x1234, 0x5678, 126);
  Client->ReportServerID(nullptr);
  Client->ReadFileRecord(list, nullptr);
  Connection->DiscardPendingTransactions(nullptr);
  EXPECT_EQ(Entries(),
            "0.000000000 queue 1 identity 01 11\n"
            "0.000000000 queue 2 files 01 14 00 04 00 01 00 02 12 34 56 78 00 7E\n"
            "0.000000000 discard 1\n"
            "0.000000000 discard 2\n");
}

TEST_F(TRecorder, ALostPortAndItsReturnAreEntries) {
  Connection->SetReconnectInterval(50);
  Connection->SetRecorderSize(0);
  Connection->SetRecorderSize(10000);
  Send(kRequest);
  Send(kRequest);
  RunFor(10ms);
  Wire.HungUp = true;
  Wire.Refusal = "no such port";
  RunFor(50ms);
  Send(kRequest);
  RunFor(140ms);
  Wire.HungUp = false;
  Wire.Refusal = "";
  RunFor(1s);
  Connection->SetActive(false);
  Connection->SetActive(true);
  EXPECT_EQ(Entries(),
            "0.000000000 queue 1 custom 01 03 00 64 00 01\n"
            "0.000000000 queue 2 custom 01 03 00 64 00 01\n"
            "0.000000000 sent 1 0 01 03 00 64 00 01 C5 D5\n"
            "0.010000000 lost hung up\n"
            "0.010000000 skip 1\n"
            "0.010000000 skip 2\n"
            "0.060000000 away\n"
            "0.060000000 queue 3 custom 01 03 00 64 00 01\n"
            "0.060000000 skip 3\n"
            "0.160000000 away\n"
            "0.210000000 reopen\n"
            "1.200000000 close\n"
            "1.200000000 open\n");
}

TEST_F(TRecorder, WhatTheProgramDoesInsideAnEventIsMarked) {
  Answer({Frame("01 03 02 00 05")}, 10ms);
  Client->OnCustomTransactionComplete = [this](TModbusClient&, TModbusTransaction&, std::uint8_t) {
    Send(kRequest);
    Connection->SetReceiveTimeout(200);
    Connection->DiscardPendingTransactions(nullptr);
    Connection->SetActive(false);
  };
  Send(kRequest);
  RunFor(50ms);
  Connection->SetActive(true);
  EXPECT_EQ(Entries(),
            "0.000000000 queue 1 custom 01 03 00 64 00 01\n"
            "0.000000000 sent 1 0 01 03 00 64 00 01 C5 D5\n"
            "0.010000000 read 01 03 02 00 05 78 47\n"
            "0.010000000 end srNormalReply\n"
            "0.010000000 +queue 2 custom 01 03 00 64 00 01\n"
            "0.010000000 +set ReceiveTimeout 200\n"
            "0.010000000 +discard 2\n"
            "0.010000000 +close\n"
            "0.050000000 open\n");
}

TEST_F(TRecorder, SettingsAreThoseOfTheirTime) {
  Answer({Frame("01 03 02 00 05"), Frame("01 03 02 00 05")});
  Exchange(kRequest);
  Connection->SetReceiveTimeout(250);
  Connection->SetRS485Mode(TRS485Mode::rmRTS);
  Exchange(kRequest);
  const TFlightRecording recording = Connection->Recording();
  EXPECT_THAT(recording.Settings, testing::Contains("ReceiveTimeout 100"));
  EXPECT_THAT(recording.Settings, testing::Contains("RS485Mode rmNone"));
  EXPECT_TRUE(recording.BeginsOpen);
  EXPECT_EQ(Entries(),
            "0.000000000 queue 1 custom 01 03 00 64 00 01\n"
            "0.000000000 sent 1 0 01 03 00 64 00 01 C5 D5\n"
            "0.000000000 read 01 03 02 00 05 78 47\n"
            "0.000000000 end srNormalReply\n"
            "0.000000000 set ReceiveTimeout 250\n"
            "0.000000000 set RS485Mode rmRTS\n"
            "0.000000000 queue 2 custom 01 03 00 64 00 01\n"
            "0.000000000 reopen\n"
            "0.000000000 sent 2 0 01 03 00 64 00 01 C5 D5\n"
            "0.000000000 released\n"
            "0.000000000 read 01 03 02 00 05 78 47\n"
            "0.000000000 end srNormalReply\n");
}

TEST_F(TRecorder, APortThatTakesLittleIsRecordedSo) {
  Wire.WriteLimit = 5;
  Send(kRequest);
  RunFor(1ms);
  EXPECT_EQ(Entries(),
            "0.000000000 queue 1 custom 01 03 00 64 00 01\n"
            "0.000000000 sent 1 0 01 03 00 64 00 01 C5 D5\n"
            "0.000000000 wrote 5\n"
            "0.000000000 wrote 3\n");
}

TEST_F(TRecorder, ServesWithoutMemoryToo) {
  Connection->SetRecorderSize(0);
  Answer({Frame("01 03 02 00 05")});
  EXPECT_EQ(Exchange(kRequest).Kind, srNormalReply);
  EXPECT_THAT(Connection->Recording().Entries, IsEmpty());
}

TEST_F(TRecorder, SmallMemoryHoldsTheEnd) {
  Connection->SetRecorderSize(200);
  Answer(std::vector<Bytes>(10, Frame("01 03 02 00 05")), 1ms);
  for (int i = 0; i < 10; ++i) Exchange(kRequest);
  const TFlightRecording recording = Connection->Recording();
  EXPECT_EQ(recording.Overwritten, 40 - recording.Entries.size());
  ASSERT_GE(recording.Entries.size(), 4u);
  EXPECT_EQ(recording.Entries.back().Kind, TFlightKind::fkEnd);
  EXPECT_TRUE(recording.BeginsOpen);
  EXPECT_EQ(RecordingText(ParseRecording(RecordingText(recording))), RecordingText(recording));
}

TEST_F(TRecorder, IsSavedOnDemand) {
  Connection->ReplyLengths().Set(0x42, TReplyLengthRule::Counted(5, 2));
  Send(kRequest);
  Connection->SaveRecording(File);
  const TFlightRecording recording = ReadRecording(File);
  EXPECT_EQ(recording.Entries, Connection->Recording().Entries);
  EXPECT_EQ(recording.Lengths.Rule(0x42), TReplyLengthRule::Counted(5, 2));
  EXPECT_THAT(recording.Settings, testing::Contains("Port line"));
  Connection->SaveRecording(File);  // a recording is replaced
  EXPECT_THAT([&] { Connection->SaveRecording("/nowhere/file"); },
              testing::ThrowsMessage<EStreamError>(
                  "Can't write \"/nowhere/file\": No such file or directory"));
}

TEST_F(TRecorder, NothingButARecordingIsReplaced) {
  WriteWholeFile(File, "dear diary");
  EXPECT_THAT([&] { Connection->SaveRecording(File); },
              testing::ThrowsMessage<EStreamError>("Can't write \"" + File +
                                                   "\": what is there is no recording"));
  EXPECT_EQ(ReadWholeFile(File), "dear diary");
  EXPECT_THROW(Connection->SaveRecording(Folder.Path()), EStreamError);
}

TEST_F(TRecorder, FirstFailureIsSavedOnce) {
  SavesTo(File);
  Answer({Frame("01 03 02 00 05"), Frame("01 83 02")});
  Exchange(kRequest);
  Exchange(kRequest);
  EXPECT_THAT(Saved, IsEmpty());
  EXPECT_EQ(Exchange(kRequest).Kind, srNone);
  EXPECT_THAT(Saved, ElementsAre(File));
  EXPECT_THAT(Failures, ElementsAre(""));
  EXPECT_EQ(ReadRecording(File).Entries.back().Kind, TFlightKind::fkEnd);
  std::filesystem::remove(File);
  Exchange(kRequest);
  EXPECT_FALSE(std::filesystem::exists(File));

  Connection->SetRecordingFile("");
  Connection->SetRecordingFile(File);
  Exchange(kRequest);
  EXPECT_THAT(Saved, ElementsAre(File, File));
}

TEST_F(TRecorder, ALostPortIsAFailure) {
  SavesTo(File);
  Wire.HungUp = true;
  Loop.RunPending();
  EXPECT_THAT(Saved, ElementsAre(File));
  EXPECT_EQ(ReadRecording(File).Entries.back().Text, "hung up");
}

TEST_F(TRecorder, BroadcastsAndAClosedPortAreNoFailures) {
  SavesTo(File);
  Client->SetServerAddress(0);
  EXPECT_EQ(Exchange("06 00 01 00 02").Kind, srNone);
  Connection->SetActive(false);
  EXPECT_EQ(Exchange(kRequest).Kind, srNone);
  EXPECT_THAT(Saved, IsEmpty());
}

TEST_F(TRecorder, AFileThatCantBeWrittenIsToldAndTheLineGoesOn) {
  SavesTo("/nowhere/file");
  EXPECT_EQ(Exchange(kRequest).Kind, srNone);
  EXPECT_THAT(Saved, ElementsAre("/nowhere/file"));
  EXPECT_THAT(Failures, ElementsAre(HasSubstr("No such file or directory")));
  RunFor(1s);
  Answer({Frame("01 03 02 00 05")});
  EXPECT_EQ(Exchange(kRequest).Kind, srNormalReply);
}

TEST_F(TRecorder, ItsHandlerMayDestroyTheConnection) {
  Connection->SetRecordingFile(File);
  Connection->OnRecorded = [this](TModbusConnection&, const std::string&, const std::string&) {
    Connection.reset();
  };
  Send(kRequest);
  RunFor(1s);
  EXPECT_EQ(Connection, nullptr);
  EXPECT_THAT(Outcomes, IsEmpty());
  EXPECT_TRUE(std::filesystem::exists(File));
}

TEST_F(TRecorder, IsKeptWhileThePortIsClosed) {
  Answer({Frame("01 03 02 00 05")});
  Exchange(kRequest);
  Connection->SetActive(false);
  EXPECT_EQ(Connection->Recording().Entries.size(), 5u);
}

}  // namespace
}  // namespace OrvixModBus
