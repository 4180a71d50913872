// sysstring.h - SYS_String (copy-on-write byte string), SYS_StrNoCase, SYS_StrPattern and
// the text-number helpers isinteger, getdouble and SimpleScanf.
#pragma once

#include <atomic>
#include <charconv>
#include <climits>
#include <compare>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>

#include "brixexport.h"

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define BRIX_STRING_HAVE_SINGLE_THREADED 1
#endif

/// The library's text type: a byte string in the process's multibyte code page
/// (the `LC_CTYPE` of the C locale in force) with value semantics.
///
/// The one data member points at the bytes of a reference-counted buffer (a small
/// header, the bytes and a terminating NUL in one allocation). Copies share the
/// buffer until one side writes; the count is atomic, so copies of one string may
/// be made and destroyed on different threads. The empty string never allocates.
/// Positions and lengths are byte counts as `int`; -1 is the not-found result of
/// every search. A pointer obtained from `operator const char*` stays valid until
/// the next change of this object.
class BRIX_API SYS_String {
 public:
  /// A string is one pointer to its buffer and nothing points back at the object,
  /// so arrays may move strings bytewise (and grow their blocks in place).
  using SCC_BitwiseMovable = void;

  // ---- Construction and assignment --------------------------------------------

  /// The empty string (no allocation).
  SYS_String() noexcept : m_pch(EmptyData()) {}
  /// Shares `other`'s buffer.
  SYS_String(const SYS_String& other) noexcept : m_pch(other.m_pch) { AddRef(); }
  SYS_String(SYS_String&& other) noexcept : m_pch(other.m_pch) { other.m_pch = EmptyData(); }
  /// Copy of the NUL-terminated `text`; a null pointer gives the empty string.
  SYS_String(const char* text);
  /// The first `length` bytes of `text` (embedded NULs included); empty when
  /// `text` is null or `length` is not positive.
  SYS_String(const char* text, int length);
  /// `ch` repeated `count` times (empty for a count below 1).
  SYS_String(char ch, int count);
  /// NUL-terminated UTF-16 text converted to the current code page; characters
  /// the code page cannot represent become "?".
  SYS_String(const unsigned short* wide);
  /// The bytes taken as characters, unconverted.
  SYS_String(const unsigned char* bytes);
  /// Copy of the bytes of `text`.
  explicit SYS_String(std::string_view text);
  ~SYS_String() { Release(); }

  const SYS_String& operator=(const SYS_String& other) noexcept;
  const SYS_String& operator=(SYS_String&& other) noexcept;
  const SYS_String& operator=(const char* text);
  const SYS_String& operator=(const unsigned short* wide);
  const SYS_String& operator=(const unsigned char* bytes);

  // ---- Access -----------------------------------------------------------------

  /// The NUL-terminated bytes.
  operator const char*() const noexcept { return m_pch; }
  const char* GetString() const noexcept { return m_pch; }
  std::string_view View() const noexcept {
    return std::string_view(m_pch, static_cast<std::size_t>(GetRep()->length));
  }
  /// Length in bytes.
  int GetLength() const noexcept { return GetRep()->length; }
  /// 1 when the string holds no byte, else 0.
  int IsEmpty() const noexcept { return GetRep()->length == 0; }
  /// Makes the string empty and lets go of its buffer.
  void Empty() noexcept;
  /// The byte at `index`; '\0' for an index outside 0 to length - 1.
  char GetAt(int index) const noexcept {
    return index >= 0 && index < GetLength() ? m_pch[index] : '\0';
  }
  char operator[](int index) const noexcept { return GetAt(index); }
  /// Sets the byte at `index`; an index outside 0 to length - 1 is ignored.
  void SetAt(int index, char ch);
  /// A writable buffer of at least `minLength` bytes plus a NUL, holding the
  /// current text; call ReleaseBuffer before any other member.
  char* GetBuffer(int minLength);
  /// Ends GetBuffer: the new length is `newLength`, or the position of the first
  /// NUL when it is negative (clamped to the buffer's capacity).
  void ReleaseBuffer(int newLength = -1);

