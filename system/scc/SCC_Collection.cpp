// SCC_Collection.cpp - the standard collection: items by handle, positions, focus, reloading,
// change notifications and hooks; and the handle collection.
#include "scccollection.h"

#include <algorithm>

#include "sccproperty.h"
#include "ssmcheck.h"

namespace {
constexpr const char* kFile = "system/scc/SCC_Collection";
constexpr int kLineInsertRange = 110;
constexpr int kLineHandlesExhausted = 111;
constexpr int kLineDeleteRange = 112;
constexpr int kLineChangeWhileRemoving = 113;
constexpr long kLastHandle = INT32_MAX;  // handles cross the focus walk as int
// Lookups after a change that scan the items before the handle map is rebuilt: a walk that
// removes as it goes then costs one short scan per removal instead of a rebuild.
constexpr int kScansBeforeIndex = 8;
}  // namespace

// ---- hooks

SCC_StdCollection::EventHook::~EventHook() {
  if (SCC_StdCollection* owner = GetObject()) owner->ForgetHook(this);
}

// ---- construction

SCC_StdCollection::SCC_StdCollection() = default;

SCC_StdCollection::SCC_StdCollection(const SCC_StdCollection& other)
    : m_items(other.m_items),
      m_focus(other.m_focus),
      m_lastHandle(other.m_lastHandle),
      m_inHandleOrder(other.m_inHandleOrder) {}

SCC_StdCollection& SCC_StdCollection::operator=(const SCC_StdCollection& other) {
  if (this == &other || !CanChange()) return *this;
  m_items = other.m_items;
  m_focus = other.m_focus;
  // Handles of our former items must not come back for new items.
  if (other.m_lastHandle > m_lastHandle) m_lastHandle = other.m_lastHandle;
  m_inHandleOrder = other.m_inHandleOrder;
  ItemsMoved();
  m_notifier.Notify(5, nullptr);
  m_focusEvent.Notify(5, nullptr);
  return *this;
}

SCC_StdCollection::~SCC_StdCollection() {
  m_notifier.Notify(6, nullptr);  // the owner is going away
  SCC_Array<EventHook*> hooks = m_hooks;
  m_hooks.RemoveAll();  // so that the hooks' destructors find nothing to forget
  for (EventHook* hook : hooks) delete hook;
}

// ---- items

long SCC_StdCollection::GetHandle(long position) const {
  return m_items.InBounds(position) ? m_items.GetAt(position).handle : 0;
}

long SCC_StdCollection::GetPosition(long handle) const {
  if (handle <= 0 || handle > m_lastHandle) return -1;
  const Item* first = m_items.GetData();
  const Item* last = first + m_items.GetSize();
  if (m_inHandleOrder) {
    const Item* at = std::lower_bound(first, last, handle,
                                      [](const Item& item, long h) { return item.handle < h; });
    return at != last && at->handle == handle ? at - first : -1;
  }
  if (!m_indexValid) {
    if (m_scans < kScansBeforeIndex) {
      ++m_scans;
      for (const Item* at = first; at != last; ++at)
        if (at->handle == handle) return at - first;
      return -1;
    }
    IndexItems();
  }
  const long* at = m_index.Find(handle);
  return at ? *at : -1;
}

void SCC_StdCollection::ItemsMoved() {
  m_indexValid = false;
  m_scans = 0;
}

void* SCC_StdCollection::GetObject(long handle) const {
  const long at = GetPosition(handle);
  return at >= 0 ? m_items.GetAt(at).object : nullptr;
}

long SCC_StdCollection::FindObject(const void* object) const {
  for (const Item& item : m_items)
    if (item.object == object) return item.handle;
  return 0;
}

void SCC_StdCollection::IndexItems() const {
  m_index.RemoveAll();
  const long n = m_items.GetSize();
  m_index.Reserve(static_cast<unsigned long>(n));
  for (long i = 0; i < n; ++i) m_index.SetAt(m_items.GetAt(i).handle, i);
  m_indexValid = true;
}

int SCC_StdCollection::CanChange() const {
  SSM_CHECK(m_removing == 0, kFile, kLineChangeWhileRemoving);
  return m_removing == 0;
}

