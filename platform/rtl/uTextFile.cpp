#include "platform/rtl/uTextFile.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace OrvixModBus {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const char* what, const std::string& fileName, int reason) {
  throw EStreamError(std::string(what) + " \"" + fileName +
                     "\": " + std::generic_category().message(reason != 0 ? reason : EIO));
}

// What was written aside goes, whatever happens, unless it has become the file.
class TPart {
 public:
  explicit TPart(const fs::path& file) : fFile(file) {}
  TPart(const TPart&) = delete;
  TPart& operator=(const TPart&) = delete;
  ~TPart() {
    std::error_code failed;
    if (fIsAside) fs::remove(fFile, failed);
  }
  void SetAside(bool value) { fIsAside = value; }

 private:
  const fs::path& fFile;
  bool fIsAside = false;
};

// Writes bytes and closes the file; 0, or the system's reason.
int WriteTo(std::ofstream& file, std::string_view bytes) {
  errno = 0;
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  return file ? 0 : (errno != 0 ? errno : EIO);
}

}  // namespace

std::string ReadWholeFile(const std::string& fileName) {
  errno = 0;
  std::ifstream file(fileName, std::ios::binary);
  if (!file) Refuse("Can't read", fileName, errno);
  std::string bytes;
  std::array<char, 65536> block{};
  do {
    file.read(block.data(), block.size());
    bytes.append(block.data(), static_cast<std::size_t>(file.gcount()));
  } while (file);
  if (file.bad()) Refuse("Can't read", fileName, errno);  // a folder opens like a file
  return bytes;
}

void WriteWholeFile(const std::string& fileName, std::string_view bytes) {
  std::error_code failed;
  const fs::file_status before = fs::status(fileName, failed);
  // A file is written aside and renamed: whoever reads it meanwhile sees the old one or the new
  // one. A device or a pipe is written as it is, and a link stays one.
  const bool replaced = !fs::exists(before) || fs::is_regular_file(before);
  const fs::path target = fs::exists(before) ? fs::canonical(fileName, failed) : fs::path(fileName);
  fs::path written = target;
  if (replaced) written += ".part";

  TPart part(written);
  part.SetAside(replaced && !fs::exists(written, failed));  // to open it may fail half-way
  errno = 0;
  std::ofstream file(written, std::ios::binary | std::ios::trunc);
  if (!file) Refuse("Can't write", fileName, errno);
  part.SetAside(replaced);
  int reason = WriteTo(file, bytes);
  if (replaced && reason == 0) {
    if (fs::exists(before)) fs::permissions(written, before.permissions(), failed);
    fs::rename(written, target, failed);
    reason = failed.value();
  }
  if (reason != 0) Refuse("Can't write", fileName, reason);
  part.SetAside(false);
}

}  // namespace OrvixModBus
