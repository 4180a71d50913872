// SYS_StringConvert.cpp - UTF-16 input, numeric parsing, extraction and field splitting.
#include <iconv.h>
#include <langinfo.h>

#include <bit>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "sys/sysnumtext.h"
#include "sysstring.h"

namespace {

// ---- UTF-16 to the current code page --------------------------------------------

constexpr const char* kUtf16 = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

// One converter per thread, reopened when LC_CTYPE names another code page.
class WideConverter {
 public:
  ~WideConverter() { Close(); }

  // The converter for the current code page, reset to its initial state; or
  // (iconv_t)-1 when the system offers none.
  iconv_t Get() {
    const char* codeset = nl_langinfo(CODESET);
    if (!codeset || !*codeset) codeset = "ANSI_X3.4-1968";
    if (m_cd == kInvalid || m_codeset != codeset) {
      Close();
      m_codeset = codeset;
      m_cd = iconv_open(codeset, kUtf16);
    } else {
      iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
    }
    return m_cd;
  }

 private:
  static inline const iconv_t kInvalid = reinterpret_cast<iconv_t>(-1);
  void Close() {
    if (m_cd != kInvalid) iconv_close(m_cd);
    m_cd = kInvalid;
  }
  std::string m_codeset;
  iconv_t m_cd = kInvalid;
};

thread_local WideConverter t_converter;

bool IsHighSurrogate(unsigned short u) { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLowSurrogate(unsigned short u) { return u >= 0xDC00 && u <= 0xDFFF; }

std::string ConvertWide(const unsigned short* wide) {
  std::string out;
  if (!wide) return out;
  std::size_t units = 0;
  while (wide[units]) ++units;
  if (units == 0) return out;

  iconv_t cd = t_converter.Get();
  if (cd == reinterpret_cast<iconv_t>(-1)) {
    // No converter for this code page: keep ASCII, replace the rest.
    for (std::size_t i = 0; i < units; ++i) {
      if (IsHighSurrogate(wide[i]) && i + 1 < units && IsLowSurrogate(wide[i + 1])) ++i;
      out += wide[i] < 0x80 ? static_cast<char>(wide[i]) : '?';
    }
    return out;
  }

  out.resize(units * 4 + 16);
  std::size_t used = 0;
  std::size_t i = 0;  // next unconverted unit
  while (i < units) {
    char* in = reinterpret_cast<char*>(const_cast<unsigned short*>(wide + i));
    std::size_t inLeft = (units - i) * 2;
    char* dst = out.data() + used;
    std::size_t dstLeft = out.size() - used;
    const std::size_t rc = iconv(cd, &in, &inLeft, &dst, &dstLeft);
    const int err = errno;
    used = out.size() - dstLeft;
    i = units - inLeft / 2;
    if (rc != static_cast<std::size_t>(-1)) break;
    if (err == E2BIG) {
      out.resize(out.size() * 2);
      continue;
    }
    // Unrepresentable or malformed (EILSEQ, EINVAL): one "?" per character.
    if (used + 1 > out.size()) out.resize(out.size() * 2);
    out[used++] = '?';
    i += IsHighSurrogate(wide[i]) && i + 1 < units && IsLowSurrogate(wide[i + 1]) ? 2 : 1;
    if (err != EILSEQ && err != EINVAL) break;
  }
  for (;;) {  // a stateful code page may need a closing shift sequence
    char* dst = out.data() + used;
    std::size_t dstLeft = out.size() - used;
    const std::size_t rc = iconv(cd, nullptr, nullptr, &dst, &dstLeft);
    used = out.size() - dstLeft;
    if (rc != static_cast<std::size_t>(-1) || errno != E2BIG) break;
    out.resize(out.size() * 2);
  }
  out.resize(used);
  return out;
}

// ---- Numbers --------------------------------------------------------------------
//
// The C library's rules (leading blanks and a sign, saturation, strtoul's negation) on the
// library's locale-independent readers. No error is reported by design, not even in errno.

long ParseLong(const char* text, const char** end) {
  const char* p = sys_detail::SkipBlanks(text);
  const sys_detail::IntegerText number = sys_detail::ReadInteger(p);
  *end = number.length ? p + number.length : text;
  const std::uint64_t limit = number.negative ? std::uint64_t{LONG_MAX} + 1 : LONG_MAX;
  if (number.magnitude >= limit) return number.negative ? LONG_MIN : LONG_MAX;
  const long magnitude = static_cast<long>(number.magnitude);
  return number.negative ? -magnitude : magnitude;
}

// strtol as a C library with a 32-bit long does it: saturated at the int range.
int ParseInt32(const char* text, const char** end) {
  const long value = ParseLong(text, end);
  return value > INT_MAX ? INT_MAX : (value < INT_MIN ? INT_MIN : static_cast<int>(value));
}

unsigned long ParseULong(const char* text, const char** end, bool* overflow) {
  const char* p = sys_detail::SkipBlanks(text);
  const sys_detail::IntegerText number = sys_detail::ReadInteger(p);
  *end = number.length ? p + number.length : text;
  *overflow = number.overflow || number.magnitude > ULONG_MAX;
  if (*overflow) return ULONG_MAX;
  const unsigned long magnitude = static_cast<unsigned long>(number.magnitude);
  return number.negative ? 0ul - magnitude : magnitude;  // strtoul negates a "-" number
}

// strtoul as a C library with a 32-bit unsigned long does it: a magnitude beyond
// 32 bits gives the maximum, and a minus sign negates modulo 2^32.
unsigned int ParseUInt32(const char* text, const char** end) {
  bool overflow = false;
  const unsigned long value = ParseULong(text, end, &overflow);
  if (overflow) return UINT_MAX;
  const char* p = sys_detail::SkipBlanks(text);
  const unsigned long magnitude = *p == '-' ? 0ul - value : value;
  return magnitude > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(value);
}

double ParseDouble(const char* text, const char** end) {
  const char* p = sys_detail::SkipBlanks(text);
  const sys_detail::DoubleText number = sys_detail::ReadDouble(p);
  *end = number.length ? p + number.length : text;
  return number.value;
}

template <typename T>
T Store(T value, T* out, const char* stop, const char** end) {
  if (out) *out = value;
  if (end) *end = stop;
  return value;
}

}  // namespace

// ---- Wide construction ------------------------------------------------------------

SYS_String::SYS_String(const unsigned short* wide) : m_pch(EmptyData()) {
  const std::string text = ConvertWide(wide);
  Assign(text.data(), static_cast<int>(text.size()));
}

const SYS_String& SYS_String::operator=(const unsigned short* wide) {
  SYS_String converted(wide);
  return *this = std::move(converted);
}

// ---- Numeric conversion -----------------------------------------------------------

short SYS_String::Value(short* out, const char** end) const {
  const char* stop;
  const int value = ParseInt32(m_pch, &stop);
  return Store(static_cast<short>(value), out, stop, end);  // narrowed to 16 bits as designed
}

int SYS_String::Value(int* out, const char** end) const {
  const char* stop;
  const int value = ParseInt32(m_pch, &stop);
  return Store(value, out, stop, end);
}

unsigned int SYS_String::Value(unsigned int* out, const char** end) const {
  const char* stop;
  const unsigned int value = ParseUInt32(m_pch, &stop);
  return Store(value, out, stop, end);
}

long SYS_String::Value(long* out, const char** end) const {
  const char* stop;
  const long value = ParseLong(m_pch, &stop);
  return Store(value, out, stop, end);
}

unsigned long SYS_String::Value(unsigned long* out, const char** end) const {
  const char* stop;
  bool overflow = false;
  const unsigned long value = ParseULong(m_pch, &stop, &overflow);
  return Store(value, out, stop, end);
}

float SYS_String::Value(float* out, const char** end) const {
  const char* stop;
  const double value = ParseDouble(m_pch, &stop);
  return Store(static_cast<float>(value), out, stop, end);
}

double SYS_String::Value(double* out, const char** end) const {
  const char* stop;
  const double value = ParseDouble(m_pch, &stop);
  return Store(value, out, stop, end);
}

// ---- Extraction -------------------------------------------------------------------

SYS_String SYS_String::operator>>(unsigned int& value) const {
  const char* stop;
  const unsigned int parsed = ParseUInt32(m_pch, &stop);
  if (stop == m_pch) {
    value = 0;
    return *this;
  }
  value = parsed;
  return Mid(static_cast<int>(stop - m_pch));
}

SYS_String SYS_String::operator>>(const char* set) const {
  if (!set) return *this;
  int i = 0;
  // strchr would find the terminator of `set` for a NUL byte; a NUL never matches.
  while (m_pch[i] && std::strchr(set, m_pch[i])) ++i;
  return Mid(i);
}

SYS_String SYS_String::operator>>(char* set) const {
  return *this >> static_cast<const char*>(set);  // the same on purpose
}

SYS_String SYS_String::operator>>(SYS_String& token) const {
  const SYS_String source(*this);  // `token` may be this very string
  const char* text = source.m_pch;
  const int length = source.GetLength();
  token.Empty();
  char* out = token.GetBuffer(length);
  int used = 0;
  int i = 0;
  for (; i < length; ++i) {
    if (text[i] != '"') {
      out[used++] = text[i];
    } else if (i + 1 < length && text[i + 1] == '"') {
      out[used++] = '"';  // intended: a doubled quote keeps both bytes
      out[used++] = '"';
      ++i;
    } else if (i != 0) {
      break;  // the closing quote stays in the rest, as designed
    }
  }
  token.ReleaseBuffer(used);
  if (used == 0) token.Empty();
  return i < length ? source.Mid(i) : SYS_String();
}

// ---- Fields -----------------------------------------------------------------------

int SysExtractSubString(SYS_String& field, const char* text, int index, char separator) {
  if (!text) return 0;
  const char* end = text + std::strlen(text);
  const char* start = text;
  for (int k = 0; k < index; ++k) {
    const void* hit = separator ? std::memchr(start, separator, end - start) : nullptr;
    if (!hit) {
      field.Empty();
      return 0;
    }
    start = static_cast<const char*>(hit) + 1;
  }
  const void* hit = separator ? std::memchr(start, separator, end - start) : nullptr;
  const char* stop = hit ? static_cast<const char*>(hit) : end;
  field = SYS_String(start, static_cast<int>(stop - start));
  return 1;
}
