// SCC_Concentrator.cpp - the event concentrator, its shared implementation and its nodes.
#include "sccconcentrator.h"

namespace {
constexpr int kSourceReleased = 2;
}  // namespace

// ---- SCC_EventConcNode

SCC_EventConcNode::~SCC_EventConcNode() {
  m_owner = nullptr;  // the base destructor only unlinks
}

void SCC_EventConcNode::Relink(SCC_Notifier* source) {
  m_relinking = true;
  InsertBefore(source);
  m_relinking = false;
}

void SCC_EventConcNode::Remove() {
  const bool relinking = m_relinking;
  if (m_owner && !relinking) m_owner->Release(m_source, this, true);
  SCC_EventNode<int>::Remove();
  // A relink only moves the node, so it is never orphaned on the way; once orphaned, the
  // caller (the source's ring) no longer refers to it.
  if (m_orphan && !relinking) delete this;
}

int SCC_EventConcNode::OnNotification(int code, int* data) {
  // The relay may release this node; nothing here touches it afterwards.
  return m_owner ? m_owner->Relay(this, code, data) : 0;
}

// ---- SCC_EventConcentratorImpl

SCC_EventConcentratorImpl::SCC_EventConcentratorImpl() = default;

SCC_EventConcentratorImpl::~SCC_EventConcentratorImpl() {
  std::vector<SCC_EventConcNode*> nodes;
  nodes.reserve(static_cast<std::size_t>(m_sources.GetCount()));
  m_sources.ForEach([&](SCC_Notifier*, SCC_EventConcNode* node) { nodes.push_back(node); });
  m_sources.RemoveAll();
  for (SCC_EventConcNode* node : nodes) {
    node->m_owner = nullptr;
    delete node;  // unhooks it from its source
  }
}

void SCC_EventConcentratorImpl::DropRef() {
  if (--m_refs == 0) delete this;
}

void SCC_EventConcentratorImpl::HookEvent(SCC_Notifier* source, long type) {
  if (!source || source == this) return;  // hooking ourselves would relay for ever
  SCC_EventConcNode* node;
  if (SCC_EventConcNode** found = m_sources.Find(source)) {
    node = *found;
    node->m_type = static_cast<std::int32_t>(type);
  } else {
    node = new SCC_EventConcNode(this, source, type);
    m_sources.SetAt(source, node);
  }
  node->Relink(source);  // to the end of the ring, after every hook already there
}

void SCC_EventConcentratorImpl::ReleaseEvent(SCC_Notifier* source) {
  SCC_EventConcNode* const* found = m_sources.Find(source);
  Release(source, found ? *found : nullptr, false);
}

void SCC_EventConcentratorImpl::Release(SCC_Notifier* key, SCC_EventConcNode* node,
                                        bool fromNodeRemove) {
  if (!node) return;  // nothing on the relay stack can belong to an unknown source
  for (std::size_t i = 0; i < m_stack.size(); ++i) {
    DataItem& item = m_stack[i];
    if (item.node != node) continue;
    item.saved = 0;
    item.node = nullptr;    // the node is about to go
    if (i == 0) Enable(0);  // stops the outermost relay, and every relay nested in it
  }
  // Out of the map before anyone hears of it, so that a listener releasing the same
  // source again finds nothing to release twice.
  m_sources.RemoveKey(key);
  node->m_owner = nullptr;
  if (!m_releaseNotifier.IsEmpty())
    m_releaseNotifier.Raise(kSourceReleased, reinterpret_cast<int*>(node));
  if (fromNodeRemove)
    node->m_orphan = true;
  else
    delete node;
}

int SCC_EventConcentratorImpl::Relay(SCC_EventConcNode* node, int code, int* data) {
  // A listener may drop the last concentrator while we relay: hold the implementation,
  // and unwind the stack even when a listener throws.
  struct Scope {
    SCC_EventConcentratorImpl* impl;
    ~Scope() { impl->EndRelay(); }
  };
  ++m_refs;
  m_stack.push_back(DataItem{node, node->m_type, IsEnabled()});
  m_type = node->m_type;
  Scope scope{this};
  if (IsEnabled()) Raise(code, data);
  return 0;
}

void SCC_EventConcentratorImpl::EndRelay() {
  m_stack.pop_back();
  const int wanted = m_stack.empty() || m_stack.back().saved ? 1 : 0;
  if (wanted != IsEnabled()) Enable(wanted);
  // The outer relay's type comes back; after the last relay the type stays.
  if (wanted && !m_stack.empty()) {
    const DataItem& top = m_stack.back();
    m_type = top.node ? top.node->m_type : top.type;  // the node may have been hooked anew
  }
  DropRef();
}

// ---- SCC_EventConcentrator

SCC_EventConcentrator::SCC_EventConcentrator(SCC_EventConcentrator& other) : m_impl(other.m_impl) {
  if (m_impl) m_impl->AddRef();
}

// The new reference is taken before the old one is dropped, which covers self-assignment.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
SCC_EventConcentrator& SCC_EventConcentrator::operator=(SCC_EventConcentrator& other) {
  SCC_EventConcentratorImpl* old = m_impl;
  m_impl = other.m_impl;
  if (m_impl) m_impl->AddRef();
  if (old) old->DropRef();
  return *this;
}

SCC_EventConcentrator::~SCC_EventConcentrator() {
  if (m_impl) m_impl->DropRef();
}

SCC_EventConcentratorImpl* SCC_EventConcentrator::GetImpl() const {
  return new SCC_EventConcentratorImpl;
}

void SCC_EventConcentrator::CheckImpl() {
  if (!m_impl) m_impl = GetImpl();
}

SCC_EventConcentrator::operator SCC_Notifier&() {
  CheckImpl();
  return *m_impl;
}

void SCC_EventConcentrator::HookEvent(SCC_Notifier* source, long type) {
  if (!source) return;
  CheckImpl();
  m_impl->HookEvent(source, type);
}

void SCC_EventConcentrator::ReleaseEvent(SCC_Notifier* source) {
  if (m_impl) m_impl->ReleaseEvent(source);
}

long SCC_EventConcentrator::GetNotificationType() const {
  return m_impl ? m_impl->GetNotificationType() : 0;
}

int SCC_EventConcentrator::GetEventCount() const { return m_impl ? m_impl->GetEventCount() : 0; }
