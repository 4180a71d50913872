// DARegion.cpp - regions: ordered lists of outlines, their queries and their byte image.
#include <algorithm>
#include <cstdint>
#include <memory>

#include "daregion.h"
#include "ui/daimage.h"

namespace {

using brix::daimage::DeclaredSize;
using brix::daimage::GetInt;
using brix::daimage::Put32;

constexpr std::int64_t kRegionHeader = 8;
constexpr std::int64_t kSmallestPolygon = 20;

}  // namespace

DARegion::DARegion(const DARegion& other) { *this = other; }

DARegion& DARegion::operator=(const DARegion& other) {
  if (this == &other) return *this;
  Clear();
  for (const DARegionNode* n = other.list_.First(); n; n = n->GetNextNode())
    Append(new DARegionNode(n->polygon));
  return *this;
}

DARegion::~DARegion() { Clear(); }

void DARegion::Append(DARegionNode* node) {
  // AddTail walks the list; the cached tail makes building a long region linear.
  if (tail_)
    list_.InsertAfter(tail_, node);
  else
    list_.AddTail(node);
  tail_ = node;
  ++count_;
}

int DARegion::Add(const DAPolygon& p, DAPolygonFlag f) {
  auto node = std::make_unique<DARegionNode>(p);
  if (f != DAPolygonKeepFlag) node->polygon.SetFlag(f);
  Append(node.release());
  return 1;
}

DAPolygon* DARegion::GetFirstPolygon() const {
  DARegionNode* first = list_.First();
  return first ? &first->polygon : nullptr;
}

void DARegion::Clear() {
  list_.RemoveAllDelete();
  tail_ = nullptr;
  count_ = 0;
}

int DARegion::IsArcShaped() const {
  for (const DARegionNode* n = list_.First(); n; n = n->GetNextNode())
    if (n->polygon.GetArcCount() > 0) return 1;
  return 0;
}

int DARegion::IsComplex() const {
  for (const DARegionNode* n = list_.First(); n; n = n->GetNextNode())
    if (n->polygon.GetFlag() != DAPolygonPlain) return 1;
  return 0;
}

int DARegion::CheckArcs() {
  int result = 1;
  for (DARegionNode* n = list_.First(); n; n = n->GetNextNode())
    if (!n->polygon.CheckArcs()) result = 0;  // every polygon is checked, not just the first bad
  return result;
}

SYS_Box DARegion::GetBox() const {
  long left = SYS_CoordLimit, lower = SYS_CoordLimit;
  long right = -SYS_CoordLimit, upper = -SYS_CoordLimit;
  for (const DARegionNode* n = list_.First(); n; n = n->GetNextNode()) {
    const SYS_Box b = n->polygon.GetBox();
    left = std::min(left, b.GetLeft());
    lower = std::min(lower, b.GetLower());
    right = std::max(right, b.GetRight());
    upper = std::max(upper, b.GetUpper());
  }
  return SYS_Box(left, lower, right, upper);
}

int DARegion::Transform(int dx, int dy, double angle, double sx, double sy) {
  for (DARegionNode* n = list_.First(); n; n = n->GetNextNode())
    n->polygon.Transform(dx, dy, angle, sx, sy);
  return 1;
}

int DARegion::Approximate(const DARegion& src, int tolerance, int maxVertices, int convertCircle) {
  if (&src == this) {
    const DARegion copy(src);  // NOLINT(performance-unnecessary-copy-initialization): src is us
    return Approximate(copy, tolerance, maxVertices, convertCircle);
  }
  if (ApproximatedVertices(src, tolerance, maxVertices, convertCircle) >
      DAPolygon::kMaxApproximation)
    return 0;
  Clear();
  for (const DARegionNode* n = src.list_.First(); n; n = n->GetNextNode()) {
    auto node = std::make_unique<DARegionNode>();
    node->polygon.Approximate(n->polygon, tolerance, maxVertices, convertCircle);
    Append(node.release());
  }
  return 1;
}

std::int64_t DARegion::ApproximatedVertices(const DARegion& src, int tolerance, int maxVertices,
                                            int convertCircle) {
  std::int64_t total = 0;
  for (const DARegionNode* n = src.list_.First(); n; n = n->GetNextNode())
    if (n->polygon.ApproximatesArcs(convertCircle)) {
      total += n->polygon.CountApproximation(tolerance, maxVertices, convertCircle);
      if (total > DAPolygon::kMaxApproximation) break;  // enough to refuse
    }
  return total;
}

int DARegion::CanBeApproximated(int tolerance, int maxVertices, int convertCircle) const {
  for (const DARegionNode* n = list_.First(); n; n = n->GetNextNode())
    if (!n->polygon.CanBeApproximated(tolerance, maxVertices, convertCircle)) return 0;
  // Every polygon passing at the first tolerance is also what Approximate produces.
  if (ApproximatedVertices(*this, tolerance, 0, convertCircle) > DAPolygon::kMaxApproximation)
    return 0;
  return 1;
}

int DARegion::GetImageLength() const {
  std::int64_t length = kRegionHeader;
  for (const DARegionNode* n = list_.First(); n; n = n->GetNextNode()) {
    const int polygon = n->polygon.GetImageLength();
    if (polygon < 0) return -1;
    length += polygon;
    if (length > INT32_MAX) return -1;
  }
  return static_cast<int>(length);
}

int DARegion::CreateImage(char* out) const {
  const int length = GetImageLength();
  if (length < 0) return 0;
  char* p = Put32(out, static_cast<std::uint32_t>(length));
  p = Put32(p, static_cast<std::uint32_t>(count_));
  for (const DARegionNode* n = list_.First(); n; n = n->GetNextNode())
    p += n->polygon.CreateImage(p);
  return static_cast<int>(p - out);
}

int DARegion::LoadImage0(const char* image, std::size_t size) {
  Clear();
  if (!image || size < kRegionHeader) return 0;
  const std::int64_t length = GetInt(image), count = GetInt(image + 4);
  if (length < kRegionHeader || static_cast<std::uint64_t>(length) > size || count < 0 ||
      count > (length - kRegionHeader) / kSmallestPolygon)
    return 0;
  std::int64_t offset = kRegionHeader;
  for (std::int64_t i = 0; i < count; ++i) {
    auto node = std::make_unique<DARegionNode>();
    const int used = node->polygon.LoadImage0(image + offset, length - offset);
    if (used == 0) break;
    offset += used;
    Append(node.release());
  }
  // Every polygon must load and together they must fill the declared length exactly.
  if (count_ != count || offset != length) {
    Clear();
    return 0;
  }
  return static_cast<int>(length);
}

int DARegion::LoadImage0(const char* image) {
  if (!image) {
    Clear();
    return 0;
  }
  return LoadImage0(image, DeclaredSize(image, kRegionHeader));
}
