#pragma once
// uTerminalPort: a pseudo-terminal that can vanish and come back under the same name.

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "tools/simulator/uHandlePort.h"
#include "tools/simulator/uPseudoTerminal.h"

namespace OrvixModBus {

/// A symbolic link that is there as long as this is.
class TSymbolicLink {
 public:
  /// Takes the place of a link that was left over; throws std::filesystem::filesystem_error where
  /// anything else has that name.
  TSymbolicLink(const std::string& target, const std::string& path);
  TSymbolicLink(const TSymbolicLink&) = delete;
  TSymbolicLink& operator=(const TSymbolicLink&) = delete;
  /// Leaves a link alone that leads elsewhere by now: it is another program's.
  ~TSymbolicLink();

 private:
  const std::filesystem::path fTarget, fPath;
};

/// The device's end of a pseudo-terminal. Closing it is pulling out the adapter: the terminal is
/// gone, and so is the link to it; opening makes a new terminal under the link's name.
class TTerminalPort final : public THandlePort {
 public:
  /// Opens. Throws what making the terminal and the link throw, which is empty for none.
  explicit TTerminalPort(std::string link = {}) : fLinkPath(std::move(link)) {
    TTerminalPort::Open({});
  }

  void Open(const TPortSettings&) override;
  void Close() noexcept override;
  /// What a program opens, while this is open; another one each time.
  const std::string& Path() const { return fTerminal->Path(); }

 private:
  const std::string fLinkPath;
  std::optional<TPseudoTerminal> fTerminal;
  std::optional<TSymbolicLink> fLink;
};

}  // namespace OrvixModBus
