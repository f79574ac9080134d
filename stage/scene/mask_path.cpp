#include "stage/scene/mask_path.h"

#include <algorithm>
#include <cmath>

namespace orvandel::stage {
namespace {

PointValue Mixed(PointValue a, PointValue b, double way) { return {a.x + (b.x - a.x) * way, a.y + (b.y - a.y) * way}; }

double Bernstein(double p0, double c1, double c2, double p3, double t) {
  const double u = 1 - t;
  return u * u * u * p0 + 3 * u * u * t * c1 + 3 * u * t * t * c2 + t * t * t * p3;
}

}  // namespace

KeySpan MaskSpanAt(const Mask& mask, std::int32_t hostTime, std::int32_t timeScale) {
  if (mask.keys.size() == 1) return {0, 0};
  const KeySpan span = SpanAt(mask.keys, SecondsOf(hostTime, timeScale));
  if (mask.keys[span.key].easing.kind != Interpolation::kHold) return span;
  const KeySpan later = SpanAt(mask.keys, SecondsOf(hostTime + 1, timeScale));
  return {later.key, 0};
}

MaskPath PathOf(const Mask& mask, KeySpan span, const PixelMap& map) {
  MaskPath path = mask.keys[span.key].path;
  if (span.fraction != 0) {
    const std::vector<Cubic>& next = mask.keys[span.key + 1].path.segments;
    const double way = Eased(mask.keys[span.key].easing, span.fraction);
    for (std::size_t i = 0; i < path.segments.size(); ++i) {
      Cubic& segment = path.segments[i];
      segment.p0 = Mixed(segment.p0, next[i].p0, way);
      segment.c1 = Mixed(segment.c1, next[i].c1, way);
      segment.c2 = Mixed(segment.c2, next[i].c2, way);
      segment.p3 = Mixed(segment.p3, next[i].p3, way);
    }
  }
  for (Cubic& segment : path.segments) {
    for (PointValue* point : {&segment.p0, &segment.c1, &segment.c2, &segment.p3}) *point = map.Of(*point);
  }
  return path;
}

LengthQuery::LengthQuery(const Cubic& segment, std::int32_t resolution) {
  const auto steps = static_cast<std::size_t>(resolution);
  points_.reserve(steps + 1);
  lengths_.reserve(steps + 1);
  for (std::size_t i = 0; i <= steps; ++i) {
    const double t = static_cast<double>(i) / static_cast<double>(steps);
    points_.push_back({Bernstein(segment.p0.x, segment.c1.x, segment.c2.x, segment.p3.x, t),
                       Bernstein(segment.p0.y, segment.c1.y, segment.c2.y, segment.p3.y, t)});
    if (i == 0) {
      lengths_.push_back(0);
      continue;
    }
    const double dx = points_[i].x - points_[i - 1].x, dy = points_[i].y - points_[i - 1].y;
    lengths_.push_back(lengths_[i - 1] + std::sqrt(dx * dx + dy * dy));
  }
}

PointValue LengthQuery::PointAt(double distance) const {
  if (!(distance > 0)) return points_.front();
  // The first length at or beyond the distance ends a chord that has a length: the one before it is shorter.
  const auto end = std::lower_bound(lengths_.begin(), lengths_.end(), distance);
  if (end == lengths_.end()) return points_.back();
  const auto i = static_cast<std::size_t>(end - lengths_.begin());
  return Mixed(points_[i - 1], points_[i], (distance - lengths_[i - 1]) / (lengths_[i] - lengths_[i - 1]));
}

}  // namespace orvandel::stage
