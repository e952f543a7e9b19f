#pragma once
// uTextFile: reads and writes a file whole.

#include <string>
#include <string_view>

#include "platform/rtl/uException.h"

namespace OrvixModBus {

/// A file that can't be read or written; the message names it and the system's reason.
class EStreamError : public Exception {
 public:
  using Exception::Exception;
};

/// The bytes of the file. EStreamError `Can't read "name": reason`.
std::string ReadWholeFile(const std::string& fileName);

/// Replaces the file by one with these bytes and the same permissions, or leaves it as it was:
/// EStreamError `Can't write "name": reason`. A link stays a link; a device is written to.
void WriteWholeFile(const std::string& fileName, std::string_view bytes);

}  // namespace OrvixModBus
