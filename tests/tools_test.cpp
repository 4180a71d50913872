// tools_test.cpp - runs the brixsys program as a child process on files in a temporary directory.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "daregion.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#ifdef BRIXSYS_HAVE_CAIRO
#include <cairo.h>

#include "uidrawing.h"
#endif

namespace {

using ::testing::HasSubstr;

#if defined(BRIXSYS_PATH) && defined(LOCKHOLDER_PATH)
const std::string kBrixsys = BRIXSYS_PATH, kLockholder = LOCKHOLDER_PATH;
#else
const std::string kBrixsys, kLockholder;
#endif

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}
void WriteFile(const std::string& path, const std::string& data) { std::ofstream(path) << data; }

struct Result {
  int exit;
  std::string out, err;
};

class ToolsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (kBrixsys.empty()) GTEST_SKIP() << "the program under tools/ is not built";
    char pattern[] = "/tmp/brix_tools.XXXXXX";
    dir_ = config_ = mkdtemp(pattern);
  }
  void TearDown() override { std::filesystem::remove_all(dir_, ignored_); }
  // Runs "brixsys ARGS" (shell words) in the test's directory, with its own settings.
  Result Run(const std::string& args, const std::string& input = "/dev/null") {
    const int status = std::system(("cd " + dir_ + " && BRIX_CONFIG_HOME=" + config_ + " exec " +
                                    kBrixsys + " " + args + " <" + input + " >.out 2>.err")
                                       .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), In(".out"), In(".err")};
  }
  std::string In(const std::string& name) { return ReadFile(dir_ + "/" + name); }
  std::string dir_, config_;
  std::error_code ignored_;
};

TEST_F(ToolsTest, MessagesCheckDumpGetAndSave) {
  // Two rejected lines, a repeated section name, a key given twice, an empty section,
  // a protected trailing blank and messages before the first section.
  WriteFile(dir_ + "/app.msg",
            "; texts\n1:Hello\n2:World  $\n[Editor]\n1:Undo\n2:Redo\n 3:indented\n[broken\n"
            "[editor]\n5:Five\n[Empty]\n[Net]\n-3:minus three\n7:seven\n7:SEVEN\n");
  Result r = Run("msg check app.msg");
  EXPECT_EQ(r.exit, 1);
  EXPECT_THAT(r.out, HasSubstr("app.msg(7) : leading blanks are not allowed\napp.msg(8) : invalid"));
  EXPECT_THAT(r.out, HasSubstr(": 4 sections, 8 messages, 2 rejected lines, 2 warnings\n"));
  const std::string dump =
      "1\t1\tHello\n2\t2\tWorld  \n[Editor] base 4\n5\t1\tUndo\n6\t2\tRedo\n[editor] base 8\n"
      "13\t5\tFive\n[Empty] base 15\n[Net] base 17\n14\t-3\tminus three\n24\t7\tSEVEN\n";
  EXPECT_EQ(Run("msg dump app.msg").out, dump);
  const char* cases[][2] = {{"editor:2", "0 Redo\n"}, {"EDITOR:5", "1 "}, {"-17", "0 Net\n"},
                            {"99", "1 "}, {"x:y", "2 "}, {"4294967297", "2 "}, {"", "2 "}};
  for (const auto& c : cases) {
    r = Run("msg get app.msg " + std::string(c[0]));
    EXPECT_EQ(std::to_string(r.exit) + " " + r.out, c[1]) << c[0];
  }
  // A saved database checks clean and holds the same keys and texts.
  ASSERT_EQ(Run("msg save app.msg out.msg").exit, 0);
  EXPECT_EQ(Run("msg check out.msg").exit, 0);
  EXPECT_EQ(Run("msg dump out.msg").out, dump);
  EXPECT_EQ(Run("msg save app.msg missing/out.msg").exit, 1);
}

