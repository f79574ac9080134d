#include "stage/scene/mask_path.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/dice.h"

namespace orvandel::stage {
namespace {

using test::Dice;

double Distance(PointValue a, PointValue b) { return std::hypot(a.x - b.x, a.y - b.y); }

// By repeated halfway points, which shares no formula with the query.
PointValue ByDeCasteljau(const Cubic& c, double t) {
  const auto mix = [t](PointValue a, PointValue b) { return PointValue{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; };
  const PointValue a = mix(c.p0, c.c1), b = mix(c.c1, c.c2), d = mix(c.c2, c.p3);
  return mix(mix(a, b), mix(b, d));
}

// The point at a distance, walking the chords one by one.
PointValue ByWalking(const Cubic& c, int resolution, double distance) {
  PointValue from = c.p0;
  for (int i = 1; i <= resolution; ++i) {
    const PointValue to = ByDeCasteljau(c, static_cast<double>(i) / resolution);
    const double chord = Distance(from, to);
    if (chord > 0 && chord >= distance) {
      return {from.x + (to.x - from.x) * distance / chord, from.y + (to.y - from.y) * distance / chord};
    }
    distance -= chord;
    from = to;
  }
  return c.p3;
}

// Some with equal points.
Cubic RandomCubic(Dice& dice) {
  const auto point = [&dice] { return PointValue{dice.Real(-500, 1500), dice.Real(-500, 1500)}; };
  Cubic cubic{point(), point(), point(), point()};
  const std::uint32_t kind = dice(5);
  if (kind == 0) cubic.c1 = cubic.p0;
  if (kind == 1) cubic.c2 = cubic.p3 = cubic.c1;
  if (kind == 2) cubic.p3 = cubic.p0;
  if (kind == 3 && dice.OneIn(8)) cubic.c1 = cubic.c2 = cubic.p3 = cubic.p0;
  return cubic;
}

TEST(LengthQuery, AgreesWithWalkingTheChords) {
  Dice dice(5);
  for (int i = 0; i < 300; ++i) {
    const Cubic cubic = RandomCubic(dice);
    const int resolution = i % 3 == 0 ? 1 + i : 500;
    const LengthQuery query(cubic, resolution);
    double length = 0;
    for (int k = 0; k < resolution; ++k) {
      length += Distance(ByDeCasteljau(cubic, static_cast<double>(k) / resolution),
                         ByDeCasteljau(cubic, static_cast<double>(k + 1) / resolution));
    }
    ASSERT_NEAR(query.Length(), length, 1e-8);
    for (int k = 0; k < 50; ++k) {
      const double distance = query.Length() * dice.Fraction();
      ASSERT_LT(Distance(query.PointAt(distance), ByWalking(cubic, resolution, distance)), 1e-7);
    }
    EXPECT_EQ(query.PointAt(0), cubic.p0);
    EXPECT_EQ(query.PointAt(query.Length() + 1), query.PointAt(query.Length() * 2));
    EXPECT_LT(Distance(query.PointAt(query.Length() + 1), cubic.p3), 1e-12);
  }
}

MaskPath LineAt(double y) { return {{{{0, y}, {1, y}, {2, y}, {3, y}}}, false}; }

TEST(MaskPath, MovesBetweenKeysAtTheTimeItselfAndHoldsOneUnitEarly) {
  const Easing hold{Interpolation::kHold, 0, 0, 1, 1};
  const Mask mask{"m", {{1, LineAt(0), {}}, {2, LineAt(300), hold}, {3, LineAt(900), {}}}};
  const auto y = [&](std::int32_t time, double factor = 1) {
    const MaskPath path = PathOf(mask, MaskSpanAt(mask, time, 30000), factor);
    for (const PointValue p : {path.segments[0].p0, path.segments[0].c1, path.segments[0].c2}) {
      EXPECT_EQ(p.y, path.segments[0].p3.y);
    }
    return path.segments[0].p3.y;
  };
  EXPECT_EQ(y(0), 0);
  EXPECT_EQ(y(45000), 150);
  EXPECT_EQ(y(45000, 0.5), 75);
  EXPECT_NEAR(y(59999), 299.99, 1e-9);
  EXPECT_EQ(y(60000), 300);
  EXPECT_EQ(y(89998), 300);
  EXPECT_EQ(y(89999), 900);
  EXPECT_EQ(y(1000000), 900);
}

}  // namespace
}  // namespace orvandel::stage
