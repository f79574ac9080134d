#include "stage/scene/path_measure.h"

#include <algorithm>
#include <cmath>

namespace orvandel::stage {
namespace {

constexpr int kAreaSteps = 16, kReachSteps = 64;  // of a segment

double At(double p0, double c1, double c2, double p3, double t) {
  const double u = 1 - t;
  return u * u * u * p0 + 3 * u * u * t * c1 + 3 * u * t * t * c2 + t * t * t * p3;
}

PointValue At(const Cubic& s, double t) {
  return {At(s.p0.x, s.c1.x, s.c2.x, s.p3.x, t), At(s.p0.y, s.c1.y, s.c2.y, s.p3.y, t)};
}

// Takes the points where one coordinate turns: where its derivative, a quadratic, is 0.
void TakeTurns(PathBox& box, const Cubic& s, double p0, double c1, double c2, double p3) {
  const double a = p3 - p0 + 3 * (c1 - c2), b = 2 * (p0 - 2 * c1 + c2), c = c1 - p0;
  const double root = std::sqrt(std::max(0.0, b * b - 4 * a * c));
  // Both forms of each root: one of them loses its digits where a or b is small.
  for (const double t : {(-b + root) / (2 * a), (-b - root) / (2 * a), 2 * c / (-b + root), 2 * c / (-b - root)}) {
    if (t > 0 && t < 1) box.Take(At(s, t));
  }
}

}  // namespace

void PathBox::Take(PointValue point) {
  left = empty ? point.x : std::min(left, point.x);
  right = empty ? point.x : std::max(right, point.x);
  top = empty ? point.y : std::min(top, point.y);
  bottom = empty ? point.y : std::max(bottom, point.y);
  empty = false;
}

void TakeInto(PathBox& box, const MaskPath& path) {
  for (const Cubic& s : path.segments) {
    box.Take(s.p0);
    box.Take(s.p3);
    TakeTurns(box, s, s.p0.x, s.c1.x, s.c2.x, s.p3.x);
    TakeTurns(box, s, s.p0.y, s.c1.y, s.c2.y, s.p3.y);
  }
}

double AreaOf(const MaskPath& path) {
  if (path.segments.empty()) return 0;
  const PointValue origin = path.segments.front().p0;
  PointValue before = origin;
  double doubled = 0;
  for (const Cubic& s : path.segments) {
    for (int i = 1; i <= kAreaSteps; ++i) {
      const PointValue here = At(s, static_cast<double>(i) / kAreaSteps);
      doubled += (before.x - origin.x) * (here.y - origin.y) - (here.x - origin.x) * (before.y - origin.y);
      before = here;
    }
  }
  return std::abs(doubled) / 2;
}

double ReachOf(const MaskPath& path, PointValue centre) {
  double farthest = 0;
  for (const Cubic& s : path.segments) {
    for (int i = 0; i <= kReachSteps; ++i) {
      const PointValue p = At(s, static_cast<double>(i) / kReachSteps);
      farthest = std::max(farthest, (p.x - centre.x) * (p.x - centre.x) + (p.y - centre.y) * (p.y - centre.y));
    }
  }
  return std::sqrt(farthest);
}

}  // namespace orvandel::stage
