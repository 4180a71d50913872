// systransform.h - SYS_Transform, the planar affine map with its angle, sweep and length maps.
#pragma once

#include <cstdint>

#include "brixexport.h"
#include "sysgeom.h"

/// An affine map of the plane (x' = a·x + b·y + c, y' = d·x + e·y + f) together with the
/// companion maps that convert orientations, arc sweeps and lengths of transformed objects.
///
/// Setters replace the whole transform; AddConv and the operators compose. Points are mapped
/// in double precision and rounded half away from zero. The class is a plain value: copies
/// are independent. One quirk is part of the contract: SetRConv, although const, resets the
/// source's own scale to 1 when that scale is (almost) zero.
class BRIX_API SYS_Transform {
 public:
  /// The identity.
  SYS_Transform() = default;
  SYS_Transform(const SYS_Transform&) = default;
  /// Placement about the pivot (x, y): move the pivot to the origin (unless noMoveIn),
  /// mirror across the x axis if mirror and mirrorFirst, rotate by angle, mirror if mirror
  /// and not mirrorFirst, and move the origin back to the pivot (unless noMoveOut).
  SYS_Transform(long x, long y, long angle, int mirror, int mirrorFirst = 0, int noMoveIn = 0,
                int noMoveOut = 0);
  /// The placement with the pivot taken from p.
  SYS_Transform(const SYS_Point& p, long angle, int mirror, int mirrorFirst = 0, int noMoveIn = 0,
                int noMoveOut = 0);
  /// The placement with pivot, angle and mirror flag taken from pos.
  explicit SYS_Transform(const SYS_Position& pos, int mirrorFirst = 0, int noMoveIn = 0,
                         int noMoveOut = 0);
  ~SYS_Transform() = default;

  /// Copies all fields and returns a copy of the result.
  SYS_Transform operator=(const SYS_Transform& t);
  /// Copies all fields of *t (a null pointer leaves this unchanged) and returns a copy.
  SYS_Transform operator=(const SYS_Transform* t);

  // Setters. Each one replaces the transform; none composes with the previous content.

  /// Translation by (dx, dy).
  void SetMove(double dx, double dy);
  void SetMove(long dx, long dy) {
    SetMove(static_cast<double>(static_cast<std::int32_t>(dx)),
            static_cast<double>(static_cast<std::int32_t>(dy)));
  }
  /// Resolves `SetMove(1, 2)` to the integer form.
  void SetMove(int dx, int dy) { SetMove(static_cast<long>(dx), static_cast<long>(dy)); }
  /// Rotation by `angle` (angle units) about p. The radian angle offset keeps its old value.
  void SetRotate(const SYS_Point& p, long angle);
  /// Rotation about p to the direction (u, v), normalised first; a near-zero vector
  /// means (1, 0).
  void SetRotate(const SYS_Point& p, double u, double v);
  /// Reflection across the line through p at `angle`. The radian angle offset keeps its
  /// old value.
  void SetMirror(const SYS_Point& p, long angle);
  /// Reflection across the line through p along (u, v). Any vector shorter than 2 is taken
  /// as (1, 0): the placement constructors' mirror is therefore across the x axis (intended).
  void SetMirror(const SYS_Point& p, double u, double v);
  /// Scaling by k about p; a negative k also turns orientations by half a turn.
  void SetScale(const SYS_Point& p, double k);
  /// Fits the span from a to b into box: scales about the span's mid-point by the smaller of
  /// the two axis ratios, then moves that mid-point to the box's centre.
  void SetBoxConv(const SYS_Point& a, const SYS_Point& b, const SYS_Box& box);
  /// Maps world coordinates into a system with origin o turned by `angle`.
  void SetCoordSys(const SYS_Point& o, long angle);
  /// As SetCoordSys with a direction; the components are passed to SetRotate swapped and
  /// negated, as (-v, -u) (intended).
  void SetCoordSys(const SYS_Point& o, double u, double v);

  // Application.

