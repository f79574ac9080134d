#include "stage/scene/mask_path.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace orvandel::stage {
namespace {

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

class RandomCubics {
 public:
  Cubic Next() {
    Cubic cubic{Point(), Point(), Point(), Point()};
    switch (random_() % 5) {
      case 0:
        cubic.c1 = cubic.p0;
        break;
      case 1:
        cubic.c2 = cubic.p3 = cubic.c1;
        break;
      case 2:
        cubic.p3 = cubic.p0;
        break;
      default:
        break;
    }
    return cubic;
  }
  double Unit() { return std::uniform_real_distribution<double>(0, 1)(random_); }

 private:
  PointValue Point() { return {2000 * Unit() - 500, 2000 * Unit() - 500}; }
  std::mt19937 random_{5};
};

TEST(LengthQuery, AgreesWithWalkingTheChords) {
  RandomCubics cubics;
  for (int i = 0; i < 300; ++i) {
    const Cubic cubic = cubics.Next();
    const int resolution = i % 3 == 0 ? 1 + i : 500;
    const LengthQuery query(cubic, resolution);
    double length = 0;
    for (int k = 0; k < resolution; ++k) {
      length += Distance(ByDeCasteljau(cubic, static_cast<double>(k) / resolution),
                         ByDeCasteljau(cubic, static_cast<double>(k + 1) / resolution));
    }
    ASSERT_NEAR(query.Length(), length, 1e-8);
    for (int k = 0; k < 50; ++k) {
      const double distance = query.Length() * cubics.Unit();
      ASSERT_LT(Distance(query.PointAt(distance), ByWalking(cubic, resolution, distance)), 1e-7);
    }
    EXPECT_EQ(query.PointAt(0), cubic.p0);
    EXPECT_EQ(query.PointAt(query.Length() + 1), query.PointAt(query.Length() * 2));
    EXPECT_LT(Distance(query.PointAt(query.Length() + 1), cubic.p3), 1e-12);
  }
}

TEST(LengthQuery, ComesCloseToTheTrueLengthAndSurvivesPoints) {
  // A quarter of a circle of radius 100 to the usual cubic's own error, and a segment without extent.
  const double k = 100 * 0.5522847498307936;
  EXPECT_NEAR(LengthQuery({{100, 0}, {100, k}, {k, 100}, {0, 100}}, 500).Length(), 50 * M_PI, 0.03);
  const LengthQuery point({{7, 8}, {7, 8}, {7, 8}, {7, 8}}, 500);
  EXPECT_NEAR(point.Length(), 0, 1e-11);
  for (const double distance : {-1.0, 0.0, 1e-14, 1.0}) {
    EXPECT_LT(Distance(point.PointAt(distance), {7, 8}), 1e-12);
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
