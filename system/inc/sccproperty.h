// sccproperty.h - SCC_StdProperty, the shared objects that read and write one value of the
// objects a collection names, and the indirect and boolean properties built on it.
#pragma once

#include "brixexport.h"
#include "scccollection.h"
#include "sccevent.h"
#include "sccshared.h"
#include "sccvariant.h"
#include "sysstring.h"

/// A property: reads (and possibly writes) one value of the objects behind handles.
///
/// The base class supplies what every property shares: aggregation of the value over a
/// collection's focused items, writing a value to all of them, a validation text for
/// SCC_Variant::Validate, a convertor, and a change event. Concrete properties override
/// the per-handle GetValue and SetValue (and HasSetMethod, HasObject, SetObject,
/// AddDataSource and RemoveDataSource, whose meaning is theirs).
///
/// Properties live on the heap and are shared through SCC_SharedPointer; a wrapper holds
/// a reference to what it wraps, so an expression tree is released from its root. While
/// a convertor is set, every notification of the convertor reaches the property's event
/// as code 8 with the property (SCC_StdProperty*) as payload. All int results are 1 for
/// success or true and 0 for failure or false.
class BRIX_API SCC_StdProperty : public SCC_SharedBuffer {
 public:
  SCC_StdProperty();
  /// Copies convertor and validation; the source's listeners move to the copy, as
  /// copying an event does. The copy starts unowned.
  SCC_StdProperty(SCC_StdProperty& other);
  SCC_StdProperty& operator=(SCC_StdProperty& other);
  ~SCC_StdProperty() override;

  /// Whether the property is bound to an object; the base is not.
  virtual int HasObject() const;
  /// Binds the property to an object of the host's; the base ignores it.
  virtual void SetObject(void* object);

  /// The value common to the collection's focused items.
  ///
  /// A null collection reads GetValue(0, value). A collection without focus gives 0.
  /// Otherwise each focused item is read into a fresh variant: a failed read returns 0;
  /// an empty `value` takes the first value read; a value that differs from `value`
  /// clears it and returns 1 at once. So an empty `value` comes back holding the
  /// common value, or empty for mixed values; a non-empty one is kept only when every
  /// focused item equals it.
  virtual int GetValue(SCC_StdCollection* collection, SCC_Variant& value);
  /// The value of the object behind `handle`; the base has none and returns 0.
  virtual int GetValue(int handle, SCC_Variant& value);
  /// Writes `value` to every focused item in turn and stops at the first failure
  /// (returning 0; later items are not written). A null collection writes handle 0.
  virtual int SetValue(SCC_StdCollection* collection, const SCC_Variant& value, int flag);
  /// Writes the object behind `handle`; the base cannot and returns 0.
  virtual int SetValue(int handle, const SCC_Variant& value, int flag);
  /// Whether SetValue can succeed; the base cannot write.
  virtual int HasSetMethod() const;

  /// The property that really reads the data: this one for the base.
  virtual SCC_StdProperty* GetDataSource();
  /// The validation text handed to SCC_Variant::Validate ("" by default).
  virtual const char* GetValidation();
  virtual void SetValidation(const char* validation);
  /// The convertor between stored and shown values (may be null).
  virtual SCC_SharedPointer<SCC_Convertor> GetConvertor();
  /// Holds `convertor` instead of the previous one and listens to it; returns this.
  virtual SCC_StdProperty* SetConvertor(SCC_SharedPointer<SCC_Convertor> convertor);
  /// The event on which the property announces its changes.
  virtual SCC_Notifier* GetPropEvent();
  /// Tells the property of another source of its data; the base ignores it.
  virtual void AddDataSource(SCC_StdProperty* source);
  virtual void RemoveDataSource();

 protected:
  /// Turns any notification of the convertor into code 8 on the property event.
  int OnPropEvent(int code, int* data);

 private:
  SCC_SharedPointer<SCC_Convertor> m_convertor;
  SYS_String m_validation;
  SCC_ObjectEventHook<SCC_StdProperty, int> m_convertorHook;
  SCC_Notifier m_event;
};

/// A property that forwards every operation to a target property. Without a target it
/// behaves as a plain SCC_StdProperty.
class BRIX_API SCC_IndProperty : public SCC_StdProperty {
 public:
  explicit SCC_IndProperty(const SCC_SharedPointer<SCC_StdProperty>& target);
  SCC_IndProperty(SCC_IndProperty& other);
  SCC_IndProperty& operator=(SCC_IndProperty& other);
  ~SCC_IndProperty() override;

  int HasObject() const override;
  void SetObject(void* object) override;
  int GetValue(SCC_StdCollection* collection, SCC_Variant& value) override;
  int GetValue(int handle, SCC_Variant& value) override;
  int SetValue(SCC_StdCollection* collection, const SCC_Variant& value, int flag) override;
  int SetValue(int handle, const SCC_Variant& value, int flag) override;
  int HasSetMethod() const override;
  SCC_StdProperty* GetDataSource() override;
  const char* GetValidation() override;
  void SetValidation(const char* validation) override;
  SCC_SharedPointer<SCC_Convertor> GetConvertor() override;
  SCC_StdProperty* SetConvertor(SCC_SharedPointer<SCC_Convertor> convertor) override;
  SCC_Notifier* GetPropEvent() override;
  void AddDataSource(SCC_StdProperty* source) override;
  void RemoveDataSource() override;

  /// The wrapped property (may be null).
  const SCC_SharedPointer<SCC_StdProperty>& GetTarget() const { return m_target; }

 private:
  SCC_SharedPointer<SCC_StdProperty> m_target;
};

