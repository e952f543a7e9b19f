#pragma once
// uMBReg: one device register - where it lives, its raw bytes, its decoded value - and the
// collection that finds registers by name.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/model/uCollection.h"
#include "platform/model/uEvent.h"
#include "platform/model/uSharedText.h"
#include "uMBLib.h"
#include "uMBReg_Names.h"
#include "uMBTypeInfo.h"

namespace OrvixModBus {

class TMBReg;
class TRegNameCollection;

using TOnMBRegEvent = TEvent<void(TMBReg&)>;
/// Fills the value from the data.
using TOnMBRegDataToValue = TEvent<void(const Bytes&, TRegValue&)>;

/// The most bytes that a register's count and width may give it.
inline constexpr int kMaxRegBytes = 250;

/// One register of a device, or a run of neighbours read as one value. Owned by its collection;
/// made without one it is a temporary register that belongs to its maker. Not copyable, see
/// Assign. A setter does nothing when the value is the one it has; where it says "notifies", the
/// collection is told of a change.
class TMBReg : public TCollectionItem {
 public:
  /// Named "Reg" and its ID; nil makes a register without a collection.
  explicit TMBReg(TCollection* collection);
  ~TMBReg() override;

  const std::string& Name() const { return fName; }
  std::int32_t ChanelIndex() const { return fChanelIndex; }      ///< -1 = no channel
  std::uint32_t Adress() const { return fAdress; }               ///< 0-based, as on the wire
  std::uint8_t MBFuncRead() const { return fMBFuncRead; }        ///< function code
  std::uint8_t MBFuncWrite() const { return fMBFuncWrite; }      ///< function code, 0 = none
  std::uint8_t BytesInOneReg() const { return fBytesInOneReg; }  ///< bytes that a register counts
  /// Count: registers, not bytes; 0 while BytesInOneReg is 0.
  std::uint8_t GetRegsCount() const {
    if (fBytesInOneReg == 0) return 0;
    return static_cast<std::uint8_t>(static_cast<std::uint32_t>(fData.size()) / fBytesInOneReg);
  }
  const std::string& Caption() const { return fCaption; }
  TRegType RegType() const { return fRegType; }
  const std::string& RegTypeName() const { return fRegTypeName.Get(); }
  /// The catalogue that decodes the data; nil for none, or when it has been destroyed.
  TMBTypeInfo* TypeInfo() const { return fTypeInfo.Get(); }

  std::string GetDisplayName() const override { return fName; }
  /// Name. Keeps the collection's name index in step; notifies.
  void SetDisplayName(const std::string& value) override;
  void SetChanelIndex(std::int32_t value) { Store(fChanelIndex, value); }
  void SetRegAdress(std::uint32_t value);  ///< notifies
  void SetMBFuncRead(std::uint8_t value);  ///< notifies
  /// Notifies. On purpose: compares with MBFuncRead, so a value equal to that is not stored.
  void SetMBFuncWrite(std::uint8_t value);
  /// Resizes the data to value * BytesInOneReg bytes, new bytes are 0; notifies. Throws Exception
  /// "More then 250 bytes in reg" above 250, and nothing has changed.
  void SetRegsCount(std::uint8_t value);
  /// Resizes the data to value * Count bytes; notifies. Throws as SetRegsCount does.
  void SetBytesInOneReg(std::uint8_t value);
  void SetCaption(const std::string& value);  ///< notifies
  void SetRegType(TRegType value) { Store(fRegType, value); }
  void SetTypeName(const std::string& value);
  void SetTypeInfo(TMBTypeInfo* value) { Store(fTypeInfo, value); }

  /// Raw data, big-endian: the first byte is the most significant. Valid until changed.
  const Bytes& Data() const { return fData; }
  /// Replaces the data, whatever its length; tells nobody.
  void SetRegData(const Bytes& data);
  /// Replaces the first bytes, as many as the register has at most; tells nobody.
  void ReplaceData(TByteView data);
  /// Stores one byte; index == length appends. Throws Exception "Array index error" past that,
  /// storing none. OnDataChange is raised for the same byte, too.
  void SetData(std::uint16_t index, std::uint8_t value);
  /// Throws Exception "Array index error" past the end.
  std::uint8_t GetData(std::uint16_t index) const;
  int CountInByte() const { return static_cast<int>(fData.size()); }
  bool IsDataZero() const;  ///< true for no data, too
  /// Every byte 0, the length kept; tells nobody.
  void ClearData();
  /// One word per pair of bytes. On purpose: the second byte of the pair alone, a missing one 0.
  std::vector<std::uint16_t> GetDataAsWordAr() const;
  /// The data as text in the ANSI code page, trimmed.
  std::string DataToStr() const;

