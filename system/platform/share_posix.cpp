// share_posix.cpp - share modes emulated with open-file-description byte-range locks.
#include "platform/share_posix.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "platform/fs_posix.h"

namespace brix::share {
namespace {

// The lock bytes sit at the top of the offset range, where no real file reaches,
// so they never stand in the way of reading or writing data.
constexpr off_t kLockBase = std::numeric_limits<off_t>::max() - 16;
enum Slot : int { kHasRead = 0, kHasWrite = 1, kDeniesRead = 2, kDeniesWrite = 3 };

struct flock LockAt(int slot, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = kLockBase + slot;
  lock.l_len = 1;
  lock.l_pid = 0;  // required for open-file-description locks
  return lock;
}

// True when no other open holds a lock on `slot`.
bool SlotFree(int fd, int slot) {
  struct flock lock = LockAt(slot, F_WRLCK);
  if (fcntl(fd, F_OFD_GETLK, &lock) != 0) return false;
  return lock.l_type == F_UNLCK;
}

bool Mark(int fd, int slot) {
  struct flock lock = LockAt(slot, F_RDLCK);
  return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

// The guard is a flock() rather than a byte-range write lock because a write
// lock needs a writable descriptor and read-only opens must take the guard too.
// On Linux flock() and fcntl() locks never interact.
bool TakeGuard(int fd) {
  while (flock(fd, LOCK_EX) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

void ReleaseGuard(int fd) {
  const int saved = errno;
  flock(fd, LOCK_UN);
  errno = saved;
}

void CloseKeepErrno(int fd) {
  const int saved = errno;
  close(fd);
  errno = saved;
}

}  // namespace

bool Compatible(unsigned heldAccess, unsigned heldShare, unsigned access, unsigned share) {
  if ((access & kAccessRead) && !(heldShare & kShareRead)) return false;
  if ((access & kAccessWrite) && !(heldShare & kShareWrite)) return false;
  if ((heldAccess & kAccessRead) && !(share & kShareRead)) return false;
  if ((heldAccess & kAccessWrite) && !(share & kShareWrite)) return false;
  return true;
}

int Open(const char* path, unsigned access, unsigned share, int disposition) {
  if (!path || !*path || access == 0 || (access & ~3u) || (share & ~3u) ||
      disposition < kCreateNew || disposition > kTruncateExisting ||
      (disposition == kTruncateExisting && !(access & kAccessWrite))) {
    errno = EINVAL;
    return -1;
  }
  int flags = O_CLOEXEC | ((access & kAccessWrite) ? O_RDWR : O_RDONLY);
  if (disposition == kCreateNew) flags |= O_CREAT | O_EXCL;
  if (disposition == kCreateAlways || disposition == kOpenAlways) flags |= O_CREAT;
  const std::string native = fs::NativePath(path);
  int fd;
  do {
    fd = open(native.c_str(), flags, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return -1;

  struct stat st;
  if (fstat(fd, &st) != 0) {
    CloseKeepErrno(fd);
    return -1;
  }
  if (S_ISDIR(st.st_mode)) {
    close(fd);
    errno = EISDIR;
    return -1;
  }
  if (!TakeGuard(fd)) {
    CloseKeepErrno(fd);
    return -1;
  }
  // Every other open must let us do what we ask, and must not already do what
  // we forbid.
  bool ok = (!(access & kAccessRead) || SlotFree(fd, kDeniesRead)) &&
            (!(access & kAccessWrite) || SlotFree(fd, kDeniesWrite)) &&
            ((share & kShareRead) || SlotFree(fd, kHasRead)) &&
            ((share & kShareWrite) || SlotFree(fd, kHasWrite));
  int error = EBUSY;
  if (ok) {
    ok = (!(access & kAccessRead) || Mark(fd, kHasRead)) &&
         (!(access & kAccessWrite) || Mark(fd, kHasWrite)) &&
         ((share & kShareRead) || Mark(fd, kDeniesRead)) &&
         ((share & kShareWrite) || Mark(fd, kDeniesWrite));
    if (!ok) error = errno;
  }
  ReleaseGuard(fd);
  if (!ok) {
    close(fd);  // drops any mark already taken
    errno = error;
    return -1;
  }
  if ((disposition == kCreateAlways || disposition == kTruncateExisting) && st.st_size != 0 &&
      ftruncate(fd, 0) != 0) {
    CloseKeepErrno(fd);
    return -1;
  }
  return fd;
}

void Close(int fd) {
  if (fd >= 0) CloseKeepErrno(fd);
}

}  // namespace brix::share
