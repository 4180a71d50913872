// SYS_StringSearch.cpp - multibyte-aware searches, replacement and natural-order comparison.
#include <langinfo.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <utility>

#include "sysstring.h"

namespace brixsys_internal {

enum class MbMode { Single, Utf8, Other };

// How characters of the current LC_CTYPE code page are stepped.
MbMode CurrentMbMode() noexcept {
  if (MB_CUR_MAX == 1) return MbMode::Single;
  const char* codeset = nl_langinfo(CODESET);
  return codeset && std::strcmp(codeset, "UTF-8") == 0 ? MbMode::Utf8 : MbMode::Other;
}

// Byte length of the character at `p`, of which `avail` (at least 1) bytes may be
// read. Invalid or incomplete sequences count as one byte, so stepping always
// advances and never reads past `avail`. Bytes below 0x80 are single characters
// in every code page the C library offers as a locale.
std::size_t MbCharLen(const char* p, std::size_t avail, MbMode mode) noexcept {
  if (mode == MbMode::Single || static_cast<unsigned char>(*p) < 0x80) return 1;
  std::mbstate_t state{};
  const std::size_t n = std::mbrlen(p, avail, &state);
  return n == 0 || n > avail ? 1 : n;
}

}  // namespace brixsys_internal

using brixsys_internal::MbCharLen;
using brixsys_internal::MbMode;

namespace {

// The single-byte characters of a set, for fast membership tests. The bytes of a
// multibyte character of the set are not members on their own; NUL never is.
struct ByteSet {
  bool member[256] = {};
  ByteSet(const char* set, MbMode mode) {
    const std::size_t length = std::strlen(set);
    for (std::size_t i = 0; i < length;) {
      const std::size_t n = MbCharLen(set + i, length - i, mode);
      if (n == 1) member[static_cast<unsigned char>(set[i])] = true;
      i += n;
    }
  }
  bool Has(char c) const { return member[static_cast<unsigned char>(c)]; }
};

// Whether the character [c, c + n) of the text is one of the characters of `set`.
bool InSet(const char* c, std::size_t n, const char* set, const ByteSet& bytes, MbMode mode) {
  if (n == 1) return bytes.Has(*c);
  const std::size_t setLength = std::strlen(set);
  for (std::size_t i = 0; i < setLength;) {
    const std::size_t m = MbCharLen(set + i, setLength - i, mode);
    if (m == n && std::memcmp(set + i, c, n) == 0) return true;
    i += m;
  }
  return false;
}

// First occurrence of [sub, sub + subLength) at a character boundary reached by
// stepping from `start`; -1 when there is none.
int FindText(const char* text, int length, int start, const char* sub, std::size_t subLength,
             MbMode mode) {
  if (subLength > static_cast<std::size_t>(length - start)) return -1;
  if (mode == MbMode::Single ||
      (mode == MbMode::Utf8 && static_cast<unsigned char>(sub[0]) < 0x80)) {
    // Here a match can only begin on a character boundary: look for the first
    // byte, then compare the rest.
    const char* p = text + start;
    const char* last = text + length - subLength;  // last possible beginning
    while (p <= last) {
      p = static_cast<const char*>(std::memchr(p, sub[0], static_cast<std::size_t>(last - p) + 1));
      if (!p) return -1;
      // Needles are short: a byte loop beats a call to memcmp.
      std::size_t k = 1;
      while (k < subLength && p[k] == sub[k]) ++k;
      if (k == subLength) return static_cast<int>(p - text);
      ++p;
    }
    return -1;
  }
  for (int i = start; static_cast<std::size_t>(length - i) >= subLength;) {
    if (text[i] == sub[0] && std::memcmp(text + i, sub, subLength) == 0) return i;
    i += static_cast<int>(MbCharLen(text + i, static_cast<std::size_t>(length - i), mode));
  }
  return -1;
}

}  // namespace

int SYS_String::FindCharStepped(char ch, int start) const {
  const int length = GetLength();
  const MbMode mode = brixsys_internal::CurrentMbMode();
  // A NUL is never part of a multibyte character, nor is an ASCII byte in UTF-8.
  if (mode == MbMode::Single || ch == '\0' ||
      (mode == MbMode::Utf8 && static_cast<unsigned char>(ch) < 0x80)) {
    // The terminator takes part in the search.
    const void* hit = std::memchr(m_pch + start, ch, static_cast<std::size_t>(length - start) + 1);
    return hit ? static_cast<int>(static_cast<const char*>(hit) - m_pch) : -1;
  }
  for (int i = start; i < length;) {
    const std::size_t n = MbCharLen(m_pch + i, static_cast<std::size_t>(length - i), mode);
    if (n == 1 && m_pch[i] == ch) return i;
    i += static_cast<int>(n);
  }
  return ch == '\0' ? length : -1;
}

