// SYS_NumberText.cpp - the one rule for numbers in text: ReadDouble, ReadInteger, the
// C-numeric scope for printf-style formatting, and the free helpers isinteger and getdouble.
#include <langinfo.h>

#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>

#include "sys/sysnumtext.h"
#include "sysstring.h"

namespace sys_detail {

namespace {

// Decimal exponents are counted with saturation far beyond any double's.
constexpr long kExponentCap = 100000;

}  // namespace

DoubleText ReadDouble(const char* text, std::size_t limit) noexcept {
  DoubleText out;
  std::size_t i = 0;
  auto at = [&](std::size_t k) { return k < limit ? text[k] : '\0'; };
  const bool negative = at(0) == '-';
  if (at(0) == '+' || negative) ++i;
  const std::size_t numberStart = i;

  // The order of magnitude of the first significant digit, to tell an overflow from an
  // underflow when the value is out of range: 10^magnitude <= |value| < 10^(magnitude+1).
  long magnitude = 0;
  bool significant = false;
  std::size_t digits = 0;
  for (; IsDigit(at(i)); ++i, ++digits) {
    if (significant) {
      if (magnitude < kExponentCap) ++magnitude;
    } else if (at(i) != '0') {
      significant = true;
    }
  }
  if (at(i) == '.') {
    ++i;
    long zeros = 0;
    for (; IsDigit(at(i)); ++i, ++digits) {
      if (significant) continue;
      if (at(i) != '0') {
        significant = true;
        magnitude = -zeros - 1;
      } else if (zeros < kExponentCap) {
        ++zeros;
      }
    }
  }
  if (digits == 0) return out;  // ".", "-", "inf", "nan" and empty texts read nothing
  if ((at(i) == 'e' || at(i) == 'E')) {
    std::size_t k = i + 1;
    const bool negativeExponent = at(k) == '-';
    if (at(k) == '+' || negativeExponent) ++k;
    if (IsDigit(at(k))) {
      long exponent = 0;
      for (; IsDigit(at(k)); ++k)
        if (exponent < kExponentCap) exponent = exponent * 10 + (at(k) - '0');
      magnitude += negativeExponent ? -exponent : exponent;
      i = k;
    }
  }
  out.length = i;
  // from_chars takes no "+"; the span is known to be a complete decimal number.
  const char* first = text + (negative ? 0 : numberStart);
  const auto result = std::from_chars(first, text + i, out.value, std::chars_format::general);
  if (result.ec == std::errc::result_out_of_range) {
    out.outOfRange = true;
    out.value = magnitude >= 0 ? HUGE_VAL : 0.0;
    if (negative) out.value = -out.value;
  } else if (result.ec != std::errc() || result.ptr != text + i) {
    return DoubleText();  // cannot happen for a checked span; read nothing rather than guess
  } else if (out.value == 0.0 && significant) {
    out.outOfRange = true;  // too small: strtod's underflow
  }
  return out;
}

IntegerText ReadInteger(const char* text) noexcept {
  IntegerText out;
  std::size_t i = 0;
  out.negative = text[0] == '-';
  if (text[0] == '+' || out.negative) ++i;
  const std::size_t start = i;
  while (IsDigit(text[i])) ++i;
  if (i == start) return IntegerText();
  const auto result = std::from_chars(text + start, text + i, out.magnitude);
  if (result.ec == std::errc::result_out_of_range) {
    out.magnitude = UINT64_MAX;
    out.overflow = true;
  }
  out.length = i;
  return out;
}

namespace {

// Whether printf would consult LC_NUMERIC for `format`: a floating conversion uses the
// decimal point, the "'" flag the grouping.
bool UsesNumericLocale(const char* format) {
  for (const char* p = std::strchr(format, '%'); p; p = std::strchr(p, '%')) {
    ++p;
    if (*p == '%') {
      ++p;
      continue;
    }
    while (*p && std::strchr("-+ #0'123456789.*$hlLqjzt", *p)) {
      if (*p == '\'') return true;
      ++p;
    }
    if (*p && std::strchr("aAeEfFgG", *p)) return true;
  }
  return false;
}

bool NumericLocaleIsPlain() {
  const char* radix = nl_langinfo(RADIXCHAR);
  const char* separator = nl_langinfo(THOUSEP);
  return radix && std::strcmp(radix, ".") == 0 && separator && *separator == '\0';
}

}  // namespace

CNumericScope::CNumericScope(const char* format) {
  if (!format || !UsesNumericLocale(format) || NumericLocaleIsPlain()) return;
  const locale_t current = duplocale(uselocale(static_cast<locale_t>(nullptr)));
  if (!current) return;
  m_numeric = newlocale(LC_NUMERIC_MASK, "C", current);
  if (!m_numeric) {
    freelocale(current);  // newlocale frees its base only when it succeeds
    return;
  }
  m_previous = uselocale(m_numeric);
}

CNumericScope::~CNumericScope() {
  if (!m_numeric) return;
  uselocale(m_previous);
  freelocale(m_numeric);
}

}  // namespace sys_detail

using sys_detail::SkipBlanks;

int isinteger(const char* text, long* value) {
  if (!text) return 0;
  const char* p = SkipBlanks(text);
  const sys_detail::IntegerText number = sys_detail::ReadInteger(p);
  if (number.length == 0 || *SkipBlanks(p + number.length) != '\0') return 0;
  const std::uint64_t limit = number.negative ? 2147483648u : 2147483647u;
  if (number.magnitude > limit) return 0;
  if (value) {
    const long magnitude = static_cast<long>(number.magnitude);
    *value = number.negative ? -magnitude : magnitude;
  }
  return 1;
}

int getdouble(const char* text, double* value) {
  if (!text) return 0;
  const char* p = SkipBlanks(text);
  const sys_detail::DoubleText number = sys_detail::ReadDouble(p);
  if (number.length == 0 || number.outOfRange || *SkipBlanks(p + number.length) != '\0') return 0;
  if (value) *value = number.value;
  return 1;
}
