#include "uMBLetters.h"

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

std::string HexOf(const Bytes& data) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string hex;
  hex.reserve(data.size() * 2);
  for (const std::uint8_t byte : data) {
    hex.push_back(kDigits[byte >> 4]);
    hex.push_back(kDigits[byte & 0xF]);
  }
  return hex;
}

}  // namespace

TPersistent* TMBRegs::GetOwner() const { return &fLetter; }

TMBReg* TMBRegs::GetItemByName(const std::string& name) const { return RegByName(name); }

bool TMBRegs::TryGetRegByName(const std::string& name, TMBReg*& reg) const {
  reg = GetItemByName(name);
  return reg != nullptr;
}

void TMBRegs::SetItemByName(const std::string& name, const TMBReg& value) {
  CheckThread();
  if (TMBReg* reg = GetItemByName(name)) reg->Assign(value);
}

bool TMBRegs::DeleteByName(const std::string& name) {
  TMBReg* const reg = GetItemByName(name);
  if (reg == nullptr) return false;
  Delete(reg->Index());  // and so it leaves the index
  return true;
}

TMBRegList TMBRegs::RegList() const {
  TMBRegList list;
  list.reserve(static_cast<std::size_t>(Count()));
  for (int i = 0; i < Count(); ++i) list.push_back(GetItem(i));
  return list;
}

TMBRegList TMBRegs::RegList(std::span<const std::string> names) const {
  TMBRegList list;
  for (const std::string& name : names) {
    if (TMBReg* reg = GetItemByName(name)) list.push_back(reg);
  }
  return list;
}

TStringDynArray TMBRegs::RegNameAr(TRegTypeSet types) const {
  TStringDynArray names;
  for (const TMBReg* reg : RegList()) {
    if (types.Contains(reg->RegType())) names.push_back(reg->Name());
  }
  return names;
}

TRegValue TMBRegs::RegValueByName(const std::string& name) {
  CheckThread();
  TMBReg& reg = Expect(name);
  reg.DataToValue();
  return reg.Value();
}

TMBReg* TMBRegs::CloneReg(const TMBReg& reg) {
  if (TMBReg* known = GetItemByName(reg.Name())) return known;
  std::unique_ptr<TMBReg> copy(Add());  // goes again when reg is too long to be copied
  copy->Assign(reg);
  AddRegItem(copy->Name(), *copy);
  return copy.release();
}

void TMBRegs::ClearRegsData() {
  CheckThread();
  for (TMBReg* reg : RegList()) reg->ClearData();
}

void TMBRegs::CopyRegDataByName(const TMBRegs& source) {
  CheckThread();
  const TMBRegList sources = source.RegList();
  TMBRegList targets;
  for (const TMBReg* reg : sources) targets.push_back(&Expect(reg->Name()));
  for (std::size_t i = 0; i < sources.size(); ++i) targets[i]->SetRegData(sources[i]->Data());
}

void TMBRegs::CopyRegDataByName(const TMBRegs& source, std::span<const std::string> srcNames,
                                std::span<const std::string> destNames) {
  CheckThread();
  if (srcNames.size() != destNames.size()) {
    throw Exception("Length of sourse and dest regnamelist not equele");
  }
  std::vector<std::pair<const TMBReg*, TMBReg*>> pairs;
  for (std::size_t i = 0; i < srcNames.size(); ++i) {
    if (srcNames[i].empty()) continue;
    pairs.emplace_back(&source.Expect(srcNames[i]), &Expect(destNames[i]));
  }
  for (const auto& [from, to] : pairs) to->SetRegData(from->Data());
}

void TMBRegs::SaveRegsDataToFile(const std::string& fileName, const std::string& header) const {
  TStringList lines;
  if (!header.empty()) lines.Add(header);
  for (const TMBReg* reg : RegList()) lines.SetValue(reg->Name(), HexOf(reg->Data()));
  lines.SaveToFile(fileName);
}

bool TMBRegs::LoadRegsDataFromFile(const std::string& fileName, const std::string& header) {
  CheckThread();
  TStringList lines;
  lines.LoadFromFile(fileName);
  if (!header.empty() && (lines.Count() == 0 || lines.Strings(0) != header)) return false;
  const TRef<TMBRegs> self(this);  // handlers of OnDataChange may destroy registers and set
  for (int i = 0; self && i < lines.Count(); ++i) {
    const TRef<TMBReg> reg(GetItemByName(std::string(lines.Names(i))));
    if (!reg) return false;
    LoadRegData(reg, Trim(lines.ValueFromIndex(i)));
  }
  return false;
}

void TMBRegs::LoadRegData(const TRef<TMBReg>& reg, std::string_view hex) {
  for (int j = 0; reg && j < reg->CountInByte(); ++j) {
    const auto start = std::min(static_cast<std::size_t>(j), hex.size());
    const std::string digits = "$" + std::string(hex.substr(start, 2));
    const auto value = static_cast<std::uint8_t>(StrToInt(digits) & 0xFF);
    reg->SetData(static_cast<std::uint16_t>(j), value);
  }
}

TMBReg& TMBRegs::Expect(const std::string& name) const {
  TMBReg* const reg = GetItemByName(name);
  if (reg == nullptr) throw Exception("Reg: '" + name + "'  - not in reg list");
  return *reg;
}

void TMBRegs::Added(TCollectionItem& item) {
  TRegNameCollection::Added(item);
  static_cast<TMBReg&>(item).SetTypeInfo(fMBTypeInfo.Get());
}

const TClassInfo& TMBRegs::StaticClass() {
  static const TClassInfo info(
      "TMBRegs", &TRegNameCollection::StaticClass(),
      {Published("MBTypeInfo", &TMBRegs::MBTypeInfo, &TMBRegs::SetMBTypeInfo, nullptr)});
  return info;
}

}  // namespace OrvixModBus
