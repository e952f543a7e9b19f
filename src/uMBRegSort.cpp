#include "uMBRegSort.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFold.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

constexpr int kImageBytes = 8;
constexpr int kImageBits = 8 * kImageBytes;

using TRefs = std::vector<TRef<TMBReg>>;

TRefs RefsOf(const TMBRegList& regs) { return {regs.begin(), regs.end()}; }

/// Calls add for each register that confirm wants. Confirm may destroy registers, or owner, which
/// ends it.
template <class TAdd>
void ForEachConfirmed(TObject& owner, const TMBRegList& regs, const TConfirmStrFunc& confirm,
                      TAdd add) {
  const TRef<TObject> self(&owner);
  for (const TRef<TMBReg>& reg : RefsOf(regs)) {
    const bool wanted = reg && (!confirm || (confirm(reg->Name()) && reg));
    if (!self) return;
    if (wanted) add(*reg);
  }
}

std::uint8_t ByteOf(std::int64_t image, int index) {
  if (index >= kImageBytes) return 0;
  return static_cast<std::uint8_t>(static_cast<std::uint64_t>(image) >> (8 * index) & 0xFF);
}

std::int64_t WithBytes(std::int64_t image, const Bytes& data) {
  auto bits = static_cast<std::uint64_t>(image);
  for (unsigned i = 0; i < data.size() && i < kImageBytes; ++i) {
    const unsigned shift = 8 * i;
    bits = (bits & ~(std::uint64_t{0xFF} << shift)) | std::uint64_t{data[i]} << shift;
  }
  return static_cast<std::int64_t>(bits);
}

std::int64_t WithBit(std::int64_t image, std::int32_t bitIndex) {
  const auto bits = static_cast<std::uint64_t>(image) | std::uint64_t{1} << bitIndex;
  return static_cast<std::int64_t>(bits);
}

int BytesOf(const TMBReg& reg) { return reg.GetRegsCount() * reg.BytesInOneReg(); }

std::string ImageText(std::int64_t image, int bytes) {
  std::string text = "$";
  for (int i = bytes - 1; i >= 0; --i) text += IntToHex(ByteOf(image, i), 2);
  return text;
}

/// A stable merge sort that stays inside the list whatever isBefore says: the differences of
/// addresses that lie far apart are no order.
template <class TItem, class TIsBefore>
void MergeSort(std::vector<TItem>& list, TIsBefore isBefore) {
  std::vector<TItem> merged(list.size());
  for (std::size_t run = 1; run < list.size(); run *= 2) {
    for (std::size_t begin = 0; begin < list.size(); begin += 2 * run) {
      const std::size_t middle = std::min(begin + run, list.size());
      const std::size_t end = std::min(begin + 2 * run, list.size());
      std::size_t left = begin;
      std::size_t right = middle;
      for (std::size_t i = begin; i < end; ++i) {
        const bool takeLeft = right == end || (left < middle && !isBefore(list[right], list[left]));
        merged[i] = std::move(list[takeLeft ? left++ : right++]);
      }
    }
    std::swap(list, merged);
  }
}

}  // namespace

void TMBRegNameDic::AddList(const TMBRegs& regs, bool clear, const TConfirmStrFunc& confirm) {
  if (clear) Clear();
  Reserve(regs.Count());
  ForEachConfirmed(*this, regs.RegList(), confirm,
                   [this](TMBReg& reg) { TryAdd(reg.Name(), reg); });
}

bool TMBRegNameDic::Find(const std::string& name, TMBReg*& reg) const {
  reg = TryGetValue(name);
  return reg != nullptr;
}

void TMBRegContainer::AddReg(TMBReg& reg, const TConfirmStrFunc& confirm, std::int32_t flags) {
  ForEachConfirmed(*this, {&reg}, confirm, [&](TMBReg& added) { Add(added, flags); });
}

void TMBRegContainer::AddList(const TMBRegs& regs, bool clear, const TConfirmStrFunc& confirm) {
  if (clear) Clear(kAll);
  fNames.Reserve(regs.Count());
  fValues.Reserve(regs.Count());
  fAdresses.Reserve(regs.Count());
  ForEachConfirmed(*this, regs.RegList(), confirm, [this](TMBReg& reg) { Add(reg, kAll); });
}

void TMBRegContainer::Add(TMBReg& reg, std::int32_t flags) {
  if ((flags & kNames) != 0) fNames.TryAdd(reg.Name(), reg);
  if ((flags & kValues) != 0) fValues.GetOrAdd(reg);
  if ((flags & kAdresses) != 0) fAdresses.TryAdd(reg.Adress(), reg);
}

void TMBRegContainer::Clear(std::int32_t flags) {
  if ((flags & kNames) != 0) fNames.Clear();
  if ((flags & kValues) != 0) fValues.Clear();
  if ((flags & kAdresses) != 0) fAdresses.Clear();
}

bool TMBRegContainer::AddValue(const std::string& name, const std::string& value,
                               std::int32_t bitIndex) {
  TMBReg* const reg = fNames.TryGetValue(name);
  std::int64_t* const image = reg != nullptr ? fValues.TryGetValue(*reg) : nullptr;
  if (image == nullptr) return false;
  if (bitIndex >= 0) {
    if (reg->RegType() != TRegType::rtBin || bitIndex >= kImageBits) return false;
    if (StrToIntDef(value, -1) == 1) *image = WithBit(*image, bitIndex);
    return true;
  }
  const TMBRegTypeColItem* const type = reg->GetRegTypeItem();
  if (type == nullptr) return false;
  *image = WithBytes(*image, type->StrToData(value, static_cast<std::uint8_t>(BytesOf(*reg))));
  return true;
}

