#include "tools/orvixmb/uFormValues.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "platform/rtl/uCodePage.h"
#include "platform/rtl/uNumText.h"

namespace OrvixModBus {
namespace {

constexpr double kCodeTime = 5;       // seconds that a code or a bit is shown
constexpr double kFirstTime = 1.7e9;  // November 2023
constexpr double kWideRange = 65535;  // a wider one is that of a counter, not of a measured value
constexpr double kGreatestWhole = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kIntegerSize = 4;

TValueSource Constant(const Bytes& bytes) {
  return [bytes](double) { return bytes; };
}

// The low bytes of value, the high ones first; more than 8 begin with zeros.
Bytes BigEndian(std::int64_t value, std::size_t size) {
  Bytes bytes(size);
  auto rest = static_cast<std::uint64_t>(value);
  for (auto byte = bytes.rbegin(); byte != bytes.rend() && rest != 0; ++byte) {
    *byte = static_cast<std::uint8_t>(rest);
    rest >>= 8;
  }
  return bytes;
}

// Which of count steps is on.
std::size_t StepAt(double seconds, std::uint32_t phase, std::size_t count) {
  const double step = std::floor(std::max(seconds, 0.0) / kCodeTime) + phase;
  return static_cast<std::size_t>(std::fmod(step, static_cast<double>(count)));
}

struct TRange {
  double Low = 0, High = 0;

  double Clamp(double value) const {
    return std::isnan(value) ? Low : std::clamp(value, Low, High);
  }
  bool IsWide() const { return High - Low > kWideRange; }
};

// How the raw number of a description lies in the bytes of its register.
struct TRawNumber {
  std::size_t Begin = 0, Size = 0;  // its own bytes
  std::uint8_t IntPart = 0, RealPart = 0;
  bool TwosComplement = false;  // of all own bytes; else a magnitude with the sign on top
  TRange Range;

  bool IsWhole() const { return RealPart == 0; }

  Bytes Encode(double raw) const {
    raw = Range.Clamp(raw);
    if (IsWhole()) raw = std::max(std::ceil(Range.Low), std::min(std::round(raw), Range.High));
    const Bytes bytes = OwnBytes(raw);
    // All bits set would mean that there is no value.
    const bool missing = std::ranges::all_of(bytes, [](std::uint8_t b) { return b == 0xFF; });
    return missing ? OwnBytes(Range.Clamp(raw + 1 <= Range.High ? raw + 1 : raw - 1)) : bytes;
  }

