// uicairo_draw.cpp - the drawing commands of the cairo draw area: lines, polylines, polygons,
// ovals and arcs, boxes, markers, grids, infinite lines, paths and regions.
#include <cmath>

#include "cairo_impl.h"
#include "cairo_paths.h"

using brix::cairo_paths::AddEllipseArc;
using brix::cairo_paths::AddRegion;

namespace {

constexpr double kCrossHalf = 6.0;   // pixels from the centre of DrawCross to its ends
constexpr double kMarkerHalf = 4.0;  // pixels from the centre of a marker to its edge
constexpr double kIconHalf = 8.0;    // an icon is a 16-pixel frame
constexpr double kMinGridStep = 2.0; // grid dots closer than this would fill the picture

// The device angle (radians) on an oval of radii rx, ry whose ray points along the world
// direction (dx, dy): the ray meets the oval where its parameter has this angle.
double RayParameter(double dx, double dy, double rx, double ry) {
  return std::atan2(dy / ry, dx / rx);
}

constexpr double kUnitsPerRadian = 324000000.0 / M_PI;

}  // namespace

void UI_CairoDrawArea::SetPixel(const SYS_Point& p, SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  cairo_rectangle(d.cr, std::floor(d.X(p.GetX())), std::floor(d.Y(p.GetY())), 1, 1);
  int outline = d.outline;
  d.outline = 0;  // a pixel has no inside to leave out
  d.Fill(color);
  d.outline = outline;
}

void UI_CairoDrawArea::DrawDotGrid(const SYS_Point& origin, long dx, long dy, const SYS_Box& box) {
  Impl& d = *impl_;
  if (!d.Usable() || dx <= 0 || dy <= 0) return;
  if (d.view.Length(dx) < kMinGridStep || d.view.Length(dy) < kMinGridStep) return;
  SYS_Box vp;
  GetVP(vp);
  double x0 = std::max<double>(box.GetLeft(), vp.GetLeft());
  double x1 = std::min<double>(box.GetRight(), vp.GetRight());
  double y0 = std::max<double>(box.GetLower(), vp.GetLower());
  double y1 = std::min<double>(box.GetUpper(), vp.GetUpper());
  if (x0 > x1 || y0 > y1) return;
  double ox = origin.GetX(), oy = origin.GetY();
  double i0 = std::ceil((x0 - ox) / dx), i1 = std::floor((x1 - ox) / dx);
  double j0 = std::ceil((y0 - oy) / dy), j1 = std::floor((y1 - oy) / dy);
  // The visible part is at most a picture's worth of dots two pixels apart.
  for (double j = j0; j <= j1; ++j)
    for (double i = i0; i <= i1; ++i)
      cairo_rectangle(d.cr, std::floor(d.X(ox + i * dx)), std::floor(d.Y(oy + j * dy)), 1, 1);
  int outline = d.outline;
  d.outline = 0;
  d.Fill(d.pen);
  d.outline = outline;
}

void UI_CairoDrawArea::MoveTo(const SYS_Point& p) {
  Impl& d = *impl_;
  d.cursor = p;
  if (d.pathOpen) d.path.push_back({{d.X(p.GetX()), d.Y(p.GetY())}});
}

void UI_CairoDrawArea::LineTo(const SYS_Point& p, SYS_CompositeColor color) {
  Impl& d = *impl_;
  SYS_Point from = d.cursor;
  d.cursor = p;
  if (d.pathOpen) {
    if (d.path.empty()) d.path.push_back({{d.X(from.GetX()), d.Y(from.GetY())}});
    d.path.back().emplace_back(d.X(p.GetX()), d.Y(p.GetY()));
    return;
  }
  if (!d.Usable()) return;
  cairo_move_to(d.cr, d.X(from.GetX()), d.Y(from.GetY()));
  cairo_line_to(d.cr, d.X(p.GetX()), d.Y(p.GetY()));
  d.Stroke(color, d.PenPixels(d.penSize));
}

