// cairo_test.cpp - the cairo draw area: pixels of shapes, arcs, regions and XOR, palette
// notifications, the live-target side and PNG/SVG/PDF output read back by independent readers.
#include <cairo.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "brixsys.h"

extern char** environ;

namespace {

constexpr unsigned long kBlack = 0x000000, kRed = 0x0000FF, kGreen = 0x00FF00;  // 0x00BBGGRR
constexpr unsigned long kTopCopper = 0x3030D0;  // default palette entry 1
const SYS_CompositeColor kRedColor = SYS_CompositeColor::Rgb(255, 0, 0);
const SYS_CompositeColor kGreenColor = SYS_CompositeColor::Rgb(0, 255, 0);

// A 100 x 100 picture showing world (0, 0) ... (1000, 1000): ten units per pixel, y up.
struct Canvas {
  Canvas() : area(100, 100) {
    SYS_Box vp(0, 0, 1000, 1000);
    area.SetVP(vp);
  }
  unsigned long At(double wx, double wy) {
    return area.GetPixelRGB(static_cast<int>(std::floor(wx / 10)), static_cast<int>(std::floor((1000 - wy) / 10)));
  }
  unsigned long AtPolar(double r, double degrees) {
    return At(500 + r * std::cos(degrees * M_PI / 180), 500 + r * std::sin(degrees * M_PI / 180));
  }
  UI_CairoDrawArea area;
};

// Reads a PNG with cairo's own reader; pixels as 0x00BBGGRR.
struct Png {
  explicit Png(const std::string& path) : s(cairo_image_surface_create_from_png(path.c_str())) {}
  ~Png() { cairo_surface_destroy(s); }
  bool Ok() const { return cairo_surface_status(s) == CAIRO_STATUS_SUCCESS; }
  unsigned long At(int x, int y) const {
    cairo_surface_flush(s);
    std::uint32_t p;
    std::memcpy(&p, cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s) + 4 * x, 4);
    return ((p >> 16) & 0xff) | (p & 0xff00) | ((p & 0xff) << 16);
  }
  cairo_surface_t* s;
};

bool Near(unsigned long a, unsigned long b) {  // within 8 per channel
  return std::abs(int(a & 0xff) - int(b & 0xff)) <= 8 && std::abs(int(a >> 8 & 0xff) - int(b >> 8 & 0xff)) <= 8 &&
         std::abs(int(a >> 16 & 0xff) - int(b >> 16 & 0xff)) <= 8;
}

int RunTool(std::vector<std::string> args) {
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid;
  int status = 0;
  if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
  return waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The upper half of a disc of radius 400 about (500, 500): an arc over the top, then straight.
DAPolygon HalfDisc() {
  DAPolygon p;
  p.Add(ArcPolyEdge(900, 500));
  p.Add(ArcPolyEdge(100, 500), p.Add(ArcPolyArc(500, 500, 0, 324000000)));
  return p;
}

// A recorded board: a filled box, a disc and a half-disc region.
void RecordBoard(UI_DrawArea& rec) {
  rec.DrawFilledBox(SYS_Box(0, 0, 400, 400), SYS_CompositeColor::Index(1));
  rec.PaintOval(SYS_Point(700, 700), 400, kRedColor);
  DARegion region;
  region.Add(HalfDisc());
  region.Transform(-500, -500, 0, 0.5, 0.5);  // the flat side on y = 0, radius 200
  region.Transform(700, 100, 0, 1, 1);
  rec.PaintArea(region, kGreenColor);
}

// cairo and fontconfig keep font caches for the life of the process; the leak checker is
// told so by releasing cairo's at the end, and fontconfig's own allocations are not ours.
class CairoCaches : public ::testing::Environment {
 public:
  void TearDown() override { cairo_debug_reset_static_data(); }
};
const auto* const kCaches = ::testing::AddGlobalTestEnvironment(new CairoCaches);

}  // namespace

// Read by the leak checker of sanitizer builds (so it must be visible); unused otherwise.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}

TEST(CairoTest, PixelsOfShapesArcsRegionsAndXor) {
  Canvas c;
  UI_CairoDrawArea& a = c.area;
  EXPECT_EQ(a.World2Screen(SYS_Point(1000, 250)), CPoint(100, 75));
  a.DrawFilledBox(SYS_Box(0, 0, 200, 200), 1);
  SYS_Point line[] = {{100, 500}, {900, 500}};
  a.PolyLine(2, line, 100, kRedColor);  // the width is in world units
  EXPECT_TRUE(c.At(100, 100) == kTopCopper && c.At(215, 100) == kBlack);
  EXPECT_TRUE(c.At(500, 535) == kRed && c.At(500, 465) == kRed && c.At(500, 575) == kBlack);
  a.FillRect(SYS_Box(0, 0, 1000, 1000), 0);
  a.PenSize(40);  // a true arc, counter-clockwise over the left side
  a.FrameArc(SYS_Box(200, 200, 800, 800), 162000000.0, 486000000.0, kRedColor);
  for (int deg : {135, 225}) EXPECT_EQ(c.AtPolar(300, deg), kRed) << deg;
  for (int deg : {45, 315}) EXPECT_EQ(c.AtPolar(300, deg), kBlack) << deg;
  a.FillRect(SYS_Box(0, 0, 1000, 1000), 0);
  DARegion region;
  region.Add(HalfDisc());
  a.PaintArea(region, kRedColor);
  for (int deg : {10, 90, 170}) {  // right up to the arc: chords would miss radius 380
    EXPECT_EQ(c.AtPolar(380, deg), kRed) << deg;
    EXPECT_EQ(c.AtPolar(425, deg), kBlack) << deg;
  }
  EXPECT_EQ(c.At(500, 450), kBlack);  // below the straight side
  std::vector<unsigned long> before;
  for (int y = 0; y < 100; ++y)
    for (int x = 0; x < 100; ++x) before.push_back(a.GetPixelRGB(x, y));
  a.PenMode(1);  // XOR drawn twice gives the picture back
  for (int pass = 0; pass < 2; ++pass) a.PaintOval(SYS_Point(300, 700), 200, kGreenColor);
  for (int y = 0; y < 100; ++y)
    for (int x = 0; x < 100; ++x) ASSERT_EQ(a.GetPixelRGB(x, y), before[y * 100 + x]) << x << "," << y;
}

