// brixsys.cpp - the brixsys program: one command with a subcommand per job, as the
// application's users and developers meet the library's files and values.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "sfmlocale.h"
#include "toolmain.h"

namespace brixtool {
namespace {

const Subcommand kSubcommands[] = {
    {"units", "read lengths, points and angles as the application does", kUnitsUsage, RunUnits},
    {"msg", "check, query, list, dump and re-save message files", kMsgUsage, RunMsg},
#ifdef BRIXSYS_HAVE_CAIRO
    {"region", "show, approximate and render region images, write circles", RegionUsage(),
     RunRegion},
#else
    {"region", "show and approximate region images, write circles", kRegionUsage, RunRegion},
#endif
    {"lock", "who holds a project file; run a command holding its lock", kLockUsage, RunLock},
    {"lang", "show or set the language; list the resource modules", kLangUsage, RunLang},
#ifdef BRIXSYS_HAVE_CAIRO
    {"draw", "render a saved drawing to PNG, SVG or PDF; list its commands", DrawUsage(),
     RunDraw},
    {"demo", "the library's typical path, step by step, into three pictures", kDemoUsage, RunDemo},
#endif
};

const char kOverview[] =
    "usage: brixsys SUBCOMMAND [ARGUMENT...]\n"
    "       brixsys help [SUBCOMMAND]\n"
    "       brixsys SUBCOMMAND --help\n"
    "       brixsys --version\n"
    "\n"
    "Subcommands:\n";

std::string OverviewText() {
  std::string text = kOverview;
  for (const Subcommand& s : kSubcommands) {
    char line[160];
    snprintf(line, sizeof line, "  %-8s %s\n", s.name, s.summary);
    text += line;
  }
  return text + "\nExit status: 0 done, 1 failed, 2 usage error.\n";
}

const Subcommand* Find(const char* name) {
  for (const Subcommand& s : kSubcommands)
    if (strcmp(s.name, name) == 0) return &s;
  return nullptr;
}

// The library's texts in the user's language, as the application loads them at start.
void LoadTexts() {
  Dl_info info = {};
  if (dladdr(reinterpret_cast<void*>(&GetLocaleStr), &info)) LoadResourceDllByModule(info.dli_fbase, 0);
}

}  // namespace
}  // namespace brixtool

int main(int argc, char** argv) {
  using namespace brixtool;
  static const std::string overview = OverviewText();
  Now().usage = overview.c_str();
  if (argc < 2) return UsageError("no subcommand given");
  if (strcmp(argv[1], "--version") == 0) {
    printf("brixsys %s\n", BRIXSYS_VERSION);
    return kExitOk;
  }
  if (IsHelp(argv[1])) {
    if (argc == 2) return Help();
    const Subcommand* s = Find(argv[2]);
    if (!s || argc > 3) return UsageError("no subcommand \"" + std::string(argv[2]) + "\"");
    fputs(s->usage, stdout);
    return kExitOk;
  }
  const Subcommand* s = Find(argv[1]);
  if (!s) return UsageError("unknown subcommand \"" + std::string(argv[1]) + "\"");
  Now().program = std::string("brixsys ") + s->name;
  Now().usage = s->usage;
  LoadTexts();
  return s->run(argc - 1, argv + 1);
}

#ifdef BRIXSYS_HAVE_CAIRO
// fontconfig keeps its caches for the life of the process, and text drawn with cairo fills
// them; the leak checker of sanitizer builds reads this (so it must be visible) and leaves
// fontconfig's own allocations alone. Unused otherwise.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}
// Quietly: the program's standard error is part of what its tests check.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options() {
  return "print_suppressions=0";
}
#endif
