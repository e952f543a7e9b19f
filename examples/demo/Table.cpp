#include "Table.h"

#include <cstdio>

#include "platform/rtl/uFormat.h"
#include "tools/display/uShownText.h"
#include "tools/display/uTextTable.h"

namespace OrvixModBus {
namespace {

// Long data is shown by its beginning; it would push the values off the screen.
constexpr std::size_t kShownBytes = 6;

std::string ShortHex(const Bytes& data) {
  if (data.size() <= kShownBytes) return HexText(data);
  return HexText(TByteView(data).first(kShownBytes - 1)) + " ...";
}

// The bytes of a register that was never read are zeros, which is not what the device holds.
bool HasValue(const TMBReg& reg) { return reg.Value() != TRegValue(); }

}  // namespace

std::string ValueText(const TMBReg& reg) {
  if (!HasValue(reg)) return "(no value)";
  return reg.RegType() == TRegType::rtBin ? BitTexts(reg.ValueStr()) : reg.ValueStr();
}

void PrintTable(const TMBRegs& regs) {
  TTextTable table;
  table.Columns = {{"name"},  {"address", EAlign::Right}, {"func"}, {"bytes"},
                   {"value"}, {"unit or caption"}};
  for (const TMBReg* reg : regs.RegList()) {
    table.Rows.push_back(
        {reg->Name(), Format("%d", {reg->Adress()}), Format("$%.2x", {reg->MBFuncRead()}),
         HasValue(*reg) ? ShortHex(reg->Data()) : "-", ValueText(*reg), reg->Caption()});
  }
  std::printf("%s", TableText(table).c_str());
}

}  // namespace OrvixModBus
