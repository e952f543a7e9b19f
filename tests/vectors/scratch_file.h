#pragma once
// scratch_file: a file name of its own for as long as this lives.

#include <string>
#include <string_view>

#include "platform/rtl/uBytes.h"

namespace OrvixModBus::Vectors {

/// An empty file in the system's directory for temporary ones, removed at the end.
class TScratchFile {
 public:
  TScratchFile();
  explicit TScratchFile(std::string_view content);
  TScratchFile(const TScratchFile&) = delete;
  TScratchFile& operator=(const TScratchFile&) = delete;
  ~TScratchFile();

  const std::string& Name() const { return fName; }
  /// The whole file.
  std::string Content() const;

 private:
  std::string fName;
};

/// The bytes of a text and the text of bytes.
inline std::string TextOf(const Bytes& data) { return {data.begin(), data.end()}; }
inline Bytes BytesOf(std::string_view text) { return {text.begin(), text.end()}; }

}  // namespace OrvixModBus::Vectors
