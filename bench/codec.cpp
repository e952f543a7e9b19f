// What decoding costs: each kind of type as a register of a letter decodes it, against the
// least that gives the same value - the same bytes decoded by hand, by somebody who knows this one
// type, and written by std::to_chars. Both get the same bytes in turn and store into a value that
// is used again; before anything is measured, they must agree on many more values. LookUp is the
// same decoding with a short and a long catalogue.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/rtl/uFormat.h"
#include "uMBReg.h"

namespace {

std::uint64_t allocations = 0;

}  // namespace

// Not inlined: the compiler then takes the pair of a new and a free for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace OrvixModBus {
namespace {

// Part one: the least. Each function knows its type by heart.

constexpr unsigned kMissing = 0xFFFF;  // what a device sends that has no value

unsigned Word(const std::uint8_t* data) { return static_cast<unsigned>(data[0] << 8 | data[1]); }

template <class... TArgs>
void WriteNumber(std::string& text, TArgs... args) {
  std::array<char, 32> digits;
  text.assign(digits.data(), std::to_chars(digits.begin(), digits.end(), args...).ptr);
}

struct TWhole {
  static constexpr double kMultiplier = 1;
  static void Write(std::string& text, unsigned raw) { WriteNumber(text, raw); }
};
struct TWholeFormatted {
  static constexpr double kMultiplier = 1;
  static constexpr const char* kFormat = "%.2f";
  static void Write(std::string& text, unsigned raw) {
    WriteNumber(text, static_cast<double>(raw), std::chars_format::fixed, 2);
  }
};
struct TTenths {
  static constexpr double kMultiplier = 0.1;
  static void Write(std::string& text, unsigned raw) {
    WriteNumber(text, raw * kMultiplier, std::chars_format::general, 15);
  }
};
struct TTenthsFormatted {
  static constexpr double kMultiplier = 0.1;
  static constexpr const char* kFormat = "%.1f";
  static void Write(std::string& text, unsigned raw) {
    WriteNumber(text, raw * kMultiplier, std::chars_format::fixed, 1);
  }
};

template <class TNumber>
void NumberText(const std::uint8_t* data, std::string& text) {
  const unsigned raw = Word(data);
  if (raw != kMissing) return TNumber::Write(text, raw);
  text.assign(1, '-');
}

template <class TNumber>
void LeastNumber(const Bytes& data, TRegValue& value) {
  const unsigned raw = Word(data.data());
  NumberText<TNumber>(data.data(), value.Srt);
  value.R = raw != kMissing ? raw * TNumber::kMultiplier : TRegValue::kClearedReal;
  const auto whole = static_cast<std::int32_t>(raw * TNumber::kMultiplier);
  value.Int = value.R == whole ? whole : TRegValue::kClearedInt;
}

constexpr std::array<std::string_view, 8> kModes = {
    "Stopped", "Starting", "Running at full load", "Running at partial load",
    "Cooling", "Blocked",  "Maintenance",          "Emergency stop by the operator"};

void ModeText(const std::uint8_t* data, std::string& text) {
  const unsigned code = Word(data);
  text = code < kModes.size() ? kModes[code] : std::string_view();
}

void LeastList(const Bytes& data, TRegValue& value) {
  ModeText(data.data(), value.Srt);
  value.Int = static_cast<std::int32_t>(Word(data.data()));
}

struct TStates {
  std::string_view Off, On;
};
constexpr std::array<TStates, 16> kStates = {{{"Pump 1 off", "Pump 1 on"},
                                              {"Pump 2 off", "Pump 2 on"},
                                              {"Valve closed", "Valve open"},
                                              {"", "Overheated"},
                                              {"", "Low pressure"},
                                              {"Door closed", "Door open"},
                                              {"Local", "Remote"},
                                              {"Manual", "Automatic"},
                                              {"Burner off", "Burner on"},
                                              {"", "Gas leak"},
                                              {"", ""},
                                              {"", ""},
                                              {"Fan off", "Fan on"},
                                              {"", "Filter dirty"},
                                              {"Summer", "Winter"},
                                              {"", "Service due"}}};

std::string_view StateText(unsigned word, std::size_t bit) {
  return (word >> bit & 1) != 0 ? kStates[bit].On : kStates[bit].Off;
}

void LeastBits(const Bytes& data, TRegValue& value) {
  const unsigned word = Word(data.data());
  value.Int = static_cast<std::int32_t>(word);
  value.Srt = StateText(word, 0);
  for (std::size_t bit = 1; bit < kStates.size(); ++bit) {
    value.Srt.push_back('|');
    value.Srt.append(StateText(word, bit));
  }
}

constexpr std::size_t kTextSize = 32;  // bytes of ASCII, filled up with blanks

void AsciiText(const std::uint8_t* data, std::string& text) {
  std::size_t first = 0, end = kTextSize;
  while (first < end && data[first] <= ' ') ++first;
  while (end > first && data[end - 1] <= ' ') --end;
  text.assign(reinterpret_cast<const char*>(data) + first, end - first);
}

void LeastText(const Bytes& data, TRegValue& value) { AsciiText(data.data(), value.Srt); }

// A block of 20 fields: a text for each, and one for each bit of a bit field.
void LeastBlock(const Bytes& block, TStringDynArray& texts) {
  texts.resize(18 + 2 * kStates.size());
  const std::uint8_t* data = block.data();
  std::string* text = texts.data();
  const auto take = [&](int count, std::size_t size, auto decode) {
    for (int i = 0; i < count; ++i, data += size) decode(data, *text++);
  };
  const auto takeStates = [&] {
    const unsigned word = Word(data);
    for (std::size_t bit = 0; bit < kStates.size(); ++bit) *text++ = StateText(word, bit);
    data += 2;
  };
  take(1, 2, ModeText);
  takeStates();
  take(1, kTextSize, AsciiText);
  take(4, 2, NumberText<TWhole>);
  take(4, 2, NumberText<TTenths>);
  take(4, 2, NumberText<TTenthsFormatted>);
  take(1, 2, ModeText);
  takeStates();
  take(2, 2, NumberText<TWhole>);
  take(1, kTextSize, AsciiText);
}

// Part two: ours. The same types, described in a catalogue.

// A name as plants have them.
std::string TypeName(int number) { return Format("Temperature boiler %.4d", {number}); }

TMBRegTypeNumber& AddNumber(TMBTypeInfo& types, const std::string& name, double multiplier) {
  TMBRegTypeNumber& number = *types.TypeNumbers().Add();
  number.SetName(name);
  number.SetMaxValue(65535);
  number.SetIntPart(2);
  number.SetMultiplier(multiplier);
  return number;
}

template <class TNumber>
void DescribeNumber(TMBTypeInfo& types, const std::string& name) {
  TMBRegTypeNumber& number = AddNumber(types, name, TNumber::kMultiplier);
  if constexpr (requires { TNumber::kFormat; }) number.SetDisplayFormat(TNumber::kFormat);
}

void DescribeModes(TMBTypeInfo& types, const std::string& name) {
  TMBRegTypeList& list = *types.TypeLists().Add();
  list.SetName(name);
  std::int32_t code = 0;
  for (const std::string_view mode : kModes) list.SetValue(code++, std::string(mode));
}

void DescribeStates(TMBTypeInfo& types, const std::string& name) {
  TMBRegTypeBin& bin = *types.TypeBins().Add();
  bin.SetName(name);
  std::int32_t bit = 0;
  for (const auto& [off, on] : kStates) {
    if (!off.empty()) bin.SetValue(bit, false, std::string(off));
    if (!on.empty()) bin.SetValue(bit, true, std::string(on));
    ++bit;
  }
}

void DescribeNothing(TMBTypeInfo& /*types*/, const std::string& /*name*/) {}

// The types measured stand among others.
void DescribeOthers(TMBTypeInfo& types) {
  for (int i = 0; i < 100; ++i) {
    AddNumber(types, TypeName(i), 0.1);
    DescribeModes(types, TypeName(i));
    DescribeStates(types, TypeName(i));
  }
}

struct TFields {
  int Count;
  TRegType RegType;
  const char* TypeName;
  std::size_t Size;
};
constexpr TFields kModeField = {1, TRegType::rtList, "Mode", 2};
constexpr TFields kStatesField = {1, TRegType::rtBin, "States", 2};
constexpr TFields kTextField = {1, TRegType::rtStr, "", kTextSize};
// In the order of LeastBlock.
constexpr std::array<TFields, 10> kBlock = {{kModeField,
                                             kStatesField,
                                             kTextField,
                                             {4, TRegType::rtNum, "Revolutions", 2},
                                             {4, TRegType::rtNum, "Temperature", 2},
                                             {4, TRegType::rtNum, "Pressure", 2},
                                             kModeField,
                                             kStatesField,
                                             {2, TRegType::rtNum, "Revolutions", 2},
                                             kTextField}};

void AddField(TMBTypeInfo& types, const std::string& structure, const TFields& kind, int number,
              std::size_t offset) {
  TMBRegTypeStructure& field = *types.TypeStructurs().Add();
  field.SetName(Format("%s field %d", {structure, number}));
  field.SetStructurName(structure);
  field.SetRegType(kind.RegType);
  field.SetRegTypeName(kind.TypeName);
  field.SetOffset(static_cast<std::int16_t>(offset));
  field.SetSize(static_cast<std::uint16_t>(kind.Size));
}

void DescribeBlock(TMBTypeInfo& types, const std::string& structure) {
  DescribeNumber<TWhole>(types, "Revolutions");
  DescribeNumber<TTenths>(types, "Temperature");
  DescribeNumber<TTenthsFormatted>(types, "Pressure");
  DescribeModes(types, kModeField.TypeName);
  DescribeStates(types, kStatesField.TypeName);
  int number = 0;
  std::size_t offset = 0;
  for (const TFields& kind : kBlock) {
    for (int i = 0; i < kind.Count; ++i, offset += kind.Size) {
      AddField(types, structure, kind, ++number, offset);
    }
  }
}

// Part three: both under the same samples.

Bytes WordOf(unsigned number) {
  return {static_cast<std::uint8_t>(number >> 8 & 0xFF), static_cast<std::uint8_t>(number & 0xFF)};
}

// Some codes have no name.
Bytes CodeOf(unsigned number) { return WordOf(number % 10); }

Bytes TextOf(unsigned number) {
  const std::string text = Format("  Burner %u, line %u", {number * 2654435761U, number % 10});
  Bytes bytes(text.begin(), text.end());
  bytes.resize(kTextSize, ' ');
  return bytes;
}

Bytes BlockOf(unsigned number) {
  Bytes block;
  for (const TFields& kind : kBlock) {
    for (int i = 0; i < kind.Count; ++i) {
      number = number * 69069 + 1;
      const Bytes field = kind.RegType == TRegType::rtStr    ? TextOf(number)
                          : kind.RegType == TRegType::rtList ? CodeOf(number & 0xFFFF)
                                                             : WordOf(number);
      block.insert(block.end(), field.begin(), field.end());
    }
  }
  return block;
}

struct TKind {
  const char* Name;
  TRegType RegType;
  void (*Describe)(TMBTypeInfo& types, const std::string& name);
  Bytes (*Sample)(unsigned number);  // for each 16-bit number
  void (*Least)(const Bytes& data, TRegValue& value);
};

constexpr TKind kKinds[] = {
    {"number", TRegType::rtNum, DescribeNumber<TWhole>, WordOf, LeastNumber<TWhole>},
    {"number formatted", TRegType::rtNum, DescribeNumber<TWholeFormatted>, WordOf,
     LeastNumber<TWholeFormatted>},
    {"number multiplied", TRegType::rtNum, DescribeNumber<TTenths>, WordOf, LeastNumber<TTenths>},
    {"number multiplied and formatted", TRegType::rtNum, DescribeNumber<TTenthsFormatted>, WordOf,
     LeastNumber<TTenthsFormatted>},
    {"list", TRegType::rtList, DescribeModes, CodeOf, LeastList},
    {"16 bits", TRegType::rtBin, DescribeStates, WordOf, LeastBits},
    {"text", TRegType::rtStr, DescribeNothing, TextOf, LeastText},
};

const std::string kTypeName = "Measured at boiler 0007";

// A register of a letter, with the catalogue that decodes it.
class TOurs {
 public:
  explicit TOurs(const TKind& kind) {
    DescribeOthers(fTypes);
    kind.Describe(fTypes, kTypeName);
    fReg.SetRegType(kind.RegType);
    fReg.SetTypeName(kTypeName);
    fReg.SetTypeInfo(&fTypes);
    fReg.SetBytesInOneReg(2);
    fReg.SetRegsCount(static_cast<std::uint8_t>(kind.Sample(0).size() / 2));
  }