  /// Maps *p in place, rounding half away from zero. A null pointer is a failed check.
  void Transform(SYS_Point* p) const {
    if (p == nullptr) return NullPoint();
    *p = Transform(*p);
  }
  /// Maps p in place, rounding half away from zero.
  void Convert(SYS_Point& p) const { p = Transform(p); }
  /// Maps p, rounding half away from zero.
  SYS_Point Transform(const SYS_Point& p) const {
    const double x = static_cast<double>(p.GetX()), y = static_cast<double>(p.GetY());
    return SYS_Point(SYS_Round(a_ * x + b_ * y + c_), SYS_Round(d_ * x + e_ * y + f_));
  }
  SYS_Point operator+(const SYS_Point& p) const { return Transform(p); }
  /// Maps p through the inverse transform.
  SYS_Point operator-(const SYS_Point& p) const;
  /// Maps *p in place without rounding. A null pointer is a failed check.
  void Transform(SYS_DoublePoint* p) const {
    if (p == nullptr) return NullPoint();
    *p = Transform(*p);
  }
  SYS_DoublePoint Transform(const SYS_DoublePoint& p) const {
    const double x = p.GetX(), y = p.GetY();
    return SYS_DoublePoint(a_ * x + b_ * y + c_, d_ * x + e_ * y + f_);
  }
  /// Scales a length, rounding half away from zero.
  void Convert(long& length) const { length = *this + length; }
  long operator+(long length) const {
    return SYS_Round(static_cast<std::int32_t>(length) * scale_);
  }
  /// Divides a length by the scale, rounding half away from zero.
  long operator-(long length) const {
    return SYS_Round(static_cast<std::int32_t>(length) / scale_);
  }
  /// Converts an arc's start angle and sweep. A mirroring transform negates the angle and
  /// adds the radian offset to the angle-unit value (intended); otherwise the orientation
  /// is added. Both angles end in [0, full turn]; a sweep beyond a full turn becomes one.
  void Convert(long& angle, long& sweep) const;

  /// The rotation in angle units that orientations receive.
  long GetOrientation() const { return orientation_; }
  /// True when the angle factor is not exactly 1 or the orientation is not 0.
  short IsRotate() const { return angleFactor_ != 1.0 || orientation_ != 0; }
  /// True when the sweep factor is not exactly 1 or the sweep shift is not 0.
  short GetMirror() const { return sweepFactor_ != 1.0 || sweepShift_ != 0; }
  /// True when the length scale is not exactly 1.
  short IsScale() const { return scale_ != 1.0; }

  // Composition and inversion.

  /// This becomes this followed by t.
  void AddConv(const SYS_Transform& t);
  /// This becomes this followed by the inverse of t.
  void SubConv(const SYS_Transform& t);
  /// This followed by t.
  SYS_Transform operator+(const SYS_Transform& t) const;
  /// This followed by the inverse of t.
  SYS_Transform operator-(const SYS_Transform& t) const;
  /// Writes the inverse into out and returns 1; returns 0 when a part is singular, leaving
  /// out as the identity or a partial inverse. A zero scale also resets this transform's
  /// own scale to 1 (intended: later calls rely on it).
  short SetRConv(SYS_Transform& out) const;
  /// Replaces this by its inverse (or by what SetRConv left when it is singular).
  void RConv();

  /// Exact comparison of all thirteen fields.
  short operator==(const SYS_Transform& t) const;
  short operator!=(const SYS_Transform& t) const { return !(*this == t); }

  // Field access, for serialisation and diagnostics.
  double GetA() const { return a_; }
  double GetB() const { return b_; }
  double GetC() const { return c_; }
  double GetD() const { return d_; }
  double GetE() const { return e_; }
  double GetF() const { return f_; }
  double GetAngleFactor() const { return angleFactor_; }
  double GetAngleOffset() const { return angleOffset_; }
  double GetSweepFactor() const { return sweepFactor_; }
  double GetSweepOffset() const { return sweepOffset_; }
  long GetSweepShift() const { return sweepShift_; }
  double GetScale() const { return scale_; }

 private:
  static void NullPoint();
  void SetPlacement(long x, long y, long angle, int mirror, int mirrorFirst, int noMoveIn,
                    int noMoveOut);

  double a_ = 1.0, b_ = 0.0, c_ = 0.0;
  double d_ = 0.0, e_ = 1.0, f_ = 0.0;
  double angleFactor_ = 1.0;      // multiplier of orientation angles
  double angleOffset_ = 0.0;      // rotation in radians
  double sweepFactor_ = 1.0;      // multiplier of sweep angles
  double sweepOffset_ = 0.0;      // added to sweep angles
  mutable double scale_ = 1.0;    // multiplier of lengths; SetRConv may reset it
  std::int32_t orientation_ = 0;  // rotation in angle units
  std::int32_t sweepShift_ = 0;   // composed like the orientation, read by no conversion
};
