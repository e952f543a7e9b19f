#pragma once
// script_registers: sets of registers that are watched while a script runs on them.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "script.h"
#include "uMBLetters.h"
#include "uMBReg.h"

namespace OrvixModBus::Vectors {

/// The registers of a script by label, what of them has changed, and what has happened.
class TRegisterBook {
 public:
  /// The set's next label is given to a register that has entered it.
  void Enter(const std::string& set, TMBReg& reg);
  /// EMissing when no live register bears the label.
  TMBReg& Reg(const std::string& label) const;
  /// null for nil; "?" for a register without a label.
  Json Label(const TMBReg* reg) const;

  /// Fields that differ from when this was called last, per live register; a new one differs from
  /// the defaults.
  Json TakeChanged();
  /// Labels of registers that have been destroyed since.
  Json TakeFreed();
  Json TakeEvents() { return std::exchange(Events, Json::array()); }

  Json Events = Json::array();
  /// Labels of the catalogues.
  std::map<const TMBTypeInfo*, std::string> Catalogues;

 private:
  struct TEntry {
    TRef<TMBReg> Reg;
    Json State;
  };

  Json State(const TMBReg& reg) const;
  static Json Defaults();

  std::map<std::string, int> fCounts;
  std::map<std::string, TEntry> fEntries;
};

/// A set that enters its registers in a book and notes their notifications there.
template <class TSet>
class TWatchedSet final : public TSet {
 public:
  template <class... TArgs>
  TWatchedSet(TRegisterBook& book, std::string label, TArgs&... args)
      : TSet(args...), fBook(book), fLabel(std::move(label)) {}
  ~TWatchedSet() override { this->Clear(); }

 protected:
  void Added(TCollectionItem& item) override {
    fBook.Enter(fLabel, static_cast<TMBReg&>(item));
    TSet::Added(item);
  }
  void Update(TCollectionItem* item) noexcept override {
    TSet::Update(item);
    if (item == nullptr) return;
    const Json label = fBook.Label(static_cast<TMBReg*>(item));
    fBook.Events.push_back("N:" + label.get<std::string>());
  }

 private:
  TRegisterBook& fBook;
  std::string fLabel;
};

}  // namespace OrvixModBus::Vectors
