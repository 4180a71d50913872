// DAPolygon.cpp - outline storage, circles and ovals, boxes, arc checks and transforms.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "daregion.h"
#include "ssmcheck.h"

namespace {

constexpr const char* kFile = "system/ui/DAPolygon";
constexpr int kSiteGetEdge = 10;
constexpr int kSiteGetArc = 11;
constexpr int kSiteInsert = 12;

constexpr std::int64_t kFullTurn = SYS_FullTurn;
constexpr double kQuarter = SYS_HalfTurn / 2.0;  // 162000000

// Capacity after growing from `cap` to hold `n`: max(cap + 5, n).
int GrownCapacity(int cap, int n) { return static_cast<int>(std::max<long long>(cap + 5LL, n)); }

template <class T>
void Regrow(std::unique_ptr<T[]>& data, int count, int& cap, int n) {
  if (n >= 0 && cap >= n) return;
  const int newCap = GrownCapacity(cap, n);
  std::unique_ptr<T[]> grown(new T[newCap]);
  std::copy(data.get(), data.get() + count, grown.get());
  data = std::move(grown);
  cap = newCap;
}

std::int32_t Clamp32(std::int64_t v) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(v, INT32_MIN, INT32_MAX));
}

// Repeated turns would otherwise carry the angles past the 32-bit range that IsOn (and
// with it GetBox) reads them in. Only whole turns are taken off the start, and the end
// keeps its distance, so the arc is the same; angles that are not finite stay as they are.
void BringIntoOneTurn(ArcPolyArc& a) {
  const double sweep = a.end - a.start;
  if (!std::isfinite(a.start) || !std::isfinite(sweep)) return;
  double start = std::fmod(a.start, static_cast<double>(kFullTurn));
  if (start < 0) start += kFullTurn;
  if (start >= kFullTurn) start = 0;  // a tiny negative remainder rounded up to a turn
  a.start = start;
  a.end = start + sweep;
}

}  // namespace

int ArcPolyArc::IsOn(double angle) const {
  const std::int64_t s0 = SYS_Truncate(start), e0 = SYS_Truncate(end);
  if (s0 == e0) return 0;
  const std::int64_t sweep = e0 > s0 ? e0 - s0 : s0 - e0;
  std::int64_t s = std::min(s0, e0) % kFullTurn;
  if (s < 0) s += kFullTurn;
  std::int64_t a = (static_cast<std::int64_t>(SYS_Truncate(angle)) - s) % kFullTurn;
  if (a < 0) a += kFullTurn;
  return a <= sweep;  // a is now the offset from s in [0, full turn)
}

DAPolygon::DAPolygon(const DAPolygon& other) { CopyFrom(other); }

DAPolygon& DAPolygon::operator=(const DAPolygon& other) {
  if (this != &other) CopyFrom(other);
  return *this;
}

DAPolygon::~DAPolygon() = default;

void DAPolygon::CopyFrom(const DAPolygon& other) {
  flag_ = other.flag_;
  width_ = other.width_;
  edgeCount_ = arcCount_ = 0;
  ReallocateEdges(other.edgeCount_);
  ReallocateArcs(other.arcCount_);
  std::copy(other.edges_.get(), other.edges_.get() + other.edgeCount_, edges_.get());
  std::copy(other.arcs_.get(), other.arcs_.get() + other.arcCount_, arcs_.get());
  edgeCount_ = other.edgeCount_;
  arcCount_ = other.arcCount_;
}

ArcPolyEdge* DAPolygon::GetEdge(int i) {
  return const_cast<ArcPolyEdge*>(static_cast<const DAPolygon*>(this)->GetEdge(i));
}

const ArcPolyEdge* DAPolygon::GetEdge(int i) const {
  const bool ok = i >= 0 && i < edgeCount_;
  SSM_CHECK(ok, kFile, kSiteGetEdge);
  return ok ? &edges_[i] : nullptr;
}

