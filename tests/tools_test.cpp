// tools_test.cpp - runs the brixsys program as a child process on files in a temporary directory.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#ifdef BRIXSYS_HAVE_CAIRO
#include <cairo.h>

#include "temp_files.h"
#include "uidrawing.h"
#endif

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

#if defined(BRIXSYS_PATH) && defined(LOCKHOLDER_PATH)
const std::string kBrixsys = BRIXSYS_PATH, kLockholder = LOCKHOLDER_PATH;
#else
const std::string kBrixsys, kLockholder;
#endif

class ToolsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (kBrixsys.empty()) GTEST_SKIP() << "the program under tools/ is not built";
  }
  // Runs "brixsys ARGS" (shell words) in the test's directory with its own settings:
  // "EXIT OUTPUT", standard error left in err_.
  std::string Says(const std::string& args, const std::string& input = "/dev/null") {
    const int status = std::system(("cd " + dir_ + " && BRIX_CONFIG_HOME=" + config_ + " exec " +
                                    kBrixsys + " " + args + " <" + input + " >.out 2>.err")
                                       .c_str());
    err_ = In(".err");
    return std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)) + " " +
           In(".out");
  }
  std::string In(const std::string& name) { return Slurp(tmp_ / name); }  // "" when there is none
  void Out(const std::string& name, const std::string& bytes) { Spit(tmp_ / name, bytes); }
  TempDir tmp_;
  const std::string dir_ = tmp_.path;
  std::string config_ = tmp_.path, err_;
};

TEST_F(ToolsTest, MessagesCheckDumpGetAndSave) {
  // Two rejected lines, a repeated section name, a key given twice, an empty section,
  // a protected trailing blank and messages before the first section.
  Out("app.msg", "; texts\n1:Hello\n2:World  $\n[Editor]\n1:Undo\n2:Redo\n 3:indented\n[broken\n"
                 "[editor]\n5:Five\n[Empty]\n[Net]\n-3:minus three\n7:seven\n7:SEVEN\n");
  const std::string check = Says("msg check app.msg");
  EXPECT_THAT(check, StartsWith("1 app.msg(7) : leading blanks are not allowed\napp.msg(8) : invalid"));
  EXPECT_THAT(check, HasSubstr(": 4 sections, 8 messages, 2 rejected lines, 2 warnings\n"));
  const std::string dump =
      "0 1\t1\tHello\n2\t2\tWorld  \n[Editor] base 4\n5\t1\tUndo\n6\t2\tRedo\n[editor] base 8\n"
      "13\t5\tFive\n[Empty] base 15\n[Net] base 17\n14\t-3\tminus three\n24\t7\tSEVEN\n";
  EXPECT_EQ(Says("msg dump app.msg"), dump);
  const char* cases[][2] = {{"editor:2", "0 Redo\n"}, {"EDITOR:5", "1 "}, {"-17", "0 Net\n"},
                            {"99", "1 "}, {"x:y", "2 "}, {"4294967297", "2 "}, {"", "2 "}};
  for (const auto& c : cases) EXPECT_EQ(Says("msg get app.msg " + std::string(c[0])), c[1]) << c[0];
  // A saved database holds the same keys and texts.
  EXPECT_EQ(Says("msg save app.msg out.msg"), "0 ");
  EXPECT_EQ(Says("msg dump out.msg"), dump);
}

TEST_F(ToolsTest, RegionCircleShowApproxAndHostileImages) {
  ASSERT_EQ(Says("region circle 1mm -2mm 0.5mm c.img"), "0 ");
  EXPECT_EQ(Says("region show c.img"),
            "0 region: 1 polygon, 76 bytes\npolygon 0: circle, flag 2, width 0, 2 vertices, 1 arc\n"
            "  box (750000, -3750000) - (2250000, -2250000)\n  vertex 0: (1500000, -3750000)\n"
            "  vertex 1: (1500000, -3750000) along arc 0, radius 750000\n"
            "  arc 0: centre (1500000, -3000000), start -162000000 (-90 deg), end 486000000 "
            "(270 deg)\n");
  EXPECT_THAT(Says("region approx c.img 100"), ::testing::MatchesRegex("0 polygon 0: 2 -> [1-9][0-9]+ vertices\ntotal: .*"));
  std::string bad = In("c.img");
  bad[4] = 2;  // two polygons, one present
  for (const std::string& image : {bad, bad.substr(0, 40)}) {
    Out("bad.img", image);
    EXPECT_EQ(Says("region show bad.img"), "1 ") << image.size() << " bytes";
    EXPECT_THAT(err_, HasSubstr("declared lengths do not fit its " + std::to_string(image.size())));
  }
  EXPECT_EQ(Says("region circle 1066800000 0 1 c.img"), "2 ");  // beyond the coordinates
}

