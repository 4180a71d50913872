// settings_posix.cpp - INI settings files in the user's configuration directory.
#include "platform/settings_posix.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "platform/fs_posix.h"

namespace brix::settings {
namespace {

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r'))
    s.remove_suffix(1);
  return s;
}

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    unsigned char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x += 'a' - 'A';
    if (y >= 'A' && y <= 'Z') y += 'a' - 'A';
    if (x != y) return false;
  }
  return true;
}

std::string OneLine(const char* text) {
  std::string s(Trim(text ? text : ""));
  for (char& c : s)
    if (c == '\n' || c == '\r') c = ' ';
  return s;
}

// Reads the whole settings file into `out`. A file that does not exist reads as
// empty. Anything that keeps the file from being read whole - an error, something
// other than a regular file, fewer bytes than its size - returns false with errno
// set, so that no write ever replaces a file it could not read.
bool ReadAll(const std::string& path, std::string& out) {
  out.clear();
  // Non-blocking, so that a FIFO put in the file's place cannot hold us.
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return errno == ENOENT;
  struct stat st;
  int error = 0;
  if (::fstat(fd, &st) != 0) {
    error = errno;
  } else if (!S_ISREG(st.st_mode)) {
    error = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
  } else {
    char buffer[8192];
    for (;;) {
      ssize_t n = ::read(fd, buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) error = errno;
      if (n <= 0) break;
      out.append(buffer, static_cast<size_t>(n));
    }
    if (!error && out.size() < static_cast<size_t>(st.st_size)) error = EIO;
  }
  ::close(fd);
  if (error) {
    out.clear();
    errno = error;
    return false;
  }
  return true;
}

std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    size_t end = text.find('\n');
    if (end == std::string_view::npos) end = text.size();
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end < text.size() ? end + 1 : end);
  }
  return lines;
}

// The section a line opens, or false when it opens none.
bool SectionOf(std::string_view line, std::string_view& section) {
  line = Trim(line);
  if (line.size() < 2 || line.front() != '[') return false;
  size_t close = line.find(']');
  if (close == std::string_view::npos) return false;
  section = Trim(line.substr(1, close - 1));
  return true;
}

// The name and value of a "name=value" line, or false for comments and others.
bool EntryOf(std::string_view line, std::string_view& name, std::string_view& value) {
  std::string_view t = Trim(line);
  if (t.empty() || t.front() == ';' || t.front() == '#' || t.front() == '[') return false;
  size_t eq = t.find('=');
  if (eq == std::string_view::npos) return false;
  name = Trim(t.substr(0, eq));
  value = Trim(t.substr(eq + 1));
  return true;
}

