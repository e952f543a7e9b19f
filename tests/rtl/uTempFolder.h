#pragma once
// uTempFolder: a folder of its own for a test that needs files.

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

namespace OrvixModBus {

/// An empty folder that goes with all its files at the end of the test.
class TTempFolder {
 public:
  TTempFolder() : fPath((std::filesystem::temp_directory_path() / "orvix_XXXXXX").string()) {
    if (mkdtemp(fPath.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), fPath);
    }
  }
  TTempFolder(const TTempFolder&) = delete;
  TTempFolder& operator=(const TTempFolder&) = delete;
  ~TTempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(fPath, ignored);
  }

  const std::string& Path() const { return fPath; }
  std::string File(std::string_view name) const { return fPath + "/" + std::string(name); }
  std::string Write(std::string_view name, std::string_view bytes) const {
    std::ofstream(File(name), std::ios::binary) << bytes;
    return File(name);
  }
  std::string Read(std::string_view name) const {
    std::ifstream file(File(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string fPath;
};

}  // namespace OrvixModBus