 private:
  Bytes OwnBytes(double raw) const {
    if (TwosComplement) return BigEndian(std::llround(raw), Size);
    Bytes bytes = TMBLib::RealToByteAr(std::abs(raw), IntPart, RealPart);
    if (raw < 0) bytes[0] |= std::uint8_t{0x80};
    bytes.resize(Size);
    return bytes;
  }
};

double Power256(std::size_t exponent) { return std::pow(256.0, static_cast<double>(exponent)); }

// What the bytes can hold. Signed integers of 1 and 2 bytes have their own sign, other sizes that
// of 32 bits.
TRange BoundsOf(const TRawNumber& raw, bool isSigned) {
  if (raw.TwosComplement) {
    const bool small = raw.IntPart == 1 || raw.IntPart == 2;
    if (!small && raw.Size < kIntegerSize) return {0, Power256(raw.Size) - 1};
    const double half = Power256(small ? raw.IntPart : kIntegerSize) / 2;
    return {-half, half - 1};
  }
  const double all =
      Power256(std::min<std::size_t>(raw.IntPart, kIntegerSize)) / (isSigned ? 2 : 1);
  const double high = std::min(raw.IsWhole() ? all - 1 : all - all / 256, kGreatestWhole);
  return {isSigned ? -high : 0, high};
}

// As the description cuts its bytes out of the register's and tells their sign.
TRawNumber RawNumberOf(const TMBRegTypeNumber& number, std::size_t size) {
  TRawNumber raw;
  raw.Size = size;
  raw.IntPart = number.IntPart();
  raw.RealPart = number.RealPart();
  const std::size_t parts = std::size_t{raw.IntPart} + raw.RealPart;
  if (number.FromIndex() >= 0 && static_cast<std::size_t>(number.FromIndex()) < size) {
    raw.Begin = static_cast<std::size_t>(number.FromIndex());
    raw.Size = std::min(size - raw.Begin, parts);
  }
  const bool isSigned = number.MinValue() < 0;
  raw.TwosComplement = isSigned && raw.IsWhole() && raw.IntPart <= kIntegerSize;
  const TRange bounds = BoundsOf(raw, isSigned);
  raw.Range = {bounds.Clamp(std::min(number.MinValue(), number.MaxValue())),
               bounds.Clamp(std::max(number.MinValue(), number.MaxValue()))};
  return raw;
}

double RawAt(const TRange& range, std::uint32_t phase, double seconds) {
  if (range.IsWide()) return range.Clamp(0) + 1000 + phase % 100 * 37 + std::floor(seconds);
  const double period = 20 + 5 * (phase % 9);
  const double turns = seconds / period + phase * 0.17;
  const double middle = range.Low + (range.High - range.Low) / 2;
  return middle + 0.2 * (range.High - range.Low) * std::sin(2 * std::numbers::pi * turns);
}

TValueSource NumberSource(const TRawNumber& raw, std::size_t size, std::uint32_t phase) {
  return [=](double seconds) {
    Bytes bytes(size);
    std::ranges::copy(raw.Encode(RawAt(raw.Range, phase, seconds)),
                      bytes.begin() + static_cast<std::ptrdiff_t>(raw.Begin));
    return bytes;
  };
}

TValueSource TimeSource(std::size_t size) {
  return [=](double seconds) {
    return BigEndian(std::llround(kFirstTime + std::floor(seconds)), size);
  };
}

TValueSource UndescribedSource(std::size_t size, std::uint32_t phase) {
  TRawNumber raw;
  raw.Size = size;
  raw.TwosComplement = true;
  raw.Range = {0, 100};
  return NumberSource(raw, size, phase);
}

// The numbers that lines such as "3=Alarm" begin with.
std::vector<std::int32_t> NumbersOf(const TStringList& lines) {
  std::vector<std::int32_t> numbers;
  for (int i = 0; i < lines.Count(); ++i) {
    std::int32_t number = 0;
    if (TryStrToInt(lines.Names(i), number)) numbers.push_back(number);
  }
  return numbers;
}

}  // namespace

TFormValues::TFormValues(const TMBTypeInfo* catalogue) : fCatalogue(catalogue) {
  if (fCatalogue != nullptr) LearnStructurs();
}

void TFormValues::LearnStructurs() {
  const TMBRegTypeStructurs& all = fCatalogue->TypeStructurs();
  std::vector<TMBRegTypeStructurs::TItems> fields;
  for (int i = 0; i < all.Count(); ++i) {
    TMBRegTypeStructure* const field = all.Items(i);
    const auto [place, isNew] = fStructurByName.try_emplace(field->StructurName(), fields.size());
    if (isNew) fields.emplace_back();
    fields[place->second].push_back(field);
    fStructurCodes.try_emplace(field->StructurName(), field->Code());
  }
  for (const auto& items : fields) {
    TValueBlock& block = fStructurs.emplace_back();
    block.Name = items.front()->StructurName();
    const auto* last = items.front();
    for (const TMBRegTypeStructure* field : items) {
      if (TStructurComparer::Compare(*last, *field) <= 0) last = field;
      if (field->Offset() < 0) continue;
      block.Fields.push_back({field->RegType(), field->RegTypeName(), field->Size(), field->Name(),
                              static_cast<std::size_t>(field->Offset())});
    }
    block.Size = static_cast<std::size_t>(std::max(0, last->Offset() + last->Size()));
  }
}

TValueSource TFormValues::Value(const TValueType& type) {
  const bool isBlock = type.Type == TRegType::rtStructur && type.Size > kIntegerSize;
  if (!isBlock) return Field(type);
  const auto found = fStructurByName.find(type.TypeName);
  if (found == fStructurByName.end()) return Constant(Bytes(type.Size));
  return Block({type.TypeName, type.Size, fStructurs[found->second].Fields});
}

TValueSource TFormValues::Block(const TValueBlock& block) {
  std::vector<std::pair<std::ptrdiff_t, TValueSource>> parts;
  for (const TValueType& field : block.Fields) {
    if (field.Offset > block.Size || field.Size > block.Size - field.Offset) continue;
    parts.emplace_back(static_cast<std::ptrdiff_t>(field.Offset), Field(field));
  }
  return [parts = std::move(parts), size = block.Size](double seconds) {
    Bytes bytes(size);
    for (const auto& [offset, source] : parts) {
      std::ranges::copy(source(seconds), bytes.begin() + offset);
    }
    return bytes;
  };
}

TValueSource TFormValues::Field(const TValueType& type) {
  switch (type.Type) {
    case TRegType::rtNum:
      return Number(type);
    case TRegType::rtList:
      return List(type);
    case TRegType::rtBin:
      return Bin(type);
    case TRegType::rtStr:
      return Text(type);
    case TRegType::rtStructur:
      return StructurCode(type);
    case TRegType::rtNone:
      if (type.Size >= kIntegerSize) return TimeSource(type.Size);
      break;
    case TRegType::rtCollection:
      break;
  }
  return UndescribedSource(type.Size, fMade++);
}

TValueSource TFormValues::Number(const TValueType& type) {
  const auto* number =
      fCatalogue != nullptr ? fCatalogue->TypeNumbers().GetItemByName(type.TypeName) : nullptr;
  if (number == nullptr) return UndescribedSource(type.Size, fMade++);
  const TRawNumber raw = RawNumberOf(*number, type.Size);
  // Too few bytes are an error of the form: nothing that they hold is a number.
  if (raw.Size < std::size_t{raw.IntPart} + raw.RealPart) return Constant(Bytes(type.Size));
  return NumberSource(raw, type.Size, fMade++);
}

TValueSource TFormValues::List(const TValueType& type) {
  const auto* list =
      fCatalogue != nullptr ? fCatalogue->TypeLists().GetItemByName(type.TypeName) : nullptr;
  if (list == nullptr) return UndescribedSource(type.Size, fMade++);
  if (type.Size > kIntegerSize) return Constant(Bytes(type.Size));  // which no list decodes
  const TCodes codes = CodesOf(*list, std::uint64_t{1} << (8 * type.Size), [&] {
    std::vector<std::int32_t> named = NumbersOf(list->Dictionary());
    std::erase_if(named, [&](std::int32_t code) { return list->GetValue(code).empty(); });
    return named;
  });
  if (codes->empty()) return Constant(Bytes(type.Size));
  return [codes, size = type.Size, phase = fMade++](double seconds) {
    return BigEndian((*codes)[StepAt(seconds, phase, codes->size())], size);
  };
}

TValueSource TFormValues::Bin(const TValueType& type) {
  const auto* bin =
      fCatalogue != nullptr ? fCatalogue->TypeBins().GetItemByName(type.TypeName) : nullptr;
  if (bin == nullptr) return UndescribedSource(type.Size, fMade++);
  const TCodes bits = CodesOf(*bin, 8 * type.Size, [&] {
    std::vector<std::int32_t> numbers = NumbersOf(bin->Dictionary());
    std::ranges::copy(NumbersOf(bin->Bits()), std::back_inserter(numbers));
    return numbers;
  });
  return [bits, size = type.Size, phase = fMade++](double seconds) {
    Bytes bytes(size);
    const std::size_t step = StepAt(seconds, phase, bits->size() + 1);
    if (step == bits->size()) return bytes;  // a while without any
    TMBLib::BitToAr(bytes, static_cast<std::uint16_t>((*bits)[step]), true, true);
    return bytes;
  };
}

TValueSource TFormValues::Text(const TValueType& type) const {
  Bytes bytes = fAnsi.Encode(type.Text);
  bytes.resize(type.Size, ' ');
  return Constant(bytes);
}

// Such a value is read with its low byte first.
TValueSource TFormValues::StructurCode(const TValueType& type) const {
  const auto found = fStructurCodes.find(type.TypeName);
  if (found == fStructurCodes.end() || type.Size > kIntegerSize) return Constant(Bytes(type.Size));
  Bytes bytes = BigEndian(found->second, type.Size);
  std::ranges::reverse(bytes);
  return Constant(bytes);
}

// Those below the limit. A long description is looked through once for all its registers.
template <class TLearn>
TFormValues::TCodes TFormValues::CodesOf(const TMBRegTypeColItem& item, std::uint64_t limit,
                                         TLearn learn) {
  TCodes& known = fCodes[&item];
  if (!known) {
    std::vector<std::uint32_t> codes;
    for (const std::int32_t code : learn()) codes.push_back(static_cast<std::uint32_t>(code));
    known = std::make_shared<const std::vector<std::uint32_t>>(std::move(codes));
  }
  const auto fits = [=](std::uint32_t code) { return code < limit; };
  if (std::ranges::all_of(*known, fits)) return known;
  std::vector<std::uint32_t> codes;
  std::ranges::copy_if(*known, std::back_inserter(codes), fits);
  return std::make_shared<const std::vector<std::uint32_t>>(std::move(codes));
}

TAnsiPage::TAnsiPage() {
  for (int byte = 0; byte <= 0xFF; ++byte) {
    const auto value = static_cast<std::uint8_t>(byte);
    fBytes.try_emplace(AnsiToUtf8(Bytes{value}), value);
  }
}

Bytes TAnsiPage::Encode(std::string_view utf8) const {
  const auto continues = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; };
  Bytes bytes;
  while (!utf8.empty()) {
    std::size_t size = 1;
    while (size < utf8.size() && continues(utf8[size])) ++size;
    const auto found = fBytes.find(utf8.substr(0, size));
    bytes.push_back(found != fBytes.end() ? found->second : std::uint8_t{'?'});
    utf8.remove_prefix(size);
  }
  return bytes;
}

}  // namespace OrvixModBus
