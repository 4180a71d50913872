// sfmproj.cpp - SFM_ProjectFile: the process-wide project lock, its information file and accessors.
#include "sfmproject.h"

#include <fcntl.h>
#include <pwd.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform/fs_posix.h"
#include "platform/share_posix.h"

namespace {

using brix::share::kAccessRead;
using brix::share::kAccessWrite;
using brix::share::kShareRead;
using brix::share::kShareWrite;

enum Flag : unsigned {
  kWriteLocked = 1,
  kReadWriteLocked = 2,  // only meaningful with kWriteLocked
  kInfoWritten = 4,
  kOtherFileOpen = 8,
};

// The lock of a process is process-wide; accessors only borrow these
// descriptors. Nothing here is locked apart from the counts, as in the rest of
// the library: one thread at a time.
struct State {
  unsigned flags = 0;
  SYS_String projectName;
  int projectHandle = -1;
  int readHandle = -1;
  int otherHandle = -1;
  int openTimeout = 1;
  int openAttempts = 2;
  std::atomic<long> writers{0};
  std::atomic<long> readers{0};
  SYS_String lastQueried{"$$$"};  // never a real file, so the first query always reads
  SYS_String holderUser;
  SYS_String holderComputer;
  void (*waitCursor)(int) = nullptr;
};

State& S() {
  static State* state = new State;  // never destroyed: accessors may die in static destructors
  return *state;
}

void CloseHandle(int& fd) {
  if (fd != -1) brix::share::Close(fd);
  fd = -1;
}

std::string CurrentUserName() {
  std::vector<char> buffer(1024);
  struct passwd pw;
  struct passwd* found = nullptr;
  while (getpwuid_r(geteuid(), &pw, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < (1u << 20))
    buffer.resize(buffer.size() * 2);
  if (found && found->pw_name) return found->pw_name;
  const char* env = std::getenv("USER");
  return env ? env : "";
}

std::string CurrentComputerName() {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) return "";
  name[15] = '\0';  // the computer names of the lock record hold 15 characters
  return name;
}

void PutLength(unsigned char* out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out[i] = static_cast<unsigned char>(value >> (8 * i));
}

uint32_t GetLength(const unsigned char* in) {
  return uint32_t(in[0]) | uint32_t(in[1]) << 8 | uint32_t(in[2]) << 16 | uint32_t(in[3]) << 24;
}

bool WriteRecord(int fd, const std::string& text) {
  unsigned char length[4];
  PutLength(length, static_cast<uint32_t>(text.size() + 1));
  return brix::fs::WriteAll(fd, length, 4) && brix::fs::WriteAll(fd, text.c_str(), text.size() + 1);
}

// Reads one length-prefixed record; false on any shortfall. The length is
// checked against what the file still holds before anything is allocated.
bool ReadRecord(int fd, off_t fileSize, SYS_String& text) {
  unsigned char length[4];
  if (brix::fs::ReadAll(fd, length, 4) != 4) return false;
  const uint32_t size = GetLength(length);
  const off_t at = lseek(fd, 0, SEEK_CUR);
  if (at < 0 || static_cast<uint64_t>(size) > static_cast<uint64_t>(fileSize - at)) return false;
  std::string bytes(size, '\0');
  if (brix::fs::ReadAll(fd, bytes.data(), size) != size) return false;
  text = bytes.c_str();  // up to the terminating zero
  return true;
}

// The longest pause between two attempts to open or convert.
constexpr double kMaxPauseMs = 1000.0;

// Runs `attempt` (a descriptor or -1) up to the open-attempts setting times, with
// the pause after each failure (the last one too, as designed) and the wait
// cursor shown meanwhile.
template <class Attempt>
int Retry(State& s, int pauseMs, Attempt&& attempt) {
  if (s.waitCursor) s.waitCursor(1);
  const int attempts = s.openAttempts > 0 ? s.openAttempts : 1;
  int result = -1;
  for (int i = 0; i < attempts && result == -1; ++i) {
    result = attempt();
    if (result == -1 && pauseMs > 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs));
  }
  if (s.waitCursor) s.waitCursor(0);
  return result;
}

// Whether the open file `fd` of `size` bytes starts with a lock record: two
// length-prefixed, zero-terminated names.
bool HoldsLockRecord(int fd, off_t size) {
  SYS_String user;
  SYS_String computer;
  return lseek(fd, 0, SEEK_SET) == 0 && ReadRecord(fd, size, user) &&
         ReadRecord(fd, size, computer);
}

