// SCC_Variant.cpp - conversions and equality of SCC_Variant.
#include <charconv>
#include <string>

#include "sccvariant.h"
#include "sfmmsgdb.h"
#include "ssm.h"

namespace {

constexpr int kOutOfRangeText = 45063;

// Enough for "%f" of any double: sign, 309 integer digits, point and six decimals.
constexpr int kDoubleTextSize = 330;

}  // namespace

void SCC_Variant::Clear() noexcept {
  m_long = 0;
  m_double = 0.0;
  m_string.Empty();
  m_type = TypeEmpty;
}

double SCC_Variant::NumberValue() const {
  if (m_type == TypeDouble) return m_double;
  double d = 0.0;
  if (SimpleScanf(m_string, "%f", &d) != 1) return 0.0;
  return d;
}

SCC_Variant::operator long() const {
  double d;
  switch (m_type) {
    case TypeLong:
      return m_long;
    case TypeDouble:
    case TypeString:
      d = NumberValue();
      break;
    default:
      return 0;
  }
  // Written so that NaN fails the test as well: it has no long value either.
  if (!(d <= 2147483647.0 && d >= -2147483648.0))
    throw SYS_Exception("%s", TR(kOutOfRangeText).GetString());
  return static_cast<long>(d);
}

SCC_Variant::operator double() const {
  switch (m_type) {
    case TypeLong:
      return m_long;
    case TypeDouble:
    case TypeString:
      return NumberValue();
    default:
      return 0.0;
  }
}

SCC_Variant::operator const SYS_String() const {
  switch (m_type) {
    case TypeLong: {
      char buf[16];
      const auto res = std::to_chars(buf, buf + sizeof buf, m_long);
      return SYS_String(buf, static_cast<int>(res.ptr - buf));
    }
    case TypeDouble: {
      // "%f" with "." whatever the locale; inf and nan read as printf writes them.
      char buf[kDoubleTextSize];
      const auto res =
          std::to_chars(buf, buf + sizeof buf, m_double, std::chars_format::fixed, 6);
      int n = static_cast<int>(res.ptr - buf);
      // Only zeros go, never the point: 2.0 reads "2.". Intended, since texts of variants
      // are compared as they are.
      if (std::char_traits<char>::find(buf, static_cast<std::size_t>(n), '.')) {
        while (n > 0 && buf[n - 1] == '0') --n;
      }
      return SYS_String(buf, n);
    }
    case TypeString:
      return m_string;
    default:
      return SYS_String();
  }
}

int SCC_Variant::Equals(const SCC_Variant& other) const {
  if (m_type == TypeEmpty && other.m_type == TypeEmpty) return 1;
  switch (GetSuperiorType(other.m_type)) {
    case TypeLong:
      return m_long == other.m_long;
    case TypeDouble:
      return static_cast<double>(*this) == static_cast<double>(other);
    case TypeString:
      if (m_type == TypeString && other.m_type == TypeString) return m_string == other.m_string;
      return static_cast<const SYS_String>(*this) == static_cast<const SYS_String>(other);
    default:
      return 0;
  }
}
