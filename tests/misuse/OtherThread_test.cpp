// Use from a second thread is refused with a clear message, and nothing has changed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/loop/uMessageSink.h"
#include "platform/loop/uSystemLoop.h"
#include "platform/modbus/uRecordedQueue.h"
#include "platform/rtl/uException.h"
#include "tests/model/uOtherThread.h"
#include "tests/src/uTestRegs.h"
#include "uPlant.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

struct TThreadOperation {
  const char* Class;
  const char* Name;
  void (*Call)(TPlant& plant);
};

// What an operation may need besides the plant; made here, used there.
struct TArguments {
  TSystemLoop Loop;
  TObject Receiver;
  TMessageSink Sink{Receiver, nullptr};
  TComponent Component;
  TModbusFileRecordList Files;
  TMBLetter Letter;
  TMBReg Loose{nullptr};
  TMBTypeInfo Types;
  TMBConnection Connection;
  TMBClient Client;
  TMBRegsAutoFill Fill;
  TStringList Names;
  TTCPClient TCPClient;
  TMBTCPConnection TCPConnection;
};

TArguments*& Arguments() {
  static TArguments* arguments = nullptr;
  return arguments;
}

using TPart = std::vector<TThreadOperation>;

TPart LoopOperations() {
  return {
      {"TLoop", "Post", [](TPlant&) { Arguments()->Loop.Post([] {}); }},
      {"TLoop", "NewTimer", [](TPlant&) { Arguments()->Loop.NewTimer([] {}); }},
      {"TLoop", "NewWatch", [](TPlant&) { Arguments()->Loop.NewWatch(0, [](TReadiness) {}); }},
      {"TLoop", "RunOnce", [](TPlant&) { Arguments()->Loop.RunOnce({}); }},
      {"TLoop", "Run", [](TPlant&) { Arguments()->Loop.Run(); }},
      {"TLoop", "RunUntil", [](TPlant&) { Arguments()->Loop.RunUntil([] { return true; }, 0ns); }},
      {"TLoop", "RunPending", [](TPlant&) { Arguments()->Loop.RunPending(); }},
      {"TLoop", "Stop", [](TPlant&) { Arguments()->Loop.Stop(); }},
      {"TLoop", "Close", [](TPlant&) { Arguments()->Loop.Close(); }},
      {"TVirtualLoop", "Post", [](TPlant& p) { p.Loop.Post([] {}); }},
      {"TVirtualLoop", "NewTimer", [](TPlant& p) { p.Loop.NewTimer([] {}); }},
      {"TVirtualLoop", "NewWatch", [](TPlant& p) { p.Loop.NewWatch(0, [](TReadiness) {}); }},
      {"TVirtualLoop", "RunOnce", [](TPlant& p) { p.Loop.RunOnce({}); }},
      {"TVirtualLoop", "Close", [](TPlant& p) { p.Loop.Close(); }},
      {"TMessageSink", "Post", [](TPlant&) { Arguments()->Sink.Post(1, 0, 0); }},
      {"TComponent", "of an owner", [](TPlant& p) { const TComponent part(p.Root.Get()); }},
      {"TComponent", "SetName", [](TPlant& p) { p.Root->SetName("Other"); }},
      {"TComponent", "FreeNotification",
       [](TPlant& p) { p.Root->FreeNotification(Arguments()->Component); }},
  };
}

