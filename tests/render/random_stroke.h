// Strokes and pictures drawn by lot, the same for the same seed: every kind of outline, quality, profile and placement
// that a host can ask for, with the odd ones more often than in life.
#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "stroke_case.h"

namespace orvandel {

class Dice {
 public:
  explicit Dice(std::uint32_t seed) : engine_(seed) {}
  std::int32_t Whole(std::int32_t low, std::int32_t high) {
    return low + static_cast<std::int32_t>(engine_() % static_cast<std::uint32_t>(high - low + 1));
  }
  float Real(float low, float high) { return low + (high - low) * static_cast<float>(engine_() % 65536) / 65535.0F; }
  bool OneIn(std::int32_t n) { return Whole(1, n) == 1; }

 private:
  std::mt19937 engine_;
};

StrokeCase RandomStroke(Dice& dice);

// Bytes of every kind, clear pixels among them, so that the blend's order shows; padding behind the rows.
Picture RandomPicture(Dice& dice);

std::string Describe(const StrokeCase& stroke);

}  // namespace orvandel
