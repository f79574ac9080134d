// Decoded frames of the FFmpeg libraries as pictures: 8-bit straight alpha, bytes alpha, red, green, blue.
#pragma once

#include "stage/ffmpeg/ffmpeg_support.h"
#include "stage/picture/picture.h"
#include "stage/picture/picture16.h"

namespace orvandel::stage {

// Converts frames of one stream. Formats that store RGB, grey, palette or one-bit samples (8 and 16 bits) are copied by
// our own code, so that every machine gives the same bytes; the others (YUV, float, ...) go through the scaler in its
// bit-exact mode, with the frame's own matrix and range, without colour management.
class FrameConverter {
 public:
  // Throws std::runtime_error with the reason when the format cannot be converted.
  Picture Convert(const AVFrame& frame);

 private:
  Picture Scale(const AVFrame& frame);
  AvScaler scaler_;
};

}  // namespace orvandel::stage
