// sccvariant.h - SCC_Variant, the tagged value of the property framework, and its
// convertors. Texts are read with SimpleScanf (sysstring.h).
#pragma once

#include <cstdint>

#include "brixexport.h"
#include "sccevent.h"
#include "sccshared.h"
#include "sysstring.h"

class SCC_Convertor;

/// A small tagged value: a 32-bit long, a double, a string or nothing.
///
/// The tags are ordered: in mixed comparisons the larger tag (the superior type) decides
/// how both sides are compared. Conversions between the types never fail, except the one
/// to long (or int), which throws SYS_Exception "Value is out of range." for a number
/// outside the 32-bit range.
class BRIX_API SCC_Variant {
 public:
  /// The kind of value held; the numeric order is the superiority order.
  enum ValueType : std::int32_t {
    TypeLong = 1,
    TypeDouble = 2,
    TypeString = 3,
    TypeEmpty = 4,
  };

  /// Empty.
  SCC_Variant() noexcept = default;
  /// A long value.
  SCC_Variant(int value) noexcept : m_type(TypeLong), m_long(value) {}
  /// A long value; the stored long is 32 bits, so wider values wrap as a 32-bit long does.
  SCC_Variant(long value) noexcept : m_type(TypeLong), m_long(static_cast<std::int32_t>(value)) {}
  /// A double value.
  SCC_Variant(double value) noexcept : m_type(TypeDouble), m_double(value) {}
  /// A string value (a null pointer gives the empty string).
  SCC_Variant(const char* value) : m_type(TypeString), m_string(value) {}
  SCC_Variant(const SYS_String& value) noexcept : m_type(TypeString), m_string(value) {}

  SCC_Variant(const SCC_Variant& other) = default;
  SCC_Variant& operator=(const SCC_Variant& other) = default;
  SCC_Variant(SCC_Variant&& other) noexcept = default;
  SCC_Variant& operator=(SCC_Variant&& other) noexcept = default;

  /// The tag.
  ValueType GetType() const noexcept { return m_type; }
  /// True when the variant holds nothing.
  bool IsEmpty() const noexcept { return m_type == TypeEmpty; }
  /// Back to empty; the payloads are reset to 0, 0.0 and "".
  void Clear() noexcept;

  /// The value as a long: doubles and numeric texts are truncated towards zero. Throws
  /// SYS_Exception with resource text 45063 when the number lies outside
  /// [-2147483648, 2147483647] (or is not a number). Empty gives 0, as does a text that
  /// does not read as a number.
  operator long() const;
  /// The same conversion as operator long.
  operator int() const { return static_cast<int>(operator long()); }
  /// The value as a double: no range check; empty and unreadable texts give 0.0.
  operator double() const;
  /// The value as text: longs with "%d"; doubles with "%f" and then their trailing zeros
  /// trimmed, keeping the point (2.0 gives "2."); strings as they are; empty gives "".
  operator const SYS_String() const;

  /// Compares by the superior type of the two: as longs, as doubles (exactly) or as texts
  /// (case-sensitively). Two empty variants are equal; empty never equals a value.
  int operator==(const SCC_Variant& other) const {
    if (m_type == other.m_type) {  // the common case, inline
      if (m_type == TypeLong) return m_long == other.m_long;
      if (m_type == TypeDouble) return m_double == other.m_double;
    }
    return Equals(other);
  }
  int operator!=(const SCC_Variant& other) const { return !(*this == other); }

  /// Checks the value against a range or length specification and returns 1 (valid) or 0.
  ///
  /// An empty variant or an empty `spec` is valid. The value is first converted with
  /// `convertor->Convert(value, 1)` when a convertor is given. A spec of the form
  /// "[ lo , hi ]" (every token separated by blanks; "[" or "]" includes the bound, any
  /// other character excludes it) tests the value as a double; a leading "#" says the
  /// bounds are in converted units, so the message shows them converted back with
  /// direction 0. A spec that is a bare integer n is a maximum text length: the string
  /// payload must be at most n characters long (numbers have an empty string payload).
  /// A spec of neither form is valid.
  ///
  /// When the range test fails, the variant itself is replaced by the text message 45064
  /// naming the range, for the caller to show, although the function is const.
  int Validate(SYS_String spec, SCC_Convertor* convertor) const;

