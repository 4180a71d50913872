// file_posix.cpp - memory mapping and the temporary close of streams behind SFM_File.
#include "platform/file_posix.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <cwchar>

namespace brix::file {

void* MapPrivate(int fd, std::size_t& size) {
  size = 0;
  struct stat st;
  if (::fstat(fd, &st) != 0) return nullptr;
  // An empty file has nothing to map (intended: mapping it fails).
  if (!S_ISREG(st.st_mode) || st.st_size <= 0) {
    errno = S_ISREG(st.st_mode) ? EINVAL : ENODEV;
    return nullptr;
  }
  void* view = ::mmap(nullptr, static_cast<std::size_t>(st.st_size), PROT_READ | PROT_WRITE,
                      MAP_PRIVATE, fd, 0);
  if (view == MAP_FAILED) return nullptr;
  size = static_cast<std::size_t>(st.st_size);
  return view;
}

void Unmap(void* view, std::size_t size) {
  if (view) ::munmap(view, size);
}

namespace {

// The open(2) flags and the fdopen mode that give back a stream opened with the
// fopen `mode`, read the way the C library reads it: the first letter, then up to
// six flag characters of which "+" and "e" matter here ("b", "t", "x" and the
// others change nothing once the file exists). A converting stream (",ccs=")
// carries a state of its own and is refused.
bool ReopenFlags(const char* mode, int& flags, char (&streamMode)[3]) {
  if (!mode || std::strstr(mode, ",ccs=")) return false;
  const char access = mode[0];
  if (access != 'r' && access != 'w' && access != 'a') return false;
  bool update = false;
  bool closeOnExec = false;
  for (int i = 1; i < 7 && mode[i]; ++i) {
    if (mode[i] == '+') update = true;
    if (mode[i] == 'e') closeOnExec = true;
  }
  flags = update ? O_RDWR : access == 'r' ? O_RDONLY : O_WRONLY;
  if (access == 'a') flags |= O_APPEND;
  if (closeOnExec) flags |= O_CLOEXEC;
  // fdopen never truncates nor creates: "w" on a descriptor only says "for writing".
  streamMode[0] = access;
  streamMode[1] = update ? '+' : '\0';
  streamMode[2] = '\0';
  return true;
}

}  // namespace

bool CanResume(std::FILE* stream, const char* mode, Identity& identity) {
  int flags;
  char streamMode[3];
  if (!stream || !ReopenFlags(mode, flags, streamMode)) return false;
  if (std::fwide(stream, 0) > 0) return false;  // a wide stream's conversion state is lost
  struct stat st;
  if (::fstat(::fileno(stream), &st) != 0 || !S_ISREG(st.st_mode) || st.st_nlink == 0) return false;
  if (::ftello(stream) < 0) return false;
  identity.device = st.st_dev;
  identity.inode = st.st_ino;
  return true;
}

std::FILE* Reopen(const char* path, const char* mode, const Identity& identity) {
  int flags;
  char streamMode[3];
  if (!ReopenFlags(mode, flags, streamMode)) {
    errno = EINVAL;
    return nullptr;
  }
  // Non-blocking until the file is known: a FIFO put under the name must not hang us.
  const int fd = ::open(path, flags | O_NONBLOCK);
  if (fd < 0) return nullptr;
  struct stat st;
  int error = 0;
  if (::fstat(fd, &st) != 0)
    error = errno;
  else if (st.st_dev != identity.device || st.st_ino != identity.inode)
    error = ESTALE;
  else if (::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK) != 0)
    error = errno;
  std::FILE* stream = error ? nullptr : ::fdopen(fd, streamMode);
  if (!stream) {
    if (!error) error = errno;
    ::close(fd);
    errno = error;
  }
  return stream;
}

}  // namespace brix::file
