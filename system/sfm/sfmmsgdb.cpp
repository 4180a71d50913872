// sfmmsgdb.cpp - SFM_MessageDB: indexing a message file and reading its texts by key.
#include "sfmmsgdb.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/fs_posix.h"
#include "sfmfile.h"

namespace {

// White space as the C locale defines it; the file format must not depend on the
// host's locale.
inline bool IsSpace(unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The C runtime's decimal conversion of a 32-bit long: optional sign, digits,
// saturating at the 32-bit limits. Leading white space cannot occur here because
// such lines are rejected before.
int32_t ParseNumber(const char* p, const char* end) {
  bool negative = false;
  if (p < end && (*p == '+' || *p == '-')) negative = *p++ == '-';
  int64_t value = 0;
  for (; p < end && *p >= '0' && *p <= '9'; ++p) {
    value = value * 10 + (*p - '0');
    if (value > int64_t(INT32_MAX) + 1) value = int64_t(INT32_MAX) + 1;
  }
  if (negative) return int32_t(-value);
  return int32_t(std::min<int64_t>(value, INT32_MAX));
}

// Keys are 32-bit and wrap like 32-bit long arithmetic; computed unsigned so
// that a file with huge numbers cannot overflow a signed type.
inline int32_t AddKey(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }

// Section names compare as the library's case-insensitive keys do (A-Z folded,
// whatever the locale).
inline bool EqualNoCase(const SYS_String& a, const SYS_String& b) { return SYS_StrNoCase(a) == b; }

}  // namespace

// The immutable result of indexing: every accepted record in file order and the
// sections, with two lookups from key to record: one for the message keys and one
// for the header keys. Where both know a key, the later record wins, as it would
// in a single map filled in file order.
struct SFM_MessageDB::Index {
  struct Record {
    int64_t offset;  // of the text (of the name for a section header)
    int32_t key;
    int32_t length;  // raw length, a final "$" included
  };
  static constexpr uint32_t kNone = UINT32_MAX;

  std::vector<Record> records;
  std::vector<SectionTableNode> sections;

  // Message keys are usually numbered in order, so they mostly fill a range: then a
  // direct table over the range, written sequentially, beats any hash table. Sparse
  // keys get an open-addressing table with linear probing.
  int32_t denseFirst = 0;
  std::vector<uint32_t> dense;  // record index, kNone for none
  struct Slot {
    int32_t key;
    uint32_t record;  // kNone for a free slot
  };
  std::vector<Slot> slots;  // size is a power of two
  int slotShift = 0;
  std::vector<std::pair<int32_t, uint32_t>> headers;  // (key, record), sorted by key

  static uint32_t Hash(int32_t key) { return uint32_t(key) * 0x9E3779B1u; }

  uint32_t FindMessage(int32_t key) const {
    if (!dense.empty()) {
      uint32_t at = uint32_t(key) - uint32_t(denseFirst);
      return at < dense.size() ? dense[at] : kNone;
    }
    if (slots.empty()) return kNone;
    size_t mask = slots.size() - 1;
    for (size_t i = Hash(key) >> slotShift;; i = (i + 1) & mask) {
      const Slot& slot = slots[i];
      if (slot.record == kNone || slot.key == key) return slot.record;
    }
  }

  uint32_t FindHeader(int32_t key) const {
    if (headers.empty() || key < headers.front().first || key > headers.back().first) return kNone;
    auto it = std::lower_bound(headers.begin(), headers.end(), std::make_pair(key, uint32_t(0)));
    return it != headers.end() && it->first == key ? it->second : kNone;
  }

  const Record* Find(int32_t key) const {
    uint32_t message = FindMessage(key), header = FindHeader(key);
    uint32_t r = message == kNone ? header : header == kNone ? message : std::max(message, header);
    return r == kNone ? nullptr : &records[r];
  }

