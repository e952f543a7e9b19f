#include "uMBRegsAutoFill.h"

#include <algorithm>
#include <utility>

#include "platform/model/uProperty.h"
#include "platform/rtl/uBeep.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

using TMembers = TMBRegTypeStructurs::TItems;

// Structures that hold each other twice grow beyond all memory within some levels.
constexpr std::size_t kMostMembers = 65'536;

TStringDynArray LinesOf(const TStringList& list) {
  TStringDynArray lines;
  lines.reserve(static_cast<std::size_t>(list.Count()));
  for (int i = 0; i < list.Count(); ++i) lines.push_back(list.Strings(i));
  return lines;
}

/// The members of a structure that are no structures themselves, depth first.
TMembers FlatMembers(const TMBRegTypeStructurs& structurs, const std::string& structurName) {
  struct TLevel {
    std::string Structur;
    TMembers Members;
    std::size_t Next = 0;
  };
  TMembers flat;
  std::vector<TLevel> levels;
  std::size_t count = 0;
  const auto enter = [&](const std::string& name) {
    if (std::ranges::find(levels, name, &TLevel::Structur) != levels.end()) {
      throw Exception("Structure " + name + " contains itself");
    }
    levels.push_back({name, structurs.ItemsByStructurName(name)});
  };
  enter(structurName);
  while (!levels.empty()) {
    TLevel& level = levels.back();
    if (level.Next == level.Members.size()) {
      levels.pop_back();
      continue;
    }
    if (++count > kMostMembers) {
      throw Exception("Structure " + structurName + " has too many members");
    }
    TMBRegTypeStructure* const member = level.Members[level.Next++];
    if (member->RegType() == TRegType::rtStructur) {
      enter(member->RegTypeName());
    } else {
      flat.push_back(member);
    }
  }
  return flat;
}

}  // namespace

/// A fill while it runs: everything it needs, kept apart from what its callbacks can reach.
struct TMBRegsAutoFill::TFill {
  TRef<TMBRegsAutoFill> Self;
  TRef<TMBLetter> Letter;
  TMBRegProc Proc;

  bool Runs() const { return Self && Letter; }
  TMBRegs& Regs() const { return Letter->Regs(); }
  void AddClone(const TMBReg& reg) const {
    TMBReg& added = *Regs().CloneReg(reg);
    if (Proc) Proc(added);
  }
};

TMBRegs& TMBRegsAutoFill::Regs() const {
  CheckThread();
  if (!fMBLetter) throw Exception("MBLetters not assigned");
  TMBRegs& regs = fMBLetter->Regs();
  if (regs.MBTypeInfo() == nullptr) throw Exception("TypeInfo not assigned");
  return regs;
}

TMBRegsAutoFill::TFill TMBRegsAutoFill::Begin(TMBRegProc proc) {
  Regs();
  return {this, fMBLetter, std::move(proc)};
}

void TMBRegsAutoFill::FillRegs(TMBRegProc proc) {
  const TFill fill = Begin(std::move(proc));
  GetRegNameList();
  if (fill.Runs()) DoOnGetRegName(fRegNameList);
  if (!fill.Runs()) return;
  for (const std::string& line : LinesOf(fRegNameList)) {
    const std::string name = Trim(line);
    if (name.empty()) continue;
    FillReg(fill, TMBLib::DeleteMaskFromRegName(TMBLib::DeleteBitFromRegName(name)));
    if (!fill.Runs()) return;
  }
}

void TMBRegsAutoFill::FillReg(const TFill& fill, const std::string& name) {
  if (fill.Regs().GetItemByName(name) != nullptr) return;
  TMBReg reg(nullptr);
  reg.SetDisplayName(name);
  reg.SetTypeInfo(fill.Regs().MBTypeInfo());
  bool done = false;
  GetRegInfo(reg, done);
  if (!fill.Runs()) return;
  DoOnGetRegInfo(reg, done);
  if (reg.BytesInOneReg() == 0) Beep();
  if (done && fill.Runs()) fill.AddClone(reg);
}

