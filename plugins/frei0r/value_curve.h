// From a host's 0..1 to a parameter's own range.
//
// With B = ((max - low) / (middle - low) - 1)^2 a value v stands for low + (max - low) * (B^v - 1) / (B - 1): low at 0,
// middle at a half, max at 1, and evenly spaced ratios where the range is wide. A range that goes as far below zero as
// above it is that from 0 on, both ways from a half. Results are cut to 1/65536 later, as a scene's
// numbers are, so that one beside such a unit by the noise of doubles is that unit.
#pragma once

namespace orvandel::frei0r {

class ValueCurve {
 public:
  ValueCurve() = default;
  // middle: what a half stands for, nearer to low than to high or half way between them.
  ValueCurve(double low, double middle, double high) : low_(low), middle_(middle), high_(high) {}
  // From -high to high; three quarters stand for `middle`.
  static ValueCurve BothWays(double middle, double high);

  // Values outside 0..1 are taken for the nearer end.
  double At(double unit) const;
  // The other way, for descriptions and defaults.
  double UnitOf(double value) const;

  double Low() const { return bothWays_ ? -high_ : low_; }
  double High() const { return high_; }

 private:
  double Rising(double unit) const;

  double low_ = 0, middle_ = 0.5, high_ = 1;
  bool bothWays_ = false;
};

}  // namespace orvandel::frei0r