// Where an earlier holder left its record read-only, gives the owner write
// permission back so that the record can be rewritten. Only a regular file with
// one link, owned by this user and holding a lock record qualifies: a user's
// file under that name, or a link planted there, is never touched.
void MakeRecordWritable(const SYS_String& path) {
  const std::string native = brix::fs::NativePath(path);
  const int fd = open(native.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (fd == -1) return;
  struct stat st;
  if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_nlink == 1 && st.st_uid == geteuid() &&
      !(st.st_mode & S_IWUSR) && HoldsLockRecord(fd, st.st_size))
    fchmod(fd, (st.st_mode & 07777) | S_IWUSR);
  close(fd);
}

void RemoveInfoFile(const SYS_String& project) {
  // Hidden attributes and deletion at the next restart have no POSIX meaning:
  // a file that cannot be removed now stays and is overwritten by the next holder.
  brix::fs::RemoveFile(SFM_ProjectFile::CreateTempFilePath(project));
}

}  // namespace

// ---- Settings ------------------------------------------------------------------

void SFM_ProjectFile::SetWaitCursorHook(void (*hook)(int)) { S().waitCursor = hook; }
void SFM_ProjectFile::SetOpenAttempts(int attempts) { S().openAttempts = attempts; }
int SFM_ProjectFile::GetOpenAttempts() { return S().openAttempts; }
void SFM_ProjectFile::SetOpenTimeout(int seconds) { S().openTimeout = seconds; }
int SFM_ProjectFile::GetOpenTimeout() { return S().openTimeout; }
int SFM_ProjectFile::GetOpenPause() {
  const State& s = S();
  if (s.openTimeout <= 0) return 1;
  const int attempts = s.openAttempts > 0 ? s.openAttempts : 1;
  // Clamped in floating point, before the conversion: a long timeout must
  // neither overflow nor leave a user waiting minutes between two attempts.
  return static_cast<int>(std::min(kMaxPauseMs, 1000.0 / (double(attempts) / s.openTimeout)));
}

SYS_String SFM_ProjectFile::GetProjectFileName() { return S().projectName; }

// ---- Opening -------------------------------------------------------------------

int SFM_ProjectFile::CreateFileH(const char* name, unsigned access, unsigned share, int disposition,
                                 unsigned options) {
  if (!name || !*name) return -1;
  if (access & kAccessWrite) {
    const int attributes = brix::fs::GetAttributes(name);
    if (attributes != -1 && (attributes & brix::fs::kAttrReadOnly)) return -1;
  }
  return Retry(S(), GetOpenPause(),
               [&] { return brix::share::Open(name, access, share, disposition, options); });
}

// ---- The lock ------------------------------------------------------------------

int SFM_ProjectFile::IsLockW() { return (S().flags & kWriteLocked) ? 1 : 0; }

int SFM_ProjectFile::IsLockRW() {
  return (S().flags & (kWriteLocked | kReadWriteLocked)) == (kWriteLocked | kReadWriteLocked);
}

int SFM_ProjectFile::TryLockProjectFile(const char* name) {
  State& s = S();
  if (name && (s.flags & kWriteLocked) && std::strcmp(name, s.projectName) == 0) return 1;
  const int fd =
      CreateFileH(name, kAccessRead | kAccessWrite, kShareRead, brix::share::kOpenAlways);
  if (fd == -1) return 0;
  Unlock();
  s.projectName = name;
  s.flags = (s.flags | kWriteLocked) & ~kReadWriteLocked;
  s.projectHandle = fd;
  CreateTempFile();
  return 1;
}

int SFM_ProjectFile::SetNewFileName(const char* name) {
  Unlock();
  S().projectName = name ? name : "";
  return 1;
}

int SFM_ProjectFile::LockW() { return Relock(false); }
int SFM_ProjectFile::LockRW() { return Relock(true); }

int SFM_ProjectFile::Relock(bool exclusive) {
  State& s = S();
  const unsigned share = exclusive ? 0u : kShareRead;
  if (s.projectHandle != -1) {
    const bool held = exclusive ? IsLockRW() : (IsLockW() && !(s.flags & kReadWriteLocked));
    if (held) return 1;
    // The held lock is converted in place rather than closed and opened again:
    // in between, another process could take the project. When the conversion
    // is refused (someone reads the project), the lock stays as it was.
    const unsigned heldShare = (s.flags & kReadWriteLocked) ? 0u : kShareRead;
    const int fd = s.projectHandle;
    if (Retry(s, GetOpenPause(), [&] {
          return brix::share::Reshare(fd, kAccessRead | kAccessWrite, heldShare, share) ? fd : -1;
        }) == -1)
      return 0;
  } else {
    s.projectHandle =
        CreateFileH(s.projectName, kAccessRead | kAccessWrite, share, brix::share::kOpenAlways);
    if (s.projectHandle == -1) {
      // By design the process forgets its project when it cannot take the lock.
      s.flags &= ~(kWriteLocked | kReadWriteLocked);
      s.projectName.Empty();
      return 0;
    }
  }
  s.flags |= kWriteLocked;
  if (exclusive)
    s.flags |= kReadWriteLocked;
  else
    s.flags &= ~kReadWriteLocked;
  CreateTempFile();
  return 1;
}