TEST_F(ToolsTest, RegionCircleShowApproxAndHostileImages) {
  ASSERT_EQ(Run("region circle 1mm -2mm 0.5mm c.img").exit, 0);
  EXPECT_EQ(Run("region show c.img").out,
            "region: 1 polygon, 76 bytes\npolygon 0: circle, flag 2, width 0, 2 vertices, 1 arc\n"
            "  box (750000, -3750000) - (2250000, -2250000)\n  vertex 0: (1500000, -3750000)\n"
            "  vertex 1: (1500000, -3750000) along arc 0, radius 750000\n"
            "  arc 0: centre (1500000, -3000000), start -162000000 (-90 deg), end 486000000 "
            "(270 deg)\n");
  const std::string image = In("c.img");
  DARegion region;
  ASSERT_EQ(region.LoadImage0(image.data(), image.size()), int(image.size()));
  DAPolygon chords;  // the count is the library's
  chords.Approximate(*region.GetFirstPolygon(), 100, 0, 1);
  const std::string line = "2 -> " + std::to_string(chords.GetEdgeCount()) + " vertices\n";
  EXPECT_EQ(Run("region approx c.img 100").out, "polygon 0: " + line + "total: " + line);
  std::string bigger = image, badCount = image;
  bigger[0] = char(bigger[0] + 4);  // declares 4 bytes more than the file holds
  badCount[4] = 2;                  // two polygons, one present
  for (const std::string& bad : {image.substr(0, 3), image.substr(0, 40), bigger, badCount}) {
    WriteFile(dir_ + "/bad.img", bad);
    for (const char* command : {"region show bad.img", "region approx bad.img 0"}) {
      const Result r = Run(command);
      EXPECT_EQ(std::to_string(r.exit) + r.out, "1") << command << " on " << bad.size() << " bytes";
      EXPECT_THAT(r.err, HasSubstr("declared lengths do not fit its " + std::to_string(bad.size())));
    }
  }
  EXPECT_EQ(Run("region circle 1066800000 0 1 c.img").exit, 2);  // beyond the coordinates
}

// Values read as the application reads them, with the texts of the language set.
TEST_F(ToolsTest, UnitsAndLanguages) {
  const std::string outside = "Please enter a value within the [-28000.000000,28000.000000] range.";
  const std::string cases[][2] = {  // arguments; exit, first line of output or else of errors
      {"'1.27 mm'", "0 1.27 mm: 1905000 database units"},
      {"--unit deg -90", "0 -90: -162000000 angle units (1/1800000 degree)"},
      {"1mm,-2mm", "0 1mm,-2mm: (1500000, -3000000) database units"},
      {"28001", "1 brixsys units: \"28001\": " + outside},
      {"1,45deg", "1 brixsys units: \"1,45deg\": an angle cannot be a coordinate"},
      {"x 1mil", "1 1mil: 38100 database units"},  // the good values are still shown
      {"--unit furlong 1", "2 brixsys units: unknown unit \"furlong\""}};
  for (const auto& c : cases) {
    const Result r = Run("units " + c[0]);
    const std::string& text = r.out.empty() ? r.err : r.out;
    EXPECT_EQ(std::to_string(r.exit) + " " + text.substr(0, text.find('\n')), c[1]);
  }
  EXPECT_EQ(Run("units 0.5").out,
            "0.5: 19050 database units\n  Mils         0.5\n  Millimeters  0.0127\n"
            "  Inches       0.0005\n  Microns      12.7\n");

  EXPECT_THAT(Run("lang").out, HasSubstr("(setting LangID in " + dir_ + "/registry.ini)\n"));
  for (const char* c : {"DEU DEU Millimeter", "xyz ENU Millimeters", "enu ENU Millimeters"}) {
    EXPECT_EQ(Run("lang set " + std::string(c, 3)).exit, 0);
    const std::string show = Run("lang show").out;
    EXPECT_THAT(show, HasSubstr("in force: " + std::string(c + 4, 3) + " (")) << c;
    EXPECT_THAT(show, HasSubstr("text 45105: " + std::string(c + 8) + "\n")) << c;
  }
  ASSERT_EQ(Run("lang set deu").exit, 0);
  const Result r = Run("units 2mm 1e9");
  EXPECT_THAT(r.out, HasSubstr("  Millimeter   2\n"));
  EXPECT_EQ(r.err, "brixsys units: \"1e9\": Bitte geben Sie einen Wert im Bereich "
                   "[-28000.000000,28000.000000] ein.\n");
  EXPECT_THAT(Run("lang list").out, ::testing::MatchesRegex("DEU [^\n]*/DEU/libbrixsysRes.so\n"
                                                            "ENU [^\n]*/ENU/libbrixsysRes.so\n"));
  WriteFile(dir_ + "/plain", "");
  config_ = dir_ + "/plain/config";  // a settings directory that cannot exist
  EXPECT_EQ(Run("lang set DEU").exit, 1);
}