void UI_CairoDrawArea::MoveToRel(long dx, long dy) {
  MoveTo(SYS_Point(impl_->cursor.GetX() + dx, impl_->cursor.GetY() + dy));
}

void UI_CairoDrawArea::LineToRel(long dx, long dy, SYS_CompositeColor color) {
  LineTo(SYS_Point(impl_->cursor.GetX() + dx, impl_->cursor.GetY() + dy), color);
}

void UI_CairoDrawArea::PaintOval(long width, long height, SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  AddEllipseArc(d.cr, d.view, d.cursor.GetX(), d.cursor.GetY(), width, height, 0, SYS_FullTurn);
  cairo_close_path(d.cr);
  d.Fill(color);
}

void UI_CairoDrawArea::FrameOval(long width, long height, SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  AddEllipseArc(d.cr, d.view, d.cursor.GetX(), d.cursor.GetY(), width, height, 0, SYS_FullTurn);
  cairo_close_path(d.cr);
  d.Stroke(color, d.PenPixels(d.penSize));
}

void UI_CairoDrawArea::FrameArc(long width, long height, const SYS_Point& from, const SYS_Point& to,
                                SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable() || width == 0 || height == 0) return;
  double cx = d.cursor.GetX(), cy = d.cursor.GetY();
  double rx = std::fabs(double(width)) / 2, ry = std::fabs(double(height)) / 2;
  double a0 = RayParameter(from.GetX() - cx, from.GetY() - cy, rx, ry);
  double a1 = RayParameter(to.GetX() - cx, to.GetY() - cy, rx, ry);
  if (a1 <= a0) a1 += 2 * M_PI;  // counter-clockwise; equal directions make the whole oval
  AddEllipseArc(d.cr, d.view, cx, cy, width, height, a0 * kUnitsPerRadian, a1 * kUnitsPerRadian);
  d.Stroke(color, d.PenPixels(d.penSize));
}

void UI_CairoDrawArea::FrameArc(const SYS_Box& box, double start, double end,
                                SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable() || !std::isfinite(start) || !std::isfinite(end) || start == end) return;
  double sweep = std::clamp(end - start, -double(SYS_FullTurn), double(SYS_FullTurn));
  SYS_Point c = box.GetCenter();
  double rx = std::fabs(double(box.GetWidth())) / 2, ry = std::fabs(double(box.GetHeight())) / 2;
  if (rx == 0 || ry == 0) return;
  double a0 = start / kUnitsPerRadian;
  double p0 = RayParameter(std::cos(a0), std::sin(a0), rx, ry) * kUnitsPerRadian;
  double a1 = (start + sweep) / kUnitsPerRadian;
  double p1 = RayParameter(std::cos(a1), std::sin(a1), rx, ry) * kUnitsPerRadian;
  // Keep the sweep's direction and size after turning ray angles into oval parameters.
  double turns = std::trunc(sweep / SYS_FullTurn);
  double delta = std::remainder(p1 - p0, double(SYS_FullTurn));
  if (sweep > 0 && delta <= 0) delta += SYS_FullTurn;
  if (sweep < 0 && delta >= 0) delta -= SYS_FullTurn;
  if (std::fabs(turns) >= 1) delta = sweep;  // a whole turn stays whole
  AddEllipseArc(d.cr, d.view, c.GetX(), c.GetY(), box.GetWidth(), box.GetHeight(), p0, p0 + delta);
  d.Stroke(color, d.PenPixels(d.penSize));
}

void UI_CairoDrawArea::PolyLine(int count, SYS_Point* points, long width, SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable() || count < 1 || !points) return;
  cairo_move_to(d.cr, d.X(points[0].GetX()), d.Y(points[0].GetY()));
  for (int i = 1; i < count; ++i) cairo_line_to(d.cr, d.X(points[i].GetX()), d.Y(points[i].GetY()));
  if (count == 1) cairo_close_path(d.cr);  // a dot of the pen's width
  d.Stroke(color, d.PenPixels(width));
}

