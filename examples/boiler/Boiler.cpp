#include "Boiler.h"

#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"
#include "uMBRTU.h"

namespace OrvixModBus {
namespace {

struct TNumberRow {
  const char* Name;
  double Min, Max;
  std::uint8_t IntPart, RealPart;
  double Step, Multiplier;
  const char* DisplayFormat;
};

constexpr TNumberRow kNumbers[] = {
    {"Temperature", -400, 1200, 2, 0, 0.1, 0.1, "%.1f"},  // signed tenths of a degree
    {"FlueTemperature", 0, 4000, 2, 0, 0.1, 0.1, "%.1f"},
    {"Pressure", 0, 16, 1, 1, 0.01, 1, "%.2f"},  // one byte before the point, one behind
    {"Percent", 0, 1000, 2, 0, 0.1, 0.1, "%.1f"},
    {"Speed", 0, 3000, 2, 0, 1, 1, ""},
    {"Flow", 0, 2500, 2, 0, 0.01, 0.01, "%.2f"},
    {"Hours", 0, 4294967295.0, 4, 0, 0.1, 0.1, "%.1f"},
    {"Count", 0, 4294967295.0, 4, 0, 1, 1, ""},
    {"Word", 0, 65535, 2, 0, 1, 1, ""},
    {"Wave", -10000, 10000, 2, 0, 0.1, 0.1, "%.1f"},  // signed tenths of a volt or an ampere
};

struct TRegRow {
  const char* Name;
  std::uint8_t Read, Write;
  std::uint32_t Adress;
  std::uint8_t Bytes, Count;
  TRegType Kind;
  const char* Type;
  const char* Caption;
};

using enum TRegType;

constexpr TRegRow kRegs[] = {
    {"FeedTemp", 0x03, 0, 100, 2, 1, rtNum, "Temperature", "°C  feed water"},
    {"ReturnTemp", 0x03, 0, 101, 2, 1, rtNum, "Temperature", "°C  return water"},
    {"FlueTemp", 0x03, 0, 102, 2, 1, rtNum, "FlueTemperature", "°C  flue gas"},
    {"TankTemp", 0x03, 0, 103, 2, 1, rtNum, "Temperature", "°C  hot water tank"},
    {"OutdoorTemp", 0x03, 0, 104, 2, 1, rtNum, "Temperature", "°C  outdoors"},
    {"RoomTemp", 0x03, 0, 105, 2, 1, rtNum, "Temperature", "°C  control room"},
    {"FeedPressure", 0x03, 0, 110, 2, 1, rtNum, "Pressure", "bar feed water"},
    {"GasPressure", 0x03, 0, 111, 2, 1, rtNum, "Pressure", "bar gas"},
    {"Mode", 0x03, 0, 130, 2, 1, rtList, "Mode", "operating mode"},
    {"Alarms", 0x03, 0, 131, 2, 1, rtBin, "Alarms", "alarm word"},
    {"SerialNumber", 0x03, 0, 140, 2, 8, rtStr, "", "serial number"},
    {"Pump1Speed", 0x03, 0, 152, 2, 1, rtNum, "Speed", "1/min"},
    {"Pump2Speed", 0x03, 0, 153, 2, 1, rtNum, "Speed", "1/min"},
    {"FanSpeed", 0x03, 0, 154, 2, 1, rtNum, "Speed", "1/min"},
    {"BurnerHours", 0x03, 0, 160, 2, 2, rtNum, "Hours", "h   burner"},
    {"PumpHours", 0x03, 0, 162, 2, 2, rtNum, "Hours", "h   pumps"},
    {"BurnerStarts", 0x03, 0, 164, 2, 2, rtNum, "Count", "starts of the burner"},
    {"Modulation", 0x04, 0, 0, 2, 1, rtNum, "Percent", "%   burner"},
    {"ValveOpening", 0x04, 0, 1, 2, 1, rtNum, "Percent", "%   mixing valve"},
    {"Oxygen", 0x04, 0, 2, 2, 1, rtNum, "Percent", "%   O2 in the flue gas"},
    {"GasFlow", 0x04, 0, 10, 2, 1, rtNum, "Flow", "m3/h"},
    {"WaterFlow", 0x04, 0, 11, 2, 1, rtNum, "Flow", "m3/h"},
    {"GasMeter", 0x04, 0, 12, 2, 2, rtNum, "Count", "m3  gas"},
    {"Pump1", 0x01, 0, 0, 1, 1, rtBin, "OnOff", "pump 1"},
    {"Pump2", 0x01, 0, 1, 1, 1, rtBin, "OnOff", "pump 2"},
    {"Burner", 0x01, 0, 2, 1, 1, rtBin, "OnOff", "burner"},
    {"GasValve", 0x01, 0, 3, 1, 1, rtBin, "OnOff", "gas valve"},
    {"Flame", 0x02, 0, 16, 1, 1, rtBin, "OnOff", "flame seen"},
    {"DoorOpen", 0x02, 0, 17, 1, 1, rtBin, "OnOff", "door contact"},
    {"LowWater", 0x02, 0, 18, 1, 1, rtBin, "OnOff", "low water contact"},
    {"HeatMeter", 0x21, 0, 16, 2, 2, rtNum, "Count", "kWh heat"},
    {"LastService", 0x43, 0, 0x020010, 1, 10, rtStr, "", "date, paged memory"},
};

constexpr TRegRow kSettings[] = {
    {"SetPoint", 0x03, 0x06, 120, 2, 1, rtNum, "Temperature", "°C  wanted feed"},
    {"TankSetPoint", 0x03, 0x10, 121, 2, 1, rtNum, "Temperature", "°C  wanted tank"},
    {"FrostSetPoint", 0x03, 0x10, 122, 2, 1, rtNum, "Temperature", "°C  frost guard"},
    {"NightSetPoint", 0x03, 0x10, 123, 2, 1, rtNum, "Temperature", "°C  at night"},
    {"Recipe", 0x43, 0x66, 0x01FF00, 1, 8, rtStr, "", "recipe name"},
    {"RecipeRamp", 0x43, 0x66, 0x01FF08, 1, 2, rtNum, "Temperature", "°C/h"},
    {"RecipeHold", 0x43, 0x66, 0x01FF0A, 1, 2, rtNum, "Word", "min"},
    {"RecipeSteps", 0x43, 0x66, 0x01FF0C, 1, 2, rtNum, "Word", "steps"},
};

struct TFieldRow {
  const char* Structur;
  const char* Name;
  TRegType Kind;
  const char* Type;
  std::int16_t Offset;
  std::uint16_t Size;
  const char* Unit;
};

constexpr TFieldRow kFields[] = {
    {"Service", "Date", rtStr, "", 0, 10, ""},
    {"Service", "Technician", rtStr, "", 10, 8, ""},
    {"Service", "Hours", rtNum, "Hours", 18, 4, "h"},
    {"Service", "Mode", rtList, "Mode", 22, 2, ""},
    {"Event", "Time", rtNum, "Count", 0, 4, "s"},  // since 1970
    {"Event", "Event", rtList, "Event", 4, 2, ""},
    {"Event", "Feed", rtNum, "Temperature", 6, 2, "°C"},
    {"Event", "Pressure", rtNum, "Pressure", 8, 2, "bar"},
    {"Event", "Burner", rtNum, "Percent", 10, 2, "%"},
    {"Capture", "Title", rtStr, "", 0, 16, ""},
    {"Capture", "Trigger", rtStr, "", 16, 20, ""},
    {"Capture", "Interval", rtNum, "Word", 36, 2, "us"},
    {"Capture", "Before", rtNum, "Word", 38, 2, ""},  // records before the trigger
    {"Capture", "Records", rtNum, "Word", 40, 2, ""},
    {"Sample", "U1", rtNum, "Wave", 0, 2, "V"},
    {"Sample", "I1", rtNum, "Wave", 2, 2, "A"},
    {"Sample", "I2", rtNum, "Wave", 4, 2, "A"},
    {"Sample", "I3", rtNum, "Wave", 6, 2, "A"},
};

template <class T>
T& New(TComponent& root, const char* name) {
  T& made = *new T(&root);  // root owns it
  made.SetName(name);
  return made;
}

// To the lists or the bit fields of a catalogue.
template <class TTypes>
void Add(TTypes& types, const char* name, std::initializer_list<const char*> texts) {
  auto& type = *types.Add();
  type.SetName(name);
  for (const char* text : texts) type.Dictionary().Add(text);
}

void AddNumbers(TMBRegTypeNumbers& numbers) {
  for (const TNumberRow& row : kNumbers) {
    TMBRegTypeNumber& number = *numbers.Add();
    number.SetName(row.Name);
    number.SetMinValue(row.Min);
    number.SetMaxValue(row.Max);
    number.SetIntPart(row.IntPart);
    number.SetRealPart(row.RealPart);
    number.SetStep(row.Step);
    number.SetMultiplier(row.Multiplier);
    number.SetDisplayFormat(row.DisplayFormat);
  }
}

void AddFields(TMBRegTypeStructurs& structurs) {
  for (const TFieldRow& row : kFields) {
    TMBRegTypeStructure& field = *structurs.Add();
    field.SetName(row.Name);
    field.SetStructurName(row.Structur);
    field.SetRegType(row.Kind);
    field.SetRegTypeName(row.Type);
    field.SetOffset(row.Offset);
    field.SetSize(row.Size);
    field.SetCaption(row.Unit);
  }
}

TMBTypeInfo& BuildTypes(TComponent& root) {
  auto& types = New<TMBTypeInfo>(root, "Types");
  Add(types.TypeLists(), "Mode", {"0=Off", "1=Stand-by", "2=Heating", "3=Hot water", "4=Fault"});
  Add(types.TypeLists(), "Event",
      {"0=burner on", "1=burner off", "2=low feed pressure", "3=feed pressure back", "4=hot water",
       "5=heating"});
  Add(types.TypeBins(), "Alarms",
      {"0=|flame failure", "1=|low feed pressure", "2=|over-temperature", "9=|service due"});
  Add(types.TypeBins(), "OnOff", {"0=off|on"});
  AddNumbers(types.TypeNumbers());
  AddFields(types.TypeStructurs());
  return types;
}

TMBClient& BuildClient(TComponent& root) {
  auto& line = New<TMBRTUConnection>(root, "Line");
  line.SetPortProperty("/dev/ttyUSB0");
  line.SetBaudRate(19200);
  line.SetReceiveTimeout(300);
  line.SetMaxRetries(1);
  auto& connection = New<TMBConnection>(root, "Connection");
  connection.SetRTU(&line);
  auto& client = New<TMBClient>(root, "Controller");
  client.SetConnection(&connection);
  client.SetAdres(17);
  return client;
}

void BuildLetter(TComponent& root, const char* name, std::span<const TRegRow> rows,
                 TMBClient& client, TMBTypeInfo& types) {
  auto& letter = New<TMBLetter>(root, name);
  letter.SetClient(&client);
  letter.Regs().SetMBTypeInfo(&types);
  for (const TRegRow& row : rows) {
    TMBReg& reg = *letter.Regs().Add();
    reg.SetDisplayName(row.Name);
    reg.SetRegAdress(row.Adress);
    reg.SetMBFuncRead(row.Read);
    reg.SetMBFuncWrite(row.Write);
    reg.SetBytesInOneReg(row.Bytes);
    reg.SetRegsCount(row.Count);
    reg.SetRegType(row.Kind);
    reg.SetTypeName(row.Type);
    reg.SetCaption(row.Caption);
  }
}

void BuildRecordings(TComponent& root, TMBClient& client) {
  auto& events = New<TMBFunction20>(root, "Events");
  events.SetMBClient(&client);
  events.SetOneRecordLength(12);
  auto& captures = New<TMBFunction41>(root, "Captures");
  captures.SetMBClient(&client);
  captures.SetOscilInfoLength(42);
  captures.SetOscilDataLength(8);
}

}  // namespace

void BuildBoiler(TComponent& root) {
  root.SetName("Plant");
  TMBClient& client = BuildClient(root);
  TMBTypeInfo& types = BuildTypes(root);
  BuildLetter(root, "Boiler", kRegs, client, types);
  BuildLetter(root, "Settings", kSettings, client, types);
  BuildRecordings(root, client);
}

}  // namespace OrvixModBus
