// scccollection.h - SCC_StdCollection, the collection of objects addressed by handle with a
// focus that properties read and write through, its iterator, and SCC_HandleCollection,
// a collection whose focus is a list of handles the host numbers itself.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "brixexport.h"
#include "sccarray.h"
#include "sccevent.h"
#include "scchash.h"
#include "scciterator.h"

class SCC_StdProperty;

/// Payload of a collection's notifications 1 (inserted), 2 (removed) and 3 (replaced). It
/// begins with position + 1 as a long, as an array's payload does, so a listener that reads
/// only that long works for arrays and collections alike.
struct SCC_CollectionItem {
  long place;    ///< position + 1
  long handle;   ///< the item's handle
  void* object;  ///< the item's object (for 3, the new one)
  void* former;  ///< for 3, the object that was replaced; else null
};

/// A collection of objects (host pointers, never owned) addressed by handle, in an order of
/// positions, with a focus: the items a user has selected.
///
/// - Handles are longs > 0 given out in increasing order and never given twice by one
///   collection (copies continue from the same counter), so a stale handle never names a
///   new item. 0 names nothing. Running out of handles is a failed check.
/// - Changes are announced on GetNotifier() with the shared codes: 7 {1, first, n} then 1
///   per new item after an insertion; 2 per item and then 7 {2, first, n} before a
///   removal (the items are still there while listeners run); 3 after a replacement; 5
///   after a reload or an assignment; 6 after RemoveAll and when the collection dies; 8
///   with an SCC_StdProperty* as payload when a watched property changes. Payloads of 1,
///   2 and 3 are SCC_CollectionItem, of 7 SCC_ArrayPositions.
/// - Listeners may change the collection while they are told of a change. An insertion
///   then reports only the new items still present, at their present positions; a
///   removal removes those of the announced items that are still present. Only while the
///   7 of a removal is told is a change a failed check: iterators have already moved for
///   exactly that removal.
/// - GetPosition is a binary search while handles follow the positions (only appends and
///   removals happened); after an insertion in the middle or a reordering reload it scans
///   a few times and then builds a handle map, kept up to date by changes at the end.
/// - The focus is an ordered list of handles of items. It is announced on GetFocusEvent():
///   1 focused, 2 unfocused (payload a long, the handle), 5 replaced by a reload or an
///   assignment, 6 cleared. Removing an item unfocuses it first.
/// - Copies share the item storage until either is changed (copy-on-write) and copy the
///   focus and the handle counter; they have their own, empty, events and no hooks.
class BRIX_API SCC_StdCollection {
 public:
  /// A hook by which a collection listens to another event and calls one of its own
  /// member functions. Made by SCC_StdCollection::HookEvent and owned by the collection;
  /// deleting it early unhooks it and makes the collection forget it.
  class BRIX_API EventHook : public SCC_ObjectEventHook<SCC_StdCollection, int> {
   public:
    ~EventHook() override;

   private:
    friend class SCC_StdCollection;
    EventHook(SCC_StdCollection* owner, Method method, SCC_Event<int>* event, long priority)
        : SCC_ObjectEventHook<SCC_StdCollection, int>(owner, method, event, priority) {}
  };

  SCC_StdCollection();
  /// Shares `other`'s items (copy-on-write), copies its focus and handle counter.
  SCC_StdCollection(const SCC_StdCollection& other);
  /// As the copy, then raises 5 on both events. Hooks and listeners stay as they were.
  SCC_StdCollection& operator=(const SCC_StdCollection& other);
  /// Raises 6, then deletes the collection's hooks.
  virtual ~SCC_StdCollection();

  // ---- items

  /// The number of items.
  long GetCount() const { return m_items.GetSize(); }
  int IsEmpty() const { return m_items.GetSize() == 0; }
  /// The handle at `position`, or 0 outside 0 .. GetCount() - 1.
  long GetHandle(long position) const;
  /// The position of the item with `handle`, or -1.
  long GetPosition(long handle) const;
  /// 1 when `handle` names an item.
  int HasHandle(long handle) const { return GetPosition(handle) >= 0; }
  /// The object behind `handle`, or null.
  void* GetObject(long handle) const;
  /// The handle of the first item holding `object`, or 0.
  long FindObject(const void* object) const;

  /// Appends `object`; returns its new handle (0 when handles ran out).
  long Add(void* object) { return InsertAt(GetCount(), &object, 1); }
  /// Inserts `object` at `position` (0 .. GetCount()); returns its new handle.
  long InsertAt(long position, void* object) { return InsertAt(position, &object, 1); }
  /// Inserts `n` objects at `position`; returns the handle of the first (the others follow
  /// it by one each), 0 for n = 0 or a failure. A position outside 0 .. GetCount() or a
  /// negative `n` is a failed check.
  long InsertAt(long position, void* const* objects, long n);
  /// Puts `object` in place of the item's object and raises 3; 0 when `handle` names none.
  int Replace(long handle, void* object);
  /// Removes the item; 0 when `handle` names none.
  int Remove(long handle);
  /// Removes `n` items from `position`; the range must lie within the collection.
  void RemoveAt(long position, long n = 1);
  /// Removes every item without per-item notices; raises 6 when there were items.
  void RemoveAll();

  // ---- focus (walked by properties with GetFocus(0), GetFocus(1), ... until 0)