void UI_CairoDrawArea::PolyPolyline(SYS_Point* points, const unsigned long* counts, int polylines) {
  Impl& d = *impl_;
  if (!d.Usable() || !points || !counts) return;
  for (int k = 0; k < polylines; ++k) {
    SYS_Point* p = points;
    unsigned long n = counts[k];
    points += n;
    if (n == 0) continue;
    cairo_move_to(d.cr, d.X(p[0].GetX()), d.Y(p[0].GetY()));
    for (unsigned long i = 1; i < n; ++i) cairo_line_to(d.cr, d.X(p[i].GetX()), d.Y(p[i].GetY()));
  }
  d.Stroke(d.pen, d.PenPixels(d.penSize));
}

void UI_CairoDrawArea::PolyPolygon(SYS_Point* points, const int* counts, int polygons, long fill) {
  Impl& d = *impl_;
  if (!d.Usable() || !points || !counts) return;
  for (int k = 0; k < polygons; ++k) {
    SYS_Point* p = points;
    int n = counts[k] > 0 ? counts[k] : 0;
    points += n;
    if (n == 0) continue;
    cairo_move_to(d.cr, d.X(p[0].GetX()), d.Y(p[0].GetY()));
    for (int i = 1; i < n; ++i) cairo_line_to(d.cr, d.X(p[i].GetX()), d.Y(p[i].GetY()));
    cairo_close_path(d.cr);
  }
  double w = d.PenPixels(d.penSize);
  if (fill == UI_PolyOutline)
    d.Stroke(d.pen, w);
  else if (fill == UI_PolyHatched)
    d.Hatch(d.pen, w);
  else
    d.Fill(d.pen);
}

void UI_CairoDrawArea::DrawLine(const SYS_Point& from, const SYS_Point& to, long width,
                                SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  cairo_move_to(d.cr, d.X(from.GetX()), d.Y(from.GetY()));
  cairo_line_to(d.cr, d.X(to.GetX()), d.Y(to.GetY()));
  d.Stroke(color, d.PenPixels(width));
}

void UI_CairoDrawArea::DrawCross(const SYS_Point& p, SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  double x = std::floor(d.X(p.GetX())) + 0.5, y = std::floor(d.Y(p.GetY())) + 0.5;
  cairo_move_to(d.cr, x - kCrossHalf, y);
  cairo_line_to(d.cr, x + kCrossHalf, y);
  cairo_move_to(d.cr, x, y - kCrossHalf);
  cairo_line_to(d.cr, x, y + kCrossHalf);
  d.Stroke(color, 1.0);
}

void UI_CairoDrawArea::DrawBox(long width, long height, SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  double cx = d.cursor.GetX(), cy = d.cursor.GetY();
  double hw = std::fabs(double(width)) / 2, hh = std::fabs(double(height)) / 2;
  cairo_rectangle(d.cr, d.X(cx - hw), d.Y(cy + hh), d.view.Length(2 * hw), d.view.Length(2 * hh));
  d.Stroke(color, d.PenPixels(d.penSize));
}

void UI_CairoDrawArea::DrawFilledBox(const SYS_Box& box, SYS_CompositeColor color) {
  FillRect(box, color);
}

void UI_CairoDrawArea::FillRect(SYS_Box box, SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  double l = std::min(box.GetLeft(), box.GetRight()), r = std::max(box.GetLeft(), box.GetRight());
  double b = std::min(box.GetLower(), box.GetUpper()), t = std::max(box.GetLower(), box.GetUpper());
  cairo_rectangle(d.cr, d.X(l), d.Y(t), d.X(r) - d.X(l), d.Y(b) - d.Y(t));
  d.Fill(color);
}

