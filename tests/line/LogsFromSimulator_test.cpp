// Logs and oscillograms read over a real port: every record, and the requests that ask for them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "SimulatedLine.h"
#include "platform/rtl/uException.h"
#include "tools/simulator/uSimulatedRecord.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// So many records, no two of them alike.
std::vector<Bytes> DistinctRecords(std::size_t size, std::uint32_t count) {
  TRecordFormat format;
  for (std::size_t i = 0; i < size; ++i) {
    format.push_back(NumberField(1, [i](std::uint32_t index, double) {
      return static_cast<std::int64_t>(index * 7 + index / 37 + i * 31);
    }));
  }
  return FormRecords(format, count);
}

std::uint8_t Low(std::size_t value) { return static_cast<std::uint8_t>(value & 0xFF); }

/// What reads a log, said slowly: the count, then from item 1 on as many at once as fit 248 bytes,
/// but no more than there are; numbers are one byte.
std::vector<Bytes> LogRequestsByTheRules(std::uint8_t func, std::size_t count, std::size_t length) {
  std::vector<Bytes> requests = {{func, 0, 0, 0, 0}};
  const std::size_t batch = std::min(248 / length, count);
  for (std::size_t item = 1; item <= count; item += batch) {
    requests.push_back({func, 0, Low(item), 0, Low(batch)});
  }
  return requests;
}

class LogsFromSimulator : public testing::Test {
 protected:
  LogsFromSimulator() { fLine.KeepJournal(); }

  /// Has the device keep these records behind both log functions.
  void Keep(const std::vector<Bytes>& records) {
    const auto lock = fLine.Thread.Lock();
    auto& logs = fLine.Simulator.Device(kDevice).Logs;
    logs[0x20] = {.Records = records, .Total = 1000};
    logs[0x24] = {.Records = records, .Total = 2000};
  }

  /// Reads the whole log by its count.
  void Read(TMBLogFunction& log, std::int32_t length) {
    fRead.clear();
    fErors = 0;
    log.SetOneRecordLength(length);
    log.OnGetCountInfo = [&](TObject&) { log.ReadAllItems(); };
    log.OnGetRecord = [this](TObject&, const Bytes& record) { fRead.push_back(record); };
    log.OnErorAnswer = [this](TObject&) { ++fErors; };
    log.SetMBClient(&fLine.Client);
    log.ReadCountItem();
    ASSERT_TRUE(fLine.RunDry());
  }

  TSimulatedLine fLine;
  std::vector<Bytes> fRead;
  int fErors = 0;
};

TEST_F(LogsFromSimulator, EveryRecordOf255ComesAsItIs) {
  for (const std::size_t size : {1U, 8U, 50U}) {
    SCOPED_TRACE(size);
    const std::vector<Bytes> records = DistinctRecords(size, 255);
    Keep(records);
    TMBFunction20 log20;
    TMBFunction24 log24;
    for (TMBLogFunction* log :
         {static_cast<TMBLogFunction*>(&log20), static_cast<TMBLogFunction*>(&log24)}) {
      ASSERT_NO_FATAL_FAILURE(Read(*log, static_cast<std::int32_t>(size)));
      EXPECT_EQ(log->TotalItem(), log->MBFunc() == 0x20 ? 1000 : 2000);
      EXPECT_EQ(log->ItemCount(), 255);
      EXPECT_EQ(fErors, 0);
      EXPECT_EQ(fLine.TakeRequests(), LogRequestsByTheRules(log->MBFunc(), 255, size));
      // Of one-byte records the last of a reply is left out: replies of 248 and of 7 records.
      std::vector<Bytes> expected = records;
      if (size == 1) {
        expected.erase(expected.begin() + 254);
        expected.erase(expected.begin() + 247);
      }
      EXPECT_EQ(fRead, expected);
    }
  }
}

TEST_F(LogsFromSimulator, ItemNumbersAbove255BeginAgain) {
  const std::vector<Bytes> records = DistinctRecords(8, 300);
  Keep(records);
  TMBFunction20 log;
  ASSERT_NO_FATAL_FAILURE(Read(log, 8));
  const std::vector<Bytes> requests = fLine.TakeRequests();
  EXPECT_EQ(requests, LogRequestsByTheRules(0x20, 300, 8));
  EXPECT_EQ(requests.back(), (Bytes{0x20, 0, 280 - 256, 0, 31}));
  // What comes for records 280 to 300 are those from 24 on: the numbers name no others.
  std::vector<Bytes> expected(records.begin(), records.begin() + 279);
  expected.insert(expected.end(), records.begin() + 23, records.begin() + 54);
  EXPECT_EQ(fRead, expected);
  EXPECT_GT(log.ItemCount(), TMBLogFunction::kMaxItemNumber);
}

TEST_F(LogsFromSimulator, AnItemNumberThatBecomes0IsRefusedByTheDevice) {
  Keep(DistinctRecords(80, 300));
  TMBFunction24 log;
  ASSERT_NO_FATAL_FAILURE(Read(log, 80));
  EXPECT_EQ(fLine.TakeRequests(), LogRequestsByTheRules(0x24, 300, 80));
  EXPECT_EQ(fErors, 1);  // 256
}

