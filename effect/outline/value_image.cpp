#include "effect/outline/value_image.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "effect/base/float_rules.h"

namespace orvandel {
namespace {

constexpr std::size_t kPixelBytes = 4;

// ---- Extraction
// ------------------------------------------------------------------------------------------------------

// c * a / 255 to the nearest whole number; a hair below a half goes up as well.
int Premultiply(int c, int a) {
  const int t = c * a;
  return (t + 129 + (t >> 8)) >> 8;
}

// Premultiplied colours and alpha, 0..255, after inversion.
struct Channels {
  int alpha, red, green, blue;

  int Highest() const { return std::max({red, green, blue}); }
  int Lowest() const { return std::min({red, green, blue}); }
};

Channels ReadChannels(const std::uint8_t* pixel, bool invert) {
  const int alpha = pixel[0];
  const int flip = invert ? 255 : 0;  // 255 - c is c with all bits turned
  return {alpha ^ flip, Premultiply(pixel[1], alpha) ^ flip, Premultiply(pixel[2], alpha) ^ flip,
          Premultiply(pixel[3], alpha) ^ flip};
}

// The colour circle as 0..32767; 65535 where there is no hue. On ties red comes before green, green before blue.
int HueOf(const Channels& c) {
  const int highest = c.Highest();
  const int range = highest - c.Lowest();
  if (range == 0) return 65535;
  double sector;
  if (c.red == highest) {
    sector = static_cast<double>(c.green - c.blue) / range;
  } else if (c.green == highest) {
    sector = static_cast<double>(c.blue - c.red) / range + 2;
  } else {
    sector = static_cast<double>(c.red - c.green) / range + 4;
  }
  double degrees = 60 * sector;
  if (degrees < 0) degrees += 360;
  return static_cast<int>(static_cast<std::uint32_t>(static_cast<std::int64_t>(degrees * 32767)) / 360);
}

int SaturationOf(const Channels& c) {
  const int highest = c.Highest();
  const int lowest = c.Lowest();
  if (highest == lowest) return 0;
  const int sum = highest + lowest;
  return (highest - lowest) * 32767 / (sum <= 255 ? sum : 510 - sum);
}

template <std::uint32_t channel>
int ValueOf(const Channels& c) {
  if constexpr (channel == kIntensity) return (c.red + c.green + c.blue) * 256 / 3;
  if constexpr (channel == kRed) return c.red * 256;
  if constexpr (channel == kGreen) return c.green * 256;
  if constexpr (channel == kBlue) return c.blue * 256;
  if constexpr (channel == kAlpha) return c.alpha * 256;
  if constexpr (channel == kHue) return HueOf(c);
  if constexpr (channel == kLightness) return (c.Highest() + c.Lowest()) * 128;
  if constexpr (channel == kSaturation) return SaturationOf(c);
  if constexpr (channel == kValue) return c.Highest() * 256;
}

template <std::uint32_t channel>
void ExtractRow(const std::uint8_t* source, std::size_t count, bool invert, std::uint8_t* values) {
  for (std::size_t x = 0; x < count; ++x) {
    const std::uint16_t value =
        static_cast<std::uint16_t>(ValueOf<channel>(ReadChannels(source + kPixelBytes * x, invert)));
    const std::uint32_t bothHalves = value * 0x10001U;
    std::memcpy(values + kPixelBytes * x, &bothHalves, kPixelBytes);
  }
}

using RowExtractor = void (*)(const std::uint8_t* source, std::size_t count, bool invert, std::uint8_t* values);

RowExtractor ExtractorOf(std::uint32_t channel) {
  static constexpr std::array<RowExtractor, 9> kExtractors = {
      ExtractRow<kIntensity>, ExtractRow<kRed>,       ExtractRow<kGreen>,      ExtractRow<kBlue>, ExtractRow<kAlpha>,
      ExtractRow<kHue>,       ExtractRow<kLightness>, ExtractRow<kSaturation>, ExtractRow<kValue>};
  return channel >= 1 && channel <= kExtractors.size() ? kExtractors[channel - 1] : nullptr;
}

// ---- Blur
// ------------------------------------------------------------------------------------------------------------
//
// Both passes compute a block of neighbouring outputs at once, so that the inner loop runs over neighbouring samples:
// along a row for the first pass, across 64 columns for the second.

using Samples = HeapVector<std::uint16_t>;

constexpr std::size_t kBlock = 64;
constexpr int kWeightBits = 10;
// From this radius on even the largest weight is below 1: the weights' sum is near 0.88 times the radius.
constexpr double kRadiusWithoutWeights = 2048;

// result[i] for i < kBlock; the samples of tap m begin `tapStride` after those of tap m - 1.
void ConvolveBlock(const std::uint16_t* samples, std::size_t tapStride, const Samples& kernel, std::uint16_t* result) {
  std::array<std::uint32_t, kBlock> sums{};
  for (const std::uint16_t weight : kernel) {
    for (std::size_t i = 0; i < kBlock; ++i) sums[i] += static_cast<std::uint32_t>(weight) * samples[i];
    samples += tapStride;
  }
  for (std::size_t i = 0; i < kBlock; ++i) result[i] = static_cast<std::uint16_t>(sums[i] >> kWeightBits);
}

std::size_t RoundedUpToBlocks(std::size_t count) { return (count + kBlock - 1) / kBlock * kBlock; }

enum Half : std::size_t { kValueHalf = 0, kWorkHalf = 2 };  // byte offsets in a value pixel

void ReadHalves(const std::uint8_t* pixels, Half half, std::size_t count, std::uint16_t* samples) {
  for (std::size_t i = 0; i < count; ++i) std::memcpy(samples + i, pixels + kPixelBytes * i + half, sizeof *samples);
}

void WriteHalves(const std::uint16_t* samples, std::size_t count, std::uint8_t* pixels, Half half) {
  for (std::size_t i = 0; i < count; ++i) std::memcpy(pixels + kPixelBytes * i + half, samples + i, sizeof *samples);
}

// A line between margins of `reach` zeros, filled up to whole blocks.
Samples PaddedLine(std::size_t length, const Samples& kernel) {
  return Samples(RoundedUpToBlocks(length) + kernel.size(), 0);
}

void ConvolvePadded(const Samples& padded, const Samples& kernel, Samples& result) {
  for (std::size_t i = 0; i < result.size(); i += kBlock) ConvolveBlock(&padded[i], 1, kernel, &result[i]);
}

std::int32_t BlurRows(const ContourJob& job, const Samples& kernel) {
  const ImageBuffer& image = job.valueImage;
  const std::size_t width = static_cast<std::size_t>(image.width);
  Samples line = PaddedLine(width, kernel);
  Samples blurred(RoundedUpToBlocks(width));
  for (std::int32_t y = 0; y < image.height; ++y) {
    ReadHalves(image.Row(y), kValueHalf, width, line.data() + kernel.size() / 2);
    ConvolvePadded(line, kernel, blurred);
    WriteHalves(blurred.data(), width, image.Row(y), kWorkHalf);
    if (const std::int32_t code = job.context->CheckAbort(); code != 0) return code;
  }
  return 0;
}

// Blurs the columns first..first + count - 1. `strip` holds one block a row, between margins of `reach` rows of zeros.
void BlurStrip(const ImageBuffer& image, std::size_t first, std::size_t count, const Samples& kernel, Samples& strip) {
  const std::size_t reach = kernel.size() / 2;
  for (std::int32_t y = 0; y < image.height; ++y) {
    ReadHalves(image.Row(y) + kPixelBytes * first, kWorkHalf, count,
               &strip[(static_cast<std::size_t>(y) + reach) * kBlock]);
  }
  std::array<std::uint16_t, kBlock> blurred;
  for (std::int32_t y = 0; y < image.height; ++y) {
    ConvolveBlock(&strip[static_cast<std::size_t>(y) * kBlock], kBlock, kernel, blurred.data());
    WriteHalves(blurred.data(), count, image.Row(y) + kPixelBytes * first, kValueHalf);
  }
}

std::int32_t BlurColumns(const ContourJob& job, const Samples& kernel) {
  const ImageBuffer& image = job.valueImage;
  const std::size_t width = static_cast<std::size_t>(image.width);
  Samples strip((static_cast<std::size_t>(image.height) + kernel.size()) * kBlock, 0);
  for (std::size_t first = 0; first < width; first += kBlock) {
    const std::size_t count = std::min(kBlock, width - first);
    BlurStrip(image, first, count, kernel, strip);
    for (std::size_t i = 0; i < count; ++i) {  // the host counts columns, not strips
      if (const std::int32_t code = job.context->CheckAbort(); code != 0) return code;
    }
  }
  return 0;
}

// Not when the radius is 0 or no number.
bool HasBlur(const ContourJob& job) {
  return RatioValue(job.context->inRecord->downsampleX) * static_cast<double>(job.preBlur) > 0;
}

}  // namespace

ValueImage PrepareValueImage(const ImageBuffer& source, const EffectContext& context) {
  const ImageBuffer& output = context.outputView;
  ValueImage result;
  const bool fits = source.data == nullptr || (source.width <= output.width && source.height <= output.height);
  if (fits) {
    if (output.data != nullptr) result.view = output;
    return result;
  }
  constexpr std::uint64_t kLargest = 0x7FFFFFFF;
  const std::uint64_t bytes =
      static_cast<std::uint64_t>(source.width) * static_cast<std::uint64_t>(source.height) * kPixelBytes;
  if (bytes > kLargest) throw AllocFailed::ForBytes(bytes);
  result.storage.resize(static_cast<std::size_t>(bytes));
  result.view.data = result.storage.data();
  result.view.width = source.width;
  result.view.height = source.height;
  result.view.rowBytes = source.width * static_cast<std::int32_t>(kPixelBytes);
  return result;
}

void ExtractValueChannel(const ContourJob& job) {
  const ImageBuffer& values = job.valueImage;
  const RowExtractor extractRow = ExtractorOf(job.valueChannel);
  const bool readable = job.source.data != nullptr && extractRow != nullptr;
  const std::int32_t width = readable ? std::min(job.source.width, values.width) : 0;
  const std::int32_t height = readable ? std::min(job.source.height, values.height) : 0;
  for (std::int32_t y = 0; y < values.height; ++y) {
    std::uint8_t* row = values.Row(y);
    const std::size_t filled = y < height ? static_cast<std::size_t>(width) : 0;
    if (filled > 0) extractRow(job.source.Row(y), filled, job.invertInput, row);
    std::memset(row + kPixelBytes * filled, 0, kPixelBytes * (static_cast<std::size_t>(values.width) - filled));
  }
}

HeapVector<std::uint16_t> MakeBlurKernel(double radius, std::int64_t tapCount) {
  const std::size_t count = static_cast<std::size_t>(std::max<std::int64_t>(tapCount, 0));
  const std::ptrdiff_t middle = static_cast<std::ptrdiff_t>(count / 2);
  HeapVector<double> weights(count);
  double sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const double d = static_cast<double>(static_cast<std::ptrdiff_t>(i) - middle);
    const double scaled = 2.0 * d / radius;
    weights[i] = std::exp(-(scaled * scaled));
    sum += weights[i];
  }
  Samples kernel(count);
  for (std::size_t i = 0; i < count; ++i) kernel[i] = TruncateTo<std::uint16_t>(weights[i] * 1024 / sum);
  return kernel;
}