  void BuildLookups() {
    // Headers: the later of two equal keys is kept (stable sort, then the last of a run).
    for (const SectionTableNode& s : sections)
      headers.emplace_back(records[s.m_HeaderEntry].key, s.m_HeaderEntry);
    std::stable_sort(headers.begin(), headers.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    size_t kept = 0;
    for (size_t i = 0; i < headers.size(); ++i) {
      if (kept > 0 && headers[kept - 1].first == headers[i].first) --kept;
      headers[kept++] = headers[i];
    }
    headers.resize(kept);

    size_t count = records.size() - sections.size();
    if (count == 0) return;
    int64_t low = INT64_MAX, high = INT64_MIN;
    ForEachMessage([&](uint32_t, int32_t key) {
      low = std::min<int64_t>(low, key);
      high = std::max<int64_t>(high, key);
    });
    if (high - low < int64_t(count) * 2 + 1024) {
      denseFirst = int32_t(low);
      dense.assign(size_t(high - low + 1), kNone);
      ForEachMessage([&](uint32_t r, int32_t key) { dense[size_t(int64_t(key) - low)] = r; });
      return;
    }
    size_t size = 16;
    while (size < count + count / 2) size <<= 1;
    slots.assign(size, Slot{0, kNone});
    slotShift = 32 - std::countr_zero(size);
    ForEachMessage([&](uint32_t r, int32_t key) {
      for (size_t i = Hash(key) >> slotShift;; i = (i + 1) & (size - 1)) {
        Slot& slot = slots[i];
        if (slot.record == kNone || slot.key == key) {
          slot = Slot{key, r};
          break;
        }
      }
    });
  }

  // Calls f(record index, key) for every message record, in file order.
  template <class F>
  void ForEachMessage(F&& f) const {
    size_t nextSection = 0;
    for (uint32_t r = 0; r < records.size(); ++r) {
      if (nextSection < sections.size() && sections[nextSection].m_HeaderEntry == r) {
        ++nextSection;
        continue;
      }
      f(r, records[r].key);
    }
  }

  const SectionTableNode* FindSection(const SYS_String& name) const {
    for (const SectionTableNode& s : sections)
      if (EqualNoCase(s.m_Name, name)) return &s;
    return nullptr;
  }
};

// Applies the line rules to one file and collects the records.
class SFM_MessageDB::Indexer {
 public:
  Indexer(Index& index, const SYS_String& fileName, bool report)
      : index_(index), fileName_(fileName), report_(report) {}

  // `line` excludes the line feed and anything from a NUL on; `offset` is the file
  // position of its first byte. A line longer than the cap comes without its bytes.
  void Line(const char* line, size_t length, int64_t offset, bool tooLong) {
    ++lineNo_;
    if (tooLong) {
      Report("line too long", nullptr, 0);
      return;
    }
    while (length > 0 && IsSpace(static_cast<unsigned char>(line[length - 1]))) --length;
    if (length == 0 || line[0] == ';') return;
    if (IsSpace(static_cast<unsigned char>(line[0]))) {
      Report("leading blanks are not allowed", nullptr, 0);
    } else if (line[0] == '[') {
      const char* close = static_cast<const char*>(memchr(line, ']', length));
      if (close != line + length - 1) {
        Report("invalid section", line, length);
        return;
      }
      Section(line + 1, length - 2, offset + 1);
    } else {
      const char* colon = static_cast<const char*>(memchr(line, ':', length));
      if (!colon || colon == line) {
        Report("invalid line", line, length);
        return;
      }
      size_t textStart = size_t(colon - line) + 1;
      Message(ParseNumber(line, colon), offset + int64_t(textStart), length - textStart);
    }
  }

  void Finish() {
    if (!index_.sections.empty())
      index_.sections.back().m_EndEntry = uint32_t(index_.records.size());
    index_.BuildLookups();
  }

 private:
  void Section(const char* name, size_t length, int64_t offset) {
    if (!index_.sections.empty())
      index_.sections.back().m_EndEntry = uint32_t(index_.records.size());
    // The header reserves its base as a key, so that a section without messages
    // still moves the next section's base up: no two sections share a base.
    base_ = AddKey(highest_, 2);
    highest_ = base_;
    SFM_MessageDB::SectionTableNode node;
    node.m_Name = SYS_String(name, int(length));
    node.m_BaseMinusOne = AddKey(base_, -1);
    node.m_HeaderEntry = uint32_t(index_.records.size());
    index_.sections.push_back(std::move(node));
    index_.records.push_back({offset, int32_t(0u - uint32_t(base_)), int32_t(length)});
  }

  void Message(int32_t number, int64_t offset, size_t length) {
    int32_t key = AddKey(base_, number);
    if (key > highest_) highest_ = key;
    if (!index_.sections.empty()) {
      SFM_MessageDB::SectionTableNode& s = index_.sections.back();
      if (s.m_Count == 0 || number > s.m_Largest) s.m_Largest = number;
      ++s.m_Count;
    }
    index_.records.push_back({offset, key, int32_t(std::min<size_t>(length, INT32_MAX))});
  }