  // The bytes at once. One by one, as SetData takes them, is for those who watch each.
  const TRegValue& operator()(const Bytes& sample) {
    fReg.SetRegData(sample);
    fReg.DataToValue();
    return fReg.Value();
  }

 private:
  TMBTypeInfo fTypes;
  TRegNameCollection fRegs;
  TMBReg& fReg = static_cast<TMBReg&>(*fRegs.Add());
};

class TLeast {
 public:
  explicit TLeast(const TKind& kind) : fDecode(kind.Least) {}

  const TRegValue& operator()(const Bytes& sample) {
    fData.assign(sample.begin(), sample.end());
    fDecode(fData, fValue);
    return fValue;
  }

 private:
  void (*fDecode)(const Bytes&, TRegValue&);
  Bytes fData;
  TRegValue fValue;
};

class TOurBlock {
 public:
  TOurBlock() { DescribeBlock(fTypes, kTypeName); }

  const TStringDynArray& operator()(const Bytes& sample) {
    fTexts = fTypes.TypeStructurs().ValuesByStructurName(kTypeName, sample, fTypes, nullptr,
                                                         std::move(fTexts));
    return fTexts;
  }

 private:
  TMBTypeInfo fTypes;
  TStringDynArray fTexts;
};

class TLeastOfBlock {
 public:
  const TStringDynArray& operator()(const Bytes& sample) {
    LeastBlock(sample, fTexts);
    return fTexts;
  }

