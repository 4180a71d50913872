// cairo_paths.h - world shapes (outlines with arc edges, ellipses, arcs) added to a cairo path
// in device coordinates.
#pragma once

#include <cairo.h>

#include "cairo_view.h"
#include "daregion.h"

namespace brix::cairo_paths {

/// Adds one closed outline: straight edges as lines, arc edges as true arcs from the
/// previous vertex through the arc's sweep (a sweep of a full turn or more is a whole
/// circle). Outlines with fewer than two vertices add nothing.
void AddPolygon(cairo_t* cr, const cairo_view::View& view, const DAPolygon& polygon);

/// Adds every outline of the region as its own closed sub-path.
void AddRegion(cairo_t* cr, const cairo_view::View& view, const DARegion& region);

/// Adds an axis-aligned ellipse of full width w and height h about the world point (cx, cy),
/// from world angle a0 to a1 (angle units, counter-clockwise for a1 > a0), as a new sub-path.
/// A full turn gives a closed ellipse.
void AddEllipseArc(cairo_t* cr, const cairo_view::View& view, double cx, double cy, double w,
                   double h, double a0, double a1);

}  // namespace brix::cairo_paths