// Values read as the application reads them, with the texts of the language set.
TEST_F(ToolsTest, UnitsAndLanguages) {
  const std::string outside = "Please enter a value within the [-28000.000000,28000.000000] range.";
  const std::string cases[][3] = {  // arguments, exit and first line of output, of errors
      {"'1.27 mm'", "0 1.27 mm: 1905000 database units", ""},
      {"1mm,-2mm", "0 1mm,-2mm: (1500000, -3000000) database units", ""},
      {"28001", "1 ", "brixsys units: \"28001\": " + outside},
      {"x 1mil", "1 1mil: 38100 database units", "brixsys units: \"x\": " + outside},
      {"--unit furlong 1", "2 ", "brixsys units: unknown unit \"furlong\""}};
  for (const auto& c : cases) {
    const std::string says = Says("units " + c[0]);
    EXPECT_EQ(says.substr(0, says.find('\n')) + "|" + err_.substr(0, err_.find('\n')), c[1] + "|" + c[2]);
  }
  EXPECT_THAT(Says("lang"), HasSubstr("(setting LangID in " + dir_ + "/registry.ini)\n"));
  ASSERT_THAT(Says("lang set deu"), StartsWith("0 "));
  EXPECT_THAT(Says("lang show"), HasSubstr("in force: DEU ("));
  EXPECT_THAT(Says("units 2mm 1e9"), HasSubstr("  Millimeter   2\n"));
  EXPECT_EQ(err_, "brixsys units: \"1e9\": Bitte geben Sie einen Wert im Bereich "
                  "[-28000.000000,28000.000000] ein.\n");
  Out("plain", "");
  config_ = dir_ + "/plain/config";  // a settings directory that cannot exist
  EXPECT_EQ(Says("lang set DEU"), "1 ");
}

TEST_F(ToolsTest, LockShowsTheHolderAndRunHoldsTheLock) {
  Out("board.pcb", "design");
  const std::string free = "0 board.pcb: not locked\n", run = "lock run board.pcb -- ";
  EXPECT_EQ(Says("lock show board.pcb"), free);
  // While the command runs the lock is held: a lockholder run as the command cannot
  // take it, and reads who holds it. Afterwards it is free, its information file gone.
  Out("commands", "lock\nwho\n");
  const std::string who = Says(run + kLockholder + " board.pcb", "commands");
  ASSERT_THAT(who, ::testing::MatchesRegex("0 0\n[^|]+\\|.+\n"));
  std::string holder = who.substr(4, who.size() - 5);  // "user|computer"
  holder.replace(holder.find('|'), 1, " on ");
  EXPECT_EQ(Says("lock show board.pcb"), free);
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/~$board.pcb.inf"));
  // A second program finds it locked and never runs its command, also after waiting.
  EXPECT_EQ(Says(run + kBrixsys + " lock show board.pcb"), "0 board.pcb: locked by " + holder + "\n");
  EXPECT_EQ(Says(run + kBrixsys + " lock run --wait 1 board.pcb -- touch ran"), "1 ");
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/ran"));
  EXPECT_EQ(err_, "brixsys lock: board.pcb: locked by " + holder + "\n");
  // The command's status is the program's; one that cannot start fails.
  EXPECT_EQ(Says(run + "sh -c 'kill -TERM $$'"), std::to_string(128 + SIGTERM) + " ");
  EXPECT_EQ(Says(run + "./none"), "1 ");
  EXPECT_EQ(Says("lock show board.pcb"), free);
  // A holder that dies without releasing leaves its information file behind.
  EXPECT_EQ(Says(run + "sh -c 'kill -KILL $PPID'"), std::to_string(128 + SIGKILL) + " ");
  EXPECT_EQ(Says("lock show board.pcb"),
            "0 board.pcb: not locked; a lock-information file left behind names " + holder + "\n");
}

#ifdef BRIXSYS_HAVE_CAIRO

