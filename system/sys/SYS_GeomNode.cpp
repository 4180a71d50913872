// SYS_GeomNode.cpp - ring maintenance and searches of SYS_GeomNode; the geometry interfaces.
#include "ssmcheck.h"
#include "sysgeomnode.h"

namespace {

// The ring checks were first written inline; the site keeps its original name.
constexpr const char* kSite = "system/sys/SYS_Geom_Inline";
constexpr int kCorruptedChainLine = 2275;

}  // namespace

void SYS_GeomNode::IncludeRoot(SYS_GeomNode* n) {
  if (!n) return;
  n->m_next = m_next;
  m_next = n;
}

void SYS_GeomNode::ExcludeRoot(SYS_GeomNode* n) {
  if (!n || n->m_next == n) return;
  for (SYS_GeomNode* p = n->m_next; p; p = p->m_next) {
    if (p->m_next == n) {
      // The predecessor continues with *this* node's successor, not n's: for
      // n == this (the usual call) both are the same, and for other nodes this is
      // intended.
      p->m_next = m_next;
      m_next = this;
      return;
    }
    if (p->m_type == SGN_Boundary || p == n) return;
  }
}

void SYS_GeomNode::ExcludeNearType(short t) {
  while (m_next && m_next != this && m_next->m_type == t) m_next = m_next->m_next;
}

void SYS_GeomNode::ExcludeByType(short t) {
  for (SYS_GeomNode* p = this; p && p->m_next && p->m_next != this;) {
    if (p->m_next->m_type == t)
      p->m_next = p->m_next->m_next;
    else
      p = p->m_next;
  }
}

SYS_GeomNode* SYS_GeomNode::GetNextGeomRoot() const {
  for (SYS_GeomNode* p = m_next; p && p != this; p = p->m_next)
    if (IsGeom(p->m_type)) return p;
  return nullptr;
}

SYS_GeomNode* SYS_GeomNode::GetPrevRoot(const SYS_GeomNode* n) const {
  if (!n) return nullptr;
  for (SYS_GeomNode* s = n->m_next; s && s != this; s = s->m_next) {
    if (s->m_next == this) return s;
    if (s->m_type == SGN_Boundary) return nullptr;
  }
  return nullptr;
}

SYS_GeomNode* SYS_GeomNode::NextRoot(SYS_GeomNode* n, short t) const {
  if (!n) return nullptr;
  for (SYS_GeomNode* p = n->m_next; p && p != this; p = p->m_next) {
    if (p->m_type == t) return p;
    if (p->m_next == p) {
      SSM_CHECK_EX(false, "Corrupted SYS_GeomNode chain!", kSite, kCorruptedChainLine,
                   SSM_InternalError, 0);
      return nullptr;
    }
  }
  return nullptr;
}

SYS_Geometry::~SYS_Geometry() = default;

SYS_GeomIterator::~SYS_GeomIterator() = default;
