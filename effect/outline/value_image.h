// The value image of a contour: one channel of the source picture as 16-bit numbers, softened by a separable blur.
//
// A value pixel is 4 bytes: two unsigned 16-bit halves in the machine's byte order, both of them the value, so that
// a pixel can be read and written as one word. Values are 8 bits times 256, except hue and saturation (0..32767) and
// the hue of grey (65535). Whatever lies outside the source is 0.
#pragma once

#include <cstdint>

#include "effect/base/heap_containers.h"
#include "effect/host/effect_context.h"
#include "effect/host/image_buffer.h"

namespace orvandel {

enum ValueChannel : std::uint32_t {
  kIntensity = 1,
  kRed = 2,
  kGreen = 3,
  kBlue = 4,
  kAlpha = 5,
  kHue = 6,
  kLightness = 7,
  kSaturation = 8,
  kValue = 9
};

// The image that one extraction writes: the output, which is cleared before anything is drawn, or storage of its own
// when the source does not fit into the output.
struct ValueImage {
  ImageBuffer view;
  HeapVector<std::uint8_t> storage;  // empty while the output is used
};

// Throws AllocFailed with the byte count.
ValueImage PrepareValueImage(const ImageBuffer& source, const EffectContext& context);

// One contour extraction.
struct ContourJob {
  std::uint32_t valueChannel = kAlpha;
  float valueThreshold = 127;  // 0..255
  float preBlur = 0;           // full-resolution pixels
  float tolerance = 0.5F;      // pixels of the source
  bool invertInput = false;
  ImageBuffer source;
  ImageBuffer valueImage;
  EffectContext* context = nullptr;  // for the abort check and the downsampling
};

// Fills the value image from the source. A channel number that does not exist reads 0 everywhere.
void ExtractValueChannel(const ContourJob& job);

}  // namespace orvandel