int SYS_String::FindBytes(const char* sub, int subLength, int start) const {
  if (subLength == 0) return start;
  return FindText(m_pch, GetLength(), start, sub, static_cast<std::size_t>(subLength),
                  brixsys_internal::CurrentMbMode());
}

int SYS_String::FindOneOf(const char* set, int start) const {
  const int length = GetLength();
  if (!set || !*set || start < 0 || start > length) return -1;
  const MbMode mode = brixsys_internal::CurrentMbMode();
  const ByteSet bytes(set, mode);
  if (mode == MbMode::Single) {
    for (int i = start; i < length; ++i)
      if (bytes.Has(m_pch[i])) return i;
    return -1;
  }
  for (int i = start; i < length;) {
    const std::size_t n = MbCharLen(m_pch + i, static_cast<std::size_t>(length - i), mode);
    if (InSet(m_pch + i, n, set, bytes, mode)) return i;
    i += static_cast<int>(n);
  }
  return -1;
}

// The reverse searches look at the text as if it ended just after `start`; they
// step over that prefix instead of writing a NUL into a buffer that copies share.

int SYS_String::ReverseFind(char ch, int start) const {
  const int length = GetLength();
  if (ch == '\0') return start == length || start == -2 ? length : -1;  // intended special case
  if (start == -2) start = length - 1;
  if (start < 0 || start >= length) return -1;
  const MbMode mode = brixsys_internal::CurrentMbMode();
  const int end = start + 1;
  if (mode == MbMode::Single || (mode == MbMode::Utf8 && static_cast<unsigned char>(ch) < 0x80)) {
    const void* hit = memrchr(m_pch, ch, static_cast<std::size_t>(end));
    return hit ? static_cast<int>(static_cast<const char*>(hit) - m_pch) : -1;
  }
  int found = -1;
  for (int i = 0; i < end;) {
    const std::size_t n = MbCharLen(m_pch + i, static_cast<std::size_t>(end - i), mode);
    if (n == 1 && m_pch[i] == ch) found = i;
    i += static_cast<int>(n);
  }
  return found;
}

int SYS_String::ReverseFindOneOf(const char* set, int start) const {
  const int length = GetLength();
  if (start == -2) start = length - 1;
  if (!set || !*set || start < 0 || start >= length) return -1;
  const MbMode mode = brixsys_internal::CurrentMbMode();
  const ByteSet bytes(set, mode);
  const int end = start + 1;
  if (mode == MbMode::Single) {
    for (int i = start; i >= 1; --i)  // by design position 0 is never reported
      if (bytes.Has(m_pch[i])) return i;
    return -1;
  }
  int found = -1;
  for (int i = 0; i < end;) {
    const std::size_t n = MbCharLen(m_pch + i, static_cast<std::size_t>(end - i), mode);
    if (i >= 1 && InSet(m_pch + i, n, set, bytes, mode)) found = i;
    i += static_cast<int>(n);
  }
  return found;
}

// The spans read the text as a C string (up to its first NUL) and step whole characters:
// a multibyte character is in the set only when the set holds that same character.
SYS_String SYS_String::SpanIncluding(const char* set) const {
  if (!set) return SYS_String();
  const MbMode mode = brixsys_internal::CurrentMbMode();
  if (mode == MbMode::Single) return Left(static_cast<int>(std::strspn(m_pch, set)));
  const ByteSet bytes(set, mode);
  const std::size_t length = std::strlen(m_pch);
  std::size_t i = 0;
  while (i < length) {
    const std::size_t n = MbCharLen(m_pch + i, length - i, mode);
    if (!InSet(m_pch + i, n, set, bytes, mode)) break;
    i += n;
  }
  return Left(static_cast<int>(i));
}

SYS_String SYS_String::SpanExcluding(const char* set) const {
  if (!set) return *this;
  const MbMode mode = brixsys_internal::CurrentMbMode();
  if (mode == MbMode::Single) return Left(static_cast<int>(std::strcspn(m_pch, set)));
  const ByteSet bytes(set, mode);
  const std::size_t length = std::strlen(m_pch);
  std::size_t i = 0;
  while (i < length) {
    const std::size_t n = MbCharLen(m_pch + i, length - i, mode);
    if (InSet(m_pch + i, n, set, bytes, mode)) break;
    i += n;
  }
  return Left(static_cast<int>(i));
}