void SFM_ProjectFile::Unlock() {
  State& s = S();
  CloseTempFile();
  DeleteTempFile();
  if (s.projectHandle != -1) {
    CloseHandle(s.projectHandle);
    s.flags &= ~(kWriteLocked | kReadWriteLocked);
    s.projectName.Empty();
  }
}

// ---- The lock-information file ---------------------------------------------------

SYS_String SFM_ProjectFile::CreateTempFilePath(const char* project, int info) {
  const char* name = project ? project : "";
  const char* slash = std::strrchr(name, '/');
  const char* back = std::strrchr(name, '\\');
  if (!slash || (back && back > slash)) slash = back;
  const int dirLength = slash ? static_cast<int>(slash - name + 1) : 0;
  SYS_String path(name, dirLength);
  path = path + "~$" + (name + dirLength);
  if (info) path = path + ".inf";
  return path;
}

int SFM_ProjectFile::CreateTempFile() {
  State& s = S();
  if (s.flags & kInfoWritten) return 1;
  const std::string user = CurrentUserName();
  const std::string computer = CurrentComputerName();
  const SYS_String path = CreateTempFilePath(s.projectName);
  MakeRecordWritable(path);  // an earlier record may have been left read-only
  // Opened always and never truncated: bytes of a longer earlier record may follow.
  // A link, or anything but a regular file with a single name, is never written.
  const int fd = CreateFileH(path, kAccessRead | kAccessWrite, 0, brix::share::kOpenAlways,
                             brix::share::kRegularOnly);
  if (fd == -1) return 1;
  struct stat st;
  if (fstat(fd, &st) != 0 || st.st_nlink != 1) {
    brix::share::Close(fd);
    return 1;
  }
  const bool ok = WriteRecord(fd, user) && WriteRecord(fd, computer);
  brix::share::Close(fd);
  // Only a record this process wrote is ever removed by it.
  if (ok)
    s.flags |= kInfoWritten;
  else
    brix::fs::RemoveFile(path);
  return 1;  // the lock never fails because of its information file
}

void SFM_ProjectFile::DeleteTempFile() {
  State& s = S();
  if (!(s.flags & kInfoWritten)) return;
  s.flags &= ~kInfoWritten;
  // While this process holds the lock nobody else can have written the record;
  // without the lock the file may already name another holder, and stays.
  if (s.projectHandle != -1 && !s.projectName.IsEmpty()) RemoveInfoFile(s.projectName);
}

void SFM_ProjectFile::GetInfo() {
  State& s = S();
  s.holderUser.Empty();
  s.holderComputer.Empty();
  const SYS_String path = CreateTempFilePath(s.projectName);
  if (brix::fs::GetAttributes(path) == -1) return;
  const int fd = CreateFileH(path, kAccessRead, kShareRead | kShareWrite,
                             brix::share::kOpenExisting, brix::share::kRegularOnly);
  if (fd == -1) return;
  struct stat st;
  SYS_String user;
  SYS_String computer;
  const bool ok = fstat(fd, &st) == 0 && ReadRecord(fd, st.st_size, user) &&
                  ReadRecord(fd, st.st_size, computer);
  brix::share::Close(fd);
  if (!ok) return;
  s.holderUser = user;
  s.holderComputer = computer;
}

SYS_String SFM_ProjectFile::GetUserName(const char* projectFile) {
  State& s = S();
  const char* file = projectFile ? projectFile : "";
  if (std::strcmp(file, s.lastQueried) != 0) {
    const SYS_String saved = s.projectName;
    if (*file) s.projectName = file;
    GetInfo();
    s.projectName = saved;
    s.lastQueried = file;
  }
  return s.holderUser;
}

SYS_String SFM_ProjectFile::GetComputerName(const char* projectFile) {
  GetUserName(projectFile);
  return S().holderComputer;
}

// ---- Read and other-file descriptors ---------------------------------------------

int SFM_ProjectFile::GetTempFile() {
  State& s = S();
  if (s.readHandle == -1)
    s.readHandle = CreateFileH(s.projectName, kAccessRead, kShareRead | kShareWrite,
                               brix::share::kOpenExisting);
  return s.readHandle;
}

