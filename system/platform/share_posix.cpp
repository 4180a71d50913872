// share_posix.cpp - share modes emulated with open-file-description byte-range locks.
#include "platform/share_posix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <random>

#include "platform/fs_posix.h"

namespace brix::share {
namespace {

// The lock bytes sit at the top of the offset range, where no real file reaches,
// so they never stand in the way of reading or writing data.
constexpr off_t kLockBase = std::numeric_limits<off_t>::max() - 16;
enum Slot : unsigned { kHasRead = 0, kHasWrite = 1, kDeniesRead = 2, kDeniesWrite = 3 };
constexpr unsigned kAllSlots = 0xf;

// How often a claim that lost a race is tried again before it is refused.
constexpr int kClaimRounds = 4;

constexpr unsigned Bit(Slot slot) { return 1u << slot; }

// The slots an open with `access` and `share` marks.
unsigned MarksOf(unsigned access, unsigned share) {
  unsigned marks = 0;
  if (access & kAccessRead) marks |= Bit(kHasRead);
  if (access & kAccessWrite) marks |= Bit(kHasWrite);
  if (!(share & kShareRead)) marks |= Bit(kDeniesRead);
  if (!(share & kShareWrite)) marks |= Bit(kDeniesWrite);
  return marks;
}

// The slots of other opens that the marks `marks` cannot coexist with: having an
// access conflicts with denying it, and the other way round.
unsigned Opposites(unsigned marks) { return ((marks & 0x3) << 2) | ((marks & 0xc) >> 2); }

struct flock LockAt(unsigned slot, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = kLockBase + static_cast<off_t>(slot);
  lock.l_len = 1;
  lock.l_pid = 0;  // required for open-file-description locks
  return lock;
}

// 1 when another open holds any of `slots`, 0 when none does, -1 with errno on
// failure. The open's own locks never count.
int AnyTaken(int fd, unsigned slots) {
  for (unsigned slot = 0; slot < 4; ++slot) {
    if (!(slots & (1u << slot))) continue;
    struct flock lock = LockAt(slot, F_WRLCK);
    if (fcntl(fd, F_OFD_GETLK, &lock) != 0) return -1;
    if (lock.l_type != F_UNLCK) return 1;
  }
  return 0;
}

bool MarkAll(int fd, unsigned slots) {
  for (unsigned slot = 0; slot < 4; ++slot) {
    if (!(slots & (1u << slot))) continue;
    struct flock lock = LockAt(slot, F_RDLCK);
    if (fcntl(fd, F_OFD_SETLK, &lock) != 0) return false;
  }
  return true;
}

void Unmark(int fd, unsigned slots) {
  const int saved = errno;
  for (unsigned slot = 0; slot < 4; ++slot) {
    if (!(slots & (1u << slot))) continue;
    struct flock lock = LockAt(slot, F_UNLCK);
    fcntl(fd, F_OFD_SETLK, &lock);
  }
  errno = saved;
}

// A pause of up to (1 << round) half-milliseconds, random so that two processes
// that collided do not collide again in step.
void BackOff(int round) {
  thread_local std::minstd_rand random(static_cast<unsigned>(getpid()) ^
                                       static_cast<unsigned>(time(nullptr)));
  const long maxMicros = 500L << round;
  struct timespec pause = {0, (1 + static_cast<long>(random() % maxMicros)) * 1000L};
  while (nanosleep(&pause, &pause) != 0 && errno == EINTR) {
  }
}

// Takes the marks `add` on `fd` unless another open holds a slot that they
// conflict with. 0 on success, else an errno code (EBUSY for a conflict); no mark
// of `add` is left behind on failure.
//
// There is no guard around check and mark: the marks are taken first and the
// check comes second. Of two conflicting claims racing, each then sees the
// other's marks, so they can never both succeed (at worst both back off and try
// again). Nothing here ever waits for a lock or needs an exclusive one, which is
// what keeps it working where flock() is emulated with byte-range locks (NFS):
// there an exclusive guard needs a writable descriptor and collides with the
// marks of every other open.
int Claim(int fd, unsigned add) {
  const unsigned against = Opposites(add);
  for (int round = 0; round < kClaimRounds; ++round) {
    // A lasting conflict is refused before any mark is taken, so that a refused
    // open never disturbs others.
    const int before = AnyTaken(fd, against);
    if (before != 0) return before < 0 ? errno : EBUSY;
    if (!MarkAll(fd, add)) {
      // A lock taken on the reserved bytes by something other than this layer.
      const int error = errno == EAGAIN || errno == EACCES ? EBUSY : errno;
      Unmark(fd, add);
      return error;
    }
    const int after = AnyTaken(fd, against);
    if (after == 0) return 0;
    const int error = after < 0 ? errno : EBUSY;
    Unmark(fd, add);
    if (after < 0) return error;
    BackOff(round);  // another open claimed at the same moment
  }
  return EBUSY;
}

void CloseKeepErrno(int fd) {
  const int saved = errno;
  close(fd);
  errno = saved;
}

bool ValidModes(unsigned access, unsigned share) {
  return access != 0 && !(access & ~3u) && !(share & ~3u);
}

}  // namespace

bool Compatible(unsigned heldAccess, unsigned heldShare, unsigned access, unsigned share) {
  if ((access & kAccessRead) && !(heldShare & kShareRead)) return false;
  if ((access & kAccessWrite) && !(heldShare & kShareWrite)) return false;
  if ((heldAccess & kAccessRead) && !(share & kShareRead)) return false;
  if ((heldAccess & kAccessWrite) && !(share & kShareWrite)) return false;
  return true;
}

int Open(const char* path, unsigned access, unsigned share, int disposition, unsigned options) {
  if (!path || !*path || !ValidModes(access, share) || disposition < kCreateNew ||
      disposition > kTruncateExisting || (options & ~kRegularOnly) ||
      (disposition == kTruncateExisting && !(access & kAccessWrite))) {
    errno = EINVAL;
    return -1;
  }
  int flags = O_CLOEXEC | O_NOCTTY | ((access & kAccessWrite) ? O_RDWR : O_RDONLY);
  if (disposition == kCreateNew) flags |= O_CREAT | O_EXCL;
  if (disposition == kCreateAlways || disposition == kOpenAlways) flags |= O_CREAT;
  // Without O_NONBLOCK a FIFO planted under the name would hang the open.
  if (options & kRegularOnly) flags |= O_NOFOLLOW | O_NONBLOCK;
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
  if (S_ISDIR(st.st_mode) || ((options & kRegularOnly) && !S_ISREG(st.st_mode))) {
    close(fd);
    errno = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
    return -1;
  }
  if ((options & kRegularOnly) && fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK) != 0) {
    CloseKeepErrno(fd);
    return -1;
  }
  const int error = Claim(fd, MarksOf(access, share));
  if (error != 0) {
    close(fd);  // drops any mark still held
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

bool Reshare(int fd, unsigned access, unsigned heldShare, unsigned share) {
  if (fd < 0 || !ValidModes(access, heldShare) || !ValidModes(access, share)) {
    errno = EINVAL;
    return false;
  }
  const unsigned held = MarksOf(access, heldShare);
  const unsigned wanted = MarksOf(access, share);
  const int error = Claim(fd, wanted & ~held & kAllSlots);
  if (error != 0) {
    errno = error;
    return false;
  }
  Unmark(fd, held & ~wanted);
  return true;
}

void Close(int fd) {
  if (fd >= 0) CloseKeepErrno(fd);
}

}  // namespace brix::share
