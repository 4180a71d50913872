// SYS_Filter.cpp - shared value filters and their and/or/not combination nodes.
#include "sysfilter.h"

#include <algorithm>
#include <vector>

SYS_Filter::SYS_Filter() noexcept : m_test(nullptr) {}

SYS_Filter::SYS_Filter(const SCC_SharedPointer<SYS_Filter>& left,
                       const SCC_SharedPointer<SYS_Filter>& right, TestFunction test)
    : m_test(test) {
  // Nothing can reach a filter under construction, so owning its operands forms no cycle.
  SetLink(m_left, left.Get(), true);
  SetLink(m_right, right.Get(), true);
}

SYS_Filter::SYS_Filter(const SYS_Filter& other) : SCC_SharedBuffer(other), m_test(other.m_test) {
  SetLink(m_left, other.m_left.ptr, true);
  SetLink(m_right, other.m_right.ptr, true);
  SetLink(m_result, other.m_result.ptr, true);
}

SYS_Filter::~SYS_Filter() {
  // Whoever still refers to this filter (a node built on a filter that lives on the
  // stack, or a borrowed operand) sees it as absent from now on.
  for (SYS_Filter* referrer : m_referrers) {
    for (Link* link : {&referrer->m_left, &referrer->m_right, &referrer->m_result}) {
      if (link->ptr == this) *link = Link{};
    }
  }
  m_referrers.clear();
  ReleaseLink(m_result);
  ReleaseLink(m_right);
  ReleaseLink(m_left);
}

SYS_Filter& SYS_Filter::operator=(const SYS_Filter& other) {
  if (this == &other) return *this;
  Link left = m_left;
  Link right = m_right;
  m_left = Link{};
  m_right = Link{};
  SetLink(m_left, other.m_left.ptr, MayOwn(other.m_left.ptr));
  SetLink(m_right, other.m_right.ptr, MayOwn(other.m_right.ptr));
  m_test = other.m_test;
  ReleaseLink(right);
  ReleaseLink(left);
  return *this;
}

int SYS_Filter::IsTrue(int v) {
  if (!m_test) return 0;
  if (GetRefCount() == 0) Pin();
  SCC_SharedPointer<SYS_Filter> self(this);  // keeps this node alive during the call
  return m_test(self, v);
}

SYS_Filter& SYS_Filter::operator&(SYS_Filter& f) { return Build(&f, And_F); }
SYS_Filter& SYS_Filter::operator|(SYS_Filter& f) { return Build(&f, Or_F); }
SYS_Filter& SYS_Filter::operator!() { return Build(nullptr, Not_F); }

void SYS_Filter::Initialize(const SCC_SharedPointer<SYS_Filter>& f) {
  Link left = m_left;
  m_left = Link{};
  SetLink(m_left, f.Get(), MayOwn(f.Get()));
  m_test = Equ_F;
  ReleaseLink(m_result);
  ReleaseLink(m_right);
  ReleaseLink(left);
}

int SYS_Filter::Answer(SYS_Filter* f, int v) { return f ? f->IsTrue(v) : 0; }

int SYS_Filter::And_F(const SCC_SharedPointer<SYS_Filter>& n, int v) {
  if (!Answer(n->m_left.ptr, v)) return 0;  // the right operand is not asked
  return Answer(n->m_right.ptr, v) != 0 ? 1 : 0;
}

int SYS_Filter::Or_F(const SCC_SharedPointer<SYS_Filter>& n, int v) {
  if (Answer(n->m_left.ptr, v)) return 1;  // the right operand is not asked
  return Answer(n->m_right.ptr, v) != 0 ? 1 : 0;
}

int SYS_Filter::Not_F(const SCC_SharedPointer<SYS_Filter>& n, int v) {
  return Answer(n->m_left.ptr, v) <= 0 ? 1 : 0;  // a negative answer counts as false
}

int SYS_Filter::Equ_F(const SCC_SharedPointer<SYS_Filter>& n, int v) {
  return Answer(n->m_left.ptr, v);
}

void SYS_Filter::Deref() const {
  if (GetRefCount() <= 1) {
    SCC_SharedBuffer::Deref();
    return;
  }
  SCC_SharedBuffer::Deref();
  const_cast<SYS_Filter*>(this)->CollectChainIfUnreachable();
}

