#pragma once
// uFormValues: bytes that a type catalogue decodes to something sensible, changing with time.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/rtl/uBytes.h"
#include "uMBTypeInfo.h"

namespace OrvixModBus {

/// The bytes of a value by the seconds since the start. Any callable will do.
using TValueSource = std::function<Bytes(double seconds)>;

/// What a value is, as a register or the field of a structure says it.
struct TValueType {
  TRegType Type = TRegType::rtNone;
  std::string TypeName = {};
  std::size_t Size = 0;    ///< bytes
  std::string Text = {};   ///< what an rtStr says
  std::size_t Offset = 0;  ///< first byte, of a field
  /// What an rtNum always says, as near as its description allows.
  std::optional<double> Real = {};
};

/// A structure, or a record of another make.
struct TValueBlock {
  std::string Name = {};
  std::size_t Size = 0;  ///< bytes
  std::vector<TValueType> Fields = {};
};

/// The ANSI code page as it is set when this is made, the other way round.
class TAnsiPage {
 public:
  TAnsiPage();
  /// One byte per character, a question mark for those that the page lacks.
  Bytes Encode(std::string_view utf8) const;

 private:
  std::map<std::string, std::uint8_t, std::less<>> fBytes;  // by character
};

/// Makes values. What it has made keeps nothing of the catalogue and may outlive it.
///
/// rtNum swings between 30 and 70 % of the described range, or counts up where that is wide; an
/// rtList shows one code after the other, an rtBin one set bit after the other, an rtStr its text,
/// an rtStructur of up to 4 bytes the code of its structure, a longer one its fields; rtNone of 4
/// bytes and more is the time in seconds since 1970. What the catalogue does not describe is a
/// number of 0 to 100. Values of one kind are at different places of their swing.
class TFormValues {
 public:
  /// Nil: nothing is described.
  explicit TFormValues(const TMBTypeInfo* catalogue);

  TValueSource Value(const TValueType& type);
  /// The fields of a block, side by side. What lies between them is 0, and so are structures within
  /// a structure; a field that leaves the block is left out.
  TValueSource Block(const TValueBlock& block);
  /// The structures as they end with their last field, in the order in which the catalogue first
  /// names them.
  const std::vector<TValueBlock>& Structurs() const { return fStructurs; }

 private:
  using TCodes = std::shared_ptr<const std::vector<std::uint32_t>>;

  void LearnStructurs();
  TValueSource Field(const TValueType& type);
  TValueSource Number(const TValueType& type);
  TValueSource List(const TValueType& type);
  TValueSource Bin(const TValueType& type);
  TValueSource Text(const TValueType& type) const;
  TValueSource StructurCode(const TValueType& type) const;
  template <class TLearn>
  TCodes CodesOf(const TMBRegTypeColItem& item, std::uint64_t limit, TLearn learn);

  const TMBTypeInfo* const fCatalogue;
  const TAnsiPage fAnsi;
  std::vector<TValueBlock> fStructurs;
  std::map<std::string, std::size_t> fStructurByName;
  std::map<std::string, std::int32_t> fStructurCodes;
  std::unordered_map<const TMBRegTypeColItem*, TCodes> fCodes;
  std::uint32_t fMade = 0;  // numbers, lists and bit fields so far
};

}  // namespace OrvixModBus
