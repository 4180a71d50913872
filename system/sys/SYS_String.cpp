// SYS_String.cpp - buffer management, construction, editing, formatting and appends.
#include "sysstring.h"

#include <cctype>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "sys/sysnumtext.h"

constinit SYS_String::StaticEmpty SYS_String::s_empty = {{0, 0, 0, 0}, {0}};

namespace {

// Largest byte count a buffer may hold: header, bytes and NUL fit in an int.
constexpr int kMaxLength = INT_MAX - static_cast<int>(sizeof(std::int32_t) * 4) - 1;

int CheckedLength(long long length) {
  if (length < 0 || length > kMaxLength) throw std::bad_alloc();
  return static_cast<int>(length);
}

int Clamp(int value, int low, int high) {
  return value < low ? low : (value > high ? high : value);
}

// Capacity for a buffer of `capacity` bytes that must grow to `needed`: doubling
// while small, then by half, so that repeated appends stay amortised O(1).
int GrownCapacity(int capacity, int needed) {
  long long grown = capacity < 4096 ? 2LL * capacity : capacity + capacity / 2LL;
  if (grown < 15) grown = 15;
  if (grown > kMaxLength) grown = kMaxLength;
  return grown > needed ? static_cast<int>(grown) : needed;
}

bool IsWhite(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

}  // namespace

// ---- Buffer management --------------------------------------------------------

char* SYS_String::Allocate(int capacity) {
  void* block = std::malloc(sizeof(Rep) + static_cast<std::size_t>(capacity) + 1);
  if (!block) throw std::bad_alloc();
  Rep* rep = ::new (block) Rep;
  rep->refs.store(1, std::memory_order_relaxed);
  rep->length = 0;
  rep->capacity = capacity;
  rep->reserved = 0;
  char* data = reinterpret_cast<char*>(rep + 1);
  data[0] = '\0';
  return data;
}

void SYS_String::Free(Rep* rep) noexcept {
  rep->~Rep();
  std::free(rep);
}

char* SYS_String::Prepare(int capacity, int keep) {
  Rep* rep = GetRep();
  const bool own = rep != EmptyRep() && rep->refs.load(std::memory_order_acquire) == 1;
  if (own && rep->capacity >= capacity) return m_pch;
  if (own) {
    // Sole owner: grow in place; realloc keeps the bytes.
    void* block = std::realloc(rep, sizeof(Rep) + static_cast<std::size_t>(capacity) + 1);
    if (!block) throw std::bad_alloc();
    rep = static_cast<Rep*>(block);
    rep->capacity = capacity;
    m_pch = reinterpret_cast<char*>(rep + 1);
    return m_pch;
  }
  char* data = Allocate(capacity);
  if (keep > 0) std::memcpy(data, m_pch, static_cast<std::size_t>(keep));
  reinterpret_cast<Rep*>(data)[-1].length = keep;
  data[keep] = '\0';
  Release();
  m_pch = data;
  return data;
}

void SYS_String::SetLength(int length) noexcept {
  GetRep()->length = length;
  m_pch[length] = '\0';
}

void SYS_String::Assign(const char* text, int length) {
  if (length <= 0) {
    Empty();
    return;
  }
  Rep* rep = GetRep();
  if (rep != EmptyRep() && rep->refs.load(std::memory_order_acquire) == 1 &&
      rep->capacity >= length) {
    std::memmove(m_pch, text, static_cast<std::size_t>(length));  // text may lie in this buffer
    SetLength(length);
    return;
  }
  char* data = Allocate(length);
  std::memcpy(data, text, static_cast<std::size_t>(length));
  Release();
  m_pch = data;
  SetLength(length);
}

SYS_String& SYS_String::AppendGrow(const char* text, int length) {
  if (length <= 0) return *this;
  const int old = GetLength();
  const int needed = CheckedLength(static_cast<long long>(old) + length);
  Rep* rep = GetRep();
  // The text may be part of this very buffer, which growing can move.
  const bool inside = text >= m_pch && text <= m_pch + old;
  const std::ptrdiff_t offset = text - m_pch;
  // A first append sizes the buffer exactly; growing an existing one leaves room.
  const int capacity =
      old > 0 && rep->capacity < needed ? GrownCapacity(rep->capacity, needed) : needed;
  if (rep == EmptyRep() || rep->capacity < needed ||
      rep->refs.load(std::memory_order_acquire) != 1) {
    // Keep a reference to the old bytes while copying when the text is ours.
    SYS_String hold;
    if (inside) hold = *this;
    char* data = Prepare(capacity, old);
    const char* source = inside ? hold.m_pch + offset : text;
    std::memmove(data + old, source, static_cast<std::size_t>(length));
  } else {
    std::memmove(m_pch + old, text, static_cast<std::size_t>(length));
  }
  SetLength(needed);
  return *this;
}

void SYS_String::Empty() noexcept {
  Release();
  m_pch = EmptyData();
}

// ---- Construction and assignment ----------------------------------------------

SYS_String::SYS_String(const char* text) : m_pch(EmptyData()) {
  if (text) Assign(text, CheckedLength(static_cast<long long>(std::strlen(text))));
}

SYS_String::SYS_String(const char* text, int length) : m_pch(EmptyData()) {
  if (text && length > 0) Assign(text, length);
}

SYS_String::SYS_String(char ch, int count) : m_pch(EmptyData()) {
  if (count <= 0) return;
  char* data = Prepare(CheckedLength(count), 0);
  std::memset(data, ch, static_cast<std::size_t>(count));
  SetLength(count);
}

SYS_String::SYS_String(const unsigned char* bytes)
    : SYS_String(reinterpret_cast<const char*>(bytes)) {}

SYS_String::SYS_String(std::string_view text) : m_pch(EmptyData()) {
  Assign(text.data(), CheckedLength(static_cast<long long>(text.size())));
}

// Self-assignment shares m_pch, so the test below covers it.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
const SYS_String& SYS_String::operator=(const SYS_String& other) noexcept {
  if (m_pch != other.m_pch) {
    other.AddRef();
    Release();
    m_pch = other.m_pch;
  }
  return *this;
}

const SYS_String& SYS_String::operator=(SYS_String&& other) noexcept {
  if (this != &other) {
    Release();
    m_pch = other.m_pch;
    other.m_pch = EmptyData();
  }
  return *this;
}

const SYS_String& SYS_String::operator=(const char* text) {
  if (!text)
    Empty();
  else
    Assign(text, CheckedLength(static_cast<long long>(std::strlen(text))));
  return *this;
}

const SYS_String& SYS_String::operator=(const unsigned char* bytes) {
  return *this = reinterpret_cast<const char*>(bytes);
}

// ---- Access -------------------------------------------------------------------

void SYS_String::SetAt(int index, char ch) {
  if (index < 0 || index >= GetLength()) return;
  Prepare(GetLength(), GetLength())[index] = ch;
}

char* SYS_String::GetBuffer(int minLength) {
  const int length = GetLength();
  return Prepare(minLength > length ? CheckedLength(minLength) : length, length);
}

void SYS_String::ReleaseBuffer(int newLength) {
  if (m_pch == EmptyData()) return;
  // Without a GetBuffer before it the buffer may be shared: never change the copies.
  if (GetRep()->refs.load(std::memory_order_acquire) != 1) Prepare(GetLength(), GetLength());
  const int capacity = GetRep()->capacity;
  if (newLength < 0)
    newLength = static_cast<int>(strnlen(m_pch, static_cast<std::size_t>(capacity)));
  SetLength(newLength > capacity ? capacity : newLength);
}

char* SYS_String::GetPchData() const {
  auto* self = const_cast<SYS_String*>(this);  // unsharing does not change the value
  return self->Prepare(GetLength(), GetLength());
}

// ---- Editing ------------------------------------------------------------------

void SYS_String::TooLong() { throw std::bad_alloc(); }

void SYS_String::ReplaceBytes(int pos, int count, const char* text, int insert) {
  const int length = GetLength();
  pos = Clamp(pos, 0, length);
  count = Clamp(count, 0, length - pos);
  if (count == 0 && insert == 0) return;
  const int result = CheckedLength(static_cast<long long>(length) - count + insert);
  if (result == 0) {
    Empty();
    return;
  }
  const int tail = length - pos - count;
  Rep* rep = GetRep();
  const bool inside = text && text >= m_pch && text <= m_pch + length;
  if (!inside && rep != EmptyRep() && rep->refs.load(std::memory_order_acquire) == 1) {
    char* data =
        rep->capacity >= result ? m_pch : Prepare(GrownCapacity(rep->capacity, result), length);
    if (insert != count)
      std::memmove(data + pos + insert, data + pos + count, static_cast<std::size_t>(tail));
    if (insert) std::memcpy(data + pos, text, static_cast<std::size_t>(insert));
    SetLength(result);
    return;
  }
  SYS_String built;
  char* data = built.Prepare(result, 0);
  std::memcpy(data, m_pch, static_cast<std::size_t>(pos));
  if (insert) std::memcpy(data + pos, text, static_cast<std::size_t>(insert));
  std::memcpy(data + pos + insert, m_pch + pos + count, static_cast<std::size_t>(tail));
  built.SetLength(result);
  *this = std::move(built);
}

int SYS_String::Insert(int pos, const char* text) {
  Replace(pos, 0, text);
  return GetLength();
}

int SYS_String::Insert(int pos, char ch) {
  ReplaceBytes(pos, 0, &ch, 1);  // a NUL is inserted as a byte too
  return GetLength();
}

int SYS_String::Delete(int pos, int count) {
  if (pos < GetLength()) Replace(pos, count, nullptr);
  return GetLength();
}

SYS_String& SYS_String::TrimLeft(const char* chars) {
  const bool white = !chars || !*chars;
  const int length = GetLength();
  int first = 0;
  while (first < length &&
         (white ? IsWhite(m_pch[first]) : std::strchr(chars, m_pch[first]) && m_pch[first]))
    ++first;
  if (first > 0) Assign(m_pch + first, length - first);
  return *this;
}

SYS_String& SYS_String::TrimRight(const char* chars) {
  const bool white = !chars || !*chars;
  int last = GetLength();
  while (last > 0 && (white ? IsWhite(m_pch[last - 1])
                            : std::strchr(chars, m_pch[last - 1]) && m_pch[last - 1]))
    --last;
  if (last < GetLength()) Assign(m_pch, last);
  return *this;
}

SYS_String& SYS_String::AllTrim(const char* chars) {
  TrimLeft(chars);
  return TrimRight(chars);
}

SYS_String& SYS_String::MakeUpper() {
  const int length = GetLength();
  for (int i = 0; i < length; ++i) {
    if (m_pch[i] >= 'a' && m_pch[i] <= 'z') {
      char* data = Prepare(length, length);
      for (; i < length; ++i)
        if (data[i] >= 'a' && data[i] <= 'z') data[i] = static_cast<char>(data[i] - 'a' + 'A');
    }
  }
  return *this;
}

SYS_String& SYS_String::MakeLower() {
  const int length = GetLength();
  for (int i = 0; i < length; ++i) {
    if (m_pch[i] >= 'A' && m_pch[i] <= 'Z') {
      char* data = Prepare(length, length);
      for (; i < length; ++i)
        if (data[i] >= 'A' && data[i] <= 'Z') data[i] = static_cast<char>(data[i] - 'A' + 'a');
    }
  }
  return *this;
}

void SYS_String::Format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  FormatV(fmt, args);
  va_end(args);
}