  void Report(const char* what, const char* line, size_t length) {
    if (!report_) return;
    if (line) {
      std::string text(line, length);
      printf("%s(%d) : %s : \"%s\"\n", static_cast<const char*>(fileName_), lineNo_, what,
             text.c_str());
    } else {
      printf("%s(%d) : %s\n", static_cast<const char*>(fileName_), lineNo_, what);
    }
  }

  Index& index_;
  const SYS_String& fileName_;
  bool report_;
  int lineNo_ = 0;
  int32_t base_ = 0;
  int32_t highest_ = 0;  // the highest key assigned so far
};

namespace {

// The index of the first NUL in data[from, to), or `to`.
inline size_t FindNul(const char* data, size_t from, size_t to) {
  if (from >= to) return to;
  const void* nul = memchr(data + from, 0, to - from);
  return nul ? size_t(static_cast<const char*>(nul) - data) : to;
}

constexpr size_t kMinBlock = 4096;
constexpr size_t kMaxBlock = 1 << 20;
constexpr size_t kMaxLine = SFM_MessageDB::kMaxLine;
static_assert(kMaxBlock > kMaxLine, "a block holds every line that is not too long");

// Feeds the lines of `source` to `onLine(line, length, offset, tooLong)`, reading in
// large blocks. A line that does not fit the block grows the buffer, so no line is ever
// split, up to the longest line taken: a longer one is reported once as too long (no
// bytes) and skipped as it is read, so it never takes more memory than that.
template <class Source, class OnLine>
void ScanLines(Source& source, OnLine&& onLine) {
  // Sized to the file when it is small, so that small files cost little.
  long length = source.Length();
  size_t capacity = length < 0 ? kMaxBlock : std::clamp(size_t(length) + 1, kMinBlock, kMaxBlock);
  std::unique_ptr<char[]> buffer(new char[capacity]);
  size_t filled = 0;      // bytes in the buffer
  int64_t bufferAt = 0;   // file offset of buffer[0]
  bool skipping = false;  // the buffer starts inside a line already reported as too long
  bool eof = false;
  while (!eof) {
    if (filled == capacity) {
      // The buffer holds one unfinished line and nothing else.
      if (skipping || filled > kMaxLine) {
        if (!skipping) onLine(nullptr, 0, bufferAt, true);
        skipping = true;
        bufferAt += int64_t(filled);
        filled = 0;
      } else {
        std::unique_ptr<char[]> larger(new char[capacity * 2]);
        memcpy(larger.get(), buffer.get(), filled);
        buffer = std::move(larger);
        capacity *= 2;
      }
    }
    long got =
        source.Read(buffer.get() + filled, long(std::min<size_t>(capacity - filled, 1u << 30)));
    if (got <= 0)
      eof = true;
    else
      filled += size_t(got);

    const char* data = buffer.get();
    size_t pos = 0;
    // A line ends at its first NUL, as a C string would; one search per block finds
    // the NULs, so that NUL-free text costs nothing per line.
    size_t nul = FindNul(data, 0, filled);
    while (pos < filled) {
      const char* nl = static_cast<const char*>(memchr(data + pos, '\n', filled - pos));
      if (!nl && !eof) break;
      size_t end = nl ? size_t(nl - data) : filled;  // the last line may lack its line feed
      if (skipping)
        skipping = false;  // the rest of the line reported before
      else if (end - pos > kMaxLine)
        onLine(nullptr, 0, bufferAt + int64_t(pos), true);
      else
        onLine(data + pos, std::min(end, nul) - pos, bufferAt + int64_t(pos), false);
      pos = end + 1;
      if (nul < pos) nul = FindNul(data, pos, filled);
    }
    pos = std::min(pos, filled);
    if (pos > 0) {
      memmove(buffer.get(), buffer.get() + pos, filled - pos);
      filled -= pos;
      bufferAt += int64_t(pos);
    }
  }
}

}  // namespace

// The open message file.
struct SFM_MessageDB::Source {
  explicit Source(const SYS_String& name) : file(name) {
    if (name.GetLength() > 0) file.Open("r");
  }

  bool IsOpen() { return file.IsOpen() != 0; }
  long Length() { return file.GetLength(); }
  long Read(void* buffer, long count) { return file.Read(buffer, count); }
  // SFM_File seeks by int; larger offsets are reached in steps from the start. (A
  // seek within the stream's buffer costs the C library no system call, so there is
  // nothing to gain from skipping it.)
  long ReadAt(int64_t offset, void* buffer, long count) {
    int step = int(std::min<int64_t>(offset, INT32_MAX));
    if (!file.Seek(step, SFM_File::Begin)) return 0;
    for (offset -= step; offset > 0; offset -= step) {
      step = int(std::min<int64_t>(offset, INT32_MAX));
      if (!file.Seek(step, SFM_File::Current)) return 0;
    }
    return file.Read(buffer, count);
  }

