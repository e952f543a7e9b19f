#include "platform/rtl/uTextFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace OrvixModBus {
namespace {

[[noreturn]] void Refuse(const char* what, const std::string& fileName, int reason) {
  throw EStreamError(std::string(what) + " \"" + fileName + "\": " + std::strerror(reason));
}

}  // namespace

std::string ReadWholeFile(const std::string& fileName) {
  errno = 0;
  std::ifstream file(fileName, std::ios::binary);
  if (!file) Refuse("Can't read", fileName, errno);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  // A folder opens like a file; only reading it fails.
  if (file.bad() || std::filesystem::is_directory(fileName)) {
    Refuse("Can't read", fileName, errno != 0 ? errno : EISDIR);
  }
  return bytes;
}

void WriteWholeFile(const std::string& fileName, std::string_view bytes) {
  // Written aside and renamed: whoever reads the file meanwhile sees the old one or the new one.
  const std::string aside = fileName + ".part";
  errno = 0;
  std::ofstream file(aside, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  std::error_code failed;
  if (file) std::filesystem::rename(aside, fileName, failed);
  if (file && !failed) return;
  const int reason = failed ? failed.value() : errno;
  std::filesystem::remove(aside, failed);
  Refuse("Can't write", fileName, reason);
}

}  // namespace OrvixModBus