TEST_F(LogsFromSimulator, LengthsThatNoReplyHoldsSendNothing) {
  Keep(DistinctRecords(8, 20));
  TMBFunction20 log;
  ASSERT_NO_FATAL_FAILURE(Read(log, 8));
  fLine.TakeRequests();
  for (const std::int32_t length : {0, -1, 249, 1000}) {
    SCOPED_TRACE(length);
    log.SetOneRecordLength(length);
    EXPECT_THROW(log.ReadAllItems(), Exception);
    ASSERT_TRUE(fLine.RunDry());
  }
  EXPECT_THAT(fLine.TakeRequests(), IsEmpty());
}

TEST_F(LogsFromSimulator, ADeviceWithoutALogAnswersWithAnException) {
  TMBFunction20 log;
  std::vector<TServerReply> kinds;
  fLine.Client.OnExeptionAnswer = [&](TMBClient&, TServerReply kind, std::uint8_t, std::uint32_t) {
    kinds.push_back(kind);
  };
  ASSERT_NO_FATAL_FAILURE(Read(log, 8));
  EXPECT_EQ(fErors, 1);
  EXPECT_THAT(kinds, ElementsAre(TServerReply::srExceptionReply));
}

TEST_F(LogsFromSimulator, TwoLogsAndALetterAreReadSideBySide) {
  const std::vector<Bytes> records = DistinctRecords(16, 40);
  Keep(records);
  TMBLetter letter;
  TMBReg& reg = AddReg(letter, 0x03, 7, 1);
  letter.SetClient(&fLine.Client);
  letter.ReadAllRegs();
  std::vector<Bytes> other;
  TMBFunction24 log24;
  log24.SetMBClient(&fLine.Client);
  log24.SetOneRecordLength(16);
  log24.OnGetCountInfo = [&](TObject&) { log24.ReadAllItems(); };
  log24.OnGetRecord = [&](TObject&, const Bytes& record) { other.push_back(record); };
  log24.ReadCountItem();
  TMBFunction20 log20;
  ASSERT_NO_FATAL_FAILURE(Read(log20, 16));
  EXPECT_EQ(fRead, records);
  EXPECT_EQ(other, records);
  EXPECT_EQ(reg.GetData(1), 7);
  EXPECT_TRUE(letter.ChekAllRegsResive());
}

class OscillogramsFromSimulator : public LogsFromSimulator {};

TEST_F(OscillogramsFromSimulator, DescriptionAndRecordsComeAsTheyAre) {
  const std::vector<Bytes> first = DistinctRecords(16, 40);
  const std::vector<Bytes> second = DistinctRecords(6, 500);
  {
    const auto lock = fLine.Thread.Lock();
    auto& oscillograms = fLine.Simulator.Device(kDevice).Oscillograms;
    oscillograms[2] = {.Info = Bytes(20, 0xA5), .Records = first};
    oscillograms[9] = {.Info = Bytes(20, 0x5A), .Records = second};
  }
  TMBFunction41 oscillograms;
  std::vector<Bytes> infos;
  std::map<int, std::map<int, Bytes>> read;
  oscillograms.SetOscilInfoLength(20);
  oscillograms.OnGetOscilInfo = [&](TObject&, const Bytes& info) { infos.push_back(info); };
  oscillograms.OnGetOscilData = [&](TObject&, std::uint16_t number, std::uint16_t record,
                                    const Bytes& data) { read[number][record] = data; };
  oscillograms.SetMBClient(&fLine.Client);
  oscillograms.ReadCountItem();
  oscillograms.RaedOscilInfo(9);
  oscillograms.RaedOscilInfo(2);
  oscillograms.SetOscilDataLength(16);
  oscillograms.ReadOscilData(2, 40);
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_EQ(oscillograms.ItemCount(), 2);
  EXPECT_THAT(infos, ElementsAre(Bytes(20, 0x5A), Bytes(20, 0xA5)));
  EXPECT_THAT(
      fLine.TakeRequests(),
      ElementsAre(Bytes{0x41, 0, 0, 0, 0}, Bytes{0x41, 0, 9, 0, 0}, Bytes{0x41, 0, 2, 0, 0},
                  Bytes{0x41, 15, 2, 0, 1}, Bytes{0x41, 15, 2, 0, 16}, Bytes{0x41, 15, 2, 0, 31}));
  oscillograms.SetOscilDataLength(6);
  oscillograms.ReadOscilData(9, 500);
  ASSERT_TRUE(fLine.RunDry());
  ASSERT_EQ(read[2].size(), 40U);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(read[2][i + 1], first[static_cast<std::size_t>(i)]);
  ASSERT_EQ(read[9].size(), 500U);
  for (int i = 0; i < 500; ++i) EXPECT_EQ(read[9][i + 1], second[static_cast<std::size_t>(i)]);
}

TEST_F(OscillogramsFromSimulator, OneThatIsNotThereIsAnErrorEvent) {
  TMBFunction41 oscillograms;
  int errors = 0;
  oscillograms.OnErorAnswer = [&](TObject&) { ++errors; };
  oscillograms.SetMBClient(&fLine.Client);
  oscillograms.SetOscilDataLength(16);
  oscillograms.RaedOscilInfo(1);
  oscillograms.ReadOscilData(1, 2);
  ASSERT_TRUE(fLine.RunDry());
  EXPECT_EQ(errors, 2);
}

}  // namespace
}  // namespace OrvixModBus
