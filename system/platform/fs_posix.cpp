// fs_posix.cpp - POSIX file-system services: wildcard search, copy, rename, directories.
#include "platform/fs_posix.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace brix::fs {
namespace {

// Keeps errno across cleanup calls made after a failure.
class ErrnoKeeper {
 public:
  ErrnoKeeper() : saved_(errno) {}
  ~ErrnoKeeper() { errno = saved_; }

 private:
  int saved_;
};

// A path ready for the kernel; copies only when a backslash has to be turned around.
class Native {
 public:
  explicit Native(const char* path) : raw_(path ? path : "") {
    if (std::strchr(raw_, '\\')) {
      converted_ = NativePath(raw_);
      raw_ = converted_.c_str();
    }
  }
  const char* c_str() const { return raw_; }

 private:
  const char* raw_;
  std::string converted_;
};

// Length in bytes of the character at `s` in the process code page; 1 for anything that
// does not decode, so that matching always advances.
std::size_t CharLen(const char* s) {
  if (static_cast<unsigned char>(*s) < 0x80) return 1;
  std::mbstate_t state{};
  std::size_t n = std::mbrlen(s, MB_CUR_MAX, &state);
  return (n == 0 || n == static_cast<std::size_t>(-1) || n == static_cast<std::size_t>(-2)) ? 1 : n;
}

// "*" and "?" over whole characters, bytes compared exactly. Backtracks to the last "*"
// only, which is enough because a later "*" can absorb anything an earlier one could.
bool MatchPlain(const char* p, const char* s) {
  const char* starP = nullptr;
  const char* starS = nullptr;
  while (*s) {
    if (*p == '*') {
      while (*p == '*') ++p;
      if (!*p) return true;
      starP = p;
      starS = s;
    } else if (*p == '?') {
      ++p;
      s += CharLen(s);
    } else if (*p && *p == *s) {
      ++p;
      ++s;
    } else if (starP) {
      starS += CharLen(starS);
      s = starS;
      p = starP;
    } else {
      return false;
    }
  }
  while (*p == '*') ++p;
  return *p == 0;
}

bool MatchName(const std::string& pattern, const char* name) {
  if (MatchPlain(pattern.c_str(), name)) return true;
  // "name.*" also finds "name", so "*.*" finds every entry, dot or not.
  const std::size_t n = pattern.size();
  if (n >= 2 && pattern[n - 2] == '.' && pattern[n - 1] == '*')
    return MatchPlain(pattern.substr(0, n - 2).c_str(), name);
  return false;
}

bool HasWildcard(const std::string& s) { return s.find_first_of("*?") != std::string::npos; }

bool IsHiddenName(const char* name) {
  return name[0] == '.' && name[1] != 0 && !(name[1] == '.' && name[2] == 0);
}

unsigned AttributesOf(const struct stat& st, const char* name) {
  unsigned attrib = 0;
  if (S_ISDIR(st.st_mode)) attrib |= kAttrDirectory;
  if (S_ISREG(st.st_mode)) attrib |= kAttrArchive;
  if (!(st.st_mode & S_IWUSR)) attrib |= kAttrReadOnly;
  if (IsHiddenName(name)) attrib |= kAttrHidden;
  return attrib;
}

void Fill(FindRecord& out, const struct stat& st, const char* name, bool isLink) {
  out.attrib = AttributesOf(st, name) | (isLink ? kAttrLink : 0);
  out.timeCreate = st.st_ctime;
  out.timeAccess = st.st_atime;
  out.timeWrite = st.st_mtime;
  out.size = static_cast<std::uint64_t>(st.st_size);
  std::size_t n = std::strlen(name);
  if (n >= sizeof out.name) n = sizeof out.name - 1;
  std::memcpy(out.name, name, n);
  out.name[n] = 0;
}

// The base name of a path as written (after the last "/"), for the hidden bit.
const char* BaseName(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash && slash[1] ? slash + 1 : path;
}

}  // namespace

std::string NativePath(const char* path) {
  std::string s(path ? path : "");
  for (char& c : s)
    if (c == '\\') c = '/';
  return s;
}

// ---------------------------------------------------------------------------
// Wildcard search

