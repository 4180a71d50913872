// DAPolygonImage.cpp - the little-endian byte image of an outline.
#include <bit>
#include <cstdint>

#include "daregion.h"
#include "ui/daimage.h"

namespace {

using brix::daimage::DeclaredSize;
using brix::daimage::Get64;
using brix::daimage::GetInt;
using brix::daimage::Put32;
using brix::daimage::Put64;

constexpr std::int64_t kHeader = 20;
constexpr std::int64_t kEdgeBytes = 12;
constexpr std::int64_t kArcBytes = 24;

}  // namespace

int DAPolygon::GetImageLength() const {
  const std::int64_t length = kHeader + kEdgeBytes * edgeCount_ + kArcBytes * arcCount_;
  return length > INT32_MAX ? -1 : static_cast<int>(length);
}

int DAPolygon::CreateImage(char* out) const {
  const int length = GetImageLength();
  if (length < 0) return 0;
  char* p = Put32(out, static_cast<std::uint32_t>(length));
  p = Put32(p, static_cast<std::uint32_t>(flag_));
  p = Put32(p, static_cast<std::uint32_t>(width_));
  p = Put32(p, static_cast<std::uint32_t>(edgeCount_));
  p = Put32(p, static_cast<std::uint32_t>(arcCount_));
  for (int i = 0; i < edgeCount_; ++i) {
    p = Put32(p, static_cast<std::uint32_t>(edges_[i].x));
    p = Put32(p, static_cast<std::uint32_t>(edges_[i].y));
    p = Put32(p, static_cast<std::uint32_t>(edges_[i].arcIndex));
  }
  for (int i = 0; i < arcCount_; ++i) {
    p = Put32(p, static_cast<std::uint32_t>(arcs_[i].cx));
    p = Put32(p, static_cast<std::uint32_t>(arcs_[i].cy));
    p = Put64(p, std::bit_cast<std::uint64_t>(arcs_[i].start));
    p = Put64(p, std::bit_cast<std::uint64_t>(arcs_[i].end));
  }
  return static_cast<int>(p - out);
}

int DAPolygon::LoadImage0(const char* image, std::size_t size) {
  Clear();
  if (!image || size < kHeader) return 0;
  const std::int64_t length = GetInt(image);
  const std::int64_t edges = GetInt(image + 12), arcs = GetInt(image + 16);
  // The declared length must be exactly what the counts need, and must fit.
  if (edges < 0 || arcs < 0 || length != kHeader + kEdgeBytes * edges + kArcBytes * arcs ||
      static_cast<std::uint64_t>(length) > size)
    return 0;
  flag_ = static_cast<DAPolygonFlag>(GetInt(image + 4));
  width_ = GetInt(image + 8);
  ReallocateEdges(static_cast<int>(edges));
  ReallocateArcs(static_cast<int>(arcs));
  const char* p = image + kHeader;
  for (std::int64_t i = 0; i < edges; ++i, p += kEdgeBytes)
    edges_[i] = ArcPolyEdge(GetInt(p), GetInt(p + 4), GetInt(p + 8));
  for (std::int64_t i = 0; i < arcs; ++i, p += kArcBytes)
    arcs_[i] = ArcPolyArc(GetInt(p), GetInt(p + 4), std::bit_cast<double>(Get64(p + 8)),
                          std::bit_cast<double>(Get64(p + 16)));
  edgeCount_ = static_cast<int>(edges);
  arcCount_ = static_cast<int>(arcs);
  return static_cast<int>(length);
}

int DAPolygon::LoadImage0(const char* image) {
  if (!image) {
    Clear();
    return 0;
  }
  return LoadImage0(image, DeclaredSize(image, kHeader));
}
