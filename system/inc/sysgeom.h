// sysgeom.h - integer planar geometry: points, boxes, segments, circles, arcs, locations.
#pragma once

#include <cstdint>

#include "brixexport.h"

class SYS_Transform;
class SYS_DoublePoint;

/// Largest valid coordinate magnitude: 28 inches in database units.
inline constexpr std::int32_t SYS_CoordLimit = 1066800000;
/// A full turn in angle units (1/1,800,000 degree).
inline constexpr std::int32_t SYS_FullTurn = 648000000;
/// Half a turn in angle units.
inline constexpr std::int32_t SYS_HalfTurn = 324000000;

namespace sys_detail {

// Stored values are 32 bits and wrap around like the 32-bit integers they model; the
// arithmetic goes through unsigned so that the wrap is defined behaviour.
constexpr std::int32_t Add(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
constexpr std::int32_t Sub(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
constexpr std::int32_t Mul(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
constexpr std::int32_t Abs(std::int32_t a) { return a < 0 ? Sub(0, a) : a; }

}  // namespace sys_detail

/// Truncates toward zero into 32 bits. A value that does not fit (or NaN) gives
/// INT32_MIN, what the processor's own conversion gives, instead of undefined behaviour.
/// The range is checked here rather than left to the conversion instruction so that a
/// compiler folding a constant argument gets the same answer as the run-time code.
inline std::int32_t SYS_Truncate(double v) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
  return static_cast<std::int32_t>(v);
}

/// Rounds half away from zero (add or subtract 0.5, then truncate) into 32 bits;
/// out-of-range values give INT32_MIN like SYS_Truncate.
inline std::int32_t SYS_Round(double v) { return SYS_Truncate(v >= 0 ? v + 0.5 : v - 0.5); }

/// An integer point in database units. Every integer point is valid.
class BRIX_API SYS_Point {
 public:
  SYS_Point() = default;
  SYS_Point(long x, long y) : x_(static_cast<std::int32_t>(x)), y_(static_cast<std::int32_t>(y)) {}

  /// Assigns a double point, each coordinate rounded half away from zero.
  SYS_Point& operator=(const SYS_DoublePoint& p);

  long GetX() const { return x_; }
  long GetY() const { return y_; }
  void SetX(long x) { x_ = static_cast<std::int32_t>(x); }
  void SetY(long y) { y_ = static_cast<std::int32_t>(y); }
  void Set(long x, long y) { SetX(x), SetY(y); }
  void Initiate() { x_ = y_ = 0; }

  SYS_Point operator+(const SYS_Point& o) const {
    return Raw(sys_detail::Add(x_, o.x_), sys_detail::Add(y_, o.y_));
  }
  SYS_Point operator-(const SYS_Point& o) const {
    return Raw(sys_detail::Sub(x_, o.x_), sys_detail::Sub(y_, o.y_));
  }
  /// Adds d to both coordinates.
  SYS_Point operator+(long d) const { return *this + SYS_Point(d, d); }
  /// Subtracts d from both coordinates.
  SYS_Point operator-(long d) const { return *this - SYS_Point(d, d); }
  SYS_Point& operator+=(const SYS_Point& o) { return *this = *this + o; }
  SYS_Point& operator-=(const SYS_Point& o) { return *this = *this - o; }
  SYS_Point& operator+=(long d) { return *this = *this + d; }
  SYS_Point& operator-=(long d) { return *this = *this - d; }

  /// Integer product of both coordinates.
  SYS_Point operator*(long k) const {
    const auto k32 = static_cast<std::int32_t>(k);
    return Raw(sys_detail::Mul(x_, k32), sys_detail::Mul(y_, k32));
  }
  /// Resolves `p * 2` to the integer product.
  SYS_Point operator*(int k) const { return *this * static_cast<long>(k); }
  /// Both coordinates multiplied and truncated toward zero (not rounded: intended,
  /// unlike every other double operation on points).
  SYS_Point operator*(double k) const { return Raw(SYS_Truncate(x_ * k), SYS_Truncate(y_ * k)); }
  /// Each coordinate divided in double precision and rounded half away from zero.
  /// Division by zero gives INT32_MIN coordinates (0 / 0 included).
  SYS_Point operator/(long k) const {
    const double d = static_cast<std::int32_t>(k);
    return Raw(SYS_Round(x_ / d), SYS_Round(y_ / d));
  }

  bool operator==(const SYS_Point& o) const { return x_ == o.x_ && y_ == o.y_; }
  bool operator!=(const SYS_Point& o) const { return !(*this == o); }
  /// Lexicographic: x first, y breaks a tie.
  bool operator<(const SYS_Point& o) const { return x_ < o.x_ || (x_ == o.x_ && y_ < o.y_); }
  bool operator>(const SYS_Point& o) const { return o < *this; }
  /// 0 gives x, any other index gives y.
  long operator[](int i) const { return i == 0 ? x_ : y_; }

  /// Exact conversion to doubles.
  operator SYS_DoublePoint() const;

  /// Multiplies both coordinates by k, rounding half away from zero.
  void Scale(double k) { Scale(k, k); }
  /// Multiplies x by kx and y by ky, rounding half away from zero.
  void Scale(double kx, double ky) { Set(SYS_Round(x_ * kx), SYS_Round(y_ * ky)); }
  /// Passes the point through `t` in place.
  void Transform(const SYS_Transform& t);

  /// Euclidean length; axis-parallel and diagonal vectors are exact.
  double Length() const;
  /// Euclidean distance to `o` (the length of the difference).
  double Distance(const SYS_Point& o) const { return (*this - o).Length(); }
  /// Manhattan length |x| + |y|.
  long MLength() const { return sys_detail::Add(sys_detail::Abs(x_), sys_detail::Abs(y_)); }
  /// Manhattan distance to `o`.
  long MDistance(const SYS_Point& o) const { return (*this - o).MLength(); }
  /// Mid-point of this and `o`, rounded half away from zero.
  SYS_Point Median(const SYS_Point& o) const {
    return Raw(SYS_Round((static_cast<double>(x_) + o.x_) * 0.5),
               SYS_Round((static_cast<double>(y_) + o.y_) * 0.5));
  }
  /// Length from the origin refined by one Newton step.
  double GetPolarRadius() const;
  /// Angle of the vector from the origin in [0, SYS_FullTurn); (0, 0) gives 0.
  long GetPolarAngle() const;
  double ScalarProduct(const SYS_Point& o) const {
    return static_cast<double>(x_) * o.x_ + static_cast<double>(y_) * o.y_;
  }
  double VectorProduct(const SYS_Point& o) const {
    return static_cast<double>(x_) * o.y_ - static_cast<double>(y_) * o.x_;
  }
  int IsValid() const { return 1; }
  /// Reverses the byte order of x and of y (data from a machine of the other byte order).
  void SwapBytes() {
    x_ = static_cast<std::int32_t>(__builtin_bswap32(static_cast<std::uint32_t>(x_)));
    y_ = static_cast<std::int32_t>(__builtin_bswap32(static_cast<std::uint32_t>(y_)));
  }
  /// Points have no drawing of their own.
  void Draw() const {}

 private:
  static SYS_Point Raw(std::int32_t x, std::int32_t y) {
    SYS_Point p;
    p.x_ = x;
    p.y_ = y;
    return p;
  }

  std::int32_t x_ = 0;
  std::int32_t y_ = 0;
};

/// A point in doubles; used where intermediate results must not be rounded.
class BRIX_API SYS_DoublePoint {
 public:
  SYS_DoublePoint() = default;
  SYS_DoublePoint(double x, double y) : x_(x), y_(y) {}

  /// Exact assignment from an integer point.
  SYS_DoublePoint& operator=(const SYS_Point& p) {
    Set(static_cast<double>(p.GetX()), static_cast<double>(p.GetY()));
    return *this;
  }

  double GetX() const { return x_; }
  double GetY() const { return y_; }
  void SetX(double x) { x_ = x; }
  void SetY(double y) { y_ = y; }
  void Set(double x, double y) { x_ = x, y_ = y; }
  void Initiate() { x_ = y_ = 0.0; }

  SYS_DoublePoint operator+(const SYS_DoublePoint& o) const { return {x_ + o.x_, y_ + o.y_}; }
  SYS_DoublePoint operator-(const SYS_DoublePoint& o) const { return {x_ - o.x_, y_ - o.y_}; }
  /// Adds d to both coordinates.
  SYS_DoublePoint operator+(double d) const { return {x_ + d, y_ + d}; }
  /// Subtracts d from both coordinates.
  SYS_DoublePoint operator-(double d) const { return {x_ - d, y_ - d}; }
  SYS_DoublePoint& operator+=(const SYS_DoublePoint& o) { return *this = *this + o; }
  SYS_DoublePoint& operator-=(const SYS_DoublePoint& o) { return *this = *this - o; }
  SYS_DoublePoint& operator+=(double d) { return *this = *this + d; }
  SYS_DoublePoint& operator-=(double d) { return *this = *this - d; }

  bool operator==(const SYS_DoublePoint& o) const { return x_ == o.x_ && y_ == o.y_; }
  bool operator!=(const SYS_DoublePoint& o) const { return !(*this == o); }
  /// Lexicographic: x first, y breaks a tie.
  bool operator<(const SYS_DoublePoint& o) const { return x_ < o.x_ || (x_ == o.x_ && y_ < o.y_); }
  bool operator>(const SYS_DoublePoint& o) const { return o < *this; }
  /// 0 gives x, any other index gives y.
  double operator[](int i) const { return i == 0 ? x_ : y_; }

  /// Each coordinate rounded half away from zero.
  operator SYS_Point() const { return SYS_Point(SYS_Round(x_), SYS_Round(y_)); }

  /// Multiplies both coordinates by k (no rounding).
  void Scale(double k) { x_ *= k, y_ *= k; }
  void Scale(double kx, double ky) { x_ *= kx, y_ *= ky; }
  /// Passes the point through `t` in place, without rounding.
  void Transform(const SYS_Transform& t);

  /// Length from the origin refined by one Newton step.
  double GetPolarRadius() const;
  /// Angle of the vector from the origin in [0, SYS_FullTurn); (0, 0) gives 0.
  long GetPolarAngle() const;
  double ScalarProduct(const SYS_DoublePoint& o) const { return x_ * o.x_ + y_ * o.y_; }
  double VectorProduct(const SYS_DoublePoint& o) const { return x_ * o.y_ - y_ * o.x_; }
  /// True only when both coordinates lie strictly inside the coordinate limit.
  int IsValid() const { return x_ > -1.0668e9 && x_ < 1.0668e9 && y_ > -1.0668e9 && y_ < 1.0668e9; }

 private:
  double x_ = 0.0;
  double y_ = 0.0;
};

inline SYS_Point& SYS_Point::operator=(const SYS_DoublePoint& p) {
  return *this = static_cast<SYS_Point>(p);
}
inline SYS_Point::operator SYS_DoublePoint() const {
  return SYS_DoublePoint(static_cast<double>(x_), static_cast<double>(y_));
}

/// A rectangle given by its lower-left and upper-right corners (y points up). Boxes are
/// not kept ordered: only Normalize, Expand and the (point, size) forms order the corners.
class BRIX_API SYS_Box {
 public:
  SYS_Box() = default;
  /// Stored as passed, no ordering.
  SYS_Box(long left, long lower, long right, long upper) : ll_(left, lower), ur_(right, upper) {}
  /// `a` becomes the lower-left and `b` the upper-right corner, as passed.
  SYS_Box(const SYS_Point& a, const SYS_Point& b) : ll_(a), ur_(b) {}
  /// The ordered square from p to p + (size, size).
  SYS_Box(const SYS_Point& p, long size) { Set(p, size); }

  void Set(long left, long lower, long right, long upper) {
    ll_.Set(left, lower);
    ur_.Set(right, upper);
  }
  void Set(const SYS_Point& a, const SYS_Point& b) { ll_ = a, ur_ = b; }
  void Set(const SYS_Point& p, long size) {
    const SYS_Point q = p + size;
    if (static_cast<std::int32_t>(size) >= 0)
      Set(p, q);
    else
      Set(q, p);
  }

  long GetLeft() const { return ll_.GetX(); }
  long GetLower() const { return ll_.GetY(); }
  long GetRight() const { return ur_.GetX(); }
  long GetUpper() const { return ur_.GetY(); }
  void SetLeft(long v) { ll_.SetX(v); }
  void SetLower(long v) { ll_.SetY(v); }
  void SetRight(long v) { ur_.SetX(v); }
  void SetUpper(long v) { ur_.SetY(v); }

  /// All four zero, as a default-constructed box (not the invalid box).
  void Initiate() { ll_.Initiate(), ur_.Initiate(); }

  SYS_Point& GetLowerLeft() { return ll_; }
  const SYS_Point& GetLowerLeft() const { return ll_; }
  SYS_Point& GetUpperRight() { return ur_; }
  const SYS_Point& GetUpperRight() const { return ur_; }
  SYS_Point GetUpperLeft() const { return SYS_Point(GetLeft(), GetUpper()); }
  SYS_Point GetLowerRight() const { return SYS_Point(GetRight(), GetLower()); }
  void SetLowerLeft(const SYS_Point& p) { ll_ = p; }
  void SetLowerLeft(long x, long y) { ll_.Set(x, y); }
  void SetUpperRight(const SYS_Point& p) { ur_ = p; }
  void SetUpperRight(long x, long y) { ur_.Set(x, y); }

  long GetWidth() const { return (ur_ - ll_).GetX(); }
  long GetHeight() const { return (ur_ - ll_).GetY(); }
  long GetDX() const { return GetWidth(); }
  long GetDY() const { return GetHeight(); }

  /// Left <= right and lower <= upper.
  int IsValid() const { return GetLeft() <= GetRight() && GetLower() <= GetUpper(); }
  /// Zero width or zero height.
  int IsEmpty() const { return GetRight() == GetLeft() || GetUpper() == GetLower(); }
  void SetEmpty() { Set(0, 0, 0, 0); }
  /// Writes the invalid box, the identity of Combine: lower-left at +limit, upper-right at
  /// -limit.
  void Invalidate() { Set(SYS_CoordLimit, SYS_CoordLimit, -SYS_CoordLimit, -SYS_CoordLimit); }
  /// Swaps left/right and lower/upper where they are out of order.
  void Normalize();

  /// Closed inclusion: points on the edges are inside.
  int IsInclude(const SYS_Point& p) const {
    return GetLeft() <= p.GetX() && p.GetX() <= GetRight() && GetLower() <= p.GetY() &&
           p.GetY() <= GetUpper();
  }
  /// Closed overlap: boxes that only touch intersect.
  int IsIntersect(const SYS_Box& b) const {
    return GetLeft() <= b.GetRight() && b.GetLeft() <= GetRight() && GetLower() <= b.GetUpper() &&
           b.GetLower() <= GetUpper();
  }
  /// Union; the invalid box is its identity on either side.
  void Combine(const SYS_Box& b);
  /// Grows the box to contain (x, y).
  void Increase(long x, long y);
  /// Moves every edge outwards by d (inwards for negative d), then normalises.
  void Expand(long d);
  /// Translates the box by d.
  void Move(const SYS_Point& d) { ll_ += d, ur_ += d; }
  /// Centre in integer division (truncating toward zero).
  SYS_Point GetCenter() const {
    return SYS_Point(sys_detail::Add(ll_.GetX(), ur_.GetX()) / 2,
                     sys_detail::Add(ll_.GetY(), ur_.GetY()) / 2);
  }
  /// Moves the box so that its centre is c, keeping width and height.
  void SetCenter(const SYS_Point& c);
  /// Sets this box to the intersection of a and b; returns 0 (and a degenerate box) when
  /// they do not overlap with a positive area, 1 otherwise.
  int SetAsIntersection(SYS_Box a, SYS_Box b);
  /// Writes to `out` (room for 4) the rectangles that cover the part of b outside this box
  /// and returns how many were written (0 to 4). Their interiors are disjoint.
  int Clip(SYS_Box b, SYS_Box* out) const;
  /// Replaces the box by the bounding box of its four transformed corners.
  void Transform(const SYS_Transform& t);

  bool operator==(const SYS_Box& b) const { return ll_ == b.ll_ && ur_ == b.ur_; }
  bool operator!=(const SYS_Box& b) const { return !(*this == b); }

 private:
  SYS_Point ll_;
  SYS_Point ur_;
};

/// A straight segment from start to end.
class BRIX_API SYS_Segment {
 public:
  SYS_Segment() = default;
  SYS_Segment(const SYS_Point& start, const SYS_Point& end) : start_(start), end_(end) {}
  SYS_Segment(long x1, long y1, long x2, long y2) : start_(x1, y1), end_(x2, y2) {}

  void Set(const SYS_Point& start, const SYS_Point& end) { start_ = start, end_ = end; }
  void Set(long x1, long y1, long x2, long y2) { start_.Set(x1, y1), end_.Set(x2, y2); }
  const SYS_Point& GetStart() const { return start_; }
  const SYS_Point& GetEnd() const { return end_; }
  void SetStart(const SYS_Point& p) { start_ = p; }
  void SetStart(long x, long y) { start_.Set(x, y); }
  void SetEnd(const SYS_Point& p) { end_ = p; }
  void SetEnd(long x, long y) { end_.Set(x, y); }
  void Initiate() { start_.Initiate(), end_.Initiate(); }
  /// 0 gives the start, any other index the end.
  const SYS_Point& operator[](int i) const { return i == 0 ? start_ : end_; }

  long GetDX() const { return (end_ - start_).GetX(); }
  long GetDY() const { return (end_ - start_).GetY(); }

  SYS_Segment operator+(const SYS_Point& d) const { return {start_ + d, end_ + d}; }
  SYS_Segment operator-(const SYS_Point& d) const { return {start_ - d, end_ - d}; }
  /// Adds d to all four coordinates.
  SYS_Segment operator+(long d) const { return {start_ + d, end_ + d}; }
  SYS_Segment operator-(long d) const { return {start_ - d, end_ - d}; }
  SYS_Segment& operator+=(const SYS_Point& d) { return *this = *this + d; }
  SYS_Segment& operator-=(const SYS_Point& d) { return *this = *this - d; }
  SYS_Segment& operator+=(long d) { return *this = *this + d; }
  SYS_Segment& operator-=(long d) { return *this = *this - d; }
  bool operator==(const SYS_Segment& s) const { return start_ == s.start_ && end_ == s.end_; }
  bool operator!=(const SYS_Segment& s) const { return !(*this == s); }

  /// The ordered box of the two ends.
  SYS_Box GetBox() const {
    SYS_Box b(start_, end_);
    b.Normalize();
    return b;
  }
  /// Length refined by one Newton step, like SYS_Point::GetPolarRadius.
  double GetLength() const { return (end_ - start_).GetPolarRadius(); }
  /// Passes both ends through `t`.
  void Transform(const SYS_Transform& t);
  int IsValid() const { return 1; }

 private:
  SYS_Point start_;
  SYS_Point end_;
};

/// A circle given by centre and radius.
class BRIX_API SYS_Circle {
 public:
  SYS_Circle() = default;
  SYS_Circle(const SYS_Point& center, long radius)
      : center_(center), radius_(static_cast<std::int32_t>(radius)) {}
  SYS_Circle(long x, long y, long r) : SYS_Circle(SYS_Point(x, y), r) {}

  const SYS_Point& GetCenter() const { return center_; }
  long GetRadius() const { return radius_; }
  void SetCenter(const SYS_Point& c) { center_ = c; }
  void SetCenter(long x, long y) { center_.Set(x, y); }
  void SetRadius(long r) { radius_ = static_cast<std::int32_t>(r); }
  void Set(const SYS_Point& c, long r) { SetCenter(c), SetRadius(r); }
  void Set(long x, long y, long r) { SetCenter(x, y), SetRadius(r); }
  void Initiate() { center_.Initiate(), radius_ = 0; }

  bool operator==(const SYS_Circle& c) const {
    return radius_ == c.radius_ && center_ == c.center_;
  }
  bool operator!=(const SYS_Circle& c) const { return !(*this == c); }

  /// (cx - r, cy - r, cx + r, cy + r), not reordered for a negative radius.
  SYS_Box GetBox() const { return SYS_Box(center_ - radius_, center_ + radius_); }
  /// -1066799999 <= radius < 1066800000.
  int IsValid() const { return radius_ >= -(SYS_CoordLimit - 1) && radius_ < SYS_CoordLimit; }
  /// Moves the centre only: the radius is kept even when `t` scales (intended; lengths are
  /// converted separately with SYS_Transform::Convert(long&)).
  void Transform(const SYS_Transform& t);

 private:
  SYS_Point center_;
  std::int32_t radius_ = 0;
};

/// A circular arc from start to end about center. The sign of the radius is the direction:
/// positive runs counter-clockwise (increasing angle), negative clockwise.
class BRIX_API SYS_Arc {
 public:
  SYS_Arc() = default;
  SYS_Arc(const SYS_Point& start, const SYS_Point& end, const SYS_Point& center, long radius)
      : start_(start), end_(end), center_(center), radius_(static_cast<std::int32_t>(radius)) {}

  void Set(const SYS_Point& start, const SYS_Point& end, const SYS_Point& center, long radius) {
    *this = SYS_Arc(start, end, center, radius);
  }
  const SYS_Point& GetStart() const { return start_; }
  const SYS_Point& GetEnd() const { return end_; }
  const SYS_Point& GetCenter() const { return center_; }
  long GetRadius() const { return radius_; }
  void SetStart(const SYS_Point& p) { start_ = p; }
  void SetEnd(const SYS_Point& p) { end_ = p; }
  void SetCenter(const SYS_Point& p) { center_ = p; }
  void SetRadius(long r) { radius_ = static_cast<std::int32_t>(r); }
  void Initiate() { *this = SYS_Arc(); }

  bool operator==(const SYS_Arc& a) const {
    return start_ == a.start_ && end_ == a.end_ && center_ == a.center_ && radius_ == a.radius_;
  }
  bool operator!=(const SYS_Arc& a) const { return !(*this == a); }

  /// The radius lies in -1066799999 ... 1066799999.
  int IsValid() const { return radius_ >= -(SYS_CoordLimit - 1) && radius_ <= SYS_CoordLimit - 1; }
  /// Both ends lie on the circle to within one square unit (dx² + dy² - r², rounded).
  int IsValidArc() const;
  /// Polar angle of start - center in [0, SYS_FullTurn).
  long GetStartAngle() const { return (start_ - center_).GetPolarAngle(); }
  /// Polar angle of end - center in [0, SYS_FullTurn).
  long GetEndAngle() const { return (end_ - center_).GetPolarAngle(); }
  /// Swept angle, signed like the radius; coincident ends give 0, not a full turn.
  long GetSizeAngle() const;
  /// Arc length; positive in both directions.
  double GetLength() const;
  /// Finds the next leftmost (-1) or rightmost (+1) point strictly ahead of `from` along the
  /// arc, writes it to `out` and returns its side; returns 0 when the arc ends first.
  int GetXNearestExtrem(const SYS_Point& from, SYS_Point* out) const;
  /// As GetXNearestExtrem for the lowest (-1) and highest (+1) points.
  int GetYNearestExtrem(const SYS_Point& from, SYS_Point* out) const;
  /// The smallest box holding the arc: its ends and the axis extremes it passes.
  SYS_Box GetBox() const;
  /// Passes start, end and centre through `t`; the radius keeps its value and sign even
  /// under a mirror (intended: callers rely on the stored direction).
  void Transform(const SYS_Transform& t);

 private:
  int NearestExtrem(const SYS_Point& from, SYS_Point* out, std::int32_t lowAngle,
                    std::int32_t highAngle, bool yAxis) const;

  SYS_Point start_;
  SYS_Point end_;
  SYS_Point center_;
  std::int32_t radius_ = 0;
};

/// An origin with an orientation angle. The orientation is kept modulo a full turn with the
/// sign of the given angle: -90 degrees stays negative (intended).
class BRIX_API SYS_Location {
 public:
  SYS_Location() = default;
  SYS_Location(long x, long y, long orientation) : origin_(x, y) { SetOrientation(orientation); }
  SYS_Location(const SYS_Point& origin, long orientation) : origin_(origin) {
    SetOrientation(orientation);
  }

  const SYS_Point& GetOrigin() const { return origin_; }
  void SetOrigin(const SYS_Point& p) { origin_ = p; }
  void SetOrigin(long x, long y) { origin_.Set(x, y); }
  long GetOrientation() const { return orientation_; }
  void SetOrientation(long angle) {
    orientation_ = static_cast<std::int32_t>(angle) % SYS_FullTurn;
  }
  void Set(const SYS_Point& p, long angle) { SetOrigin(p), SetOrientation(angle); }
  void Set(long x, long y, long angle) { SetOrigin(x, y), SetOrientation(angle); }
  void Initiate() { origin_.Initiate(), orientation_ = 0; }

  bool operator==(const SYS_Location& l) const {
    return origin_ == l.origin_ && orientation_ == l.orientation_;
  }
  bool operator!=(const SYS_Location& l) const { return !(*this == l); }
  /// Origins added, orientations added modulo a full turn (sign of the sum kept).
  SYS_Location operator+(const SYS_Location& l) const {
    return SYS_Location(origin_ + l.origin_, sys_detail::Add(orientation_, l.orientation_));
  }
  SYS_Location& operator+=(const SYS_Location& l) { return *this = *this + l; }

  /// -647999999 <= orientation < 648000000.
  int IsValid() const { return orientation_ > -SYS_FullTurn && orientation_ < SYS_FullTurn; }
  /// Moves the origin through `t` and turns the orientation by t's orientation; a mirroring
  /// `t` reflects it to half a turn minus the angle, lifted into [0, full turn).
  void Transform(const SYS_Transform& t);
  /// Reverses the byte order of the origin's coordinates and of the orientation.
  void SwapBytes() {
    origin_.SwapBytes();
    orientation_ =
        static_cast<std::int32_t>(__builtin_bswap32(static_cast<std::uint32_t>(orientation_)));
  }

 protected:
  SYS_Point origin_;
  std::int32_t orientation_ = 0;
};

/// A location with a mirror flag (always 0 or 1) behind it.
class BRIX_API SYS_Position : public SYS_Location {
 public:
  SYS_Position() = default;
  SYS_Position(const SYS_Location& l, int mirror) : SYS_Location(l) { SetMirror(mirror); }
  SYS_Position(const SYS_Point& origin, long orientation, int mirror)
      : SYS_Location(origin, orientation) {
    SetMirror(mirror);
  }
  SYS_Position(long x, long y, long orientation, int mirror) : SYS_Location(x, y, orientation) {
    SetMirror(mirror);
  }

  using SYS_Location::Set;
  void Set(const SYS_Point& origin, long orientation, int mirror) {
    SYS_Location::Set(origin, orientation);
    SetMirror(mirror);
  }
  void Set(long x, long y, long orientation, int mirror) {
    SYS_Location::Set(x, y, orientation);
    SetMirror(mirror);
  }
  int GetMirror() const { return mirror_; }
  /// Any non-zero value is stored as 1.
  void SetMirror(int mirror) { mirror_ = mirror != 0; }
  void Initiate() { SYS_Location::Initiate(), mirror_ = 0; }

  bool operator==(const SYS_Position& p) const {
    return SYS_Location::operator==(p) && mirror_ == p.mirror_;
  }
  bool operator!=(const SYS_Position& p) const { return !(*this == p); }
  /// As for locations, and the mirror flags combined by XOR.
  SYS_Position operator+(const SYS_Position& p) const {
    return SYS_Position(SYS_Location::operator+(p), mirror_ ^ p.mirror_);
  }
  SYS_Position& operator+=(const SYS_Position& p) { return *this = *this + p; }

  /// A valid orientation and a mirror flag of 0 or 1.
  int IsValid() const { return SYS_Location::IsValid() && (mirror_ == 0 || mirror_ == 1); }
  /// The location transform, then the flag inverted when `t` mirrors.
  void Transform(const SYS_Transform& t);

 private:
  std::int32_t mirror_ = 0;
};

static_assert(sizeof(SYS_Point) == 8, "points are two 32-bit coordinates");
static_assert(sizeof(SYS_Box) == 16, "boxes are four 32-bit coordinates");
static_assert(sizeof(SYS_Location) == 12 && sizeof(SYS_Position) == 16,
              "a position is a location with the mirror flag behind it");
