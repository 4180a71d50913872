// lock.cpp - brixsys lock: who holds a project file, and running a command while holding its
// write lock.
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "sfmproject.h"
#include "toolmain.h"

extern char** environ;

namespace brixtool {

const char kLockUsage[] =
    "usage: brixsys lock show FILE\n"
    "       brixsys lock run [--wait SECONDS] FILE -- COMMAND [ARGUMENT...]\n"
    "\n"
    "  show  whether project FILE is locked now, and the user and computer its\n"
    "        lock-information file (\"~$NAME.inf\" beside it) names\n"
    "  run   takes the write lock on FILE (others may still read it), runs COMMAND,\n"
    "        and releases the lock when COMMAND ends. --wait keeps trying to take the\n"
    "        lock for up to SECONDS (default 0: one attempt).\n"
    "\n"
    "Exit status: show 0 done, 1 failed; run the status of COMMAND (128 + N after\n"
    "signal N), or 1 when the lock cannot be taken or COMMAND cannot start; 2 usage.\n";

}  // namespace brixtool

namespace {

using brixtool::Fail;
using brixtool::kExitFailed;
using brixtool::kExitOk;
using brixtool::UsageError;

// The longest --wait accepted: an hour is already far beyond a person's patience.
constexpr int kMaxWaitSeconds = 3600;

// Project files are regular files; anything else (a directory, a device, a link this
// program did not make) is refused before the library opens it.
bool CheckProjectFile(const char* file) {
  struct stat info;
  if (lstat(file, &info) != 0) {
    Fail(std::string(file) + ": " + strerror(errno));
    return false;
  }
  if (!S_ISREG(info.st_mode)) {
    Fail(std::string(file) + ": not a regular file");
    return false;
  }
  return true;
}

// "ann on ws7", or nothing when the lock-information file names nobody.
std::string Holder(const char* file) {
  const SYS_String user = SFM_ProjectFile::GetUserName(file);
  const SYS_String computer = SFM_ProjectFile::GetComputerName(file);
  if (user.IsEmpty() && computer.IsEmpty()) return "";
  return std::string(user.GetString()) + " on " + computer.GetString();
}

int Show(const char* file) {
  if (!CheckProjectFile(file)) return kExitFailed;
  // Asking must not keep the user waiting: one attempt, no pause.
  SFM_ProjectFile::SetOpenAttempts(1);
  SFM_ProjectFile::SetOpenTimeout(0);
  bool locked;
  {
    // An accessor on a file that is not this process's project opens it exclusively:
    // it fails exactly when some process has it open through the lock.
    SFM_ProjectFile probe(0, file);
    locked = !probe.IsValid();
  }
  const std::string holder = Holder(file);
  if (locked && access(file, W_OK) != 0)
    printf("%s: cannot be locked: %s\n", file, strerror(errno));
  else if (locked)
    printf("%s: locked by %s\n", file, holder.empty() ? "an unknown holder" : holder.c_str());
  else if (!holder.empty())
    printf("%s: not locked; a lock-information file left behind names %s\n", file,
           holder.c_str());
  else
    printf("%s: not locked\n", file);
  return kExitOk;
}

std::optional<int> ParseSeconds(const std::string& text) {
  if (text.empty() || text.size() > 4 || text.find_first_not_of("0123456789") != std::string::npos)
    return std::nullopt;
  int seconds = std::stoi(text);
  if (seconds > kMaxWaitSeconds) return std::nullopt;
  return seconds;
}

// Runs `argv` and returns its exit status as a shell reports it; nullopt when it cannot
// start. Interrupts from the terminal reach the command; this process waits for it so
// that the lock outlives it.
std::optional<int> RunCommand(char** argv) {
  struct sigaction ignore = {}, oldInt, oldQuit;
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGINT, &ignore, &oldInt);
  sigaction(SIGQUIT, &ignore, &oldQuit);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGINT);
  sigaddset(&defaults, SIGQUIT);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t pid;
  const int error = posix_spawnp(&pid, argv[0], nullptr, &attributes, argv, environ);
  posix_spawnattr_destroy(&attributes);
  std::optional<int> status;
  if (error == 0) {
    int raw = 0;
    while (waitpid(pid, &raw, 0) < 0 && errno == EINTR) {
    }
    status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  } else {
    errno = error;
  }
  const int saved = errno;
  sigaction(SIGINT, &oldInt, nullptr);
  sigaction(SIGQUIT, &oldQuit, nullptr);
  errno = saved;
  return status;
}

int Run(int argc, char** argv) {
  int at = 2;
  int wait = 0;
  if (at < argc && strcmp(argv[at], "--wait") == 0) {
    std::optional<int> seconds = at + 1 < argc ? ParseSeconds(argv[at + 1]) : std::nullopt;
    if (!seconds)
      return UsageError("--wait wants whole seconds from 0 to " + std::to_string(kMaxWaitSeconds));
    wait = *seconds;
    at += 2;
  }
  if (at + 2 >= argc || strcmp(argv[at + 1], "--") != 0)
    return UsageError("want FILE -- COMMAND");
  const char* file = argv[at];
  char** command = argv + at + 2;
  if (!CheckProjectFile(file)) return kExitFailed;
  // Two attempts a second for the time asked, else one quick attempt.
  SFM_ProjectFile::SetOpenAttempts(wait > 0 ? 2 * wait : 1);
  SFM_ProjectFile::SetOpenTimeout(wait);
  if (!SFM_ProjectFile::TryLockProjectFile(file)) {
    const std::string holder = Holder(file);
    if (access(file, W_OK) != 0)
      return Fail(std::string(file) + ": cannot be locked" + brixtool::ErrnoReason());
    return Fail(std::string(file) + ": locked by " +
                (holder.empty() ? std::string("an unknown holder") : holder));
  }
  std::optional<int> status = RunCommand(command);
  const int saved = errno;
  SFM_ProjectFile::SetNewFileName("");  // releases the lock and its information file
  if (!status) {
    errno = saved;
    return Fail(std::string("cannot run ") + command[0] + brixtool::ErrnoReason());
  }
  return *status;
}

}  // namespace

namespace brixtool {

int RunLock(int argc, char** argv) {
  if (argc >= 2 && strcmp(argv[1], "run") == 0) return Run(argc, argv);
  // run takes a command line of its own after "--": its operands are not counted.
  return Dispatch(argc, argv, {{"show", 1, 1, [&] { return Show(argv[2]); }}});
}

}  // namespace brixtool
