#include "tools/orvixmb/uFormCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "tests/src/uTestRegs.h"
#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {
namespace {

template <class T>
T& Named(T* component, const std::string& name) {
  component->SetName(name);
  return *component;
}

// Nothing in it surprises. Its components belong to Root.
struct TCleanForm {
  TCleanForm() {
    Connection.SetRTU(&Line);
    Client.SetConnection(&Connection);
    TMBRegTypeNumber& bar = *Types.TypeNumbers().Add();
    bar.SetName("Bar");
    bar.SetMultiplier(0.1);
    Types.TypeLists().Add()->SetName("Modes");
    Types.TypeBins().Add()->SetName("Alarms");
    AddField("Event", "When", 0, 6);
    AddField("Event", "What", 6, 2);
    Letter.SetClient(&Client);
    Letter.Regs().SetMBTypeInfo(&Types);
    AddTyped({.Name = "Pressure", .Adress = 10}, TRegType::rtNum, "Bar");
    AddTyped({.Name = "Mode", .Adress = 11}, TRegType::rtList, "Modes");
    AddTyped({.Name = "Alarm", .Adress = 20}, TRegType::rtBin, "Alarms");
    AddTyped({.Name = "Last", .Adress = 30, .Count = 2}, TRegType::rtStructur, "Event");
    AddTyped({.Name = "Serial", .Adress = 40, .Count = 8}, TRegType::rtStr, "");
    Add({.Name = "Pump", .Adress = 10, .Read = 0x01, .Width = 1, .Write = 0});
    Add({.Name = "Memory",
         .Adress = 0x1FF00,
         .Count = 16,
         .Read = 0x43,
         .Width = 1,
         .Write = 0x65});
    Log.SetMBClient(&Client);
    Log.SetOneRecordLength(248);
  }

  TMBReg& Add(const TRegTraits& traits) { return AddReg(Letter.Regs(), traits); }
  TMBReg& AddTyped(const TRegTraits& traits, TRegType type, const std::string& typeName) {
    TMBReg& reg = Add(traits);
    reg.SetRegType(type);
    reg.SetTypeName(typeName);
    return reg;
  }
  TMBReg& Reg(const std::string& name) { return *Letter.Regs().GetItemByName(name); }
  TMBRegTypeStructure& AddField(const std::string& structur, const std::string& name, int offset,
                                int size) {
    TMBRegTypeStructure& field = *Types.TypeStructurs().Add();
    field.SetStructurName(structur);
    field.SetName(name);
    field.SetOffset(static_cast<std::int16_t>(offset));
    field.SetSize(static_cast<std::uint16_t>(size));
    return field;
  }
  void Nest(const std::string& structur, const std::string& name, const std::string& nested) {
    TMBRegTypeStructure& field = AddField(structur, name, 0, 2);
    field.SetRegType(TRegType::rtStructur);
    field.SetRegTypeName(nested);
  }