void SYS_String::FormatV(const char* fmt, va_list args) {
  if (!fmt) {
    Empty();
    return;
  }
  // Numbers are written with "." whatever LC_NUMERIC says, as everywhere in the library.
  const sys_detail::CNumericScope numeric(fmt);
  char local[512];
  va_list copy;
  va_copy(copy, args);
  const int length = std::vsnprintf(local, sizeof local, fmt, copy);
  va_end(copy);
  if (length <= 0) {
    Empty();
    return;
  }
  if (length < static_cast<int>(sizeof local)) {
    SYS_String result(local, length);  // the arguments may point into this string
    *this = std::move(result);
    return;
  }
  SYS_String result;
  char* data = result.Prepare(CheckedLength(length), 0);
  std::vsnprintf(data, static_cast<std::size_t>(length) + 1, fmt, args);
  result.SetLength(length);
  *this = std::move(result);
}

SYS_String FormattedString(const char* fmt, ...) {
  SYS_String result;
  va_list args;
  va_start(args, fmt);
  result.FormatV(fmt, args);
  va_end(args);
  return result;
}

// ---- Substrings and comparison ------------------------------------------------

SYS_String SYS_String::Left(int count) const { return Mid(0, count); }

SYS_String SYS_String::Mid(int first) const { return Mid(first, GetLength()); }