TPart LineOperations() {
  return {
      {"TModbusConnection", "SetActive", [](TPlant& p) { p.Line->SetActive(false); }},
      {"TModbusConnection", "SetPortProperty", [](TPlant& p) { p.Line->SetPortProperty("x"); }},
      {"TModbusConnection", "SetBaudRate", [](TPlant& p) { p.Line->SetBaudRate(300); }},
      {"TModbusConnection", "SetParity",
       [](TPlant& p) { p.Line->SetParity(TParityScheme::psOdd); }},
      {"TModbusConnection", "SetDataBits", [](TPlant& p) { p.Line->SetDataBits(TDataBits::db7); }},
      {"TModbusConnection", "SetStopBits", [](TPlant& p) { p.Line->SetStopBits(TStopBits::sb2); }},
      {"TModbusConnection", "SetRS485Mode",
       [](TPlant& p) { p.Line->SetRS485Mode(TRS485Mode::rmRTS); }},
      {"TModbusConnection", "SetMaxRetries", [](TPlant& p) { p.Line->SetMaxRetries(9); }},
      {"TModbusConnection", "SetReceiveTimeout", [](TPlant& p) { p.Line->SetReceiveTimeout(9); }},
      {"TModbusConnection", "SetSilentInterval", [](TPlant& p) { p.Line->SetSilentInterval(9); }},
      {"TModbusConnection", "SetTurnaroundDelay", [](TPlant& p) { p.Line->SetTurnaroundDelay(9); }},
      {"TModbusConnection", "SetEchoSuppression",
       [](TPlant& p) { p.Line->SetEchoSuppression(TEchoSuppression::esOn); }},
      {"TModbusConnection", "SetReconnectInterval",
       [](TPlant& p) { p.Line->SetReconnectInterval(9); }},
      {"TModbusConnection", "SetSetAsideAfter", [](TPlant& p) { p.Line->SetSetAsideAfter(9); }},
      {"TModbusConnection", "SetProbeInterval", [](TPlant& p) { p.Line->SetProbeInterval(9); }},
      {"TModbusConnection", "SetRecorderSize", [](TPlant& p) { p.Line->SetRecorderSize(4096); }},
      {"TModbusConnection", "SetRecordingFile", [](TPlant& p) { p.Line->SetRecordingFile("x"); }},
      {"TModbusConnection", "SaveRecording", [](TPlant& p) { p.Line->SaveRecording("/no/file"); }},
      {"TModbusConnection", "CountPendingTransactions",
       [](TPlant& p) { p.Line->CountPendingTransactions(nullptr); }},
      {"TModbusConnection", "DiscardPendingTransactions",
       [](TPlant& p) { p.Line->DiscardPendingTransactions(nullptr); }},
      {"TModbusConnection", "SetQueue",
       [](TPlant& p) { p.Line->SetQueue(std::make_unique<TRecordedQueue>()); }},
      {"TModbusConnection", "SetSerialPort", [](TPlant& p) { p.RenewPort(); }},
      {"TMBRTUConnection", "SetComSet",
       [](TPlant& p) {
         p.Line->SetComSet({"x", 9600});
       }},
      {"TModbusClient", "SetConnection", [](TPlant& p) { p.Plain->SetConnection(nullptr); }},
      {"TModbusClient", "SetServerAddress", [](TPlant& p) { p.Plain->SetServerAddress(9); }},
      {"TModbusClient", "InitCustomTransaction",
       [](TPlant& p) {
         p.Plain->InitCustomTransaction(0x03, Bytes{0, 0, 0, 1}, false, nullptr);
       }},
      {"TModbusClient", "ReportServerID", [](TPlant& p) { p.Plain->ReportServerID(nullptr); }},
      {"TModbusClient", "ReadFileRecord",
       [](TPlant& p) { p.Plain->ReadFileRecord(Arguments()->Files, nullptr); }},
      {"TEmulClient", "ReadRegs", [](TPlant& p) { p.Emul->ReadRegs(*p.Reg, nullptr); }},
      {"TEmulClient", "WriteReg",
       [](TPlant& p) {
         p.Emul->WriteReg(*p.Reg, {1, 2}, nullptr);
       }},
      {"TTCPClient", "SetConnection",
       [](TPlant&) { Arguments()->TCPClient.SetConnection(&Arguments()->TCPConnection); }},
  };
}