TEST_F(ToolsTest, LockShowsTheHolderAndRunHoldsTheLock) {
  WriteFile(dir_ + "/board.pcb", "design");
  const std::string free = "board.pcb: not locked\n", run = "lock run board.pcb -- ";
  EXPECT_EQ(Run("lock show board.pcb").out, free);
  // While the command runs the lock is held: a lockholder run as the command cannot
  // take it, and reads who holds it. Afterwards it is free, its information file gone.
  WriteFile(dir_ + "/commands", "lock\nwho\n");
  Result r = Run(run + kLockholder + " board.pcb", "commands");
  ASSERT_THAT(r.out, ::testing::MatchesRegex("0\n[^|]+\\|.+\n"));
  const std::string who = r.out.substr(2, r.out.size() - 3);
  const std::string holder = who.substr(0, who.find('|')) + " on " + who.substr(who.find('|') + 1);
  EXPECT_EQ(Run("lock show board.pcb").out + In("~$board.pcb.inf"), free);
  // A second program finds it locked and never runs its command, also after waiting.
  EXPECT_EQ(Run(run + kBrixsys + " lock show board.pcb").out, "board.pcb: locked by " + holder + "\n");
  r = Run(run + kBrixsys + " lock run --wait 1 board.pcb -- touch ran");
  EXPECT_EQ(r.exit, 1);
  EXPECT_EQ(r.err + In("ran"), "brixsys lock: board.pcb: locked by " + holder + "\n");
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/ran"));
  // The command's status is the program's; one that cannot start fails.
  for (const auto& [command, exit] : {std::pair{"sh -c 'exit 3'", 3},
                                      {"sh -c 'kill -TERM $$'", 128 + SIGTERM}, {"./none", 1}}) {
    EXPECT_EQ(Run(run + command).exit, exit) << command;
    EXPECT_EQ(Run("lock show board.pcb").out, free) << command;
  }
  // A holder that dies without releasing leaves its information file behind.
  EXPECT_EQ(Run(run + "sh -c 'kill -KILL $PPID'").exit, 128 + SIGKILL);
  EXPECT_EQ(Run("lock show board.pcb").out,
            "board.pcb: not locked; a lock-information file left behind names " + holder + "\n");
  EXPECT_EQ(In("board.pcb"), "design");
  EXPECT_EQ(Run("lock run --wait 4000 board.pcb -- true").exit, 2);
}

#ifdef BRIXSYS_HAVE_CAIRO

// The colour (0xRRGGBB) at a pixel of a PNG, or ~0 outside it.
std::uint32_t Pixel(const std::string& path, int x, int y) {
  cairo_surface_t* s = cairo_image_surface_create_from_png(path.c_str());
  std::uint32_t colour = 0;
  const bool inside = cairo_surface_status(s) == CAIRO_STATUS_SUCCESS &&
                      x < cairo_image_surface_get_width(s) && y < cairo_image_surface_get_height(s);
  if (inside)
    memcpy(&colour, cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s) + 4 * x, 4);
  cairo_surface_destroy(s);
  return inside ? colour & 0xFFFFFF : ~0u;
}

