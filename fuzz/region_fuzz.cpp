// region_fuzz.cpp - feeds arbitrary bytes to the region image loader and exercises what loads.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "daregion.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A heap copy of exactly `size` bytes, so that any read past the end is caught.
  std::unique_ptr<char[]> buffer(new char[size ? size : 1]);
  if (size) std::memcpy(buffer.get(), data, size);

  DARegion region;
  const int used = region.LoadImage0(buffer.get(), size);
  if (used < 0 || static_cast<size_t>(used) > size) abort();
  if (used == 0) {
    if (region.GetPolygonNumber() != 0) abort();
    return 0;
  }

  // What loads must re-serialise to the same bytes, and load the same through the
  // length-less form.
  std::vector<char> image(region.GetImageLength());
  if (region.CreateImage(image.data()) != used || std::memcmp(image.data(), data, used) != 0)
    abort();
  DARegion trusting;
  if (trusting.LoadImage0(buffer.get()) != used) abort();

  // The queries must cope with whatever the image holds: dangling arc indices, angles that
  // are not finite, coordinates at the 32-bit limits.
  region.GetBox();
  region.IsComplex();
  region.IsArcShaped();
  region.CanBeApproximated(0, 64, 1);
  for (DARegionIterator it(region); const DAPolygon* p = it.GetNextPolygon();) {
    p->IsCircle();
    p->IsOval();
    for (int i = 0; i < p->GetEdgeCount(); ++i) p->GetRadius(i);
  }
  // Approximation may legitimately make a million chords of one wild arc; only regions
  // whose result stays small are approximated.
  if (region.CanBeApproximated(1000, 4096, 1)) {
    DARegion approx;
    approx.Approximate(region, 1000, 4096, 1);
  }
  DARegion copy = region;
  copy.CheckArcs();
  copy.Transform(17, -5, 54000000, -1.5, 1.5);
  copy.GetBox();
  return 0;
}