void SFM_ProjectFile::CloseTempFile() { CloseHandle(S().readHandle); }

int SFM_ProjectFile::IsTempFileOpen() { return S().readHandle != -1; }

int SFM_ProjectFile::SetOtherFileName(const char* name) {
  State& s = S();
  CloseOtherFile();
  s.otherHandle = CreateFileH(name, kAccessRead | kAccessWrite, 0, brix::share::kOpenAlways);
  if (s.otherHandle == -1) return 0;
  s.flags |= kOtherFileOpen;
  return 1;
}

int SFM_ProjectFile::GetFile() {
  const State& s = S();
  return (s.flags & kOtherFileOpen) ? s.otherHandle : s.projectHandle;
}

void SFM_ProjectFile::CloseOtherFile() {
  State& s = S();
  CloseHandle(s.otherHandle);
  s.flags &= ~kOtherFileOpen;
}

// ---- Accessors -----------------------------------------------------------------

SFM_ProjectFile::SFM_ProjectFile(int forWrite, const char* name) {
  State& s = S();
  if (name && *name && strcasecmp(name, s.projectName) != 0) {
    if (!SetOtherFileName(name)) return;
    m_handle = GetFile();
    m_otherFile = 1;
    m_holdsWriter = 1;
    ++s.writers;
  } else {
    m_handle = GetFile();
    if (m_handle == -1) {
      m_handle = GetTempFile();
      if (m_handle != -1) {
        m_holdsReader = 1;
        ++s.readers;
      }
    }
  }
  // An accessor on another file counts as a writer once, above.
  if (m_handle != -1 && forWrite && !m_otherFile) {
    if (s.writers++ == 0) {
      // The first writer shuts every other process out while it writes.
      if (!LockRW()) {
        m_handle = -1;
        --s.writers;
        return;
      }
      m_handle = GetFile();  // the upgrade reopened the project
    }
    m_holdsWriter = 1;
  }
}

SFM_ProjectFile::~SFM_ProjectFile() {
  State& s = S();
  if (m_holdsWriter && --s.writers < 1 && !m_otherFile) {
    if (m_handle != -1) fsync(m_handle);
    LockW();
  }
  if (m_holdsReader && --s.readers < 1) CloseTempFile();
  if (m_otherFile) {
    if (s.otherHandle != -1) fsync(s.otherHandle);
    CloseOtherFile();
  }
}

int SFM_ProjectFile::IsValid() { return m_handle != -1; }

SFM_ProjectFile::operator void*() {
  return reinterpret_cast<void*>(static_cast<intptr_t>(m_handle));
}

unsigned long SFM_ProjectFile::Read(void* buffer, unsigned long count) {
  if (m_handle == -1 || (!buffer && count)) return 0;
  ssize_t n;
  do {
    n = read(m_handle, buffer, count);
  } while (n < 0 && errno == EINTR);
  return n < 0 ? 0 : static_cast<unsigned long>(n);
}

unsigned long SFM_ProjectFile::Write(const void* buffer, unsigned long count) {
  if (m_handle == -1 || (!buffer && count)) return 0;
  ssize_t n;
  do {
    n = write(m_handle, buffer, count);
  } while (n < 0 && errno == EINTR);
  return n < 0 ? 0 : static_cast<unsigned long>(n);
}

unsigned long SFM_ProjectFile::GetFileSize() {
  struct stat st;
  if (m_handle == -1 || fstat(m_handle, &st) != 0) return static_cast<unsigned long>(-1);
  return static_cast<uint32_t>(st.st_size);
}

unsigned long SFM_ProjectFile::GetFilePointer() { return SetFilePointer(0, 1); }

unsigned long SFM_ProjectFile::SetFilePointer(long distance, unsigned long method) {
  static constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  if (m_handle == -1 || method > 2) return static_cast<unsigned long>(-1);
  const off_t at = lseek(m_handle, distance, kWhence[method]);
  if (at < 0) return static_cast<unsigned long>(-1);
  return static_cast<uint32_t>(at);
}

void SFM_ProjectFile::Clear() {
  if (m_handle == -1) return;
  lseek(m_handle, 0, SEEK_SET);
  if (ftruncate(m_handle, 0) != 0) {
    // Nothing to report through: Clear has no result.
  }
}

void* SFM_ProjectFile::Duplicate() {
  const int fd = m_handle == -1 ? -1 : fcntl(m_handle, F_DUPFD_CLOEXEC, 0);
  return reinterpret_cast<void*>(static_cast<intptr_t>(fd));
}
