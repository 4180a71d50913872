// SYS_StringScan.cpp - SimpleScanf, the bounded scanf-like reader behind text variants.
#include <climits>
#include <cstdarg>
#include <cstdint>

#include "sys/sysnumtext.h"
#include "sysstring.h"

namespace {

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

int DigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 99;
}

// An integer as scanned: its magnitude (saturated at UINT64_MAX) and sign.
struct ScannedInt {
  std::uint64_t magnitude = 0;
  bool negative = false;
};

// Reads an optional sign, an optional "0x" for base 16, and digits, never more than
// `limit` characters. Returns false when no digit is read.
bool ScanInteger(const char*& t, int limit, int base, ScannedInt& out) {
  const char* p = t;
  if (limit > 0 && (*p == '+' || *p == '-')) {
    out.negative = *p == '-';
    ++p;
    --limit;
  }
  if (base == 16 && limit >= 3 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X') &&
      DigitValue(p[2]) < 16) {
    p += 2;
    limit -= 2;
  }
  const char* digits = p;
  for (; limit > 0 && DigitValue(*p) < base; ++p, --limit) {
    const std::uint64_t d = static_cast<std::uint64_t>(DigitValue(*p));
    if (out.magnitude > (UINT64_MAX - d) / static_cast<std::uint64_t>(base))
      out.magnitude = UINT64_MAX;
    else
      out.magnitude = out.magnitude * static_cast<std::uint64_t>(base) + d;
  }
  if (p == digits) return false;
  t = p;
  return true;
}

// The scanned value in [min, max], saturating.
long long SignedValue(const ScannedInt& v, long long min, long long max) {
  if (v.negative) {
    const std::uint64_t limit = static_cast<std::uint64_t>(-(min + 1)) + 1;
    return v.magnitude >= limit ? min : -static_cast<long long>(v.magnitude);
  }
  return v.magnitude >= static_cast<std::uint64_t>(max) ? max : static_cast<long long>(v.magnitude);
}

// Unsigned conversions negate a leading "-" modulo 2^bits, as strtoul does.
unsigned long long UnsignedValue(const ScannedInt& v, unsigned long long max) {
  const unsigned long long m = v.magnitude > max ? max : v.magnitude;
  return v.negative ? (0 - m) & max : m;
}

}  // namespace

int SimpleScanf(const char* text, const char* format, ...) {
  if (!text || !format) return 0;
  va_list args;
  va_start(args, format);
  int count = 0;
  const char* t = text;
  const char* f = format;
  while (*f) {
    if (IsBlank(*f)) {
      while (IsBlank(*t)) ++t;
      ++f;
      continue;
    }
    if (*f != '%' || f[1] == '%') {
      if (*f == '%') {
        ++f;
        while (IsBlank(*t)) ++t;
      }
      if (*t != *f) break;
      ++t;
      ++f;
      continue;
    }
    ++f;
    const bool store = *f != '*';
    if (!store) ++f;
    int width = 0;
    while (*f >= '0' && *f <= '9') {
      width = width * 10 + (*f++ - '0');
      if (width > (1 << 24)) width = 1 << 24;
    }
    bool isLong = false;
    while (*f == 'l') {
      isLong = true;
      ++f;
    }
    const char conv = *f;
    if (conv == '\0') break;
    ++f;
    const int limit = width > 0 ? width : INT_MAX;

    if (conv == 'd' || conv == 'u' || conv == 'x') {
      while (IsBlank(*t)) ++t;
      ScannedInt v;
      if (!ScanInteger(t, limit, conv == 'x' ? 16 : 10, v)) break;
      if (!store) continue;
      if (conv == 'd') {
        if (isLong)
          *va_arg(args, long*) = static_cast<long>(SignedValue(v, LONG_MIN, LONG_MAX));
        else
          *va_arg(args, int*) = static_cast<int>(SignedValue(v, INT_MIN, INT_MAX));
      } else if (isLong) {
        *va_arg(args, unsigned long*) = static_cast<unsigned long>(UnsignedValue(v, ULONG_MAX));
      } else {
        *va_arg(args, unsigned int*) = static_cast<unsigned int>(UnsignedValue(v, UINT_MAX));
      }
      ++count;
    } else if (conv == 'f' || conv == 'e' || conv == 'g' || conv == 'E' || conv == 'G') {
      while (IsBlank(*t)) ++t;
      const sys_detail::DoubleText number =
          sys_detail::ReadDouble(t, width > 0 ? static_cast<std::size_t>(width) : SIZE_MAX);
      if (number.length == 0) break;
      t += number.length;
      const double d = number.value;
      if (!store) continue;
      *va_arg(args, double*) = d;
      ++count;
    } else if (conv == 'c') {
      const int n = width > 0 ? width : 1;
      int available = 0;
      while (available < n && t[available]) ++available;
      if (available < n) break;
      if (store) {
        char* out = va_arg(args, char*);
        for (int i = 0; i < n; ++i) out[i] = t[i];
        ++count;
      }
      t += n;
    } else if (conv == 's') {
      if (width == 0) break;  // an unbounded word could overflow its buffer
      while (IsBlank(*t)) ++t;
      if (!*t) break;
      char* out = store ? va_arg(args, char*) : nullptr;
      int n = 0;
      for (; n < width && *t && !IsBlank(*t); ++n, ++t)
        if (out) out[n] = *t;
      if (out) {
        out[n] = '\0';
        ++count;
      }
    } else if (conv == 'n') {
      if (store) *va_arg(args, int*) = static_cast<int>(t - text);
    } else {
      break;
    }
  }
  va_end(args);
  return count;
}
