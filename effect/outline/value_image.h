// The value image of a contour: one channel of the source picture as 16-bit numbers, softened by a separable blur.
//
// A value pixel is 4 bytes: two unsigned 16-bit halves in the machine's byte order, both of them the value, so that
// words can be read and written as well. Values are 8 bits times 256, except hue and saturation (0..32767) and the hue
// of grey (65535). Whatever lies outside the source is 0.
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

// Where the values of one extraction are kept: in the output, which is cleared before anything is drawn, or, when the
// source does not fit into it, in storage of their own.
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

// ---- The blur (blur.cpp)

// Blurs the value image in place, rows before columns:
//   blurred[j] = (sum over m of kernel[m] * value[j - reach + m]) >> 10, reach = kernel.size() / 2,
// where values outside the image count as 0. Returns 0, or the host's code that stopped it; asks the host once a row
// and once a column. `portable`: without instructions that not every processor has, for tests; the values are the same.
std::int32_t BlurValueImage(const ContourJob& job, bool portable = false);
// How often an unstopped blur asks.
std::int64_t BlurQuestions(const ContourJob& job);

// Integer weights of a Gaussian exp(-4 d^2 / radius^2), 1024 times their share, each rounded down.
HeapVector<std::uint16_t> MakeBlurKernel(double radius, std::int64_t tapCount);

// The kernel that a radius asks for, without the taps at its ends that are 0. Always an odd count.
HeapVector<std::uint16_t> BlurKernelFor(double radius);

}  // namespace orvandel