ArcPolyArc* DAPolygon::GetArc(int i) {
  return const_cast<ArcPolyArc*>(static_cast<const DAPolygon*>(this)->GetArc(i));
}

const ArcPolyArc* DAPolygon::GetArc(int i) const {
  const bool ok = i >= 0 && i < arcCount_;
  SSM_CHECK(ok, kFile, kSiteGetArc);
  return ok ? &arcs_[i] : nullptr;
}

const ArcPolyArc* DAPolygon::GetEdgeArc(int i) const {
  if (i < 0 || i >= edgeCount_) return nullptr;
  const std::int32_t a = edges_[i].arcIndex;
  return a >= 0 && a < arcCount_ ? &arcs_[a] : nullptr;
}

int DAPolygon::Add(const ArcPolyEdge& e, int arc) {
  ArcPolyEdge copy = e;  // e may live in our own array
  if (arc >= 0) copy.arcIndex = arc;
  // Doubling keeps long runs of Add linear; ReallocateEdges alone grows by 5.
  if (edgeCount_ == edgeCap_) ReallocateEdges(std::max(edgeCap_ * 2, edgeCount_ + 1));
  edges_[edgeCount_] = copy;
  return edgeCount_++;
}

int DAPolygon::Insert(int i, const ArcPolyEdge& e, int arc) {
  SSM_CHECK(i >= 0 && i <= edgeCount_, kFile, kSiteInsert);
  i = std::clamp(i, 0, edgeCount_);
  ArcPolyEdge copy = e;
  if (arc >= 0) copy.arcIndex = arc;
  const int old = edgeCount_;
  if (edgeCount_ == edgeCap_) ReallocateEdges(std::max(edgeCap_ * 2, edgeCount_ + 1));
  std::copy_backward(edges_.get() + i, edges_.get() + edgeCount_, edges_.get() + edgeCount_ + 1);
  edges_[i] = copy;
  ++edgeCount_;
  return old;
}

int DAPolygon::Add(const ArcPolyArc& a) {
  const ArcPolyArc copy = a;
  if (arcCount_ == arcCap_) ReallocateArcs(std::max(arcCap_ * 2, arcCount_ + 1));
  arcs_[arcCount_] = copy;
  return arcCount_++;
}

int DAPolygon::ReallocateEdges(int n) {
  Regrow(edges_, edgeCount_, edgeCap_, n);
  return 1;
}

int DAPolygon::ReallocateArcs(int n) {
  Regrow(arcs_, arcCount_, arcCap_, n);
  return 1;
}

void DAPolygon::Free() {
  edges_.reset();
  arcs_.reset();
  edgeCount_ = arcCount_ = edgeCap_ = arcCap_ = 0;
}

void DAPolygon::CreateCircle(int cx, int cy, int r) {
  Clear();
  const std::int32_t y = sys_detail::Sub(cy, r);
  Add(ArcPolyEdge(cx, y));
  Add(ArcPolyArc(cx, cy, -kQuarter, 3 * kQuarter));
  Add(ArcPolyEdge(cx, y, 0));
}

