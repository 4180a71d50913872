// file_posix.cpp - memory mapping of whole files behind SFM_File.
#include "platform/file_posix.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>

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

}  // namespace brix::file