 private:
  TStringDynArray fTexts;
};

constexpr unsigned kSamples = 256;  // a power of two

// Decodes samples in turn, in an order without a pattern.
template <class TDecode>
void Measure(benchmark::State& state, Bytes (*sample)(unsigned), TDecode decode) {
  std::vector<Bytes> samples;
  for (unsigned i = 0; i < kSamples; ++i) samples.push_back(sample(i * 2654435761U >> 7 & 0xFFFF));
  for (const Bytes& one : samples) decode(one);  // finds the room that texts need
  unsigned i = 0;
  const std::uint64_t before = allocations;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&decode(samples[i++ % kSamples]));
    benchmark::ClobberMemory();
  }
  state.counters["allocations"] = benchmark::Counter(static_cast<double>(allocations - before),
                                                     benchmark::Counter::kAvgIterations);
}

template <class TOne, class TOther>
void CheckAgreement(const std::string& name, Bytes (*sample)(unsigned), TOne ours, TOther least) {
  for (unsigned number = 0; number <= 0xFFFF; ++number) {
    const Bytes bytes = sample(number);
    if (ours(bytes) != least(bytes)) {
      throw std::runtime_error(Format("%s: the values for %u differ", {name, number}));
    }
  }
}

// makeOurs() and makeLeast() make what decodes.
template <class TMakeOurs, class TMakeLeast>
void Compare(const char* kind, Bytes (*sample)(unsigned), TMakeOurs makeOurs,
             TMakeLeast makeLeast) {
  const std::string name = std::string("Decode/") + kind;
  CheckAgreement(name, sample, makeOurs(), makeLeast());
  const auto add = [&](const char* side, auto make) {
    benchmark::RegisterBenchmark((name + side).c_str(),
                                 [=](benchmark::State& state) { Measure(state, sample, make()); });
  };
  add("/ours", makeOurs);
  add("/least", makeLeast);
}