void DAPolygon::CreateOval(SYS_Box box) {
  box.Normalize();
  const std::int64_t left = box.GetLeft(), lower = box.GetLower();
  const std::int64_t right = box.GetRight(), upper = box.GetUpper();
  const std::int64_t w = right - left, h = upper - lower;
  Clear();
  if (w >= h) {
    // Horizontal: the right semicircle runs up from -90 degrees, the left one down from 90.
    const std::int64_t r = h / 2, cy = lower + r;
    const std::int32_t xl = Clamp32(left + r), xr = Clamp32(right - r);
    const std::int32_t yl = Clamp32(cy - r), yu = Clamp32(cy + r);
    Add(ArcPolyEdge(xl, yl));
    Add(ArcPolyEdge(xr, yl));
    Add(ArcPolyEdge(xr, yu, Add(ArcPolyArc(xr, Clamp32(cy), -kQuarter, kQuarter))));
    Add(ArcPolyEdge(xl, yu));
    Add(ArcPolyEdge(xl, yl, Add(ArcPolyArc(xl, Clamp32(cy), kQuarter, 3 * kQuarter))));
  } else {
    // Vertical: the same outline turned a quarter counter-clockwise.
    const std::int64_t r = w / 2, cx = left + r;
    const std::int32_t yl = Clamp32(lower + r), yu = Clamp32(upper - r);
    const std::int32_t xl = Clamp32(cx - r), xr = Clamp32(cx + r);
    Add(ArcPolyEdge(xr, yl));
    Add(ArcPolyEdge(xr, yu));
    Add(ArcPolyEdge(xl, yu, Add(ArcPolyArc(Clamp32(cx), yu, 0, 2 * kQuarter))));
    Add(ArcPolyEdge(xl, yl));
    Add(ArcPolyEdge(xr, yl, Add(ArcPolyArc(Clamp32(cx), yl, 2 * kQuarter, 4 * kQuarter))));
  }
}

int DAPolygon::IsCircle() const {
  return edgeCount_ == 2 && arcCount_ == 1 && arcs_[0].end - arcs_[0].start == SYS_FullTurn &&
         edges_[0].x == edges_[1].x && edges_[0].y == edges_[1].y;
}

int DAPolygon::IsOval() const {
  if (edgeCount_ != 5 || arcCount_ != 2) return 0;
  const ArcPolyArc &a = arcs_[0], &b = arcs_[1];
  const ArcPolyEdge* v = edges_.get();
  // The arcs must be the ones the vertices follow, and the outline closes on its start.
  if (v[0].arcIndex >= 0 || v[1].arcIndex >= 0 || v[2].arcIndex != 0 || v[3].arcIndex >= 0 ||
      v[4].arcIndex != 1 || v[4].x != v[0].x || v[4].y != v[0].y)
    return 0;
  // Along the centre line the vertices sit at mid -/+ half the centre distance in the
  // pattern (low, high, high, low); across it the long sides pair up about the centre.
  auto fits = [&](double ac, double bc, std::int32_t along0, std::int32_t along1,
                  std::int32_t along2, std::int32_t along3, std::int32_t across0,
                  std::int32_t across1, std::int32_t across2, std::int32_t across3,
                  double centreAcross) {
    const double mid = (ac + bc) / 2, half = std::fabs(ac - bc) / 2;
    const double lo = mid - half, hi = mid + half;
    return along0 == lo && along1 == hi && along2 == hi && along3 == lo && across0 == across1 &&
           across2 == across3 && static_cast<double>(across0) + across2 == 2 * centreAcross;
  };
  if (a.cy == b.cy && a.start == -kQuarter && a.end == kQuarter && b.start == kQuarter &&
      b.end == 3 * kQuarter)
    return fits(a.cx, b.cx, v[0].x, v[1].x, v[2].x, v[3].x, v[0].y, v[1].y, v[2].y, v[3].y, a.cy);
  if (a.cx == b.cx && a.start == 0 && a.end == 2 * kQuarter && b.start == 2 * kQuarter &&
      b.end == 4 * kQuarter)
    return fits(a.cy, b.cy, v[0].y, v[1].y, v[2].y, v[3].y, v[0].x, v[1].x, v[2].x, v[3].x, a.cx);
  return 0;
}

double DAPolygon::GetRadius(int i) const {
  const ArcPolyArc* arc = GetEdgeArc(i);
  if (!arc) return -1.0;
  const double dx = static_cast<double>(edges_[i].x) - arc->cx;
  const double dy = static_cast<double>(edges_[i].y) - arc->cy;
  return std::sqrt(dx * dx + dy * dy);
}

