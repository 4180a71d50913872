// cairo_test.cpp - the cairo draw area: pixels of shapes, arcs, regions and XOR, palette
// notifications, the live-target side and PNG/SVG/PDF output read back by independent readers.
#include <cairo.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "brixsys.h"

namespace {

constexpr unsigned long kBlack = 0x000000, kRed = 0x0000FF, kGreen = 0x00FF00;  // 0x00BBGGRR
constexpr unsigned long kTopCopper = 0x3030D0;  // default palette entry 1
const SYS_CompositeColor kRedColor = SYS_CompositeColor::Rgb(255, 0, 0);
const SYS_CompositeColor kGreenColor = SYS_CompositeColor::Rgb(0, 255, 0);

// Reads a PNG with cairo's own reader; pixels as 0x00BBGGRR.
struct Png {
  explicit Png(const std::string& path) : s(cairo_image_surface_create_from_png(path.c_str())) {}
  ~Png() { cairo_surface_destroy(s); }
  bool Ok() const { return cairo_surface_status(s) == CAIRO_STATUS_SUCCESS; }
  unsigned long At(int x, int y) const {
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

// A recorded board: a filled box, a disc and a half-disc region.
void RecordBoard(UI_DrawArea& rec) {
  rec.DrawFilledBox(SYS_Box(0, 0, 400, 400), SYS_CompositeColor::Index(1));
  rec.PaintOval(SYS_Point(700, 700), 400, kRedColor);
  DAPolygon halfDisc;  // an arc of radius 200 about (700, 100) over the top, then straight back
  halfDisc.Add(ArcPolyEdge(900, 100));
  halfDisc.Add(ArcPolyEdge(500, 100), halfDisc.Add(ArcPolyArc(700, 100, 0, 324000000)));
  DARegion region;
  rec.PaintArea((region.Add(halfDisc), region), kGreenColor);
}

// cairo and fontconfig keep font caches for the life of the process; the leak checker is
// told so by releasing cairo's at the end, and fontconfig's own allocations are not ours.
struct CairoCaches : ::testing::Environment {
  void TearDown() override { cairo_debug_reset_static_data(); }
};
const auto* const kCaches = ::testing::AddGlobalTestEnvironment(new CairoCaches);

}  // namespace

// Read by the leak checker of sanitizer builds (so it must be visible); unused otherwise.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}

TEST(CairoTest, RenderedFilesAreReadBackByTheirOwnReaders) {
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
  ASSERT_EQ(std::system(("rsvg-convert -w 100 -h 100 -o '" + d + "svg.png' '" + d + "board.SVG'").c_str()), 0);
  expectBoard(d + "svg.png");
  ASSERT_EQ(UI_RenderDrawing(drawing, (d + "board.pdf").c_str(), options), 1);
  ASSERT_EQ(std::system(("pdftoppm -png -r 72 -singlefile '" + d + "board.pdf' '" + d + "pdf'").c_str()), 0);
  expectBoard(d + "pdf.png");

  CDynamic corrupt;  // a stream that stops after a good command: refused, no picture left
  recorder.AttachDrawing(&corrupt);
  recorder.PenColor(3);
  corrupt.Append(999u);
  UI_PlayResult result;
  EXPECT_EQ(UI_RenderDrawing(corrupt, (d + "corrupt.png").c_str(), {}, &result), 0);
  EXPECT_EQ(result.status, UI_PlayStatus::UnknownCommand);
  EXPECT_EQ(UI_RenderDrawing(drawing, (d + "x.bmp").c_str(), {}), 0);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 5);  // no temporary files
  std::filesystem::remove_all(dir);
}
