#include "effect/outline/value_image.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace orvandel {
namespace {

constexpr std::size_t kPixelBytes = 4;

// ---- Extraction

// c * a / 255 to the nearest whole number; fractions just below a half round up as well.
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
  const int flip = invert ? 255 : 0;  // 255 - c flips all bits of c
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
  static constexpr auto kExtractors = std::to_array<RowExtractor>(
      {ExtractRow<kIntensity>, ExtractRow<kRed>, ExtractRow<kGreen>, ExtractRow<kBlue>, ExtractRow<kAlpha>,
       ExtractRow<kHue>, ExtractRow<kLightness>, ExtractRow<kSaturation>, ExtractRow<kValue>});
  return channel >= 1 && channel <= kExtractors.size() ? kExtractors[channel - 1] : nullptr;
}

}  // namespace

ValueImage PrepareValueImage(const ImageBuffer& source, const EffectContext& context) {
  const ImageBuffer& output = context.outputView;
  ValueImage result;
  const bool outputHoldsIt = output.HasPixels() && source.width <= output.width && source.height <= output.height;
  if (source.data == nullptr || outputHoldsIt) {
    if (output.HasPixels()) result.view = output;
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
  result.view.rowBytes = static_cast<std::int32_t>(kPixelBytes * static_cast<std::uint64_t>(source.width));
  return result;
}

void ExtractValueChannel(const ContourJob& job) {
  const ImageBuffer& values = job.valueImage;
  const RowExtractor extractRow = ExtractorOf(job.valueChannel);
  const bool readable = job.source.data != nullptr && extractRow != nullptr;
  const std::int32_t width = std::min(job.source.width, values.width);
  const std::int32_t height = readable ? std::min(job.source.height, values.height) : 0;
  if (!values.HasPixels()) return;
  for (std::int32_t y = 0; y < values.height; ++y) {
    std::uint8_t* row = values.Row(y);
    const std::size_t filled = y < height ? static_cast<std::size_t>(width) : 0;
    if (filled > 0) extractRow(job.source.Row(y), filled, job.invertInput, row);
    std::memset(row + kPixelBytes * filled, 0, kPixelBytes * (static_cast<std::size_t>(values.width) - filled));
  }
}

}  // namespace orvandel
