// Polygons, stars and the thinning of polylines.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>

#include "effect/base/errors.h"
#include "effect/outline/polygon.h"
#include "effect/outline/simplify.h"
#include "effect/outline/unit_frame.h"

namespace orvandel {
namespace {

template <typename To, typename From>
concept Takes = requires(To to, From from) {
  to = from;
}
|| requires(To to, From from) { to == from; }
|| std::is_constructible_v<To, From>;

template <typename... Spaces>
constexpr bool NoneTakesAnother() {
  const auto takers = []<typename To>(To*) { return (Takes<To, Spaces> + ...); };
  return ((takers(static_cast<Spaces*>(nullptr)) == 1) && ...);  // itself
}
static_assert(NoneTakesAnother<FractionPoint, LayerPoint, PicturePoint, UnitPoint, PlacedPoint, SubsamplePoint,
                               Velocity<space::Fractions>, Velocity<space::Placed>>());
static_assert(NoneTakesAnother<PictureOutline, UnitOutline, PlacedOutline, SubsampleOutline>());
static_assert(std::is_invocable_v<decltype(Move<space::Placed>), PlacedPoint&, Velocity<space::Placed>, float>);
static_assert(!std::is_invocable_v<decltype(Move<space::Placed>), PlacedPoint&, Velocity<space::Fractions>, float>);

UnitOutline Shape(std::int32_t sides, bool star = false, float starDepth = 0) {
  Wave wave;
  wave.sides = static_cast<std::uint32_t>(sides);
  wave.starDepth = starDepth;
  wave.shape = {{9, 9}};  // what a build must leave nothing of
  star ? BuildStarShape(wave) : BuildPolygonShape(wave);
  return wave.shape;
}

TEST(Polygon, ValuesOutsideTheRanges) {
  constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
  for (const float depth : {-1.0F, -50.0F, std::nanf("")}) {
    EXPECT_EQ(Shape(5, true, depth), Shape(5, true, -0.999F));
  }
  for (const bool star : {false, true}) {
    for (const std::int32_t sides : {0, -1, kLeast}) EXPECT_TRUE(Shape(sides, star).empty());
    EXPECT_THROW(Shape(std::numeric_limits<std::int32_t>::max(), star), AllocFailed);
    const std::int32_t most = star ? 65536 : 131072;
    EXPECT_EQ(Shape(most, star).size(), 131072U);
    try {
      Shape(most + 1, star);
      ADD_FAILURE();
    } catch (const AllocFailed& failure) {
      EXPECT_EQ(failure.size, (star ? 131074 : 131073) * 8);
    }
  }
}

PictureOutline Thinned(const PictureOutline& source, float tolerance) {
  PictureOutline target;
  SimplifyPolyline(source, target, tolerance);
  return target;
}

// The same by whole triangles: exact for small whole numbers.
PictureOutline ThinnedPlainly(const PictureOutline& source, double tolerance) {
  PictureOutline kept;
  std::size_t anchor = 0;
  const auto x = [&](std::size_t i) { return static_cast<double>(source[i].x) - source[anchor].x; };
  const auto y = [&](std::size_t i) { return static_cast<double>(source[i].y) - source[anchor].y; };
  const auto squared = [&](std::size_t i) { return x(i) * x(i) + y(i) * y(i); };
  const auto keep = [&](std::size_t i) {
    kept.push_back(source[i]);
    anchor = i;
  };
  for (std::size_t i = 0; i < source.size(); ++i) {
    if (i == 0 || squared(i - 1) > squared(i)) keep(i == 0 ? 0 : i - 1);  // the line has turned back
    double area = 0;                                                      // twice that swept since the anchor
    for (std::size_t k = anchor; k < i; ++k) area += x(k) * y(k + 1) - y(k) * x(k + 1);
    if (area * area > squared(i) * tolerance * tolerance) keep(i);
  }
  return kept;
}

TEST(Simplify, EqualsTheTrianglesSwept) {
  std::mt19937 random(44);
  for (int round = 0; round < 5000; ++round) {
    PictureOutline source;
    const std::uint_fast32_t straight = 1 + random() % 6, count = random() % 40;
    PicturePoint at{0, 0}, step{0, 0};
    for (std::uint_fast32_t i = 0; i < count; ++i, at = {at.x + step.x, at.y + step.y}) {
      source.push_back(at);
      if (i % straight == 0) step = {static_cast<float>(random() % 5) - 2, static_cast<float>(random() % 5) - 2};
    }
    const float tolerance = static_cast<float>(random() % 9) / 4;
    ASSERT_EQ(Thinned(source, tolerance), ThinnedPlainly(source, static_cast<double>(tolerance))) << "round " << round;
  }
}

}  // namespace
}  // namespace orvandel
