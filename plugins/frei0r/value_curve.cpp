#include "plugins/frei0r/value_curve.h"

#include <algorithm>
#include <cmath>

namespace orvandel::frei0r {
namespace {

constexpr double kUnitsOfTheEffect = 65536;

// The effect's unit, where the value is one but for the noise of doubles.
double Steadied(double value) {
  const double units = value * kUnitsOfTheEffect, whole = std::floor(units + 0.5);
  return std::fabs(units - whole) < 1e-6 ? whole / kUnitsOfTheEffect : value;
}

}  // namespace

ValueCurve ValueCurve::BothWays(double middle, double high) {
  ValueCurve curve(0, middle, high);
  curve.bothWays_ = true;
  return curve;
}

double ValueCurve::Rising(double unit) const {
  if (unit == 0) return low_;
  if (unit == 0.5) return middle_;
  if (unit == 1) return high_;
  const double root = (high_ - low_) / (middle_ - low_) - 1;
  if (std::fabs(root - 1) < 1e-9) return Steadied(low_ + (high_ - low_) * unit);
  const double power = 2 * std::log(root);
  return Steadied(low_ + (high_ - low_) * (std::exp(power * unit) - 1) / (std::exp(power) - 1));
}

double ValueCurve::At(double unit) const {
  const double held = std::isnan(unit) ? 0.5 : std::clamp(unit, 0.0, 1.0);
  if (!bothWays_) return Rising(held);
  return held < 0.5 ? -Rising(1 - 2 * held) : Rising(2 * held - 1);
}

double ValueCurve::UnitOf(double value) const {
  double low = 0, high = 1;
  for (const double exact : {0.0, 0.5, 1.0}) {
    if (At(exact) == value) return exact;
  }
  for (int i = 0; i < 60; ++i) {
    const double half = (low + high) / 2;
    (At(half) < value ? low : high) = half;
  }
  return high;
}

}  // namespace orvandel::frei0r
