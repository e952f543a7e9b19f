#include "Plant.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>

#include "tools/simulator/uSimulatedFormula.h"
#include "tools/simulator/uSimulatedRecord.h"

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
    {"Temperature", -500, 9999, 2, 0, 0.1, 0.1, "%.1f"},  // signed tenths of a degree
    {"Pressure", 0, 255, 1, 1, 0.01, 1, "%.2f"},          // one byte before the point, one behind
    {"Percent", 0, 1000, 2, 0, 0.1, 0.1, "%.1f"},
    {"Speed", 0, 3000, 2, 0, 1, 1, ""},
    {"Flow", 0, 65535, 2, 0, 0.01, 0.01, "%.2f"},
    {"Hours", 0, 4294967295.0, 4, 0, 0.1, 0.1, "%.1f"},
    {"Count", 0, 4294967295.0, 4, 0, 1, 1, ""},
    {"Word", 0, 65535, 2, 0, 1, 1, ""},
    {"Wave", -10000, 10000, 2, 0, 0.1, 0.1, "%.1f"},  // signed tenths of a volt or an ampere
};

struct TRegRow {
  const char* Name;
  std::uint8_t Func;
  std::uint32_t Adress;
  std::uint8_t Bytes, Count;
  TRegType Kind;
  const char* Type;
  const char* Caption;
};

using enum TRegType;

constexpr TRegRow kRegs[] = {
    {"FeedTemp", 0x03, 100, 2, 1, rtNum, "Temperature", "°C  feed water"},
    {"ReturnTemp", 0x03, 101, 2, 1, rtNum, "Temperature", "°C  return water"},
    {"FlueTemp", 0x03, 102, 2, 1, rtNum, "Temperature", "°C  flue gas"},
    {"TankTemp", 0x03, 103, 2, 1, rtNum, "Temperature", "°C  hot water tank"},
    {"OutdoorTemp", 0x03, 104, 2, 1, rtNum, "Temperature", "°C  outdoors"},
    {"RoomTemp", 0x03, 105, 2, 1, rtNum, "Temperature", "°C  control room"},
    {"FeedPressure", 0x03, 110, 2, 1, rtNum, "Pressure", "bar feed water"},
    {"GasPressure", 0x03, 111, 2, 1, rtNum, "Pressure", "bar gas"},
    {"SetPoint", 0x03, 120, 2, 1, rtNum, "Temperature", "°C  wanted feed"},
    {"TankSetPoint", 0x03, 121, 2, 1, rtNum, "Temperature", "°C  wanted tank"},
    {"Mode", 0x03, 130, 2, 1, rtList, "Mode", "operating mode"},
    {"Alarms", 0x03, 131, 2, 1, rtBin, "Alarms", "alarm word"},
    {"SerialNumber", 0x03, 140, 2, 8, rtStr, "", "serial number"},
    {"Pump1Speed", 0x03, 152, 2, 1, rtNum, "Speed", "1/min"},
    {"Pump2Speed", 0x03, 153, 2, 1, rtNum, "Speed", "1/min"},
    {"FanSpeed", 0x03, 154, 2, 1, rtNum, "Speed", "1/min"},
    {"BurnerHours", 0x03, 160, 2, 2, rtNum, "Hours", "h   burner"},
    {"PumpHours", 0x03, 162, 2, 2, rtNum, "Hours", "h   pumps"},
    {"BurnerStarts", 0x03, 164, 2, 2, rtNum, "Count", "starts of the burner"},
    {kRefusedReg, 0x03, 900, 2, 1, rtNum, "Temperature", "not fitted in this plant"},
    {"Modulation", 0x04, 0, 2, 1, rtNum, "Percent", "%   burner"},
    {"ValveOpening", 0x04, 1, 2, 1, rtNum, "Percent", "%   mixing valve"},
    {"Oxygen", 0x04, 2, 2, 1, rtNum, "Percent", "%   O2 in the flue gas"},
    {"GasFlow", 0x04, 10, 2, 1, rtNum, "Flow", "m3/h"},
    {"WaterFlow", 0x04, 11, 2, 1, rtNum, "Flow", "m3/h"},
    {"GasMeter", 0x04, 12, 2, 2, rtNum, "Count", "m3  gas"},
    {"Pump1", 0x01, 0, 1, 1, rtBin, "OnOff", "pump 1"},
    {"Pump2", 0x01, 1, 1, 1, rtBin, "OnOff", "pump 2"},
    {"Burner", 0x01, 2, 1, 1, rtBin, "OnOff", "burner"},
    {"GasValve", 0x01, 3, 1, 1, rtBin, "OnOff", "gas valve"},
    {"Flame", 0x02, 16, 1, 1, rtBin, "OnOff", "flame seen"},
    {"DoorOpen", 0x02, 17, 1, 1, rtBin, "OnOff", "door contact"},
    {"LowWater", 0x02, 18, 1, 1, rtBin, "OnOff", "low water contact"},
    {"HeatMeter", 0x21, 16, 2, 2, rtNum, "Count", "kWh heat"},
    {"Recipe", 0x43, 0x01FF00, 1, 8, rtStr, "", "recipe name, paged memory"},
    {"RecipeRamp", 0x43, 0x01FF08, 1, 2, rtNum, "Temperature", "°C/h, paged memory"},
    {"RecipeHold", 0x43, 0x01FF0A, 1, 2, rtNum, "Word", "min, paged memory"},
    {"RecipeSteps", 0x43, 0x01FF0C, 1, 2, rtNum, "Word", "steps, paged memory"},
    {"LastService", 0x43, 0x020010, 1, 10, rtStr, "", "date, paged memory"},
    {kSilentReg, 0x44, 0x030000, 1, 2, rtNum, "Word", "its server is switched off"},
};