/// A property over two operands (left and right) that forwards to both. Getters ask both
/// operands and answer with the left one's; HasObject and HasSetMethod need both. The
/// values themselves are the subclasses' business: the base reads and writes nothing.
class BRIX_API SCC_BinProperty : public SCC_StdProperty {
 public:
  SCC_BinProperty(const SCC_SharedPointer<SCC_StdProperty>& left,
                  const SCC_SharedPointer<SCC_StdProperty>& right);
  SCC_BinProperty(SCC_BinProperty& other);
  SCC_BinProperty& operator=(SCC_BinProperty& other);
  ~SCC_BinProperty() override;

  int HasObject() const override;
  void SetObject(void* object) override;
  /// 0: an operator is evaluated per handle, never over a collection (intended).
  int GetValue(SCC_StdCollection* collection, SCC_Variant& value) override;
  int GetValue(int handle, SCC_Variant& value) override;
  int SetValue(SCC_StdCollection* collection, const SCC_Variant& value, int flag) override;
  int SetValue(int handle, const SCC_Variant& value, int flag) override;
  int HasSetMethod() const override;
  SCC_StdProperty* GetDataSource() override;
  const char* GetValidation() override;
  void SetValidation(const char* validation) override;
  SCC_SharedPointer<SCC_Convertor> GetConvertor() override;
  SCC_StdProperty* SetConvertor(SCC_SharedPointer<SCC_Convertor> convertor) override;
  SCC_Notifier* GetPropEvent() override;
  void AddDataSource(SCC_StdProperty* source) override;
  void RemoveDataSource() override;

  const SCC_SharedPointer<SCC_StdProperty>& GetLeft() const { return m_left; }
  const SCC_SharedPointer<SCC_StdProperty>& GetRight() const { return m_right; }

 private:
  SCC_SharedPointer<SCC_StdProperty> m_left;
  SCC_SharedPointer<SCC_StdProperty> m_right;
};

/// Left and right: when left reads a value that is exactly 1 as an int, the result is
/// right's; otherwise it is left's own result and value. Only 1 counts as true here,
/// unlike Or, by design. A failed left read is returned as it is. The int conversion may
/// throw SYS_Exception for numbers beyond the range of a 32-bit long.
class BRIX_API SCC_AndProperty : public SCC_BinProperty {
 public:
  using SCC_BinProperty::SCC_BinProperty;
  SCC_AndProperty(SCC_AndProperty& other) : SCC_BinProperty(other) {}
  SCC_AndProperty& operator=(SCC_AndProperty& other) {
    SCC_BinProperty::operator=(other);
    return *this;
  }
  ~SCC_AndProperty() override;

  using SCC_BinProperty::GetValue;
  int GetValue(int handle, SCC_Variant& value) override;
};

/// Left or right: when left reads a nonzero int, the result is left's; otherwise right's.
class BRIX_API SCC_OrProperty : public SCC_BinProperty {
 public:
  using SCC_BinProperty::SCC_BinProperty;
  SCC_OrProperty(SCC_OrProperty& other) : SCC_BinProperty(other) {}
  SCC_OrProperty& operator=(SCC_OrProperty& other) {
    SCC_BinProperty::operator=(other);
    return *this;
  }
  ~SCC_OrProperty() override;

  using SCC_BinProperty::GetValue;
  int GetValue(int handle, SCC_Variant& value) override;
};

/// Not target: the long 1 when the target's value is 0 as an int, else the long 0. Over
/// a collection it forwards to the target like every indirect property.
class BRIX_API SCC_NotProperty : public SCC_IndProperty {
 public:
  explicit SCC_NotProperty(const SCC_SharedPointer<SCC_StdProperty>& target)
      : SCC_IndProperty(target) {}
  SCC_NotProperty(SCC_NotProperty& other) : SCC_IndProperty(other) {}
  SCC_NotProperty& operator=(SCC_NotProperty& other) {
    SCC_IndProperty::operator=(other);
    return *this;
  }
  ~SCC_NotProperty() override;

  using SCC_IndProperty::GetValue;
  int GetValue(int handle, SCC_Variant& value) override;
};

/// Target equals comparand: the long 1 when the target's value equals the comparand
/// (SCC_Variant::operator==), else the long 0.
class BRIX_API SCC_EqualProperty : public SCC_IndProperty {
 public:
  SCC_EqualProperty(const SCC_SharedPointer<SCC_StdProperty>& target, const SCC_Variant& comparand)
      : SCC_IndProperty(target), m_comparand(comparand) {}
  SCC_EqualProperty(SCC_EqualProperty& other)
      : SCC_IndProperty(other), m_comparand(other.m_comparand) {}
  SCC_EqualProperty& operator=(SCC_EqualProperty& other) {
    SCC_IndProperty::operator=(other);
    m_comparand = other.m_comparand;
    return *this;
  }
  ~SCC_EqualProperty() override;

  using SCC_IndProperty::GetValue;
  int GetValue(int handle, SCC_Variant& value) override;

  const SCC_Variant& GetComparand() const { return m_comparand; }

 private:
  SCC_Variant m_comparand;
};

/// Target differs from comparand: an indirect property whose target is
/// Not(Equal(target, comparand)).
class BRIX_API SCC_NotEqualProperty : public SCC_IndProperty {
 public:
  SCC_NotEqualProperty(const SCC_SharedPointer<SCC_StdProperty>& target,
                       const SCC_Variant& comparand);
  SCC_NotEqualProperty(SCC_NotEqualProperty& other) : SCC_IndProperty(other) {}
  SCC_NotEqualProperty& operator=(SCC_NotEqualProperty& other) {
    SCC_IndProperty::operator=(other);
    return *this;
  }
  ~SCC_NotEqualProperty() override;
};