  SFM_File file;
};

SFM_MessageDB::SFM_MessageDB(SYS_String fileName) : SFM_MessageDB(fileName, 1) {}

SFM_MessageDB::SFM_MessageDB(SYS_String fileName, int reportErrors) {
  auto index = std::make_shared<Index>();
  auto source = std::make_shared<Source>(fileName);
  if (source->IsOpen()) {
    // Room for a record per 32 bytes spares most regrowth; pages never touched
    // cost nothing.
    index->records.reserve(size_t(std::max(source->Length(), 0L)) / 32 + 16);
    Indexer indexer(*index, fileName, reportErrors != 0);
    ScanLines(*source, [&](const char* line, size_t length, int64_t offset, bool tooLong) {
      indexer.Line(line, length, offset, tooLong);
    });
    indexer.Finish();
    m_Source = std::move(source);
  }
  m_Index = std::move(index);
}

SFM_MessageDB::SFM_MessageDB(const SFM_MessageDB& other) = default;
SFM_MessageDB& SFM_MessageDB::operator=(const SFM_MessageDB& other) = default;
SFM_MessageDB::~SFM_MessageDB() = default;

int SFM_MessageDB::IsValid() const { return m_Source && m_Source->IsOpen() ? 1 : 0; }

SYS_String SFM_MessageDB::ReadText(long key, bool raw) const {
  if (!IsValid() || key < INT32_MIN || key > INT32_MAX) return SYS_String();
  const Index::Record* r = m_Index->Find(int32_t(key));
  if (!r || r->length == 0) return SYS_String();
  // Read straight into the result's own buffer.
  SYS_String text;
  char* buffer = text.GetBuffer(r->length);
  long got = m_Source->ReadAt(r->offset, buffer, r->length);
  if (got <= 0) return SYS_String();
  // Like a C string: the text ends at a NUL that appeared in the file since indexing.
  size_t length = strnlen(buffer, size_t(got));
  if (!raw && length > 0 && buffer[length - 1] == '$') --length;
  text.ReleaseBuffer(int(length));
  return text;
}

SYS_String SFM_MessageDB::getTxt(long key) const { return ReadText(key, false); }

const SFM_MessageDB::SectionTableNode* SFM_MessageDB::GetSection(SYS_String name) const {
  return m_Index->FindSection(name);
}

long SFM_MessageDB::GetSectionBase(SYS_String name) const {
  const SectionTableNode* node = GetSection(name);
  return node ? node->GetBase() : -1;
}

namespace {

// Buffered writer for Save().
class Writer {
 public:
  explicit Writer(SFM_File& file) : file_(file) { buffer_.reserve(kChunk); }
  void Put(const char* data, size_t length) {
    buffer_.append(data, length);
    if (buffer_.size() >= kChunk) Flush();
  }
  void Put(const SYS_String& s) { Put(s, size_t(s.GetLength())); }
  void Put(char c) { Put(&c, 1); }
  void Put(int32_t n) {
    char digits[16];
    int length = snprintf(digits, sizeof digits, "%d", int(n));
    Put(digits, size_t(length));
  }
  bool Flush() {
    if (!buffer_.empty()) ok_ = ok_ && file_.Write(buffer_.data(), long(buffer_.size())) == 1;
    buffer_.clear();
    return ok_;
  }

