// cairo_test.cpp - the cairo draw area: view and coordinates, pixels of every kind of command,
// XOR and text, palette notifications, the live-target side and PNG/SVG/PDF output read back
// by independent readers.
#include <cairo.h>
#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "brixsys.h"

extern char** environ;

namespace {

constexpr unsigned long kBlack = 0x000000;
constexpr unsigned long kWhite = 0xFFFFFF;
constexpr unsigned long kRed = 0x0000FF;    // 0x00BBGGRR
constexpr unsigned long kGreen = 0x00FF00;
constexpr unsigned long kTopCopper = 0x3030D0;  // default palette entry 1
const SYS_CompositeColor kRedColor = SYS_CompositeColor::Rgb(255, 0, 0);
const SYS_CompositeColor kGreenColor = SYS_CompositeColor::Rgb(0, 255, 0);
constexpr double kQuarter = 162000000.0;  // 90 degrees in angle units

// A 100 x 100 picture showing world (0, 0) ... (1000, 1000): ten units per pixel.
struct Canvas {
  Canvas() : area(100, 100) {
    SYS_Box vp(0, 0, 1000, 1000);
    area.SetVP(vp);
  }
  // The pixel under a world point.
  unsigned long At(double wx, double wy) {
    return area.GetPixelRGB(static_cast<int>(std::floor(wx / 10)),
                            static_cast<int>(std::floor((1000 - wy) / 10)));
  }
  unsigned long AtPolar(double cx, double cy, double r, double degrees) {
    double a = degrees * M_PI / 180;
    return At(cx + r * std::cos(a), cy + r * std::sin(a));
  }
  UI_CairoDrawArea area;
};

DAPolygon HalfDisc() {
  // From (900, 500) along the arc about (500, 500) counter-clockwise over the top to
  // (100, 500), then straight back: the upper half of a disc of radius 400.
  DAPolygon p;
  p.Add(ArcPolyEdge(900, 500));
  int arc = p.Add(ArcPolyArc(500, 500, 0, 324000000));
  p.Add(ArcPolyEdge(100, 500), arc);
  return p;
}

DAPolygon Square(long l, long b, long r, long t) {
  DAPolygon p;
  p.Add(ArcPolyEdge(l, b));
  p.Add(ArcPolyEdge(r, b));
  p.Add(ArcPolyEdge(r, t));
  p.Add(ArcPolyEdge(l, t));
  return p;
}

std::string MakeTempDir() {
  char tmpl[] = "/tmp/cairo_test.XXXXXX";
  const char* dir = mkdtemp(tmpl);
  EXPECT_NE(dir, nullptr);
  return dir ? dir : "/tmp";
}

int RunTool(const std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid;
  if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Reads a PNG with cairo's own reader; pixels as 0x00BBGGRR.
struct Png {
  explicit Png(const std::string& path) : s(cairo_image_surface_create_from_png(path.c_str())) {}
  ~Png() { cairo_surface_destroy(s); }
  bool Ok() const { return cairo_surface_status(s) == CAIRO_STATUS_SUCCESS; }
  int Width() const { return cairo_image_surface_get_width(s); }
  int Height() const { return cairo_image_surface_get_height(s); }
  unsigned long At(int x, int y) const {
    cairo_surface_flush(s);
    const unsigned char* row = cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s);
    std::uint32_t p;
    std::memcpy(&p, row + 4 * x, 4);
    return ((p >> 16) & 0xff) | (p & 0xff00) | ((p & 0xff) << 16);
  }
  cairo_surface_t* s;
};

bool Near(unsigned long a, unsigned long b, int tolerance = 8) {
  for (int shift = 0; shift < 24; shift += 8) {
    int d = static_cast<int>((a >> shift) & 0xff) - static_cast<int>((b >> shift) & 0xff);
    if (std::abs(d) > tolerance) return false;
  }
  return true;
}

// A recorded board: a filled box, a disc and a half-disc region.
void RecordBoard(UI_DrawArea& rec) {
  rec.DrawFilledBox(SYS_Box(0, 0, 400, 400), SYS_CompositeColor::Index(1));
  rec.PaintOval(SYS_Point(700, 700), 400, kRedColor);
  DARegion region;
  region.Add(HalfDisc());
  region.Transform(0, -500, 0, 1, 1);  // the flat side on y = 0
  region.Transform(0, 0, 0, 0.5, 0.5);
  region.Transform(450, 100, 0, 1, 1);
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

// ---------------------------------------------------------------------------------------
// View and coordinates.

TEST(CairoTest, ViewMapsWorldToPixelsWithYUp) {
  UI_CairoDrawArea area(200, 100);
  SYS_Box vp(0, 0, 2000, 1000);
  area.SetVP(vp);
  EXPECT_DOUBLE_EQ(area.GetScale(nullptr), 0.1);
  EXPECT_DOUBLE_EQ(area.GetPixelSize(), 10.0);
  struct Case {
    SYS_Point world;
    CPoint screen;
  } cases[] = {
      {{0, 0}, {0, 100}},        // lower-left at the bottom of the picture
      {{2000, 1000}, {200, 0}},  // upper-right at the top
      {{1000, 250}, {100, 75}},  // y up in the world is y down on the screen
      {{-500, 2000}, {-50, -100}},
  };
  for (const Case& c : cases) {
    CPoint s = area.World2Screen(c.world);
    EXPECT_EQ(s, c.screen) << c.world.GetX() << "," << c.world.GetY();
    EXPECT_EQ(area.Screen2World(s), c.world);
  }
  EXPECT_EQ(area.World2Screen(SYS_Box(0, 0, 1000, 500)), CRect(0, 50, 100, 100));
  EXPECT_EQ(area.Screen2World(CRect(0, 50, 100, 100)), SYS_Box(0, 0, 1000, 500));
  EXPECT_EQ(area.Scale2ScreenX(1234), 123);
  EXPECT_EQ(area.Scale2WorldY(7), 70);
  EXPECT_EQ(area.Scale2Screen(SYS_Point(100, -200)), CPoint(10, -20));

  // Coordinate conversion switched off: pixels in, pixels out.
  EXPECT_EQ(area.EnableCoordConversion(0), 0);
  EXPECT_EQ(area.World2Screen(SYS_Point(5, 6)), CPoint(5, 6));
  EXPECT_EQ(area.EnableCoordConversion(1), 1);
  EXPECT_EQ(area.World2Screen(SYS_Point(0, 0)), CPoint(0, 100));
}

TEST(CairoTest, ViewportFitsScalesAndCentres) {
  struct Case {
    const char* name;
    SYS_Box box;
    int margin;
    double scale;
    SYS_Box shown;  // the whole 200 x 100 picture afterwards
  } cases[] = {
      {"exact", SYS_Box(0, 0, 2000, 1000), 0, 0.1, SYS_Box(0, 0, 2000, 1000)},
      {"tall box widened", SYS_Box(0, 0, 100, 100), 0, 1.0, SYS_Box(-50, 0, 150, 100)},
      {"wide box heightened", SYS_Box(0, 0, 400, 100), 0, 0.5, SYS_Box(0, -50, 400, 150)},
      {"margin", SYS_Box(0, 0, 80, 80), 10, 1.0, SYS_Box(-60, -10, 140, 90)},
      {"reversed corners", SYS_Box(2000, 1000, 0, 0), 0, 0.1, SYS_Box(0, 0, 2000, 1000)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    UI_CairoDrawArea area(200, 100);
    SYS_Box b = c.box;
    area.FitRectToWindow(b, c.margin);
    EXPECT_DOUBLE_EQ(area.GetScale(nullptr), c.scale);
    EXPECT_EQ(b, c.shown);
    SYS_Box vp;
    area.GetVP(vp);
    EXPECT_EQ(vp, c.shown);
    // SetVP leaves its argument alone, SetAndAdjustVP reports what is shown.
    SYS_Box keep = c.box;
    area.SetVP(keep);
    EXPECT_EQ(keep, c.box);
    if (c.margin == 0) {
      area.SetAndAdjustVP(keep);
      EXPECT_EQ(keep, c.shown);
    }
  }

  UI_CairoDrawArea area(200, 100);
  EXPECT_EQ(area.SetFitPixelMargin(10), 0);
  SYS_Box b(0, 0, 80, 80);
  area.FitRectToWindow(b);  // the stored margin
  EXPECT_EQ(b, SYS_Box(-60, -10, 140, 90));
  // A degenerate box or a margin that leaves nothing changes nothing.
  SYS_Box point(5, 5, 5, 5);
  area.FitRectToWindow(point, 0);
  EXPECT_DOUBLE_EQ(area.GetScale(nullptr), 1.0);
  SYS_Box big(0, 0, 10, 10);
  area.FitRectToWindow(big, 60);
  EXPECT_DOUBLE_EQ(area.GetScale(nullptr), 1.0);

  // Zooming keeps the given point at the centre; unusable scales are refused.
  SYS_Point at(1000, 2000), centre;
  EXPECT_EQ(area.SetScale(4.0, &at, 0), 1);
  EXPECT_DOUBLE_EQ(area.GetScale(&centre), 4.0);
  EXPECT_EQ(centre, at);
  EXPECT_EQ(area.World2Screen(at), CPoint(100, 50));
  for (double bad : {0.0, -1.0, double(NAN), double(INFINITY)}) EXPECT_EQ(area.SetScale(bad, nullptr, 0), 0);
  EXPECT_DOUBLE_EQ(area.GetScale(nullptr), 4.0);
}

// ---------------------------------------------------------------------------------------
// Pixels of the drawing commands.

TEST(CairoTest, ShapesLandWhereTheTransformPutsThem) {
  struct Probe {
    double x, y;
    unsigned long rgb;
    int tolerance = 8;  // per channel; one-pixel diagonals are anti-aliased
  };
  struct Case {
    const char* name;
    void (*draw)(UI_CairoDrawArea&);
    std::vector<Probe> probes;
  } cases[] = {
      {"filled box: centre filled, just outside background",
       [](UI_CairoDrawArea& a) { a.DrawFilledBox(SYS_Box(200, 200, 400, 400), 1); },
       {{300, 300, kTopCopper}, {215, 385, kTopCopper}, {415, 300, kBlack}, {300, 185, kBlack}}},
      {"y points up: a box in the upper half",
       [](UI_CairoDrawArea& a) { a.FillRect(SYS_Box(0, 600, 1000, 1000), kRedColor); },
       {{500, 900, kRed}, {500, 100, kBlack}}},
      {"disc of diameter 400 about (500, 500)",
       [](UI_CairoDrawArea& a) { a.PaintOval(SYS_Point(500, 500), 400, kRedColor); },
       {{500, 500, kRed}, {500 + 170, 500, kRed}, {500, 500 - 170, kRed}, {500 + 230, 500, kBlack},
        {500 + 160, 500 + 160, kBlack}}},
      {"oval from a box is as wide as the box",
       [](UI_CairoDrawArea& a) { a.PaintOval(SYS_Box(100, 400, 900, 600), kRedColor); },
       {{150, 500, kRed}, {850, 500, kRed}, {500, 650, kBlack}, {500, 560, kRed}}},
      {"polyline width is in world units",
       [](UI_CairoDrawArea& a) {
         SYS_Point pts[] = {{100, 500}, {900, 500}};
         a.PolyLine(2, pts, 100, kRedColor);
       },
       {{500, 535, kRed}, {500, 465, kRed}, {500, 575, kBlack}, {500, 425, kBlack}}},
      {"thin line still one pixel",
       [](UI_CairoDrawArea& a) {
         a.PenSize(-1);
         a.MoveTo(SYS_Point(0, 505));
         a.LineTo(SYS_Point(1000, 505), kRedColor);
       },
       {{300, 505, kRed}, {300, 535, kBlack}}},
      {"relative moves",
       [](UI_CairoDrawArea& a) {
         a.PenSize(60);
         a.MoveTo(SYS_Point(105, 105));
         a.MoveToRel(0, 400);
         a.LineToRel(400, 0, kRedColor);
       },
       {{300, 505, kRed}, {300, 105, kBlack}}},
      {"box outline: centre empty, edge drawn",
       [](UI_CairoDrawArea& a) {
         a.PenSize(40);
         a.DrawBox(SYS_Box(200, 200, 800, 800), kRedColor);
       },
       {{500, 500, kBlack}, {205, 500, kRed}, {500, 795, kRed}}},
      {"frame oval is a ring",
       [](UI_CairoDrawArea& a) {
         a.PenSize(40);
         a.FrameOval(SYS_Point(500, 500), 600, kRedColor);
       },
       {{500, 500, kBlack}, {805, 500, kRed}, {500, 205, kRed}}},
      {"crosses, markers and icons centre on their point",
       [](UI_CairoDrawArea& a) {
         a.PenColor(kRedColor);
         a.DrawCross(SYS_Point(205, 205), kRedColor);
         a.DrawMarker(3, SYS_Point(705, 705));
       },
       {{205, 245, kRed}, {245, 205, kRed}, {245, 245, kBlack}, {745, 705, kRed}, {705, 705, kBlack}}},
      {"poly-polygon with a hole (even-odd)",
       [](UI_CairoDrawArea& a) {
         SYS_Point pts[] = {{100, 100}, {900, 100}, {900, 900}, {100, 900},
                            {400, 400}, {600, 400}, {600, 600}, {400, 600}};
         int counts[] = {4, 4};
         a.PenColor(kRedColor);
         a.PolyPolygon(pts, counts, 2, UI_PolySolid);
       },
       {{200, 500, kRed}, {500, 500, kBlack}, {950, 500, kBlack}}},
      {"paint poly with a hole",
       [](UI_CairoDrawArea& a) {
         SYS_Point pts[] = {{100, 100}, {900, 100}, {900, 900}, {100, 900},
                            {400, 400}, {600, 400}, {600, 600}, {400, 600}};
         _polyHead heads[] = {{4, UI_PolyPlain}, {4, UI_PolyPlain}};
         a.PenColor(kRedColor);
         a.PaintPoly(2, heads, pts);
       },
       {{200, 500, kRed}, {500, 500, kBlack}}},
      {"path of lines filled",
       [](UI_CairoDrawArea& a) {
         a.PenColor(kRedColor);
         a.BeginPath();
         a.MoveTo(SYS_Point(100, 100));
         a.LineTo(SYS_Point(900, 100), kRedColor);
         a.LineTo(SYS_Point(500, 900), kRedColor);
         a.EndPath();
         a.PaintPath();
       },
       {{500, 300, kRed}, {150, 800, kBlack}}},
      {"infinite lines cross the whole picture",
       [](UI_CairoDrawArea& a) {
         a.PenColor(kRedColor);
         a.DrawInfiniteOrthoLine(SYS_Point(505, 505), EOrthoBoth);
       },
       {{5, 505, kRed}, {995, 505, kRed}, {505, 5, kRed}, {505, 995, kRed}, {300, 300, kBlack}}},
      {"rising diagonal goes up to the right",
       [](UI_CairoDrawArea& a) {
         a.PenColor(kRedColor);
         a.PenSize(30);
         a.DrawInfiniteDiagonalLine(SYS_Point(505, 505), EDiagonalRising);
       },
       {{805, 805, kRed}, {205, 205, kRed}, {205, 805, kBlack}}},
      {"dot grid: dots on the grid, nothing between",
       [](UI_CairoDrawArea& a) {
         a.PenColor(kRedColor);
         a.DrawDotGrid(SYS_Point(5, 5), 100, 100, SYS_Box(0, 0, 1000, 1000));
       },
       {{105, 105, kRed}, {905, 505, kRed}, {155, 105, kBlack}, {105, 155, kBlack}}},
      {"poly-polyline: each polyline on its own",
       [](UI_CairoDrawArea& a) {
         SYS_Point pts[] = {{105, 105}, {105, 905}, {905, 105}, {905, 905}};
         unsigned long counts[] = {2, 2};
         a.PenColor(kRedColor);
         a.PenSize(30);
         a.PolyPolyline(pts, counts, 2);
       },
       {{105, 505, kRed}, {905, 505, kRed}, {505, 505, kBlack}}},
      {"hatched polygon: lines inside, gaps between them",
       [](UI_CairoDrawArea& a) {
         SYS_Point pts[] = {{100, 100}, {900, 100}, {900, 900}, {100, 900}};
         a.PenColor(kRedColor);
         a.PenSize(30);
         a.DrawHatchedPoly(4, pts);
       },
       {{105, 500, kRed}, {950, 500, kBlack}}},
      {"markers: dot, x, diamond and the icon frame",
       [](UI_CairoDrawArea& a) {
         a.PenColor(kRedColor);
         a.DrawMarker(0, SYS_Point(205, 205));
         a.DrawMarker(2, SYS_Point(505, 505));
         a.DrawMarker(4, SYS_Point(805, 805));
         a.DrawIcon(HICON{7}, SYS_Point(205, 805), 0);
       },
       {{205, 205, kRed}, {535, 535, kRed, 0x40}, {505, 535, kBlack}, {805, 845, kRed, 0x40},
        {805, 805, kBlack},
        {285, 805, kRed}, {205, 805, kBlack}}},
      {"pin number centred and sized on its position",
       [](UI_CairoDrawArea& a) {
         a.TextColor(kRedColor);
         a.DrawPinNumberString("8", SYS_Position(500, 500, 0, 0), 600.0);
       },
       {{100, 500, kBlack}, {900, 500, kBlack}}},
      {"outline mode draws filled shapes hollow",
       [](UI_CairoDrawArea& a) {
         a.SetOutlineMode(1);
         a.DrawFilledBox(SYS_Box(200, 200, 800, 800), kRedColor);
       },
       {{500, 500, kBlack}}},
      {"brightness dims every colour",
       [](UI_CairoDrawArea& a) {
         a.SetBrightness(50);
         a.FillRect(SYS_Box(0, 0, 1000, 1000), SYS_CompositeColor::Rgb(200, 100, 0));
       },
       {{500, 500, 0x003264}}},
      {"clip rectangle limits drawing",
       [](UI_CairoDrawArea& a) {
         a.SetRedrawRect(SYS_Box(0, 0, 500, 1000));
         a.FillRect(SYS_Box(0, 0, 1000, 1000), kRedColor);
         a.SetRedrawRect(SYS_Box(1, 1, 0, 0));
       },
       {{250, 500, kRed}, {750, 500, kBlack}}},
      {"erase rect and erase area give the background back",
       [](UI_CairoDrawArea& a) {
         a.FillRect(SYS_Box(0, 0, 1000, 1000), kRedColor);
         a.EraseRect(SYS_Box(0, 0, 200, 200));
         DARegion r;
         DAPolygon disc;
         disc.CreateCircle(600, 600, 150);
         r.Add(disc);
         a.EraseArea(r);
       },
       {{100, 100, kBlack}, {600, 600, kBlack}, {600, 800, kRed}, {300, 300, kRed}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Canvas canvas;
    c.draw(canvas.area);
    for (const Probe& p : c.probes)
      EXPECT_TRUE(Near(canvas.At(p.x, p.y), p.rgb, p.tolerance))
          << "at (" << p.x << ", " << p.y << "): " << std::hex << canvas.At(p.x, p.y);
  }
}

TEST(CairoTest, ArcsAreTrueArcsInTheRightDirection) {
  // Quarter arcs of radius 300 about (500, 500); probes on the circle at every 45 degrees.
  struct Case {
    const char* name;
    double start, end;
    std::vector<int> on, off;  // degrees
  } cases[] = {
      {"first quadrant, counter-clockwise", 0, kQuarter, {45}, {135, 225, 315}},
      {"clockwise from 0 to -90", 0, -kQuarter, {315}, {45, 135, 225}},
      {"over the left side", kQuarter, 3 * kQuarter, {135, 225}, {45, 315}},
      {"full turn", 0, 4 * kQuarter, {45, 135, 225, 315}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Canvas canvas;
    canvas.area.PenSize(40);
    canvas.area.FrameArc(SYS_Box(200, 200, 800, 800), c.start, c.end, kRedColor);
    for (int deg : c.on) EXPECT_EQ(canvas.AtPolar(500, 500, 300, deg), kRed) << deg;
    for (int deg : c.off) EXPECT_EQ(canvas.AtPolar(500, 500, 300, deg), kBlack) << deg;
    EXPECT_EQ(canvas.At(500, 500), kBlack);
  }

  // Directions through points: counter-clockwise from the direction of `from` to `to`.
  Canvas canvas;
  canvas.area.PenSize(40);
  canvas.area.MoveTo(SYS_Point(500, 500));
  canvas.area.FrameArc(600, 600, SYS_Point(500, 900), SYS_Point(100, 500), kRedColor);
  EXPECT_EQ(canvas.AtPolar(500, 500, 300, 135), kRed);
  EXPECT_EQ(canvas.AtPolar(500, 500, 300, 45), kBlack);
  EXPECT_EQ(canvas.AtPolar(500, 500, 300, 270), kBlack);
}

TEST(CairoTest, RegionsFillUpToTheirArcs) {
  Canvas canvas;
  DARegion region;
  region.Add(HalfDisc());
  canvas.area.PaintArea(region, kRedColor);
  // Inside the arc, right up to it: a chord between the ends would leave these empty, and
  // 16 chords would miss the points at radius 395.
  for (int deg : {10, 45, 90, 135, 170}) {
    EXPECT_EQ(canvas.AtPolar(500, 500, 380, deg), kRed) << deg;
    EXPECT_EQ(canvas.AtPolar(500, 500, 425, deg), kBlack) << deg;
  }
  EXPECT_EQ(canvas.At(500, 450), kBlack);  // below the straight side
  EXPECT_EQ(canvas.At(500, 550), kRed);

  // An annulus: the inner circle is a hole (even-odd), an outline-flagged polygon is only
  // stroked and a full circle stays a full circle.
  Canvas ring;
  DARegion annulus;
  DAPolygon outer, inner, frame = Square(50, 50, 950, 950);
  outer.CreateCircle(500, 500, 400);
  inner.CreateCircle(500, 500, 200);
  frame.SetWidth(40);
  frame.SetFlag(static_cast<DAPolygonFlag>(UI_PolyOutline));
  annulus.Add(outer);
  annulus.Add(inner);
  annulus.Add(frame);
  ring.area.PaintArea(annulus, kRedColor);
  EXPECT_EQ(ring.At(500, 500), kBlack);
  EXPECT_EQ(ring.AtPolar(500, 500, 300, 200), kRed);
  EXPECT_EQ(ring.AtPolar(500, 500, 430, 20), kBlack);
  EXPECT_EQ(ring.At(55, 500), kRed);  // the stroked frame
}

TEST(CairoTest, XorDrawingTwiceRestoresThePicture) {
  Canvas canvas;
  UI_CairoDrawArea& a = canvas.area;
  a.FillRect(SYS_Box(0, 0, 500, 1000), kRedColor);
  auto snapshot = [&a] {
    std::vector<unsigned long> px;
    for (int y = 0; y < 100; ++y)
      for (int x = 0; x < 100; ++x) px.push_back(a.GetPixelRGB(x, y));
    return px;
  };
  const std::vector<unsigned long> before = snapshot();
  a.TextSize(0, 200);
  SYS_Box box1 = a.DrawXorText("XOR", 1, 1, 500, 500, 0);
  EXPECT_NE(snapshot(), before);
  SYS_Box box2 = a.DrawXorText("XOR", 1, 1, 500, 500, 0);
  EXPECT_EQ(box1, box2);
  EXPECT_EQ(snapshot(), before);

  a.PenMode(1);
  a.PenSize(50);
  for (int pass = 0; pass < 2; ++pass) {
    a.DrawLine(SYS_Point(100, 100), SYS_Point(900, 900), 50, kGreenColor);
    a.PaintOval(SYS_Point(300, 700), 200, kGreenColor);
  }
  EXPECT_EQ(snapshot(), before);
  a.PenMode(0);
  a.StartXORDraw();
  a.DrawFilledBox(SYS_Box(100, 100, 900, 900), SYS_CompositeColor::Rgb(255, 255, 255));
  a.EndXORDraw();
  EXPECT_EQ(canvas.At(250, 500), 0xFFFF00ul);  // red flipped by white
  EXPECT_EQ(canvas.At(750, 500), kWhite);
}

TEST(CairoTest, TextFollowsAlignmentMirrorDirectionAndSize) {
  struct Case {
    const char* name;
    int h, v, mirror;
    double angle;
    // Which side of the anchor (500, 500) the text's box lies on.
    bool left, right, below, above;
  } cases[] = {
      {"left aligned on the baseline", 0, 0, 0, 0, false, true, false, true},
      {"right aligned, top", 2, 2, 0, 0, true, false, true, false},
      {"mirrored reads to the left", 0, 0, 1, 0, true, false, false, true},
      {"turned a quarter runs upwards", 0, 0, 0, kQuarter, false, false, false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Canvas canvas;
    UI_CairoDrawArea& a = canvas.area;
    a.TextSize(0, 150);
    a.TextAlign(c.h, c.v);
    a.TextMirror(c.mirror);
    a.TextPath(c.angle);
    a.TextColor(kRedColor);
    a.MoveTo(SYS_Point(500, 500));
    a.DrawString("HHl");
    SYS_Box box = a.DrawReplaceText("HHl", c.h, c.v, 500, 500, 0);
    if (c.left) {
      EXPECT_LE(box.GetRight(), 505);
    }
    if (c.right) {
      EXPECT_GE(box.GetLeft(), 495);
    }
    if (c.below) {
      EXPECT_LE(box.GetUpper(), 505);
    }
    if (c.above) {
      EXPECT_GE(box.GetUpper(), 600);
    }
    if (c.angle != 0) {
      EXPECT_GT(box.GetHeight(), box.GetWidth());
    }
    // Ink lies inside the text's box and there is some.
    int inside = 0, outside = 0;
    for (int y = 0; y < 100; ++y)
      for (int x = 0; x < 100; ++x) {
        if (a.GetPixelRGB(x, y) == kBlack) continue;
        SYS_Point w = a.Screen2World(CPoint(x, y));
        bool in = w.GetX() >= box.GetLeft() - 20 && w.GetX() <= box.GetRight() + 20 &&
                  w.GetY() >= box.GetLower() - 20 && w.GetY() <= box.GetUpper() + 20;
        (in ? inside : outside)++;
      }
    EXPECT_GT(inside, 20);
    EXPECT_EQ(outside, 0);

    SCC_Array<SYS_Point> pts;
    SCC_Array<long> counts;
    int n = a.GetStringPolylines("HHl", pts, counts);
    EXPECT_GE(n, 2);  // at least one closed outline per glyph
    long total = 0;
    for (long i = 0; i < counts.GetSize(); ++i) {
      EXPECT_EQ(pts[total], pts[total + counts[i] - 1]);  // closed
      total += counts[i];
    }
    EXPECT_EQ(total, pts.GetSize());
    for (long i = 0; i < pts.GetSize(); ++i) {
      EXPECT_GE(pts[i].GetX(), box.GetLeft() - 20);
      EXPECT_LE(pts[i].GetX(), box.GetRight() + 20);
      EXPECT_GE(pts[i].GetY(), box.GetLower() - 20);
      EXPECT_LE(pts[i].GetY(), box.GetUpper() + 20);
    }
  }

  UI_CairoDrawArea a(100, 100);
  a.TextSize(0, 1000000);  // far beyond cairo's own number range: measured exactly anyway
  long one = a.GetTextLen("M"), two = a.GetTextLen("MM");
  EXPECT_GT(one, 300000);
  EXPECT_NEAR(two, 2 * one, 2);
  a.TextExtra(1000);
  EXPECT_NEAR(a.GetTextLen("MM"), two + 1000, 2);
  EXPECT_NEAR(a.GetTextLen("MM", 500000, 500000), two / 2 + 1000, 2);
  EXPECT_GT(a.GetTextAscendingHeight(), a.GetTextDescendingHeight());
  EXPECT_EQ(a.GetTextFontHeight(), a.GetTextAscendingHeight() + a.GetTextDescendingHeight());
}

TEST(CairoTest, CloneFontsAndTrueTypeText) {
  Canvas canvas;
  UI_CairoDrawArea& a = canvas.area;
  a.SetCurrentPaletteColor(4, kGreen);
  a.PenSize(77);
  a.TextSize(0, 200);
  a.FillRect(SYS_Box(0, 0, 1000, 1000), kRedColor);
  std::unique_ptr<UI_DrawArea> clone(a.Clone());
  auto* copy = dynamic_cast<UI_CairoDrawArea*>(clone.get());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->GetWidth(), 100);
  EXPECT_EQ(copy->GetPixelRGB(50, 50), kBlack);  // blank
  EXPECT_EQ(copy->GetCurrentPaletteColorRGB(4), kGreen);
  EXPECT_EQ(copy->GetPenSize(), 77);
  EXPECT_EQ(copy->World2Screen(SYS_Point(500, 500)), CPoint(50, 50));
  EXPECT_EQ(copy->GetTextLen("abc"), a.GetTextLen("abc"));

  SCC_Array<FaceName> faces;
  ASSERT_EQ(a.GetAvailableFonts(faces, 0), 3);
  EXPECT_EQ(faces.GetSize(), 3);
  EXPECT_TRUE(a.IsStrokeFaceName(a.GetStrokeFaceName()));
  EXPECT_FALSE(a.IsStrokeFaceName(FaceName("no such face")));
  CFontInfo mono{2};
  SYS_Point narrow = a.GetTTFStringExtent("iii", &mono);
  SYS_Point wide = a.GetTTFStringExtent("WWW", &mono);
  EXPECT_EQ(narrow.GetX(), wide.GetX());  // monospace
  EXPECT_GT(narrow.GetY(), 150);

  TextFont font;
  font.face = FaceName("serif");
  font.height = 300;
  font.style = UI_FontBold;
  a.SetTextFont(font);
  EXPECT_EQ(a.GetTextFont(), font);
  EXPECT_EQ(a.GetTextHeight(), 300);
  a.FillRect(SYS_Box(0, 0, 1000, 1000), 0);
  a.TextColor(kGreenColor);
  a.MoveTo(SYS_Point(100, 400));
  a.DrawTTFString("WWW", &mono);
  int green = 0;
  for (int y = 0; y < 100; ++y)
    for (int x = 0; x < 100; ++x) green += a.GetPixelRGB(x, y) == kGreen;
  EXPECT_GT(green, 30);
}

// ---------------------------------------------------------------------------------------
// Palette.

namespace {
struct Heard : SCC_EventNode<int> {
  int OnNotification(int code, int* data) override {
    seen.emplace_back(code, data ? *data : -1);
    return 0;
  }
  std::vector<std::pair<int, int>> seen;
};
}  // namespace

TEST(CairoTest, PaletteDefaultsChangesAndNotifications) {
  UI_CairoDrawArea area(10, 10);
  unsigned long defaults[64] = {}, current[64] = {};
  ASSERT_GE(area.GetDefaultPaletteColors(defaults), 16);
  EXPECT_EQ(area.GetCurrentPaletteColors(current), area.GetDefaultPaletteColors(nullptr));
  EXPECT_EQ(defaults[0], kBlack);  // background
  EXPECT_EQ(defaults[15], kWhite);  // the batch pen colour
  for (int i = 1; i < 16; ++i)
    for (int j = i + 1; j < 16; ++j) EXPECT_NE(defaults[i], defaults[j]) << i << " " << j;
  EXPECT_EQ(area.GetColorLuminosity(15), 255);
  EXPECT_EQ(area.GetColorLuminosity(0), 0);
  EXPECT_EQ(area.GetCurrentPaletteColorIdx(defaults[7]), 7);
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(area.GetHighlightColor(i).IsIndex());

  UI_PaletteAccessor accessor(&area);
  Heard heard;
  accessor.GetChangeEvent()->AddHead(&heard);

  struct Step {
    const char* name;
    void (*act)(UI_PaletteAccessor&, UI_CairoDrawArea&);
    std::vector<std::pair<int, int>> expect;
  } steps[] = {
      {"one entry", [](UI_PaletteAccessor& p, UI_CairoDrawArea&) { p.SetCurrentPaletteColor(3, 0x123456); },
       {{3, 4}}},
      {"same colour again is no change",
       [](UI_PaletteAccessor& p, UI_CairoDrawArea&) { p.SetCurrentPaletteColor(3, 0x123456); }, {}},
      {"index out of the palette",
       [](UI_PaletteAccessor& p, UI_CairoDrawArea&) { p.SetCurrentPaletteColor(70000, 1); }, {}},
      {"whole palette", [](UI_PaletteAccessor& p, UI_CairoDrawArea& a) {
         unsigned long c[32];
         a.GetDefaultPaletteColors(c);
         c[31] = 0xABCDEF;
         p.SetCurrentPaletteColors(c);
       }, {{5, -1}}},
      {"reset", [](UI_PaletteAccessor& p, UI_CairoDrawArea&) { p.ResetPaletteColors(); }, {{5, -1}}},
      {"reset again is no change", [](UI_PaletteAccessor& p, UI_CairoDrawArea&) { p.ResetPaletteColors(); }, {}},
      {"brightness and outline", [](UI_PaletteAccessor&, UI_CairoDrawArea& a) {
         a.SetBrightness(40);
         a.SetOutlineMode(1);
         a.SetOutlineMode(1);
       }, {{5, -1}, {5, -1}}},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.name);
    heard.seen.clear();
    s.act(accessor, area);
    EXPECT_EQ(heard.seen, s.expect);
  }
  EXPECT_EQ(area.GetBrightness(), 40);
  area.SetBrightness(1000);
  EXPECT_EQ(area.GetBrightness(), 100);

  // A palette entry drawn is the entry's current colour.
  area.SetOutlineMode(0);
  area.SetCurrentPaletteColor(2, kGreen);
  SYS_Box vp(0, 0, 10, 10);
  area.SetVP(vp);
  area.FillRect(SYS_Box(0, 0, 10, 10), 2);
  EXPECT_EQ(area.GetPixelRGB(5, 5), kGreen);
  EXPECT_EQ(accessor.GetCurrentPaletteColorRGB(2), kGreen);
  EXPECT_EQ(accessor.GetCurrentPaletteColorRGB(70000), 0u);
}

// ---------------------------------------------------------------------------------------
// Live target.

TEST(CairoTest, LiveTargetShowsRecordedDrawings) {
  CDynamic drawing;
  UI_DrawArea recorder;
  recorder.AttachDrawing(&drawing);
  Canvas canvas;
  canvas.area.Show(&drawing);
  EXPECT_EQ(drawing.GetLiveTarget(), &canvas.area);
  EXPECT_EQ(canvas.area.GetInstalledDrawing(), &drawing);

  // A batch ends by asking the live target to redraw the drawing.
  recorder.StartBatchDraw(0);
  RecordBoard(recorder);
  EXPECT_EQ(canvas.At(200, 200), kBlack);  // nothing shown until the batch closes
  recorder.EndBatchDraw();
  EXPECT_EQ(canvas.At(200, 200), kTopCopper);
  EXPECT_EQ(canvas.At(700, 700), kRed);
  EXPECT_EQ(canvas.At(700, 150), kGreen);  // inside the half-disc region
  EXPECT_EQ(canvas.At(700, 90), kBlack);

  // Text recorded on the drawing is drawn on the live target at once.
  canvas.area.TextColor(kRedColor);
  canvas.area.TextSize(0, 100);
  SYS_Box box = recorder.DrawXorText("T", 0, 0, 100, 800, 0);
  EXPECT_TRUE(box.IsValid());
  EXPECT_GE(box.GetLeft(), 95);
  EXPECT_GE(box.GetLower(), 750);  // the descent reaches below the baseline

  // Redraw replays from scratch; InvalidateRect only within its box.
  canvas.area.FillRect(SYS_Box(0, 0, 1000, 1000), kGreenColor);
  SYS_Box part(0, 0, 500, 500);
  canvas.area.InvalidateRect(&part);
  EXPECT_EQ(canvas.At(200, 200), kTopCopper);
  EXPECT_EQ(canvas.At(450, 50), kBlack);
  EXPECT_EQ(canvas.At(900, 900), kGreen);
  canvas.area.Redraw();
  EXPECT_EQ(canvas.At(900, 900), kBlack);
  EXPECT_EQ(canvas.At(700, 700), kRed);

  // Through a processor: recorded words are replayed as they arrive.
  Canvas live;
  CDrawAreaProcessor processor(&live.area);
  UI_DrawArea board;
  processor.Attach("board", board);
  board.DrawFilledBox(SYS_Box(0, 0, 300, 300), kRedColor);
  EXPECT_EQ(live.At(150, 150), kRed);
  canvas.area.Show(nullptr);
  EXPECT_EQ(drawing.GetLiveTarget(), nullptr);
}

// ---------------------------------------------------------------------------------------
// Files.

TEST(CairoTest, RenderedFilesAreReadByTheirOwnReaders) {
  std::string dir = MakeTempDir();
  CDynamic drawing;
  UI_DrawArea recorder;
  recorder.AttachDrawing(&drawing);
  RecordBoard(recorder);
  UI_RenderOptions options;
  options.width = 100;
  options.height = 100;
  options.margin = 0;
  options.view = SYS_Box(0, 0, 1000, 1000);
  auto expectBoard = [](const Png& png) {
    ASSERT_TRUE(png.Ok());
    ASSERT_EQ(png.Width(), 100);
    ASSERT_EQ(png.Height(), 100);
    // Pixel (i, j) shows world (10 i ... 10 i + 10, 1000 - 10 j ...).
    EXPECT_TRUE(Near(png.At(20, 80), kTopCopper)) << std::hex << png.At(20, 80);
    EXPECT_TRUE(Near(png.At(70, 30), kRed)) << std::hex << png.At(70, 30);
    EXPECT_TRUE(Near(png.At(70, 85), kGreen)) << std::hex << png.At(70, 85);
    EXPECT_TRUE(Near(png.At(45, 95), kBlack)) << std::hex << png.At(45, 95);
    EXPECT_TRUE(Near(png.At(20, 20), kBlack)) << std::hex << png.At(20, 20);
  };

  std::string png = dir + "/board.png";
  UI_PlayResult result;
  ASSERT_EQ(UI_RenderDrawing(drawing, png.c_str(), options, &result), 1);
  EXPECT_TRUE(result.IsComplete());
  expectBoard(Png(png));

  std::string svg = dir + "/board.SVG";
  ASSERT_EQ(UI_RenderDrawing(drawing, svg.c_str(), options), 1);
  ASSERT_EQ(RunTool({"rsvg-convert", "-w", "100", "-h", "100", "-o", dir + "/svg.png", svg}), 0);
  expectBoard(Png(dir + "/svg.png"));

  std::string pdf = dir + "/board.pdf";
  ASSERT_EQ(UI_RenderDrawing(drawing, pdf.c_str(), options), 1);
  ASSERT_EQ(RunTool({"pdftoppm", "-png", "-r", "72", "-singlefile", pdf, dir + "/pdf"}), 0);
  expectBoard(Png(dir + "/pdf.png"));

  // The drawing's own bounds with a margin when no view is given.
  UI_RenderOptions fit;
  fit.width = 200;
  fit.height = 100;
  fit.margin = 5;
  fit.background = SYS_CompositeColor::Rgb(0, 0, 255);
  ASSERT_EQ(UI_RenderDrawing(drawing, png.c_str(), fit), 1);
  Png fitted(png);
  ASSERT_TRUE(fitted.Ok());
  EXPECT_EQ(fitted.Width(), 200);
  EXPECT_TRUE(Near(fitted.At(2, 50), 0xFF0000));  // the margin shows the background
  EXPECT_TRUE(Near(fitted.At(100, 2), 0xFF0000));
  std::remove((dir + "/svg.png").c_str());
  std::remove((dir + "/pdf.png").c_str());
  std::remove(svg.c_str());
  std::remove(pdf.c_str());
  std::remove(png.c_str());
  rmdir(dir.c_str());
}

TEST(CairoTest, RenderRefusesWithoutTouchingFiles) {
  std::string dir = MakeTempDir();
  CDynamic good;
  UI_DrawArea recorder;
  recorder.AttachDrawing(&good);
  recorder.DrawFilledBox(SYS_Box(0, 0, 10, 10), 1);

  const std::string keep = dir + "/keep.png";
  {
    std::ofstream(keep) << "user data";
  }
  const std::string link = dir + "/link.png";
  ASSERT_EQ(symlink(keep.c_str(), link.c_str()), 0);
  mkdir((dir + "/sub.png").c_str(), 0700);

  // A stream that stops: an unknown command after a good one.
  CDynamic corrupt;
  UI_DrawArea badRecorder;
  badRecorder.AttachDrawing(&corrupt);
  badRecorder.PenColor(3);
  corrupt.Append(999u);

  UI_RenderOptions tooBig;
  tooBig.width = UI_CairoDrawArea::kMaxSide + 1;
  struct Case {
    const char* name;
    const CDynamic* drawing;
    std::string path;
    UI_RenderOptions options;
  } cases[] = {
      {"unknown extension", &good, dir + "/x.bmp", {}},
      {"no extension", &good, dir + "/png", {}},
      {"too large", &good, dir + "/big.png", tooBig},
      {"replay stops early", &corrupt, dir + "/corrupt.png", {}},
      {"directory is not replaced", &good, dir + "/sub.png", {}},
      {"missing directory", &good, dir + "/none/x.png", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    UI_PlayResult result;
    EXPECT_EQ(UI_RenderDrawing(*c.drawing, c.path.c_str(), c.options, &result), 0);
  }
  struct stat st;
  EXPECT_NE(lstat((dir + "/corrupt.png").c_str(), &st), 0);
  EXPECT_NE(lstat((dir + "/x.bmp").c_str(), &st), 0);
  // A link in the picture's place is replaced itself; the file it named keeps its bytes.
  EXPECT_EQ(UI_RenderDrawing(good, link.c_str(), {}, nullptr), 1);
  ASSERT_EQ(lstat(link.c_str(), &st), 0);
  EXPECT_TRUE(S_ISREG(st.st_mode));
  std::ifstream in(keep);
  std::string text;
  std::getline(in, text);
  EXPECT_EQ(text, "user data");

  UI_PlayResult result;
  EXPECT_EQ(UI_RenderDrawing(corrupt, (dir + "/corrupt.png").c_str(), {}, &result), 0);
  EXPECT_EQ(result.status, UI_PlayStatus::UnknownCommand);
  EXPECT_EQ(result.position, 2u);

  // A regular file is replaced, keeping its permissions; no temporary file stays behind.
  chmod(keep.c_str(), 0640);
  ASSERT_EQ(UI_RenderDrawing(good, keep.c_str()), 1);
  ASSERT_EQ(stat(keep.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_TRUE(Png(keep).Ok());
  int entries = 0;
  if (DIR* d = opendir(dir.c_str())) {
    while (dirent* e = readdir(d)) entries += std::strcmp(e->d_name, ".") && std::strcmp(e->d_name, "..");
    closedir(d);
  }
  EXPECT_EQ(entries, 3);  // keep.png, link.png, sub.png

  // SVG and PDF surfaces are finished by their first write and write the same later.
  UI_CairoDrawArea doc(50, 50, UI_CairoPdf);
  doc.FillRect(SYS_Box(0, 0, 25, 25), 1);
  const std::string a = dir + "/a.pdf", b = dir + "/b.pdf";
  ASSERT_EQ(doc.WriteFile(a.c_str()), 1);
  EXPECT_EQ(doc.IsValid(), 0);
  doc.FillRect(SYS_Box(0, 0, 50, 50), 2);  // ignored
  ASSERT_EQ(doc.WriteFile(b.c_str()), 1);
  std::ifstream fa(a, std::ios::binary), fb(b, std::ios::binary);
  std::string sa((std::istreambuf_iterator<char>(fa)), {}), sb((std::istreambuf_iterator<char>(fb)), {});
  EXPECT_EQ(sa, sb);
  EXPECT_EQ(sa.compare(0, 5, "%PDF-"), 0);

  for (const char* name : {"keep.png", "link.png", "a.pdf", "b.pdf"}) std::remove((dir + "/" + name).c_str());
  rmdir((dir + "/sub.png").c_str());
  rmdir(dir.c_str());
}
