// SCC_DList.cpp - the untyped core of the doubly linked lists, their registered
// iterators and the list of references.
#include <typeinfo>

#include "sccdlist.h"
#include "ssmcheck.h"

namespace {

constexpr const char* kFile = "system/scc/SCC_DList";
constexpr int kLineForeignAnchor = 101;  // `before`/`after` is not in this list
constexpr int kLineForeignNode = 102;    // removing a node of another list
constexpr int kLineClosing = 103;        // adding to a list that is being taken down

}  // namespace

void SCC_DListLink::Leave() noexcept { m_list->Detach(this); }

_SCC_DList::_SCC_DList() noexcept { m_sentinel.m_prev = m_sentinel.m_next = &m_sentinel; }

_SCC_DList::~_SCC_DList() {
  m_closing = true;
  while (SCC_DListLink* link = HeadLink()) Detach(link);
  // Whatever still watches the list becomes empty instead of dangling.
  for (_SCC_DListIterator* it = m_iterators; it;) {
    _SCC_DListIterator* next = it->m_chain;
    it->m_list = nullptr;
    it->m_focus = nullptr;
    it->m_started = true;
    it->m_moved = false;
    it->m_chain = nullptr;
    it = next;
  }
  m_iterators = nullptr;
}

int _SCC_DList::IsValid() const noexcept {
  long seen = 0;
  const SCC_DListLink* prev = &m_sentinel;
  for (const SCC_DListLink* l = m_sentinel.m_next; l != &m_sentinel; l = l->m_next) {
    if (!l || l->m_list != this || l->m_prev != prev || ++seen > m_count) return 0;
    prev = l;
  }
  return seen == m_count && m_sentinel.m_prev == prev;
}

void _SCC_DList::Attach(SCC_DListLink* link, SCC_DListLink* before) noexcept {
  SCC_DListLink* prev = before->m_prev;
  link->m_list = this;
  link->m_prev = prev;
  link->m_next = before;
  prev->m_next = link;
  before->m_prev = link;
  ++m_count;
}

void _SCC_DList::Detach(SCC_DListLink* link) noexcept {
  if (link->m_list != this) return;
  // Iterators standing on the link move on to its successor (null past the tail).
  for (_SCC_DListIterator* it = m_iterators; it; it = it->m_chain) {
    if (it->m_focus == link) {
      it->m_focus = SCC_DListLink::Real(link->m_next);
      it->m_moved = true;
    }
  }
  link->m_prev->m_next = link->m_next;
  link->m_next->m_prev = link->m_prev;
  link->m_list = nullptr;
  link->m_prev = link->m_next = nullptr;
  --m_count;
}

int _SCC_DList::LinkBefore(SCC_DListLink* link, SCC_DListLink* before) {
  if (!link || link == before) return 0;
  if (!before) before = &m_sentinel;
  const bool anchored = before == &m_sentinel || before->m_list == this;
  SSM_CHECK(anchored, kFile, kLineForeignAnchor);
  SSM_CHECK(!m_closing, kFile, kLineClosing);
  if (!anchored || m_closing) return 0;
  if (link->m_list) {
    link->m_list->Unlink(link);
    // A hook of the old list may have moved the anchor away, or re-linked the node.
    if (link->m_list || (before != &m_sentinel && before->m_list != this) || m_closing) return 0;
  }
  Attach(link, before);
  OnLinkChange(1, link);
  return 1;
}

int _SCC_DList::LinkAfter(SCC_DListLink* link, SCC_DListLink* after) {
  if (!link || link == after) return 0;
  const bool anchored = !after || after->m_list == this;
  SSM_CHECK(anchored, kFile, kLineForeignAnchor);
  if (!anchored) return 0;
  SCC_DListLink* before = after ? after->m_next : m_sentinel.m_next;
  if (before == link) return 1;  // already in place
  return LinkBefore(link, before);
}

