// transform_test.cpp - tests of SYS_Transform: setters, placement, conversions, composition.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "sysgeom.h"
#include "systransform.h"

namespace {

constexpr long kPosTol = 1;         // database units after rounding
constexpr double kCoefTol = 1e-12;  // matrix coefficients of unit-size maps
constexpr double kPi = std::numbers::pi;
const SYS_Point kOrigin(0, 0);

SYS_Transform Move(long dx, long dy) { SYS_Transform t; t.SetMove(dx, dy); return t; }
SYS_Transform Rotate(const SYS_Point& p, long a) { SYS_Transform t; t.SetRotate(p, a); return t; }
SYS_Transform Mirror(const SYS_Point& p, long a) { SYS_Transform t; t.SetMirror(p, a); return t; }
SYS_Transform Scale(const SYS_Point& p, double k) { SYS_Transform t; t.SetScale(p, k); return t; }

bool Near(const SYS_Point& a, const SYS_Point& b) { return std::labs(a.GetX() - b.GetX()) <= kPosTol && std::labs(a.GetY() - b.GetY()) <= kPosTol; }

TEST(TransformTest, SettersAndPlacementsMapPoints) {
  SYS_Transform dirRot, dirMirrorShort, dirMirrorY, dirMirrorDiag, fit, cs, csd;
  dirRot.SetRotate(kOrigin, 0.0, 3.0);          // normalised to a quarter turn
  dirMirrorShort.SetMirror(kOrigin, 0.0, 1.0);  // shorter than 2: the x axis (intended)
  dirMirrorY.SetMirror(kOrigin, 0.0, 3.0);
  dirMirrorDiag.SetMirror(SYS_Point(1, 1), 2.0, 2.0);
  fit.SetBoxConv(SYS_Point(0, 0), SYS_Point(100, 50), SYS_Box(0, 0, 1000, 1000));
  cs.SetCoordSys(SYS_Point(100, 100), 162000000);  // its x axis points up
  csd.SetCoordSys(SYS_Point(100, 100), 0.0, 1.0);  // hands (-v, -u) to SetRotate
  const SYS_Point q(110, 52);                      // (10, 2) from the pivot (100, 50)
  const struct { const char* name; SYS_Transform t; SYS_Point in, want; bool lossless = true; } cases[] = {
      {"move", Move(10, -20), SYS_Point(1, 2), SYS_Point(11, -18)},
      {"rotate about (100, 0)", Rotate(SYS_Point(100, 0), 162000000), SYS_Point(200, 0), SYS_Point(100, 100)},
      {"rotate half turn", Rotate(SYS_Point(5, 5), SYS_HalfTurn), SYS_Point(6, 5), SYS_Point(4, 5)},
      {"mirror across diagonal", Mirror(kOrigin, 81000000), SYS_Point(3, 4), SYS_Point(4, 3)},
      {"mirror across x = 10", Mirror(SYS_Point(10, 0), 162000000), SYS_Point(3, 4), SYS_Point(17, 4)},
      {"scale about (10, 10)", Scale(SYS_Point(10, 10), 2.0), SYS_Point(11, 9), SYS_Point(12, 8)},
      {"scale rounds half away", Scale(kOrigin, 0.5), SYS_Point(-3, 3), SYS_Point(-2, 2), false},
      {"direction rotate", dirRot, SYS_Point(10, 0), SYS_Point(0, 10)},
      {"short direction mirror", dirMirrorShort, SYS_Point(3, 4), SYS_Point(3, -4)},
      {"direction mirror", dirMirrorY, SYS_Point(3, 4), SYS_Point(-3, 4)},
      {"diagonal mirror", dirMirrorDiag, SYS_Point(0, 5), SYS_Point(5, 0)},
      {"box fit", fit, SYS_Point(100, 50), SYS_Point(1000, 750)},
      {"coordinate system", cs, SYS_Point(110, 100), SYS_Point(0, -10)},
      {"coordinate system by direction", csd, SYS_Point(110, 100), SYS_Point(-10, 0)},
      {"rotate then mirror", SYS_Transform(100, 50, 162000000, 1, 0, 0, 0), q, SYS_Point(98, 40)},
      {"mirror first", SYS_Transform(100, 50, 162000000, 1, 1, 0, 0), q, SYS_Point(102, 60)},
      {"no move in", SYS_Transform(100, 50, 162000000, 0, 0, 1, 0), q, SYS_Point(48, 160)},
      {"no move out", SYS_Transform(100, 50, 162000000, 0, 0, 0, 1), q, SYS_Point(-2, 10)},
      {"from a position", SYS_Transform(SYS_Position(SYS_Point(100, 50), 162000000, 1), 1, 0, 0), q, SYS_Point(102, 60)},
  };
  for (const auto& c : cases) {  // the same in place; unless lossy, the inverse brings `want` back
    SYS_Point p = c.in;
    c.t.Transform(&p);
    EXPECT_TRUE(c.t.Transform(c.in) == c.want && p == c.want && (!c.lossless || c.t - c.want == c.in)) << c.name;
  }
  EXPECT_EQ(Scale(kOrigin, 0.5).Transform(SYS_DoublePoint(-3, 3)), SYS_DoublePoint(-1.5, 1.5));
  EXPECT_TRUE(fit.GetScale() == 10.0 && cs.GetOrientation() == -162000000 && csd.GetOrientation() == SYS_HalfTurn);
  EXPECT_NEAR(dirRot.GetAngleOffset(), kPi / 2, kCoefTol);
  EXPECT_NEAR(dirMirrorY.GetAngleOffset(), kPi, kCoefTol);
  dirRot.SetRotate(kOrigin, 1e-5, 1e-5);  // too short: no rotation
  EXPECT_EQ(dirRot.Transform(SYS_Point(10, 7)), SYS_Point(10, 7));
  EXPECT_EQ(SYS_Transform(SYS_Position(SYS_Point(100, 50), 162000000, 1)).GetOrientation(), -162000000);  // mirrored

  EXPECT_TRUE(Mirror(kOrigin, 100).GetOrientation() == 200 && Mirror(kOrigin, 100).GetMirror());
  SYS_Transform keep = Scale(SYS_Point(4, 4), -2.0);  // a half turn
  EXPECT_TRUE(keep.GetOrientation() == SYS_HalfTurn && keep.GetAngleOffset() == kPi && keep.IsScale());
  keep.SetRotate(kOrigin, 5L), keep.SetMirror(kOrigin, 5L);
  EXPECT_EQ(keep.GetAngleOffset(), kPi);  // the radian offset survives rotate and mirror, not a move
  keep.SetMove(1.5, 2.5);
  EXPECT_EQ(keep.GetAngleOffset(), 0.0);
}

TEST(TransformTest, LengthAndAngleConversions) {
  const SYS_Transform s = Scale(kOrigin, 2.0);
  EXPECT_TRUE(s - 5L == 3 && s - -5L == -3);  // 2.5 and -2.5 round away from zero
  EXPECT_TRUE(Scale(kOrigin, -1.5) + 3L == -5 && Rotate(kOrigin, 1000) + 7L == 7);

  const SYS_Transform id;
  const SYS_Transform rotThenMirror = Rotate(SYS_Point(5, 5), 162000000) + Mirror(kOrigin, 0);
  const struct { const char* name; SYS_Transform t; long angle, sweep, wantAngle, wantSweep; } cases[] = {
      {"mirror negates", Mirror(kOrigin, 0), 162000000, 10, 486000000, -10},
      {"full turn kept", id, SYS_FullTurn, 0, SYS_FullTurn, 0},
      {"two turns fold to one", id, 2 * SYS_FullTurn, 0, SYS_FullTurn, 0},
      {"negative folds up", id, -1, 0, SYS_FullTurn - 1, 0},
      {"minus a full turn", id, -SYS_FullTurn, 0, 0, 0},
      {"rotation adds", Rotate(kOrigin, 600000000), 100000000, 5, 52000000, 5},
      {"sweep saturates", id, 0, 700000000, 0, SYS_FullTurn},
      {"negative sweep saturates positive", id, 0, -700000000, 0, SYS_FullTurn},
      {"sweep at a full turn", id, 0, -SYS_FullTurn, 0, -SYS_FullTurn},
      // Only the negation and the radian offset are used, not the -90 degree orientation.
      {"rotate then mirror", rotThenMirror, 100, 7, SYS_FullTurn - 100, -7},
  };
  for (const auto& c : cases) {
    long a = c.angle, sw = c.sweep;
    c.t.Convert(a, sw);
    EXPECT_EQ(a, c.wantAngle) << c.name;
    EXPECT_EQ(sw, c.wantSweep) << c.name;
  }
  // A mirror built from a direction carries a radian offset of pi that lands in angle units.
  SYS_Transform m;
  long a = 1000, sw = 0;
  m.SetMirror(kOrigin, 0.0, 3.0), m.Convert(a, sw);
  EXPECT_EQ(a, SYS_FullTurn - 1000 + 3);
  // Locations use the orientation field instead.
  SYS_Location loc(0, 0, 100);
  loc.Transform(rotThenMirror);
  EXPECT_EQ(loc.GetOrientation(), SYS_HalfTurn - (-162000000 + 100));
}

TEST(TransformTest, InverseSingularCases) {
  SYS_Transform out = Rotate(SYS_Point(1, 2), 77);
  const SYS_Transform zero = Scale(SYS_Point(5, 5), 0.0);
  EXPECT_EQ(zero.SetRConv(out), 0);
  EXPECT_TRUE(out == Move(0, 0) && zero.GetScale() == 0.0);  // the identity move; the determinant test comes first
  SYS_Transform r = Scale(kOrigin, 1e-7);  // det 1e-14: singular
  EXPECT_TRUE((r.RConv(), r) == SYS_Transform());
  SYS_Transform inv;
  EXPECT_EQ(Scale(SYS_Point(3, 3), 4.0).SetRConv(inv), 1);
  EXPECT_TRUE(inv.GetScale() == 0.25 && inv.Transform(SYS_Point(11, 7)) == SYS_Point(5, 4));
  SYS_Transform self = Rotate(SYS_Point(10, 0), 162000000);
  EXPECT_EQ(self.SetRConv(self), 1);  // the source may be the destination
  EXPECT_EQ(self.Transform(SYS_Point(10, 10)), SYS_Point(20, 0));

  SYS_Transform t = Rotate(kOrigin, 100) + Rotate(kOrigin, 200);
  t.SubConv(Rotate(kOrigin, 50));
  t = t - Mirror(kOrigin, 10);  // this, then the inverse of the mirror (itself)
  EXPECT_TRUE(t.GetOrientation() == -250 - 20 && t.GetAngleFactor() == -1.0 && t.GetSweepFactor() == -1.0 && t.GetMirror());
  t = t + Mirror(kOrigin, 0);
  EXPECT_TRUE(t.GetOrientation() == 270 && !t.GetMirror());  // two mirrors cancel
}

SYS_Transform RandomStep(std::mt19937& rng, bool rigid) {
  std::uniform_int_distribution<std::int32_t> coord(-1000000, 1000000), angle(-SYS_FullTurn + 1, SYS_FullTurn - 1);
  std::uniform_real_distribution<double> factor(0.25, 4.0);
  const SYS_Point p(coord(rng), coord(rng));
  switch (std::uniform_int_distribution<int>(0, rigid ? 2 : 3)(rng)) {
    case 0: return Move(coord(rng), coord(rng));
    case 1: return Rotate(p, angle(rng));
    case 2: return Mirror(p, angle(rng));
    default: return Scale(p, (rng() & 1 ? 1 : -1) * factor(rng));
  }
}

// Random chains: the composition maps like the steps one after another, and the inverse
// undoes it.
TEST(TransformTest, CompositionAndInverseOfRandomChains) {
  std::mt19937 rng(5);
  std::uniform_int_distribution<std::int32_t> coord(-1000000, 1000000);
  for (int round = 0; round < 2000; ++round) {
    const bool rigid = round % 2 == 0;
    std::vector<SYS_Transform> steps;
    SYS_Transform composed, sum;
    for (int i = 0; i < 1 + round % 4; ++i)
      steps.push_back(RandomStep(rng, rigid)), composed.AddConv(steps.back()), sum = sum + steps.back();
    EXPECT_TRUE(composed == sum);
    SYS_Transform inv;
    ASSERT_EQ(composed.SetRConv(inv), 1);
    const SYS_Transform back = composed + inv;
    const SYS_Transform alsoBack = composed - composed;  // NOLINT(misc-redundant-expression)
    for (int k = 0; k < 8; ++k) {
      const SYS_Point p(coord(rng), coord(rng));
      SYS_DoublePoint stepwise = p;
      for (const auto& s : steps) stepwise.Transform(s);
      ASSERT_TRUE(Near(composed.Transform(p), static_cast<SYS_Point>(stepwise))) << round;
      const SYS_DoublePoint d = inv.Transform(composed.Transform(static_cast<SYS_DoublePoint>(p)));
      ASSERT_TRUE(std::fabs(d.GetX() - p.GetX()) < 1e-6 && std::fabs(d.GetY() - p.GetY()) < 1e-6) << round;
      ASSERT_TRUE(Near(back.Transform(p), p) && Near(alsoBack.Transform(p), p)) << round;
      // Rigid maps keep unit size, so one rounding per way stays within a unit.
      ASSERT_TRUE(!rigid || Near(composed - composed.Transform(p), p)) << round;
    }
    EXPECT_TRUE(std::fabs(back.GetScale() - 1) < kCoefTol && std::fabs(back.GetAngleFactor() - 1) < kCoefTol);
    // The inverse negates the orientation even for a mirror, whose inverse is itself.
    EXPECT_TRUE(composed.GetMirror() || back.GetOrientation() == 0) << round;
  }
}

}  // namespace
