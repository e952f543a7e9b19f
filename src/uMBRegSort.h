#pragma once
// uMBRegSort: small tools over register sets - look-up by name and address with a value image per
// register, and registers in the order of their addresses.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/model/uObject.h"
#include "platform/model/uStringList.h"
#include "platform/rtl/uBytes.h"
#include "uMBLetters.h"

namespace OrvixModBus {

/// Which registers are wanted; empty for all.
using TConfirmStrFunc = std::function<bool(const std::string& name)>;
using TRegNameValueProc = std::function<void(const std::string& name, const std::string& value)>;
/// How far an operation is; may be empty.
using TRefNotifyEvent = std::function<void(std::int32_t)>;

// These tools refer to registers and neither own nor change them: a register that has been
// destroyed counts as one that is not there. Callbacks may change or destroy anything. Single
// thread.

/// Registers by a key; the first one of a key stays.
template <class TKey>
class TMBRegDic : public TObject {
 public:
  /// False, and nothing has changed, when the key has a register.
  bool TryAdd(const TKey& key, TMBReg& reg) {
    TRef<TMBReg>& place = fItems[key];
    if (place) return false;
    place = &reg;
    return true;
  }
  /// Nil when absent.
  TMBReg* TryGetValue(const TKey& key) const {
    const auto found = fItems.find(key);
    return found != fItems.end() ? found->second.Get() : nullptr;
  }
  void Clear() { fItems.clear(); }
  /// Makes room for as many more.
  void Reserve(int count) { fItems.reserve(fItems.size() + static_cast<std::size_t>(count)); }
  /// Number of keys, those whose register has been destroyed included.
  int Count() const { return static_cast<int>(fItems.size()); }
  /// All registers in ascending order of the keys.
  TMBRegList InKeyOrder() const {
    std::vector<std::pair<TKey, TMBReg*>> items;
    items.reserve(fItems.size());
    for (const auto& [key, reg] : fItems) {
      if (reg) items.emplace_back(key, reg.Get());
    }
    std::sort(items.begin(), items.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    TMBRegList regs;
    regs.reserve(items.size());
    for (const auto& [key, reg] : items) regs.push_back(reg);
    return regs;
  }

 private:
  std::unordered_map<TKey, TRef<TMBReg>> fItems;
};

/// Registers by Adress.
using TAddrMBRegDic = TMBRegDic<std::uint32_t>;

/// Registers by name as it is written, case and bit suffix included.
class TMBRegNameDic : public TMBRegDic<std::string> {
 public:
  /// In collection order.
  void AddList(const TMBRegs& regs, bool clear, const TConfirmStrFunc& confirm);
  /// False, and reg is nil, when absent.
  bool Find(const std::string& name, TMBReg*& reg) const;
};

/// A value for each of some registers.
template <class TValue>
class TMBRegValues : public TObject {
 public:
  /// The register's value; nil when it has none. Valid until this is changed.
  const TValue* TryGetValue(const TMBReg& reg) const {
    const auto found = fItems.find(&reg);
    // Another register may have stood at its place in memory.
    return found != fItems.end() && found->second.Reg ? &found->second.Value : nullptr;
  }
  TValue* TryGetValue(const TMBReg& reg) {
    return const_cast<TValue*>(std::as_const(*this).TryGetValue(reg));
  }
  /// The register's value, a new TValue() when it has none.
  TValue& GetOrAdd(TMBReg& reg) {
    TItem& item = fItems[&reg];
    if (!item.Reg) item = {&reg, TValue()};
    return item.Value;
  }
  void Clear() { fItems.clear(); }
  /// Makes room for as many more.
  void Reserve(int count) { fItems.reserve(fItems.size() + static_cast<std::size_t>(count)); }

 private:
  struct TItem {
    TRef<TMBReg> Reg;
    TValue Value = {};
  };

  std::unordered_map<const TMBReg*, TItem> fItems;
};

/// Value images: up to 8 bytes of a register in one number, byte 0 being the lowest.
using TMBRegValueDic = TMBRegValues<std::int64_t>;

/// Registers by name and by address, with a value image that is built up from texts and bits, and
/// listed in address order.
class TMBRegContainer : public TObject {
 public:
  /// What an operation works on; they may be added.
  enum : std::int32_t { kNames = 1, kValues = 2, kAdresses = 4, kAll = 7 };