  /// Nonzero when some items are focused.
  virtual int HasFocus() const { return m_focus.GetSize() != 0; }
  /// The handle of the index-th focused item, 0 past the last (and for a negative index).
  virtual int GetFocus(int index) const {
    return index >= 0 && index < m_focus.GetSize() ? static_cast<int>(m_focus.GetAt(index)) : 0;
  }
  /// Appends `handle` to the focus unless it names no item or is focused; 1 if added.
  virtual int AddFocus(long handle);
  /// Removes `handle` from the focus; 1 if it was focused.
  int RemoveFocus(long handle);
  /// Focuses nothing (raises 6 on the focus event when something was focused).
  void ClearFocus();
  /// 1 when `handle` is focused.
  int IsFocused(long handle) const { return m_focus.Find(handle) >= 0; }
  /// The number of focused items.
  long GetFocusCount() const { return m_focus.GetSize(); }

  // ---- reloading

  /// Asks Load for the objects the collection should now hold, in order. Objects already
  /// held keep their handles (and focus), new ones get new handles, vanished ones lose
  /// theirs; then 5 is raised (and 5 on the focus event when the focus changed). Returns
  /// 0, changing nothing, when Load does.
  int Reload();

  // ---- events

  /// The change event (1, 2, 3, 5, 6, 7, 8).
  SCC_Notifier* GetNotifier() { return &m_notifier; }
  /// The focus event (1, 2, 5, 6).
  SCC_Notifier* GetFocusEvent() { return &m_focusEvent; }
  /// Makes a hook that calls `method` on this collection whenever `source` is raised,
  /// hooked by `priority`. The collection owns it (delete it to unhook it early).
  EventHook* HookEvent(SCC_Event<int>* source, EventHook::Method method, long priority = 0);
  /// Deletes every hook of this collection that listens to `source`; returns how many.
  int UnhookEvent(SCC_Event<int>* source);
  /// The number of hooks the collection holds.
  long GetHookCount() const { return m_hooks.GetSize(); }
  /// Relays the property's changes: hooks OnPropertyEvent into its event.
  EventHook* WatchProperty(SCC_StdProperty* property);
  /// Raises 8 with `property` as payload.
  void NotifyPropertyChanged(SCC_StdProperty* property);
  /// The member a watched property's event calls: raises 8 with the event's payload (a
  /// property raises 8 with itself as payload).
  int OnPropertyEvent(int code, int* data);

 protected:
  /// Fills `objects` with what the collection should hold after a reload and returns 1;
  /// the base has no source of objects and returns 0.
  virtual int Load(SCC_Array<void*>& objects);
  /// Appends `handle` to the focus and raises 1 on the focus event; no test.
  void PushFocus(long handle);

 private:
  struct Item {
    long handle;
    void* object;
  };

  // 1 unless a removal is telling its listeners of 7 (then a failed check and 0).
  int CanChange() const;
  long NewHandles(long n);
  void RemoveRange(long position, long n);
  void IndexItems() const;
  // After a change that moves positions: the handle map is stale.
  void ItemsMoved();
  void ForgetHook(EventHook* hook);
  void DropFocusOf(long handle);

  SCC_Array<Item> m_items;
  SCC_Array<long> m_focus;
  std::int32_t m_lastHandle = 0;
  // While handles increase along the positions (appends and removals only) a lookup is a
  // binary search; otherwise a handle -> position map, rebuilt on demand after a change
  // that moves positions (after a few plain scans).
  bool m_inHandleOrder = true;
  mutable bool m_indexValid = false;
  mutable int m_scans = 0;
  mutable SCC_Map<long, long> m_index;
  SCC_Array<EventHook*> m_hooks;
  int m_removing = 0;  // removals between their notice 7 and the removal itself
  SCC_Notifier m_notifier;
  SCC_Notifier m_focusEvent;
};

/// A registered walk over a collection's items in position order. It stays valid through
/// every change: an insertion or removal before it moves it with its item; when the item it
/// stands on is removed it moves to the item that followed, which the next GetNext returns
/// (so removing the current item while walking skips nothing); a reload finds its item
/// again by handle; RemoveAll and the collection's death leave it on nothing.
class BRIX_API SCC_CollectionIterator : public SCC_Iterator {
 public:
  SCC_CollectionIterator() = default;
  explicit SCC_CollectionIterator(SCC_StdCollection& collection) { GetFirst(collection); }
  SCC_CollectionIterator(const SCC_CollectionIterator&) = default;
  SCC_CollectionIterator& operator=(const SCC_CollectionIterator&) = default;

  /// Walks `collection` from its first item; returns that item's handle or 0.
  long GetFirst(SCC_StdCollection& collection);
  /// The handle of the next item (or of the follower of a removed current item), or 0.
  long GetNext();
  /// The handle the iterator stands on, 0 for none.
  long GetHandle() const override;
  /// Stands on the item with `handle` of the current collection (none if absent).
  void SetHandle(long handle) override;
  void Invalidate() override;
  /// The object of the current item, or null.
  void* GetObject() const;
  /// The position of the current item, or -1.
  long GetPosition() const { return GetHandle() ? m_position : -1; }
  /// The walked collection, or null (also once it died).
  SCC_StdCollection* GetCollection() const { return GetSource() ? m_collection : nullptr; }
  int OnNotification(int code, int* data) override;

 private:
  SCC_StdCollection* m_collection = nullptr;
  long m_position = -1;
  long m_handle = 0;
  bool m_stepped = false;  // the current item was removed: already on its follower
};

/// A collection whose focus is an explicit list of handles that the host numbers itself
/// (the handles need not be items). Useful to hosts whose objects are already numbered.
class BRIX_API SCC_HandleCollection : public SCC_StdCollection {
 public:
  SCC_HandleCollection() = default;
  /// Focuses `handles` in order; 0 handles and repeats are skipped (0 would end the walk).
  SCC_HandleCollection(std::initializer_list<long> handles);
  ~SCC_HandleCollection() override;

  /// Appends `handle` to the focus unless it is 0, beyond int or already focused.
  int AddFocus(long handle) override;
};
