#include "scratch_file.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "platform/rtl/uTextFile.h"

namespace OrvixModBus::Vectors {

TScratchFile::TScratchFile()
    : fName((std::filesystem::temp_directory_path() / "vector_XXXXXX").string()) {
  const int handle = mkstemp(fName.data());
  if (handle < 0) throw std::system_error(errno, std::generic_category(), fName);
  close(handle);
}

TScratchFile::TScratchFile(std::string_view content) : TScratchFile() {
  WriteWholeFile(fName, content);
}

TScratchFile::~TScratchFile() { unlink(fName.c_str()); }

std::string TScratchFile::Content() const { return ReadWholeFile(fName); }

}  // namespace OrvixModBus::Vectors