 protected:
  /// The larger of this variant's tag and `other`.
  ValueType GetSuperiorType(ValueType other) const noexcept {
    return other > m_type ? other : m_type;
  }

 private:
  // operator== for every pair of tags.
  int Equals(const SCC_Variant& other) const;
  // The number behind a double or a text; 0.0 for a text that does not read.
  double NumberValue() const;

  // Mutable only because Validate leaves its message in a const variant, by design.
  mutable ValueType m_type = TypeEmpty;
  mutable std::int32_t m_long = 0;
  mutable double m_double = 0.0;
  mutable SYS_String m_string;
};

/// A shared, reference-counted conversion between two representations of a value (for
/// instance internal and display units), in direction 0 or 1. The notifier part tells
/// listeners that the conversion itself has changed. The base conversion is the identity.
///
/// Convertors are created on the heap and owned through SCC_SharedPointer. Copying one
/// moves its listeners to the copy, as copying an event does.
class BRIX_API SCC_Convertor : public SCC_SharedBuffer, public SCC_Notifier {
 public:
  SCC_Convertor() = default;
  SCC_Convertor(SCC_Convertor& other) : SCC_SharedBuffer(other), SCC_Notifier(other) {}
  SCC_Convertor& operator=(SCC_Convertor& other) {
    SCC_SharedBuffer::operator=(other);
    SCC_Notifier::operator=(other);
    return *this;
  }
  ~SCC_Convertor() override;

  /// `value` converted in `direction`; the base returns it unchanged.
  virtual SCC_Variant Convert(SCC_Variant value, int direction);
};

/// A convertor that forwards to an inner convertor and repeats every notification of the
/// inner convertor to its own listeners. Without an inner convertor it is the identity.
class BRIX_API SCC_IndConvertor : public SCC_Convertor {
 public:
  /// Holds one reference to `inner` and listens to it.
  explicit SCC_IndConvertor(const SCC_SharedPointer<SCC_Convertor>& inner);
  /// Wraps the same inner convertor; the source's listeners move to the copy.
  SCC_IndConvertor(SCC_IndConvertor& other);
  /// Wraps `other`'s inner convertor instead of its own; `other`'s listeners move here.
  SCC_IndConvertor& operator=(SCC_IndConvertor& other);
  ~SCC_IndConvertor() override;

  /// The inner convertor's conversion, or `value` unchanged without one.
  SCC_Variant Convert(SCC_Variant value, int direction) override;

  /// Raises (code, data) on this convertor's own listeners; returns 0.
  int OnEvent(int code, int* data);

  /// The wrapped convertor (may be null).
  const SCC_SharedPointer<SCC_Convertor>& GetInner() const noexcept { return m_inner; }

 private:
  void Attach(const SCC_SharedPointer<SCC_Convertor>& inner);

  SCC_SharedPointer<SCC_Convertor> m_inner;
  // Declared after m_inner so that it unhooks before the inner convertor can go.
  SCC_ObjectEventHook<SCC_IndConvertor, int> m_relay;
};

/// An indirect convertor that runs the wrapped conversion the other way round: direction 0
/// becomes 1 and every other direction becomes 0.
class BRIX_API SCC_RevConvertor : public SCC_IndConvertor {
 public:
  explicit SCC_RevConvertor(const SCC_SharedPointer<SCC_Convertor>& inner)
      : SCC_IndConvertor(inner) {}
  SCC_RevConvertor(SCC_RevConvertor& other) : SCC_IndConvertor(other) {}
  SCC_RevConvertor& operator=(SCC_RevConvertor& other) {
    SCC_IndConvertor::operator=(other);
    return *this;
  }
  ~SCC_RevConvertor() override;

  SCC_Variant Convert(SCC_Variant value, int direction) override;
};