void UI_CairoDrawArea::EraseRect(SYS_Box box) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  double l = std::min(box.GetLeft(), box.GetRight()), r = std::max(box.GetLeft(), box.GetRight());
  double b = std::min(box.GetLower(), box.GetUpper()), t = std::max(box.GetLower(), box.GetUpper());
  cairo_rectangle(d.cr, d.X(l), d.Y(t), d.X(r) - d.X(l), d.Y(b) - d.Y(t));
  d.Erase();
}

void UI_CairoDrawArea::DrawIcon(HICON icon, SYS_Point p, int flag) {
  // No pictures travel with a handle on this surface: an icon shows as a framed square.
  Impl& d = *impl_;
  if (!d.Usable()) return;
  double x = std::floor(d.X(p.GetX())) + 0.5, y = std::floor(d.Y(p.GetY())) + 0.5;
  cairo_rectangle(d.cr, x - kIconHalf, y - kIconHalf, 2 * kIconHalf, 2 * kIconHalf);
  d.Stroke(d.pen, 1.0);
}

void UI_CairoDrawArea::DrawMarker(int kind, SYS_Point p) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  double x = std::floor(d.X(p.GetX())) + 0.5, y = std::floor(d.Y(p.GetY())) + 0.5;
  const double h = kMarkerHalf;
  switch (kind) {
    case 0:  // dot
      cairo_arc(d.cr, x, y, h / 2, 0, 2 * M_PI);
      d.Fill(d.pen);
      return;
    case 2:  // x
      cairo_move_to(d.cr, x - h, y - h);
      cairo_line_to(d.cr, x + h, y + h);
      cairo_move_to(d.cr, x - h, y + h);
      cairo_line_to(d.cr, x + h, y - h);
      break;
    case 3:  // square
      cairo_rectangle(d.cr, x - h, y - h, 2 * h, 2 * h);
      break;
    case 4:  // diamond
      cairo_move_to(d.cr, x, y - h);
      cairo_line_to(d.cr, x + h, y);
      cairo_line_to(d.cr, x, y + h);
      cairo_line_to(d.cr, x - h, y);
      cairo_close_path(d.cr);
      break;
    default:  // 1 and unknown kinds: a cross
      cairo_move_to(d.cr, x - h, y);
      cairo_line_to(d.cr, x + h, y);
      cairo_move_to(d.cr, x, y - h);
      cairo_line_to(d.cr, x, y + h);
      break;
  }
  d.Stroke(d.pen, 1.0);
}

void UI_CairoDrawArea::DrawInfiniteOrthoLine(const SYS_Point& p, EOrthoLine kind) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  double x = std::floor(d.X(p.GetX())) + 0.5, y = std::floor(d.Y(p.GetY())) + 0.5;
  if (kind == EOrthoHorizontal || kind == EOrthoBoth) {
    cairo_move_to(d.cr, 0, y);
    cairo_line_to(d.cr, d.width, y);
  }
  if (kind == EOrthoVertical || kind == EOrthoBoth) {
    cairo_move_to(d.cr, x, 0);
    cairo_line_to(d.cr, x, d.height);
  }
  d.Stroke(d.pen, d.PenPixels(d.penSize));
}

void UI_CairoDrawArea::DrawInfiniteDiagonalLine(const SYS_Point& p, EDiagonalLine kind) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  double x = d.X(p.GetX()), y = d.Y(p.GetY());
  // Long enough to cross the picture from any point on it; points farther out are clamped
  // by the view and the lines then miss the picture as they should.
  double t = double(d.width) + d.height + std::fabs(x) + std::fabs(y);
  if (kind == EDiagonalRising || kind == EDiagonalBoth) {  // up and right: y decreases on screen
    cairo_move_to(d.cr, x - t, y + t);
    cairo_line_to(d.cr, x + t, y - t);
  }
  if (kind == EDiagonalFalling || kind == EDiagonalBoth) {
    cairo_move_to(d.cr, x - t, y - t);
    cairo_line_to(d.cr, x + t, y + t);
  }
  d.Stroke(d.pen, d.PenPixels(d.penSize));
}

