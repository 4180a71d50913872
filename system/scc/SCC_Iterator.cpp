// SCC_Iterator.cpp - the iterator base: watching a container's event and forwarding it.
#include "scciterator.h"

#include <cstdint>

namespace {
// Iterators repair their positions before any ordinary listener runs.
constexpr long kIteratorPriority = INT32_MAX;
}  // namespace

SCC_Iterator::SCC_Iterator() : m_hook(this, &SCC_Iterator::Dispatch, nullptr, kIteratorPriority) {}

SCC_Iterator::SCC_Iterator(const SCC_Iterator& other) : SCC_Iterator() {
  Attach(other.GetSource());
}

SCC_Iterator& SCC_Iterator::operator=(const SCC_Iterator& other) {
  if (this != &other) Attach(other.GetSource());
  return *this;
}

SCC_Iterator::~SCC_Iterator() = default;

int SCC_Iterator::OnNotification(int code, int* data) {
  if (code == 6) Invalidate();
  return 0;
}

void SCC_Iterator::Attach(SCC_Event<int>* source) {
  if (source != GetSource()) m_hook.HookEvent(source);
}

int SCC_Iterator::Dispatch(int code, int* data) {
  OnNotification(code, data);
  m_changeEvent.Notify(code, data);
  return 0;
}