TPart ClientOperations() {
  return {
      {"TMBConnection", "SetRTU", [](TPlant& p) { p.Connection->SetRTU(nullptr); }},
      {"TMBConnection", "SetTCP",
       [](TPlant& p) { p.Connection->SetTCP(&Arguments()->TCPConnection); }},
      {"TMBConnection", "SetConnectionType",
       [](TPlant& p) { p.Connection->SetConnectionType(TConnectionType::mbTCP); }},
      {"TMBConnection", "Assign", [](TPlant& p) { p.Connection->Assign(Arguments()->Connection); }},
      {"TMBClient", "SetConnection", [](TPlant& p) { p.Client->SetConnection(nullptr); }},
      {"TMBClient", "SetAdres", [](TPlant& p) { p.Client->SetAdres(9); }},
      {"TMBClient", "SetDisableHandling", [](TPlant& p) { p.Client->SetDisableHandling(true); }},
      {"TMBClient", "Read", [](TPlant& p) { p.Client->Read(0x03, 1, 2, nullptr); }},
      {"TMBClient", "Write",
       [](TPlant& p) {
         p.Client->Write(0x06, 1, {1, 2}, nullptr);
       }},
      {"TMBClient", "InitCustomTransaction",
       [](TPlant& p) {
         p.Client->InitCustomTransaction(0x03, Bytes{0, 0, 0, 1}, nullptr);
       }},
      {"TMBClient", "CountPendingTransactions",
       [](TPlant& p) { p.Client->CountPendingTransactions(); }},
      {"TMBClient", "ClearWaitQueueAllLetters",
       [](TPlant& p) { p.Client->ClearWaitQueueAllLetters(); }},
      {"TMBClient", "ReadFileRecord",
       [](TPlant& p) { p.Client->ReadFileRecord(Arguments()->Files, nullptr); }},
      {"TMBClient", "ReadFileByStructur",
       [](TPlant& p) { p.Client->ReadFileByStructur(1, 0, 1, {}, nullptr); }},
      {"TMBClient", "ConfirmComandDX517", [](TPlant& p) { p.Client->ConfirmComandDX517(); }},
      {"TMBClient", "ReadEmul", [](TPlant& p) { p.Client->ReadEmul(*p.Reg, nullptr); }},
      {"TMBClient", "WriteEmul",
       [](TPlant& p) {
         p.Client->WriteEmul(*p.Reg, {1, 2}, nullptr);
       }},
      {"TMBClient", "Assign", [](TPlant& p) { p.Client->Assign(Arguments()->Client); }},
      {"TMBFunction20", "SetMBClient", [](TPlant& p) { p.Log20->SetMBClient(nullptr); }},
      {"TMBFunction20", "ReadCountItem", [](TPlant& p) { p.Log20->ReadCountItem(); }},
      {"TMBFunction20", "ReadAllItems", [](TPlant& p) { p.Log20->ReadAllItems(); }},
      {"TMBFunction20", "SetOneRecordLength", [](TPlant& p) { p.Log20->SetOneRecordLength(9); }},
      {"TMBFunction41", "SetOscilInfoLength", [](TPlant& p) { p.Oscil41->SetOscilInfoLength(9); }},
      {"TMBFunction41", "SetOscilDataLength", [](TPlant& p) { p.Oscil41->SetOscilDataLength(9); }},
      {"TMBFunction41", "RaedOscilInfo", [](TPlant& p) { p.Oscil41->RaedOscilInfo(1); }},
      {"TMBFunction41", "ReadOscilData", [](TPlant& p) { p.Oscil41->ReadOscilData(1, 3); }},
  };
}