  // ---- Editing ----------------------------------------------------------------

  /// Deletes `count` bytes at `pos` and inserts `text` there. A negative `pos` is
  /// 0 and a `pos` past the end appends; a negative `count` deletes nothing and a
  /// `count` reaching past the end deletes to the end; a null `text` inserts nothing.
  void Replace(int pos, int count, const char* text) {
    const int length = text ? LengthOf(text) : 0;
    // Overwriting a range of a private buffer with as many bytes moves nothing else.
    Rep* const rep = GetRep();
    if (length == count && count > 0 && pos >= 0 && count <= rep->length - pos &&
        rep->refs.load(std::memory_order_acquire) == 1) {
      std::memmove(m_pch + pos, text, static_cast<std::size_t>(count));  // text may be inside
      return;
    }
    ReplaceBytes(pos, count, text, length);
  }
  /// Replaces every occurrence of `old` (left to right, not overlapping) by
  /// `with`; returns the number replaced. A null or empty `old` replaces nothing.
  int Replace(const char* old, const char* with);
  /// Replaces every single-byte character `old` by `with`; returns the number.
  int Replace(char old, char with);
  /// Strips every leading, then every trailing byte that occurs in `chars`; with
  /// an empty (or null) `chars`, strips white space (C `isspace`) instead.
  SYS_String& AllTrim(const char* chars);
  /// Strips leading bytes in `chars` (white space when null or empty).
  SYS_String& TrimLeft(const char* chars = nullptr);
  /// Strips trailing bytes in `chars` (white space when null or empty).
  SYS_String& TrimRight(const char* chars = nullptr);
  /// Inserts `text` before `pos` (clamped to 0 to length); returns the new length.
  int Insert(int pos, const char* text);
  int Insert(int pos, char ch);
  /// Deletes up to `count` bytes at `pos` (clamped as Replace); returns the new length.
  int Delete(int pos, int count = 1);
  /// ASCII letters only; other bytes are left alone.
  SYS_String& MakeUpper();
  SYS_String& MakeLower();
  /// Replaces the value with the printf-style formatted text.
  void Format(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void FormatV(const char* fmt, va_list args);

  // ---- Substrings -------------------------------------------------------------

  /// The first `count` bytes (clamped to 0 to length).
  SYS_String Left(int count) const;
  /// The bytes from `first` to the end (`first` clamped to 0 to length).
  SYS_String Mid(int first) const;
  /// Up to `count` bytes from `first` (both clamped).
  SYS_String Mid(int first, int count) const;
  /// The last `count` bytes (clamped to 0 to length).
  SYS_String Right(int count) const;

  // ---- Searching (each returns a byte position or -1) ---------------------------

  /// First single-byte character `ch` at or after `start` (0 to length). A NUL is
  /// found at the length: the terminator takes part in the search.
  int Find(char ch, int start = 0) const {
    const int length = GetLength();
    if (start < 0 || start > length) return -1;
    if (static_cast<unsigned char>(ch) >= 0x80) return FindCharStepped(ch, start);
    // The terminator takes part in the search.
    const void* hit = std::memchr(m_pch + start, ch, static_cast<std::size_t>(length - start) + 1);
    if (!hit) return -1;
    const int at = static_cast<int>(static_cast<const char*>(hit) - m_pch);
    if (IsAsciiAtBoundary(at, start)) return at;
    return FindCharStepped(ch, start);
  }
  /// First occurrence of `sub` at or after `start`; `start` must be 0 to length - 1,
  /// so nothing is ever found in an empty string.
  int Find(const char* sub, int start = 0) const {
    // By design a start at the length fails, even for an empty `sub`.
    const int length = GetLength();
    if (!sub || start < 0 || start >= length) return -1;
    const int subLength = LengthOf(sub);
    if (subLength == 0) return start;
    if (subLength > length - start) return -1;
    if (static_cast<unsigned char>(sub[0]) >= 0x80) return FindBytes(sub, subLength, start);
    // Look for the first byte, then compare the rest; the first byte match found is
    // the answer when it begins a character.
    const char* p = m_pch + start;
    const char* const last = m_pch + (length - subLength);  // last possible beginning
    for (;;) {
      p = static_cast<const char*>(std::memchr(p, sub[0], static_cast<std::size_t>(last - p) + 1));
      if (!p) return -1;
      int k = 1;  // needles are short: a byte loop beats a call to memcmp
      while (k < subLength && p[k] == sub[k]) ++k;
      if (k == subLength) break;
      if (p == last) return -1;
      ++p;
    }
    const int at = static_cast<int>(p - m_pch);
    return IsAsciiAtBoundary(at, start) ? at : FindBytes(sub, subLength, start);
  }
  /// First character at or after `start` (0 to length) that occurs in `set`.
  int FindOneOf(const char* set, int start = 0) const;
  /// Last `ch` at or before `start` (0 to length - 1, or -2 for the last byte).
  /// For a NUL `ch`: the length when `start` is the length or -2, else -1.
  int ReverseFind(char ch, int start = -2) const;
  /// Last character occurring in `set` at a position from 1 to `start` (0 to
  /// length - 1, or -2 for the last byte); position 0 is never reported.
  int ReverseFindOneOf(const char* set, int start = -2) const;
  /// The longest prefix made only of bytes in `set`.
  SYS_String SpanIncluding(const char* set) const;
  /// The longest prefix holding no byte of `set`.
  SYS_String SpanExcluding(const char* set) const;

  // ---- Comparison and patterns ------------------------------------------------

  /// Byte order (unsigned) against `other` (null counts as empty): <0, 0 or >0.
  int Compare(const char* other) const noexcept;
  /// As Compare with ASCII letters folded to lower case.
  int CompareNoCase(const char* other) const noexcept;
  /// Natural order: digit runs compare as numbers and "$" sorts after
  /// everything. Returns -1, 0 or 1; a null `other` counts as empty.
  int CompareAlNum(const char* other) const;
  /// 1 when the text holds any of "*", "?" or "[", else 0.
  int IsPattern() const noexcept;
  /// Checks every bracket class. Returns 1 and sets `*error` to 0 when valid,
  /// else returns 0 with -1 (escape at the end of a class), -2 (range without
  /// upper bound), -3 (class never closed) or -4 (empty class). `error` may be null.
  int IsValidPattern(int* error) const noexcept;
  /// 1 when the whole text matches the wildcard `pattern` ("*", "?", "[...]" with
  /// "!"/"^" negation and ranges, "\" escapes), else 0. Case-sensitive.
  int Match(const SYS_String& pattern) const noexcept;
  int Match(const char* pattern) const noexcept;

  // ---- Append (each returns *this) ---------------------------------------------

  SYS_String& operator<<(char ch) { return *this += ch; }
  SYS_String& operator<<(const char* text) {
    return text ? AppendBytes(text, LengthOf(text)) : *this;
  }
  SYS_String& operator<<(const SYS_String& text);
  /// Decimal, with "-" when negative.
  SYS_String& operator<<(long value) { return AppendDecimal(value); }
  SYS_String& operator<<(int value) { return AppendDecimal(value); }
  SYS_String& operator<<(unsigned long value) { return AppendDecimal(value); }
  SYS_String& operator<<(unsigned int value) { return AppendDecimal(value); }
  /// Fixed point with six decimals ("%f").
  SYS_String& operator<<(double value);
  SYS_String& operator<<(float value);

  SYS_String& operator+=(const SYS_String& text);
  SYS_String& operator+=(const char* text) {
    return text ? AppendBytes(text, LengthOf(text)) : *this;
  }
  SYS_String& operator+=(char ch) {
    // Everything is read before the first store: a char store may alias any of it.
    // The static empty buffer has no capacity, so it never takes this path. The
    // acquire pairs with the release of copies dropped on other threads.
    char* const data = m_pch;
    Rep* const rep = reinterpret_cast<Rep*>(data) - 1;
    const std::int32_t length = rep->length;
    if (length < rep->capacity && rep->refs.load(std::memory_order_acquire) == 1) {
      data[length] = ch;
      data[length + 1] = '\0';
      rep->length = length + 1;
      return *this;
    }
    return AppendGrow(&ch, 1);
  }

  // ---- Extraction: *this is left unchanged; the unconsumed rest is returned ------

  /// Parses an unsigned decimal number (strtoul rule; leading white space and a
  /// sign accepted) into `value`; returns the text after it. When nothing parses,
  /// `value` is 0 and the whole text is returned.
  SYS_String operator>>(unsigned int& value) const;
  /// Skips the leading bytes that occur in `set`; returns the rest. `set` is
  /// never written (both overloads behave the same on purpose).
  SYS_String operator>>(const char* set) const;
  SYS_String operator>>(char* set) const;
  /// Reads a possibly quoted token into `token` (emptied first): an opening quote
  /// at position 0 is skipped, a doubled quote is copied as both bytes, a single
  /// quote elsewhere ends the token. The rest starts at that closing quote (it is
  /// not consumed), or is empty when none was met.
  SYS_String operator>>(SYS_String& token) const;

  // ---- Numeric conversion: store the parsed value in *out, the first unparsed
  // position in *end (when end is not null), and return the value. An empty or
  // non-numeric text yields 0 with *end at the start. ----------------------------

  short Value(short* out, const char** end = nullptr) const;
  int Value(int* out, const char** end = nullptr) const;
  unsigned int Value(unsigned int* out, const char** end = nullptr) const;
  long Value(long* out, const char** end = nullptr) const;
  unsigned long Value(unsigned long* out, const char** end = nullptr) const;
  float Value(float* out, const char** end = nullptr) const;
  double Value(double* out, const char** end = nullptr) const;

  // ---- Comparison operators (byte order, embedded NULs count) -------------------

  friend bool operator==(const SYS_String& a, const SYS_String& b) noexcept {
    return a.m_pch == b.m_pch || a.View() == b.View();
  }
  friend bool operator==(const SYS_String& a, const char* b) noexcept {
    return a.View() == ViewOf(b);
  }
  friend std::strong_ordering operator<=>(const SYS_String& a, const SYS_String& b) noexcept {
    return a.View() <=> b.View();
  }
  friend std::strong_ordering operator<=>(const SYS_String& a, const char* b) noexcept {
    return a.View() <=> ViewOf(b);
  }

 protected:
  /// The bytes, writable (the buffer is made private to this string first).
  /// Writes must keep the length: use GetBuffer/ReleaseBuffer to change it.
  char* GetPchData() const;

 private:
  // Header of a buffer; the bytes follow it directly.
  struct Rep {
    std::atomic<std::int32_t> refs;
    std::int32_t length;
    std::int32_t capacity;  // bytes available, not counting the NUL
    std::int32_t reserved;
  };
  struct StaticEmpty {
    Rep rep;
    char nul[8];
  };
  static_assert(sizeof(Rep) == 16);

  static StaticEmpty s_empty;

  static Rep* EmptyRep() noexcept { return &s_empty.rep; }
  static char* EmptyData() noexcept { return s_empty.nul; }
  static std::string_view ViewOf(const char* text) noexcept {
    return text ? std::string_view(text) : std::string_view();
  }
  Rep* GetRep() const noexcept { return reinterpret_cast<Rep*>(m_pch) - 1; }
  // While the process has never started a second thread, nobody else can touch
  // a count, so a plain load and store of it do; the first pthread_create
  // clears the flag before the new thread runs.
  static bool SingleThreaded() noexcept {
#ifdef BRIX_STRING_HAVE_SINGLE_THREADED
    return __libc_single_threaded != 0;
#else
    return false;
#endif
  }
  void AddRef() const noexcept {
    if (m_pch == EmptyData()) return;
    std::atomic<std::int32_t>& refs = GetRep()->refs;
    if (SingleThreaded())
      refs.store(refs.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    else
      refs.fetch_add(1, std::memory_order_relaxed);
  }
  void Release() noexcept {
    if (m_pch == EmptyData()) return;
    std::atomic<std::int32_t>& refs = GetRep()->refs;
    if (SingleThreaded()) {
      const std::int32_t left = refs.load(std::memory_order_relaxed) - 1;
      if (left == 0)
        Free(GetRep());
      else
        refs.store(left, std::memory_order_relaxed);
    } else if (refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      Free(GetRep());
    }
  }
  static void Free(Rep* rep) noexcept;
  // Helpers that inline code never calls are kept out of the export table.
  __attribute__((visibility("hidden"))) static char* Allocate(int capacity);
  // Makes the buffer private and able to hold `capacity` bytes, keeping the
  // first `keep` bytes; returns the writable bytes.
  __attribute__((visibility("hidden"))) char* Prepare(int capacity, int keep);
  // Sets the length of a private buffer and writes its NUL.
  __attribute__((visibility("hidden"))) void SetLength(int length) noexcept;
  __attribute__((visibility("hidden"))) void Assign(const char* text, int length);
  // Appends `length` bytes (which may lie inside this string's own buffer). A
  // text taken from this buffer ends at its NUL, so it never overlaps the bytes
  // written after the current end.
  SYS_String& AppendBytes(const char* text, int length) {
    char* const data = m_pch;
    Rep* const rep = reinterpret_cast<Rep*>(data) - 1;
    const std::int32_t used = rep->length;
    if (length <= rep->capacity - used && rep->refs.load(std::memory_order_acquire) == 1) {
      std::memcpy(data + used, text, static_cast<std::size_t>(length));
      data[used + length] = '\0';
      rep->length = used + length;
      return *this;
    }
    return AppendGrow(text, length);
  }
  // Appends the decimal digits of an integer, written straight into a private buffer
  // that has room for the longest.
  template <typename Integer>
  SYS_String& AppendDecimal(Integer value) {
    constexpr int kRoom = 21;  // sign and digits of any 64-bit value
    char* const data = m_pch;
    Rep* const rep = reinterpret_cast<Rep*>(data) - 1;
    const std::int32_t used = rep->length;
    if (kRoom <= rep->capacity - used && rep->refs.load(std::memory_order_acquire) == 1) {
      char* const end = std::to_chars(data + used, data + used + kRoom, value).ptr;
      *end = '\0';
      rep->length = static_cast<std::int32_t>(end - data);
      return *this;
    }
    char digits[kRoom];
    const char* const end = std::to_chars(digits, digits + kRoom, value).ptr;
    return AppendBytes(digits, static_cast<int>(end - digits));
  }
  // AppendBytes when the buffer is shared or too small.
  SYS_String& AppendGrow(const char* text, int length);
  // Whether the byte at `at`, found by a search from the character boundary `start`,
  // is a character of its own whatever the code page, so that no code-page query is
  // needed: it is below 0x80 and follows a byte below 0x80. In every code page a
  // locale can use, lead bytes are 0x80 or above, so the byte before is a character
  // or the last byte of one (the digit second byte of a four-byte GB18030 character
  // is followed by a byte of 0x81 or above, never by one below 0x80).
  bool IsAsciiAtBoundary(int at, int start) const noexcept {
    return static_cast<unsigned char>(m_pch[at]) < 0x80 &&
           (at == start || static_cast<unsigned char>(m_pch[at - 1]) < 0x80);
  }
  // Find(ch, start) stepping whole characters of the code page, `start` checked.
  int FindCharStepped(char ch, int start) const;
  // Find(sub, start) with the length of `sub` known and `start` checked.
  int FindBytes(const char* sub, int subLength, int start) const;
  // Replace(pos, count, text) with the length of `text` known.
  void ReplaceBytes(int pos, int count, const char* text, int length);
  // The length of a text, computed inline so that literals fold to constants.
  static int LengthOf(const char* text) {
    const std::size_t length = std::strlen(text);
    if (length > static_cast<std::size_t>(INT_MAX / 2)) TooLong();
    return static_cast<int>(length);
  }
  [[noreturn]] static void TooLong();

  char* m_pch;
};

static_assert(sizeof(SYS_String) == sizeof(void*));

/// Concatenations.
BRIX_API SYS_String operator+(const SYS_String& a, const SYS_String& b);
BRIX_API SYS_String operator+(const SYS_String& a, const char* b);
BRIX_API SYS_String operator+(const char* a, const SYS_String& b);
BRIX_API SYS_String operator+(const SYS_String& a, char b);
BRIX_API SYS_String operator+(char a, const SYS_String& b);

/// A new string formatted printf-style.
BRIX_API SYS_String FormattedString(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

/// Takes field `index` (from 0; zero or negative means the first) of `text` split
/// at `separator`. Returns 0 and leaves `field` alone when `text` is null; returns 0
/// with `field` emptied when `text` has fewer than `index` separators; else 1.
BRIX_API int SysExtractSubString(SYS_String& field, const char* text, int index, char separator);

// ---- Numbers in text ---------------------------------------------------------------
//
// Every reader of numbers in the library follows one rule, whatever LC_NUMERIC the host set:
// an optional sign, decimal digits with an optional "." (at least one digit), and for a
// double an optional exponent ("e" or "E", optional sign, digits). "." is the only decimal
// point and nothing groups thousands; hexadecimal numbers, "inf" and "nan" are not numbers.
// Written numbers use "." too (std::to_chars, or printf under the "C" numeric locale).

/// 1 when all of `text`, blanks around it allowed, is a decimal integer in the 32-bit range
/// (-2147483648 to 2147483647), stored in `*value` when `value` is not null; else 0 and
/// `*value` is left alone. A null text is 0.
BRIX_API int isinteger(const char* text, long* value = nullptr);

/// 1 when all of `text`, blanks around it allowed, is a decimal number that a double holds
/// (not beyond its range, nor so small that it reads as 0), stored in `*value` when `value`
/// is not null; else 0 and `*value` is left alone. A null text is 0.
BRIX_API int getdouble(const char* text, double* value);

/// Reads fields from `text` as directed by `format`, in the manner of sscanf, and returns
/// the number of fields converted and stored (0 when the first one fails, also at the end
/// of the text; a null text or format reads nothing).
///
/// Directives: white space in the format skips any white space in the text; any other
/// character must match the text; "%%" matches "%". Conversions, each with an optional
/// "*" (read but do not store or count) and a maximum field width:
///   %d (int*), %ld (long*), %u (unsigned int*), %lu (unsigned long*),
///   %x (unsigned int*), %lx (unsigned long*): integers, leading white space skipped;
///   %f %e %g %E %G, also with "l" (double*): a decimal number by the library's rule for
///   doubles (see getdouble; no hexadecimal floats, "inf" or "nan"). Unlike sscanf, "%f"
///   stores a double, never a float;
///   %c (char*): one character, or exactly `width` characters, no white space skipped;
///   %s (char*): a word of non-blank characters. It must carry a width (the buffer holds
///   width + 1 bytes); a "%s" without width stops the scan there, so no buffer can overflow;
///   %n (int*): the number of characters consumed so far, not counted.
/// Any other conversion stops the scan. Integers beyond their type saturate; a double beyond
/// the range of a double reads as +-HUGE_VAL (or +-0 when too small). "." is the decimal
/// point whatever the locale.
BRIX_API int SimpleScanf(const char* text, const char* format, ...);

/// Case-insensitive key over SYS_String: equality and ordering fold the ASCII
/// letters A to Z only (every other byte compares as itself), whatever the locale.
/// A comparison with at least one SYS_StrNoCase side folds case.
class BRIX_API SYS_StrNoCase : public SYS_String {
 public:
  using SYS_String::SYS_String;
  using SYS_String::operator=;
  SYS_StrNoCase() noexcept = default;
  SYS_StrNoCase(const SYS_String& text) noexcept : SYS_String(text) {}
  SYS_StrNoCase(SYS_String&& text) noexcept : SYS_String(static_cast<SYS_String&&>(text)) {}

  /// Folds A-Z to a-z and leaves every other byte alone.
  static constexpr unsigned char Fold(unsigned char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
  }
  /// Case-folded byte order of two texts.
  static std::weak_ordering CompareFolded(std::string_view a, std::string_view b) noexcept {
    const std::size_t n = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < n; ++i) {
      const unsigned char x = Fold(static_cast<unsigned char>(a[i]));
      const unsigned char y = Fold(static_cast<unsigned char>(b[i]));
      if (x != y) return x < y ? std::weak_ordering::less : std::weak_ordering::greater;
    }
    return a.size() <=> b.size();
  }

  friend bool operator==(const SYS_StrNoCase& a, const SYS_StrNoCase& b) noexcept {
    return a.GetLength() == b.GetLength() && CompareFolded(a.View(), b.View()) == 0;
  }
  friend bool operator==(const SYS_StrNoCase& a, const SYS_String& b) noexcept {
    return a.GetLength() == b.GetLength() && CompareFolded(a.View(), b.View()) == 0;
  }
  friend bool operator==(const SYS_StrNoCase& a, const char* b) noexcept {
    return CompareFolded(a.View(), b ? std::string_view(b) : std::string_view()) == 0;
  }
  friend std::weak_ordering operator<=>(const SYS_StrNoCase& a, const SYS_StrNoCase& b) noexcept {
    return CompareFolded(a.View(), b.View());
  }
  friend std::weak_ordering operator<=>(const SYS_StrNoCase& a, const SYS_String& b) noexcept {
    return CompareFolded(a.View(), b.View());
  }
  friend std::weak_ordering operator<=>(const SYS_StrNoCase& a, const char* b) noexcept {
    return CompareFolded(a.View(), b ? std::string_view(b) : std::string_view());
  }
};

static_assert(sizeof(SYS_StrNoCase) == sizeof(void*));

/// A wildcard pattern, matched with the same rules as SYS_String::Match.
class BRIX_API SYS_StrPattern {
 public:
  SYS_StrPattern() = default;
  SYS_StrPattern(const char* pattern) : m_pattern(pattern) {}
  SYS_StrPattern(const SYS_String& pattern) : m_pattern(pattern) {}

  const SYS_String& GetPattern() const noexcept { return m_pattern; }
  void SetPattern(const char* pattern) { m_pattern = pattern; }
  /// 1 when all of `text` (null counts as empty) matches the pattern, else 0.
  int Match(const char* text) const noexcept;
  /// As SYS_String::IsValidPattern on the pattern text.
  int IsValid(int* error) const noexcept { return m_pattern.IsValidPattern(error); }
  /// 1 when the pattern holds any wildcard byte.
  int IsPattern() const noexcept { return m_pattern.IsPattern(); }

 private:
  SYS_String m_pattern;
};

template <>
struct std::hash<SYS_String> {
  std::size_t operator()(const SYS_String& s) const noexcept {
    return std::hash<std::string_view>()(s.View());
  }
};

/// Hashes alike the keys that differ only in the case of A-Z (FNV-1a over folded bytes).
template <>
struct std::hash<SYS_StrNoCase> {
  std::size_t operator()(const SYS_StrNoCase& s) const noexcept {
    std::uint64_t h = 14695981039346656037ull;
    for (char c : s.View()) {
      h ^= SYS_StrNoCase::Fold(static_cast<unsigned char>(c));
      h *= 1099511628211ull;
    }
    return static_cast<std::size_t>(h);
  }
};
