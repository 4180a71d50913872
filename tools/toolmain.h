// toolmain.h - what the command-line programs share: exit statuses, messages, dispatch.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace brixtool {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

/// Defined by each program: its name, which starts every message, and its usage text.
extern const char kProgram[];
extern const char kUsageText[];

/// Prints `problem` and the usage text to standard error; returns kExitUsage.
inline int UsageError(const std::string& problem) {
  fprintf(stderr, "%s: %s\n%s", kProgram, problem.c_str(), kUsageText);
  return kExitUsage;
}

/// Prints `problem` to standard error; returns kExitFailed.
inline int Fail(const std::string& problem) {
  fprintf(stderr, "%s: %s\n", kProgram, problem.c_str());
  return kExitFailed;
}

/// ": reason" for the current errno, or nothing when errno is 0 (a short write sets none).
inline std::string ErrnoReason() { return errno ? ": " + std::string(strerror(errno)) : ""; }

/// A command: its name, how many operands it takes and what runs it.
struct Command {
  const char* name;
  std::size_t fewest;
  std::size_t most;
  std::function<int()> run;
};

/// Runs the command named by argv[1], after the ones every program knows (help and
/// --version). A known command with the wrong number of operands is a usage error of
/// its own, so that the message says which.
inline int Dispatch(int argc, char** argv, std::initializer_list<Command> commands) {
  if (argc < 2) return UsageError("no command given");
  const std::string command = argv[1];
  const std::size_t operands = static_cast<std::size_t>(argc) - 2;
  if (command == "-h" || command == "--help" || command == "help") {
    fputs(kUsageText, stdout);
    return kExitOk;
  }
  if (command == "--version") {
    printf("%s %s\n", kProgram, BRIXSYS_VERSION);
    return kExitOk;
  }
  for (const Command& c : commands) {
    if (command != c.name) continue;
    if (operands < c.fewest || operands > c.most)
      return UsageError("wrong number of arguments for " + command);
    return c.run();
  }
  return UsageError("unknown command \"" + command + "\"");
}

}  // namespace brixtool
