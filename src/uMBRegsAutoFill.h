#pragma once
// uMBRegsAutoFill: creates the registers of a letter from a list of names.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/model/uComponent.h"
#include "platform/model/uEvent.h"
#include "platform/model/uStringList.h"
#include "uMBLetters.h"

namespace OrvixModBus {

class TMBRegsAutoFill;

/// May fill or replace the lines of list.
using TOnGetRegName = TEvent<void(TMBRegsAutoFill& sender, TStringList& list)>;
/// Describes reg, which has its name and belongs to the fill; done adds a copy to the set.
using TOnGetRegInfo = TEvent<void(TMBRegsAutoFill& sender, TMBReg& reg, bool& done)>;

/// For each name a temporary register is made, described by a descendant or the application, and
/// cloned into the letter's register set:
///
///   fill->SetMBLetter(letter);
///   fill->RegNameList().Add("Pressure");
///   fill->OnGetRegInfo = {this, &TPanel::Describe};
///   fill->FillRegs();
///
/// A fill works on the letter, the lines, proc and ProgressProc as they are when it begins (the
/// lines of FillRegs: after OnGetRegName); what a hook, an event or a callback changes in them
/// counts for the next fill. It ends when the letter or the component itself is destroyed. What
/// one of them throws ends it, too; registers that were cloned stay in the set. Single thread.
class TMBRegsAutoFill : public TComponent {
 public:
  explicit TMBRegsAutoFill(TComponent* owner = nullptr) : TComponent(owner) {}
  ~TMBRegsAutoFill() override { BeginDestroy(); }

  /// The letter whose register set is filled; nil for none, or when it has been destroyed.
  TMBLetter* MBLetter() const { return fMBLetter.Get(); }
  void SetMBLetter(TMBLetter* value) { Store(fMBLetter, value); }
  /// One register name per line, no series.
  TStringList& RegNameList() { return fRegNameList; }
  const TStringList& RegNameList() const { return fRegNameList; }
  void SetRegNameList(const TStringList& value) {
    CheckThread();
    fRegNameList.Assign(value);
  }

  TOnGetRegName OnGetRegName;  ///< FillRegs asks for the names
  TOnGetRegInfo OnGetRegInfo;  ///< FillRegs asks to describe a register

  /// FillRegsFast tells how far it is: first minus the number of lines, then after each line that
  /// is not empty how many lines are done. Not published.
  std::function<void(std::int32_t)> ProgressProc;

  /// Adds the registers that are not in the set yet; proc, if there is one, gets each. Names are
  /// taken without bit suffix and brace mask; empty lines are skipped. Asks GetRegNameList, then
  /// OnGetRegName; for each register GetRegInfo, then OnGetRegInfo. On purpose: beeps for a
  /// register whose BytesInOneReg is 0, and goes on. Throws Exception "MBLetters not assigned",
  /// "TypeInfo not assigned" for a set without catalogue, and nothing has been asked; so do the
  /// other operations.
  void FillRegs(TMBRegProc proc = {});
  /// Takes names as they are written, asks nobody for names, and GetRegInfo alone (without type
  /// GetRegInfoWithOutType) to describe a register, which has no catalogue yet. A name that is in
  /// the set gives proc the register that is there. On purpose: without type, registers of the
  /// kind rtCollection are not added.
  void FillRegsFast(TMBRegProc proc, bool withType);
  /// Adds a register for each member of a structure, nested structures in place of their member,
  /// all as FillStructurReg describes them, whatever is in the set. On purpose: members of a nested
  /// structure lie relative to base, too, not to the member. Throws Exception naming the structure
  /// when one contains itself, or when there are more than 65536 members, nested structures among
  /// them, and nothing has been added.
  void AddStructurReg(const std::string& structurName, const TMBReg& base);
  /// Describes the register of one member: "!" in the name is base's ChanelIndex, Offset counts
  /// from base's Adress, Count is Size; function codes and BytesInOneReg are those of base. Throws
  /// Exception "More then 250 bytes in reg".
  void FillStructurReg(const TMBReg& base, TMBReg& reg, const TMBRegTypeStructure& item);

  void DoOnGetRegName(TStringList& list) { OnGetRegName(*this, list); }
  void DoOnGetRegInfo(TMBReg& reg, bool& done) { OnGetRegInfo(*this, reg, done); }

  /// Takes over letter and names; neither handlers nor ProgressProc.
  void Assign(const TPersistent& source) override;

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  // Hooks for descendants that know the registers of a device.

  /// Fills RegNameList before FillRegs.
  virtual void GetRegNameList() {}
  /// Describes reg; done adds it.
  virtual void GetRegInfo(TMBReg& /*reg*/, bool& /*done*/) {}
  /// The same for FillRegsFast without type.
  virtual void GetRegInfoWithOutType(TMBReg& /*reg*/, bool& /*done*/) {}

 private:
  struct TFill;

  TMBRegs& Regs() const;
  TFill Begin(TMBRegProc proc);
  void FillReg(const TFill& fill, const std::string& name);
  void FillRegFast(const TFill& fill, const std::string& name, bool withType);

  TRef<TMBLetter> fMBLetter;
  TStringList fRegNameList;
};

}  // namespace OrvixModBus