struct FindSearch {
  DIR* dir = nullptr;  // null once a literal name has been reported
  std::string pattern;
};

namespace {

// Reads entries until one matches; false at the end of the directory.
bool ReadMatch(FindSearch& search, FindRecord& out) {
  const int dirFd = dirfd(search.dir);
  while (dirent* entry = readdir(search.dir)) {
    if (!MatchName(search.pattern, entry->d_name)) continue;
    struct stat st;
    bool isLink = entry->d_type == DT_LNK;
    if (entry->d_type == DT_UNKNOWN) {
      if (fstatat(dirFd, entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
      isLink = S_ISLNK(st.st_mode);
    }
    // A dangling symbolic link is reported as the link itself; an entry removed since
    // readdir saw it is skipped.
    if (fstatat(dirFd, entry->d_name, &st, 0) != 0 &&
        fstatat(dirFd, entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0)
      continue;
    Fill(out, st, entry->d_name, isLink);
    return true;
  }
  return false;
}

}  // namespace

FindSearch* FindFirst(const char* pattern, FindRecord& out) {
  std::string path = NativePath(pattern);
  std::string dir;
  std::string name;
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    dir = ".";
    name = path;
  } else {
    dir = slash == 0 ? "/" : path.substr(0, slash);
    name = path.substr(slash + 1);
  }
  if (name.empty()) {
    errno = ENOENT;
    return nullptr;
  }

  if (!HasWildcard(name)) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return nullptr;
    const bool isLink = S_ISLNK(st.st_mode);
    struct stat target;
    if (isLink && stat(path.c_str(), &target) == 0) st = target;  // a dangling link: its own
    Fill(out, st, name.c_str(), isLink);
    return new FindSearch{};
  }

  DIR* d = opendir(dir.c_str());
  if (!d) return nullptr;
  auto* search = new FindSearch{d, std::move(name)};
  if (ReadMatch(*search, out)) return search;
  FindClose(search);
  errno = ENOENT;
  return nullptr;
}

bool FindNext(FindSearch* search, FindRecord& out) {
  if (!search || !search->dir) {
    errno = ENOENT;
    return false;
  }
  if (ReadMatch(*search, out)) return true;
  errno = ENOENT;
  return false;
}

void FindClose(FindSearch* search) {
  if (!search) return;
  ErrnoKeeper keep;
  if (search->dir) closedir(search->dir);
  delete search;
}

// ---------------------------------------------------------------------------
// Copy and rename

namespace {

enum class CopyStep { kDone, kFailed, kUnsupported };

// In-kernel copy from the current offsets to the end of `in`.
CopyStep CopyRange(int in, int out) {
  for (;;) {
    ssize_t n = copy_file_range(in, nullptr, out, nullptr, std::size_t{1} << 30, 0);
    if (n > 0) continue;
    if (n == 0) return CopyStep::kDone;
    if (errno == EINTR) continue;
    if (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP ||
        errno == EBADF || errno == EPERM)
      return CopyStep::kUnsupported;
    return CopyStep::kFailed;
  }
}

CopyStep SendFile(int in, int out) {
  for (;;) {
    ssize_t n = sendfile(out, in, nullptr, 0x7ffff000);
    if (n > 0) continue;
    if (n == 0) return CopyStep::kDone;
    if (errno == EINTR) continue;
    if (errno == EINVAL || errno == ENOSYS) return CopyStep::kUnsupported;
    return CopyStep::kFailed;
  }
}

bool ReadWrite(int in, int out) {
  char buffer[1 << 16];
  for (;;) {
    ssize_t n = read(in, buffer, sizeof buffer);
    if (n == 0) return true;
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (!WriteAll(out, buffer, static_cast<std::size_t>(n))) return false;
  }
}

// Copies `in` from its current offset to its end. Files that report size 0 (those of
// /proc and /sys) may still have content and go straight to read/write, which sees it.
bool CopyContent(int in, int out, off_t size) {
  if (size > 0) {
    CopyStep step = CopyRange(in, out);
    if (step == CopyStep::kDone) {
      // Some file systems stop short without an error; finish those with read/write.
      if (lseek(in, 0, SEEK_CUR) >= size) return true;
    } else if (step == CopyStep::kFailed) {
      return false;
    }
    step = SendFile(in, out);
    if (step == CopyStep::kDone) return true;
    if (step == CopyStep::kFailed) return false;
  }
  return ReadWrite(in, out);
}

}  // namespace

namespace {

// The directory part of a native path, for the temporary file beside it.
std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Checks what the target path holds now. Only a regular file or a symbolic link (the
// link itself) is ever replaced; a read-only file is refused as Windows refuses it.
bool TargetMayGo(const char* target, const struct stat& source, bool overwrite) {
  struct stat st;
  if (lstat(target, &st) != 0) return errno == ENOENT;
  if (!overwrite) {
    errno = EEXIST;
    return false;
  }
  if (S_ISDIR(st.st_mode)) {
    errno = EISDIR;
    return false;
  }
  if (!S_ISREG(st.st_mode) && !S_ISLNK(st.st_mode)) {
    errno = EINVAL;
    return false;
  }
  if (S_ISREG(st.st_mode)) {
    if (st.st_dev == source.st_dev && st.st_ino == source.st_ino) {
      errno = EINVAL;  // a file copied onto itself
      return false;
    }
    if (faccessat(AT_FDCWD, target, W_OK, AT_EACCESS) != 0) return false;
  }
  return true;
}

// Puts the complete temporary file in the target's place: replacing it, or only when
// the name is free.
bool PutInPlace(const char* temp, const char* target, bool overwrite) {
  if (overwrite) return rename(temp, target) == 0;
  if (renameat2(AT_FDCWD, temp, AT_FDCWD, target, RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // No atomic exclusive rename here: a second name fails when the target exists.
  if (link(temp, target) != 0) return false;
  unlink(temp);
  return true;
}

void SyncDirectory(const std::string& dir) {
  const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);  // durability of the rename; the copy itself is already complete
  close(fd);
}

}  // namespace

bool ReplaceContents(const char* path, const void* data, std::size_t size) {
  const std::string target = NativePath(path);
  struct stat st;
  const bool exists = lstat(target.c_str(), &st) == 0;
  if (exists && !S_ISREG(st.st_mode) && !S_ISLNK(st.st_mode)) {
    errno = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
    return false;
  }
  const std::string dir = DirectoryOf(target);
  std::string temp = dir + "/.brixsave-XXXXXX";
  const int out = mkostemp(temp.data(), O_CLOEXEC);
  if (out < 0) return false;
  mode_t mode;
  if (exists && S_ISREG(st.st_mode)) {
    mode = st.st_mode & 0777;
  } else {
    const mode_t mask = umask(0);
    umask(mask);
    mode = 0666 & ~mask;
  }
  bool ok = fchmod(out, mode) == 0 && WriteAll(out, data, size) &&
            (fsync(out) == 0 || errno == EINVAL);  // EINVAL: a file system that cannot sync
  if (close(out) != 0) ok = false;  // delayed write errors (NFS) show up here
  if (ok) ok = rename(temp.c_str(), target.c_str()) == 0;
  if (!ok) {
    ErrnoKeeper keep;
    unlink(temp.c_str());
    return false;
  }
  SyncDirectory(dir);
  return true;
}

bool CopyFile(const char* from, const char* to, bool overwrite) {
  Native src(from);
  const std::string target = NativePath(to);
  // O_NONBLOCK keeps a FIFO named as the source from blocking the open.
  const int in = open(src.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (in < 0) return false;
  struct stat st;
  const bool statted = fstat(in, &st) == 0;
  if (!statted || !S_ISREG(st.st_mode)) {
    const int code = !statted ? errno : S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
    close(in);
    errno = code;
    return false;
  }
  fcntl(in, F_SETFL, fcntl(in, F_GETFL) & ~O_NONBLOCK);
  if (!TargetMayGo(target.c_str(), st, overwrite)) {
    ErrnoKeeper keep;
    close(in);
    return false;
  }

  // The copy is made complete and synced beside the target, then renamed over it, so
  // that a failure half way (disk full, quota) leaves the old target untouched.
  const std::string dir = DirectoryOf(target);
  std::string temp = dir + "/.brixcopy-XXXXXX";
  const int out = mkostemp(temp.data(), O_CLOEXEC);
  if (out < 0) {
    ErrnoKeeper keep;
    close(in);
    return false;
  }
  bool ok = CopyContent(in, out, st.st_size);
  if (ok) {
    const timespec times[2] = {st.st_atim, st.st_mtim};
    // Permission bits and time are a courtesy; content is what must succeed.
    (void)fchmod(out, st.st_mode & 0777);
    (void)futimens(out, times);
    ok = fsync(out) == 0 || errno == EINVAL;  // EINVAL: a file system that cannot sync
  }
  {
    ErrnoKeeper keep;
    close(in);
  }
  if (close(out) != 0) ok = false;  // delayed write errors (NFS) show up here
  if (ok) ok = PutInPlace(temp.c_str(), target.c_str(), overwrite);
  if (!ok) {
    ErrnoKeeper keep;
    unlink(temp.c_str());
    return false;
  }
  SyncDirectory(dir);
  return true;
}

bool Rename(const char* from, const char* to) {
  Native src(from);
  Native dst(to);
  if (renameat2(AT_FDCWD, src.c_str(), AT_FDCWD, dst.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno == EINVAL || errno == ENOSYS) {
    // The file system cannot rename atomically without replacing; check, then rename.
    struct stat st;
    if (lstat(dst.c_str(), &st) == 0) {
      errno = EEXIST;
      return false;
    }
    if (rename(src.c_str(), dst.c_str()) == 0) return true;
  }
  if (errno != EXDEV) return false;

  struct stat st;
  if (lstat(src.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    errno = EXDEV;
    return false;
  }
  if (!CopyFile(src.c_str(), dst.c_str(), false)) return false;
  if (unlink(src.c_str()) != 0) {
    ErrnoKeeper keep;
    unlink(dst.c_str());
    return false;
  }
  return true;
}

// ---------------------------------------------------------------------------
// Directories, existence, attributes

bool RemoveFile(const char* path) { return unlink(Native(path).c_str()) == 0; }

bool RemoveDirectory(const char* path) { return rmdir(Native(path).c_str()) == 0; }

bool MakeDirectory(const char* path) { return mkdir(Native(path).c_str(), 0777) == 0; }

std::string CurrentDirectory() {
  char* cwd = getcwd(nullptr, 0);
  if (!cwd) return std::string();
  std::string result(cwd);
  std::free(cwd);
  return result;
}

int ChangeDirectory(const char* path) { return chdir(Native(path).c_str()) == 0 ? 0 : -1; }

int OpenExclusive(const char* path) {
  const int fd = open(Native(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return -1;
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 0;  // the whole file, including the reserved offsets past its end
  if (fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) {
    close(fd);
    errno = EBUSY;
    return -1;
  }
  return fd;
}

void CloseFile(int fd) {
  ErrnoKeeper keep;
  if (fd >= 0) close(fd);
}

bool SameFile(const char* a, const char* b) {
  struct stat sa;
  struct stat sb;
  return stat(Native(a).c_str(), &sa) == 0 && stat(Native(b).c_str(), &sb) == 0 &&
         sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

int GetAttributes(const char* path) {
  Native p(path);
  struct stat st;
  if (stat(p.c_str(), &st) != 0) return -1;
  return static_cast<int>(AttributesOf(st, BaseName(p.c_str())));
}

bool SetReadOnly(const char* path, bool readOnly) {
  Native p(path);
  struct stat st;
  if (stat(p.c_str(), &st) != 0) return false;
  mode_t mode = st.st_mode & 07777;
  mode = readOnly ? (mode & ~(S_IWUSR | S_IWGRP | S_IWOTH)) : (mode | S_IWUSR);
  return chmod(p.c_str(), mode) == 0;
}

bool WriteAll(int fd, const void* data, std::size_t count) {
  const char* p = static_cast<const char*>(data);
  while (count > 0) {
    const ssize_t n = write(fd, p, count);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    count -= static_cast<std::size_t>(n);
  }
  return true;
}

std::size_t ReadAll(int fd, void* data, std::size_t count) {
  char* p = static_cast<char*>(data);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t n = read(fd, p + done, count - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<std::size_t>(n);
  }
  return done;
}

}  // namespace brix::fs
