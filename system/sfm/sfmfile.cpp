// sfmfile.cpp - SFM_File: opening, closing, temporary close, positions, raw and typed data.
#include "sfmfile.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdint>
#include <type_traits>

#include "platform/file_posix.h"
#include "platform/fs_posix.h"
#include "sfm.h"
#include "ssmcheck.h"

namespace {

constexpr const char* kFile = "system/sfm/sfmfile";
constexpr int kLineEofNoStream = 355;
// Sites of our own, numbered past the file's other check sites.
constexpr int kLineGetOnText = 801;
constexpr int kLinePutOnText = 802;
constexpr int kLineStillOpen = 804;

#define SFM_FILE_CHECK(cond, line) SSM_CHECK_EX(cond, "Tamsk: ", kFile, line, SSM_InternalError, 0)

// Raises `code` for `name` when there is a manager; the answer, or 0.
int Report(int code, const SYS_String& name) {
  SFM* manager = SFM::GetManager();
  if (!manager) return 0;
  SFM_EventData data(name);
  return manager->Event(code, data);
}

}  // namespace

// A copy-on-write view of the file; earlier views of the same file stay valid
// until UnmapMemory, which releases them all.
struct SFM_File::Mapping {
  void* view;
  size_t size;
  Mapping* older;
};

SFM_File::SFM_File(const char* name) {
  if (name && *name) name_ = name;
  Register();
}

SFM_File::SFM_File(const char* name, const char* mode) {
  if (name && *name) name_ = name;
  Register();
  SFM_FILE_CHECK(name && *name, 172);
  SFM_FILE_CHECK(mode && *mode, 174);
  mode_ = mode;
  Open(mode_);
}

SFM_File::SFM_File(const SFM_File& source)
    : SCC_SafeDListNode<SFM_File>(source), name_(source.name_) {}

SFM_File& SFM_File::operator=(SFM_File& source) {
  if (&source == this) return *this;
  // This file's own stream would be lost behind the source's: close it first.
  Close();
  ReleaseMappings();
  if (SCC_SafeDList<SFM_File>* list = source.GetList())
    list->InsertBefore(this, &source);
  else if (SCC_SafeDList<SFM_File>* own = GetList())
    own->Remove(this);

  name_ = source.name_;
  mode_ = source.mode_;
  msg_ = source.msg_;
  length_ = source.length_;
  positions_ = source.positions_;
  // The stream, the views and the temporary close move: this file closes them.
  stream_ = source.stream_;
  tempClosed_ = source.tempClosed_;
  parkedDevice_ = source.parkedDevice_;
  parkedInode_ = source.parkedInode_;
  mapping_ = source.mapping_;
  source.stream_ = nullptr;
  source.mapping_ = nullptr;
  if (source.tempClosed_) {
    source.tempClosed_ = 0;
    if (!source.positions_.empty()) source.positions_.pop_back();
  }
  return *this;
}

const char* SFM_File::operator=(const char* name) {
  SFM_FILE_CHECK(!IsOpen(), 218);
  SetName(name);
  return name;
}

SFM_File::~SFM_File() {
  Close();
  ReleaseMappings();
}

void SFM_File::Register() {
  if (SFM* manager = SFM::GetManager()) manager->AddFile(this);
  CheckLength();
}

void SFM_File::SetName(const SYS_String& name) {
  SFM_FILE_CHECK(!IsOpen(), 191);
  name_ = name;
  length_ = -1;  // the cached length was the old file's
}

void SFM_File::SetMode(const SYS_String& mode) {
  SFM_FILE_CHECK(!IsOpen(), 202);
  mode_ = mode;
}

int SFM_File::IsOpen() { return stream_ != nullptr || tempClosed_; }

int SFM_File::IsValid() { return IsOpen(); }

// A file the manager could not put back exactly (a pipe, a terminal, a file that
// lost its name, a converting stream) declines, so the manager looks further.
int SFM_File::MayBeTempClosed() {
  brix::file::Identity identity;
  return stream_ && !tempClosed_ && brix::file::CanResume(stream_, mode_, identity);
}