TPart LetterOperations() {
  return {
      {"TMBLetter", "SetClient", [](TPlant& p) { p.Letter->SetClient(nullptr); }},
      {"TMBLetter", "SetMaxHole", [](TPlant& p) { p.Letter->SetMaxHole(9); }},
      {"TMBLetter", "SetChanelID", [](TPlant& p) { p.Letter->SetChanelID(9); }},
      {"TMBLetter", "SetRegs", [](TPlant& p) { p.Letter->SetRegs(Arguments()->Letter.Regs()); }},
      {"TMBLetter", "ReadAllRegs", [](TPlant& p) { p.Letter->ReadAllRegs(); }},
      {"TMBLetter", "ReadRegsByName",
       [](TPlant& p) { p.Letter->ReadRegsByName(std::vector<std::string>{"A"}); }},
      {"TMBLetter", "ReadRegsByItem",
       [](TPlant& p) { p.Letter->ReadRegsByItem(std::vector<std::uint32_t>{0}); }},
      {"TMBLetter", "ReadRegsByArray",
       [](TPlant& p) { p.Letter->ReadRegsByArray(std::vector<TMBReg*>{p.Reg.Get()}); }},
      {"TMBLetter", "ReadRegs",
       [](TPlant& p) {
         TMBRegList list{p.Reg.Get()};
         p.Letter->ReadRegs(list, {});
       }},
      {"TMBLetter", "WriteReg",
       [](TPlant& p) {
         p.Letter->WriteReg(p.Reg.Get(), 0, {1, 2});
       }},
      {"TMBLetter", "WriteRegByName",
       [](TPlant& p) {
         p.Letter->WriteRegByName("A", 0, {1, 2});
       }},
      {"TMBLetter", "WriteRegsF10",
       [](TPlant& p) { p.Letter->WriteRegsF10(std::vector<std::string>{"A"}); }},
      {"TMBLetter", "WriteAllF66F65", [](TPlant& p) { p.Letter->WriteAllF66F65(); }},
      {"TMBLetter", "WriteAllRegs", [](TPlant& p) { p.Letter->WriteAllRegs(); }},
      {"TMBLetter", "WriteRegs", [](TPlant& p) { p.Letter->WriteRegs({p.Reg.Get()}); }},
      {"TMBLetter", "CopyRegValues",
       [](TPlant& p) {
         p.Letter->CopyRegValues(&Arguments()->Letter, std::vector<std::string>{"A"});
       }},
      {"TMBLetter", "RemoveNotFoundRegNames",
       [](TPlant& p) { p.Letter->RemoveNotFoundRegNames(Arguments()->Names); }},
      {"TMBLetter", "ClearWaitQueue", [](TPlant& p) { p.Letter->ClearWaitQueue(); }},
      {"TMBLetter", "Assign", [](TPlant& p) { p.Letter->Assign(Arguments()->Letter); }},
      {"TMBLetterReadWriter", "AssignProcs", [](TPlant& p) { p.Driver->AssignProcs({}, {}); }},
      {"TMBLetterReadWriter", "AssignRegs",
       [](TPlant& p) { p.Driver->AssignRegs(std::vector<std::string>{"A"}); }},
      {"TMBLetterReadWriter", "ReadArray", [](TPlant& p) { p.Driver->ReadArray(); }},
      {"TMBLetterReadWriter", "ReadRegsByArray",
       [](TPlant& p) { p.Driver->ReadRegsByArray({}, {}); }},
      {"TMBLetterReadWriter", "WriteArray", [](TPlant& p) { p.Driver->WriteArray(); }},
      {"TMBRegsAutoFill", "SetMBLetter", [](TPlant& p) { p.Fill->SetMBLetter(nullptr); }},
      {"TMBRegsAutoFill", "SetRegNameList", [](TPlant& p) { p.Fill->SetRegNameList({}); }},
      {"TMBRegsAutoFill", "FillRegs", [](TPlant& p) { p.Fill->FillRegs(); }},
      {"TMBRegsAutoFill", "FillRegsFast", [](TPlant& p) { p.Fill->FillRegsFast({}, true); }},
      {"TMBRegsAutoFill", "AddStructurReg", [](TPlant& p) { p.Fill->AddStructurReg("x", *p.Reg); }},
      {"TMBRegsAutoFill", "Assign", [](TPlant& p) { p.Fill->Assign(Arguments()->Fill); }},
  };
}

