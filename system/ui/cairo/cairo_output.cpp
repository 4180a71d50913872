// cairo_output.cpp - in-memory cairo streams and the atomic replacement of output files.
#include "cairo_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>

namespace brix::cairo_out {

bool FormatFromPath(const char* path, Format& format) {
  if (!path) return false;
  const char* dot = std::strrchr(path, '.');
  if (!dot || std::strchr(dot, '/')) return false;
  std::string ext;
  for (const char* c = dot + 1; *c; ++c)
    ext.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(*c))));
  if (ext == "png") format = Format::Png;
  else if (ext == "svg") format = Format::Svg;
  else if (ext == "pdf") format = Format::Pdf;
  else return false;
  return true;
}

cairo_status_t Sink::Write(void* self, const unsigned char* data, unsigned int length) {
  try {
    static_cast<Sink*>(self)->bytes_.append(reinterpret_cast<const char*>(data), length);
  } catch (...) {
    return CAIRO_STATUS_NO_MEMORY;
  }
  return CAIRO_STATUS_SUCCESS;
}

namespace {

bool WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;  // a signal, not a failure: the loop ends with the data
      return false;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

int ReplaceFile(const std::string& path, const std::string& bytes) {
  struct stat st;
  bool exists = ::lstat(path.c_str(), &st) == 0;
  if (exists && !S_ISREG(st.st_mode)) {
    errno = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
    return 0;
  }
  std::string tmp = path + ".XXXXXX";
  int fd = ::mkostemp(tmp.data(), O_CLOEXEC);
  if (fd < 0) return 0;
  // A replaced picture keeps its permissions; a new one gets the usual umask-governed ones.
  if (exists) {
    ::fchmod(fd, st.st_mode & 07777);
  } else {
    mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
  }
  bool ok = WriteAll(fd, bytes.data(), bytes.size()) && ::fsync(fd) == 0;
  int saved = errno;
  if (::close(fd) != 0 && ok) {
    ok = false;
    saved = errno;
  }
  if (ok && ::rename(tmp.c_str(), path.c_str()) != 0) {
    ok = false;
    saved = errno;
  }
  if (!ok) {
    ::unlink(tmp.c_str());
    errno = saved;
    return 0;
  }
  std::string dir = path.substr(0, path.rfind('/') + 1);
  int dfd = ::open(dir.empty() ? "." : dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dfd >= 0) {
    ::fsync(dfd);
    ::close(dfd);
  }
  return 1;
}

}  // namespace brix::cairo_out
