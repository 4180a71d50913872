// SCC_Multiplexer.cpp - the event multiplexer and the sources that join it.
#include "sccmultiplexer.h"

// ---- source

SCC_EventSource::SCC_EventSource() : m_membership(this) {}

SCC_EventSource::~SCC_EventSource() { m_membership.Remove(); }

void SCC_EventSource::Join(SCC_EventMultiplexer* multiplexer) {
  if (!multiplexer) {
    m_membership.Remove();
    return;
  }
  multiplexer->AddHead(&m_membership);  // leaves the old one first; appends
  ++multiplexer->m_sources;
}

SCC_EventMultiplexer* SCC_EventSource::GetMultiplexer() const {
  // A membership is only ever linked into a multiplexer.
  return static_cast<SCC_EventMultiplexer*>(m_membership.GetRoot());
}

void SCC_EventSource::Left(SCC_EventNode<int>* root) {
  if (root) --static_cast<SCC_EventMultiplexer*>(root)->m_sources;
}

void SCC_EventSource::RaiseForMultiplexer(int code, int* data) {
  auto* multiplexer = static_cast<SCC_EventMultiplexer*>(m_membership.GetRoot());
  // The raise may destroy this source, its membership or the multiplexer: afterwards only
  // the frame on this stack is touched, and the multiplexer only if it still lives.
  struct Push {
    SCC_EventMultiplexer::Frame frame;
    explicit Push(SCC_EventSource* source, SCC_EventMultiplexer* owner)
        : frame{source, owner->m_frame, owner} {
      owner->m_frame = &frame;
    }
    ~Push() {
      if (frame.owner) frame.owner->m_frame = frame.outer;
    }
    Push(const Push&) = delete;
    Push& operator=(const Push&) = delete;
  } push(this, multiplexer);
  Raise(code, data);
}

void SCC_EventSource::Membership::Remove() {
  SCC_EventSource::Left(GetRoot());
  SCC_EventNode<int>::Remove();
}

int SCC_EventSource::Membership::OnNotification(int code, int* data) {
  m_source->RaiseForMultiplexer(code, data);
  return 0;
}

// ---- multiplexer

SCC_EventMultiplexer::~SCC_EventMultiplexer() {
  RemoveAll();  // while the count is still ours to keep
  for (Frame* frame = m_frame; frame; frame = frame->outer) frame->owner = nullptr;
  m_frame = nullptr;
}
