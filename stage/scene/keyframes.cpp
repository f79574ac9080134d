#include "stage/scene/keyframes.h"

#include <algorithm>

namespace orvandel::stage {
namespace {

constexpr double kMaxChannel = 255;
// More halvings than a double has bits, so that the last ones no longer move the result.
constexpr int kBisections = 64;

// One coordinate of the cubic from 0 to 1 with controls a and b.
double CurveAt(double a, double b, double s) {
  const double r = 1 - s;
  return 3 * r * r * s * a + 3 * r * s * s * b + s * s * s;
}

bool Holds(const ParamInfo& info) {
  switch (info.Type()) {
    case ORV_PARAM_INTEGER:
    case ORV_PARAM_FIXED:
    case ORV_PARAM_ANGLE:
    case ORV_PARAM_COLOR:
    case ORV_PARAM_POINT:
      return false;
    default:
      return true;
  }
}

double Mixed(double v0, double v1, double way) { return v0 + (v1 - v0) * way; }

double MixedChannel(double v0, double v1, double way) { return std::clamp(Mixed(v0, v1, way), 0.0, kMaxChannel); }

}  // namespace

double Eased(const Easing& easing, double fraction) {
  if (easing.kind == Interpolation::kHold) return 0;
  if (easing.kind == Interpolation::kLinear) return fraction;
  double low = 0, high = 1;
  for (int i = 0; i < kBisections; ++i) {
    const double middle = (low + high) / 2;
    (CurveAt(easing.x1, easing.x2, middle) < fraction ? low : high) = middle;
  }
  return CurveAt(easing.y1, easing.y2, (low + high) / 2);
}

Value ValueAt(const Track& track, const ParamInfo& info, double seconds) {
  const KeySpan span = SpanAt(track.keys, seconds);
  const Key& key = track.keys[span.key];
  if (span.fraction == 0 || key.easing.kind == Interpolation::kHold || Holds(info)) return key.value;
  const Value& next = track.keys[span.key + 1].value;
  const double way = Eased(key.easing, span.fraction);
  if (const auto* color = std::get_if<ColorValue>(&key.value)) {
    const auto& other = std::get<ColorValue>(next);
    return ColorValue{MixedChannel(color->red, other.red, way), MixedChannel(color->green, other.green, way),
                      MixedChannel(color->blue, other.blue, way)};
  }
  if (const auto* point = std::get_if<PointValue>(&key.value)) {
    const auto& other = std::get<PointValue>(next);
    return PointValue{Mixed(point->x, other.x, way), Mixed(point->y, other.y, way)};
  }
  const double mixed = Mixed(std::get<double>(key.value), std::get<double>(next), way);
  return std::clamp(mixed, info.ValidMin(), info.ValidMax());
}

}  // namespace orvandel::stage
