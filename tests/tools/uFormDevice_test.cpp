#include "tools/orvixmb/uFormDevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FormDevice : public testing::Test {
 protected:
  TMBClient& AddClient(const char* name, std::uint8_t adres) {
    auto* client = new TMBClient(&fRoot);
    client->SetName(name);
    client->SetAdres(adres);
    return *client;
  }
  TMBLetter& AddLetter(const char* name, TMBClient* client) {
    auto* letter = new TMBLetter(&fRoot);
    letter->SetName(name);
    letter->SetClient(client);
    return *letter;
  }
  static TMBReg& AddReg(TMBLetter& letter, std::uint8_t read, std::uint8_t write,
                        std::uint32_t adress) {
    TMBReg& reg = *letter.Regs().Add();
    reg.SetDisplayName("R" + std::to_string(adress));
    reg.SetMBFuncRead(read);
    reg.SetMBFuncWrite(write);
    reg.SetRegAdress(adress);
    reg.SetBytesInOneReg(2);
    reg.SetRegsCount(1);
    return reg;
  }
  template <class T>
  T& AddFunction(const char* name, TMBClient* client) {
    auto* function = new T(&fRoot);
    function->SetName(name);
    function->SetMBClient(client);
    return *function;
  }

  TComponent fRoot;
  TSimulator fSimulator;
};

TEST_F(FormDevice, SaysWhatIsLeftOut) {
  TMBClient& boiler = AddClient("Boiler", 5);
  TMBClient& all = AddClient("All", 0);
  AddClient("High", 248);
  AddLetter("Alone", nullptr);
  AddLetter("ToAll", &all);
  TMBLetter& letter = AddLetter("Values", &boiler);
  AddReg(letter, 0x14, 0x10, 1);
  AddReg(letter, 0x03, 0x0F, 2);
  AddReg(letter, 0x17, 0, 3);
  AddReg(letter, 0, 0, 4);
  AddFunction<TMBFunction20>("NoClient", nullptr);
  AddFunction<TMBFunction20>("NoLength", &boiler);
  AddFunction<TMBFunction24>("Log", &boiler).SetOneRecordLength(20);
  AddFunction<TMBFunction24>("SameLog", &boiler).SetOneRecordLength(20);
  AddFunction<TMBFunction24>("OtherLog", &boiler).SetOneRecordLength(21);
  TMBFunction41& oscillograms = AddFunction<TMBFunction41>("Captures", &boiler);
  oscillograms.SetOscilInfoLength(253);
  oscillograms.SetOscilDataLength(8);
  AddFunction<TMBFunction41>("Others", &boiler).SetOscilDataLength(10);
  EXPECT_THAT(
      FormDevices(fRoot, fSimulator),
      ElementsAre("All: no device can have the server address 0",
                  "High: no device can have the server address 248", "Alone: it has no client",
                  "ToAll: its client has no device",
                  "Values: register R1 is not read, for no letter does that by function $14",
                  "Values: register R2 is not written, for no letter does that by function $0F",
                  "Values: register R3 is not read, for no letter does that by function $17",
                  "NoClient: it has no client",
                  "NoLength: with OneRecordLength = -1 nothing can be read",
                  "OtherLog: another log of function $24 has records of 20 bytes",
                  "Captures: with OscilInfoLength = 253 nothing can be read",
                  "Others: with OscilInfoLength = -1 nothing can be read",
                  "Others: another component's oscillograms have other lengths"));
  // What can be served of these is.
  TSimulatedDevice& device = fSimulator.Device(5);
  EXPECT_TRUE(device.Holding.CanWrite(1, 1));
  EXPECT_TRUE(device.Holding.Has(2, 1));
  EXPECT_FALSE(device.Holding.CanWrite(2, 1));
  EXPECT_FALSE(device.Holding.Has(3, 1));
  EXPECT_EQ(device.Logs[0x20].Records.size(), 100U);
  EXPECT_EQ(device.Oscillograms.size(), 3U);
}