  /// Adds the register where flags say so and its name, itself or its address is not there yet;
  /// its new image is 0.
  void AddReg(TMBReg& reg, const TConfirmStrFunc& confirm, std::int32_t flags);
  /// Every register to all three, in collection order.
  void AddList(const TMBRegs& regs, bool clear, const TConfirmStrFunc& confirm);
  void Clear(std::int32_t flags);
  /// Number of names.
  int GetCount() const { return fNames.Count(); }

  /// With a negative bitIndex puts value, as the register's type encodes it, into the image from
  /// byte 0 on; bytes past the image are dropped. Else sets bit bitIndex of the image when value
  /// is 1; on purpose, any other value changes nothing. False, and nothing has changed, for an
  /// unknown name, a register without image or without type description, and a bit of a register
  /// whose kind is not rtBin, or past the 64 of the image. Throws what the type throws for a value
  /// that it does not know, and nothing has changed.
  bool AddValue(const std::string& name, const std::string& value, std::int32_t bitIndex);

  /// Gives proc the registers as they stand in address order when the call begins, without those
  /// that are destroyed meanwhile. Tells progress minus their number, then after each how many are
  /// done. Addresses count as they were when the registers were added, here and below.
  void EnumRegObjects(const TMBRegProc& proc, const TRefNotifyEvent& progress) const;
  /// Keeps one register per address and makes names and images anew from these.
  void ResetObjects();
  /// Gives proc name and image of each register that has both address and image, in address order
  /// and as they are when the call begins: "$" and two digits per byte of the register, the
  /// highest first. Bytes past the 8 of the image read 00.
  void EnumRegNames(const TRegNameValueProc& proc) const;

 private:
  void Add(TMBReg& reg, std::int32_t flags);

  TMBRegNameDic fNames;
  TMBRegValueDic fValues;
  TAddrMBRegDic fAdresses;
};

/// The order of registers by address.
class TMBRegComparer : public TObject {
 public:
  /// The difference of the addresses as a signed 32-bit number. On purpose: it wraps where they lie
  /// 2^31 or more apart.
  std::int32_t Compare(const TMBReg& left, const TMBReg& right) const;
};

/// Registers in ascending address order, one per address, the first that was added. Adding many
/// at once costs n log n.
class TMBRegSorter : public TObject {
 public:
  virtual void Clear() { fPlaces.clear(); }
  int Count() const { return static_cast<int>(fPlaces.size()); }
  /// Nil for a register that has been destroyed; EListError past the end.
  TMBReg* GetItemReg(int index) const;

  void AddList(const TMBRegs& regs, bool clear);
  /// The registers of these names; unknown names are skipped.
  virtual void AddListByArray(const TMBRegs& regs, std::span<const std::string> names, bool clear);
  /// By the comparer, for registers whose addresses have changed. Registers that compare equal
  /// stay as they stand.
  void Sort();

 protected:
  /// Adds these in their order.
  void Add(const TMBRegList& added);

 private:
  /// A register and the address that it had when it was put in order: most comparisons then need
  /// not look at the register, which lies elsewhere in memory.
  struct TPlace {
    std::uint32_t Adress = 0;
    TRef<TMBReg> Reg;
  };

  void Refresh();

  std::vector<TPlace> fPlaces;
  TMBRegComparer fComparer;
};

/// Also notes bits of the registers: entries name a register and, after the separator, one of its
/// bits ("Status.3" with "."). An entry without separator names a register alone.
class TMBRegBitSorter : public TMBRegSorter {
 public:
  /// U+0000: entries are register names, and bits are not noted.
  explicit TMBRegBitSorter(char32_t separator);

  void Clear() override;
  /// Ascending, each once; empty when none.
  Bytes GetBitNums(const TMBReg& reg) const;
  /// A bit part that is no number, or below 0, notes no bit; of one above 255 the low byte counts.
  void AddListByArray(const TMBRegs& regs, std::span<const std::string> names, bool clear) override;
  /// Adds to list the register part of each entry, known or not, that list does not hold yet.
  void ExtractNames(TStrings& list, std::span<const std::string> names) const;

 private:
  std::size_t RegPartLength(const std::string& entry) const;
  void NoteBit(TMBReg& reg, std::uint8_t bit);

  TMBRegValues<Bytes> fBits;
  std::string fSeparator;
};

}  // namespace OrvixModBus
