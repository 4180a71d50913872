// SCC_Collection.cpp - the focus walk of SCC_StdCollection and the handle collection.
#include "scccollection.h"

SCC_StdCollection::~SCC_StdCollection() = default;

int SCC_StdCollection::HasFocus() const { return GetFocus(0) != 0; }

SCC_HandleCollection::SCC_HandleCollection(std::initializer_list<long> handles) {
  for (long h : handles) AddFocus(h);
}

SCC_HandleCollection::~SCC_HandleCollection() = default;

int SCC_HandleCollection::AddFocus(long handle) {
  // Handles cross the focus walk as int; 0 would end it.
  if (handle == 0 || static_cast<int>(handle) != handle) return 0;
  if (m_focus.Find(handle) >= 0) return 0;
  m_focus.Add(handle);
  return 1;
}

int SCC_HandleCollection::RemoveFocus(long handle) {
  const long at = m_focus.Find(handle);
  if (at < 0) return 0;
  m_focus.RemoveAt(at);
  return 1;
}
