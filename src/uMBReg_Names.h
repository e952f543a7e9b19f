#pragma once
// uMBReg_Names: the name index of a register collection.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/model/uChunkedList.h"

namespace OrvixModBus {

class TMBReg;

/// Names without regard to case, each with a register. A look-up by name costs the same however
/// many there are: a hash table whose slots hold only hashes and line numbers, so that a miss
/// mostly touches one slot. Positions are those of the names in order; the order is made when a
/// position is first asked for, and kept from then on. Mostly a register stands under its own name,
/// which is not copied then: a register that is given another one leaves first.
class TMBRegNames {
 public:
  /// What a register stands under; nil for its own name.
  using TText = std::unique_ptr<const std::string>;

  int Count() const { return fCount; }
  /// The register of that name; nil when absent.
  TMBReg* Find(std::string_view name) const;
  /// False, and nothing has changed, when the name is there already.
  bool Add(TMBReg& reg, TText text);
  bool Add(std::string_view name, TMBReg& reg) { return Add(reg, TextFor(name, reg)); }
  /// Makes room, so that the next Add of a register with its text needs no memory.
  void Reserve();
  /// Nil when name is the one that reg has.
  static TText TextFor(std::string_view name, const TMBReg& reg);
  /// False when the name was not there.
  bool Remove(std::string_view name) noexcept;
  /// Removes a name of reg; false when it has none.
  bool RemoveOneOf(const TMBReg& reg) noexcept;
  void Clear();

  /// Position of name in the order of names; -1 when absent.
  int Position(std::string_view name) const;
  /// EListError past the end, here and below.
  const std::string& NameAt(int position) const { return NameOf(LineAt(position)); }
  TMBReg* RegAt(int position) const { return fLines[LineAt(position)].Reg; }
  void SetRegAt(int position, TMBReg& reg);

 private:
  struct TLine {
    TMBReg* Reg = nullptr;  // nil: the line is free
    TText Text;
  };
  struct TSlot {
    std::uint32_t Hash = 0;
    std::uint32_t Line = kNoLine;
  };
  static constexpr std::uint32_t kNoLine = 0xFFFFFFFF;

  const std::string& NameOf(std::size_t line) const;
  std::size_t SlotOf(std::string_view name, std::uint32_t hash) const;
  std::size_t NextSlot(std::size_t slot) const { return (slot + 1) & (fSlots.size() - 1); }
  void Grow();
  void EmptySlot(std::size_t slot);
  std::uint32_t TakeLine();
  void Order(std::uint32_t line);
  std::size_t PlaceOf(std::string_view name) const;
  void PutInOrder() const;
  std::size_t LineAt(int position) const;

  std::vector<TLine> fLines;
  std::vector<std::uint32_t> fFreeLines;  // to be used again
  std::vector<TSlot> fSlots;              // a power of two, at most half of them taken
  mutable TChunkedList<std::uint32_t> fOrdered;
  mutable bool fIsOrdered = false;
  int fCount = 0;
};

}  // namespace OrvixModBus
