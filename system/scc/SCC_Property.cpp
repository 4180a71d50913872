// SCC_Property.cpp - SCC_StdProperty (aggregation, writing, convertor relay) and the
// forwarding SCC_IndProperty.
#include "sccproperty.h"

namespace {
constexpr int kPropertyChanged = 8;
}  // namespace

SCC_StdProperty::SCC_StdProperty() : m_convertorHook(this, &SCC_StdProperty::OnPropEvent) {}

SCC_StdProperty::SCC_StdProperty(SCC_StdProperty& other)
    : SCC_SharedBuffer(other),
      m_validation(other.m_validation),
      m_convertorHook(this, &SCC_StdProperty::OnPropEvent),
      m_event(other.m_event) {
  SCC_StdProperty::SetConvertor(other.m_convertor);
}

SCC_StdProperty& SCC_StdProperty::operator=(SCC_StdProperty& other) {
  if (&other != this) {
    m_validation = other.m_validation;
    m_event = other.m_event;
    SCC_StdProperty::SetConvertor(other.m_convertor);
  }
  return *this;
}

SCC_StdProperty::~SCC_StdProperty() { m_convertorHook.HookEvent(nullptr); }

int SCC_StdProperty::HasObject() const { return 0; }
void SCC_StdProperty::SetObject(void* object) {}

int SCC_StdProperty::GetValue(SCC_StdCollection* collection, SCC_Variant& value) {
  if (!collection) return GetValue(0, value);
  if (!collection->HasFocus()) return 0;
  for (int index = 0;; ++index) {
    const int handle = collection->GetFocus(index);
    if (handle == 0) break;
    SCC_Variant item;
    if (!GetValue(handle, item)) return 0;
    if (value.IsEmpty()) {
      value = static_cast<SCC_Variant&&>(item);
    } else if (item != value) {
      value.Clear();  // mixed values
      return 1;
    }
  }
  return 1;
}

int SCC_StdProperty::GetValue(int handle, SCC_Variant& value) { return 0; }

int SCC_StdProperty::SetValue(SCC_StdCollection* collection, const SCC_Variant& value, int flag) {
  if (!collection) return SetValue(0, value, flag);
  for (int index = 0;; ++index) {
    const int handle = collection->GetFocus(index);
    if (handle == 0) return 1;
    if (!SetValue(handle, value, flag)) return 0;
  }
}

int SCC_StdProperty::SetValue(int handle, const SCC_Variant& value, int flag) { return 0; }
int SCC_StdProperty::HasSetMethod() const { return 0; }
SCC_StdProperty* SCC_StdProperty::GetDataSource() { return this; }
const char* SCC_StdProperty::GetValidation() { return m_validation; }
void SCC_StdProperty::SetValidation(const char* validation) { m_validation = validation; }
SCC_SharedPointer<SCC_Convertor> SCC_StdProperty::GetConvertor() { return m_convertor; }

SCC_StdProperty* SCC_StdProperty::SetConvertor(SCC_SharedPointer<SCC_Convertor> convertor) {
  // The hook leaves the old convertor before that one can be released (and deleted).
  m_convertorHook.HookEvent(convertor.Get());
  m_convertor = static_cast<SCC_SharedPointer<SCC_Convertor>&&>(convertor);
  return this;
}

SCC_Notifier* SCC_StdProperty::GetPropEvent() { return &m_event; }
void SCC_StdProperty::AddDataSource(SCC_StdProperty* source) {}
void SCC_StdProperty::RemoveDataSource() {}

int SCC_StdProperty::OnPropEvent(int code, int* data) {
  m_event.Raise(kPropertyChanged, reinterpret_cast<int*>(this));
  return 0;
}

// An indirect property without target falls back on the base class throughout.

SCC_IndProperty::SCC_IndProperty(const SCC_SharedPointer<SCC_StdProperty>& target)
    : m_target(target) {}
SCC_IndProperty::SCC_IndProperty(SCC_IndProperty& other)
    : SCC_StdProperty(other), m_target(other.m_target) {}
SCC_IndProperty& SCC_IndProperty::operator=(SCC_IndProperty& other) {
  if (&other != this) {
    SCC_StdProperty::operator=(other);
    m_target = other.m_target;
  }
  return *this;
}
SCC_IndProperty::~SCC_IndProperty() = default;

int SCC_IndProperty::HasObject() const {
  return m_target ? m_target->HasObject() : SCC_StdProperty::HasObject();
}
void SCC_IndProperty::SetObject(void* object) {
  if (m_target) m_target->SetObject(object);
}
int SCC_IndProperty::GetValue(SCC_StdCollection* collection, SCC_Variant& value) {
  return m_target ? m_target->GetValue(collection, value)
                  : SCC_StdProperty::GetValue(collection, value);
}
int SCC_IndProperty::GetValue(int handle, SCC_Variant& value) {
  return m_target ? m_target->GetValue(handle, value) : 0;
}
int SCC_IndProperty::SetValue(SCC_StdCollection* collection, const SCC_Variant& value, int flag) {
  return m_target ? m_target->SetValue(collection, value, flag)
                  : SCC_StdProperty::SetValue(collection, value, flag);
}
int SCC_IndProperty::SetValue(int handle, const SCC_Variant& value, int flag) {
  return m_target ? m_target->SetValue(handle, value, flag) : 0;
}
int SCC_IndProperty::HasSetMethod() const { return m_target ? m_target->HasSetMethod() : 0; }
SCC_StdProperty* SCC_IndProperty::GetDataSource() {
  return m_target ? m_target->GetDataSource() : SCC_StdProperty::GetDataSource();
}
const char* SCC_IndProperty::GetValidation() {
  return m_target ? m_target->GetValidation() : SCC_StdProperty::GetValidation();
}
void SCC_IndProperty::SetValidation(const char* validation) {
  if (m_target)
    m_target->SetValidation(validation);
  else
    SCC_StdProperty::SetValidation(validation);
}
SCC_SharedPointer<SCC_Convertor> SCC_IndProperty::GetConvertor() {
  return m_target ? m_target->GetConvertor() : SCC_StdProperty::GetConvertor();
}
SCC_StdProperty* SCC_IndProperty::SetConvertor(SCC_SharedPointer<SCC_Convertor> convertor) {
  if (m_target)
    return m_target->SetConvertor(static_cast<SCC_SharedPointer<SCC_Convertor>&&>(convertor));
  return SCC_StdProperty::SetConvertor(static_cast<SCC_SharedPointer<SCC_Convertor>&&>(convertor));
}
SCC_Notifier* SCC_IndProperty::GetPropEvent() {
  return m_target ? m_target->GetPropEvent() : SCC_StdProperty::GetPropEvent();
}
void SCC_IndProperty::AddDataSource(SCC_StdProperty* source) {
  if (m_target) m_target->AddDataSource(source);
}
void SCC_IndProperty::RemoveDataSource() {
  if (m_target) m_target->RemoveDataSource();
}
