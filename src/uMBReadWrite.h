#pragma once
// uMBReadWrite: reads or writes some registers of a letter, and calls back once all is answered.

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/model/uEvent.h"
#include "platform/model/uObject.h"
#include "uMBLetters.h"

namespace OrvixModBus {

/// Works on a private copy of a letter that shares its client, so the letter itself, its values
/// and its events are left alone:
///
///   auto* reader = new TMBLetterReadWriter(letter);
///   reader->AssignRegs(std::vector<std::string>{"Pressure", "Level"});
///   reader->ReadRegsByArray({this, &TPanel::Ready}, {});
///
/// The callback runs when all requests have been answered, by whatever answer; it may destroy the
/// driver. On purpose, each answer to a write by $10 calls back as well. Single thread.
class TMBLetterReadWriter : public TObject {
 public:
  using TAfterEvent = TNotifyEvent;  ///< sender is the private letter
  using TAfterProc = std::function<void()>;

  /// Copies client, MaxHole and registers of letter, with their data as it is now.
  explicit TMBLetterReadWriter(const TMBLetter& letter);

  /// Only one of the two is called: the event, where it is assigned.
  void AssignProcs(const TAfterEvent& afterEvent, const TAfterProc& afterProc);
  /// The batch: the private letter's registers of these names; unknown names are skipped.
  void AssignRegs(std::span<const std::string> names);
  /// The batch: these registers, which stay the caller's. Replies go to the private letter's.
  void AssignRegs(std::span<TMBReg* const> regs);
  /// The batch without those that have been destroyed since.
  TMBRegList Regs() const;

  /// Requests the batch; an empty one sends nothing and never calls back. Throws Exception
  /// "MBClient not assigned".
  void ReadArray();
  /// AssignProcs, then ReadArray.
  void ReadRegsByArray(const TAfterEvent& afterEvent, const TAfterProc& afterProc);
  /// On purpose: nothing.
  void WriteAllF66F65() {}
  /// Writes the data of the batch's registers in order; on purpose, without those that are written
  /// by $66 or $65. Throws as TMBLetter::WriteReg does, and nothing is sent.
  void WriteArray();

  /// The value of the private letter's register of that name; byDefault without one.
  double GetFloatValue(const std::string& name, double byDefault) const;
  /// The private letter, to look at its registers.
  const TMBLetter& Letter() const { return *fSender; }

 private:
  void OnAllRegs(TMBLetter& sender);
  void ExecuteProc();

  std::unique_ptr<TMBLetter> fSender;
  TAfterEvent fAfterEvent;
  TAfterProc fAfterProc;
  std::vector<TRef<TMBReg>> fRegs;
};

}  // namespace OrvixModBus