TEST_F(FormDevice, ClientsHaveDevicesOfTheirOwnUnlessTheyShareAnAddress) {
  TMBClient& first = AddClient("First", 1);
  TMBClient& second = AddClient("Second", 2);
  TMBClient& again = AddClient("Again", 1);
  AddReg(AddLetter("A", &first), 0x03, 0, 10);
  AddReg(AddLetter("B", &second), 0x03, 0, 20);
  AddReg(AddLetter("C", &again), 0x03, 0, 30);
  EXPECT_THAT(FormDevices(fRoot, fSimulator), IsEmpty());
  EXPECT_TRUE(fSimulator.Device(1).Holding.Has(10, 1));
  EXPECT_TRUE(fSimulator.Device(1).Holding.Has(30, 1));
  EXPECT_FALSE(fSimulator.Device(1).Holding.Has(20, 1));
  EXPECT_TRUE(fSimulator.Device(2).Holding.Has(20, 1));
  EXPECT_EQ(fSimulator.Device(1).Identity->Text, "First");
}

TEST_F(FormDevice, ADescriptionTellsHowManyRecordsThereAre) {
  TMBTypeInfo types(&fRoot);
  TMBRegTypeNumber& word = *types.TypeNumbers().Add();
  word.SetName("Word");
  word.SetMaxValue(65535);
  word.SetIntPart(2);
  word.SetMultiplier(1);
  for (const std::int16_t offset : std::initializer_list<std::int16_t>{0, 2}) {
    TMBRegTypeStructure& field = *types.TypeStructurs().Add();
    field.SetStructurName("Info");
    field.SetName(offset == 0 ? "Before" : "Records");
    field.SetRegType(TRegType::rtNum);
    field.SetRegTypeName("Word");
    field.SetOffset(offset);
    field.SetSize(2);
  }
  TMBFunction41& function = AddFunction<TMBFunction41>("Captures", &AddClient("C", 1));
  function.SetOscilInfoLength(4);
  function.SetOscilDataLength(8);
  EXPECT_THAT(FormDevices(fRoot, fSimulator), IsEmpty());
  for (const auto& [number, oscillogram] : fSimulator.Device(1).Oscillograms) {
    ASSERT_EQ(oscillogram.Info.size(), 4U);
    EXPECT_EQ(TMBLib::ToByteToWord(oscillogram.Info[2], oscillogram.Info[3]),
              oscillogram.Records.size());
  }
}

TEST_F(FormDevice, AddressesAreThoseOnTheWire) {
  TMBLetter& letter = AddLetter("L", &AddClient("C", 1));
  AddReg(letter, 0x03, 0, 0x1'0005);
  AddReg(letter, 0x43, 0, 0xFFFFFF);  // its second byte is the first of all
  AddReg(letter, 0x04, 0, 0xFFFF).SetRegsCount(3);
  EXPECT_THAT(FormDevices(fRoot, fSimulator), IsEmpty());
  TSimulatedDevice& device = fSimulator.Device(1);
  EXPECT_TRUE(device.Holding.Has(5, 1));
  EXPECT_TRUE(device.Paged.Has(0xFFFFFF, 1));
  EXPECT_TRUE(device.Paged.Has(0, 1));
  EXPECT_TRUE(device.Input.Has(0xFFFF, 1));
  EXPECT_TRUE(device.Input.Has(0, 2));
}

// Ten letters, and registers over one another as in forms that show the same values twice.
TEST_F(FormDevice, AHundredThousandRegistersTakeNoQuadraticTime) {
  TMBClient& client = AddClient("C", 1);
  for (int i = 0; i < 10; ++i) {
    TMBLetter& letter = AddLetter(("L" + std::to_string(i)).c_str(), &client);
    for (std::uint32_t r = 0; r < 10'000; ++r) {
      const std::uint8_t write = r % 3 == 0 ? 0x06 : 0;
      AddReg(letter, 0x03, write, r * 5 + static_cast<std::uint32_t>(i) / 2);
    }
  }
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THAT(FormDevices(fRoot, fSimulator), IsEmpty());
  for (std::uint32_t r = 0; r < 50'000; ++r) fSimulator.Device(1).Holding.Get(r, 1);
  const auto taken = std::chrono::steady_clock::now() - begin;
  EXPECT_LT(taken, std::chrono::seconds(15));  // a quadratic one takes minutes
}

}  // namespace
}  // namespace OrvixModBus
