#include "Table.h"

#include <algorithm>
#include <cstdio>

#include "platform/rtl/uText.h"

namespace OrvixModBus {
namespace {

// Long data is shown by its beginning; it would push the values off the screen.
constexpr std::size_t kShownBytes = 6;

// Pads by characters: names of units are not ASCII.
std::string Padded(const std::string& text, std::size_t width) {
  const std::size_t length = Utf8Length(text);
  return text + std::string(length < width ? width - length : 0, ' ');
}

std::string ShortHex(const Bytes& data) {
  if (data.size() <= kShownBytes) return HexText(data);
  return HexText(std::span(data).first(kShownBytes - 1)) + " ...";
}

// The bytes of a register that was never read are zeros, which is not what the device holds.
bool HasValue(const TMBReg& reg) { return reg.Value() != TRegValue(); }

void PrintRow(const TMBReg& reg) {
  char place[32];
  std::snprintf(place, sizeof place, "%8u   $%02X", reg.Adress(), reg.MBFuncRead());
  std::printf("%s%s   %s%s%s\n", Padded(reg.Name(), 14).c_str(), place,
              Padded(HasValue(reg) ? ShortHex(reg.Data()) : "-", 20).c_str(),
              Padded(ValueText(reg), 31).c_str(), reg.Caption().c_str());
}

}  // namespace

std::string HexText(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02X ", byte);
    text += pair;
  }
  if (!text.empty()) text.pop_back();
  return text;
}

std::string ValueText(const TMBReg& reg) {
  if (!HasValue(reg)) return "(no value)";
  if (reg.RegType() != TRegType::rtBin) return reg.ValueStr();
  std::string text;
  for (const std::string& part : Split(reg.ValueStr(), '|')) {
    if (part.empty()) continue;
    text += (text.empty() ? "" : ", ") + part;
  }
  return text;
}

void PrintTable(const TMBRegs& regs) {
  std::printf("%s%s   %s   %s%s%s\n", Padded("name", 14).c_str(), " address", "func",
              Padded("bytes", 19).c_str(), Padded("value", 31).c_str(), "unit or caption");
  for (const TMBReg* reg : regs.RegList()) PrintRow(*reg);
}

void PrintColumns(const std::vector<TStringDynArray>& rows) {
  std::vector<std::size_t> widths;
  for (const TStringDynArray& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], Utf8Length(row[i]));
    }
  }
  for (const TStringDynArray& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      std::printf("  %s", (i + 1 < row.size() ? Padded(row[i], widths[i]) : row[i]).c_str());
    }
    std::printf("\n");
  }
}

}  // namespace OrvixModBus