SYS_String SYS_String::Mid(int first, int count) const {
  const int length = GetLength();
  first = Clamp(first, 0, length);
  count = Clamp(count, 0, length - first);
  if (first == 0 && count == length) return *this;
  return SYS_String(m_pch + first, count);
}

SYS_String SYS_String::Right(int count) const {
  count = Clamp(count, 0, GetLength());
  return Mid(GetLength() - count, count);
}

int SYS_String::Compare(const char* other) const noexcept {
  const int result = View().compare(ViewOf(other));
  return result < 0 ? -1 : (result > 0 ? 1 : 0);
}

int SYS_String::CompareNoCase(const char* other) const noexcept {
  const auto order = SYS_StrNoCase::CompareFolded(View(), ViewOf(other));
  return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

// ---- Appends ------------------------------------------------------------------

SYS_String& SYS_String::operator<<(const SYS_String& text) { return *this += text; }

SYS_String& SYS_String::operator+=(const SYS_String& text) {
  if (IsEmpty()) {
    *this = text;  // share instead of copying
    return *this;
  }
  return AppendBytes(text.m_pch, text.GetLength());
}

SYS_String& SYS_String::operator<<(double value) {
  // Room for the 309 integer digits of the largest double plus six decimals.
  char text[400];
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr;
  return AppendBytes(text, static_cast<int>(end - text));
}

SYS_String& SYS_String::operator<<(float value) { return *this << static_cast<double>(value); }

// ---- Concatenation ------------------------------------------------------------

SYS_String operator+(const SYS_String& a, const SYS_String& b) {
  SYS_String result(a);
  return result += b;
}

SYS_String operator+(const SYS_String& a, const char* b) {
  SYS_String result(a);
  return result += b;
}

SYS_String operator+(const char* a, const SYS_String& b) {
  SYS_String result(a);
  return result += b;
}

SYS_String operator+(const SYS_String& a, char b) {
  SYS_String result(a);
  return result += b;
}

SYS_String operator+(char a, const SYS_String& b) {
  SYS_String result(a, 1);
  return result += b;
}
