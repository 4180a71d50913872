// demo.cpp - brixsys demo: the library's typical path, step by step, ending in three
// pictures of a small board.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "daregion.h"
#include "picture.h"
#include "sccevent.h"
#include "sysunits.h"
#include "systransform.h"
#include "toolmain.h"
#include "uidrawing.h"

namespace brixtool {

const char kDemoUsage[] =
    "usage: brixsys demo [DIR]\n"
    "\n"
    "Walks through the library's typical path and says what each step gives: a\n"
    "user's length \"0.5\" read in mils, a board outline with rounded corners, pads and\n"
    "an arc-edged copper area placed with a transform, regions built from them and\n"
    "painted on a recording draw area, the recorded drawing saved and read back, and\n"
    "replayed onto cairo surfaces. Writes demo.drawing, demo.png (800 x 600 pixels),\n"
    "demo.svg and demo.pdf into DIR (default: the current directory; created when\n"
    "missing, its parent must exist).\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 usage error.\n";

bool LoadDrawing(const char* path, CDynamic& drawing);
int RenderDrawing(const CDynamic& drawing, const std::string& out, const PictureOptions& options);

}  // namespace brixtool

namespace {

using brixtool::Fail;
using brixtool::kExitFailed;
using brixtool::kExitOk;

constexpr long kAnglePerDegree = SYS_FullTurn / 360;
// Palette entries of the default palette used for each layer.
constexpr int kBoardColour = 8;     // bottom solder mask: the board's body
constexpr int kOutlineColour = 12;  // board outline
constexpr int kCopperColour = 1;    // top copper
constexpr int kPadColour = 3;       // inner copper 1, bright against the copper
constexpr int kTextColour = 5;      // top silkscreen

// The lengths a user types for the board, in mils, and what each is for.
struct Typed {
  const char* what;
  const char* text;
  long value = 0;
};

// One vertex of an outline in the board's own coordinates (mils), arriving straight or
// along an arc about (cx, cy) from `start` to `end` degrees.
struct Vertex {
  double x, y;
  bool arc = false;
  double cx = 0, cy = 0, start = 0, end = 0;
};

class Placement {
 public:
  Placement(long mil, const SYS_Transform& transform, long angle)
      : mil_(mil), transform_(transform), angle_(angle) {}
  SYS_Point Place(double x, double y) const {
    return transform_.Transform(SYS_Point(std::lround(x * mil_), std::lround(y * mil_)));
  }
  DAPolygon Polygon(const std::vector<Vertex>& outline) const {
    DAPolygon p;
    for (const Vertex& v : outline) {
      int arc = -1;
      if (v.arc) {
        const SYS_Point c = Place(v.cx, v.cy);
        arc = p.Add(ArcPolyArc(c.GetX(), c.GetY(), v.start * kAnglePerDegree + angle_,
                               v.end * kAnglePerDegree + angle_));
      }
      p.Add(ArcPolyEdge(Place(v.x, v.y), arc));
    }
    return p;
  }
  DAPolygon Circle(double x, double y, double diameter) const {
    DAPolygon p;
    const SYS_Point c = Place(x, y);
    p.CreateCircle(c.GetX(), c.GetY(), int(std::lround(diameter / 2 * mil_)));
    return p;
  }

