// A frame as a film camera sees it: the mean of pictures at times while the shutter is open.
//
// The mean is taken of light: each sample's colour is made linear (the sRGB curve), weighted with its alpha, summed in
// whole numbers, divided by the sum of alphas and put back on the curve. A pixel whose visible samples all have one
// colour keeps exactly that colour, and one that does not change at all keeps all its values.
#pragma once

#include <cstdint>
#include <vector>

#include "stage/picture/picture16.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// The host times of the samples of the frame at a host time: that time + timeStep * (phase + shutter * i / samples) /
// 360 to the nearest unit, for i from 0, and never below 0. With one sample the frame's own time, whatever the phase.
std::vector<std::int32_t> SampleTimes(const MotionBlur& blur, const Timebase& time, std::int32_t hostTime);

class LightMean {
 public:
  LightMean(std::int32_t width, std::int32_t height);
  // `picture` has the size given.
  void Add(const Picture16& picture);
  // At least one picture has been added. Colour is zero where alpha is.
  Picture16 Result() const;

 private:
  struct Sum {
    std::uint32_t alpha = 0;      // of 0..65535 each
    std::uint64_t light[3] = {};  // alpha times light
    std::uint16_t first[3] = {};  // the first visible colour
    bool sameColor = true;        // of all visible samples
  };
  std::int32_t width_, height_;
  std::uint32_t pictures_ = 0;
  std::vector<Sum> sums_;
};

}  // namespace orvandel::stage
