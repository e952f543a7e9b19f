#include "tools/simulator/uSimulatorFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uTextFile.h"
#include "tools/simulator/uJsonNode.h"
#include "tools/simulator/uSimulatedFormula.h"
#include "tools/simulator/uSimulatedRecord.h"

namespace OrvixModBus {
namespace {

// What make makes; a value that it refuses is the node's fault.
template <typename TMake>
auto Make(const TJsonNode& node, const TMake& make) {
  try {
    return make();
  } catch (const EArgumentOutOfRangeException& error) {
    node.Fail(std::string("is wrong: ") + error.what());
  }
}

std::vector<double> ReadReals(const TJsonNode& node) {
  std::vector<double> values;
  for (const TJsonNode& item : node.Items()) values.push_back(item.Real());
  return values;
}

struct TFormulaForm {
  std::string_view Name;
  TJsonKeys Keys;
  TFormula (*Make)(const TJsonNode&);
};

const std::array<TFormulaForm, 6>& FormulaForms() {
  static const std::array<TFormulaForm, 6> kForms{{
      {"constant", {"value"}, [](const TJsonNode& n) { return ConstantFormula(n.Real("value")); }},
      {"ramp",
       {"from", "step"},
       [](const TJsonNode& n) { return RampFormula(n.Real("from"), n.Real("step")); }},
      {"counter",
       {"from", "step", "period"},
       [](const TJsonNode& n) {
         return CounterFormula(n.Real("from"), n.Real("step"), n.Real("period"));
       }},
      {"sine",
       {"low", "high", "period", "phase", "decay"},
       [](const TJsonNode& n) {
         return SineFormula(n.Real("low"), n.Real("high"), n.Real("period"), n.Real("phase", 0),
                            n.Real("decay", kNoDecay));
       }},
      {"toggle", {"period"}, [](const TJsonNode& n) { return ToggleFormula(n.Real("period")); }},
      {"cycle",
       {"values", "period"},
       [](const TJsonNode& n) {
         return CycleFormula(ReadReals(n.Get("values")), n.Real("period", 1));
       }},
  }};
  return kForms;
}

// The formula of an object that has other keys, too.
TFormula ReadFormula(const TJsonNode& node, TJsonKeys keys) {
  const TJsonNode name = node.Get("formula");
  const auto form = std::ranges::find(FormulaForms(), name.Text(), &TFormulaForm::Name);
  if (form == FormulaForms().end()) name.Fail("is no known formula");
  keys.push_back("formula");
  keys.insert(keys.end(), form->Keys.begin(), form->Keys.end());
  node.AllowKeys(keys);
  return Make(node, [&] { return form->Make(node); });
}

constexpr std::uint32_t kWordMax = 0xFFFF;

struct TTableForm {
  std::string_view Key;
  TSimulatedTable TSimulatedDevice::*Table;
  std::uint32_t GreatestAddress = kWordMax;
  std::uint32_t GreatestValue = kWordMax;  // 0: bytes as hexadecimal text
};

constexpr std::array<TTableForm, 6> kTables{{
    {"coils", &TSimulatedDevice::Coils, kWordMax, 1},
    {"discrete", &TSimulatedDevice::Discrete, kWordMax, 1},
    {"holding", &TSimulatedDevice::Holding},
    {"input", &TSimulatedDevice::Input},
    {"extended", &TSimulatedDevice::Extended, kWordMax, 0xFFFFFFFF},
    {"paged", &TSimulatedDevice::Paged, 0xFFFFFF, 0},
}};

std::vector<std::uint32_t> ReadValues(const TJsonNode& node, const TTableForm& form) {
  std::vector<std::uint32_t> values;
  if (form.GreatestValue == 0) {
    const Bytes bytes = node.HexText();
    values.assign(bytes.begin(), bytes.end());
  } else {
    for (const TJsonNode& item : node.Items()) {
      values.push_back(static_cast<std::uint32_t>(item.Integer(0, form.GreatestValue)));
    }
  }
  return values;
}

// The number that a member's key is.
std::uint32_t ReadKey(const std::string& key, const TJsonNode& node, std::uint32_t greatest,
                      std::uint32_t least = 0) {
  std::int32_t number = 0;
  if (!TryStrToInt(key, number) || std::cmp_less(number, least) ||
      std::cmp_greater(number, greatest)) {
    node.Fail(Format("must have a key of %u to %u", {least, greatest}));
  }
  return static_cast<std::uint32_t>(number);
}

void ReadRange(const std::string& key, const TJsonNode& node, const TTableForm& form,
               TSimulatedTable& table) {
  const std::uint32_t start = ReadKey(key, node, form.GreatestAddress);
  const std::uint32_t room = form.GreatestAddress - start + 1;
  if (node.IsObject()) {
    const auto count = static_cast<std::uint32_t>(node.Get("count").Integer(1, room));
    table.SetFormula(start, count, ReadFormula(node, {"count"}));
  } else {
    const auto values = ReadValues(node, form);
    if (values.size() > room) node.Fail(Format("runs past address %u", {form.GreatestAddress}));
    table.Set(start, values);
  }
}

TSimulatedFile ReadFileOf(const TJsonNode& node) {
  TSimulatedFile file;
  for (const auto& [key, record] : node.Members()) {
    const auto number = static_cast<std::uint16_t>(ReadKey(key, record, kWordMax));
    Bytes bytes = record.HexText();
    if (bytes.size() % 2 != 0) record.Fail("must be whole registers of two bytes");
    file.Records[number] = std::move(bytes);
  }
  return file;
}

void ReadFiles(const TJsonNode& node, TSimulatedDevice& device) {
  for (const auto& [key, file] : node.Members()) {
    const auto number = static_cast<std::uint16_t>(ReadKey(key, file, kWordMax));
    device.Files[number] = ReadFileOf(file);
  }
}

std::endian ReadOrder(const TJsonNode& node) {
  if (node.Text() == "big") return std::endian::big;
  if (node.Text() == "little") return std::endian::little;
  node.Fail("must be \"big\" or \"little\"");
}

TRecordField ReadField(const TJsonNode& node, std::size_t longest) {
  const auto size = [size = node.Get("size")](std::size_t greatest) {
    return static_cast<std::size_t>(size.Integer(1, greatest));
  };
  if (const auto text = node.Find("text")) {
    node.AllowKeys({"size", "text"});
    return Make(*text, [&] { return TextField(size(longest), text->Text()); });
  }
  const auto order = node.Find("order");
  TFormula formula = ReadFormula(node, {"size", "order"});
  return NumberField(size(8), std::move(formula), order ? ReadOrder(*order) : std::endian::big);
}

void CheckLength(const TJsonNode& node, const Bytes& bytes, std::size_t longest) {
  if (bytes.empty() || bytes.size() > longest)
    node.Fail(Format("must be 1 to %u bytes", {longest}));
}

std::vector<Bytes> ReadFormat(const TJsonNode& node, std::uint32_t count, std::size_t longest) {
  TRecordFormat format;
  for (const TJsonNode& field : node.Items()) format.push_back(ReadField(field, longest));
  CheckLength(node, FormRecords(format, 1).front(), longest);
  return FormRecords(format, count);
}

Bytes ReadRecord(const TJsonNode& node, std::size_t longest) {
  Bytes record = node.HexText();
  CheckLength(node, record, longest);
  return record;
}

// The records of a log or an oscillogram: so many of a format, or a list of their bytes.
std::vector<Bytes> ReadRecordsOf(const TJsonNode& node, std::size_t longest) {
  const TJsonNode records = node.Get("records");
  if (const auto format = node.Find("format")) {
    const auto count = static_cast<std::uint32_t>(records.Integer(0, kWordMax));
    return ReadFormat(*format, count, longest);
  }
  std::vector<Bytes> list;
  for (const TJsonNode& record : records.Items()) list.push_back(ReadRecord(record, longest));
  return list;
}

std::optional<std::uint16_t> ReadTotal(const TJsonNode& node) {
  const auto total = node.Find("total");
  if (!total) return std::nullopt;
  return static_cast<std::uint16_t>(total->Integer(0, kWordMax));
}

// What a reply has room for: PDU without function code, and without the head of records of $41.
constexpr std::size_t kLongestRecord = 252;
constexpr std::size_t kLongestOscillogramRecord = 248;

void ReadLogs(const TJsonNode& node, TSimulatedDevice& device) {
  for (const auto& [key, log] : node.Members()) {
    const auto function = static_cast<std::uint8_t>(ReadKey(key, log, 0xFF));
    if (function != 0x20 && function != 0x24) log.Fail("must have a key of 0x20 or 0x24");
    log.AllowKeys({"total", "records", "format"});
    device.Logs[function] = {ReadRecordsOf(log, kLongestRecord), ReadTotal(log)};
  }
}

Bytes ReadInfo(const TJsonNode& node) {
  if (node.IsList()) return ReadFormat(node, 1, kLongestRecord).front();
  return ReadRecord(node, kLongestRecord);
}

void ReadOscillograms(const TJsonNode& node, TSimulatedDevice& device) {
  device.OscillogramTotal = ReadTotal(node);
  for (const auto& [key, oscillogram] : node.Members()) {
    if (key == "total") continue;
    const auto number = static_cast<std::uint8_t>(ReadKey(key, oscillogram, 0xFF, 1));
    oscillogram.AllowKeys({"info", "records", "format"});
    device.Oscillograms[number] = {ReadInfo(oscillogram.Get("info")),
                                   ReadRecordsOf(oscillogram, kLongestOscillogramRecord)};
  }
}

TSimulatedIdentity ReadIdentity(const TJsonNode& node) {
  node.AllowKeys({"id", "text", "running"});
  TSimulatedIdentity identity;
  if (const auto id = node.Find("id")) identity.ServerId = id->HexText();
  if (const auto text = node.Find("text")) identity.Text = text->Text();
  if (const auto running = node.Find("running")) identity.Running = running->Boolean();
  return identity;
}

void ReadServer(const TJsonNode& node, TSimulatedDevice& device) {
  TJsonKeys keys{"address", "files", "identity", "logs", "oscillograms"};
  for (const TTableForm& form : kTables) {
    keys.push_back(form.Key);
    const auto table = node.Find(form.Key);
    if (!table) continue;
    for (const auto& [key, range] : table->Members()) {
      ReadRange(key, range, form, device.*form.Table);
    }
  }
  node.AllowKeys(keys);
  if (const auto files = node.Find("files")) ReadFiles(*files, device);
  if (const auto logs = node.Find("logs")) ReadLogs(*logs, device);
  if (const auto oscillograms = node.Find("oscillograms")) ReadOscillograms(*oscillograms, device);
  if (const auto identity = node.Find("identity")) device.Identity = ReadIdentity(*identity);
}

constexpr double kLongestTime = 3'600'000;  // ms
constexpr std::uint64_t kMostBytes = 4096;

const TFaultForm& ReadFaultForm(const TJsonNode& node) {
  const auto forms = FaultForms();
  const auto form = std::ranges::find(forms, node.Text(), &TFaultForm::Name);
  if (form == forms.end()) node.Fail("is no known fault");
  return *form;
}

double ReadReal(const TJsonNode& node, double least, double greatest) {
  const double value = node.Real();
  if (!(value >= least && value <= greatest)) {
    node.Fail(Format("must be %g to %g", {least, greatest}));
  }
  return value;
}

std::chrono::nanoseconds ReadMilliseconds(const TJsonNode& node) {
  return std::chrono::nanoseconds(std::llround(ReadReal(node, 0, kLongestTime) * 1e6));
}

std::uint8_t ReadByte(const TJsonNode& node, std::uint64_t least, std::uint64_t greatest) {
  return static_cast<std::uint8_t>(node.Integer(least, greatest));
}

struct TParameterForm {
  EFaultParameter Parameter;
  std::string_view Key;
  void (*Read)(const TJsonNode&, TFaultRule&);
};

constexpr std::array<TParameterForm, 6> kParameters{{
    {fpDelay, "delay", [](const TJsonNode& n, TFaultRule& r) { r.Delay = ReadMilliseconds(n); }},
    {fpDuration, "duration",
     [](const TJsonNode& n, TFaultRule& r) { r.Duration = ReadMilliseconds(n); }},
    {fpPosition, "at",
     [](const TJsonNode& n, TFaultRule& r) { r.Position = n.Integer(0, kMostBytes); }},
    {fpCount, "count",
     [](const TJsonNode& n, TFaultRule& r) { r.Count = n.Integer(1, kMostBytes); }},
    {fpReply, "reply", [](const TJsonNode& n, TFaultRule& r) { r.Reply = n.Boolean(); }},
    {fpCode, "code",
     [](const TJsonNode& n, TFaultRule& r) { r.ExceptionCode = ReadByte(n, 0, 255); }},
}};

void ReadParameters(const TJsonNode& node, TFaultRule& rule) {
  const TFaultForm& form = ReadFaultForm(node.Get("fault"));
  rule.Fault = form.Fault;
  TJsonKeys keys{"address", "function", "requests", "probability", "fault"};
  for (const TParameterForm& parameter : kParameters) {
    if ((form.Parameters & parameter.Parameter) == 0) continue;
    keys.push_back(parameter.Key);
    if (const auto value = node.Find(parameter.Key)) parameter.Read(*value, rule);
  }
  node.AllowKeys(keys);
}

TFaultRule ReadFault(const TJsonNode& node) {
  TFaultRule rule;
  ReadParameters(node, rule);
  if (const auto address = node.Find("address")) rule.Address = ReadByte(*address, 0, 247);
  if (const auto function = node.Find("function")) rule.Function = ReadByte(*function, 1, 255);
  if (const auto part = node.Find("probability")) rule.Probability = ReadReal(*part, 0, 1);
  if (const auto requests = node.Find("requests")) {
    const auto numbers = requests->Items();
    if (numbers.size() != 2) requests->Fail("must be the first and the last number");
    rule.First = numbers[0].Integer(1, rule.Last);
    rule.Last = numbers[1].Integer(rule.First, rule.Last);
  }
  return rule;
}

TSimulator ReadSimulator(const TJsonNode& root) {
  root.AllowKeys({"servers", "seed", "faults"});
  TSimulator simulator;
  std::set<std::uint64_t> addresses;
  for (const TJsonNode& server : root.Get("servers").Items()) {
    const TJsonNode address = server.Get("address");
    const std::uint64_t number = address.Integer(1, 247);
    if (!addresses.insert(number).second) address.Fail("is there twice");
    ReadServer(server, simulator.Device(static_cast<std::uint8_t>(number)));
  }
  if (const auto seed = root.Find("seed")) {
    simulator.SetSeed(seed->Integer(0, std::numeric_limits<std::uint64_t>::max()));
  }
  if (const auto faults = root.Find("faults")) {
    for (const TJsonNode& fault : faults->Items()) simulator.Faults.push_back(ReadFault(fault));
  }
  return simulator;
}

}  // namespace

TSimulator ReadSimulatorFile(const std::string& path) {
  return ReadSimulatorText(ReadWholeFile(path), path);
}

TSimulator ReadSimulatorText(std::string_view text, const std::string& name) {
  const nlohmann::json json = ParseJson(text, name);
  return ReadSimulator(TJsonNode(json, name + ":"));
}

}  // namespace OrvixModBus