// The colour (0xRRGGBB) at a pixel of a PNG, or ~0 outside it.
std::uint32_t Pixel(const std::string& path, int x, int y) {
  cairo_surface_t* s = cairo_image_surface_create_from_png(path.c_str());  // 0 x 0 when unread
  const bool inside = x < cairo_image_surface_get_width(s) && y < cairo_image_surface_get_height(s);
  std::uint32_t colour = 0;
  if (inside)
    memcpy(&colour, cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s) + 4 * x, 4);
  cairo_surface_destroy(s);
  return inside ? colour & 0xFFFFFF : ~0u;
}

TEST_F(ToolsTest, DemoDrawAndRegionWritePicturesAndRefuseDamagedDrawings) {
  ASSERT_THAT(Says("demo out"), StartsWith("0 ")) << err_;
  const std::string png = dir_ + "/out/demo.png";
  EXPECT_EQ(Pixel(png, 0, 0), 0x000000u);  // background, palette entry 0
  EXPECT_NE(Pixel(png, 400, 300), 0x000000u);
  EXPECT_EQ(Pixel(png, 800, 599) & Pixel(png, 799, 600), ~0u);  // 800 x 600
  EXPECT_EQ(In("out/demo.pdf").substr(0, 5) + In("out/demo.svg").substr(0, 5), "%PDF-<?xml");
  EXPECT_EQ(Says("demo missing/out"), "1 ");
  ASSERT_EQ(Says("region circle 0 0 1mm c.img"), "0 ");
  ASSERT_EQ(Says("region render --size 50x50 c.img c.png"), "0 ");
  EXPECT_EQ(Pixel(dir_ + "/c.png", 25, 25), 0xD03030u);  // palette entry 1, top copper
  EXPECT_EQ(Pixel(dir_ + "/c.png", 0, 0), 0x000000u);

  // The demo's drawing replays onto pictures; a damaged one is named and refused.
  const std::string words = std::to_string((In("out/demo.drawing").size() - 12) / 4) + " words";
  EXPECT_THAT(Says("draw dump out/demo.drawing"), ::testing::EndsWith(" commands, " + words + "\n"));
  ASSERT_EQ(Says("draw render --size 120x90 --background '#ffffff' --palette '#010203,#00ff00' "
                 "out/demo.drawing s.png"), "0 ");
  EXPECT_EQ(Pixel(dir_ + "/s.png", 0, 0), 0xFFFFFFu);
  EXPECT_EQ(Pixel(dir_ + "/s.png", 60, 45), 0x00FF00u);  // the copper area, palette entry 1
  EXPECT_EQ(Pixel(dir_ + "/s.png", 120, 89) & Pixel(dir_ + "/s.png", 119, 90), ~0u);
  EXPECT_EQ(Says("draw render --size 40000x10 out/demo.drawing x.png"), "2 ");
  auto file = [](std::vector<std::uint32_t> words, std::uint32_t version = 1) {
    words.insert(words.begin(), {CDynamic::kFileMagic, version, std::uint32_t(words.size())});
    return std::string(reinterpret_cast<const char*>(words.data()), 4 * words.size());
  };
  // MoveTo (10, 20), LineTo (30, 40) in colour 5, DrawString "abc".
  const std::string good = file({4, 10, 20, 6, 30, 40, 5, 25, 1, 0x636261});
  const std::string cases[][3] = {  // file, lines listed, error
      {file({4, 10, 20, 6, 30, 40, 5, 11, 1000000, 1, 1}), "2",
       "word 7 (byte 40 of the file), command 11 PolyLine: count larger than the stream"},
      {good.substr(0, good.size() - 2), "0", "declares 10 words but holds 38 bytes"},
      {file({4, 1, 2}, 2), "0", "drawing format version 2"}};
  for (const auto& c : cases) {
    Out("bad.drawing", c[0]);
    const std::string says = Says("draw dump bad.drawing");
    EXPECT_EQ(says.substr(0, 2) + std::to_string(std::count(says.begin(), says.end(), '\n')), "1 " + c[1]);
    EXPECT_THAT(err_, StartsWith("brixsys draw: bad.drawing: " + c[2]));
    EXPECT_EQ(Says("draw render bad.drawing x.png"), "1 ") << c[2];
    EXPECT_FALSE(std::filesystem::exists(dir_ + "/x.png"));
  }
  Out("good.drawing", good);
  EXPECT_EQ(Says("draw dump good.drawing"),
            "0 4 MoveTo 10 20\n6 LineTo 30 40 index:5\n25 DrawString \"abc\"\n3 commands, 10 words\n");
}

#endif  // BRIXSYS_HAVE_CAIRO

}  // namespace
