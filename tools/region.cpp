// region.cpp - brixsys region: region images on the command line: show, approximate arcs,
// make circles.
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "daregion.h"
#ifdef BRIXSYS_HAVE_CAIRO
#include "picture.h"
#endif
#include "sysgeom.h"
#include "toolmain.h"

namespace brixtool {

const char kRegionUsage[] =
    "usage: brixsys region show FILE\n"
    "       brixsys region approx FILE TOLERANCE\n"
    "       brixsys region circle X Y R OUT\n"
    "\n"
    "  show    print the polygons, vertices and arcs of a region image\n"
    "  approx  print the vertex counts before and after replacing arcs by chords that\n"
    "          stay within TOLERANCE of them (0: half the pen width, else 31800)\n"
    "  circle  write the image of a region holding one circle about (X, Y) of radius R\n"
    "\n"
    "FILE and OUT may be \"-\" for standard input and output. Lengths are database\n"
    "units (1 mm = 1500000, 1 mil = 38100), or a number followed by mm, mil, in or um.\n"
    "\n"
    "Exit status: 0 done, 1 failed or the image refused, 2 usage error.\n";

#ifdef BRIXSYS_HAVE_CAIRO
const char* RegionUsage() {
  static const std::string text = [] {
    std::string usage = kRegionUsage;
    const std::size_t blank = usage.find("\n\n");
    usage.insert(blank + 1, "       brixsys region render [OPTION...] FILE OUT\n");
    usage.insert(usage.find("\n\nFILE and OUT") + 1,
                 "  render  paint the region in palette colour 1 (top copper) on a picture\n"
                 "          fitted to its box\n");
    usage.insert(usage.find("\nExit status") + 1, std::string(kPictureOptionsUsage) + "\n");
    return usage;
  }();
  return text.c_str();
}
#endif

}  // namespace brixtool