// Ten registers of ten types, whatever the catalogue holds: only its length differs.
void LookUp(benchmark::State& state) {
  constexpr int kRegs = 10;
  const auto types = static_cast<int>(state.range(0));
  TMBTypeInfo catalogue;
  for (int i = 0; i < types; ++i) AddNumber(catalogue, TypeName(i), 0.1);
  TRegNameCollection regs;
  for (int i = 0; i < kRegs; ++i) {
    TMBReg& reg = static_cast<TMBReg&>(*regs.Add());
    reg.SetRegType(TRegType::rtNum);
    reg.SetTypeName(TypeName(types / kRegs * i + i % (types / kRegs)));
    reg.SetTypeInfo(&catalogue);
  }
  int i = 0;
  Measure(state, WordOf, [&](const Bytes& sample) -> const TRegValue& {
    TMBReg& reg = static_cast<TMBReg&>(*regs.Items(i++ % kRegs));
    reg.SetRegData(sample);
    reg.DataToValue();
    return reg.Value();
  });
}
BENCHMARK(LookUp)->Arg(10)->Arg(1000);

void CompareAll() {
  for (const TKind& kind : kKinds) {
    Compare(
        kind.Name, kind.Sample, [&kind] { return TOurs(kind); }, [&kind] { return TLeast(kind); });
  }
  Compare(
      "structure of 20 fields", BlockOf, [] { return TOurBlock(); },
      [] { return TLeastOfBlock(); });
}

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) try {
  OrvixModBus::CompareAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "bench_codec: %s\n", error.what());
  return 1;
}