bool MakeDirectories(const std::string& dir) {
  if (dir.empty()) return false;
  for (size_t pos = 1; pos <= dir.size(); ++pos) {
    if (pos != dir.size() && dir[pos] != '/') continue;
    std::string prefix = dir.substr(0, pos);
    if (::mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  struct stat st;
  return ::stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string Edit(std::string_view text, std::string_view section, std::string_view name,
                 const char* value) {
  std::vector<std::string_view> lines = SplitLines(text);
  std::string line = value ? std::string(name) + "=" + OneLine(value) : std::string();
  bool inSection = false, found = false;
  size_t insertAt = lines.size();  // after the last non-blank line of the section
  size_t drop = lines.size();
  for (size_t i = 0; i < lines.size(); ++i) {
    std::string_view s, n, v;
    if (SectionOf(lines[i], s)) {
      if (inSection) break;
      if (!found && SameName(s, section)) {
        inSection = found = true;
        insertAt = i + 1;
      }
      continue;
    }
    if (!inSection) continue;
    if (EntryOf(lines[i], n, v) && SameName(n, name)) {
      // The name keeps the spelling the file already has.
      if (value) line = std::string(n) + "=" + OneLine(value);
      drop = i;
      insertAt = i;
      break;
    }
    if (!Trim(lines[i]).empty()) insertAt = i + 1;
  }

  std::string out;
  out.reserve(text.size() + line.size() + section.size() + 8);
  auto put = [&out](std::string_view l) {
    out.append(l);
    out.push_back('\n');
  };
  for (size_t i = 0; i < lines.size(); ++i) {
    if (found && i == insertAt && value) put(line);
    if (i != drop) put(lines[i]);
  }
  if (found && insertAt == lines.size() && value) put(line);
  if (!found && value) {
    if (!out.empty() && !Trim(lines.back()).empty()) out.push_back('\n');
    out.append("[").append(section).append("]\n");
    put(line);
  }
  return out;
}

// Replaces `path` with `content` atomically (see brix::fs::ReplaceContents).
bool Replace(const std::string& path, const std::string& content) {
  return brix::fs::ReplaceContents(path.c_str(), content.data(), content.size());
}

}  // namespace

std::string ConfigDirectory() {
  const char* own = std::getenv("BRIX_CONFIG_HOME");
  if (own && *own) return own;
  const char* xdg = std::getenv("XDG_CONFIG_HOME");
  // Relative values are invalid by the convention of that variable.
  if (xdg && *xdg == '/') return std::string(xdg) + "/Quillon/Brix";
  std::string home;
  if (const char* h = std::getenv("HOME"); h && *h) {
    home = h;
  } else {
    struct passwd pw, *result = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::geteuid(), &pw, buffer, sizeof buffer, &result) == 0 && result)
      home = result->pw_dir;
  }
  return home + "/.config/Quillon/Brix";
}

std::string SettingsPath(const char* file) {
  std::string name = file ? file : "";
  if (!name.empty() && name.front() == '/') return name;
  return ConfigDirectory() + "/" + name;
}

bool ReadValue(const char* file, const char* section, const char* name, std::string& value) {
  std::string text;
  if (!section || !name || !ReadAll(SettingsPath(file), text)) return false;
  std::string_view wantSection = Trim(section), wantName = Trim(name);
  bool inSection = false;
  for (std::string_view line : SplitLines(text)) {
    std::string_view s, n, v;
    if (SectionOf(line, s)) {
      if (inSection) return false;
      inSection = SameName(s, wantSection);
    } else if (inSection && EntryOf(line, n, v) && SameName(n, wantName)) {
      value.assign(v);
      return true;
    }
  }
  return false;
}

bool WriteValue(const char* file, const char* section, const char* name, const char* value) {
  // Names an INI line could not hold back are refused rather than mangled.
  std::string_view n = name ? Trim(name) : std::string_view();
  std::string_view sec = section ? Trim(section) : std::string_view();
  if (!section || n.empty() || n.find_first_of("=\r\n") != std::string_view::npos ||
      n.front() == '[' || n.front() == ';' || n.front() == '#' ||
      sec.find_first_of("]\r\n") != std::string_view::npos) {
    errno = EINVAL;
    return false;
  }
  std::string path = SettingsPath(file);
  std::string dir = path.substr(0, path.rfind('/'));
  if (!dir.empty() && !MakeDirectories(dir)) return false;

  int lock = ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock < 0) return false;
  while (::flock(lock, LOCK_EX) != 0) {
    if (errno != EINTR) {
      int saved = errno;
      ::close(lock);
      errno = saved;
      return false;
    }
  }
  std::string text;
  bool ok = ReadAll(path, text);
  if (ok) {
    std::string edited = Edit(text, sec, n, value);
    ok = edited == text || Replace(path, edited);
  }
  int saved = errno;
  ::close(lock);  // releases the flock
  errno = saved;
  return ok;
}

bool ReadUserValue(const char* key, const char* name, std::string& value) {
  return ReadValue(kUserValuesFile, key, name, value);
}

bool WriteUserValue(const char* key, const char* name, const char* value) {
  return WriteValue(kUserValuesFile, key, name, value);
}

}  // namespace brix::settings