namespace {

using brixtool::ErrnoReason;
using brixtool::Fail;
using brixtool::kExitFailed;
using brixtool::kExitOk;
using brixtool::UsageError;

// Beyond this many vertices in one approximated polygon the answer is of no use to a
// person and would take gigabytes; approx refuses instead.
constexpr int kMaxApproxVertices = 10'000'000;

constexpr double kAngleUnitsPerDegree = SYS_FullTurn / 360.0;

// A length in database units: a number, optionally followed by a unit, rounded half away
// from zero and within the coordinate limit.
std::optional<std::int32_t> ParseLength(const std::string& text) {
  struct Unit {
    const char* suffix;
    double units;
  };
  static constexpr Unit kUnits[] = {
      {"", 1.0}, {"mm", 1500000.0}, {"mil", 38100.0}, {"in", 38100000.0}, {"um", 1500.0}};
  if (text.empty() || isspace(static_cast<unsigned char>(text[0]))) return std::nullopt;
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  double value = strtod(begin, &end);
  if (end == begin || errno == ERANGE || !std::isfinite(value)) return std::nullopt;
  // Hexadecimal and exponent forms are strtod's, not a person's.
  if (std::string(begin, static_cast<const char*>(end)).find_first_of("xXpP") != std::string::npos)
    return std::nullopt;
  for (const Unit& unit : kUnits) {
    if (strcmp(end, unit.suffix) != 0) continue;
    double units = std::round(value * unit.units);
    // A length too small to be one unit is refused rather than read as 0.
    if (std::fabs(units) > SYS_CoordLimit || (units == 0 && value != 0)) return std::nullopt;
    return static_cast<std::int32_t>(units);
  }
  return std::nullopt;
}

bool ReadAll(const char* name, std::vector<char>& data) {
  bool standardInput = strcmp(name, "-") == 0;
  FILE* in = standardInput ? stdin : fopen(name, "rb");
  if (!in) return false;
  char buffer[65536];
  for (size_t got; (got = fread(buffer, 1, sizeof buffer, in)) > 0;)
    data.insert(data.end(), buffer, buffer + got);
  bool ok = !ferror(in);
  int saved = errno;
  if (!standardInput) fclose(in);
  errno = saved;
  return ok;
}

bool WriteAll(const char* name, const std::vector<char>& data) {
  bool standardOutput = strcmp(name, "-") == 0;
  FILE* out = standardOutput ? stdout : fopen(name, "wb");
  if (!out) return false;
  bool ok = fwrite(data.data(), 1, data.size(), out) == data.size();
  ok = (standardOutput ? fflush(out) : fclose(out)) == 0 && ok;
  return ok;
}

std::string Name(const char* file) { return strcmp(file, "-") == 0 ? "standard input" : file; }

// Reads and loads a region image, refusing one whose declared lengths do not fit.
bool LoadRegion(const char* file, DARegion& region) {
  std::vector<char> data;
  if (!ReadAll(file, data)) {
    Fail(Name(file) + ": " + strerror(errno));
    return false;
  }
  int used = region.LoadImage0(data.data(), data.size());
  if (used == 0) {
    Fail(Name(file) + ": not a region image, or its declared lengths do not fit its " +
         std::to_string(data.size()) + " bytes");
    return false;
  }
  if (size_t(used) < data.size())
    brixtool::Note(Name(file) + ": " + std::to_string(data.size() - size_t(used)) +
                   " bytes after the image ignored");
  return true;
}

const char* Plural(long n) { return n == 1 ? "" : "s"; }

void ShowAngle(const char* label, double angle) {
  // %.17g: angles are doubles and may be fractional or not finite in an image.
  printf("%s %.17g (%g deg)", label, angle, angle / kAngleUnitsPerDegree);
}

void ShowPolygon(int index, const DAPolygon& p) {
  const char* kind = p.IsCircle() ? "circle, " : p.IsOval() ? "oval, " : "";
  printf("polygon %d: %sflag %d, width %d, %d vert%s, %d arc%s\n", index, kind, int(p.GetFlag()),
         p.GetWidth(), p.GetEdgeCount(), p.GetEdgeCount() == 1 ? "ex" : "ices", p.GetArcCount(),
         Plural(p.GetArcCount()));
  SYS_Box box = p.GetBox();
  if (box.IsValid())
    printf("  box (%ld, %ld) - (%ld, %ld)\n", box.GetLeft(), box.GetLower(), box.GetRight(),
           box.GetUpper());
  for (int i = 0; i < p.GetEdgeCount(); ++i) {
    const ArcPolyEdge& e = *p.GetEdge(i);
    printf("  vertex %d: (%d, %d)", i, int(e.x), int(e.y));
    if (p.GetEdgeArc(i))
      printf(" along arc %d, radius %.15g", int(e.arcIndex), p.GetRadius(i));
    else if (e.arcIndex >= 0)
      printf(" names arc %d, which does not exist: straight", int(e.arcIndex));
    else if (e.arcIndex != -1)
      printf(" arc index %d: straight", int(e.arcIndex));
    putchar('\n');
  }
  for (int i = 0; i < p.GetArcCount(); ++i) {
    const ArcPolyArc& a = *p.GetArc(i);
    printf("  arc %d: centre (%d, %d),", i, int(a.cx), int(a.cy));
    ShowAngle(" start", a.start);
    ShowAngle(", end", a.end);
    putchar('\n');
  }
}

int Show(const char* file) {
  DARegion region;
  if (!LoadRegion(file, region)) return kExitFailed;
  printf("region: %d polygon%s, %d bytes\n", region.GetPolygonNumber(),
         Plural(region.GetPolygonNumber()), region.GetImageLength());
  DARegionIterator it(region);
  int index = 0;
  while (const DAPolygon* p = it.GetNextPolygon()) ShowPolygon(index++, *p);
  return kExitOk;
}

int Approx(const char* file, const std::string& toleranceText) {
  std::optional<std::int32_t> tolerance = ParseLength(toleranceText);
  if (!tolerance || *tolerance < 0)
    return UsageError("bad tolerance \"" + toleranceText + "\": want a length of 0 or more");
  DARegion region;
  if (!LoadRegion(file, region)) return kExitFailed;
  DARegionIterator it(region);
  int index = 0;
  long long before = 0, after = 0;
  try {
    while (const DAPolygon* p = it.GetNextPolygon()) {
      // Circles are approximated too: keeping them whole would hide what they cost.
      if (!p->CanBeApproximated(*tolerance, kMaxApproxVertices, 1))
        return Fail("polygon " + std::to_string(index) + " would need " +
                    std::to_string(kMaxApproxVertices) + " vertices or more at this tolerance");
      DAPolygon chords;
      chords.Approximate(*p, *tolerance, 0, 1);
      printf("polygon %d: %d -> %d vertices\n", index++, p->GetEdgeCount(), chords.GetEdgeCount());
      before += p->GetEdgeCount();
      after += chords.GetEdgeCount();
    }
  } catch (const std::bad_alloc&) {
    return Fail("out of memory approximating polygon " + std::to_string(index));
  }
  printf("total: %lld -> %lld vertices\n", before, after);
  return kExitOk;
}

int Circle(const std::string& xText, const std::string& yText, const std::string& rText,
           const char* out) {
  std::optional<std::int32_t> x = ParseLength(xText), y = ParseLength(yText),
                              r = ParseLength(rText);
  if (!x) return UsageError("bad X \"" + xText + "\"");
  if (!y) return UsageError("bad Y \"" + yText + "\"");
  if (!r || *r <= 0) return UsageError("bad R \"" + rText + "\": want a positive length");
  // 64-bit sums: the circle must lie within the coordinate limits, not only its centre.
  auto inside = [r = std::int64_t(*r)](std::int64_t c) {
    return c - r >= -SYS_CoordLimit && c + r <= SYS_CoordLimit;
  };
  if (!inside(*x) || !inside(*y))
    return UsageError("the circle reaches beyond the coordinate limit of " +
                      std::to_string(SYS_CoordLimit));
  DAPolygon circle;
  circle.CreateCircle(*x, *y, *r);
  DARegion region;
  region.Add(circle);
  std::vector<char> image(size_t(region.GetImageLength()));
  image.resize(size_t(region.CreateImage(image.data())));
  if (!WriteAll(out, image))
    return Fail(std::string("cannot write ") + (strcmp(out, "-") == 0 ? "standard output" : out) +
                ErrnoReason());
  return kExitOk;
}

#ifdef BRIXSYS_HAVE_CAIRO
int Render(int argc, char** argv) {
  int at = 2;
  brixtool::PictureOptions options;
  if (!brixtool::ParsePictureOptions(argc, argv, &at, options)) return brixtool::kExitUsage;
  if (argc - at != 2) return UsageError("render wants FILE and OUT");
  const std::string out = argv[at + 1];
  UI_CairoFormat format;
  if (!brixtool::PictureFormat(out, format))
    return UsageError("\"" + out + "\": want a picture ending in .png, .svg or .pdf");
  DARegion region;
  if (!LoadRegion(argv[at], region)) return kExitFailed;
  auto area = brixtool::MakeSurface(format, options, region.GetBox());
  area->PaintArea(region, SYS_CompositeColor::Index(1));
  errno = 0;
  if (!area->WriteFile(out.c_str())) return Fail("cannot write " + out + ErrnoReason());
  return kExitOk;
}
#endif

}  // namespace

namespace brixtool {

int RunRegion(int argc, char** argv) {
#ifdef BRIXSYS_HAVE_CAIRO
  if (argc >= 2 && strcmp(argv[1], "render") == 0) return Render(argc, argv);
#endif
  return Dispatch(argc, argv,
                  {{"show", 1, 1, [&] { return Show(argv[2]); }},
                   {"approx", 2, 2, [&] { return Approx(argv[2], argv[3]); }},
                   {"circle", 4, 4, [&] { return Circle(argv[2], argv[3], argv[4], argv[5]); }}});
}

}  // namespace brixtool