HeapVector<std::uint16_t> BlurKernelFor(double radius) {
  Samples nothing(1, 0);
  if (!(std::abs(radius) < kRadiusWithoutWeights)) return nothing;
  const Samples kernel = MakeBlurKernel(radius, 2 * TruncateTo<std::int64_t>(std::ceil(2 * radius)) + 1);
  // The weights fall from the middle to either end alike.
  const auto first = std::find_if(kernel.begin(), kernel.end(), [](std::uint16_t weight) { return weight != 0; });
  if (first == kernel.end()) return nothing;
  return Samples(first, kernel.end() - (first - kernel.begin()));
}

void ConvolveLine(const HeapVector<std::uint16_t>& line, const HeapVector<std::uint16_t>& kernel,
                  HeapVector<std::uint16_t>& result) {
  Samples padded = PaddedLine(line.size(), kernel);
  std::copy(line.begin(), line.end(), padded.begin() + static_cast<std::ptrdiff_t>(kernel.size() / 2));
  result.resize(RoundedUpToBlocks(line.size()));
  ConvolvePadded(padded, kernel, result);
  result.resize(line.size());
}

std::int64_t BlurQuestions(const ContourJob& job) {
  return HasBlur(job) ? std::int64_t{job.valueImage.height} + job.valueImage.width : 0;
}

std::int32_t BlurValueImage(const ContourJob& job) {
  const double scaleX = RatioValue(job.context->inRecord->downsampleX);
  const double scaleY = RatioValue(job.context->inRecord->downsampleY);
  const double radiusX = scaleX * static_cast<double>(job.preBlur);
  if (!HasBlur(job)) return 0;
  const Samples rowKernel = BlurKernelFor(radiusX);
  if (const std::int32_t code = BlurRows(job, rowKernel); code != 0) return code;
  if (scaleY == scaleX) return BlurColumns(job, rowKernel);
  return BlurColumns(job, BlurKernelFor(scaleY * static_cast<double>(job.preBlur)));
}

}  // namespace orvandel
