// Flashes that may harm people with photosensitive epilepsy, found in small pictures of a film.
//
// The rule is that of the accessibility guidelines: a general flash is a pair of opposing changes in relative luminance
// of 0.1 or more where the darker state is below 0.8; more than three of them within a second are too many, once they
// cover a quarter of a central field of view, which is about a 36th of a screen at arm's length. Pictures are judged
// over black, in a grid of cells; each cell's mean luminance is followed on its own. Saturated red is not looked at.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "stage/picture/picture.h"

namespace orvandel::cli {

class FlashCounter {
 public:
  // All pictures have one size; `framesPerSecond` of them make a second.
  explicit FlashCounter(double framesPerSecond) : framesPerSecond_(framesPerSecond) {}

  // Pictures in their order.
  void Add(const stage::Picture& picture);

  // The largest part of the picture, 0..1, in which a second held too many flashes, and the last frame of that second.
  double WorstArea() const { return worstArea_; }
  std::int32_t WorstFrame() const { return worstFrame_; }
  bool TooMany() const { return worstArea_ > kHarmlessArea; }

 private:
  static constexpr double kHarmlessArea = 1.0 / 36;

  struct Cell {
    double low = 0, high = 0;          // luminance since the last change
    int direction = 0;                 // of the last change: 1 brighter, -1 darker, 0 none yet
    std::deque<std::int32_t> changes;  // frames, within the last second
  };
  void Follow(Cell& cell, double luminance) const;

  double framesPerSecond_;
  std::int32_t frame_ = -1;
  std::vector<Cell> cells_;
  double worstArea_ = 0;
  std::int32_t worstFrame_ = 0;
};

}  // namespace orvandel::cli