int _SCC_DList::Unlink(SCC_DListLink* link) {
  if (!link || !link->m_list) return 0;
  SSM_CHECK(link->m_list == this, kFile, kLineForeignNode);
  if (link->m_list != this) return 0;
  OnLinkChange(2, link);
  if (link->m_list != this) return 0;  // a hook removed it already
  Detach(link);
  return 1;
}

void _SCC_DList::UnlinkAll() {
  if (m_count == 0) return;
  OnLinkChange(6, nullptr);
  while (SCC_DListLink* link = HeadLink()) Detach(link);
}

// ---------------------------------------------------------------------------------------

_SCC_DListIterator::_SCC_DListIterator(const _SCC_DListIterator& other) noexcept { *this = other; }

_SCC_DListIterator& _SCC_DListIterator::operator=(const _SCC_DListIterator& other) noexcept {
  if (this == &other) return *this;
  Attach(other.m_list);
  m_focus = other.m_focus;
  m_started = other.m_started;
  m_moved = other.m_moved;
  return *this;
}

void _SCC_DListIterator::Register() noexcept {
  m_chain = m_list->m_iterators;
  m_list->m_iterators = this;
}

void _SCC_DListIterator::Unregister() noexcept {
  _SCC_DListIterator** p = &m_list->m_iterators;
  while (*p && *p != this) p = &(*p)->m_chain;
  if (*p) *p = m_chain;
  m_chain = nullptr;
}

void _SCC_DListIterator::Attach(const _SCC_DList* list) noexcept {
  if (list != m_list) {
    if (m_list) Unregister();
    m_list = const_cast<_SCC_DList*>(list);
    if (m_list) Register();
  }
  Restart();
}

void _SCC_DListIterator::Restart() noexcept {
  m_focus = nullptr;
  m_started = false;
  m_moved = false;
}

void _SCC_DListIterator::Invalidate() noexcept {
  m_focus = nullptr;
  m_started = true;
  m_moved = false;
}

SCC_DListLink* _SCC_DListIterator::SetFocusLink(SCC_DListLink* link) noexcept {
  m_started = true;
  m_moved = false;
  m_focus = link && m_list && link->m_list == m_list ? link : nullptr;
  return m_focus;
}

SCC_DListLink* _SCC_DListIterator::StepFirst() noexcept {
  return SetFocusLink(m_list ? m_list->HeadLink() : nullptr);
}

SCC_DListLink* _SCC_DListIterator::StepLast() noexcept {
  return SetFocusLink(m_list ? m_list->TailLink() : nullptr);
}

SCC_DListLink* _SCC_DListIterator::StepNext() noexcept {
  if (!m_started) return StepFirst();
  if (m_moved) {
    m_moved = false;  // the removal already stepped forward
    return m_focus;
  }
  if (m_focus) m_focus = m_focus->GetNextLink();
  return m_focus;
}

SCC_DListLink* _SCC_DListIterator::StepPrev() noexcept {
  if (!m_started) return StepLast();
  if (m_moved) {
    // The removed node stood between the node before m_focus and m_focus.
    m_moved = false;
    m_focus = m_focus ? m_focus->GetPrevLink() : (m_list ? m_list->TailLink() : nullptr);
    return m_focus;
  }
  if (m_focus) m_focus = m_focus->GetPrevLink();
  return m_focus;
}

// ---------------------------------------------------------------------------------------

SCC_RefDListNode::~SCC_RefDListNode() = default;

SCC_RefDList* SCC_RefDListNode::GetRefList() const noexcept {
  // A reference node may sit in a plain SCC_DList too; only a list of references counts.
  return dynamic_cast<SCC_RefDList*>(GetOwner());
}

void SCC_RefDListNode::OnListDestroyed(SCC_RefDList* list) {}

SCC_RefDList::~SCC_RefDList() { ReleaseNodes(); }

void SCC_RefDList::ReleaseNodes() {
  Close();
  // Each node is unlinked before it hears of the end, so it may delete itself or others;
  // the closed list takes no new node, so the loop ends.
  while (SCC_RefDListNode* node = GetHead()) {
    UnlinkSilently(node);
    node->OnListDestroyed(this);
  }
}
