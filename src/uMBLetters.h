#pragma once
// uMBLetters: a letter - a named set of registers that is read or written together.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/rtl/uFirstError.h"
#include "uMBClient.h"
#include "uMBReg.h"
#include "uMBReg_Places.h"

namespace OrvixModBus {

class TMBLetter;

using TMBRegList = std::vector<TMBReg*>;
/// Temporary registers that stand for a run of registers each.
using TMBGroupList = std::vector<std::unique_ptr<TMBReg>>;
using TMBRegProc = std::function<void(TMBReg&)>;

/// The registers of a letter.
class TMBRegs : public TRegNameCollection {
 public:
  explicit TMBRegs(TMBLetter& letter) : fLetter(letter) {}

  TPersistent* GetOwner() const override;
  TMBReg* Add() { return static_cast<TMBReg*>(TRegNameCollection::Add()); }
  /// EListError past the end.
  TMBReg* GetItem(int index) const { return static_cast<TMBReg*>(Items(index)); }

  /// The catalogue that every register added from now on gets; nil for none.
  TMBTypeInfo* MBTypeInfo() const { return fMBTypeInfo.Get(); }
  void SetMBTypeInfo(TMBTypeInfo* value) { fMBTypeInfo = value; }

  /// By the name index: case ignored, bit suffix ignored; nil when absent.
  TMBReg* GetItemByName(const std::string& name) const;
  bool TryGetRegByName(const std::string& name, TMBReg*& reg) const;
  /// The register of that name, if there is one, takes over value.
  void SetItemByName(const std::string& name, const TMBReg& value);
  /// False, and nothing has changed, when there is none.
  bool DeleteByName(const std::string& name);

  /// All registers in collection order.
  TMBRegList RegList() const;
  /// The names of the registers of these kinds, in collection order.
  TStringDynArray RegNameAr(TRegTypeSet types) const;
  /// Decodes the register and returns its value. Throws Exception "Reg: '<name>'  - not in reg
  /// list".
  TRegValue RegValueByName(const std::string& name);
  /// The register of reg's name as it is, or else a new copy of reg under that name. What
  /// copying throws leaves the set as it was.
  TMBReg* CloneReg(const TMBReg& reg);
  /// Every data byte of every register 0.
  void ClearRegsData();

  /// The registers here take the data of those of the same name in source. A name that is not
  /// here throws as RegValueByName does, and nothing has been copied.
  void CopyRegDataByName(const TMBRegs& source);
  /// Pair by pair; an empty source name is skipped. Throws Exception "Length of sourse and dest
  /// regnamelist not equele", or for a missing name as above, and nothing has been copied.
  void CopyRegDataByName(const TMBRegs& source, std::span<const std::string> srcNames,
                         std::span<const std::string> destNames);

  /// Writes one line Name=hexadecimal data per register that has data, after the header line when
  /// that is not empty. UTF-8 with byte-order mark, CR LF. EStreamError names the file.
  void SaveRegsDataToFile(const std::string& fileName, const std::string& header) const;
  /// Reads such a file, up to the first name that is not here, or nothing when the first line is
  /// not the header. EStreamError, or EConvertError for data that is not hexadecimal or too short;
  /// what was read before stays. On purpose: a byte begins one character, not two, after the byte
  /// before it; the header line counts as a register line, too; the result is always false.
  bool LoadRegsDataFromFile(const std::string& fileName, const std::string& header);

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  void Added(TCollectionItem& item) override;

 private:
  TMBReg& Expect(const std::string& name) const;
  static void LoadRegData(const TRef<TMBReg>& reg, std::string_view hex);

  TMBLetter& fLetter;
  TRef<TMBTypeInfo> fMBTypeInfo;
};

using TLetterEvent = TEvent<void(TMBLetter&)>;
using TLetterRegEvent = TEvent<void(TMBLetter&, TMBReg&)>;
/// The second argument is the function code.
using TLetterExceptEvent = TEvent<void(TMBLetter&, std::uint8_t)>;

/// Reads and writes a set of registers through a client with as few requests as the grouping
/// rules allow, and tells what came of it. The letter is complete when every request that it
/// sent has been answered, by whatever answer.
class TMBLetter : public TComponent {
 public:
  explicit TMBLetter(TComponent* owner = nullptr);
  ~TMBLetter() override;

  TMBClient* Client() const { return fClient.Get(); }
  /// Leaves the handler lists of the client before, enters those of the new one; nil for none.
  void SetClient(TMBClient* value);
  std::uint8_t MaxHole() const { return fMaxHole; }
  /// On purpose: kept and stored, but any gap between registers ends a request.
  void SetMaxHole(std::uint8_t value) { fMaxHole = value; }
  std::int32_t ChanelID() const { return fChanelID; }
  /// For the application's own use.
  void SetChanelID(std::int32_t value) { fChanelID = value; }
  TMBRegs& Regs() { return fRegs; }
  const TMBRegs& Regs() const { return fRegs; }
  void SetRegs(const TMBRegs& value) { fRegs.Assign(value); }

