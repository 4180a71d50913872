// cairo_view.h - the mapping between world coordinates (database units, y up) and the
// pixels of the cairo surface (y down).
#pragma once

#include <algorithm>
#include <cmath>

namespace brix::cairo_view {

/// Device coordinates are kept within this distance of the origin: cairo's fixed-point
/// numbers hold about +-8 million, and nothing this far out of a window is visible.
inline constexpr double kDeviceLimit = 4194304.0;

/// A uniform scale and the world point shown at the window's top-left corner.
struct View {
  int width = 1;        // window size in pixels
  int height = 1;
  double scale = 1.0;   // pixels per world unit
  double left = 0.0;    // world x at the window's left edge
  double upper = 1.0;   // world y at the window's top edge

  double DevX(double x) const { return Clamp((x - left) * scale); }
  double DevY(double y) const { return Clamp((upper - y) * scale); }
  double WorldX(double px) const { return left + px / scale; }
  double WorldY(double py) const { return upper - py / scale; }
  double Length(double worldLength) const { return worldLength * scale; }

  /// Shows the world box [x0, x1] x [y0, y1] as large as it fits inside the window less
  /// `margin` pixels on each side, centred. False (nothing changed) for a box without area
  /// or a margin that leaves no room.
  bool Fit(double x0, double y0, double x1, double y1, int margin) {
    double bw = std::fabs(x1 - x0), bh = std::fabs(y1 - y0);
    double roomW = width - 2.0 * margin, roomH = height - 2.0 * margin;
    if (!(bw > 0 || bh > 0) || roomW <= 0 || roomH <= 0) return false;
    double s = std::min(bw > 0 ? roomW / bw : INFINITY, bh > 0 ? roomH / bh : INFINITY);
    if (!std::isfinite(s) || s <= 0) return false;
    return Centre((x0 + x1) / 2, (y0 + y1) / 2, s);
  }

  /// Shows (cx, cy) at the window's centre at scale s. False for an unusable scale.
  bool Centre(double cx, double cy, double s) {
    if (!std::isfinite(s) || s <= 0 || !std::isfinite(cx) || !std::isfinite(cy)) return false;
    scale = s;
    left = cx - width / (2 * s);
    upper = cy + height / (2 * s);
    return true;
  }

  double CentreX() const { return left + width / (2 * scale); }
  double CentreY() const { return upper - height / (2 * scale); }

  static double Clamp(double v) {
    if (!(v > -kDeviceLimit)) return -kDeviceLimit;  // NaN lands here too
    return v < kDeviceLimit ? v : kDeviceLimit;
  }
};

/// A world angle (angle units, counter-clockwise) as cairo radians on the y-down surface.
inline double DevAngle(double angleUnits) { return -angleUnits * M_PI / 324000000.0; }

}  // namespace brix::cairo_view
