// toolmain.h - what the subcommands of brixsys share: exit statuses, messages, dispatch,
// progress on a terminal.
#pragma once

#include <unistd.h>

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

/// One subcommand of brixsys: its name, a one-line summary for `brixsys help`, its usage
/// text and its entry point, called with argv[0] the subcommand's name.
struct Subcommand {
  const char* name;
  const char* summary;
  const char* usage;
  int (*run)(int argc, char** argv);
};

/// The subcommand running now: "brixsys units" starts every message, and its usage text
/// follows a usage error. Set once by main before the subcommand runs.
struct Current {
  std::string program = "brixsys";
  const char* usage = "";
};
inline Current& Now() {
  static Current current;
  return current;
}

/// Prints `problem` and the usage text to standard error; returns kExitUsage.
inline int UsageError(const std::string& problem) {
  fprintf(stderr, "%s: %s\n%s", Now().program.c_str(), problem.c_str(), Now().usage);
  return kExitUsage;
}

/// Prints `problem` to standard error; returns kExitFailed.
inline int Fail(const std::string& problem) {
  fprintf(stderr, "%s: %s\n", Now().program.c_str(), problem.c_str());
  return kExitFailed;
}

/// Prints a note that is not a failure to standard error.
inline void Note(const std::string& note) {
  fprintf(stderr, "%s: %s\n", Now().program.c_str(), note.c_str());
}

/// ": reason" for the current errno, or nothing when errno is 0 (a short write sets none).
inline std::string ErrnoReason() { return errno ? ": " + std::string(strerror(errno)) : ""; }

inline bool IsHelp(const char* word) {
  return strcmp(word, "-h") == 0 || strcmp(word, "--help") == 0 || strcmp(word, "help") == 0;
}

/// Prints the usage text to standard output; returns kExitOk.
inline int Help() {
  fputs(Now().usage, stdout);
  return kExitOk;
}

/// An action of a subcommand: its name, how many operands it takes and what runs it.
struct Command {
  const char* name;
  std::size_t fewest;
  std::size_t most;
  std::function<int()> run;
};

/// Runs the action named by argv[1] (argv[0] is the subcommand). A known action with the
/// wrong number of operands is a usage error of its own, so that the message says which.
inline int Dispatch(int argc, char** argv, std::initializer_list<Command> commands) {
  if (argc < 2) return UsageError("no command given");
  const std::string command = argv[1];
  const std::size_t operands = static_cast<std::size_t>(argc) - 2;
  if (IsHelp(argv[1])) return Help();
  for (const Command& c : commands) {
    if (command != c.name) continue;
    if (operands < c.fewest || operands > c.most)
      return UsageError("wrong number of arguments for " + command);
    return c.run();
  }
  return UsageError("unknown command \"" + command + "\"");
}

/// A progress line on standard error for long operations, shown only when the work is
/// `large` and standard error is a terminal; elsewhere (a pipe, a log, a test) it prints
/// nothing. Work of unknown extent (total 0) shows its label alone.
class Progress {
 public:
  Progress(std::string label, long long total, bool large)
      : m_label(std::move(label)), m_total(total), m_shown(large && isatty(STDERR_FILENO)) {
    if (!m_shown) return;
    fprintf(stderr, "\r%s ...", m_label.c_str());
    fflush(stderr);
  }
  ~Progress() {
    if (m_shown) fprintf(stderr, "\r%*s\r", int(m_label.size()) + 8, "");
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows `done` of the total as a percentage, redrawing only when the figure changes.
  void Update(long long done) {
    if (!m_shown || m_total <= 0) return;
    const int percent = int(done * 100 / m_total);
    if (percent == m_percent) return;
    m_percent = percent;
    fprintf(stderr, "\r%s %3d%%", m_label.c_str(), percent);
    fflush(stderr);
  }

 private:
  std::string m_label;
  long long m_total;
  bool m_shown;
  int m_percent = -1;
};

/// "1 section", "2 sections".
inline std::string Plural(long long n, const char* word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

// The subcommands, one source file each.
int RunMsg(int argc, char** argv);
int RunRegion(int argc, char** argv);
int RunUnits(int argc, char** argv);
int RunLock(int argc, char** argv);
int RunLang(int argc, char** argv);
int RunDraw(int argc, char** argv);
int RunDemo(int argc, char** argv);
extern const char kMsgUsage[];
extern const char kRegionUsage[];
extern const char kUnitsUsage[];
extern const char kLockUsage[];
extern const char kLangUsage[];
extern const char kDemoUsage[];
/// Usage texts that end in the picture options.
const char* DrawUsage();
const char* RegionUsage();

}  // namespace brixtool