 private:
  static constexpr size_t kChunk = 1 << 16;
  SFM_File& file_;
  std::string buffer_;
  bool ok_ = true;
};

}  // namespace

int SFM_MessageDB::Save(SYS_String fileName) const {
  SYS_String temporary = fileName;
  temporary << "$$$";
  SFM_File out(temporary);
  if (fileName.GetLength() == 0 || !out.Open("w+b")) return 0;
  Writer writer(out);
  // Every accepted record in file order, superseded ones included: re-indexing the
  // same sequence of headers and numbers reproduces every base and key.
  const Index& index = *m_Index;
  size_t nextSection = 0;
  int32_t base = 0;
  std::vector<char> text;
  for (uint32_t r = 0; r < index.records.size(); ++r) {
    const Index::Record& record = index.records[r];
    if (nextSection < index.sections.size() && index.sections[nextSection].m_HeaderEntry == r) {
      const SectionTableNode& s = index.sections[nextSection++];
      base = int32_t(uint32_t(s.m_BaseMinusOne) + 1u);
      writer.Put('[');
      writer.Put(s.m_Name);
      writer.Put("]\n", 2);
      continue;
    }
    writer.Put(int32_t(uint32_t(record.key) - uint32_t(base)));
    writer.Put(':');
    if (record.length > 0) {
      // The raw text, a final "$" included, so that trailing blanks survive.
      text.resize(size_t(record.length));
      long got = m_Source->ReadAt(record.offset, text.data(), record.length);
      writer.Put(text.data(), strnlen(text.data(), size_t(std::max(got, 0L))));
    }
    writer.Put('\n');
  }
  bool ok = writer.Flush();
  if (ok) {
    out.Flush();
    FILE* stream = out.GetStream();
    ok = stream && fsync(fileno(stream)) == 0;
  }
  out.Close();
  // rename() replaces the target in one step: a reader sees the old file or the new.
  if (!ok || std::rename(brix::fs::NativePath(temporary).c_str(),
                         brix::fs::NativePath(fileName).c_str()) != 0) {
    brix::fs::RemoveFile(temporary);
    return 0;
  }
  return 1;
}

struct SFM_MessageDB::SectionIterator::Impl {
  SFM_MessageDB db;  // keeps the file and the index alive
  const SectionTableNode* section = nullptr;
  std::vector<int32_t> numbers;  // distinct message numbers, ascending

  SYS_String Text(long cursor) const {
    if (cursor < 0) return SYS_String();
    return db.getTxt(long(AddKey(int32_t(section->GetBase()), numbers[size_t(cursor)])));
  }
};

SFM_MessageDB::SectionIterator::SectionIterator() = default;
SFM_MessageDB::SectionIterator::SectionIterator(const SectionIterator&) = default;
SFM_MessageDB::SectionIterator& SFM_MessageDB::SectionIterator::operator=(const SectionIterator&) =
    default;
SFM_MessageDB::SectionIterator::~SectionIterator() = default;

SFM_MessageDB::SectionIterator::SectionIterator(const SFM_MessageDB& db,
                                                const SYS_String& section) {
  const SectionTableNode* node = db.GetSection(section);
  if (!node) return;
  auto impl = std::make_shared<Impl>(Impl{db, node, {}});
  const Index& index = *db.m_Index;
  int32_t base = int32_t(node->GetBase());
  for (uint32_t r = node->m_HeaderEntry + 1; r < node->m_EndEntry; ++r)
    impl->numbers.push_back(int32_t(uint32_t(index.records[r].key) - uint32_t(base)));
  std::sort(impl->numbers.begin(), impl->numbers.end());
  impl->numbers.erase(std::unique(impl->numbers.begin(), impl->numbers.end()), impl->numbers.end());
  m_Cursor = impl->numbers.empty() ? -1 : 0;
  m_Impl = std::move(impl);
}

SYS_String SFM_MessageDB::SectionIterator::GetName() const {
  return m_Impl ? m_Impl->section->GetName() : SYS_String();
}

long SFM_MessageDB::SectionIterator::GetPosition() const {
  return m_Cursor < 0 ? -1 : long(m_Impl->numbers[size_t(m_Cursor)]);
}

int SFM_MessageDB::SectionIterator::IsEmpty() const { return m_Cursor < 0 ? 1 : 0; }

void SFM_MessageDB::SectionIterator::Clear() {
  m_Impl.reset();
  m_Cursor = -1;
}

SYS_String SFM_MessageDB::SectionIterator::operator++() {
  if (m_Cursor < 0) return SYS_String();
  if (size_t(++m_Cursor) >= m_Impl->numbers.size()) m_Cursor = -1;
  return m_Cursor < 0 ? SYS_String() : m_Impl->Text(m_Cursor);
}

SYS_String SFM_MessageDB::SectionIterator::operator++(int) {
  SYS_String current = *this;
  ++*this;
  return current;
}

SFM_MessageDB::SectionIterator::operator SYS_String() const {
  return m_Impl ? m_Impl->Text(m_Cursor) : SYS_String();
}

SFM_MessageDB::SectionIterator& SFM_MessageDB::SectionIterator::operator=(long number) {
  if (!m_Impl) return *this;
  const std::vector<int32_t>& n = m_Impl->numbers;
  auto it = number < INT32_MIN   ? n.begin()
            : number > INT32_MAX ? n.end()
                                 : std::lower_bound(n.begin(), n.end(), int32_t(number));
  m_Cursor = it == n.end() ? -1 : long(it - n.begin());
  return *this;
}