int SFM_File::Open(SYS_String mode) {
  SFM_FILE_CHECK(!IsOpen(), 290);
  if (IsOpen()) return 0;  // never lose the open stream when the check lets us go on
  Report(SFM::AboutToOpen, name_);
  if (!mode.IsEmpty()) mode_ = mode;
  for (;;) {
    errno = 0;
    stream_ = std::fopen(brix::fs::NativePath(name_).c_str(), mode_);
    if (stream_) break;
    SFM* manager = SFM::GetManager();
    // Without a manager nobody can make a retry succeed: give up at once.
    if (!manager) return 0;
    SFM_EventData data(name_);
    int answer = manager->Event(SFM::OpenFailed, data);
    if (answer == SFM::Retry) continue;
    if (answer == SFM::EndProcess) ::_exit(0);
    return 0;
  }
  Report(SFM::Opened, name_);
  length_ = -1;
  return 1;
}

int SFM_File::ReOpen(const SYS_String& name, const SYS_String& mode) {
  if (IsOpen()) Close();
  SFM_FILE_CHECK(!IsOpen(), kLineStillOpen);
  SetName(name);
  return Open(mode);
}

void SFM_File::Close() {
  if (IsOpen()) {
    ReOpen();  // a temporarily closed file is reopened so that it closes properly
    errno = 0;
    SFM_FILE_CHECK(stream_, 366);
    if (stream_) {
      clearerr_unlocked(stream_);
      int failed = std::fclose(stream_);
      stream_ = nullptr;
      Report(failed ? SFM::CloseFailed : SFM::Closed, name_);
    }
  }
  if (mapping_) UnmapMemory();
  stream_ = nullptr;
}

void SFM_File::TempClose() {
  SFM_FILE_CHECK(MayBeTempClosed(), 257);
  brix::file::Identity identity;
  if (!stream_ || !brix::file::CanResume(stream_, mode_, identity)) return;
  // Buffered bytes go out now; when they cannot, the stream stays open with them.
  if (std::fflush(stream_) != 0 || !PushPosition(0, Current)) return;
  parkedDevice_ = identity.device;
  parkedInode_ = identity.inode;
  tempClosed_ = 1;
  int failed = std::fclose(stream_);
  stream_ = nullptr;
  if (failed) Report(SFM::WriteFailed, name_);
}

int SFM_File::ReOpen() {
  if (!tempClosed_) return 1;
  tempClosed_ = 0;
  Report(SFM::AboutToOpen, name_);
  // The stream comes back as it was: same access, appending only when it did, no
  // truncation and no exclusive creation, and only on the very file it was on.
  const std::string path = brix::fs::NativePath(name_);
  const brix::file::Identity identity{parkedDevice_, parkedInode_};
  for (;;) {
    stream_ = brix::file::Reopen(path.c_str(), mode_, identity);
    if (stream_ || errno != EMFILE) break;
    // Out of handles: another file of ours gives up its handle for a while. Each
    // round parks one more file, so the loop ends when none is left.
    SFM* manager = SFM::GetManager();
    if (!manager || !manager->CloseLeastRecentlyOpened()) break;
  }
  SFM_FILE_CHECK(stream_, 274);
  if (!stream_) {
    positions_.pop_back();  // the position saved by TempClose
    return 0;
  }
  PopPosition();
  return 1;
}

int SFM_File::SeekTo(long long offset, int origin) {
  ReOpen();
  if (!stream_) return 0;
  return ::fseeko(stream_, static_cast<off_t>(offset), origin) == 0;
}

int SFM_File::Seek(int offset, SeekType origin) { return SeekTo(offset, origin); }

long SFM_File::GetPosition() {
  if (!IsOpen()) return -1;
  ReOpen();
  if (!stream_) return -1;
  return static_cast<long>(::ftello(stream_));
}

int SFM_File::PushPosition(int offset, SeekType origin) {
  long position = GetPosition();
  if (position < 0) return 0;
  if (SeekTo(offset, origin)) {
    positions_.push_back(position);
    return 1;
  }
  SeekTo(position, Begin);
  return 0;
}

void SFM_File::PopPosition() {
  // Popping an empty stack is the stack's own failed check.
  SSM_CHECK(!positions_.empty(), "system/inc/sccstack", 98);
  if (positions_.empty()) return;
  long position = positions_.back();
  positions_.pop_back();
  SeekTo(position, Begin);
}

