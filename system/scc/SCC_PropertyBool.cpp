// SCC_PropertyBool.cpp - the two-operand base and the boolean properties And, Or, Not,
// Equal and NotEqual.
#include "sccproperty.h"

SCC_BinProperty::SCC_BinProperty(const SCC_SharedPointer<SCC_StdProperty>& left,
                                 const SCC_SharedPointer<SCC_StdProperty>& right)
    : m_left(left), m_right(right) {}
SCC_BinProperty::SCC_BinProperty(SCC_BinProperty& other)
    : SCC_StdProperty(other), m_left(other.m_left), m_right(other.m_right) {}
SCC_BinProperty& SCC_BinProperty::operator=(SCC_BinProperty& other) {
  if (&other != this) {
    SCC_StdProperty::operator=(other);
    m_left = other.m_left;
    m_right = other.m_right;
  }
  return *this;
}
SCC_BinProperty::~SCC_BinProperty() = default;

// Getters ask both operands (a host's property may count or cache on being asked) and
// answer with the left one's; a missing operand is skipped, and with neither the
// property answers for itself.

int SCC_BinProperty::HasObject() const {
  return m_left && m_right && m_left->HasObject() && m_right->HasObject();
}
void SCC_BinProperty::SetObject(void* object) {
  if (m_left) m_left->SetObject(object);
  if (m_right) m_right->SetObject(object);
}
int SCC_BinProperty::GetValue(SCC_StdCollection* collection, SCC_Variant& value) { return 0; }
int SCC_BinProperty::GetValue(int handle, SCC_Variant& value) { return 0; }
int SCC_BinProperty::SetValue(SCC_StdCollection* collection, const SCC_Variant& value, int flag) {
  return 0;
}
int SCC_BinProperty::SetValue(int handle, const SCC_Variant& value, int flag) { return 0; }
int SCC_BinProperty::HasSetMethod() const {
  return m_left && m_right && m_left->HasSetMethod() && m_right->HasSetMethod();
}
SCC_StdProperty* SCC_BinProperty::GetDataSource() {
  SCC_StdProperty* right = m_right ? m_right->GetDataSource() : nullptr;
  if (m_left) return m_left->GetDataSource();
  return m_right ? right : SCC_StdProperty::GetDataSource();
}
const char* SCC_BinProperty::GetValidation() {
  const char* right = m_right ? m_right->GetValidation() : nullptr;
  if (m_left) return m_left->GetValidation();
  return m_right ? right : SCC_StdProperty::GetValidation();
}
void SCC_BinProperty::SetValidation(const char* validation) {
  if (m_left) m_left->SetValidation(validation);
  if (m_right) m_right->SetValidation(validation);
}
SCC_SharedPointer<SCC_Convertor> SCC_BinProperty::GetConvertor() {
  SCC_SharedPointer<SCC_Convertor> right = m_right ? m_right->GetConvertor() : nullptr;
  if (m_left) return m_left->GetConvertor();
  return m_right ? right : SCC_StdProperty::GetConvertor();
}
SCC_StdProperty* SCC_BinProperty::SetConvertor(SCC_SharedPointer<SCC_Convertor> convertor) {
  if (m_left) m_left->SetConvertor(convertor);
  if (m_right) m_right->SetConvertor(convertor);
  return this;
}
SCC_Notifier* SCC_BinProperty::GetPropEvent() {
  SCC_Notifier* right = m_right ? m_right->GetPropEvent() : nullptr;
  if (m_left) return m_left->GetPropEvent();
  return m_right ? right : SCC_StdProperty::GetPropEvent();
}
void SCC_BinProperty::AddDataSource(SCC_StdProperty* source) {
  if (m_left) m_left->AddDataSource(source);
  if (m_right) m_right->AddDataSource(source);
}
void SCC_BinProperty::RemoveDataSource() {
  if (m_left) m_left->RemoveDataSource();
  if (m_right) m_right->RemoveDataSource();
}

SCC_AndProperty::~SCC_AndProperty() = default;

int SCC_AndProperty::GetValue(int handle, SCC_Variant& value) {
  SCC_StdProperty* left = GetLeft();
  if (!left) return 0;
  const int result = left->GetValue(handle, value);
  if (!result) return result;
  // Only exactly 1 is true here, while Or takes any nonzero value. Intended.
  if (static_cast<int>(value) == 1) {
    SCC_StdProperty* right = GetRight();
    return right ? right->GetValue(handle, value) : 0;
  }
  return result;
}

SCC_OrProperty::~SCC_OrProperty() = default;

int SCC_OrProperty::GetValue(int handle, SCC_Variant& value) {
  SCC_StdProperty* left = GetLeft();
  if (!left) return 0;
  const int result = left->GetValue(handle, value);
  if (!result) return result;
  if (static_cast<int>(value) != 0) return result;
  SCC_StdProperty* right = GetRight();
  return right ? right->GetValue(handle, value) : 0;
}

SCC_NotProperty::~SCC_NotProperty() = default;

int SCC_NotProperty::GetValue(int handle, SCC_Variant& value) {
  const int result = SCC_IndProperty::GetValue(handle, value);
  if (result) value = SCC_Variant(static_cast<int>(value) == 0 ? 1 : 0);
  return result;
}

SCC_EqualProperty::~SCC_EqualProperty() = default;

int SCC_EqualProperty::GetValue(int handle, SCC_Variant& value) {
  const int result = SCC_IndProperty::GetValue(handle, value);
  if (result) value = SCC_Variant(value == m_comparand ? 1 : 0);
  return result;
}

SCC_NotEqualProperty::SCC_NotEqualProperty(const SCC_SharedPointer<SCC_StdProperty>& target,
                                           const SCC_Variant& comparand)
    : SCC_IndProperty(new SCC_NotProperty(
          SCC_SharedPointer<SCC_StdProperty>(new SCC_EqualProperty(target, comparand)))) {}

SCC_NotEqualProperty::~SCC_NotEqualProperty() = default;
