#include "uMBTypeInfo_Bins.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"

namespace OrvixModBus {
namespace {

constexpr std::int32_t kKnownBits = 2000;  // of the longest register; others are rare

// The part of "text0|text1" for a state.
std::string_view StateOf(std::string_view texts, bool state) {
  const auto bar = texts.find('|');
  if (!state) return texts.substr(0, bar);
  if (bar == std::string_view::npos) return {};
  return texts.substr(bar + 1, texts.find('|', bar + 1) - bar - 1);
}

bool CheckedBit(const Bytes& data, std::int32_t bit, bool hiFirst) {
  if (bit < 0 || bit > std::numeric_limits<std::uint16_t>::max()) throw Exception("BitNum error");
  return TMBLib::BitFromAr(data, static_cast<std::uint16_t>(bit), hiFirst);
}

// The index of the last line of the form "name=value"; 0 also when there is none.
int LastNamedLine(const TStringList& lines) {
  int index = std::max(lines.Count() - 1, 0);
  while (index > 0 && lines.Names(index).empty()) --index;
  return index;
}

}  // namespace

TMBRegTypeBin::TMBRegTypeBin(TCollection* collection)
    : TMBRegTypeColItem(collection, "TypeBin", TRegType::rtBin) {
  Introduce();
}

std::string TMBRegTypeBin::GetValue(std::int32_t key, bool binValue) const {
  return std::string(StateText(key, binValue));
}

void TMBRegTypeBin::SetValue(std::int32_t key, bool binValue, const std::string& value) {
  const std::string other = GetValue(key, !binValue);
  fDictionary.Set(key, binValue ? other + "|" + value : value + "|" + other);
}

std::string TMBRegTypeBin::BitValues(std::int32_t key) const {
  return Format("0: %s; 1: %s", {StateText(key, false), StateText(key, true)});
}

void TMBRegTypeBin::Decode(TByteView data, TRegValue& value) const {
  if (data.size() <= sizeof(std::uint32_t)) {
    value.Int = static_cast<std::int32_t>(TMBLib::ByteArToCardinal(data));
  }
  const std::size_t bits = data.size() * 8;
  for (std::size_t bit = 0; bit < bits; ++bit) {
    if (bit > 0) value.Srt.push_back('|');
    value.Srt.append(StateText(data, bit));
  }
}

TRegValue TMBRegTypeBin::BitNumToValue(const Bytes& data, std::int32_t bitNum, bool getStr) const {
  const bool state = CheckedBit(data, bitNum, true);
  TRegValue result;
  result.Int = state ? 1 : 0;
  if (getStr) result.Srt = StateText(bitNum, state);
  return result;
}

TStringDynArray TMBRegTypeBin::TrueBitNameAr(const Bytes& data) const {
  TStringDynArray names;
  for (std::size_t bit = 0; bit + 8 <= data.size() * 8; ++bit) {
    const auto name = fBits.Find(static_cast<std::int32_t>(bit));
    if (!name.empty() && IsSet(data, bit)) names.emplace_back(name);
  }
  return names;
}

std::string TMBRegTypeBin::DataToString(const Bytes& data, const std::string& /*delimStr*/,
                                        const std::string& trueVal, const std::string& falseVal,
                                        bool hiFirst) const {
  std::string result;
  const int last = LastNamedLine(Dictionary());
  if (last == 0) return result;
  const auto maxBit = static_cast<std::uint8_t>(StrToInt(Dictionary().Names(last)));
  const auto lines =
      static_cast<int>(std::min(data.size() * 8, static_cast<std::size_t>(last) + 1));
  for (int i = 0; i < lines; ++i) {
    const std::int32_t bit = StrToInt(Dictionary().Names(i));
    if (bit > maxBit) break;
    if (i > 0) result.push_back('|');
    result.append(CheckedBit(data, bit, hiFirst) ? trueVal : falseVal);
  }
  return result;
}

Variant TMBRegTypeBin::StrToVar(const std::string& str) const {
  const std::int32_t state = StrToIntDef(str, -1);
  if (state != 0 && state != 1) {
    throw TBitBoundException(
        Format("Error in TMBRegTypeBin.StrToVar: Value %s is not found", {str}));
  }
  return state;
}

void TMBRegTypeBin::Assign(const TPersistent& source) {
  const auto* bin = dynamic_cast<const TMBRegTypeBin*>(&source);
  if (bin == nullptr) return TMBRegTypeColItem::Assign(source);
  SetName(bin->Name());
  SetDictionary(bin->Dictionary());
  SetBits(bin->Bits());
}

std::string_view TMBRegTypeBin::StateText(std::int32_t bit, bool state) const {
  if (bit < 0 || bit >= kKnownBits) return StateOf(fDictionary.Find(bit), state);
  const auto place = static_cast<std::size_t>(bit);
  if (place >= fStates.size() || fStatesRevision != Dictionary().Revision()) LearnStates(place + 1);
  return fStates[place][state ? 1 : 0];
}

void TMBRegTypeBin::LearnStates(std::size_t count) const {
  if (fStatesRevision != Dictionary().Revision()) fStates.clear();
  fStatesRevision = Dictionary().Revision();
  for (std::size_t bit = fStates.size(); bit < count; ++bit) {
    const std::string_view texts = fDictionary.Find(static_cast<std::int32_t>(bit));
    fStates.push_back({StateOf(texts, false), StateOf(texts, true)});
  }
}

const TClassInfo& TMBRegTypeBin::StaticClass() {
  static const TClassInfo info("TMBRegTypeBin", &TMBRegTypeColItem::StaticClass(),
                               {PublishedPart("Dictionary", &TMBRegTypeBin::Dictionary),
                                PublishedPart("Bits", &TMBRegTypeBin::Bits)});
  return info;
}

const TClassInfo& TMBRegTypeBins::StaticClass() {
  static const TClassInfo info("TMBRegTypeBins", &TCollection::StaticClass(), {});
  return info;
}

}  // namespace OrvixModBus