void TMBRegContainer::EnumRegObjects(const TMBRegProc& proc,
                                     const TRefNotifyEvent& progress) const {
  const TRefs regs = RefsOf(fAdresses.InKeyOrder());
  if (progress) progress(-static_cast<std::int32_t>(regs.size()));
  std::int32_t done = 0;
  for (const TRef<TMBReg>& reg : regs) {
    if (proc && reg) proc(*reg);
    ++done;
    if (progress) progress(done);
  }
}

void TMBRegContainer::ResetObjects() {
  const TMBRegList regs = fAdresses.InKeyOrder();
  Clear(kNames + kValues);
  for (TMBReg* reg : regs) Add(*reg, kNames + kValues);
}

void TMBRegContainer::EnumRegNames(const TRegNameValueProc& proc) const {
  std::vector<std::pair<std::string, std::string>> texts;
  for (const TMBReg* reg : fAdresses.InKeyOrder()) {
    if (const std::int64_t* const image = fValues.TryGetValue(*reg)) {
      texts.emplace_back(reg->Name(), ImageText(*image, BytesOf(*reg)));
    }
  }
  if (!proc) return;
  for (const auto& [name, text] : texts) proc(name, text);
}

std::int32_t TMBRegComparer::Compare(const TMBReg& left, const TMBReg& right) const {
  return static_cast<std::int32_t>(left.Adress() - right.Adress());
}

TMBReg* TMBRegSorter::GetItemReg(int index) const {
  if (index < 0 || index >= Count()) {
    throw EListError(index);
  }
  return fPlaces[static_cast<std::size_t>(index)].Reg.Get();
}

void TMBRegSorter::AddList(const TMBRegs& regs, bool clear) {
  if (clear) Clear();
  Add(regs.RegList());
}

void TMBRegSorter::AddListByArray(const TMBRegs& regs, std::span<const std::string> names,
                                  bool clear) {
  if (clear) Clear();
  Add(regs.RegList(names));
}

void TMBRegSorter::Sort() {
  Refresh();
  MergeSort(fPlaces, [this](const TPlace& left, const TPlace& right) {
    return fComparer.Compare(*left.Reg, *right.Reg) < 0;
  });
}

void TMBRegSorter::Add(const TMBRegList& added) {
  Refresh();
  // Out of order only when a register has got another address since.
  if (!std::ranges::is_sorted(fPlaces, {}, &TPlace::Adress)) {
    std::ranges::stable_sort(fPlaces, {}, &TPlace::Adress);
  }
  const auto known = static_cast<std::ptrdiff_t>(fPlaces.size());
  for (TMBReg* reg : added) fPlaces.push_back({reg->Adress(), reg});
  std::ranges::stable_sort(fPlaces.begin() + known, fPlaces.end(), {}, &TPlace::Adress);
  std::ranges::inplace_merge(fPlaces, fPlaces.begin() + known, {}, &TPlace::Adress);
  const auto isTwin = [](const TPlace& a, const TPlace& b) { return a.Adress == b.Adress; };
  fPlaces.erase(std::unique(fPlaces.begin(), fPlaces.end(), isTwin), fPlaces.end());
}

/// Drops registers that have been destroyed, and looks where the others lie now.
void TMBRegSorter::Refresh() {
  std::erase_if(fPlaces, [](const TPlace& place) { return !place.Reg; });
  for (TPlace& place : fPlaces) place.Adress = place.Reg->Adress();
}

TMBRegBitSorter::TMBRegBitSorter(char32_t separator) {
  if (separator != U'\0') Utf8Append(fSeparator, separator);
}

void TMBRegBitSorter::Clear() {
  TMBRegSorter::Clear();
  fBits.Clear();
}

Bytes TMBRegBitSorter::GetBitNums(const TMBReg& reg) const {
  const Bytes* const bits = fBits.TryGetValue(reg);
  return bits != nullptr ? *bits : Bytes();
}

void TMBRegBitSorter::AddListByArray(const TMBRegs& regs, std::span<const std::string> names,
                                     bool clear) {
  if (clear) Clear();
  if (fSeparator.empty()) return TMBRegSorter::AddListByArray(regs, names, false);
  TMBRegList found;
  for (const std::string& entry : names) {
    const std::size_t length = RegPartLength(entry);
    TMBReg* const reg = regs.GetItemByName(entry.substr(0, length));
    if (reg == nullptr) continue;
    found.push_back(reg);
    if (length == entry.size()) continue;
    const std::string_view bitPart = std::string_view(entry).substr(length + fSeparator.size());
    const std::int32_t bit = StrToIntDef(bitPart, -1);
    if (bit >= 0) NoteBit(*reg, static_cast<std::uint8_t>(bit & 0xFF));
  }
  Add(found);
}

void TMBRegBitSorter::ExtractNames(TStrings& list, std::span<const std::string> names) const {
  // As list.IndexOf compares, without its walk over all lines for each entry.
  std::unordered_set<std::string> known;
  for (int i = 0; i < list.Count(); ++i) known.insert(FoldCase(list.Strings(i)));
  for (const std::string& entry : names) {
    const std::string name = entry.substr(0, RegPartLength(entry));
    if (known.insert(FoldCase(name)).second) list.Add(name);
  }
}

std::size_t TMBRegBitSorter::RegPartLength(const std::string& entry) const {
  if (fSeparator.empty()) return entry.size();
  return std::min(entry.find(fSeparator), entry.size());
}

void TMBRegBitSorter::NoteBit(TMBReg& reg, std::uint8_t bit) {
  Bytes& bits = fBits.GetOrAdd(reg);
  const auto place = std::ranges::lower_bound(bits, bit);
  if (place == bits.end() || *place != bit) bits.insert(place, bit);
}

}  // namespace OrvixModBus