long SCC_StdCollection::NewHandles(long n) {
  const bool ok = n <= kLastHandle - m_lastHandle;
  SSM_CHECK_ID(ok, kFile, kLineHandlesExhausted, n);
  if (!ok) return 0;
  const long first = m_lastHandle + 1;
  m_lastHandle = static_cast<std::int32_t>(m_lastHandle + n);
  return first;
}

long SCC_StdCollection::InsertAt(long position, void* const* objects, long n) {
  const long count = GetCount();
  const bool ok = n >= 0 && position >= 0 && position <= count && (n == 0 || objects);
  SSM_CHECK(ok, kFile, kLineInsertRange);
  if (!ok || n == 0 || !CanChange()) return 0;
  const long first = NewHandles(n);
  if (!first) return 0;
  m_items.Insert(position, n);
  Item* items = m_items.GetData() + position;
  for (long k = 0; k < n; ++k) items[k] = Item{first + k, objects[k]};
  // New handles are the largest yet, so appending keeps the items in handle order.
  if (position != count) m_inHandleOrder = false;
  if (!m_inHandleOrder) {
    if (m_indexValid && position == count) {
      for (long k = 0; k < n; ++k) m_index.SetAt(first + k, position + k);
    } else {
      ItemsMoved();
    }
  }
  if (m_notifier.IsEmpty()) return first;
  SCC_ArrayPositions where{1, position, n};
  m_notifier.Notify(7, &where);
  for (long k = 0; k < n; ++k) {
    // A listener may have moved or removed the new items meanwhile.
    const long at = GetPosition(first + k);
    if (at < 0) continue;
    SCC_CollectionItem item{at + 1, first + k, m_items.GetAt(at).object, nullptr};
    m_notifier.Notify(1, &item);
  }
  return first;
}

int SCC_StdCollection::Replace(long handle, void* object) {
  const long at = GetPosition(handle);
  if (at < 0 || !CanChange()) return 0;
  Item& slot = m_items[at];
  SCC_CollectionItem item{at + 1, handle, object, slot.object};
  slot.object = object;
  m_notifier.Notify(3, &item);
  return 1;
}

int SCC_StdCollection::Remove(long handle) {
  const long at = GetPosition(handle);
  if (at < 0) return 0;
  RemoveAt(at, 1);
  return 1;
}

void SCC_StdCollection::RemoveAt(long position, long n) {
  const long count = GetCount();
  const bool ok = n >= 0 && position >= 0 && position <= count && n <= count - position;
  SSM_CHECK(ok, kFile, kLineDeleteRange);
  if (!ok || n == 0 || !CanChange()) return;
  if (m_notifier.IsEmpty() && m_focusEvent.IsEmpty()) {
    for (long k = 0; k < n; ++k) DropFocusOf(m_items.GetAt(position + k).handle);
    RemoveRange(position, n);
    return;
  }
  // One removed item (the common case) needs no heap memory.
  long single = 0;
  SCC_Array<long> many;
  long* doomed = &single;
  if (n > 1) {
    many.SetSize(n);
    doomed = many.GetData();
  }
  for (long k = 0; k < n; ++k) doomed[k] = m_items.GetAt(position + k).handle;
  // Listeners of 2 (and of the focus event) may change the collection: they still see the
  // items, and whatever they do, only the announced items still present go.
  for (long k = 0; k < n; ++k) {
    const long at = GetPosition(doomed[k]);
    if (at < 0) continue;
    SCC_CollectionItem item{at + 1, doomed[k], m_items.GetAt(at).object, nullptr};
    m_notifier.Notify(2, &item);
  }
  for (long k = 0; k < n; ++k) DropFocusOf(doomed[k]);
  // The survivors' positions, in place of their handles, removed run by run from the last
  // so that the positions of the runs below stay right. Listeners of 7 may not change the
  // items: iterators have already moved for exactly this removal.
  long* places = doomed;
  long survivors = 0;
  for (long k = 0; k < n; ++k)
    if (const long at = GetPosition(doomed[k]); at >= 0) places[survivors++] = at;
  std::sort(places, places + survivors);
  struct Guard {
    int& removing;
    ~Guard() { --removing; }
  } guard{++m_removing};
  for (long end = survivors; end > 0;) {
    long begin = end - 1;
    while (begin > 0 && places[begin - 1] == places[begin] - 1) --begin;
    SCC_ArrayPositions where{2, places[begin], end - begin};
    m_notifier.Notify(7, &where);
    RemoveRange(where.first, where.count);
    end = begin;
  }
}