  TComponent Root;
  TMBRTUConnection& Line = Named(new TMBRTUConnection(&Root), "Line");
  TMBConnection& Connection = Named(new TMBConnection(&Root), "Connection");
  TMBClient& Client = Named(new TMBClient(&Root), "Boiler");
  TMBTypeInfo& Types = Named(new TMBTypeInfo(&Root), "Types");
  TMBLetter& Letter = Named(new TMBLetter(&Root), "Letter");
  TMBFunction20& Log = Named(new TMBFunction20(&Root), "Log");
};

TStringDynArray Warnings(const TCleanForm& form) {
  TStringDynArray texts;
  for (const TFormWarning& warning : CheckForm(form.Root)) texts.push_back(WarningText(warning));
  return texts;
}

TEST(FormCheck, ACleanFormGivesNoWarning) {
  EXPECT_THAT(Warnings(TCleanForm()), testing::IsEmpty());
}

struct TWarningRow {
  const char* Situation;
  std::function<void(TCleanForm&)> Spoil;
  TStringDynArray Warnings;
};

void ExpectWarnings(const std::vector<TWarningRow>& rows) {
  for (const TWarningRow& row : rows) {
    SCOPED_TRACE(row.Situation);
    TCleanForm form;
    row.Spoil(form);
    EXPECT_EQ(Warnings(form), row.Warnings);
  }
}

TEST(FormCheck, TypesOfRegisters) {
  ExpectWarnings({
      {"number not in the catalogue",
       [](TCleanForm& form) { form.Reg("Pressure").SetTypeName("bar"); },
       {"Letter.Pressure.RegTypeName: there is no number type bar in Types, so its value stays "
        "empty"}},
      {"number longer than its register",
       [](TCleanForm& form) { form.Types.TypeNumbers().Items(0)->SetIntPart(4); },
       {"Letter.Pressure.RegTypeName: decoding its 2 bytes raises an exception: Length of data "
        "byte array error"}},
      {"number in a format for texts",
       [](TCleanForm& form) { form.Types.TypeNumbers().Items(0)->SetDisplayFormat("%s"); },
       {"Letter.Pressure.RegTypeName: decoding its 2 bytes raises an exception: Format '%s' "
        "invalid or incompatible with argument"}},
      {"list under the name of a number",
       [](TCleanForm& form) { form.Reg("Mode").SetTypeName("Bar"); },
       {"Letter.Mode.RegTypeName: there is no list type Bar in Types, so its value stays empty"}},
      {"bit type without a name",
       [](TCleanForm& form) { form.Reg("Alarm").SetTypeName(""); },
       {"Letter.Alarm.RegTypeName: a bit type needs a name, so its value stays empty"}},
      {"structure not in the catalogue",
       [](TCleanForm& form) { form.Reg("Last").SetTypeName("Evnt"); },
       {"Letter.Last.RegTypeName: there is no structure Evnt in Types, so only its code is shown"}},
      {"no catalogue",
       [](TCleanForm& form) { form.Reg("Pressure").SetTypeInfo(nullptr); },
       {"Letter.Pressure.TypeInfo: a number type needs a catalogue, so its value stays empty"}},
      {"no catalogue, but a handler that decodes",
       [](TCleanForm& form) {
         form.Reg("Pressure").SetTypeInfo(nullptr);
         form.Reg("Pressure").OnDataToValue = [](const Bytes&, TRegValue&) {};
       },
       {}},
      {"a catalogue whose handler decodes",
       [](TCleanForm& form) {
         form.Reg("Pressure").SetTypeName("bar");
         form.Types.OnDataToValue = [](auto&&...) { return TRegValue(); };
       },
       {}},
  });
}

TEST(FormCheck, NamesOfRegisters) {
  ExpectWarnings({
      {"two of one name",
       [](TCleanForm& form) { form.Add({.Name = "PUMP", .Adress = 90}); },
       {"Letter.PUMP.Name: its name finds the register Pump at 10, so this one is not found by "
        "name"}},
      {"the same name but for the bit",
       [](TCleanForm& form) { form.Add({.Name = "Mode[3]", .Adress = 90}); },
       {"Letter.Mode[3].Name: its name finds the register Mode at 11, so this one is not found by "
        "name"}},
      {"the name of its construction",
       [](TCleanForm& form) { form.Add({.Name = "Reg7", .Adress = 90}); },
       {"Letter.Reg7.Name: it was given no name of its own, so it is not found by name"}},
  });
}

TEST(FormCheck, RegistersThatAreNotReadOrWritten) {
  ExpectWarnings({
      {"read code 0",
       [](TCleanForm& form) { form.Reg("Alarm").SetMBFuncRead(0); },
       {"Letter.Alarm.MBFuncRead: no letter reads with $00, so it is never read"}},
      {"a code that only files are read with",
       [](TCleanForm& form) { form.Reg("Alarm").SetMBFuncRead(0x14); },
       {"Letter.Alarm.MBFuncRead: no letter reads with $14, so it is never read"}},
      {"count 0",
       [](TCleanForm& form) { form.Reg("Alarm").SetRegsCount(0); },
       {"Letter.Alarm.Count: it has no registers, so it is never read"}},
      {"width 0",
       [](TCleanForm& form) { form.Reg("Alarm").SetBytesInOneReg(0); },
       {"Letter.Alarm.BytesInOneReg: it has no registers, so it is never read"}},
      {"$02 on an emulated device",
       [](TCleanForm& form) {
         form.Connection.SetConnectionType(TConnectionType::mbEmul);
         form.Reg("Pump").SetMBFuncRead(0x02);
       },
       {"Letter.Pump.MBFuncRead: emulation leaves out $02, so it is never read"}},
      {"past the last 16-bit address",
       [](TCleanForm& form) { form.Add({.Name = "High", .Adress = 65535, .Count = 2}); },
       {"Letter.High.Adress: $03 sends only 16 bits of an address, so another one is read"}},
      {"the last 16-bit address",
       [](TCleanForm& form) { form.Add({.Name = "High", .Adress = 65535}); },
       {}},
      {"a write code that the client does not know",
       [](TCleanForm& form) { form.Reg("Alarm").SetMBFuncWrite(0x0F); },
       {"Letter.Alarm.MBFuncWrite: the client does not write by $0F, so nothing is sent, yet the "
        "letter waits for an answer"}},
      {"one byte by $05",
       [](TCleanForm& form) { form.Reg("Pump").SetMBFuncWrite(0x05); },
       {"Letter.Pump.MBFuncWrite: $05 writes pairs of bytes, so nothing is sent, yet the letter "
        "waits for an answer"}},
      {"one byte by $06",
       [](TCleanForm& form) { form.Reg("Pump").SetMBFuncWrite(0x06); },
       {"Letter.Pump.MBFuncWrite: $06 writes 2 bytes for each register, so writing fewer is "
        "refused"}},
      {"129 bytes by $65",
       [](TCleanForm& form) { form.Reg("Memory").SetRegsCount(129); },
       {"Letter.Memory.MBFuncWrite: $65 writes at most 128 bytes, so writing more is refused"}},
  });
}

TEST(FormCheck, OverlappingRegisters) {
  ExpectWarnings({
      {"the same addresses twice",
       [](TCleanForm& form) { form.Add({.Name = "Again", .Adress = 20}); },
       {"Letter.Again.Adress: it has the addresses of Alarm, so both hold the same data"}},
      {"other addresses",
       [](TCleanForm& form) { form.Add({.Name = "Part", .Adress = 41, .Count = 8}); },
       {"Letter.Part.Adress: it has addresses of Serial, but another range or width, so each holds "
        "part of the other's data"}},
      {"another width",
       [](TCleanForm& form) { form.Add({.Name = "Wide", .Adress = 20, .Width = 4}); },
       {"Letter.Wide.Adress: it has addresses of Alarm, but another range or width, so each holds "
        "part of the other's data",
        "Letter.Wide.BytesInOneReg: its request counts 2 bytes per register, as Alarm has, and not "
        "4, so its data are taken from the wrong place"}},
      {"a short one at the end of a long one",
       [](TCleanForm& form) { form.Add({.Name = "Inside", .Adress = 42}); },
       {"Letter.Inside.Adress: it has addresses of Serial, but another range or width, so each "
        "holds part of the other's data",
        "Letter.Serial.Count: its request ends with Inside, so it is not read whole"}},
      {"two short ones in a long one",
       [](TCleanForm& form) {
         form.Add({.Name = "Inside", .Adress = 42});
         form.Add({.Name = "Behind", .Adress = 46});
       },
       {"Letter.Inside.Adress: it has addresses of Serial, but another range or width, so each "
        "holds part of the other's data",
        "Letter.Behind.Adress: it has addresses of Serial, but another range or width, so each "
        "holds part of the other's data",
        "Letter.Serial.Count: its request ends with Inside, so it is not read whole"}},
      {"the same addresses by another function",
       [](TCleanForm& form) { form.Add({.Name = "Input", .Adress = 20, .Read = 0x04}); },
       {}},
  });
}

TEST(FormCheck, RequestsThatSurprise) {
  ExpectWarnings({
      {"more than 128 bits",
       [](TCleanForm& form) {
         form.Add({.Name = "A", .Adress = 20, .Count = 128, .Read = 1, .Width = 1, .Write = 0});
         form.Add({.Name = "B", .Adress = 148, .Read = 1, .Width = 1, .Write = 0});
       },
       {"Letter.B.Adress: it begins another request, because one reads at most 128 registers, bits "
        "or bytes"}},
      {"more than 250 bytes",
       [](TCleanForm& form) {
         form.Add({.Name = "A", .Adress = 60, .Count = 100});
         form.Add({.Name = "B", .Adress = 160, .Count = 26});
       },
       {"Letter.B.Adress: it begins another request, because one reads at most 250 bytes"}},
      {"far above the lowest address",
       [](TCleanForm& form) {
         form.Add({.Name = "A", .Adress = 200, .Read = 0x04});
         form.Add({.Name = "B", .Adress = 201, .Read = 0x04});
       },
       {"Letter.B.Adress: it begins another request, because it ends more than 128 above the "
        "lowest "
        "address of the letter"}},
      {"a multiple of 256",
       [](TCleanForm& form) {
         form.Add({.Name = "A", .Adress = 255});
         form.Add({.Name = "B", .Adress = 256});
       },
       {"Letter.B.Adress: it begins another request, because its address is a multiple of 256"}},
      {"a coil in the last byte of another reply",
       [](TCleanForm& form) {
         form.Add({.Name = "A", .Adress = 40, .Read = 1, .Width = 1, .Write = 0});
         form.Add({.Name = "B", .Adress = 47, .Read = 1, .Width = 1, .Write = 0});
         form.Add({.Name = "C", .Adress = 55, .Read = 1, .Width = 1, .Write = 0});
       },
       {"Letter.B.Adress: it lies in the last byte of the reply that begins with A, and until its "
        "own request is answered it takes that byte's padding for its value"}},
      {"a gap is no surprise", [](TCleanForm& form) { form.Add({.Name = "A", .Adress = 70}); }, {}},
      {"up to the end of a page",
       [](TCleanForm& form) { form.Reg("Memory").SetRegAdress(0x1FFF0); },
       {"Letter.Memory.Adress: its request ends with a page of 64 KiB, so another one of 0 bytes "
        "follows and OnReadAllRegs comes twice"}},
      {"past the end of a page",
       [](TCleanForm& form) { form.Reg("Memory").SetRegAdress(0x1FFF8); },
       {"Letter.Memory.Adress: its request passes the end of a page of 64 KiB and is asked for in "
        "two that begin at the same address, so what lies behind is not read and OnReadAllRegs "
        "comes "
        "twice"}},
      {"six bytes by $21",
       [](TCleanForm& form) {
         form.Add({.Name = "A", .Adress = 10, .Count = 2, .Read = 0x21, .Write = 0});
         form.Add({.Name = "B", .Adress = 12, .Read = 0x21, .Write = 0});
       },
       {"Letter.B.Adress: a reply to $21 holds four bytes whatever is asked for, so it is not "
        "read"}},
      {"one byte per holding register",
       [](TCleanForm& form) {
         form.Add({.Name = "A", .Adress = 90, .Count = 4, .Width = 1, .Write = 0});
       },
       {"Letter.A.BytesInOneReg: $03 asks for 2 instead of the 4 of its request, because of this "
        "width of 1"}},
      {"an emulated device gets no requests",
       [](TCleanForm& form) {
         form.Connection.SetConnectionType(TConnectionType::mbEmul);
         form.Add({.Name = "A", .Adress = 255});
         form.Add({.Name = "B", .Adress = 256});
       },
       {}},
  });
}

TEST(FormCheck, DescriptionsOfTypes) {
  ExpectWarnings({
      {"no multiplier",
       [](TCleanForm& form) { form.Types.TypeNumbers().Add()->SetName("Raw"); },
       {"Types.Raw.Multiplier: it is 0, so every value reads as 0 and writing raises EZeroDivide"}},
      {"a structure in itself",
       [](TCleanForm& form) { form.Nest("Tree", "Branch", "Tree"); },
       {"Types.Tree.Branch.RegTypeName: structure Tree comes to contain itself by it, so adding "
        "its "
        "registers is refused"}},
      {"a structure in itself by another one",
       [](TCleanForm& form) {
         form.Nest("Outer", "Whole", "Egg");
         form.Nest("Egg", "Hen", "Hen");
         form.Nest("Hen", "Egg", "Egg");
       },
       {"Types.Hen.Egg.RegTypeName: structure Egg comes to contain itself by it, so adding its "
        "registers is refused"}},
      {"a structure twice in another one is none in itself",
       [](TCleanForm& form) {
         form.Nest("Pair", "Left", "Event");
         form.Nest("Pair", "Right", "Event");
         form.Types.TypeStructurs().GetItemByName("Right", "Pair")->SetOffset(2);
       },
       {}},
      {"a field of an unknown number type",
       [](TCleanForm& form) {
         TMBRegTypeStructure& field = form.AddField("Other", "Value", 0, 2);
         field.SetRegType(TRegType::rtNum);
         field.SetRegTypeName("Psi");
       },
       {"Types.Other.Value.RegTypeName: there is no number type Psi, so it stays empty"}},
      {"a field of an unknown bit type",
       [](TCleanForm& form) {
         TMBRegTypeStructure& field = form.AddField("Other", "Flags", 0, 2);
         field.SetRegType(TRegType::rtBin);
         field.SetRegTypeName("Faults");
       },
       {"Types.Other.Flags.RegTypeName: there is no bit type Faults, so decoding a block raises an "
        "exception"}},
      {"overlapping fields",
       [](TCleanForm& form) { form.AddField("Event", "Day", 4, 2); },
       {"Types.Event.Day.Offset: it begins before When ends, so the two share bytes"}},
      {"a field past the last one",
       [](TCleanForm& form) { form.AddField("Event", "Rest", 5, 8); },
       {"Types.Event.Rest.Size: it ends behind What, the last field, so decoding a block is "
        "refused",
        "Types.Event.Rest.Offset: it begins before When ends, so the two share bytes",
        "Types.Event.What.Offset: it begins before Rest ends, so the two share bytes"}},
      {"a field before the first byte",
       [](TCleanForm& form) { form.AddField("Event", "Head", -2, 2); },
       {"Types.Event.Head.Offset: it begins before the structure, so decoding a block is refused"}},
  });
}

TEST(FormCheck, ClientsAndConnections) {
  ExpectWarnings({
      {"a letter without a client",
       [](TCleanForm& form) { form.Letter.SetClient(nullptr); },
       {"Letter.Client: there is no client, so reading and writing raise an exception"}},
      {"a client without a connection",
       [](TCleanForm& form) { form.Client.SetConnection(nullptr); },
       {"Boiler.Connection: there is no connection, so nothing is sent"}},
      {"a client with the connection it was made with",
       [](TCleanForm& form) { Named(new TMBClient(&form.Root), "New"); },
       {"New.Connection: there is no connection, so nothing is sent"}},
      {"a connection without a line",
       [](TCleanForm& form) { form.Connection.SetRTU(nullptr); },
       {"Connection.RTU: there is no serial line, so nothing is sent"}},
      {"mbTCP",
       [](TCleanForm& form) { form.Connection.SetConnectionType(TConnectionType::mbTCP); },
       {"Connection.ConnectionType: nothing is ever sent over mbTCP"}},
      {"one address twice on one line, by two connections",
       [](TCleanForm& form) {
         TMBConnection& connection = Named(new TMBConnection(&form.Root), "Second");
         connection.SetRTU(&form.Line);
         Named(new TMBClient(&form.Root), "Twin").SetConnection(&connection);
       },
       {"Twin.Adres: Boiler has the same server address 1 on the same line, so both clients talk "
        "to "
        "one device"}},
      {"another address on the same line",
       [](TCleanForm& form) {
         TMBClient& other = Named(new TMBClient(&form.Root), "Other");
         other.SetConnection(&form.Connection);
         other.SetAdres(2);
       },
       {}},
      {"the broadcast address",
       [](TCleanForm& form) { form.Client.SetAdres(0); },
       {"Letter.Client: Boiler has server address 0, a broadcast that no device answers, so "
        "nothing "
        "is read",
        "Log.MBClient: Boiler has server address 0, a broadcast that no device answers"}},
      {"MaxHole",
       [](TCleanForm& form) { form.Letter.SetMaxHole(4); },
       {"Letter.MaxHole: any gap between registers ends a request, so this changes nothing"}},
  });
}

TEST(FormCheck, LogsAndOscillograms) {
  ExpectWarnings({
      {"no client",
       [](TCleanForm& form) {
         Named(new TMBFunction24(&form.Root), "Events").SetOneRecordLength(200);
       },
       {"Events.MBClient: there is no client, so its requests do nothing"}},
      {"several records in one reply",
       [](TCleanForm& form) { form.Log.SetOneRecordLength(16); },
       {"Log.OneRecordLength: each request asks for 15 records, so the last one may ask past the "
        "end"}},
      {"no record length",
       [](TCleanForm& form) { form.Log.SetOneRecordLength(-1); },
       {"Log.OneRecordLength: a reply holds records of 1 to 248 bytes, not -1, so reading them "
        "raises an exception"}},
      {"records that no reply holds",
       [](TCleanForm& form) { form.Log.SetOneRecordLength(249); },
       {"Log.OneRecordLength: a reply holds records of 1 to 248 bytes, not 249, so reading them "
        "raises an exception"}},
      {"an oscillogram without lengths",
       [](TCleanForm& form) {
         Named(new TMBFunction41(&form.Root), "Scope").SetMBClient(&form.Client);
       },
       {"Scope.OscilInfoLength: it is below 1, so no description is handed over",
        "Scope.OscilDataLength: a reply holds records of 1 to 248 bytes, not 0, so reading them "
        "raises an exception"}},
  });
}

TEST(FormCheck, GoesThroughTheTreeInOrder) {
  TComponent root;
  TComponent& first = Named(new TComponent(&root), "Group");
  Named(new TMBLetter(&root), "Last");
  Named(new TMBLetter(&first), "Inner");
  TStringDynArray components;
  for (const TFormWarning& warning : CheckForm(root)) components.push_back(warning.Component);
  EXPECT_EQ(components, (TStringDynArray{"Inner", "Last"}));
}

TEST(FormCheck, AComponentWithoutANameIsCalledByItsClass) {
  const TMBLetter letter;
  const auto warnings = CheckForm(letter);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].Component, "TMBLetter");
}

TEST(FormCheck, AHundredThousandRegistersThatAllOverlap) {
  TCleanForm form;
  constexpr std::uint32_t kMany = 100000;
  for (std::uint32_t i = 0; i < kMany; ++i) {
    form.AddTyped({.Name = "R" + std::to_string(i), .Adress = 1000 + i / 2}, TRegType::rtStructur,
                  "Missing");
  }
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_GT(CheckForm(form.Root).size(), kMany);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

}  // namespace
}  // namespace OrvixModBus