long SFM_File::GetLength() {
  if (length_ != -1 || name_.IsEmpty()) return length_;
  struct stat st;
  if (!IsOpen()) {
    // Measured without opening a stream, so that no handle is needed.
    if (::stat(brix::fs::NativePath(name_).c_str(), &st) != 0 || S_ISDIR(st.st_mode)) return -1;
    length_ = static_cast<long>(st.st_size);
    return length_;
  }
  ReOpen();
  SFM_FILE_CHECK(stream_, 241);
  if (!stream_) return -1;
  if (__fpending(stream_) > 0) std::fflush(stream_);
  if (::fstat(fileno_unlocked(stream_), &st) == 0 && S_ISREG(st.st_mode)) {
    length_ = static_cast<long>(st.st_size);
  } else {
    off_t position = ::ftello(stream_);
    if (::fseeko(stream_, 0, SEEK_END) == 0) length_ = static_cast<long>(::ftello(stream_));
    ::fseeko(stream_, position, SEEK_SET);
  }
  return length_;
}

int SFM_File::Eof() {
  // Checked before the reopen, so a temporarily closed file fails it as designed.
  SFM_FILE_CHECK(stream_, kLineEofNoStream);
  ReOpen();
  if (!stream_) return 1;
  if (feof_unlocked(stream_)) return 1;
  long position = GetPosition();  // -1 on a pipe, which has no length either
  return position >= 0 && position == GetLength();
}

void SFM_File::CheckLength() {
  if (length_ < 0) return;
  if (!stream_ || ::ftello(stream_) >= length_) length_ = -1;
}

void SFM_File::Flush() {
  if (!IsOpen()) return;
  ReOpen();
  SFM_FILE_CHECK(stream_, 348);
  if (stream_) std::fflush(stream_);
}

long SFM_File::Read(void* buffer, long count) {
  SFM_FILE_CHECK(buffer, 477);
  if (!buffer || count <= 0 || !IsOpen()) return 0;
  ReOpen();
  if (!stream_) return 0;
  size_t got = fread_unlocked(buffer, 1, static_cast<size_t>(count), stream_);
  if (ferror_unlocked(stream_) && SFM::GetManager()) {
    Report(SFM::ReadFailed, name_);
    clearerr_unlocked(stream_);
  }
  return static_cast<long>(got);
}

int SFM_File::Write(const void* buffer, long count) {
  SFM_FILE_CHECK(buffer, 499);
  if (!buffer || count < 0 || !IsOpen()) return 0;
  ReOpen();
  if (!stream_) return 0;
  size_t put = fwrite_unlocked(buffer, 1, static_cast<size_t>(count), stream_);
  // Cleared before the result is judged, so no 204 from here (intended).
  clearerr_unlocked(stream_);
  CheckLength();
  return put == static_cast<size_t>(count);
}

namespace {

constexpr unsigned char ReverseByte(unsigned char b) {
  b = static_cast<unsigned char>((b & 0xF0) >> 4 | (b & 0x0F) << 4);
  b = static_cast<unsigned char>((b & 0xCC) >> 2 | (b & 0x33) << 2);
  return static_cast<unsigned char>((b & 0xAA) >> 1 | (b & 0x55) << 1);
}

// The order of all bits of `v` reversed over its full width.
template <class U>
U ReverseBits(U v) {
  U out = 0;
  for (size_t i = 0; i < sizeof(U); ++i) {
    out = static_cast<U>(out << 8 | ReverseByte(static_cast<unsigned char>(v)));
    v = static_cast<U>(sizeof(U) > 1 ? v >> 8 : 0);
  }
  return out;
}

// Stored values are little-endian whatever the host's byte order.
template <class U>
U LittleEndian(U v) {
  if constexpr (std::endian::native == std::endian::big && sizeof(U) > 1) {
    U out = 0;
    for (size_t i = 0; i < sizeof(U); ++i, v >>= 8) out = static_cast<U>(out << 8 | (v & 0xFF));
    return out;
  }
  return v;
}

}  // namespace

template <class T, class S>
T SFM_File::GetInteger(T& value, int reverseBits) {
  using U = std::make_unsigned_t<S>;
  SSM_CHECK_EX(mode_.Find('b') >= 0, "Tamsk: Can't call Get on text file", kFile, kLineGetOnText,
               SSM_InternalError, 0);
  U raw = 0;
  Read(&raw, sizeof raw);
  raw = LittleEndian(raw);
  if (reverseBits) raw = ReverseBits(raw);
  value = static_cast<T>(static_cast<S>(raw));
  return value;
}