void SCC_StdCollection::RemoveRange(long position, long n) {
  const bool atEnd = position + n == GetCount();
  if (!m_inHandleOrder) {
    if (m_indexValid && atEnd) {
      for (long k = 0; k < n; ++k) m_index.RemoveKey(m_items.GetAt(position + k).handle);
    } else {
      ItemsMoved();
    }
  }
  m_items.Delete(position, n);
  if (IsEmpty()) m_inHandleOrder = true;
}

void SCC_StdCollection::RemoveAll() {
  if (IsEmpty() || !CanChange()) return;
  ClearFocus();
  m_items.RemoveAll();
  m_index.RemoveAll();
  m_inHandleOrder = true;
  ItemsMoved();
  m_notifier.Notify(6, nullptr);
}

// ---- focus

void SCC_StdCollection::PushFocus(long handle) {
  m_focus.Add(handle);
  m_focusEvent.Notify(1, &handle);
}

int SCC_StdCollection::AddFocus(long handle) {
  if (!HasHandle(handle) || IsFocused(handle)) return 0;
  PushFocus(handle);
  return 1;
}

int SCC_StdCollection::RemoveFocus(long handle) {
  const long at = m_focus.Find(handle);
  if (at < 0) return 0;
  m_focus.RemoveAt(at);
  m_focusEvent.Notify(2, &handle);
  return 1;
}

void SCC_StdCollection::DropFocusOf(long handle) { RemoveFocus(handle); }

void SCC_StdCollection::ClearFocus() {
  if (m_focus.GetSize() == 0) return;
  m_focus.RemoveAll();
  m_focusEvent.Notify(6, nullptr);
}

// ---- reloading

int SCC_StdCollection::Load(SCC_Array<void*>& objects) { return 0; }

int SCC_StdCollection::Reload() {
  if (!CanChange()) return 0;
  SCC_Array<void*> objects;
  if (!Load(objects)) return 0;
  if (!CanChange()) return 0;  // Load is the host's code
  const long oldCount = GetCount();
  // Where each object was (its first position not yet claimed by an earlier occurrence).
  SCC_Map<void*, long> firstAt;
  for (long i = oldCount - 1; i >= 0; --i) firstAt.SetAt(m_items.GetAt(i).object, i);
  SCC_Array<unsigned char> claimed;
  claimed.SetSize(oldCount);
  SCC_Array<Item> next;
  next.Reserve(objects.GetSize());
  long fresh = 0;
  for (void* object : objects) {
    long handle = 0;
    if (const long* at = firstAt.Find(object)) {
      for (long i = *at; i < oldCount; ++i) {
        if (claimed.GetAt(i) || m_items.GetAt(i).object != object) continue;
        claimed[i] = 1;
        handle = m_items.GetAt(i).handle;
        break;
      }
    }
    if (!handle) ++fresh;
    next.Add(Item{handle, object});
  }
  long handle = fresh ? NewHandles(fresh) : 0;
  if (fresh && !handle) return 0;  // out of handles: nothing changed
  Item* items = next.GetData();
  for (long i = 0; i < next.GetSize(); ++i)
    if (!items[i].handle) items[i].handle = handle++;
  m_items = next;
  m_inHandleOrder = true;
  for (long i = 1; i < next.GetSize() && m_inHandleOrder; ++i)
    m_inHandleOrder = items[i - 1].handle < items[i].handle;
  ItemsMoved();
  SCC_Array<long> focus;
  for (long h : m_focus)
    if (HasHandle(h)) focus.Add(h);
  const bool focusChanged = focus.GetSize() != m_focus.GetSize();
  m_focus = focus;
  m_notifier.Notify(5, nullptr);
  if (focusChanged) m_focusEvent.Notify(5, nullptr);
  return 1;
}

// ---- events

SCC_StdCollection::EventHook* SCC_StdCollection::HookEvent(SCC_Event<int>* source,
                                                           EventHook::Method method,
                                                           long priority) {
  if (!source || !method) return nullptr;
  auto* hook = new EventHook(this, method, source, priority);
  m_hooks.Add(hook);
  return hook;
}