struct TSettingRow {
  TRegRow Reg;
  std::uint8_t Write;
  const char* NewValue;
};

constexpr TSettingRow kSettings[] = {
    {{"SetPoint", 0x03, 120, 2, 1, rtNum, "Temperature", "°C  wanted feed"}, 0x06, "82.5"},
    {{"TankSetPoint", 0x03, 121, 2, 1, rtNum, "Temperature", "°C  wanted tank"}, 0x10, "58"},
    {{"FrostSetPoint", 0x03, 122, 2, 1, rtNum, "Temperature", "°C  frost guard"}, 0x10, "4.5"},
    {{"NightSetPoint", 0x03, 123, 2, 1, rtNum, "Temperature", "°C  at night"}, 0x10, "61"},
    {{"Recipe", 0x43, 0x01FF00, 1, 8, rtStr, "", "recipe name"}, 0x66, "SPRING 1"},
    {{"RecipeRamp", 0x43, 0x01FF08, 1, 2, rtNum, "Temperature", "°C/h"}, 0x66, "9.5"},
    {{"RecipeHold", 0x43, 0x01FF0A, 1, 2, rtNum, "Word", "min"}, 0x66, "30"},
    {{"RecipeSteps", 0x43, 0x01FF0C, 1, 2, rtNum, "Word", "steps"}, 0x66, "5"},
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
    {kServiceStructur, "Date", rtStr, "", 0, 10, ""},
    {kServiceStructur, "Technician", rtStr, "", 10, 8, ""},
    {kServiceStructur, "Hours", rtNum, "Hours", 18, 4, "h"},
    {kServiceStructur, "Mode", rtList, "Mode", 22, 2, ""},
    {kEventStructur, "Time", rtNone, "", 0, 4,
     ""},  // seconds since 1970, which we decode ourselves
    {kEventStructur, "Event", rtList, "Event", 4, 2, ""},
    {kEventStructur, "Feed", rtNum, "Temperature", 6, 2, "°C"},
    {kEventStructur, "Pressure", rtNum, "Pressure", 8, 2, "bar"},
    {kEventStructur, "Burner", rtNum, "Percent", 10, 2, "%"},
    {kCaptureStructur, "Title", rtStr, "", 0, 16, ""},
    {kCaptureStructur, "Trigger", rtStr, "", 16, 20, ""},
    {kCaptureStructur, "Interval", rtNum, "Word", 36, 2, "us"},
    {kCaptureStructur, "Before", rtNum, "Word", 38, 2, ""},  // records before the trigger
    {kCaptureStructur, "Records", rtNum, "Word", 40, 2, ""},
    {kSampleStructur, "U1", rtNum, "Wave", 0, 2, "V"},
    {kSampleStructur, "I1", rtNum, "Wave", 2, 2, "A"},
    {kSampleStructur, "I2", rtNum, "Wave", 4, 2, "A"},
    {kSampleStructur, "I3", rtNum, "Wave", 6, 2, "A"},
};

struct TServiceRow {
  const char* DateAndTechnician;
  std::uint8_t Rest[6];  // hours in tenths, four bytes; mode, two
};

constexpr TServiceRow kServices[kServiceRecords] = {
    {"2023-09-11Petrov  ", {0x00, 0x00, 0x27, 0x74, 0, 2}},
    {"2024-09-16Petrov  ", {0x00, 0x00, 0x8B, 0x1C, 0, 2}},
    {"2025-09-15Ivanova ", {0x00, 0x01, 0x2A, 0x09, 0, 4}},
    {"2026-09-14Ivanova ", {0x00, 0x01, 0xC2, 0x50, 0, 1}},
};

