// SCC_Convertor.cpp - the identity convertor and its indirect and reversing wrappers.
#include "sccvariant.h"

// Out of line so that the virtual tables have one home, in the library.
SCC_Convertor::~SCC_Convertor() = default;
SCC_RevConvertor::~SCC_RevConvertor() = default;

SCC_Variant SCC_Convertor::Convert(SCC_Variant value, int direction) { return value; }

SCC_IndConvertor::SCC_IndConvertor(const SCC_SharedPointer<SCC_Convertor>& inner)
    : m_relay(this, &SCC_IndConvertor::OnEvent) {
  Attach(inner);
}

SCC_IndConvertor::SCC_IndConvertor(SCC_IndConvertor& other)
    : SCC_Convertor(other), m_relay(this, &SCC_IndConvertor::OnEvent) {
  Attach(other.m_inner);
}

SCC_IndConvertor& SCC_IndConvertor::operator=(SCC_IndConvertor& other) {
  if (&other != this) {
    SCC_Convertor::operator=(other);
    Attach(other.m_inner);
  }
  return *this;
}

SCC_IndConvertor::~SCC_IndConvertor() = default;

void SCC_IndConvertor::Attach(const SCC_SharedPointer<SCC_Convertor>& inner) {
  SCC_SharedPointer<SCC_Convertor> keep(inner);  // `inner` may be our own pointer
  m_relay.HookEvent(keep.Get());                 // null just unhooks
  m_inner = std::move(keep);
}

SCC_Variant SCC_IndConvertor::Convert(SCC_Variant value, int direction) {
  if (!m_inner) return value;
  return m_inner->Convert(static_cast<SCC_Variant&&>(value), direction);
}

int SCC_IndConvertor::OnEvent(int code, int* data) {
  Raise(code, data);
  return 0;
}

SCC_Variant SCC_RevConvertor::Convert(SCC_Variant value, int direction) {
  return SCC_IndConvertor::Convert(static_cast<SCC_Variant&&>(value), direction == 0 ? 1 : 0);
}