TPart SetOperations() {
  return {
      {"TMBRegs", "Add", [](TPlant& p) { p.Letter->Regs().Add(); }},
      {"TMBRegs", "Insert", [](TPlant& p) { p.Letter->Regs().Insert(0); }},
      {"TMBRegs", "Delete", [](TPlant& p) { p.Letter->Regs().Delete(0); }},
      {"TMBRegs", "Clear", [](TPlant& p) { p.Letter->Regs().Clear(); }},
      {"TMBRegs", "Assign", [](TPlant& p) { p.Letter->Regs().Assign(Arguments()->Letter.Regs()); }},
      {"TMBRegs", "BeginUpdate", [](TPlant& p) { p.Letter->Regs().BeginUpdate(); }},
      {"TMBRegs", "SetItem", [](TPlant& p) { p.Letter->Regs().SetItem(0, Arguments()->Loose); }},
      {"TMBRegs", "SetItemByName",
       [](TPlant& p) { p.Letter->Regs().SetItemByName("A", Arguments()->Loose); }},
      {"TMBRegs", "SetMBTypeInfo", [](TPlant& p) { p.Letter->Regs().SetMBTypeInfo(nullptr); }},
      {"TMBRegs", "DeleteByName", [](TPlant& p) { p.Letter->Regs().DeleteByName("A"); }},
      {"TMBRegs", "RegValueByName", [](TPlant& p) { p.Letter->Regs().RegValueByName("A"); }},
      {"TMBRegs", "CloneReg", [](TPlant& p) { p.Letter->Regs().CloneReg(Arguments()->Loose); }},
      {"TMBRegs", "ClearRegsData", [](TPlant& p) { p.Letter->Regs().ClearRegsData(); }},
      {"TMBRegs", "CopyRegDataByName",
       [](TPlant& p) { p.Letter->Regs().CopyRegDataByName(p.Neighbour->Regs()); }},
      {"TMBRegs", "LoadRegsDataFromFile",
       [](TPlant& p) { p.Letter->Regs().LoadRegsDataFromFile("/no/file", ""); }},
      {"TMBRegs", "AddRegItem", [](TPlant& p) { p.Letter->Regs().AddRegItem("x", *p.Reg); }},
      {"TMBRegs", "ChangeName", [](TPlant& p) { p.Letter->Regs().ChangeName("A", "x", *p.Reg); }},
      {"TMBRegs", "SetNameByIndex", [](TPlant& p) { p.Letter->Regs().SetNameByIndex(0, "x"); }},
      {"TMBRegs", "SetRegValue", [](TPlant& p) { p.Letter->Regs().SetRegValue(1, *p.Reg); }},
      {"TMBRegs", "DelByIndex", [](TPlant& p) { p.Letter->Regs().DelByIndex(0); }},
      {"TMBRegs", "DelByName", [](TPlant& p) { p.Letter->Regs().DelByName("A"); }},
      {"TMBReg", "SetIndex", [](TPlant& p) { p.Reg->SetIndex(1); }},
      {"TMBReg", "SetDisplayName", [](TPlant& p) { p.Reg->SetDisplayName("x"); }},
      {"TMBReg", "SetChanelIndex", [](TPlant& p) { p.Reg->SetChanelIndex(9); }},
      {"TMBReg", "SetRegAdress", [](TPlant& p) { p.Reg->SetRegAdress(9); }},
      {"TMBReg", "SetMBFuncRead", [](TPlant& p) { p.Reg->SetMBFuncRead(4); }},
      {"TMBReg", "SetMBFuncWrite", [](TPlant& p) { p.Reg->SetMBFuncWrite(0x10); }},
      {"TMBReg", "SetRegsCount", [](TPlant& p) { p.Reg->SetRegsCount(2); }},
      {"TMBReg", "SetBytesInOneReg", [](TPlant& p) { p.Reg->SetBytesInOneReg(4); }},
      {"TMBReg", "SetCaption", [](TPlant& p) { p.Reg->SetCaption("x"); }},
      {"TMBReg", "SetRegType", [](TPlant& p) { p.Reg->SetRegType(TRegType::rtNum); }},
      {"TMBReg", "SetTypeName", [](TPlant& p) { p.Reg->SetTypeName("x"); }},
      {"TMBReg", "SetTypeInfo", [](TPlant& p) { p.Reg->SetTypeInfo(nullptr); }},
      {"TMBReg", "SetRegData", [](TPlant& p) { p.Reg->SetRegData({1}); }},
      {"TMBReg", "SetData", [](TPlant& p) { p.Reg->SetData(0, 9); }},
      {"TMBReg", "ClearData", [](TPlant& p) { p.Reg->ClearData(); }},
      {"TMBReg", "DataToValue", [](TPlant& p) { p.Reg->DataToValue(); }},
      {"TMBReg", "DataToMin", [](TPlant& p) { p.Reg->DataToMin(); }},
      {"TMBReg", "Assign", [](TPlant& p) { p.Reg->Assign(Arguments()->Loose); }},
      {"TMBTypeInfo", "SetTypeNumbers",
       [](TPlant& p) { p.Types->SetTypeNumbers(Arguments()->Types.TypeNumbers()); }},
      {"TMBTypeInfo", "TypeNumbers Add", [](TPlant& p) { p.Types->TypeNumbers().Add(); }},
      {"TMBTypeInfo", "SetName of a type",
       [](TPlant& p) { p.Types->TypeNumbers().Items(0)->SetName("x"); }},
      {"TMBTypeInfo", "DataToValue",
       [](TPlant& p) {
         p.Types->DataToValue(TRegType::rtNum, "Number", {1, 2}, "", -1);
       }},
      {"TMBTypeInfo", "ClearAllDataType", [](TPlant& p) { p.Types->ClearAllDataType(); }},
      {"TMBTypeInfo", "Assign", [](TPlant& p) { p.Types->Assign(Arguments()->Types); }},
  };
}