int DAPolygon::CheckArcs() {
  int result = 1;
  for (int i = 1; i < edgeCount_; ++i) {
    ArcPolyEdge& e = edges_[i];
    if (e.x != edges_[i - 1].x || e.y != edges_[i - 1].y) continue;
    // A repeated straight vertex fails too, although there is nothing to demote: intended.
    const double r = GetRadius(i);
    if (r <= 0 ||
        SYS_Round(std::fabs(arcs_[e.arcIndex].end - arcs_[e.arcIndex].start)) != SYS_FullTurn) {
      e.arcIndex = -1;
      result = 0;
    }
  }
  return result;
}

SYS_Box DAPolygon::GetBox() const {
  if (edgeCount_ == 0)
    return SYS_Box(SYS_CoordLimit, SYS_CoordLimit, -SYS_CoordLimit, -SYS_CoordLimit);
  std::int64_t left = edges_[0].x, right = left, lower = edges_[0].y, upper = lower;
  for (int i = 1; i < edgeCount_; ++i) {
    left = std::min<std::int64_t>(left, edges_[i].x);
    right = std::max<std::int64_t>(right, edges_[i].x);
    lower = std::min<std::int64_t>(lower, edges_[i].y);
    upper = std::max<std::int64_t>(upper, edges_[i].y);
  }
  for (int i = 0; i < edgeCount_; ++i) {
    const ArcPolyArc* arc = GetEdgeArc(i);
    if (!arc) continue;
    // Rounded in 64 bits: a radius between coordinates far beyond the limit exceeds 32.
    const std::int64_t r = std::llround(GetRadius(i));
    if (arc->IsOn(0)) right = std::max(right, arc->cx + r);
    if (arc->IsOn(kQuarter)) upper = std::max(upper, arc->cy + r);
    if (arc->IsOn(2 * kQuarter)) left = std::min(left, arc->cx - r);
    if (arc->IsOn(3 * kQuarter)) lower = std::min(lower, arc->cy - r);
  }
  return SYS_Box(Clamp32(left), Clamp32(lower), Clamp32(right), Clamp32(upper));
}

int DAPolygon::Transform(int dx, int dy, double angle, double sx, double sy) {
  if (angle != 0) {
    const double t = angle * std::numbers::pi / SYS_HalfTurn;
    const double c = std::cos(t), s = std::sin(t);
    auto rotate = [c, s](std::int32_t& x, std::int32_t& y) {
      const double px = x, py = y;
      x = SYS_Round(px * c - py * s);
      y = SYS_Round(py * c + px * s);
    };
    for (int i = 0; i < edgeCount_; ++i) rotate(edges_[i].x, edges_[i].y);
    for (int i = 0; i < arcCount_; ++i) {
      rotate(arcs_[i].cx, arcs_[i].cy);
      arcs_[i].start += angle;
      arcs_[i].end += angle;
    }
  }
  auto place = [=](std::int32_t& x, std::int32_t& y) {
    x = SYS_Round((static_cast<double>(x) + dx) * sx);
    y = SYS_Round((static_cast<double>(y) + dy) * sy);
  };
  // Unequal scaling would make ellipses; the edges become straight and the arc table stays
  // behind unreferenced (intended).
  const bool straighten = std::fabs(sx) != std::fabs(sy);
  for (int i = 0; i < edgeCount_; ++i) {
    place(edges_[i].x, edges_[i].y);
    if (straighten) edges_[i].arcIndex = -1;
  }
  const bool turned = angle != 0 || sx < 0 || sy < 0;
  for (int i = 0; i < arcCount_; ++i) {
    ArcPolyArc& a = arcs_[i];
    place(a.cx, a.cy);
    if (sx < 0) a.start = SYS_HalfTurn - a.start, a.end = SYS_HalfTurn - a.end;
    if (sy < 0) a.start = -a.start, a.end = -a.end;
    if (turned) BringIntoOneTurn(a);
  }
  return 1;
}
