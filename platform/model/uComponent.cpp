#include "platform/model/uComponent.h"

#include <algorithm>
#include <cstdint>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"
#include "platform/rtl/uFold.h"

namespace OrvixModBus {
namespace {

bool IsIdentifier(const std::string& name) {
  const auto letter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
  };
  const auto digit = [](char c) { return c >= '0' && c <= '9'; };
  return !name.empty() && letter(name[0]) &&
         std::ranges::all_of(name, [&](char c) { return letter(c) || digit(c); });
}

}  // namespace

TComponent::TComponent(TComponent* owner) {
  if (owner == nullptr) return;
  owner->CheckThread();
  owner->Insert(*this);
}

TComponent::~TComponent() {
  BeginDestroy();
  DestroyComponents();  // those that the destructor of a descendant has made since
  if (fOwner != nullptr) fOwner->Remove(*this);
}

TComponent* TComponent::Components(int index) const {
  if (index < 0 || index >= ComponentCount()) {
    throw EListError(index);
  }
  return fComponents[static_cast<std::size_t>(index)];
}

TComponent* TComponent::FindComponent(const std::string& name) const {
  if (name.empty()) return nullptr;
  const auto found =
      std::ranges::find_if(fComponents, [&](TComponent* c) { return SameText(c->fName, name); });
  return found != fComponents.end() ? *found : nullptr;
}

void TComponent::SetName(const std::string& value) {
  CheckThread();
  if (value == fName) return;
  if (!value.empty() && !IsIdentifier(value)) {
    throw EComponentError("'" + value + "' is not a valid component name");
  }
  TComponent* const bearer = fOwner != nullptr ? fOwner->FindComponent(value) : nullptr;
  if (bearer != nullptr && bearer != this) {
    throw EComponentError("A component named " + value + " already exists");
  }
  fName = value;
}

void TComponent::FreeNotification(TComponent& other) {
  CheckThread();
  std::erase_if(other.fToNotify, [](const TRef<TComponent>& ref) { return ref.Gone(); });
  const bool known = std::ranges::any_of(
      other.fToNotify, [this](const TRef<TComponent>& ref) { return ref.Get() == this; });
  if (!known) other.fToNotify.emplace_back(this);
}

void TComponent::Notification(TComponent& /*component*/, TOperation /*operation*/) {}

void TComponent::RefuseThread() const {
  throw EThreadError(std::string(ClassName()) + (fName.empty() ? "" : " " + fName) +
                     " is used from another thread than the one that made it");
}

const TClassInfo& TComponent::StaticClass() {
  static const TClassInfo info("TComponent", &TPersistent::StaticClass(), {});
  return info;
}

void TComponent::BeginDestroy() noexcept {
  if (fDestroying) return;
  fDestroying = true;
  ForgetReferences();
  TellOfRemoval();
  DestroyComponents();
}

void TComponent::DestroyComponents() noexcept {
  while (!fComponents.empty()) {
    TComponent* const last = fComponents.back();
    fComponents.pop_back();
    last->fOwner = nullptr;
    // One whose removal made somebody destroy this owner ends by itself.
    if (!last->fDestroying) delete last;
  }
}

void TComponent::Insert(TComponent& component) {
  fComponents.push_back(&component);
  component.fOwner = this;
  try {
    Notification(component, TOperation::opInsert);
  } catch (...) {
    Remove(component);
    throw;
  }
}

void TComponent::Remove(TComponent& component) noexcept {
  // The youngest go first as a rule, so the search starts at the end.
  const auto found = std::find(fComponents.rbegin(), fComponents.rend(), &component);
  if (found != fComponents.rend()) fComponents.erase(std::next(found).base());
  component.fOwner = nullptr;
}

void TComponent::TellOfRemoval() noexcept {
  // Whoever is told may take itself out of a list here, so the lists are walked by copies.
  const auto told = std::exchange(fToNotify, {});
  for (const TRef<TComponent>& ref : told) {
    if (ref) ref->Notification(*this, TOperation::opRemove);
  }
  if (fOwner != nullptr) fOwner->Notification(*this, TOperation::opRemove);
}

}  // namespace OrvixModBus
