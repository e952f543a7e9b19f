#pragma once
// replay: judges files of vectors, one JSON object per line, against the library.

#include <iosfwd>
#include <string>
#include <vector>

#include "json.h"

namespace OrvixModBus::Vectors {

enum class EVerdict {
  kPassed,
  kFailed,
  kSkipped,        ///< marked open: what happens is left to the implementation
  kNotUnderstood,  ///< can't be judged
};

/// What became of one vector.
struct TJudgement {
  EVerdict Verdict = EVerdict::kPassed;
  std::string Id;
  std::string Text;       ///< step, expected and got, or what was not understood
  std::string Operation;  ///< the unknown operation that was the reason, if one was
};

/// Judges one vector of either form.
TJudgement Judge(const Json& vector);
/// Judges a line of a file.
TJudgement JudgeLine(const std::string& line);

/// The exit statuses of ReplayFiles.
inline constexpr int kAllPassed = 0;
inline constexpr int kSomeFailed = 1;
inline constexpr int kCouldNotJudge = 2;  ///< a file can't be read, a vector is not understood

/// Judges every line of the files. One line of output for each vector that neither passes nor is
/// skipped, and last "N passed, N failed, N skipped".
int ReplayFiles(const std::vector<std::string>& fileNames, std::ostream& out);

}  // namespace OrvixModBus::Vectors
