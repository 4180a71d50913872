// sfmanagr_profile.cpp - SFM's profile settings and ShowFile, which starts the user's editor.
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "platform/fs_posix.h"
#include "platform/settings_posix.h"
#include "sfm.h"

extern char** environ;

namespace {

SYS_String ReadProfile(const char* section, const char* key, const char* defaultValue) {
  std::string value;
  if (brix::settings::ReadValue(brix::settings::kProfileFile, section, key, value))
    return SYS_String(value);
  return SYS_String(defaultValue ? defaultValue : "");
}

// Splits a command line into words at blanks; single or double quotes keep
// blanks inside a word. No other shell syntax has a meaning.
std::vector<std::string> SplitWords(const char* command) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  char quote = 0;
  for (const char* p = command; *p; ++p) {
    char c = *p;
    if (quote) {
      if (c == quote)
        quote = 0;
      else
        word.push_back(c);
    } else if (c == '"' || c == '\'') {
      quote = c;
      inWord = true;
    } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
      if (inWord) words.push_back(std::move(word));
      word.clear();
      inWord = false;
    } else {
      word.push_back(c);
      inWord = true;
    }
  }
  if (inWord) words.push_back(std::move(word));
  return words;
}

}  // namespace

SYS_String SFM::ReadProfileString(const char* section, const char* key, const char* defaultValue) {
  return ReadProfile(section, key, defaultValue);
}

void SFM::SetProfileString(const char* section, const char* key, const char* value) {
  brix::settings::WriteValue(brix::settings::kProfileFile, section, key, value);
}

int SFM::GetProfileInt(const char* section, const char* key, int defaultValue) {
  std::string value;
  if (!brix::settings::ReadValue(brix::settings::kProfileFile, section, key, value))
    return defaultValue;
  return static_cast<int>(std::strtol(value.c_str(), nullptr, 10));
}

void SFM::SetProfileInt(const char* section, const char* key, int value) {
  SetProfileString(section, key, std::to_string(value).c_str());
}

void SFM::ShowFile(const char* name) {
  SYS_String editor = ReadProfile("general", "editor", "");
  if (editor.IsEmpty()) return;
  std::vector<std::string> words = SplitWords(editor);
  if (words.empty()) return;
  // The file name is one argument of its own: no shell ever sees it.
  words.push_back(brix::fs::NativePath(name ? name : ""));
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  int saved = errno;
  pid_t pid;
  if (::posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) == 0) {
    // The editor runs on its own; a small thread reaps it so that no zombie stays.
    try {
      std::thread([pid] {
        while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
      }).detach();
    } catch (...) {
    }
  }
  errno = saved;
}