TEST_F(ToolsTest, DemoDrawAndRegionWritePictures) {
  Result r = Run("demo out");
  ASSERT_EQ(r.exit, 0) << r.err;
  const std::string png = dir_ + "/out/demo.png";
  EXPECT_EQ(Pixel(png, 0, 0), 0x000000u);  // background, palette entry 0
  EXPECT_NE(Pixel(png, 400, 300), 0x000000u);
  EXPECT_NE(Pixel(png, 799, 599), ~0u);  // 800 x 600
  EXPECT_EQ(Pixel(png, 800, 599) & Pixel(png, 799, 600), ~0u);
  EXPECT_EQ(In("out/demo.pdf").substr(0, 5) + In("out/demo.svg").substr(0, 5), "%PDF-<?xml");
  const size_t words = (In("out/demo.drawing").size() - 12) / 4;
  EXPECT_THAT(r.out, HasSubstr(": " + std::to_string(words) + " words, the same words"));
  EXPECT_THAT(Run("draw dump out/demo.drawing").out,
              ::testing::EndsWith(" commands, " + std::to_string(words) + " words\n"));
  ASSERT_EQ(Run("draw render --size 120x90 --background '#ffffff' --palette '#010203,#00ff00' "
                "out/demo.drawing s.png").exit, 0);
  EXPECT_EQ(Pixel(dir_ + "/s.png", 0, 0), 0xFFFFFFu);
  EXPECT_EQ(Pixel(dir_ + "/s.png", 60, 45), 0x00FF00u);  // the copper area, palette entry 1
  EXPECT_EQ(Pixel(dir_ + "/s.png", 120, 89) & Pixel(dir_ + "/s.png", 119, 90), ~0u);
  EXPECT_EQ(Run("draw render --size 40000x10 out/demo.drawing x.png").exit, 2);
  EXPECT_EQ(Run("demo missing/out").exit, 1);

  ASSERT_EQ(Run("region circle 0 0 1mm c.img").exit, 0);
  ASSERT_EQ(Run("region render --size 50x50 --margin 5 c.img c.png").exit, 0);
  EXPECT_EQ(Pixel(dir_ + "/c.png", 25, 25), 0xD03030u);  // palette entry 1, top copper
  EXPECT_EQ(Pixel(dir_ + "/c.png", 1, 1), 0x000000u);
}

TEST_F(ToolsTest, DrawNamesTheFirstBadWord) {
  auto file = [](std::vector<std::uint32_t> words, std::uint32_t version = 1) {
    words.insert(words.begin(), {CDynamic::kFileMagic, version, std::uint32_t(words.size())});
    return std::string(reinterpret_cast<const char*>(words.data()), 4 * words.size());
  };
  auto with = [&](std::vector<std::uint32_t> tail) {  // MoveTo (10, 20), LineTo (30, 40) first
    tail.insert(tail.begin(), {4, 10, 20, 6, 30, 40, 5});
    return file(tail);
  };
  const std::string good = with({25, 1, 0x636261}), at7 = "word 7 (byte 40 of the file), command ";
  const std::string cases[][2] = {
      {with({77, 1, 2}), at7 + "77: unknown command"},
      {with({25, 1, 0x78787878}), at7 + "25 DrawString: malformed string"},
      {with({11, 1000000, 1, 1}), at7 + "11 PolyLine: count larger than the stream"},
      {file({0}), "word 0 (byte 12 of the file), command 0"},
      {good.substr(0, good.size() - 2), "declares 10 words but holds 38 bytes"},
      {file({4, 1, 2}, 2), "drawing format version 2"}};
  for (const auto& c : cases) {
    WriteFile(dir_ + "/bad.drawing", c[0]);
    Result r = Run("draw dump bad.drawing");
    EXPECT_EQ(r.exit, 1) << c[1];
    EXPECT_THAT(r.err, ::testing::StartsWith("brixsys draw: bad.drawing: " + c[1]));
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), c[1].find(at7) ? 0 : 2) << c[1];
    r = Run("draw render bad.drawing x.png");
    EXPECT_EQ(std::to_string(r.exit) + In("x.png"), "1") << c[1];
  }
  WriteFile(dir_ + "/good.drawing", good);
  EXPECT_EQ(Run("draw dump good.drawing").out,
            "4 MoveTo 10 20\n6 LineTo 30 40 index:5\n25 DrawString \"abc\"\n3 commands, 10 words\n");
  ASSERT_EQ(mkfifo((dir_ + "/fifo.drawing").c_str(), 0600), 0);
  EXPECT_EQ(Run("draw dump fifo.drawing").exit, 1);  // not a regular file: never waits
}

#endif  // BRIXSYS_HAVE_CAIRO

}  // namespace