int SYS_String::Replace(const char* old, const char* with) {
  const int length = GetLength();
  if (!old || !*old || length == 0) return 0;
  const std::size_t oldLength = std::strlen(old);
  const std::size_t withLength = with ? std::strlen(with) : 0;
  const MbMode mode = brixsys_internal::CurrentMbMode();
  int count = 0;
  for (int at = FindText(m_pch, length, 0, old, oldLength, mode); at >= 0;
       at = FindText(m_pch, length, at + static_cast<int>(oldLength), old, oldLength, mode))
    ++count;
  if (count == 0) return 0;
  const long long result =
      length + static_cast<long long>(count) * (static_cast<long long>(withLength) - oldLength);
  if (result > INT_MAX / 2) throw std::bad_alloc();
  if (result == 0) {
    Empty();
    return count;
  }
  SYS_String built;
  char* out = built.GetBuffer(static_cast<int>(result));
  int from = 0;
  for (int at = FindText(m_pch, length, 0, old, oldLength, mode); at >= 0;
       at = FindText(m_pch, length, from, old, oldLength, mode)) {
    std::memcpy(out, m_pch + from, static_cast<std::size_t>(at - from));
    out += at - from;
    // ReleaseBuffer terminates the whole string.
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result)
    if (withLength) std::memcpy(out, with, withLength);
    out += withLength;
    from = at + static_cast<int>(oldLength);
  }
  std::memcpy(out, m_pch + from, static_cast<std::size_t>(length - from));
  built.ReleaseBuffer(static_cast<int>(result));
  *this = std::move(built);
  return count;
}

int SYS_String::Replace(char old, char with) {
  if (old == with) return 0;
  const int length = GetLength();
  const MbMode mode = brixsys_internal::CurrentMbMode();
  char* data = nullptr;  // unshared on the first hit only
  int count = 0;
  for (int i = 0; i < length;) {
    const std::size_t n = MbCharLen(m_pch + i, static_cast<std::size_t>(length - i), mode);
    if (n == 1 && m_pch[i] == old) {
      if (!data) data = Prepare(length, length);
      data[i] = with;
      ++count;
    }
    i += static_cast<int>(n);
  }
  return count;
}

namespace {

// The decimal number of the digit run at `p`, saturated at INT_MAX as the C
// library's conversion of a 32-bit int does; `*end` receives the end of the run.
long long DigitRun(const char* p, const char* limit, const char** end) {
  long long value = 0;
  for (; p < limit && *p >= '0' && *p <= '9'; ++p)
    if (value < INT_MAX) value = value * 10 + (*p - '0');
  *end = p;
  return value < INT_MAX ? value : INT_MAX;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

int SYS_String::CompareAlNum(const char* other) const {
  const char* a = m_pch;
  const char* aEnd = m_pch + std::strlen(m_pch);
  const char* b = other ? other : "";
  const char* bEnd = b + std::strlen(b);
  const MbMode mode = brixsys_internal::CurrentMbMode();
  std::size_t na = 0, nb = 0;
  while (a < aEnd && b < bEnd) {
    if (IsDigit(*a) && IsDigit(*b)) {
      const char* aRun;
      const char* bRun;
      const long long x = DigitRun(a, aEnd, &aRun);
      const long long y = DigitRun(b, bEnd, &bRun);
      if (x != y) return x > y ? 1 : -1;
      a = aRun;
      b = bRun;
      continue;
    }
    na = MbCharLen(a, static_cast<std::size_t>(aEnd - a), mode);
    nb = MbCharLen(b, static_cast<std::size_t>(bEnd - b), mode);
    if (na != nb || std::memcmp(a, b, na) != 0) break;
    a += na;
    b += nb;
  }
  // By design "$" sorts after everything, even after the end of the other text.
  if (*a == '$' && *b != '$') return 1;
  if (*b == '$' && *a != '$') return -1;
  na = a < aEnd ? MbCharLen(a, static_cast<std::size_t>(aEnd - a), mode) : 0;
  nb = b < bEnd ? MbCharLen(b, static_cast<std::size_t>(bEnd - b), mode) : 0;
  const std::size_t n = na < nb ? na : nb;
  const int bytes = std::memcmp(a, b, n);
  if (bytes != 0) return bytes > 0 ? 1 : -1;
  return na == nb ? 0 : (na > nb ? 1 : -1);
}
