#include "tools/orvixmb/uParityOption.h"

#include <vector>

namespace OrvixModBus {

CLI::Option* AddParityOption(CLI::App& command, std::string& parity,
                             const std::string& description) {
  return command.add_option("--parity", parity, description)
      ->check(CLI::IsMember(std::vector<std::string>{"even", "odd", "none"}))
      ->type_name("PARITY");
}

TParityScheme ParityNamed(const std::string& name) {
  if (name == "odd") return TParityScheme::psOdd;
  return name == "none" ? TParityScheme::psNone : TParityScheme::psEven;
}

}  // namespace OrvixModBus
