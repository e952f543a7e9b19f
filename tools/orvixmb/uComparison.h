#pragma once
// uComparison: what has changed on a device since a snapshot, and what would bring it back.

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/display/uTextTable.h"
#include "tools/orvixmb/uRegisterRows.h"
#include "tools/orvixmb/uSnapshot.h"
#include "uMBLetters.h"

namespace OrvixModBus {

enum class EDifference : std::uint8_t {
  Changed,        ///< other bytes
  NotInSnapshot,  ///< the form has it, the snapshot has not
  NotInForm,      ///< the snapshot has it, the form has not
  OtherLayout,    ///< another address, read code or length
  NotRead,        ///< the device did not tell what it holds now
};

struct TDifference {
  EDifference Kind = EDifference::Changed;
  std::optional<TSnapshotRegister> Was, Now;  ///< Now's value means nothing when not read
  std::string Error;                          ///< why not read
  int Index = -1;                             ///< of the form's register in its letter

  const TSnapshotRegister& Register() const { return Now ? *Now : *Was; }
};

/// What differs, in the order of the rows, then what only the snapshot has. Registers are matched
/// by name, case ignored; of several with one name the first with the first. The same bytes with
/// another text are no difference.
std::vector<TDifference> Compare(const TSnapshot& snapshot, std::span<const TRegisterRow> rows);

/// Name, address, kind, value and bytes on either side; the heads say which side is which.
TTextTable ComparisonTable(std::span<const TDifference> differences,
                           const std::string& was = "snapshot", const std::string& now = "now");

/// An array of objects of `name`, `difference`, `was`, `now` (null where there is none, else
/// `adress`, `function`, `raw`, `text`), `error` (null when it was read).
nlohmann::ordered_json ComparisonJson(std::span<const TDifference> differences);

/// A difference that no write brings back, and why.
struct TNotRestorable {
  TDifference Difference;
  std::string Reason;
};

struct TRestorePlan {
  std::vector<TDifference> Writes;  ///< Was->Raw is to be written to the register at Index
  std::vector<TNotRestorable> NotRestorable;
};

/// How to bring back what the snapshot has, in regs, to whose registers the differences refer. What
/// it does not have stays as it is. Throws Exception when a register has another length than in the
/// snapshot: the form is not of this device then.
TRestorePlan PlanRestore(std::span<const TDifference> differences, const TMBRegs& regs);

}  // namespace OrvixModBus
