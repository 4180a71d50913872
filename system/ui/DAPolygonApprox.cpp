// DAPolygonApprox.cpp - replacing the arcs of an outline by chords within a tolerance.
#include <cmath>
#include <cstdint>
#include <numbers>

#include "daregion.h"

namespace {

// Used when neither a tolerance nor a width is given: about 0.83 mil.
constexpr int kDefaultTolerance = 31800;
constexpr double kUnitsToRadians = std::numbers::pi / SYS_HalfTurn;

// The working tolerance of the first counting pass. A negative one (from a negative
// tolerance or width) would give no real chord angle, so it counts as the finest, 1.
double FirstTolerance(int tolerance, int width) {
  const int d = tolerance ? tolerance : (width / 2 ? width / 2 : kDefaultTolerance);
  return d > 0 ? d : 1;
}

// Chords for an arc of radius r sweeping `sweep` angle units: each chord's half angle phi
// keeps its sagitta r (1 - cos phi) within d / 2. Sets *shrinkable when a larger d would
// still lower the count.
int Chords(double sweep, double r, double d, int* shrinkable) {
  double c = 1 - (d / r) * 0.5;
  if (c > 0)
    *shrinkable = 1;
  else
    c = 0;
  const double n = sweep * kUnitsToRadians / (2 * std::acos(c));
  // Also catches NaN and infinite sweeps and a zero half angle.
  if (!(n < DAPolygon::kMaxChords - 1)) return DAPolygon::kMaxChords;
  return static_cast<int>(n) + 1;
}

}  // namespace

std::int64_t DAPolygon::CountChords(double d, int* shrinkable) const {
  *shrinkable = 0;
  std::int64_t total = 0;
  for (int i = 0; i < edgeCount_; ++i) {
    const ArcPolyArc* arc = GetEdgeArc(i);
    total += arc ? Chords(std::fabs(arc->end - arc->start), GetRadius(i), d, shrinkable) : 1;
  }
  return total;
}

bool DAPolygon::ApproximatesArcs(int convertCircle) const {
  return arcCount_ != 0 && (convertCircle || !IsCircle());
}

int DAPolygon::CanBeApproximated(int tolerance, int maxVertices, int convertCircle) const {
  if (!ApproximatesArcs(convertCircle)) return 1;
  int shrinkable;
  const std::int64_t count = CountChords(FirstTolerance(tolerance, width_), &shrinkable);
  if (maxVertices < 1) return count <= kMaxApproximation;
  return count < maxVertices;
}

std::int64_t DAPolygon::SettleTolerance(int maxVertices, double* d) const {
  int shrinkable;
  std::int64_t total = CountChords(*d, &shrinkable);
  const std::int64_t minimal = edgeCount_ + 2LL * arcCount_;
  // The count can only reach edges + 2 x arcs when every arc is a full circle at its
  // minimal three chords; partial arcs bottom out lower, so the loop also ends once no arc
  // can lose a chord.
  while (maxVertices >= 1 && total >= maxVertices && total != minimal && shrinkable) {
    *d *= 2;
    total = CountChords(*d, &shrinkable);
  }
  return total;
}

std::int64_t DAPolygon::CountApproximation(int tolerance, int maxVertices,
                                           int convertCircle) const {
  if (!ApproximatesArcs(convertCircle)) return edgeCount_;
  double d = FirstTolerance(tolerance, width_);
  return SettleTolerance(maxVertices, &d);
}

int DAPolygon::Approximate(const DAPolygon& src, int tolerance, int maxVertices,
                           int convertCircle) {
  if (!src.ApproximatesArcs(convertCircle)) {
    *this = src;
    return 1;
  }
  if (&src == this) {
    const DAPolygon copy(src);  // NOLINT(performance-unnecessary-copy-initialization): src is us
    return Approximate(copy, tolerance, maxVertices, convertCircle);
  }
  double d = FirstTolerance(tolerance, src.width_);
  const std::int64_t total = src.SettleTolerance(maxVertices, &d);
  // Arcs of absurd sweeps or radii (a few hundred bytes of image) would otherwise ask
  // for gigabytes.
  if (total > kMaxApproximation) return 0;
  flag_ = src.flag_;
  width_ = src.width_;
  edgeCount_ = arcCount_ = 0;
  ReallocateEdges(static_cast<int>(total));
  ArcPolyEdge* out = edges_.get();
  int shrinkable;
  for (int i = 0; i < src.edgeCount_; ++i) {
    const ArcPolyEdge& v = src.edges_[i];
    if (const ArcPolyArc* arc = src.GetEdgeArc(i)) {
      const double r = src.GetRadius(i);
      const int n = Chords(std::fabs(arc->end - arc->start), r, d, &shrinkable);
      const double step = (arc->end - arc->start) / n;
      for (int k = 1; k < n; ++k) {
        const double t = (arc->start + k * step) * kUnitsToRadians;
        *out++ =
            ArcPolyEdge(SYS_Round(arc->cx + r * std::cos(t)), SYS_Round(arc->cy + r * std::sin(t)));
      }
    }
    *out++ = ArcPolyEdge(v.x, v.y);
  }
  edgeCount_ = static_cast<int>(out - edges_.get());
  return 1;
}
