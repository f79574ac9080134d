#include "effect/outline/polygon.h"

#include <cstdint>

#include "effect/base/elementary.h"

namespace orvandel {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;
constexpr float kDeepestStar = -0.999F;
// A thousand times the valid range, and at most a megabyte a wave.
constexpr std::int64_t kMostPoints = 131072;

// The order of the operations decides pixels: index times the full turn first, then the division.
double VertexAngle(std::int64_t index, std::int64_t count) {
  return static_cast<double>(index) * kTwoPi / static_cast<double>(static_cast<float>(count));
}

UnitPoint Rounded(double x, double y) { return {static_cast<float>(x), static_cast<float>(y)}; }

// Clears the shape and reserves its storage, so that a count beyond memory fails before any work is done.
void StartShape(UnitOutline& shape, std::int64_t pointCount) {
  shape.clear();
  if (pointCount > kMostPoints) throw AllocFailed::ForBytes(static_cast<std::uint64_t>(pointCount) * sizeof(UnitPoint));
  if (pointCount > 0) shape.reserve(static_cast<std::size_t>(pointCount));
}

}  // namespace

void BuildPolygonShape(Wave& wave) {
  const std::int64_t sides = static_cast<std::int32_t>(wave.sides);
  StartShape(wave.shape, sides);
  for (std::int64_t i = 0; i < sides; ++i) {
    const double angle = VertexAngle(i, sides);
    wave.shape.push_back(Rounded(Cosine(angle), Sine(angle)));
  }
}

void BuildStarShape(Wave& wave) {
  const std::int64_t sides = static_cast<std::int32_t>(wave.sides);
  const std::int64_t pointCount = 2 * sides;
  StartShape(wave.shape, pointCount);

  const double apothem = static_cast<float>(Cosine(kPi / static_cast<double>(sides)));
  // Written so that NaN counts as the limit as well.
  const float depth = wave.starDepth >= kDeepestStar ? wave.starDepth : kDeepestStar;
  const double innerRadius = depth + 1.0F;

  for (std::int64_t i = 0; i < pointCount; i += 2) {
    const double outer = VertexAngle(i, pointCount);
    const double inner = VertexAngle(i + 1, pointCount);
    wave.shape.push_back(Rounded(Cosine(outer), Sine(outer)));
    wave.shape.push_back(Rounded(Cosine(inner) * innerRadius * apothem, Sine(inner) * innerRadius * apothem));
  }
}

}  // namespace orvandel