SYS_Filter& SYS_Filter::Build(SYS_Filter* right, TestFunction test) {
  auto* node = new SYS_Filter();
  node->m_test = test;
  // The node holds its builder: the pair is collected as a chain once nothing else
  // holds either of them.
  node->SetLink(node->m_left, this, true);
  // A right operand that reaches the builder already keeps the node alive through it;
  // owning it as well would close a cycle that nothing could collect.
  if (right) node->SetLink(node->m_right, right, !right->Reaches(this));
  SetLink(m_result, node, true, /*adopt=*/true);
  return *node;
}

bool SYS_Filter::MayOwn(const SYS_Filter* target) const {
  if (!target) return true;
  // The builder of this node is the one filter allowed to hold it back.
  if (target->m_result.ptr == this) return true;
  return !target->Reaches(this);
}

void SYS_Filter::SetLink(Link& link, SYS_Filter* target, bool mayOwn, bool adopt) {
  Link fresh{target, false};
  if (target) {
    if (mayOwn) {
      if (!adopt && target->GetRefCount() == 0) target->Pin();
      target->Ref();
      fresh.owned = true;
    }
    target->m_referrers.push_back(this);
  }
  Link old = link;
  link = fresh;
  Drop(old);
}

void SYS_Filter::ReleaseLink(Link& link) {
  Link old = link;
  link = Link{};
  Drop(old);
}

void SYS_Filter::Drop(Link old) {
  if (!old.ptr) return;
  auto& referrers = old.ptr->m_referrers;
  auto it = std::find(referrers.begin(), referrers.end(), this);
  if (it != referrers.end()) referrers.erase(it);
  if (old.owned) old.ptr->Deref();
}

// A filter found with no owner is on the stack or inside another object: one reference
// that is never released stands for that owner, so the library never deletes it.
void SYS_Filter::Pin() const { Ref(); }

bool SYS_Filter::Reaches(const SYS_Filter* target) const {
  std::vector<const SYS_Filter*> pending{this};
  std::vector<const SYS_Filter*> seen;
  while (!pending.empty()) {
    const SYS_Filter* f = pending.back();
    pending.pop_back();
    if (f == target) return true;
    if (std::find(seen.begin(), seen.end(), f) != seen.end()) continue;
    seen.push_back(f);
    for (const Link* link : {&f->m_result, &f->m_left, &f->m_right}) {
      if (link->ptr && link->owned) pending.push_back(link->ptr);
    }
  }
  return false;
}

bool SYS_Filter::HoldsBuilderBackLink() const {
  return m_left.owned && m_left.ptr && m_left.ptr->m_result.ptr == this;
}

// The filters linked as builder -> result node -> its result node ... hold each other
// both ways. When every reference to every one of them comes from inside that chain,
// nothing can reach the chain any more and it is deleted as a whole.
void SYS_Filter::CollectChainIfUnreachable() {
  SYS_Filter* root = this;
  std::vector<SYS_Filter*> chain;
  while (root->HoldsBuilderBackLink()) {
    if (std::find(chain.begin(), chain.end(), root) != chain.end()) return;
    chain.push_back(root);
    root = root->m_left.ptr;
  }
  chain.assign(1, root);
  for (;;) {
    SYS_Filter* next = chain.back()->m_result.ptr;
    if (!next || !next->HoldsBuilderBackLink() || next->m_left.ptr != chain.back()) break;
    if (std::find(chain.begin(), chain.end(), next) != chain.end()) break;
    chain.push_back(next);
  }
  const std::size_t last = chain.size() - 1;
  if (last == 0) return;
  for (std::size_t i = 0; i <= last; ++i) {
    const long internal = (i > 0 ? 1 : 0) + (i < last ? 1 : 0);
    if (chain[i]->GetRefCount() != internal) return;
  }
  // Turn the back links into plain pointers; each one held a reference.
  for (std::size_t i = 1; i <= last; ++i) chain[i]->m_left.owned = false;
  for (std::size_t i = 1; i < last; ++i) chain[i]->SCC_SharedBuffer::Deref();
  // The root is now owned by nobody; deleting it releases the rest in turn.
  delete chain[0];
}