void DescribeRegister(TMBReg& reg, const TRegRow& row) {
  reg.SetDisplayName(row.Name);
  reg.SetMBFuncRead(row.Func);
  reg.SetRegAdress(row.Adress);
  reg.SetBytesInOneReg(row.Bytes);
  reg.SetRegsCount(row.Count);
  reg.SetRegType(row.Kind);
  reg.SetTypeName(row.Type);
  reg.SetCaption(row.Caption);
}

void DescribeStructurs(TMBRegTypeStructurs& structurs) {
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

void BuildServiceLog(TSimulatedFile& file) {
  std::uint16_t number = 0;
  for (const TServiceRow& row : kServices) {
    const std::string_view text = row.DateAndTechnician;
    Bytes record(text.begin(), text.end());
    record.insert(record.end(), std::begin(row.Rest), std::end(row.Rest));
    file.Records[number++] = record;
  }
}

void BuildEventLog(TSimulatedLog& log, std::uint16_t records) {
  constexpr double kFirstTime = 1789365600;  // 2026-09-14 06:00
  log.Records = FormRecords(
      {
          NumberField(4, RampFormula(kFirstTime, 1370)),
          NumberField(2, CycleFormula({0, 5, 1, 0, 2, 3, 1, 0, 4, 1})),
          NumberField(2, SineFormula(610, 830, 61)),
          NumberField(2, SineFormula(0x0380, 0x04C0, 23)),
          NumberField(2, CycleFormula({450, 620, 0, 380, 700, 710, 0, 550, 690, 0})),
      },
      records);
  log.Total = static_cast<std::uint16_t>(records + 1000);
}

constexpr int kCaptureInterval = 500;  // microseconds
constexpr int kCaptureBefore = 80;
constexpr int kCaptureRecords = 400;

// What a pump's motor draws when it is switched on, in tenths: six times as much as later on, and
// an offset that fades, since a current begins with 0. The voltage sags meanwhile.
std::int64_t WaveAt(std::uint32_t record, double standing, double atStart, double degrees) {
  const double seconds = (static_cast<double>(record) - kCaptureBefore) * kCaptureInterval * 1e-6;
  const double fading = seconds < 0 ? 0 : std::exp(-seconds / 0.05);
  const double amplitude = standing + (atStart - standing) * fading;
  const double angle = degrees * std::numbers::pi / 180;
  const double wave = amplitude * std::sin(2 * std::numbers::pi * 50 * seconds + angle);
  const double offset = atStart > standing ? -atStart * fading * std::sin(angle) : 0;
  const std::int64_t tenths = std::llround(10 * (wave + offset));
  return tenths == -1 ? 0 : tenths;  // all bits set would mean that there is no value
}

TFormula CurrentFormula(double degrees) {
  return [degrees](std::uint32_t record, double) -> std::int64_t {
    return record < kCaptureBefore ? 0 : WaveAt(record, 14, 84, degrees);
  };
}

void BuildPumpStart(TSimulatedOscillogram& oscillogram) {
  oscillogram.Info =
      FormRecords({TextField(16, "Start of pump 1"), TextField(20, "2026-09-14 06:41:07"),
                   NumberField(2, ConstantFormula(kCaptureInterval)),
                   NumberField(2, ConstantFormula(kCaptureBefore)),
                   NumberField(2, ConstantFormula(kCaptureRecords))},
                  1)
          .front();
  const auto voltage = [](std::uint32_t record, double) { return WaveAt(record, 325, 268, -30); };
  oscillogram.Records =
      FormRecords({NumberField(2, voltage), NumberField(2, CurrentFormula(-80)),
                   NumberField(2, CurrentFormula(160)), NumberField(2, CurrentFormula(40))},
                  kCaptureRecords);
}

void Fill(TStringList& lines, std::initializer_list<const char*> texts) {
  for (const char* text : texts) lines.Add(text);
}

std::vector<std::uint32_t> Words(std::string_view text) {
  std::vector<std::uint32_t> words;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    words.push_back(byte(i) * 256u + byte(i + 1));
  }
  return words;
}

std::vector<std::uint32_t> Characters(std::string_view text) {
  std::vector<std::uint32_t> bytes;
  for (const char c : text) bytes.push_back(static_cast<unsigned char>(c));
  return bytes;
}

// The alarm word: low pressure comes and goes, a service reminder stays.
std::uint32_t AlarmsAt(double seconds) {
  const bool lowPressure = static_cast<std::int64_t>(seconds) % 4 >= 2;
  return (lowPressure ? 1u << 1 : 0u) | 1u << 9;
}

