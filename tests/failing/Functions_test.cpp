// Every allocation fails once while files, logs, oscillograms and identities are read.
#include <gtest/gtest.h>

#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"
#include "uVirtualLine.h"
#include "uWalk.h"

namespace OrvixModBus {
namespace {

class TFunctionScenario : public TVirtualLine {
 public:
  TFunctionScenario() { Line.SetActive(true); }
  void CheckAfterFailure() {
    Settle();
    EXPECT_EQ(Line.CountPendingTransactions(nullptr), 0);
    if (!Line.Active()) Line.SetActive(true);
  }
  bool WasTold() const { return Faults > 0; }
};

class TReadingAFile : public TFunctionScenario {
 public:
  TReadingAFile() {
    Client.OnReadFile.Add([this](TMBClient&, TServerReply kind, TModbusFileRecordList& list,
                                 TObject*) {
      const TOwnMemory own;
      if (kind != TServerReply::srNormalReply || list.Count() != 2) return;
      if (list.Records(0).Data == Bytes{1, 2, 3, 4} && list.Records(1).Data == Bytes{5, 6, 7, 8}) {
        ++fRead;
      }
    });
  }
  void Run() {
    fRead = 0;
    TModbusFileRecordList list;
    list.Add(4, 1, 2);
    list.Add(4, 2, 2);
    Client.ReadFileRecord(list, &Letter);
    RunDry();
  }
  bool IsDone() const { return fRead == 1; }

 private:
  int fRead = 0;
};

class TReadingALog : public TFunctionScenario {
 public:
  TReadingALog() {
    fLog.SetMBClient(&Client);
    fLog.SetOneRecordLength(4);
    fLog.OnGetCountInfo = [this](TObject&) { fLog.ReadAllItems(); };
    fLog.OnErorAnswer = [this](TObject&) { ++Faults; };
    fLog.OnGetRecord = [this](TObject&, const Bytes& record) {
      if (record.size() == 4 && record[0] == 4 * fRecords + 1) ++fRecords;
    };
  }
  void Run() {
    fRecords = 0;
    fLog.ReadCountItem();
    RunDry();
  }
  bool IsDone() const { return fRecords == 3 && fLog.ItemCount() == 3; }

 private:
  TMBFunction20 fLog;
  int fRecords = 0;
};

class TReadingAnOscillogram : public TFunctionScenario {
 public:
  TReadingAnOscillogram() {
    Device.Oscillograms[1] = {{1, 2, 3, 4}, {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}}};
    fOscil.SetMBClient(&Client);
    fOscil.SetOscilInfoLength(4);
    fOscil.SetOscilDataLength(4);
    fOscil.OnErorAnswer = [this](TObject&) { ++Faults; };
    fOscil.OnGetOscilInfo = [this](TObject&, const Bytes& info) { fInfos += info.size() == 4; };
    fOscil.OnGetOscilData = [this](TObject&, std::uint16_t number, std::uint16_t,
                                   const Bytes& record) {
      if (number == 1 && record.size() == 4) ++fRecords;
    };
  }
  void Run() {
    fInfos = fRecords = 0;
    fOscil.RaedOscilInfo(1);
    fOscil.ReadOscilData(1, 3);
    RunDry();
  }
  bool IsDone() const { return fInfos == 1 && fRecords == 3; }

 private:
  TMBFunction41 fOscil;
  int fInfos = 0, fRecords = 0;
};

class TReadingAnIdentity : public TFunctionScenario {
 public:
  TReadingAnIdentity() {
    fRaw.SetConnection(&Line);
    fRaw.OnServerIDReport = [this](TModbusClient&, const TTransactionInfo& info, int count,
                                   const Bytes&) {
      if (info.Reply != TServerReply::srNormalReply) ++Faults;
      if (count > 6) ++fIdentities;
    };
    fRaw.OnDX517Read = [this](TModbusClient&, const TTransactionInfo& info, std::uint8_t,
                              std::uint16_t, std::uint8_t, const Bytes& values) {
      if (info.Reply != TServerReply::srNormalReply) ++Faults;
      if (values == Bytes{0x10, 0x11, 0x12, 0x13}) ++fPages;
    };
  }
  void Run() {
    fIdentities = fPages = 0;
    fRaw.ReportServerID(&Letter);
    const std::uint8_t page[] = {0, 0, 0x10, 4};
    fRaw.InitCustomTransaction(0x43, page, false, nullptr);
    RunDry();
  }
  bool IsDone() const { return fIdentities == 1 && fPages == 1; }

 private:
  TRTUClient fRaw;
  int fIdentities = 0, fPages = 0;
};

TEST(FailingMemory, ReadingAFile) { WalkAllocations<TReadingAFile>(20); }
TEST(FailingMemory, ReadingALog) { WalkAllocations<TReadingALog>(20); }
TEST(FailingMemory, ReadingAnOscillogram) { WalkAllocations<TReadingAnOscillogram>(20); }
TEST(FailingMemory, ReadingAnIdentity) { WalkAllocations<TReadingAnIdentity>(15); }

}  // namespace
}  // namespace OrvixModBus
