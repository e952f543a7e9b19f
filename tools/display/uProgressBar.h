#pragma once
// uProgressBar: one line of a terminal that fills up.

#include <cstdint>
#include <cstdio>
#include <string>

namespace OrvixModBus {

/// "  what [########------------]  40 %  96 of 240"; more than total shows as all of it.
std::string ProgressLine(const std::string& what, std::uint64_t done, std::uint64_t total);

/// Shows progress where out is a terminal, and nothing elsewhere. The bar is wiped away at its end,
/// so what is printed next stands where it was.
class TProgressBar {
 public:
  explicit TProgressBar(std::string what, std::FILE* out = stdout);
  TProgressBar(const TProgressBar&) = delete;
  TProgressBar& operator=(const TProgressBar&) = delete;
  ~TProgressBar();

  void Show(std::uint64_t done, std::uint64_t total);

 private:
  void Replace(const std::string& line);

  const std::string fWhat;
  std::FILE* const fOut;
  const bool fShown;
  std::string fLine;  // what stands there now
};

}  // namespace OrvixModBus
