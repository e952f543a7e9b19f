#pragma once
// uMBReg_Names: the name index of a register collection.

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/model/uChunkedList.h"
#include "platform/rtl/uFold.h"

namespace OrvixModBus {

class TMBReg;

/// Names without regard to case, each with a register. A look-up by name costs the same however
/// many there are. Positions are those of the names in order; the order is made when a position
/// is first asked for, and kept from then on.
class TMBRegNames {
 public:
  int Count() const { return static_cast<int>(fEntries.size()); }
  /// The register of that name; nil when absent.
  TMBReg* Find(std::string_view name) const;
  /// False, and nothing has changed, when the name is there already.
  bool Add(std::string_view name, TMBReg& reg);
  /// False when the name was not there.
  bool Remove(std::string_view name);
  void Clear();

  /// Position of name in the order of names; -1 when absent.
  int Position(std::string_view name) const;
  /// EListError past the end, here and below.
  std::string_view NameAt(int position) const;
  TMBReg* RegAt(int position) const;
  void SetRegAt(int position, TMBReg& reg);

 private:
  using TEntries = std::unordered_map<std::string, TMBReg*, TFoldedHash, TFoldedEqual>;
  using TEntry = TEntries::value_type;

  std::size_t PlaceOf(std::string_view name) const;
  void PutInOrder() const;
  const TEntry& EntryAt(int position) const;

  TEntries fEntries;
  mutable TChunkedList<const TEntry*> fOrdered;
  mutable bool fIsOrdered = false;
};

}  // namespace OrvixModBus
