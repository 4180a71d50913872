// file_helpers.h - what the tests of files, directories, settings and messages share besides
// temporary files: a recording listener of the file manager and a forked child.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <clocale>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "../system/platform/settings_posix.h"
#include "sccevent.h"
#include "sfm.h"
#include "sfmdir.h"
#include "sfmfile.h"
#include "sfmmsgdb.h"
#include "failed_check.h"
#include "ssm.h"
#include "temp_files.h"

namespace settings = brix::settings;
using namespace std::string_literals;

namespace {

inline std::string S(const SYS_String& s) { return std::string(s.View()); }
// The content of a regular file; "-" when missing, "dir" or "link" for those.
inline std::string State(const std::string& path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return "-";
  if (!S_ISREG(st.st_mode)) return S_ISDIR(st.st_mode) ? "dir" : "link";
  return Slurp(path);
}

// Records the events of the file manager and answers through `answer` or else from a script
// (then 0); `action` may act before the answer.
struct Listener {
  explicit Listener(std::vector<int> script = {}) : answers(std::move(script)) {}
  std::vector<int> answers, codes;
  std::vector<unsigned long> errors;
  std::vector<std::string> names;  // "first|second" file name of each event
  std::function<void()> action;
  std::function<int(int code)> answer;
  int OnEvent(int code, SFM_EventData* data) {
    codes.push_back(code);
    errors.push_back(data->GetError());
    names.push_back(S(data->GetFileName1()) + "|" + S(data->GetFileName2()));
    if (action) action();
    const size_t n = codes.size();
    data->SetResult(answer ? answer(code) : n <= answers.size() ? answers[n - 1] : 0);
    return 0;
  }
  SCC_ObjectEventHook<Listener, SFM_EventData> hook{this, &Listener::OnEvent,
                                                    SFM::GetManager()->GetEvent()};
};

// Runs `body` in a forked child; its exit status is the failed step (0: passed).
template <class F>
inline void InChild(F body) {
  fflush(nullptr);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) _exit(body());
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status)) << "child died with signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0) << "child failed at step " << WEXITSTATUS(status);
}

}  // namespace
