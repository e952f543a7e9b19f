#include "tools/simulator/uTerminalPort.h"

#include <system_error>

namespace OrvixModBus {

TSymbolicLink::TSymbolicLink(const std::string& target, const std::string& path)
    : fTarget(target), fPath(path) {
  if (std::filesystem::is_symlink(fPath)) std::filesystem::remove(fPath);
  std::filesystem::create_symlink(fTarget, fPath);
}

TSymbolicLink::~TSymbolicLink() {
  std::error_code error;
  if (std::filesystem::read_symlink(fPath, error) != fTarget) return;
  std::filesystem::remove(fPath, error);
}

void TTerminalPort::Open(const TPortSettings&) {
  Close();
  fTerminal.emplace();
  Attach(fTerminal->Handle());
  if (!fLinkPath.empty()) fLink.emplace(fTerminal->Path(), fLinkPath);
}

void TTerminalPort::Close() noexcept {
  fLink.reset();
  fTerminal.reset();
}

}  // namespace OrvixModBus