void BuildHolding(TSimulatedTable& holding) {
  holding.SetFormula(100, 1, SineFormula(790, 830, 20));
  holding.SetFormula(101, 1, SineFormula(610, 640, 30));
  holding.Set(102, {1682, 553});
  holding.Set(104, {0x10000 - 74, 213});  // -7.4 degrees outdoors
  holding.Set(110, {0x0480, 0x0040});
  holding.Set(120, {800, 550, 50, 650});
  holding.Set(130, {2});
  holding.SetFormula(131, 1, [](std::uint32_t, double seconds) { return AlarmsAt(seconds); });
  holding.Set(140, Words("BK-2040-00173   "));
  holding.SetFormula(152, 1, SineFormula(1440, 1460, 7));
  holding.Set(153, {0, 1210});
  holding.Set(160, {0x0001, 0xE0A7, 0x0003, 0x1180, 0x0000, 0x0D2F});
}

void BuildInput(TSimulatedTable& input) {
  input.SetFormula(0, 1, SineFormula(600, 700, 15));
  input.Set(1, {425, 31});
  input.Set(10, {1875, 642, 0x0002, 0x4C1B});
}

}  // namespace

void DescribeTypes(TMBTypeInfo& types) {
  for (const TNumberRow& row : kNumbers) {
    TMBRegTypeNumber& number = *types.TypeNumbers().Add();
    number.SetName(row.Name);
    number.SetMinValue(row.Min);
    number.SetMaxValue(row.Max);
    number.SetIntPart(row.IntPart);
    number.SetRealPart(row.RealPart);
    number.SetStep(row.Step);
    number.SetMultiplier(row.Multiplier);
    number.SetDisplayFormat(row.DisplayFormat);
  }
  TMBRegTypeList& mode = *types.TypeLists().Add();
  mode.SetName("Mode");
  Fill(mode.Dictionary(), {"0=Off", "1=Stand-by", "2=Heating", "3=Hot water", "4=Fault"});
  TMBRegTypeBin& alarms = *types.TypeBins().Add();
  alarms.SetName("Alarms");
  Fill(alarms.Dictionary(),
       {"0=|flame failure", "1=|low feed pressure", "2=|over-temperature", "9=|service due"});
  TMBRegTypeBin& onOff = *types.TypeBins().Add();
  onOff.SetName("OnOff");
  Fill(onOff.Dictionary(), {"0=off|on"});
  TMBRegTypeList& event = *types.TypeLists().Add();
  event.SetName("Event");
  Fill(event.Dictionary(), {"0=burner on", "1=burner off", "2=low feed pressure",
                            "3=feed pressure back", "4=hot water", "5=heating"});
  DescribeStructurs(types.TypeStructurs());
}

void DescribeRegisters(TMBRegs& regs, TMBTypeInfo& types) {
  regs.SetMBTypeInfo(&types);
  for (const TRegRow& row : kRegs) {
    DescribeRegister(*regs.Add(), row);
  }
}

void DescribeSettings(TMBRegs& regs, TMBTypeInfo& types) {
  regs.SetMBTypeInfo(&types);
  for (const TSettingRow& row : kSettings) {
    TMBReg& reg = *regs.Add();
    DescribeRegister(reg, row.Reg);
    reg.SetMBFuncWrite(row.Write);
  }
}

const char* NewSetting(const std::string& name) {
  return std::ranges::find(kSettings, name, [](const TSettingRow& row) { return row.Reg.Name; })
      ->NewValue;
}

void BuildPlant(TSimulator& simulator, std::uint16_t logRecords) {
  TSimulatedDevice& device = simulator.Device(kPlantAdres);
  BuildHolding(device.Holding);
  BuildInput(device.Input);
  device.Coils.Set(0, {1, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0});
  device.Discrete.Set(16, {1, 0, 0});
  device.Extended.Set(16, {184312});
  device.Paged.Set(0x01FF00, Characters("WINTER 2"));
  device.Paged.Set(0x01FF08, {0x00, 0x78, 0x00, 0x2D, 0x00, 0x06});
  device.Paged.Set(0x020010, Characters("2026-09-14"));
  device.Paged.Set(0x030000, {0, 0});
  BuildServiceLog(device.Files[kServiceFile]);
  BuildEventLog(device.Logs[0x20], logRecords);
  BuildPumpStart(device.Oscillograms[1]);
  device.Identity = TSimulatedIdentity{.ServerId = {0x2A}, .Text = "Boiler control BK-2040"};
  // The panel's memory is there, but nobody answers for it.
  simulator.Faults.push_back({.Address = kPlantAdres, .Function = 0x44, .Fault = EFault::Silence});
}

}  // namespace OrvixModBus