  /// Decodes the data into the value: by the catalogue; without one as text (only ValueStr
  /// changes) when the type is rtStr, else by OnDataToValue. Handlers may destroy the register;
  /// after what one throws the value is as before.
  void DataToValue();
  /// Replaces the data by the least value of the type: of a number its MinValue, of a text
  /// blanks, else zeros. Without a catalogue nothing happens. Throws Exception "Type <name>not in
  /// DB" for an unknown number type, EZeroDivide for one whose Multiplier is 0.
  void DataToMin();
  /// The description of the type in the catalogue; nil when there is none.
  TMBRegTypeColItem* GetRegTypeItem() const;

  const std::string& ValueStr() const { return Value().Srt; }
  std::int32_t ValueInt() const { return Value().Int; }
  double ValueRe() const { return Value().R; }
  const TRegValue& Value() const;

  TOnMBRegEvent OnDataChange;         ///< after every SetData; then notifies
  TOnMBRegDataToValue OnDataToValue;  ///< decodes while there is no catalogue

  /// Copies everything but the value and the handlers, the data byte by byte with OnDataChange.
  /// On purpose: as many bytes as the source's length modulo 256.
  void Assign(const TPersistent& source) override;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  friend class TRegNameCollection;

  TRegNameCollection* Names() const;
  TRegValue& OwnValue();
  void NoteMove();
  void Moved();
  void DoOnDataChange();
  void DecodeByHandlers();
  void NumberToMin();

  std::string fName;
  Bytes fData;
  std::unique_ptr<TRegValue> fValue;  // nil: cleared, for registers that are never decoded
  std::string fCaption;
  TSharedText fRegTypeName;
  TRef<TMBTypeInfo> fTypeInfo;
  std::int32_t fChanelIndex = -1;
  std::uint32_t fAdress = 1;
  int fIndexLines = 0;  // lines of the collection's name index that stand for this register
  std::uint8_t fMBFuncRead = 3;
  std::uint8_t fMBFuncWrite = 0;
  std::uint8_t fBytesInOneReg = 1;
  TRegType fRegType = TRegType::rtNone;
  const bool fHasNames;  // the collection is a TRegNameCollection
};

/// Registers with a name index: a sorted list of names without their bit suffix ("Status[3]"
/// stands under "Status"), case ignored, each with its register. A register enters the index when
/// it is given a name (the name of its construction does not count) and leaves it when destroyed;
/// of two with one name the first stays. Positions are those of the sorted index. Operations that
/// take a register throw Exception when it is not an item of this collection.
class TRegNameCollection : public TCollection {
 public:
  TRegNameCollection();
  ~TRegNameCollection() override;

  /// The register of that name; nil when absent. Needs no position.
  TMBReg* RegByName(const std::string& name) const;
  /// Position of name in the index; -1 when absent.
  int NameIndex(const std::string& name) const;
  /// EListError past the end, here and below.
  TMBReg* RegByIndex(int index) const;
  void SetRegValue(int index, TMBReg& reg);
  void SetNameByIndex(int index, const std::string& name);
  /// Ignored when the name stands in the index already.
  void AddRegItem(const std::string& name, TMBReg& reg);
  /// What a register calls when it is renamed. On purpose: a line of the old name is taken over
  /// even when it stood for another register.
  void ChangeName(const std::string& oldName, const std::string& newName, TMBReg& reg);
  /// Deletes the line; the register stays in the collection.
  void DelByIndex(int index);
  void DelByName(const std::string& name);  ///< nothing when absent
  void Clear() override;

  /// Grows whenever a register enters, leaves or moves, on the device (address, length, function
  /// codes) or in the collection.
  std::uint64_t LayoutRevision() const { return ListRevision() + fMoves; }

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  friend class TMBReg;

  void Rename(TMBReg& reg, std::string& name);
  void DelLine(std::string_view indexedName) noexcept;
  void DelAllLines();
  void Forget(TMBReg& reg) noexcept;

  TMBRegNames fNames;
  TSharedTexts fTypeNames;  // of the registers
  std::uint64_t fMoves = 0;
};

}  // namespace OrvixModBus