void TMBRegsAutoFill::FillRegsFast(TMBRegProc proc, bool withType) {
  const TFill fill = Begin(std::move(proc));
  const TStringDynArray lines = LinesOf(fRegNameList);
  const auto progress = ProgressProc;
  if (progress) progress(-static_cast<std::int32_t>(lines.size()));
  for (std::size_t i = 0; fill.Runs() && i < lines.size(); ++i) {
    const std::string name = Trim(lines[i]);
    if (name.empty()) continue;
    FillRegFast(fill, name, withType);
    if (progress && fill.Runs()) progress(static_cast<std::int32_t>(i + 1));
  }
}

void TMBRegsAutoFill::FillRegFast(const TFill& fill, const std::string& name, bool withType) {
  TMBReg reg(nullptr);
  reg.SetDisplayName(name);
  bool done = false;
  if (withType) {
    GetRegInfo(reg, done);
  } else {
    GetRegInfoWithOutType(reg, done);
  }
  if (!done || !fill.Runs()) return;
  if (reg.RegType() == TRegType::rtCollection && !withType) return;
  reg.SetTypeInfo(fill.Regs().MBTypeInfo());
  fill.AddClone(reg);
}

void TMBRegsAutoFill::AddStructurReg(const std::string& structurName, const TMBReg& base) {
  TMBRegs& regs = Regs();
  for (const TMBRegTypeStructure* member :
       FlatMembers(regs.MBTypeInfo()->TypeStructurs(), structurName)) {
    TMBReg reg(nullptr);
    FillStructurReg(base, reg, *member);
    regs.Add()->Assign(reg);
  }
}

void TMBRegsAutoFill::FillStructurReg(const TMBReg& base, TMBReg& reg,
                                      const TMBRegTypeStructure& item) {
  TMBTypeInfo* const typeInfo = Regs().MBTypeInfo();
  reg.SetDisplayName(ReplaceAll(item.Name(), "!", IntToStr(base.ChanelIndex())));
  reg.SetTypeInfo(typeInfo);
  // A negative offset counts downward.
  reg.SetRegAdress(base.Adress() + static_cast<std::uint32_t>(std::int32_t{item.Offset()}));
  reg.SetChanelIndex(base.ChanelIndex());
  reg.SetMBFuncRead(base.MBFuncRead());
  reg.SetMBFuncWrite(base.MBFuncWrite());
  reg.SetBytesInOneReg(base.BytesInOneReg());
  // 255 is past the limit already.
  reg.SetRegsCount(static_cast<std::uint8_t>(std::min<std::uint16_t>(item.Size(), 255)));
  reg.SetCaption(item.Caption());
  reg.SetRegType(item.RegType());
  reg.SetTypeName(item.RegTypeName());
}

void TMBRegsAutoFill::Assign(const TPersistent& source) {
  const auto* fill = dynamic_cast<const TMBRegsAutoFill*>(&source);
  if (fill == nullptr) return TComponent::Assign(source);
  CheckThread();
  SetMBLetter(fill->MBLetter());
  SetRegNameList(fill->fRegNameList);
}

const TClassInfo& TMBRegsAutoFill::StaticClass() {
  static const TClassInfo info(
      "TMBRegsAutoFill", &TComponent::StaticClass(),
      {
          Published("MBLetter", &TMBRegsAutoFill::MBLetter, &TMBRegsAutoFill::SetMBLetter, nullptr),
          PublishedPart<TMBRegsAutoFill, TStringList>("RegNameList", &TMBRegsAutoFill::RegNameList),
          PublishedEvent("OnGetRegName", &TMBRegsAutoFill::OnGetRegName),
          PublishedEvent("OnGetRegInfo", &TMBRegsAutoFill::OnGetRegInfo),
      });
  return info;
}

}  // namespace OrvixModBus
