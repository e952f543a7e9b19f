// Any file as the data of registers: it is read or refused, no register changes its size, what is
// read is what the file says, and a file that was saved is read again.

#include <unistd.h>

#include <filesystem>

#include "platform/model/uStringList.h"
#include "platform/rtl/uFold.h"
#include "platform/rtl/uNumText.h"
#include "platform/rtl/uText.h"
#include "platform/rtl/uTextFile.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/input.h"
#include "uMBLetters.h"

namespace OrvixModBus {
namespace {

constexpr const char* kHeader = "Registers";

struct TRegSize {
  const char* Name;
  std::uint8_t Count;
};
constexpr TRegSize kRegs[] = {
    {"Speed", 2}, {"Level", 1}, {"Табло", 20}, {"Void", 0}, {"Long", 250}};

// A file of this process, in memory where the system offers that, gone when the process is.
class TOwnFile {
 public:
  TOwnFile() : Name((Folder() / ("orvix_datafile_" + std::to_string(getpid()))).string()) {}
  ~TOwnFile() {
    std::error_code ignored;
    std::filesystem::remove(Name, ignored);
  }
  TOwnFile(const TOwnFile&) = delete;
  TOwnFile& operator=(const TOwnFile&) = delete;

  const std::string Name;

 private:
  static std::filesystem::path Folder() {
    const std::filesystem::path memory = "/dev/shm";
    std::error_code ignored;
    return std::filesystem::is_directory(memory, ignored) ? memory
                                                          : std::filesystem::temp_directory_path();
  }
};

void AddRegs(TMBRegs& regs) {
  for (const TRegSize& size : kRegs) {
    TMBReg& reg = *regs.Add();
    reg.SetDisplayName(size.Name);
    reg.SetRegsCount(size.Count);
    for (std::uint8_t i = 0; i < size.Count; ++i) reg.SetData(i, static_cast<std::uint8_t>(~i));
  }
}

// Two hexadecimal characters from at on, one at the end.
std::uint8_t ByteAt(std::string_view hex, std::size_t at) {
  return static_cast<std::uint8_t>(StrToInt("$" + std::string(hex.substr(at, 2))) & 0xFF);
}

// The register holds what the last of its lines says, which was read to its end.
void RequireData(const TMBReg& reg, std::string_view hex) {
  for (int i = 0; i < reg.CountInByte(); ++i) {
    const auto at = static_cast<std::size_t>(i);
    Require(reg.Data()[at] == ByteAt(hex, at), "a register holds what its line says");
  }
}

// Goes through the file as it was read.
void RequireLinesAreRead(const TMBLetter& letter, std::string_view file) {
  TStringList lines;
  lines.SetText(file.starts_with("\xEF\xBB\xBF") ? file.substr(3) : file);
  for (const TMBReg* reg : letter.Regs().RegList()) {
    std::string hex;
    bool told = false;
    for (int i = 0; i < lines.Count(); ++i) {
      const TMBReg* const named = letter.Regs().GetItemByName(std::string(lines.Names(i)));
      if (named == nullptr) break;
      if (named != reg) continue;
      hex = Trim(lines.ValueFromIndex(i));
      told = true;
    }
    if (told) RequireData(*reg, hex);
  }
}

void RequireSizes(const TMBLetter& letter) {
  for (int i = 0; i < letter.Regs().Count(); ++i) {
    Require(letter.Regs().GetItem(i)->CountInByte() == kRegs[i].Count, "a register keeps its size");
  }
}

// On purpose a byte begins one character behind the byte before it, so every second one comes back.
void RequireSavedIsRead(const TMBLetter& letter, const std::string& header, const TOwnFile& file) {
  letter.Regs().SaveRegsDataToFile(file.Name, header);
  TMBLetter other;
  AddRegs(other.Regs());
  other.Regs().LoadRegsDataFromFile(file.Name, "");
  if (!header.empty()) return;  // it stands in the way as a line without a register
  for (int i = 0; i < letter.Regs().Count(); ++i) {
    const Bytes& saved = letter.Regs().GetItem(i)->Data();
    const Bytes& read = other.Regs().GetItem(i)->Data();
    for (std::size_t at = 0; 2 * at < saved.size(); ++at) {
      Require(read[2 * at] == saved[at], "what is saved is read");
    }
  }
}

}  // namespace

void FuzzOne(std::string_view bytes) {
  static const TOwnFile file;
  TFuzzInput input(bytes);
  const std::string header = (input.Byte() & 1) != 0 ? kHeader : "";
  const std::string_view text = input.Rest();
  WriteWholeFile(file.Name, text);
  TMBLetter letter;
  AddRegs(letter.Regs());
  try {
    Require(!letter.Regs().LoadRegsDataFromFile(file.Name, header), "the result is always false");
    if (header.empty()) RequireLinesAreRead(letter, text);
  } catch (const EConvertError&) {
    // What was read before stays.
  }
  RequireSizes(letter);
  RequireSavedIsRead(letter, header, file);
}

}  // namespace OrvixModBus