 private:
  long mil_;
  const SYS_Transform& transform_;
  long angle_;
};

std::string Millimetres(const SYS_Box& box) {
  const SYS_Convert mm(SYS_UnitMillimeters);
  return std::string(mm.Point2Str(SYS_Point(box.GetLeft(), box.GetLower())).GetString()) + " - " +
         mm.Point2Str(SYS_Point(box.GetRight(), box.GetUpper())).GetString() + " mm";
}

std::string Bytes(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? std::to_string(info.st_size) + " bytes" : "missing";
}

int g_changes = 0;  // raises of the drawing's change event seen by the listener
int CountChange(int code, int*) {
  ++g_changes;
  return 0;
}

int Demo(const std::string& dir) {
  if (mkdir(dir.c_str(), 0777) != 0 && errno != EEXIST)
    return Fail("cannot create " + dir + brixtool::ErrnoReason());
  struct stat info;
  if (stat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
    return Fail(dir + ": not a directory");

  // 1. Units.
  const SYS_Convert mils(SYS_UnitMils);
  long edge = 0;
  if (!mils.Str2Base("0.5", &edge)) return Fail("\"0.5\" does not read as a length");
  printf("1. Units. The user types \"0.5\" in a length field in %s:\n", mils.GetUnitName());
  printf("   SYS_Convert::Str2Base gives %ld database units (%s mm, %s um); it is the\n", edge,
         SYS_Convert(SYS_UnitMillimeters).Base2Str(edge).GetString(),
         SYS_Convert(SYS_UnitMicrons).Base2Str(edge).GetString());
  printf("   width of the board's edge line. \"28001\" would be refused: %ld units is the limit.\n",
         long(SYS_CoordLimit));
  Typed typed[] = {{"board width", "2000"}, {"board height", "1250"}, {"corner radius", "125"},
                   {"pad diameter", "80"},  {"track width", "12"},   {"text height", "70"}};
  std::string list;
  for (Typed& t : typed) {
    if (!mils.Str2Base(t.text, &t.value)) return Fail(std::string(t.text) + " does not read");
    list += std::string(list.empty() ? "" : ", ") + t.what + " " + t.text;
  }
  printf("   The board's figures, typed the same way (mils):\n   %s.\n", list.c_str());
  const double w = 2000, h = 1250, r = 125, pad = 80;
  const long mil = typed[0].value / 2000;

  // 2. Placement.
  const long angle = 15 * kAnglePerDegree;
  const SYS_Point at(500 * mil, 400 * mil);
  // Turn about the board's own origin, then move that origin to `at`.
  const SYS_Transform transform(at, angle, 0, 0, /*noMoveIn=*/1);
  const Placement place(mil, transform, angle);
  const std::vector<Vertex> board = {
      {r, 0, true, r, r, 180, 270},        {w - r, 0},
      {w, r, true, w - r, r, -90, 0},      {w, h - r},
      {w - r, h, true, w - r, h - r, 0, 90}, {r, h},
      {0, h - r, true, r, h - r, 90, 180}, {0, r},
  };
  const std::vector<Vertex> copper = {
      {600, 200}, {1200, 200}, {1200, 1050, true, 1200, 625, -90, 90}, {600, 1050}};
  const double padY[] = {300, 500, 750, 950};
  printf("2. Placement. SYS_Transform turns the board by 15 degrees and moves its corner\n");
  printf("   to %s mils: (0, 0) lands on (%ld, %ld), (2000, 1250) on (%ld, %ld).\n",
         mils.Point2Str(at).GetString(), place.Place(0, 0).GetX(), place.Place(0, 0).GetY(),
         place.Place(w, h).GetX(), place.Place(w, h).GetY());

  // 3. Regions.
  DARegion body, outline, pads, area;
  DAPolygon edgeLine = place.Polygon(board);
  body.Add(edgeLine);
  edgeLine.SetFlag(DAPolygonFlag(0));  // drawn as a line of the polygon's width
  edgeLine.SetWidth(int(edge));
  outline.Add(edgeLine);
  area.Add(place.Polygon(copper));
  for (double y : padY) pads.Add(place.Circle(250, y, pad));
  pads.Add(place.Polygon({{1700, 585}, {1780, 585}, {1780, 665}, {1700, 665}}));  // pin 1: square
  printf("3. Regions. Board: %d vertices with %d corner arcs; copper area: %d vertices, one\n",
         body.GetFirstPolygon()->GetEdgeCount(), body.GetFirstPolygon()->GetArcCount(),
         area.GetFirstPolygon()->GetEdgeCount());
  printf("   edge an arc of radius %.0f units; pads: %d polygons. Images: %d, %d and %d bytes.\n",
         area.GetFirstPolygon()->GetRadius(2), pads.GetPolygonNumber(), body.GetImageLength(),
         area.GetImageLength(), pads.GetImageLength());
  printf("   Board bounds: %s.\n", Millimetres(body.GetBox()).c_str());

  // 4. Painting on a recording draw area.
  CDynamic drawing;
  SCC_EventHook<int> listener(CountChange, drawing.GetChangeEvent());
  UI_DrawArea recorder;
  recorder.AttachDrawing(&drawing);
  recorder.PaintArea(body, SYS_CompositeColor::Index(kBoardColour));
  recorder.PaintArea(area, SYS_CompositeColor::Index(kCopperColour));
  for (double y : padY)
    recorder.DrawLine(place.Place(250, y), place.Place(600, y), typed[4].value,
                      SYS_CompositeColor::Index(kCopperColour));
  recorder.PaintArea(pads, SYS_CompositeColor::Index(kPadColour));
  recorder.PenSize(edge);
  recorder.PaintArea(outline, SYS_CompositeColor::Index(kOutlineColour));
  recorder.TextColor(SYS_CompositeColor::Index(kTextColour));
  recorder.TextPath(double(angle));
  recorder.TextSize(int(typed[5].value * 6 / 10), int(typed[5].value));
  recorder.TextAlign(1, 1);
  recorder.MoveTo(place.Place(w / 2, h - 100));
  recorder.DrawString("brixsys demo");
  recorder.TextSize(int(typed[5].value * 6 / 10 * 2 / 3), int(typed[5].value * 2 / 3));
  recorder.MoveTo(place.Place(w / 2 - 100, 100));
  recorder.DrawString("0.5 mil = 19050 units");
  recorder.AttachDrawing(nullptr);
  printf("4. Painting. A UI_DrawArea records onto a CDynamic: %zu words; its listener heard\n",
         drawing.GetCount());
  printf("   %d changes. Drawing bounds: %s.\n", g_changes, Millimetres(drawing.GetBounds()).c_str());

  // 5. Saving and reading back.
  const std::string saved = dir + "/demo.drawing";
  errno = 0;
  if (!drawing.Save(saved.c_str())) return Fail("cannot write " + saved + brixtool::ErrnoReason());
  CDynamic reread;
  if (!brixtool::LoadDrawing(saved.c_str(), reread)) return kExitFailed;
  const bool same = reread.GetCount() == drawing.GetCount() &&
                    std::equal(reread.GetWords(), reread.GetWords() + reread.GetCount(),
                               drawing.GetWords());
  printf("5. Saved %s (%s) and read it back: %zu words, %s.\n", saved.c_str(),
         Bytes(saved).c_str(), reread.GetCount(), same ? "the same words" : "NOT the same words");
  if (!same) return Fail(saved + " does not read back as written");

  // 6. Replay onto cairo.
  printf("6. Replayed onto UI_CairoDrawArea surfaces and written:\n");
  brixtool::PictureOptions options;
  for (const char* name : {"demo.png", "demo.svg", "demo.pdf"}) {
    const std::string path = dir + "/" + name;
    if (brixtool::RenderDrawing(reread, path, options) != kExitOk) return kExitFailed;
    printf("   %-24s %d x %d %s, %s\n", path.c_str(), options.width, options.height,
           name[5] == 'p' && name[6] == 'n' ? "pixels" : "points", Bytes(path).c_str());
  }
  char* where = realpath(dir.c_str(), nullptr);
  printf("The pictures are in %s.\n", where ? where : dir.c_str());
  free(where);
  return kExitOk;
}

}  // namespace

namespace brixtool {

int RunDemo(int argc, char** argv) {
  if (argc > 1 && IsHelp(argv[1])) return Help();
  if (argc > 2) return UsageError("too many arguments");
  if (argc == 2 && argv[1][0] == '-') return UsageError("unknown option " + std::string(argv[1]));
  return Demo(argc == 2 ? argv[1] : ".");
}

}  // namespace brixtool