template <class T, class S>
void SFM_File::PutInteger(T value, int reverseBits) {
  using U = std::make_unsigned_t<S>;
  SSM_CHECK_EX(mode_.Find('b') >= 0, "Tamsk: Can't call Put on text file", kFile, kLinePutOnText,
               SSM_InternalError, 0);
  U raw = static_cast<U>(static_cast<S>(value));
  if (reverseBits) raw = ReverseBits(raw);
  raw = LittleEndian(raw);
  Write(&raw, sizeof raw);
}

double SFM_File::Get(double& value) {
  SSM_CHECK_EX(mode_.Find('b') >= 0, "Tamsk: Can't call Get on text file", kFile, kLineGetOnText,
               SSM_InternalError, 0);
  double raw = 0;
  Read(&raw, sizeof raw);
  value = raw;
  return value;
}

void SFM_File::Put(double value) {
  SSM_CHECK_EX(mode_.Find('b') >= 0, "Tamsk: Can't call Put on text file", kFile, kLinePutOnText,
               SSM_InternalError, 0);
  Write(&value, sizeof value);
}

// long and unsigned long move 4 bytes, as the stored formats were written.
unsigned long SFM_File::Get(unsigned long& v, int r) {
  return GetInteger<unsigned long, uint32_t>(v, r);
}
long SFM_File::Get(long& v, int r) { return GetInteger<long, int32_t>(v, r); }
unsigned char SFM_File::Get(unsigned char& v, int r) {
  return GetInteger<unsigned char, uint8_t>(v, r);
}
char SFM_File::Get(char& v, int r) { return GetInteger<char, int8_t>(v, r); }
unsigned short SFM_File::Get(unsigned short& v, int r) {
  return GetInteger<unsigned short, uint16_t>(v, r);
}
short SFM_File::Get(short& v, int r) { return GetInteger<short, int16_t>(v, r); }
unsigned int SFM_File::Get(unsigned int& v, int r) {
  return GetInteger<unsigned int, uint32_t>(v, r);
}
int SFM_File::Get(int& v, int r) { return GetInteger<int, int32_t>(v, r); }
void SFM_File::Put(unsigned long v, int r) { PutInteger<unsigned long, uint32_t>(v, r); }
void SFM_File::Put(long v, int r) { PutInteger<long, int32_t>(v, r); }
void SFM_File::Put(unsigned char v, int r) { PutInteger<unsigned char, uint8_t>(v, r); }
void SFM_File::Put(char v, int r) { PutInteger<char, int8_t>(v, r); }
void SFM_File::Put(unsigned short v, int r) { PutInteger<unsigned short, uint16_t>(v, r); }
void SFM_File::Put(short v, int r) { PutInteger<short, int16_t>(v, r); }
void SFM_File::Put(unsigned int v, int r) { PutInteger<unsigned int, uint32_t>(v, r); }
void SFM_File::Put(int v, int r) { PutInteger<int, int32_t>(v, r); }

void* SFM_File::MapToMemory() {
  if (!IsOpen()) return nullptr;
  // The stream gives way to the mapping, as it must on platforms that share files
  // by mode; the next access reopens it.
  if (MayBeTempClosed()) TempClose();
  std::string path = brix::fs::NativePath(name_);
  int fd;
  for (;;) {
    // Non-blocking, so that a pipe never waits for a writer; only regular files map.
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd >= 0 || errno != EMFILE) break;
    // Each round parks one more file, so the loop ends when none is left.
    SFM* manager = SFM::GetManager();
    if (!manager || !manager->CloseLeastRecentlyOpened()) break;
  }
  if (fd < 0) return nullptr;
  size_t size = 0;
  void* view = brix::file::MapPrivate(fd, size);
  ::close(fd);
  if (!view) return nullptr;
  mapping_ = new Mapping{view, size, mapping_};
  return view;
}

void SFM_File::ReleaseMappings() {
  while (mapping_) {
    Mapping* m = mapping_;
    mapping_ = m->older;
    brix::file::Unmap(m->view, m->size);
    delete m;
  }
}

void SFM_File::UnmapMemory() {
  if (!mapping_) return;
  ReleaseMappings();
  if (tempClosed_) ReOpen();
}