// ---------------------------------------------------------------------------------------
// Paths and regions.

void UI_CairoDrawArea::BeginPath() {
  impl_->pathOpen = true;
  impl_->path.clear();
}

void UI_CairoDrawArea::EndPath() { impl_->pathOpen = false; }

void UI_CairoDrawArea::PaintPath() {
  Impl& d = *impl_;
  if (!d.Usable() || d.pathOpen) return;
  bool any = false;
  for (const auto& sub : d.path) {
    if (sub.size() < 2) continue;
    cairo_move_to(d.cr, sub[0].first, sub[0].second);
    for (size_t i = 1; i < sub.size(); ++i) cairo_line_to(d.cr, sub[i].first, sub[i].second);
    cairo_close_path(d.cr);
    any = true;
  }
  if (any) d.Fill(d.pen);
}

void UI_CairoDrawArea::PaintPoly(int polygons, _polyHead* heads, SYS_Point* points) {
  Impl& d = *impl_;
  if (!d.Usable() || !heads || !points) return;
  // Filled polygons go into one path so that inner ones are holes; outlined and hatched
  // polygons are drawn one by one afterwards.
  SYS_Point* p = points;
  bool anyFilled = false;
  for (int k = 0; k < polygons; ++k) {
    int n = heads[k].count > 0 ? heads[k].count : 0;
    if (n > 0 && (heads[k].flag == UI_PolySolid || heads[k].flag == UI_PolyPlain)) {
      cairo_move_to(d.cr, d.X(p[0].GetX()), d.Y(p[0].GetY()));
      for (int i = 1; i < n; ++i) cairo_line_to(d.cr, d.X(p[i].GetX()), d.Y(p[i].GetY()));
      cairo_close_path(d.cr);
      anyFilled = true;
    }
    p += n;
  }
  if (anyFilled) d.Fill(d.pen);
  p = points;
  for (int k = 0; k < polygons; ++k) {
    int n = heads[k].count > 0 ? heads[k].count : 0;
    if (n > 0 && (heads[k].flag == UI_PolyOutline || heads[k].flag == UI_PolyHatched)) {
      cairo_move_to(d.cr, d.X(p[0].GetX()), d.Y(p[0].GetY()));
      for (int i = 1; i < n; ++i) cairo_line_to(d.cr, d.X(p[i].GetX()), d.Y(p[i].GetY()));
      cairo_close_path(d.cr);
      double w = d.PenPixels(d.penSize);
      heads[k].flag == UI_PolyHatched ? d.Hatch(d.pen, w) : d.Stroke(d.pen, w);
    }
    p += n;
  }
}

void UI_CairoDrawArea::PaintArea(const DARegion& region, SYS_CompositeColor color) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  // The outlines flagged plain or solid are filled together (even-odd: inner outlines are
  // holes); outline-flagged ones are then stroked with their own width, hatched ones hatched.
  auto drawnAlone = [](const DAPolygon& poly) {
    int flag = poly.GetFlag();
    return flag == UI_PolyOutline || flag == UI_PolyHatched;
  };
  bool anyFilled = false;
  DARegionIterator it(region);
  while (const DAPolygon* poly = it.GetNextPolygon()) {
    if (drawnAlone(*poly)) continue;
    brix::cairo_paths::AddPolygon(d.cr, d.view, *poly);
    anyFilled = true;
  }
  if (anyFilled) d.Fill(color);
  it.Restart();
  while (const DAPolygon* poly = it.GetNextPolygon()) {
    if (!drawnAlone(*poly)) continue;
    brix::cairo_paths::AddPolygon(d.cr, d.view, *poly);
    double w = d.PenPixels(poly->GetWidth());
    static_cast<int>(poly->GetFlag()) == UI_PolyHatched ? d.Hatch(color, w) : d.Stroke(color, w);
  }
}

void UI_CairoDrawArea::EraseArea(const DARegion& region) {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  AddRegion(d.cr, d.view, region);
  d.Erase();
}
