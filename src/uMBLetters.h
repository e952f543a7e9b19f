#pragma once
// uMBLetters: a letter - a named set of registers that is read or written together.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/model/uStringList.h"
#include "platform/rtl/uFirstError.h"
#include "uMBClient.h"
#include "uMBLetters_Groups.h"
#include "uMBReg.h"
#include "uMBReg_Places.h"

namespace OrvixModBus {

class TMBLetter;

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
  void SetMBTypeInfo(TMBTypeInfo* value) {
    CheckThread();
    fMBTypeInfo = value;
  }

  /// By the name index: case ignored, bit suffix ignored; nil when absent.
  TMBReg* GetItemByName(const std::string& name) const;
  bool TryGetRegByName(const std::string& name, TMBReg*& reg) const;
  /// The register of that name, if there is one, takes over value.
  void SetItemByName(const std::string& name, const TMBReg& value);
  /// False, and nothing has changed, when there is none.
  bool DeleteByName(const std::string& name);

  /// All registers in collection order.
  TMBRegList RegList() const;
  /// Those of these names, in the order of the names; names that are not in the set are skipped.
  TMBRegList RegList(std::span<const std::string> names) const;
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
  void SetMaxHole(std::uint8_t value) { Store(fMaxHole, value); }
  std::int32_t ChanelID() const { return fChanelID; }
  /// For the application's own use.
  void SetChanelID(std::int32_t value) { Store(fChanelID, value); }
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

  /// Requests that data be written where reg lies, offset addresses further on. By $06 and $6C
  /// one request for each of reg's registers, two bytes each; else one request. Nothing for nil
  /// or without data. Throws Exception "MBClient not assigned", for fewer bytes than the
  /// registers need, and as TMBClient::Write does; then nothing is sent. So do the other forms.
  void WriteReg(TMBReg* reg, std::uint8_t offset, const Bytes& data);
  /// The register of that name, if there is one.
  void WriteRegByName(const std::string& name, std::uint8_t offset, const Bytes& data);
  /// Writes the first two data bytes of each named register by one request, with the address and
  /// the write code of the first: the addresses must follow each other, and the read codes agree
  /// (on purpose, not the write codes). Throws Exception, which says what is wrong.
  void WriteRegsF10(std::span<const std::string> names);
  /// Writes the data of the registers with $66, then $65, in merged blocks; on an emulated
  /// connection, on purpose, that of all registers, one by one.
  void WriteAllF66F65() { WriteAllF66F65(fRegs.RegList()); }
  void WriteAllF66F65(const TMBRegList& list);
  /// WriteAllF66F65, then the data of every other register in collection order.
  void WriteAllRegs();
  /// The data of each register as WriteReg does, in list order; all are checked before.
  void WriteRegs(TMBRegList list);

  /// Same name (case matters), address, count and bytes per register.
  static bool SameReg(const TMBReg& reg1, const TMBReg& reg2);
  /// Takes over the data of the named registers that are in both letters with the same address
  /// and as many bytes, and decodes them; raises no events of the letter. Returns how many; -1
  /// when source is no letter.
  int CopyRegValues(TObject* source, std::span<const std::string> names);
  /// Removes from list the lines that name no register, and from Regs the registers that no line
  /// names.
  void RemoveNotFoundRegNames(TStrings& list);

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
  /// A request that is just being sent, seen from inside OnWorkStart, is waited for all the same.
  void ClearWaitQueue();

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
  TMBGroupList ReadGroups(const TMBRegList& list) const;
  std::shared_ptr<const TMBGroupList> AllReadGroups();
  void ReadEmulated(const TMBRegList& list, const TMBRegProc& proc);
  void ReadOptimizeRegs(const TMBGroupList& groups, const TMBRegProc& proc);
  void SendWrite(const TMBReg& reg, std::uint8_t offset, const Bytes& data, TFirstError& error);
  void WriteBlocks(TMBRegList list, const TMBRegList& others);
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
  TMBRegList fList;  // fList and fData are used again, so that writing takes no memory
  Bytes fData;
  std::shared_ptr<const TMBGroupList> fAllReadGroups;  // of the layout of that revision
  std::uint64_t fAllReadGroupsRevision = 0;
  std::array<std::uint32_t, 129> fWaitQueue{};
  std::uint32_t fForgets = 0;  // how often ClearWaitQueue was called
  std::int32_t fChanelID = 0;
  std::uint8_t fMaxHole = 0;
};

/// Records the name of a log file; logging counts as enabled while it is not empty. The library
/// itself writes no log.
void EnableLogging(const std::string& fileName);
bool LoggingEnabled();
const std::string& LoggingFileName();

}  // namespace OrvixModBus