int SCC_StdCollection::UnhookEvent(SCC_Event<int>* source) {
  SCC_Array<EventHook*> doomed;
  for (EventHook* hook : m_hooks)
    if (source && hook->GetRoot() == source) doomed.Add(hook);
  for (EventHook* hook : doomed) delete hook;  // each forgets itself
  return static_cast<int>(doomed.GetSize());
}

void SCC_StdCollection::ForgetHook(EventHook* hook) {
  const long at = m_hooks.Find(hook);
  if (at >= 0) m_hooks.RemoveAt(at);
}

SCC_StdCollection::EventHook* SCC_StdCollection::WatchProperty(SCC_StdProperty* property) {
  return property ? HookEvent(property->GetPropEvent(), &SCC_StdCollection::OnPropertyEvent)
                  : nullptr;
}

void SCC_StdCollection::NotifyPropertyChanged(SCC_StdProperty* property) {
  m_notifier.Notify(8, property);
}

int SCC_StdCollection::OnPropertyEvent(int code, int* data) {
  m_notifier.Notify(8, data);
  return 0;
}

// ---- iterator

long SCC_CollectionIterator::GetFirst(SCC_StdCollection& collection) {
  Attach(collection.GetNotifier());
  m_collection = &collection;
  m_stepped = false;
  m_handle = collection.GetHandle(0);
  m_position = m_handle ? 0 : -1;
  return m_handle;
}

long SCC_CollectionIterator::GetNext() {
  SCC_StdCollection* c = GetCollection();
  if (!c || m_position < 0) return 0;
  if (m_stepped)
    m_stepped = false;  // already on the follower of the removed item
  else
    ++m_position;
  m_handle = c->GetHandle(m_position);
  if (!m_handle) Invalidate();
  return m_handle;
}

long SCC_CollectionIterator::GetHandle() const {
  const SCC_StdCollection* c = GetCollection();
  return c && m_position >= 0 ? c->GetHandle(m_position) : 0;
}

void SCC_CollectionIterator::SetHandle(long handle) {
  SCC_StdCollection* c = GetCollection();
  m_stepped = false;
  m_position = c ? c->GetPosition(handle) : -1;
  m_handle = m_position >= 0 ? handle : 0;
}

void SCC_CollectionIterator::Invalidate() {
  m_position = -1;
  m_handle = 0;
  m_stepped = false;
}

void* SCC_CollectionIterator::GetObject() const {
  const SCC_StdCollection* c = GetCollection();
  return c ? c->GetObject(GetHandle()) : nullptr;
}

int SCC_CollectionIterator::OnNotification(int code, int* data) {
  SCC_StdCollection* c = GetCollection();
  if (code == 7 && data && c && m_position >= 0) {
    const auto* where = reinterpret_cast<const SCC_ArrayPositions*>(data);
    const long end = where->first + where->count;
    if (where->kind == 1) {
      // Standing on the follower of a removed item, items inserted in its place come next.
      if (m_position > where->first || (m_position == where->first && !m_stepped))
        m_position += where->count;
    } else if (where->kind == 2) {
      if (m_position >= end) {
        m_position -= where->count;
      } else if (m_position >= where->first) {
        m_handle = c->GetHandle(end);  // the items are still there: this is the follower
        m_position = where->first;
        m_stepped = true;
      }
    }
  } else if (code == 5 && c) {
    const long at = m_handle ? c->GetPosition(m_handle) : -1;
    if (at < 0) {
      Invalidate();
    } else {
      m_position = at;
    }
  }
  return SCC_Iterator::OnNotification(code, data);
}

// ---- handle collection

SCC_HandleCollection::SCC_HandleCollection(std::initializer_list<long> handles) {
  for (long h : handles) AddFocus(h);
}

SCC_HandleCollection::~SCC_HandleCollection() = default;

int SCC_HandleCollection::AddFocus(long handle) {
  // Handles cross the focus walk as int; 0 would end it.
  if (handle == 0 || static_cast<int>(handle) != handle || IsFocused(handle)) return 0;
  PushFocus(handle);
  return 1;
}