  /// Requests all registers; proc, if there is one, gets every group register (on an emulated
  /// connection every register) when it has been requested, and must not keep it. Throws
  /// Exception "MBClient not assigned", and nothing is sent; so do the other forms.
  void ReadAllRegs(const TMBRegProc& proc = {});
  /// Names that are not in the set are skipped.
  void ReadRegsByName(std::span<const std::string> names);
  /// Indexes into Regs; EListError past the end, and nothing is sent.
  void ReadRegsByItem(std::span<const std::uint32_t> items);
  /// Any registers; replies are spread over the letter's own.
  void ReadRegsByArray(std::span<TMBReg* const> regs);
  /// The read engine: sorts list by address, groups it per function code and requests the groups.
  void ReadRegs(TMBRegList& list, const TMBRegProc& proc);
  /// The group registers with which the named registers would be read by func; empty when none of
  /// them reads with it.
  TMBGroupList CreateOptimizedRegList(std::span<const std::string> names, std::uint8_t func) const;

  /// Handlers of the client's lists; public because lists and tests call them.
  void OnRead(TMBClient& sender, TServerReply serverReply, std::uint8_t func,
              std::uint32_t startReg, const Bytes& values, TObject* letterOwner);
  void OnWrite(TMBClient& sender, TServerReply serverReply, std::uint8_t func,
               std::uint32_t startReg, const Bytes& values, TObject* letterOwner);
  void OnClearWaitQueue(TObject& sender);

  /// Raises OnNoneAnswer or OnExeptionAnswer for a bad reply; true for a good one.
  bool ChekServerReply(TServerReply serverReply, std::uint8_t func);
  /// True when no request of function codes 1 to 102 is waited for.
  bool ChekAllRegsResive() const;
  /// Requests of that function code that are waited for; 0 above 128, which are not counted.
  std::uint32_t WaitQueue(std::uint8_t func) const;
  /// Waits for nothing any more; raises nothing.
  void ClearWaitQueue() { fWaitQueue.fill(0); }

  /// Takes over client, MaxHole and copies of the registers; neither events nor ChanelID.
  void Assign(const TPersistent& source) override;

  TLetterEvent OnReadAllRegs;           ///< the last answer has come
  TLetterEvent OnWriteAllRegs;          ///< not published
  TLetterRegEvent OnRegDataChange;      ///< a reply has updated the register
  TLetterExceptEvent OnExeptionAnswer;  ///< a reply was no good
  TLetterExceptEvent OnNoneAnswer;      ///< no reply came
  TLetterRegEvent OnWriteReg;           ///< the register has been written

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  /// For descendants: a reply has updated reg; called just before OnRegDataChange.
  virtual void RegDataChange(TMBReg& /*reg*/) {}
  void DoOnReadAllRegs() { OnReadAllRegs(*this); }
  void DoOnWriteAllRegs() { OnWriteAllRegs(*this); }
  void DoOnRegDataChange(TMBReg& reg) { OnRegDataChange(*this, reg); }

 private:
  void Bind(TMBClient* value);
  void ReadEmulated(const TMBRegList& list, const TMBRegProc& proc);
  void ReadOptimizeRegs(const TMBGroupList& groups, const TMBRegProc& proc);
  template <class TSend>
  void Request(std::uint8_t func, TSend send, TFirstError& error);
  void SpreadRead(std::uint8_t func, std::uint32_t startReg, const Bytes& values);
  void SpreadWritten(std::uint8_t func, std::uint32_t startReg, const Bytes& values);
  void TellWritten(std::uint8_t func, std::uint32_t startReg, const Bytes& values, bool& done);
  template <class TAction>
  void ForEachAlive(std::vector<TRef<TMBReg>>& found, TAction action);
  template <class TStore>
  void Update(const TRef<TMBReg>& reg, bool written, TFirstError& error, TStore store);
  bool IsComplete(std::uint8_t func) const;

  TRef<TMBClient> fClient;
  TMBRegs fRegs;
  TMBRegPlaces fReadPlaces;
  TMBRegPlaces fWritePlaces;
  std::vector<TRef<TMBReg>> fFound;
  std::array<std::uint32_t, 129> fWaitQueue{};
  std::int32_t fChanelID = 0;
  std::uint8_t fMaxHole = 0;
};

/// What a register's function code is compared with.
enum class TFuncKind { fkRead = 0, fkWrite = 1 };

/// Frees the registers, the last first.
void ClearMBRegList(TMBGroupList& list);
/// Records the name of a log file; logging counts as enabled while it is not empty. The library
/// itself writes no log.
void EnableLogging(const std::string& fileName);
bool LoggingEnabled();
const std::string& LoggingFileName();

/// Orders registers by address.
class TMBRegAdressComparer {
 public:
  /// The least 32-bit integer, 0 or the greatest one.
  std::int32_t Compare(const TMBReg& left, const TMBReg& right) const;
};

/// Sorts by address; registers of one address keep their order.
void SortMBRegs(TMBRegList& list);
/// The registers with that function code, in list order.
TMBRegList ListByFunc(const TMBRegList& list, std::uint8_t func, TFuncKind kind);
/// The grouping step: one register per request that reads the registers of function code func.
/// list must be sorted by address. Throws Exception "More then 250 bytes in reg" for a single
/// register longer than that.
TMBGroupList MBRegsOptimize(const TMBRegList& list, std::uint8_t maxHole, std::uint8_t func);

/// True when all registers agree. Throws Exception "Empty array" when there are none.
bool ChekSameMBFuncRead(const TMBRegList& list);
bool ChekSameMBFuncRead(const TMBRegs& regs);
bool ChekSameMBFuncWrite(const TMBRegList& list);
bool ChekSameRegType(const TMBRegList& list);
bool ChekSameSize(const TMBRegList& list);

}  // namespace OrvixModBus
