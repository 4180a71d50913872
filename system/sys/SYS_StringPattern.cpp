// SYS_StringPattern.cpp - the wildcard matcher behind SYS_String::Match and SYS_StrPattern.
#include <cstring>

#include "sysstring.h"

namespace brixsys_internal {
enum class MbMode { Single, Utf8, Other };
MbMode CurrentMbMode() noexcept;
std::size_t MbCharLen(const char* p, std::size_t avail, MbMode mode) noexcept;
}  // namespace brixsys_internal

using brixsys_internal::MbCharLen;
using brixsys_internal::MbMode;

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// One character of the text or the pattern: its bytes.
struct Char {
  const char* p;
  std::size_t n;
};

// Length of the character at `p`; single bytes are settled without a call.
inline std::size_t CharLen(const char* p, std::size_t avail, MbMode mode) {
  return mode == MbMode::Single || static_cast<unsigned char>(*p) < 0x80
             ? 1
             : MbCharLen(p, avail, mode);
}

// Multibyte characters order by their bytes (unsigned), which is code point order in UTF-8.
int CompareChars(Char a, Char b) {
  if (a.n == 1 && b.n == 1)
    return static_cast<int>(static_cast<unsigned char>(*a.p)) -
           static_cast<int>(static_cast<unsigned char>(*b.p));
  const int bytes = std::memcmp(a.p, b.p, a.n < b.n ? a.n : b.n);
  if (bytes != 0) return bytes;
  return a.n == b.n ? 0 : (a.n < b.n ? -1 : 1);
}

// Reads a class element at `q` (an escape takes the next character literally).
// Returns false with `*error` = -1 when an escape has nothing after it.
bool ReadElement(const char* pat, std::size_t m, std::size_t& q, Char& out, MbMode mode,
                 int* error) {
  if (pat[q] == '\\') {
    if (q + 1 >= m) {
      *error = -1;
      return false;
    }
    ++q;
  }
  out = {pat + q, CharLen(pat + q, m - q, mode)};
  q += out.n;
  return true;
}

// Parses the class whose "[" is at `open`. Returns the position after its "]", or
// kNone with `*error` set (-1 to -4) when it is malformed. When `c` is given,
// `*matched` says whether the class accepts that character. Never reads past `m`.
std::size_t ParseClass(const char* pat, std::size_t m, std::size_t open, const Char* c,
                       bool* matched, MbMode mode, int* error) {
  std::size_t q = open + 1;
  bool negate = false;
  if (q < m && (pat[q] == '!' || pat[q] == '^')) {
    negate = true;
    ++q;
  }
  if (q < m && pat[q] == ']') {
    *error = -4;
    return kNone;
  }
  bool hit = false;
  for (;;) {
    if (q >= m) {
      *error = -3;
      return kNone;
    }
    if (pat[q] == ']') break;
    Char low;
    if (!ReadElement(pat, m, q, low, mode, error)) return kNone;
    if (q < m && pat[q] == '-') {
      if (q + 1 >= m || pat[q + 1] == ']') {
        *error = -2;
        return kNone;
      }
      ++q;
      Char high;
      if (!ReadElement(pat, m, q, high, mode, error)) return kNone;
      if (c && CompareChars(low, *c) <= 0 && CompareChars(*c, high) <= 0) hit = true;
    } else if (c && CompareChars(low, *c) == 0) {
      hit = true;
    }
  }
  if (matched) *matched = hit != negate;
  return q + 1;
}

// Whether the pattern token at `pi` (not a "*") accepts the text character `c`;
// `*next` receives the position of the following token.
bool TokenMatches(const char* pat, std::size_t m, std::size_t pi, Char c, MbMode mode,
                  std::size_t* next) {
  switch (pat[pi]) {
    case '?':
      *next = pi + 1;
      return true;
    case '[': {
      bool matched = false;
      int error = 0;
      const std::size_t end = ParseClass(pat, m, pi, &c, &matched, mode, &error);
      if (end == kNone) return false;  // a malformed class accepts nothing
      *next = end;
      return matched;
    }
    case '\\':
      if (pi + 1 < m) ++pi;  // a lone "\" at the very end stands for itself
      [[fallthrough]];
    default: {
      const Char literal{pat + pi, CharLen(pat + pi, m - pi, mode)};
      *next = pi + literal.n;
      return CompareChars(literal, c) == 0;
    }
  }
}

// Greedy matching with one backtrack point (the last "*"): every other token takes
// exactly one character, so letting the last star absorb one more character is
// the only retry ever needed. Time is O(text x pattern), never exponential.
int MatchWildcard(const char* text, std::size_t n, const char* pat, std::size_t m) {
  const MbMode mode = brixsys_internal::CurrentMbMode();
  std::size_t ti = 0, pi = 0;
  std::size_t starP = kNone, starT = 0;
  while (ti < n) {
    if (pi < m) {
      if (pat[pi] == '*') {
        starP = ++pi;
        starT = ti;
        continue;
      }
      const Char c{text + ti, CharLen(text + ti, n - ti, mode)};
      std::size_t next = 0;
      if (TokenMatches(pat, m, pi, c, mode, &next)) {
        pi = next;
        ti += c.n;
        continue;
      }
    }
    if (starP == kNone) return 0;
    if (starP == m) return 1;  // a final star takes the rest
    starT += CharLen(text + starT, n - starT, mode);
    const unsigned char next = static_cast<unsigned char>(pat[starP]);
    if (starT < n && next != '?' && next != '[' && next != '\\' && next != '*' &&
        (mode == MbMode::Single || (mode == MbMode::Utf8 && next < 0x80))) {
      // The star must absorb up to the next occurrence of the plain byte after it;
      // that byte always starts a character in these code pages.
      const void* hit = std::memchr(text + starT, next, n - starT);
      if (!hit) return 0;
      starT = static_cast<std::size_t>(static_cast<const char*>(hit) - text);
    }
    ti = starT;
    pi = starP;
  }
  while (pi < m && pat[pi] == '*') ++pi;
  return pi == m ? 1 : 0;
}

}  // namespace

int SYS_String::IsPattern() const noexcept { return std::strpbrk(m_pch, "*?[") != nullptr ? 1 : 0; }

int SYS_String::IsValidPattern(int* error) const noexcept {
  const MbMode mode = brixsys_internal::CurrentMbMode();
  const char* pat = m_pch;
  const std::size_t m = static_cast<std::size_t>(GetLength());
  int code = 0;
  for (std::size_t i = 0; i < m && code == 0;) {
    if (pat[i] == '[') {
      const std::size_t end = ParseClass(pat, m, i, nullptr, nullptr, mode, &code);
      if (end == kNone) break;
      i = end;
    } else {
      if (pat[i] == '\\' && i + 1 < m) ++i;  // an escaped "[" opens no class
      i += CharLen(pat + i, m - i, mode);
    }
  }
  if (error) *error = code;
  return code == 0 ? 1 : 0;
}

int SYS_String::Match(const SYS_String& pattern) const noexcept {
  return MatchWildcard(m_pch, static_cast<std::size_t>(GetLength()), pattern.GetString(),
                       static_cast<std::size_t>(pattern.GetLength()));
}

int SYS_String::Match(const char* pattern) const noexcept {
  if (!pattern) pattern = "";
  return MatchWildcard(m_pch, static_cast<std::size_t>(GetLength()), pattern, std::strlen(pattern));
}

int SYS_StrPattern::Match(const char* text) const noexcept {
  if (!text) text = "";
  return MatchWildcard(text, std::strlen(text), m_pattern.GetString(),
                       static_cast<std::size_t>(m_pattern.GetLength()));
}