TPart Operations() {
  TPart all;
  for (const auto& part : {LoopOperations(), LineOperations(), ClientOperations(),
                           LetterOperations(), SetOperations()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

class TOtherThread : public testing::TestWithParam<TThreadOperation> {
 public:
  TOtherThread() {
    Arguments() = &Own;
    AddReg(Own.Letter.Regs(), {"A", 77});
    Plant.Bind();
  }
  ~TOtherThread() override { Arguments() = nullptr; }

  // All that a form would store of the Plant, and the bytes of the register.
  std::string State() {
    std::string state;
    std::vector<TPersistent*> left{Plant.Root.Get()};
    for (int i = 0; i < Plant.Root->ComponentCount(); ++i) {
      left.push_back(Plant.Root->Components(i));
    }
    while (!left.empty()) {
      TPersistent& object = *left.back();
      left.pop_back();
      for (const TPropertyInfo* property : object.ClassInfo().Properties()) {
        if (property->Kind == TPropertyKind::pkEvent) continue;
        const TPropertyValue value = property->Get(object);
        state += std::string(property->Name) + "=" + TextOf(value) + " ";
        if (property->Kind == TPropertyKind::pkObject)
          left.push_back(std::get<TPersistent*>(value));
      }
      const auto* collection = dynamic_cast<const TCollection*>(&object);
      for (int i = 0; collection != nullptr && i < collection->Count(); ++i) {
        left.push_back(collection->Items(i));
      }
    }
    for (const std::uint8_t byte : Plant.Reg->Data()) state += std::to_string(byte) + " ";
    return state + Plant.Reg->ValueStr();
  }

  TPlant Plant;
  TArguments Own;
};

TEST_P(TOtherThread, IsRefused) {
  Plant.Reg->SetRegData({3, 4});
  const std::string before = State();
  try {
    OnAnotherThread([&] { GetParam().Call(Plant); });
    ADD_FAILURE() << "not refused";
  } catch (const EThreadError& error) {
    EXPECT_THAT(error.what(), HasSubstr("from another thread than"));
  }
  EXPECT_EQ(State(), before);
  EXPECT_EQ(Plant.Line->CountPendingTransactions(nullptr), 0);
  EXPECT_EQ(Plant.Emul->CountPendingTransactions(), 0);
  Plant.Traffic();
  Plant.RunFor(5s);
  EXPECT_EQ(Plant.Counting.Answered, Plant.Counting.Asked);
}

std::string NameOf(const testing::TestParamInfo<TThreadOperation>& operation) {
  std::string name = std::string(operation.param.Class) + "_" + operation.param.Name;
  std::ranges::replace_if(
      name, [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Operations, TOtherThread, testing::ValuesIn(Operations()), NameOf);

}  // namespace
}  // namespace OrvixModBus
