// scccollection.h - SCC_StdCollection, the focus walk that properties read and write
// through, and SCC_HandleCollection, a collection over an array of handles.
#pragma once

#include <initializer_list>

#include "brixexport.h"
#include "sccarray.h"

/// A collection of objects addressed by handle (a long > 0; 0 names nothing), with a
/// focus: the items a user has selected. Properties walk the focus with GetFocus(0),
/// GetFocus(1), ... until it returns 0.
class BRIX_API SCC_StdCollection {
 public:
  SCC_StdCollection() = default;
  SCC_StdCollection(const SCC_StdCollection&) = default;
  SCC_StdCollection& operator=(const SCC_StdCollection&) = default;
  virtual ~SCC_StdCollection();

  /// Nonzero when some items are focused; by default, when GetFocus(0) names one.
  virtual int HasFocus() const;
  /// The handle of the index-th focused item, 0 past the last (and for a negative index).
  virtual int GetFocus(int index) const = 0;
};

/// A collection whose focus is an explicit list of handles, in the order given. Useful
/// to hosts whose objects are already numbered, and to tests.
class BRIX_API SCC_HandleCollection : public SCC_StdCollection {
 public:
  SCC_HandleCollection() = default;
  /// Focuses `handles` in order; 0 handles are skipped (0 would end the walk).
  SCC_HandleCollection(std::initializer_list<long> handles);
  ~SCC_HandleCollection() override;

  int HasFocus() const override { return m_focus.GetSize() != 0; }
  int GetFocus(int index) const override {
    return index >= 0 && index < m_focus.GetSize() ? static_cast<int>(m_focus.GetAt(index)) : 0;
  }

  /// Appends `handle` to the focus unless it is 0 or already focused; returns 1 if added.
  int AddFocus(long handle);
  /// Removes `handle` from the focus; returns 1 if it was focused.
  int RemoveFocus(long handle);
  /// Focuses nothing.
  void ClearFocus() { m_focus.RemoveAll(); }
  /// The number of focused items.
  long GetFocusCount() const { return m_focus.GetSize(); }

 private:
  SCC_Array<long> m_focus;
};
