#include "platform/model/uCollection.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/model/uProperty.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {

TCollectionItem::TCollectionItem(TCollection* collection) {
  if (collection != nullptr) collection->InsertItem(*this);
}

TCollectionItem::~TCollectionItem() {
  if (fCollection != nullptr) fCollection->RemoveItem(*this);
}

TPersistent* TCollectionItem::GetOwner() const { return fCollection; }

void TCollectionItem::SetIndex(int value) {
  if (fCollection == nullptr || value < 0 || value >= fCollection->Count()) throw EListError(value);
  fCollection->CheckThread();
  if (value == fIndex) return;
  auto& items = fCollection->fItems;
  const auto first = items.begin() + std::min(value, fIndex);
  const auto last = items.begin() + std::max(value, fIndex);
  if (value < fIndex) {
    std::rotate(first, last, last + 1);
  } else {
    std::rotate(first, first + 1, last + 1);
  }
  fCollection->Renumber(static_cast<std::size_t>(first - items.begin()),
                        static_cast<std::size_t>(last - items.begin()) + 1);
  Changed(true);
}

std::string TCollectionItem::GetDisplayName() const { return std::string(ClassName()); }

void TCollectionItem::SetDisplayName(const std::string& /*value*/) { Changed(false); }

const TClassInfo& TCollectionItem::StaticClass() {
  static const TClassInfo info("TCollectionItem", &TPersistent::StaticClass(), {});
  return info;
}

void TCollectionItem::Changed(bool allItems) {
  if (fCollection != nullptr) fCollection->ItemChanged(allItems ? nullptr : this);
}

void TCollectionItem::Introduce() {
  if (fCollection != nullptr) fCollection->Added(*this);
}

TCollection::~TCollection() { FreeItems(); }

TCollectionItem* TCollection::Add() {
  CheckThread();
  return fFactory(this);
}

TCollectionItem* TCollection::Insert(int index) {
  if (index < 0 || index > Count()) throw EListError(index);
  const TUpdate update(*this);
  TCollectionItem* const item = Add();
  item->SetIndex(index);
  return item;
}

TCollectionItem* TCollection::Items(int index) const {
  if (index < 0 || index >= Count()) throw EListError(index);
  return fItems[static_cast<std::size_t>(index)];
}

void TCollection::SetItem(int index, const TCollectionItem& value) {
  CheckThread();
  Items(index)->Assign(value);
}

TCollectionItem* TCollection::FindItemID(int id) const {
  const auto found = std::ranges::find(fItems, id, &TCollectionItem::fID);
  return found != fItems.end() ? *found : nullptr;
}

void TCollection::Delete(int index) {
  CheckThread();
  delete Items(index);
}

void TCollection::Clear() {
  CheckThread();
  if (fItems.empty()) return;
  const TUpdate update(*this);
  FreeItems();
}

void TCollection::Assign(const TPersistent& source) {
  if (&source == this) return;
  const auto* other = dynamic_cast<const TCollection*>(&source);
  if (other == nullptr) return TPersistent::Assign(source);
  const TUpdate update(*this);
  Clear();
  for (int i = 0; i < other->Count(); ++i) Add()->Assign(*other->Items(i));
}

void TCollection::BeginUpdate() {
  CheckThread();
  ++fUpdateCount;
}

void TCollection::EndUpdate() noexcept {
  if (fUpdateCount == 0 || --fUpdateCount > 0) return;
  if (std::exchange(fChangedInUpdate, false)) Update(nullptr);
}

const TClassInfo& TCollection::StaticClass() {
  static const TClassInfo info("TCollection", &TPersistent::StaticClass(), {});
  return info;
}

void TCollection::Update(TCollectionItem* /*item*/) noexcept {}

void TCollection::Added(TCollectionItem& /*item*/) {}

void TCollection::RefuseThread() const {
  throw EThreadError(std::string(ClassName()) +
                     " is used from another thread than the one that made it");
}

void TCollection::FreeItems() {
  while (!fItems.empty()) delete fItems.back();
}

void TCollection::InsertItem(TCollectionItem& item) {
  CheckThread();
  if (fNextID == std::numeric_limits<int>::max()) throw EListError("Too many items");
  fItems.push_back(&item);
  item.fCollection = this;
  item.fID = fNextID++;
  item.fIndex = Count() - 1;
  ItemChanged(nullptr);
}

void TCollection::RemoveItem(TCollectionItem& item) noexcept {
  const auto index = static_cast<std::size_t>(item.fIndex);
  fItems.erase(fItems.begin() + item.fIndex);
  Renumber(index, fItems.size());
  item.fCollection = nullptr;
  item.fIndex = -1;
  Touch(nullptr);
}

void TCollection::ItemChanged(TCollectionItem* item) {
  CheckThread();
  Touch(item);
}

void TCollection::Touch(TCollectionItem* item) noexcept {
  ++fRevision;
  if (item == nullptr) ++fListRevision;
  if (fUpdateCount > 0) {
    fChangedInUpdate = true;
  } else {
    Update(item);
  }
}

void TCollection::Renumber(std::size_t from, std::size_t to) {
  for (std::size_t i = from; i < to; ++i) fItems[i]->fIndex = static_cast<int>(i);
}

}  // namespace OrvixModBus
