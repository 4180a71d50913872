// tools_test.cpp - runs the brixsys program on files in a temporary directory.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "daregion.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "sfmmsgdb.h"
#ifdef BRIXSYS_HAVE_CAIRO
#include <cairo.h>

#include "uidrawing.h"
#endif

extern char** environ;

namespace {

using ::testing::HasSubstr;

#if defined(BRIXSYS_PATH) && defined(LOCKHOLDER_PATH)
constexpr const char* kBrixsys = BRIXSYS_PATH;
constexpr const char* kLockholder = LOCKHOLDER_PATH;
#else
constexpr const char* kBrixsys = nullptr;
constexpr const char* kLockholder = nullptr;
#endif

// Subcommands, for Run.
constexpr const char* kBrixmsg = "msg";
constexpr const char* kBrixregion = "region";
constexpr const char* kNone = nullptr;

struct Result {
  int exit = -1;
  std::string out;
  std::string err;
};

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& data) {
  std::ofstream(path, std::ios::binary) << data;
}

class ToolsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!kBrixsys) GTEST_SKIP() << "the program under tools/ is not built";
    char pattern[] = "/tmp/brix_tools.XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    if (!dir_.empty()) std::filesystem::remove_all(dir_);
  }

  std::string Path(const std::string& name) const { return dir_ + "/" + name; }

  // Runs brixsys `subcommand` (none: null) with `args`, standard input from `input` (a
  // path, or none) and the settings in the test's directory, and collects its exit status
  // and both outputs.
  Result Run(const char* subcommand, std::vector<std::string> args, const std::string& input = "") {
    if (subcommand) args.insert(args.begin(), subcommand);
    return Spawn(kBrixsys, args, input);
  }

  Result Spawn(const char* program, std::vector<std::string> args, const std::string& input = "") {
    std::vector<char*> argv{const_cast<char*>(program)};
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    std::vector<std::string> env{"BRIX_CONFIG_HOME=" + (configHome_.empty() ? dir_ : configHome_)};
    for (char** e = environ; *e; ++e)
      if (strncmp(*e, "BRIX_CONFIG_HOME=", 17) != 0) env.emplace_back(*e);
    std::vector<char*> envp;
    for (std::string& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::string out = Path(".stdout"), err = Path(".stderr");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input.empty() ? "/dev/null" : input.c_str(),
                                     O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    Result r;
    pid_t pid;
    int spawned = posix_spawn(&pid, program, &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(spawned, 0) << program;
    if (spawned != 0) return r;
    int status = 0;
    waitpid(pid, &status, 0);
    r.exit = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    r.out = ReadFile(out);
    r.err = ReadFile(err);
    return r;
  }

  std::string configHome_;  // empty: the test's directory
  std::string dir_;
};

// Two rejected lines, a repeated section name, a key given twice, an empty section, a
// protected trailing blank and messages before the first section.
constexpr char kMessages[] =
    "; texts of the editor\n"
    "1:Hello\n"
    "2:World  $\n"
    "[Editor]\n"
    "1:Undo\n"
    "2:Redo\n"
    " 3:indented\n"
    "[broken\n"
    "[editor]\n"
    "5:Five\n"
    "[Empty]\n"
    "[Net]\n"
    "-3:minus three\n"
    "7:seven\n"
    "7:SEVEN\n";

TEST_F(ToolsTest, MessageCheckReportsRejectedLinesAndRepeats) {
  WriteFile(Path("app.msg"), kMessages);
  Result r = Run(kBrixmsg, {"check", Path("app.msg")});
  EXPECT_EQ(r.exit, 1);
  std::string file = Path("app.msg");
  EXPECT_EQ(r.out, file + "(7) : leading blanks are not allowed\n" + file +
                       "(8) : invalid section : \"[broken\"\n" + file +
                       " : warning : section \"editor\" repeats an earlier name; lookups by name "
                       "find the first\n" +
                       file + " : warning : key 24 is given 2 times; the last text wins\n" + file +
                       ": 4 sections, 8 messages, 2 rejected lines, 2 warnings\n");

  // Warnings alone do not fail a check.
  WriteFile(Path("clean.msg"), "[A]\n1:x\n[a]\n");
  r = Run(kBrixmsg, {"check", Path("clean.msg")});
  EXPECT_EQ(r.exit, 0);
  EXPECT_THAT(r.out, HasSubstr(": 2 sections, 1 message, 0 rejected lines, 1 warning\n"));
}

TEST_F(ToolsTest, MessageSectionsAndDumpAgreeWithTheDatabase) {
  WriteFile(Path("app.msg"), kMessages);
  SFM_MessageDB db(Path("app.msg").c_str(), 0);
  ASSERT_TRUE(db.IsValid());

  Result r = Run(kBrixmsg, {"sections", Path("app.msg")});
  EXPECT_EQ(r.exit, 0);
  EXPECT_THAT(r.err, HasSubstr("2 lines rejected"));
  std::istringstream lines(r.out);
  std::vector<std::pair<std::string, long>> listed;  // name, base
  std::string name;
  long base, count;
  while (lines >> name >> base >> count) listed.emplace_back(name, base);
  ASSERT_EQ(listed.size(), 4u) << r.out;
  EXPECT_EQ(listed[0], std::make_pair(std::string("Editor"), db.GetSectionBase("Editor")));
  EXPECT_EQ(listed[2], std::make_pair(std::string("Empty"), db.GetSectionBase("Empty")));
  EXPECT_EQ(listed[3], std::make_pair(std::string("Net"), db.GetSectionBase("Net")));
  // The repeated name is reached only by key: its header key gives its name back.
  EXPECT_EQ(listed[1].first, "editor");
  EXPECT_STREQ(db.getTxt(-listed[1].second), "editor");

  r = Run(kBrixmsg, {"dump", Path("app.msg")});
  EXPECT_EQ(r.exit, 0);
  EXPECT_EQ(r.out,
            "1\t1\tHello\n2\t2\tWorld  \n"
            "[Editor] base 4\n5\t1\tUndo\n6\t2\tRedo\n"
            "[editor] base 8\n13\t5\tFive\n"
            "[Empty] base 15\n"
            "[Net] base 17\n14\t-3\tminus three\n24\t7\tSEVEN\n");
  // Every dumped key reads back the dumped text.
  std::istringstream dumped(r.out);
  for (std::string line; std::getline(dumped, line);) {
    if (line[0] == '[') continue;
    long key = std::stol(line);
    EXPECT_EQ(std::string(db.getTxt(key)), line.substr(line.rfind('\t') + 1)) << line;
  }

  r = Run(kBrixmsg, {"dump", Path("app.msg"), "NET"});
  EXPECT_EQ(r.out, "[Net] base 17\n14\t-3\tminus three\n24\t7\tSEVEN\n");
  r = Run(kBrixmsg, {"dump", Path("app.msg"), "Nowhere"});
  EXPECT_EQ(r.exit, 1);
  EXPECT_THAT(r.err, HasSubstr("no section \"Nowhere\""));
}

TEST_F(ToolsTest, MessageGetByKeyAndBySection) {
  WriteFile(Path("app.msg"), kMessages);
  struct Case {
    const char* key;
    int exit;
    const char* out;
  } cases[] = {
      {"2", 0, "World  \n"}, {"editor:2", 0, "Redo\n"},
      {"EDITOR:5", 1, ""},   {"Net:-3", 0, "minus three\n"},
      {"-17", 0, "Net\n"},   {"99", 1, ""},
      {"Nowhere:1", 1, ""},  {"x:y", 2, ""},
      {"12a", 2, ""},        {"4294967297", 2, ""},
  };
  for (const Case& c : cases) {
    Result r = Run(kBrixmsg, {"get", Path("app.msg"), c.key});
    EXPECT_EQ(r.exit, c.exit) << c.key;
    EXPECT_EQ(r.out, c.out) << c.key;
    if (c.exit != 0) {
      EXPECT_FALSE(r.err.empty()) << c.key;
    }
  }
}

TEST_F(ToolsTest, MessageSaveKeepsKeysAndTexts) {
  WriteFile(Path("app.msg"), kMessages);
  Result r = Run(kBrixmsg, {"save", Path("app.msg"), Path("out.msg")});
  ASSERT_EQ(r.exit, 0) << r.err;
  Result check = Run(kBrixmsg, {"check", Path("out.msg")});
  EXPECT_EQ(check.exit, 0) << check.out;
  EXPECT_EQ(Run(kBrixmsg, {"dump", Path("out.msg")}).out,
            Run(kBrixmsg, {"dump", Path("app.msg")}).out);

  r = Run(kBrixmsg, {"save", Path("app.msg"), Path("missing/dir/out.msg")});
  EXPECT_EQ(r.exit, 1);
  EXPECT_THAT(r.err, HasSubstr("cannot write"));
  EXPECT_FALSE(std::filesystem::exists(Path("missing")));
}

TEST_F(ToolsTest, UsageAndFileErrors) {
  WriteFile(Path("app.msg"), "1:x\n");
  struct Case {
    const char* subcommand;
    std::vector<std::string> args;
    int exit;
  } cases[] = {
      {kBrixmsg, {}, 2},
      {kBrixmsg, {"frobnicate", "x"}, 2},
      {kBrixmsg, {"check"}, 2},
      {kBrixmsg, {"get", Path("app.msg")}, 2},
      {kBrixmsg, {"dump", Path("app.msg"), "a", "b"}, 2},
      {kBrixmsg, {"--help"}, 0},
      {kBrixmsg, {"check", Path("none.msg")}, 1},
      {kBrixmsg, {"sections", dir_}, 1},
      {kBrixregion, {}, 2},
      {kBrixregion, {"show"}, 2},
      {kBrixregion, {"circle", "0", "0", "0", Path("c.img")}, 2},
      {kBrixregion, {"circle", "0", "0", "1 mm", Path("c.img")}, 2},
      {kBrixregion, {"circle", "1066800000", "0", "1", Path("c.img")}, 2},
      {kBrixregion, {"circle", "0", "0", "0.0001um", Path("c.img")}, 2},
      {kBrixregion, {"approx", Path("c.img"), "-1"}, 2},
      {kBrixregion, {"approx", Path("c.img"), "0x10"}, 2},
      {kBrixregion, {"show", Path("none.img")}, 1},
      {kBrixregion, {"circle", "0", "0", "1", Path("missing/c.img")}, 1},
      {kBrixregion, {"--help"}, 0},
      {kNone, {}, 2},
      {kNone, {"frobnicate"}, 2},
      {kNone, {"help"}, 0},
      {kNone, {"help", "lock"}, 0},
      {kNone, {"help", "frobnicate"}, 2},
      {"units", {"--help"}, 0},
      {"units", {}, 2},
      {"units", {"--unit", "furlong", "1"}, 2},
      {"lang", {"set", "DE"}, 2},
      {"lang", {"set", "DEU", "ENU"}, 2},
      {"lock", {}, 2},
      {"lock", {"show"}, 2},
      {"lock", {"run", Path("app.msg"), "true"}, 2},
      {"lock", {"run", Path("app.msg"), "--"}, 2},
      {"lock", {"run", "--wait", "4000", Path("app.msg"), "--", "true"}, 2},
      {"lock", {"show", Path("none.pcb")}, 1},
      {"lock", {"show", dir_}, 1},
      {"lock", {"--help"}, 0},
  };
  for (const Case& c : cases) {
    Result r = Run(c.subcommand, c.args);
    std::string what = std::string(c.subcommand ? c.subcommand : "") + " " +
                       ::testing::PrintToString(c.args);
    EXPECT_EQ(r.exit, c.exit) << what;
    if (c.exit == 2) {
      EXPECT_THAT(r.err, HasSubstr("usage:")) << what;
    }
    if (c.exit == 0) {
      EXPECT_THAT(r.out, HasSubstr("usage:")) << what;
    }
  }
  EXPECT_FALSE(std::filesystem::exists(Path("c.img")));
  EXPECT_FALSE(std::filesystem::exists(Path("none.pcb")));

  Result help = Run(kNone, {"help"});
  for (const char* subcommand : {"units", "msg", "region", "lock", "lang"}) {
    EXPECT_THAT(help.out, HasSubstr("\n  " + std::string(subcommand) + " ")) << subcommand;
    EXPECT_EQ(Run(kNone, {"help", subcommand}).out, Run(subcommand, {"--help"}).out);
  }
}

TEST_F(ToolsTest, CircleImageShowsAndApproximates) {
  Result r = Run(kBrixregion, {"circle", "1mm", "-2mm", "0.5mm", Path("c.img")});
  ASSERT_EQ(r.exit, 0) << r.err;
  std::string image = ReadFile(Path("c.img"));
  DARegion region;
  ASSERT_EQ(region.LoadImage0(image.data(), image.size()), int(image.size()));
  ASSERT_TRUE(region.GetFirstPolygon()->IsCircle());

  r = Run(kBrixregion, {"show", Path("c.img")});
  EXPECT_EQ(r.exit, 0);
  EXPECT_EQ(r.out,
            "region: 1 polygon, 76 bytes\n"
            "polygon 0: circle, flag 2, width 0, 2 vertices, 1 arc\n"
            "  box (750000, -3750000) - (2250000, -2250000)\n"
            "  vertex 0: (1500000, -3750000)\n"
            "  vertex 1: (1500000, -3750000) along arc 0, radius 750000\n"
            "  arc 0: centre (1500000, -3000000), start -162000000 (-90 deg), end 486000000 "
            "(270 deg)\n");

  // The counts are the library's, for the default and a finer tolerance.
  for (std::string tolerance : {"0", "1um", "100"}) {
    DAPolygon chords;
    chords.Approximate(*region.GetFirstPolygon(), tolerance == "1um" ? 1500 : std::stoi(tolerance),
                       0, 1);
    const std::string vertices = "2 -> " + std::to_string(chords.GetEdgeCount()) + " vertices\n";
    r = Run(kBrixregion, {"approx", Path("c.img"), tolerance});
    EXPECT_EQ(r.exit, 0) << tolerance;
    // NOLINTNEXTLINE(performance-inefficient-string-concatenation): three runs, read at a glance
    EXPECT_EQ(r.out, "polygon 0: " + vertices + "total: " + vertices) << tolerance;
    EXPECT_GT(chords.GetEdgeCount(), 2);
  }

  // Standard output and standard input, with bytes after the image.
  r = Run(kBrixregion, {"circle", "0", "0", "7", "-"});
  WriteFile(Path("piped.img"), r.out + "tail");
  r = Run(kBrixregion, {"show", "-"}, Path("piped.img"));
  EXPECT_EQ(r.exit, 0);
  EXPECT_THAT(r.out, HasSubstr("vertex 1: (0, -7) along arc 0, radius 7\n"));
  EXPECT_THAT(r.err, HasSubstr("4 bytes after the image ignored"));
}

TEST_F(ToolsTest, TruncatedOrInconsistentImagesAreRefused) {
  ASSERT_EQ(Run(kBrixregion, {"circle", "0", "0", "1000", Path("c.img")}).exit, 0);
  std::string image = ReadFile(Path("c.img"));
  std::string bigger = image;
  bigger[0] = char(bigger[0] + 4);  // declares 4 bytes more than the file holds
  std::string badCount = image;
  badCount[4] = 2;  // two polygons, one present
  for (const std::string& bad :
       {image.substr(0, 0), image.substr(0, 3), image.substr(0, 8), image.substr(0, 40),
        image.substr(0, image.size() - 1), bigger, badCount}) {
    WriteFile(Path("bad.img"), bad);
    for (const char* command : {"show", "approx"}) {
      std::vector<std::string> args{command, Path("bad.img")};
      if (std::string(command) == "approx") args.push_back("0");
      Result r = Run(kBrixregion, args);
      EXPECT_EQ(r.exit, 1) << command << " on " << bad.size() << " bytes";
      EXPECT_EQ(r.out, "") << command;
      EXPECT_THAT(r.err, HasSubstr("not a region image, or its declared lengths do not fit its " +
                                   std::to_string(bad.size()) + " bytes"));
    }
  }
}

TEST_F(ToolsTest, ApproxRefusesResultsTooLargeToUse) {
  // Arcs whose angles are not finite get the most chords an arc can have.
  DAPolygon p;
  for (int i = 0; i < 10; ++i) {
    p.Add(ArcPolyArc(0, 0, std::nan(""), std::nan("")));
    p.Add(ArcPolyEdge(i * 10, 0, i));
  }
  DARegion region;
  region.Add(p);
  std::string image(size_t(region.GetImageLength()), '\0');
  region.CreateImage(image.data());
  WriteFile(Path("nan.img"), image);

  Result r = Run(kBrixregion, {"approx", Path("nan.img"), "0"});
  EXPECT_EQ(r.exit, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_THAT(r.err, HasSubstr("polygon 0 would need 10000000 vertices or more"));
  r = Run(kBrixregion, {"show", Path("nan.img")});
  EXPECT_EQ(r.exit, 0);
  EXPECT_THAT(r.out, HasSubstr("  arc 9: centre (0, 0), start nan (nan deg), end nan (nan deg)\n"));
}

TEST_F(ToolsTest, ShowNamesOddEdgesAndFlags) {
  DAPolygon p;
  p.SetFlag(DAPolygonFlag(7));
  p.SetWidth(300);
  p.Add(ArcPolyEdge(0, 0));
  p.Add(ArcPolyEdge(100, 0, 4));  // names an arc that does not exist
  p.Add(ArcPolyEdge(100, 100));
  DARegion region;
  region.Add(p);
  region.Add(DAPolygon());
  std::string image(size_t(region.GetImageLength()), '\0');
  region.CreateImage(image.data());
  WriteFile(Path("odd.img"), image);

  Result r = Run(kBrixregion, {"show", Path("odd.img")});
  EXPECT_EQ(r.exit, 0) << r.err;
  EXPECT_EQ(r.out, "region: 2 polygons, " + std::to_string(image.size()) +
                       " bytes\n"
                       "polygon 0: flag 7, width 300, 3 vertices, 0 arcs\n"
                       "  box (0, 0) - (100, 100)\n"
                       "  vertex 0: (0, 0)\n"
                       "  vertex 1: (100, 0) names arc 4, which does not exist: straight\n"
                       "  vertex 2: (100, 100)\n"
                       "polygon 1: flag 2, width 0, 0 vertices, 0 arcs\n");
}

TEST_F(ToolsTest, UnitsReadValuesAsTheApplicationDoes) {
  constexpr char kOutside[] = "Please enter a value within the [-28000.000000,28000.000000] range.\n";
  struct Case {
    std::vector<std::string> args;
    int exit;
    std::string out;  // the first line, or all of it when it ends the output
    std::string err;
  } cases[] = {
      {{"0.5"}, 0, "0.5: 19050 database units\n", ""},
      {{"0.5mil"}, 0, "0.5mil: 19050 database units\n", ""},
      {{"1.27 mm"}, 0, "1.27 mm: 1905000 database units\n", ""},
      {{"-1in"}, 0, "-1in: -38100000 database units\n", ""},
      {{"12.7um"}, 0, "12.7um: 19050 database units\n", ""},
      {{"28000"}, 0, "28000: 1066800000 database units\n", ""},
      {{"--unit", "mm", "1"}, 0, "1: 1500000 database units\n", ""},
      {{"45deg"}, 0, "45deg: 81000000 angle units (1/1800000 degree)\n", ""},
      {{"--unit", "deg", "-90"}, 0, "-90: -162000000 angle units (1/1800000 degree)\n", ""},
      {{"1mm,-2mm"}, 0, "1mm,-2mm: (1500000, -3000000) database units\n", ""},
      {{"28001"}, 1, "", std::string("brixsys units: \"28001\": ") + kOutside},
      {{"abc"}, 1, "", std::string("brixsys units: \"abc\": ") + kOutside},
      {{"1.5 furlong"}, 1, "", std::string("brixsys units: \"1.5 furlong\": ") + kOutside},
      {{"1 mm "}, 1, "", std::string("brixsys units: \"1 mm \": ") + kOutside},
      {{"1mm,x"}, 1, "", std::string("brixsys units: \"1mm,x\": ") + kOutside},
      {{"1,45deg"}, 1, "", "brixsys units: \"1,45deg\": an angle cannot be a coordinate\n"},
      {{"1194deg"}, 1, "", "brixsys units: \"1194deg\": Please enter a value within the "
                           "[-1193.000000,1193.000000] range.\n"},
      // A bad value among good ones: the good ones are still shown.
      {{"x", "1mil"}, 1, "1mil: 38100 database units\n",
       std::string("brixsys units: \"x\": ") + kOutside},
  };
  for (const Case& c : cases) {
    Result r = Run("units", c.args);
    const std::string what = ::testing::PrintToString(c.args);
    EXPECT_EQ(r.exit, c.exit) << what;
    EXPECT_EQ(r.out.substr(0, r.out.find('\n') + 1), c.out) << what;
    EXPECT_EQ(r.err, c.err) << what;
  }
  EXPECT_EQ(Run("units", {"0.5"}).out,
            "0.5: 19050 database units\n"
            "  Mils         0.5\n"
            "  Millimeters  0.0127\n"
            "  Inches       0.0005\n"
            "  Microns      12.7\n");

  // The texts follow the language set for the user.
  ASSERT_EQ(Run("lang", {"set", "deu"}).exit, 0);
  Result r = Run("units", {"2mm", "1e9"});
  EXPECT_EQ(r.exit, 1);
  EXPECT_THAT(r.out, HasSubstr("  Millimeter   2\n"));
  EXPECT_EQ(r.err, "brixsys units: \"1e9\": Bitte geben Sie einen Wert im Bereich "
                   "[-28000.000000,28000.000000] ein.\n");
}

TEST_F(ToolsTest, LangShowsSetsAndListsLanguages) {
  // Without a setting the environment's language is stored, as the library does.
  Result r = Run("lang", {});
  EXPECT_EQ(r.exit, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("(setting LangID in " + Path("registry.ini") + ")\n"));
  EXPECT_TRUE(std::filesystem::exists(Path("registry.ini")));

  struct Case {
    const char* language;
    const char* inForce;
    const char* text;
    const char* note;
  } cases[] = {
      {"DEU", "in force: DEU (", "text 45105: Millimeter\n", ""},
      {"enu", "in force: ENU (", "text 45105: Millimeters\n", ""},
      {"XYZ", "in force: ENU (", "text 45105: Millimeters\n", "no resource module for XYZ"},
  };
  for (const Case& c : cases) {
    r = Run("lang", {"set", c.language});
    EXPECT_EQ(r.exit, 0) << c.language;
    EXPECT_THAT(r.err, HasSubstr(c.note)) << c.language;
    r = Run("lang", {"show"});
    EXPECT_THAT(r.out, HasSubstr(c.inForce)) << c.language;
    EXPECT_THAT(r.out, HasSubstr(c.text)) << c.language;
  }
  EXPECT_THAT(Run("lang", {}).out, HasSubstr("language: XYZ ("));

  r = Run("lang", {"list"});
  EXPECT_EQ(r.exit, 0);
  EXPECT_THAT(r.out, ::testing::MatchesRegex("DEU [^\n]*/DEU/libbrixsysRes.so\n"
                                             "ENU [^\n]*/ENU/libbrixsysRes.so\n"));

  // A settings directory that cannot exist: the language cannot be kept.
  WriteFile(Path("plain"), "");
  configHome_ = Path("plain/config");
  r = Run("lang", {"set", "DEU"});
  EXPECT_EQ(r.exit, 1);
  EXPECT_THAT(r.err, HasSubstr("brixsys lang: cannot store the language: "));
}

// A second process talking the lockholder helper's line protocol.
class LockHolder {
 public:
  explicit LockHolder(const std::string& file) {
    int in[2], out[2];
    EXPECT_EQ(pipe(in), 0);
    EXPECT_EQ(pipe(out), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, in[1]);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::string program = kLockholder, name = file;
    char* argv[] = {program.data(), name.data(), nullptr};
    EXPECT_EQ(posix_spawn(&pid_, kLockholder, &actions, nullptr, argv, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    to_ = fdopen(in[1], "w");
    from_ = fdopen(out[0], "r");
  }
  ~LockHolder() {
    Ask("quit");
    fclose(to_);
    fclose(from_);
    waitpid(pid_, nullptr, 0);
  }
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

  std::string Ask(const std::string& command) {
    fprintf(to_, "%s\n", command.c_str());
    fflush(to_);
    char line[512] = {};
    if (!fgets(line, sizeof line, from_)) return "";
    std::string answer = line;
    if (!answer.empty() && answer.back() == '\n') answer.pop_back();
    return answer;
  }

 private:
  pid_t pid_ = -1;
  FILE* to_ = nullptr;
  FILE* from_ = nullptr;
};

TEST_F(ToolsTest, LockShowsTheHolderAndRunHoldsTheLock) {
  const std::string project = Path("board.pcb");
  WriteFile(project, "design");
  EXPECT_EQ(Run("lock", {"show", project}).out, project + ": not locked\n");

  std::string who, holder;
  {
    LockHolder other(project);
    ASSERT_EQ(other.Ask("lock"), "1");
    who = other.Ask("who");  // "user|computer"
    holder = who.substr(0, who.find('|')) + " on " + who.substr(who.find('|') + 1);
    Result r = Run("lock", {"show", project});
    EXPECT_EQ(r.exit, 0);
    EXPECT_EQ(r.out, project + ": locked by " + holder + "\n");
    // The lock is the other process's: run refuses, and the command never runs.
    r = Run("lock", {"run", project, "--", "touch", Path("ran")});
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.err, "brixsys lock: " + project + ": locked by " + holder + "\n");
    EXPECT_FALSE(std::filesystem::exists(Path("ran")));
    // Waiting ends when the time is up.
    r = Run("lock", {"run", "--wait", "1", project, "--", "true"});
    EXPECT_EQ(r.exit, 1);
  }
  // The holder ended without releasing: its information file stays behind.
  EXPECT_EQ(Run("lock", {"show", project}).out,
            project + ": not locked; a lock-information file left behind names " + holder + "\n");

  // While the command runs the lock is held: a lockholder run as the command cannot take
  // it. Afterwards it is free again, its information file gone.
  WriteFile(Path("commands"), "lock\nwho\nquit\n");
  Result r = Run("lock", {"run", project, "--", kLockholder, project}, Path("commands"));
  EXPECT_EQ(r.exit, 0) << r.err;
  EXPECT_EQ(r.out, "0\n" + who + "\n");
  EXPECT_FALSE(std::filesystem::exists(Path("~$board.pcb.inf")));
  EXPECT_EQ(Run("lock", {"show", project}).out, project + ": not locked\n");
  EXPECT_EQ(ReadFile(project), "design");

  // The command's status is the program's; a command that cannot start fails.
  struct Case {
    std::vector<std::string> command;
    int exit;
    const char* err;
  } cases[] = {
      {{"sh", "-c", "exit 3"}, 3, ""},
      {{"sh", "-c", "kill -TERM $$"}, 128 + SIGTERM, ""},
      {{Path("no-such-program")}, 1, "brixsys lock: cannot run "},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args{"run", project, "--"};
    args.insert(args.end(), c.command.begin(), c.command.end());
    r = Run("lock", args);
    EXPECT_EQ(r.exit, c.exit) << c.command[0];
    EXPECT_THAT(r.err, HasSubstr(c.err));
    EXPECT_EQ(Run("lock", {"show", project}).out, project + ": not locked\n");
  }
}

#ifdef BRIXSYS_HAVE_CAIRO

// A PNG read back with cairo: its size and the colour (0xRRGGBB) at a pixel.
struct Png {
  int width = 0, height = 0;
  std::vector<std::uint32_t> pixels;
  explicit Png(const std::string& path) {
    cairo_surface_t* s = cairo_image_surface_create_from_png(path.c_str());
    if (cairo_surface_status(s) == CAIRO_STATUS_SUCCESS) {
      width = cairo_image_surface_get_width(s);
      height = cairo_image_surface_get_height(s);
      const int stride = cairo_image_surface_get_stride(s);
      const unsigned char* data = cairo_image_surface_get_data(s);
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
          std::uint32_t argb;
          memcpy(&argb, data + y * stride + 4 * x, 4);
          pixels.push_back(argb & 0xFFFFFF);
        }
    }
    cairo_surface_destroy(s);
  }
  std::uint32_t At(int x, int y) const { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
};

TEST_F(ToolsTest, DemoWalksThePathAndWritesPictures) {
  Result r = Run("demo", {Path("out")});
  ASSERT_EQ(r.exit, 0) << r.err;
  EXPECT_EQ(r.err, "");
  for (const char* step : {"1. Units. The user types \"0.5\" in a length field in Mils:\n",
                           "SYS_Convert::Str2Base gives 19050 database units (0.0127 mm",
                           "2. Placement.", "3. Regions.", "4. Painting.", "5. Saved ",
                           "the same words.\n", "6. Replayed", "demo.png ", "800 x 600 pixels",
                           "The pictures are in " })
    EXPECT_THAT(r.out, HasSubstr(step));

  // The PNG is the board on the background; SVG and PDF are documents of their kind.
  Png png(Path("out/demo.png"));
  ASSERT_EQ(png.width, 800);
  ASSERT_EQ(png.height, 600);
  EXPECT_EQ(png.At(0, 0), 0x000000u);  // background, palette entry 0
  EXPECT_NE(png.At(400, 300), 0x000000u);
  EXPECT_EQ(ReadFile(Path("out/demo.pdf")).substr(0, 5), "%PDF-");
  EXPECT_THAT(ReadFile(Path("out/demo.svg")), HasSubstr("<svg"));

  // The saved drawing lists as many words as the demo reports.
  const std::string drawing = ReadFile(Path("out/demo.drawing"));
  const size_t words = (drawing.size() - 12) / 4;
  EXPECT_THAT(r.out, HasSubstr(": " + std::to_string(words) + " words, the same words"));
  r = Run("draw", {"dump", Path("out/demo.drawing")});
  EXPECT_EQ(r.exit, 0);
  EXPECT_THAT(r.out, ::testing::EndsWith(" commands, " + std::to_string(words) + " words\n"));
  EXPECT_THAT(r.out, HasSubstr("25 DrawString \"brixsys demo\"\n"));

  // Rendering again with options: size, background, palette.
  r = Run("draw", {"render", "--size", "120x90", "--background", "#ffffff", "--palette",
                   "#010203,#00ff00", Path("out/demo.drawing"), Path("small.PNG")});
  ASSERT_EQ(r.exit, 0) << r.err;
  Png small(Path("small.PNG"));
  EXPECT_EQ(small.width, 120);
  EXPECT_EQ(small.height, 90);
  EXPECT_EQ(small.At(0, 0), 0xFFFFFFu);
  EXPECT_EQ(small.At(60, 45), 0x00FF00u);  // the copper area, palette entry 1
  EXPECT_EQ(Run("draw", {"render", "--margin", "0", Path("out/demo.drawing"), Path("d.svg")}).exit, 0);

  // Usage errors and a directory that cannot be made.
  struct Case {
    const char* subcommand;
    std::vector<std::string> args;
  } usage[] = {
      {"demo", {"a", "b"}},
      {"demo", {"--fast"}},
      {"draw", {"render", Path("out/demo.drawing"), Path("x.gif")}},
      {"draw", {"render", "--size", "0x10", Path("out/demo.drawing"), Path("x.png")}},
      {"draw", {"render", "--size", "40000x10", Path("out/demo.drawing"), Path("x.png")}},
      {"draw", {"render", "--background", "#12", Path("out/demo.drawing"), Path("x.png")}},
      {"draw", {"render", "--background", "32", Path("out/demo.drawing"), Path("x.png")}},
      {"draw", {"render", "--palette", "#000000,", Path("out/demo.drawing"), Path("x.png")}},
      {"draw", {"render", "--shade", "1", Path("out/demo.drawing"), Path("x.png")}},
      {"draw", {"render", Path("out/demo.drawing")}},
      {"draw", {"dump"}},
      {"region", {"render", Path("c.img"), Path("x.bmp")}},
  };
  for (const Case& c : usage) {
    r = Run(c.subcommand, c.args);
    EXPECT_EQ(r.exit, 2) << ::testing::PrintToString(c.args);
    EXPECT_THAT(r.err, HasSubstr("usage: brixsys " + std::string(c.subcommand)));
  }
  EXPECT_FALSE(std::filesystem::exists(Path("x.png")));
  r = Run("demo", {Path("missing/out")});
  EXPECT_EQ(r.exit, 1);
  EXPECT_THAT(r.err, HasSubstr("brixsys demo: cannot create " + Path("missing/out")));
}

// A drawing file of the given words: magic, version, count, words, little-endian.
std::string DrawingFile(const std::vector<std::uint32_t>& words, std::uint32_t version = 1) {
  std::vector<std::uint32_t> all{CDynamic::kFileMagic, version, std::uint32_t(words.size())};
  all.insert(all.end(), words.begin(), words.end());
  return std::string(reinterpret_cast<const char*>(all.data()), 4 * all.size());
}

TEST_F(ToolsTest, DrawNamesTheFirstBadWord) {
  std::uint32_t abc, xxxx;
  memcpy(&abc, "abc", 4);
  memcpy(&xxxx, "xxxx", 4);
  // MoveTo (10, 20), LineTo (30, 40) in colour 5: words 0 ... 6.
  const std::vector<std::uint32_t> lines{4, 10, 20, 6, 30, 40, 5};
  auto with = [&](std::vector<std::uint32_t> tail) {
    std::vector<std::uint32_t> w = lines;
    w.insert(w.end(), tail.begin(), tail.end());
    return w;
  };
  const std::string good = DrawingFile(with({25, 1, abc}));
  struct Case {
    const char* name;
    std::string bytes;
    int listed;  // command lines listed before the failure
    std::string err;
  } cases[] = {
      {"unknown", DrawingFile(with({77, 1, 2})), 2,
       "word 7 (byte 40 of the file), command 77: unknown command"},
      {"cut", DrawingFile(with({4, 10})), 2, "word 7 (byte 40 of the file), command 4 MoveTo: "
                                              "command runs past the end"},
      {"unterminated", DrawingFile(with({25, 1, xxxx})), 2,
       "word 7 (byte 40 of the file), command 25 DrawString: malformed string"},
      {"count", DrawingFile(with({11, 1000000, 1, 1})), 2,
       "word 7 (byte 40 of the file), command 11 PolyLine: count larger than the stream"},
      {"first", DrawingFile({0}), 0, "word 0 (byte 12 of the file), command 0"},
      {"header", "BXDW", -1, "not a drawing (no BXDW header)"},
      {"size", good.substr(0, good.size() - 2), -1, "declares 10 words but holds 38 bytes"},
      {"version", DrawingFile(lines, 2), -1, "drawing format version 2"},
  };
  for (const Case& c : cases) {
    const std::string file = Path(std::string(c.name) + ".drawing");
    WriteFile(file, c.bytes);
    Result r = Run("draw", {"dump", file});
    EXPECT_EQ(r.exit, 1) << c.name;
    EXPECT_THAT(r.err, ::testing::StartsWith("brixsys draw: " + file + ": " + c.err)) << c.name;
    if (c.listed >= 0) {
      EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), c.listed) << c.name << r.out;
    }
    r = Run("draw", {"render", file, Path("x.png")});
    EXPECT_EQ(r.exit, 1) << c.name;
    EXPECT_THAT(r.err, HasSubstr(c.err)) << c.name;
    EXPECT_FALSE(std::filesystem::exists(Path("x.png"))) << c.name;
  }
  WriteFile(Path("good.drawing"), good);
  Result r = Run("draw", {"dump", Path("good.drawing")});
  EXPECT_EQ(r.exit, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("4 MoveTo 10 20\n"));
  EXPECT_THAT(r.out, HasSubstr("25 DrawString \"abc\"\n"));
  EXPECT_THAT(r.out, ::testing::EndsWith("\n3 commands, 10 words\n"));

  // Files that are not drawings at all.
  std::filesystem::create_symlink(Path("good.drawing"), Path("link.drawing"));
  ASSERT_EQ(mkfifo(Path("fifo.drawing").c_str(), 0600), 0);
  for (const std::string& file :
       {Path("none.drawing"), dir_, Path("link.drawing"), Path("fifo.drawing")}) {
    Result r = Run("draw", {"dump", file});
    EXPECT_EQ(r.exit, 1) << file;
    EXPECT_THAT(r.err, HasSubstr("brixsys draw: " + file + ": ")) << file;
  }
}

TEST_F(ToolsTest, LargeDrawingsRenderInSlicesQuietlyOffATerminal) {
  // More than a million words of moves and polylines, whose commands straddle the
  // replay's slices; standard error is not a terminal, so no progress is shown.
  CDynamic drawing;
  UI_DrawArea recorder;
  recorder.AttachDrawing(&drawing);
  SYS_Point line[5] = {{0, 0}, {1000, 0}, {1000, 1000}, {0, 1000}, {0, 0}};
  for (int i = 0; drawing.GetCount() < (1u << 20) + 7; ++i) {
    recorder.MoveTo(SYS_Point(i % 977, i % 991));
    recorder.PolyLine(i % 5 + 1, line, 10, SYS_CompositeColor::Index(1 + i % 4));
  }
  ASSERT_EQ(drawing.Save(Path("big.drawing").c_str()), 1);
  Result r = Run("draw", {"render", "--size", "64x64", Path("big.drawing"), Path("big.png")});
  EXPECT_EQ(r.exit, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(Png(Path("big.png")).width, 64);

  // On a terminal (script(1) gives the program one) the replay shows its percentage.
  if (!std::filesystem::exists("/usr/bin/script")) GTEST_SKIP() << "no script(1) for a terminal";
  const std::string command = std::string(kBrixsys) + " draw render --size 64x64 " +
                              Path("big.drawing") + " " + Path("tty.png");
  r = Spawn("/usr/bin/script", {"-qec", command, "/dev/null"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_THAT(r.out, HasSubstr("\rrendering " + Path("tty.png") + " 100%"));
  EXPECT_TRUE(std::filesystem::exists(Path("tty.png")));
}

TEST_F(ToolsTest, RegionRendersToAPicture) {
  ASSERT_EQ(Run("region", {"circle", "0", "0", "1mm", Path("c.img")}).exit, 0);
  Result r = Run("region", {"render", "--size", "50x50", "--margin", "5", Path("c.img"),
                            Path("c.png")});
  ASSERT_EQ(r.exit, 0) << r.err;
  Png png(Path("c.png"));
  ASSERT_EQ(png.width, 50);
  EXPECT_EQ(png.At(25, 25), 0xD03030u);  // palette entry 1, top copper
  EXPECT_EQ(png.At(1, 1), 0x000000u);
  WriteFile(Path("bad.img"), "nope");
  r = Run("region", {"render", Path("bad.img"), Path("bad.png")});
  EXPECT_EQ(r.exit, 1);
  EXPECT_FALSE(std::filesystem::exists(Path("bad.png")));
}

#endif  // BRIXSYS_HAVE_CAIRO

}  // namespace