TEST(CairoTest, LiveTargetShowsRecordedDrawings) {
  CDynamic drawing;
  UI_DrawArea recorder;
  recorder.AttachDrawing(&drawing);
  Canvas canvas;
  canvas.area.Show(&drawing);
  recorder.StartBatchDraw(0);
  RecordBoard(recorder);
  EXPECT_EQ(canvas.At(200, 200), kBlack);  // nothing shown until the batch closes
  recorder.EndBatchDraw();
  EXPECT_TRUE(canvas.At(200, 200) == kTopCopper && canvas.At(700, 700) == kRed);
  EXPECT_TRUE(canvas.At(700, 150) == kGreen && canvas.At(700, 90) == kBlack);
  canvas.area.SetCurrentPaletteColor(1, kGreen);  // a palette change shows on the next redraw
  canvas.area.FillRect(SYS_Box(0, 0, 1000, 1000), kRedColor);
  canvas.area.Redraw();  // replays from scratch
  EXPECT_TRUE(canvas.At(900, 900) == kBlack && canvas.At(200, 200) == kGreen);
  canvas.area.Show(nullptr);
  EXPECT_EQ(drawing.GetLiveTarget(), nullptr);
}

TEST(CairoTest, RenderedFilesAreReadBackAndRefusalsTouchNothing) {
  const std::filesystem::path dir = std::filesystem::temp_directory_path() / ("cairo_test_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  const std::string d = dir.string() + "/";
  CDynamic drawing;
  UI_DrawArea recorder;
  recorder.AttachDrawing(&drawing);
  RecordBoard(recorder);
  UI_RenderOptions options;
  options.width = options.height = 100;
  options.margin = 0;
  options.view = SYS_Box(0, 0, 1000, 1000);
  auto expectBoard = [](const std::string& path) {  // pixel (i, j) shows world (10 i, 1000 - 10 j)
    const Png png(path);
    ASSERT_TRUE(png.Ok()) << path;
    EXPECT_TRUE(Near(png.At(20, 80), kTopCopper) && Near(png.At(70, 30), kRed)) << path;
    EXPECT_TRUE(Near(png.At(70, 85), kGreen) && Near(png.At(20, 20), kBlack)) << path;
  };
  ASSERT_EQ(UI_RenderDrawing(drawing, (d + "board.png").c_str(), options), 1);
  expectBoard(d + "board.png");
  ASSERT_EQ(UI_RenderDrawing(drawing, (d + "board.SVG").c_str(), options), 1);
  ASSERT_EQ(RunTool({"rsvg-convert", "-w", "100", "-h", "100", "-o", d + "svg.png", d + "board.SVG"}), 0);
  expectBoard(d + "svg.png");
  ASSERT_EQ(UI_RenderDrawing(drawing, (d + "board.pdf").c_str(), options), 1);
  ASSERT_EQ(RunTool({"pdftoppm", "-png", "-r", "72", "-singlefile", d + "board.pdf", d + "pdf"}), 0);
  expectBoard(d + "pdf.png");

  // A link in the picture's place is replaced itself; the file it named keeps its bytes.
  std::ofstream(d + "keep.png") << "user data";
  std::filesystem::create_symlink(d + "keep.png", d + "link.png");
  EXPECT_EQ(UI_RenderDrawing(drawing, (d + "link.png").c_str(), {}, nullptr), 1);
  EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(d + "link.png")));
  EXPECT_EQ(std::filesystem::file_size(d + "keep.png"), 9u);
  std::filesystem::create_directory(d + "sub.png");
  CDynamic corrupt;  // a stream that stops: an unknown command after a good one
  recorder.AttachDrawing(&corrupt);
  recorder.PenColor(3);
  corrupt.Append(999u);
  UI_RenderOptions tooBig;
  tooBig.width = UI_CairoDrawArea::kMaxSide + 1;
  UI_PlayResult result;
  EXPECT_EQ(UI_RenderDrawing(corrupt, (d + "corrupt.png").c_str(), {}, &result), 0);
  EXPECT_EQ(result.status, UI_PlayStatus::UnknownCommand);
  EXPECT_EQ(UI_RenderDrawing(drawing, (d + "x.bmp").c_str(), {}) + UI_RenderDrawing(drawing, (d + "big.png").c_str(), tooBig) +
                UI_RenderDrawing(drawing, (d + "sub.png").c_str(), {}) + UI_RenderDrawing(drawing, (d + "none/x.png").c_str(), {}),
            0);  // unknown type, too large, a directory in the way, a missing directory
  for (const char* gone : {"corrupt.png", "x.bmp", "big.png"}) EXPECT_FALSE(std::filesystem::exists(d + gone)) << gone;
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 8);  // no temporary files
  std::filesystem::remove_all(dir);
}
