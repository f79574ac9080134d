// What a rendered picture shows, in numbers.
#pragma once

#include <cstdint>

#include "stage/picture/picture.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

struct PictureFacts {
  double coverage = 0;                                    // part of the pixels with any alpha, 0..1
  double meanAlpha = 0;                                   // of all pixels, 0..1
  std::int32_t left = 0, top = 0, right = 0, bottom = 0;  // of those pixels; right and bottom lie outside; all 0: none
  stage::ColorValue meanColor;                            // weighted with alpha
};
PictureFacts FactsOf(const stage::Picture& picture);

}  // namespace orvandel::cli
