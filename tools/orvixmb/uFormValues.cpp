#include "tools/orvixmb/uFormValues.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "platform/rtl/uCodePage.h"
#include "platform/rtl/uNumText.h"
#include "tools/orvixmb/uRawNumber.h"

namespace OrvixModBus {
namespace {

constexpr double kCodeTime = 5;       // seconds that a code or a bit is shown
constexpr double kFirstTime = 1.7e9;  // November 2023
constexpr double kWideRange = 65535;  // a wider one is that of a counter, not of a measured value
constexpr std::size_t kIntegerSize = 4;

TValueSource Constant(const Bytes& bytes) {
  return [bytes](double) { return bytes; };
}

// Which of count steps is on.
std::size_t StepAt(double seconds, std::uint32_t phase, std::size_t count) {
  const double step = std::floor(std::max(seconds, 0.0) / kCodeTime) + phase;
  return static_cast<std::size_t>(std::fmod(step, static_cast<double>(count)));
}

// A number that is made up.
struct TSwing {
  TRawNumber Raw;
  TRange Range;  // as described, and within what the bytes can hold
};

TSwing SwingOf(const TMBRegTypeNumber& number, std::size_t size) {
  const TRawNumber raw = RawNumberOf(number, size);
  return {raw,
          {raw.Bounds.Clamp(std::min(number.MinValue(), number.MaxValue())),
           raw.Bounds.Clamp(std::max(number.MinValue(), number.MaxValue()))}};
}

// The nearest number of the range that means a value.
Bytes Encode(const TSwing& swing, double value) {
  const TRange& range = swing.Range;
  double raw = range.Clamp(value);
  if (swing.Raw.IsWhole())
    raw = std::max(std::ceil(range.Low), std::min(std::round(raw), range.High));
  Bytes bytes = swing.Raw.OwnBytes(raw);
  if (!IsMissingValue(bytes)) return bytes;
  return swing.Raw.OwnBytes(range.Clamp(raw + 1 <= range.High ? raw + 1 : raw - 1));
}

bool IsWide(const TRange& range) { return range.High - range.Low > kWideRange; }

double RawAt(const TRange& range, std::uint32_t phase, double seconds) {
  if (IsWide(range)) return range.Clamp(0) + 1000 + phase % 100 * 37 + std::floor(seconds);
  const double period = 20 + 5 * (phase % 9);
  const double turns = seconds / period + phase * 0.17;
  const double middle = range.Low + (range.High - range.Low) / 2;
  return middle + 0.2 * (range.High - range.Low) * std::sin(2 * std::numbers::pi * turns);
}

// The bytes of a value of that size which means a raw number.
Bytes ValueBytes(const TSwing& swing, std::size_t size, double raw) {
  Bytes bytes(size);
  std::ranges::copy(Encode(swing, raw),
                    bytes.begin() + static_cast<std::ptrdiff_t>(swing.Raw.Begin));
  return bytes;
}

TValueSource NumberSource(const TSwing& swing, std::size_t size, std::uint32_t phase) {
  return
      [=](double seconds) { return ValueBytes(swing, size, RawAt(swing.Range, phase, seconds)); };
}

TValueSource TimeSource(std::size_t size) {
  return [=](double seconds) {
    return BigEndian(std::llround(kFirstTime + std::floor(seconds)), size);
  };
}

TValueSource UndescribedSource(std::size_t size, std::uint32_t phase) {
  TSwing swing;
  swing.Raw.Size = size;
  swing.Raw.TwosComplement = true;
  swing.Range = {0, 100};
  return NumberSource(swing, size, phase);
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
      block.Fields.push_back({.Type = field->RegType(),
                              .TypeName = field->RegTypeName(),
                              .Size = field->Size(),
                              .Text = field->Name(),
                              .Offset = static_cast<std::size_t>(field->Offset())});
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
  const TSwing swing = SwingOf(*number, type.Size);
  const TRawNumber& raw = swing.Raw;
  // Too few bytes are an error of the form: nothing that they hold is a number.
  if (raw.Size < std::size_t{raw.IntPart} + raw.RealPart) return Constant(Bytes(type.Size));
  if (type.Real && number->Multiplier() != 0) {
    return Constant(ValueBytes(swing, type.Size, *type.Real / number->Multiplier()));
  }
  return NumberSource(swing, type.Size, fMade++);
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
