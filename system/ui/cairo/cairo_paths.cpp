// cairo_paths.cpp - outlines, ellipses and arcs as cairo paths.
#include "cairo_paths.h"

#include <cmath>

#include "sysgeom.h"

namespace brix::cairo_paths {

using cairo_view::DevAngle;
using cairo_view::View;

namespace {

// An arc edge from the previous vertex (px, py) to its own vertex about the arc's centre. The
// start angle comes from the previous vertex, so the arc meets the outline exactly; only the
// sweep is taken from the arc table, which tells a full circle from an empty arc.
void AddArcEdge(cairo_t* cr, const View& view, const ArcPolyArc& arc, double px, double py,
                double radius) {
  double sweep = arc.end - arc.start;
  if (!std::isfinite(sweep)) sweep = 0;
  sweep = std::clamp(sweep, -double(SYS_FullTurn), double(SYS_FullTurn));
  double start = std::atan2(py - arc.cy, px - arc.cx);  // radians, world
  double cx = view.DevX(arc.cx), cy = view.DevY(arc.cy), r = view.Length(radius);
  double a0 = -start;                                    // device radians
  double a1 = a0 + DevAngle(sweep);
  if (!(r > 0) || r > cairo_view::kDeviceLimit) {
    cairo_line_to(cr, view.DevX(px), view.DevY(py));
    return;
  }
  // Counter-clockwise in the world is clockwise on the y-down surface.
  if (sweep > 0)
    cairo_arc_negative(cr, cx, cy, r, a0, a1);
  else
    cairo_arc(cr, cx, cy, r, a0, a1);
}

}  // namespace

void AddPolygon(cairo_t* cr, const View& view, const DAPolygon& polygon) {
  int n = polygon.GetEdgeCount();
  if (n < 2) return;
  const ArcPolyEdge* last = polygon.GetEdge(n - 1);
  cairo_new_sub_path(cr);
  cairo_move_to(cr, view.DevX(last->x), view.DevY(last->y));
  double px = last->x, py = last->y;
  for (int i = 0; i < n; ++i) {
    const ArcPolyEdge* e = polygon.GetEdge(i);
    const ArcPolyArc* arc = polygon.GetEdgeArc(i);
    if (arc)
      AddArcEdge(cr, view, *arc, px, py, polygon.GetRadius(i));
    cairo_line_to(cr, view.DevX(e->x), view.DevY(e->y));
    px = e->x;
    py = e->y;
  }
  cairo_close_path(cr);
}

void AddRegion(cairo_t* cr, const View& view, const DARegion& region) {
  DARegionIterator it(region);
  while (const DAPolygon* p = it.GetNextPolygon()) AddPolygon(cr, view, *p);
}

void AddEllipseArc(cairo_t* cr, const View& view, double cx, double cy, double w, double h,
                   double a0, double a1) {
  double rx = view.Length(std::fabs(w)) / 2, ry = view.Length(std::fabs(h)) / 2;
  if (!(rx > 0) || !(ry > 0) || rx > cairo_view::kDeviceLimit || ry > cairo_view::kDeviceLimit)
    return;
  cairo_new_sub_path(cr);
  cairo_save(cr);
  cairo_translate(cr, view.DevX(cx), view.DevY(cy));
  cairo_scale(cr, rx, ry);
  if (a1 > a0)
    cairo_arc_negative(cr, 0, 0, 1, DevAngle(a0), DevAngle(a1));
  else
    cairo_arc(cr, 0, 0, 1, DevAngle(a0), DevAngle(a1));
  cairo_restore(cr);  // the path keeps its shape; the pen is not stretched by the scale
}

}  // namespace brix::cairo_paths
