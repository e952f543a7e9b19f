#pragma once
// uCollection: an owned ordered list of items that tell it when they change.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/model/uPersistent.h"
#include "platform/model/uThreadMark.h"

namespace OrvixModBus {

class TCollection;

/// An item of a collection, owned and freed by it; without one it belongs to its maker.
class TCollectionItem : public TPersistent {
 public:
  /// Enters the collection at its end, with the next ID; nil makes a loose item.
  explicit TCollectionItem(TCollection* collection);
  ~TCollectionItem() override;

  TCollection* Collection() const { return fCollection; }
  TPersistent* GetOwner() const override;
  /// Running number inside the collection, from 0, never used again; 0 for a loose item.
  int ID() const { return fID; }
  /// Place inside the collection; -1 for a loose item. Constant time.
  int Index() const { return fIndex; }
  /// Moves the item; EListError when there is no such place.
  void SetIndex(int value);

  /// What a designer shows for the item; this base shows the class name.
  virtual std::string GetDisplayName() const;
  /// This base only notifies the collection.
  virtual void SetDisplayName(const std::string& value);

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  /// Tells the collection that this item, or the whole list, has changed.
  void Changed(bool allItems);
  /// EThreadError when called from another thread than the one that made the collection.
  void CheckThread() const;
  /// What a setter that notifies nobody does.
  template <class T, class TValue>
  void Store(T& field, const TValue& value) {
    CheckThread();
    field = value;
  }
  /// Last statement of the constructor of an item class: the collection's Added runs now that
  /// the item has its defaults.
  void Introduce();

 private:
  friend class TCollection;

  TCollection* fCollection = nullptr;
  int fID = 0;
  int fIndex = -1;
};

/// Owned items in order. Belongs to the thread that made it.
class TCollection : public TPersistent {
 public:
  /// Makes one item of the collection's item class: `new TItem(&collection)`.
  using TItemFactory = TCollectionItem* (*)(TCollection*);

  explicit TCollection(TItemFactory factory) : fFactory(factory) {}
  ~TCollection() override;

  int Count() const { return static_cast<int>(fItems.size()); }
  /// A new item at the end.
  TCollectionItem* Add();
  /// A new item at index; EListError when index is not within 0..Count.
  TCollectionItem* Insert(int index);
  /// EListError past the end.
  TCollectionItem* Items(int index) const;
  /// Assigns value to the item at index.
  void SetItem(int index, const TCollectionItem& value);
  /// The item with that ID; nil when there is none.
  TCollectionItem* FindItemID(int id) const;
  /// Frees the item at index.
  void Delete(int index);
  /// Frees all items, the last first.
  virtual void Clear();
  /// Replaces the items by new ones, assigned from those of another collection.
  void Assign(const TPersistent& source) override;

  /// Between these, changes are gathered and told once, at the last EndUpdate.
  void BeginUpdate();
  void EndUpdate() noexcept;

  /// Grows with every change of the list or of an item that notifies: tells a cache its age.
  std::uint64_t Revision() const { return fRevision; }
  /// Grows when items enter, leave or change places.
  std::uint64_t ListRevision() const { return fListRevision; }

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 protected:
  /// The one notification of change: item, or nil for the whole list. The base does nothing.
  virtual void Update(TCollectionItem* item) noexcept;
  /// item has entered and has its defaults. The base does nothing.
  virtual void Added(TCollectionItem& item);
  /// EThreadError when called from another thread than the one that made this collection.
  void CheckThread() const {
    if (!fThread.IsHere()) RefuseThread();
  }

 private:
  friend class TCollectionItem;

  [[noreturn]] void RefuseThread() const;
  void FreeItems();
  void InsertItem(TCollectionItem& item);
  void RemoveItem(TCollectionItem& item) noexcept;
  void ItemChanged(TCollectionItem* item);
  void Touch(TCollectionItem* item) noexcept;
  void Renumber(std::size_t from, std::size_t to);

  TItemFactory fFactory;
  std::vector<TCollectionItem*> fItems;
  std::uint64_t fRevision = 0;
  std::uint64_t fListRevision = 0;
  int fNextID = 0;
  int fUpdateCount = 0;
  bool fChangedInUpdate = false;
  TThreadMark fThread;
};

inline void TCollectionItem::CheckThread() const {
  if (fCollection != nullptr) fCollection->CheckThread();
}

/// Gathers the changes of a collection for as long as this lives.
class TUpdate {
 public:
  explicit TUpdate(TCollection& collection) : fCollection(collection) { collection.BeginUpdate(); }
  TUpdate(const TUpdate&) = delete;
  TUpdate& operator=(const TUpdate&) = delete;
  ~TUpdate() { fCollection.EndUpdate(); }

 private:
  TCollection& fCollection;
};

}  // namespace OrvixModBus
