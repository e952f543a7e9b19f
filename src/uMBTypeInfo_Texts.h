#pragma once
// uMBTypeInfo_Texts: texts that stand for numbers, in lines such as "3=Alarm".

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/model/uStringList.h"

namespace OrvixModBus {

/// A string list whose names are whole numbers, and its texts by number: what name=value access
/// finds for the number in decimal. Finding costs the same in a long list as in a short one and
/// follows every change of the list. Single thread.
class TMBRegTypeTexts {
 public:
  TStringList& Lines() { return fLines; }
  const TStringList& Lines() const { return fLines; }

  /// The text of the first line of that number, valid until the list changes; empty when absent.
  std::string_view Find(std::int32_t number) const {
    if (fRevision != fLines.Revision()) Learn();
    const auto place = static_cast<std::size_t>(number);  // of a negative one past every end
    return place < fLow.size() ? fLow[place] : FindOther(number);
  }
  /// Replaces that line or adds one; an empty text removes it.
  void Set(std::int32_t number, std::string_view text);
  /// "0: Stop; 1: Run": every line in order, whatever its name.
  std::string Description() const;

 private:
  void Learn() const;
  std::string_view FindOther(std::int32_t number) const;

  TStringList fLines;
  // Texts by number, as of a revision of the list: the bits of a register at their place, the
  // rest by search. A place without data() has no line yet.
  mutable std::vector<std::string_view> fLow;
  mutable std::unordered_map<std::int32_t, std::string_view> fOther;
  mutable std::uint64_t fRevision = 0;
};

}  // namespace OrvixModBus
