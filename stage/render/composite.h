// Pictures laid over one another.
//
// The canvas begins transparent and holds colour times alpha in floats of 0..1. With cs, as the new picture's colour
// times alpha and its alpha, both times the opacity, and cb, ab the canvas's:
//   normal    c = cs + cb (1 - as)                        a = as + ab (1 - as)
//   add       c = min(1, cs + cb)                         a = min(1, as + ab)
//   screen    c = cs + cb - cs cb                         a = as + ab - as ab
//   multiply  c = cs (1 - ab) + cb (1 - as) + cs cb       a = as + ab - as ab
// The colours are the stored values, as the effect blends its own waves; on a linear canvas they are those of light.
#pragma once

#include <array>
#include <vector>

#include "stage/picture/picture16.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

class Compositor {
 public:
  Compositor(std::int32_t width, std::int32_t height, bool linear = false);
  // `picture` has the canvas's size.
  void Lay(const PictureRows& picture, Blend blend, double opacity);
  // To the nearest 16-bit values, all zero where alpha is.
  Picture16 Result() const;

 private:
  std::uint16_t WordOf(float color) const;

  std::int32_t width_, height_;
  bool linear_;
  std::array<float, 256> colors_{};  // what stored values stand for, 0..1
  std::vector<float> values_;        // alpha, then the three colours times alpha
};

}  // namespace orvandel::stage
