// A kernel is symmetric and its weights are whole numbers: it is a pile of boxes, one for every distance at which the
// weight falls.
//
//     weight 3          #                 boxes: reach 0, weight 1
//            2        # # # # #                  reach 2, weight 1
//            1    # # # # # # # # #              reach 4, weight 1
//     distance    4   2   0   2   4
//
// With the running sums of a line, a box costs two sums whatever its width:
//
//     sum over |m| <= reach of value[j + m] = sums[j + reach + 1] - sums[j - reach]
//     with sums[k] = value[0] + .. + value[k - 1]
//
// The largest radius of the slider gives 79 weights but 11 boxes. Running sums wrap around at 2^32; a blurred sum lies
// below 2^26 (weights add up to at most 1024), so that the differences are exact all the same.

#include "effect/outline/blur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "effect/base/float_rules.h"
#include "effect/base/processor.h"

namespace orvandel {
namespace {

using Weights = HeapVector<std::uint16_t>;
using Sums = HeapVector<std::uint32_t>;

constexpr std::size_t kPixelBytes = 4;
constexpr std::size_t kBlock = 16;  // neighbouring outputs that are computed at once, in registers
constexpr std::size_t kStrip = 64;  // columns blurred together; their running sums stay in the cache
constexpr int kWeightBits = 10;
// From this radius on even the largest weight is below 1: the weights' sum is near 0.88 times the radius.
constexpr double kRadiusWithoutWeights = 2048;

// Boxes of one weight are added up before they are multiplied.
struct BoxGroup {
  std::uint32_t weight = 0;         // by which the kernel falls beyond each box
  HeapVector<std::size_t> reaches;  // samples to either side of the middle
};

struct BoxPile {
  HeapVector<BoxGroup> groups;
  std::size_t reach;  // of the kernel
};

void AddBox(std::uint32_t weight, std::size_t reach, BoxPile& pile) {
  const auto sameWeight = [weight](const BoxGroup& group) { return group.weight == weight; };
  auto group = std::find_if(pile.groups.begin(), pile.groups.end(), sameWeight);
  if (group == pile.groups.end()) group = pile.groups.insert(group, BoxGroup{weight, {}});
  group->reaches.push_back(reach);
}

BoxPile BoxesOf(const Weights& kernel) {
  BoxPile pile{{}, kernel.size() / 2};
  for (std::size_t distance = 0; distance <= pile.reach; ++distance) {
    const std::uint32_t weight = kernel[pile.reach + distance];
    const std::uint32_t beyond = distance < pile.reach ? kernel[pile.reach + distance + 1] : 0;
    if (weight != beyond) AddBox(weight - beyond, distance, pile);
  }
  return pile;
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------

// Writes `count` value pixels, both halves; whole blocks. `middle` is the running sum before the middle sample of the
// first; those of the following samples of a line lie `stride` apart.
[[gnu::always_inline]] inline void BlurBlocksHere(const std::uint32_t* middle, std::size_t stride, const BoxPile& pile,
                                                  std::size_t count, std::uint8_t* pixels) {
  for (; count > 0; count -= kBlock, middle += kBlock, pixels += kPixelBytes * kBlock) {
    std::array<std::uint32_t, kBlock> total{};
    for (const BoxGroup& group : pile.groups) {
      std::array<std::uint32_t, kBlock> part{};
      for (const std::size_t reach : group.reaches) {
        const std::uint32_t* const end = middle + (reach + 1) * stride;
        const std::uint32_t* const begin = middle - reach * stride;
        for (std::size_t i = 0; i < kBlock; ++i) part[i] += end[i] - begin[i];
      }
      for (std::size_t i = 0; i < kBlock; ++i) total[i] += part[i] * group.weight;
    }
    for (std::size_t i = 0; i < kBlock; ++i) total[i] = (total[i] >> kWeightBits) * 0x10001U;
    std::memcpy(pixels, total.data(), sizeof total);
  }
}

using BlockBlur = void (*)(const std::uint32_t* middle, std::size_t stride, const BoxPile& pile, std::size_t count,
                           std::uint8_t* pixels);

void BlurBlocks(const std::uint32_t* middle, std::size_t stride, const BoxPile& pile, std::size_t count,
                std::uint8_t* pixels) {
  BlurBlocksHere(middle, stride, pile, count, pixels);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void BlurBlocksAvx2(const std::uint32_t* middle, std::size_t stride, const BoxPile& pile,
                                            std::size_t count, std::uint8_t* pixels) {
  BlurBlocksHere(middle, stride, pile, count, pixels);
}
BlockBlur BestBlockBlur() { return WidestVectorSet() >= VectorSet::kAvx2 ? BlurBlocksAvx2 : BlurBlocks; }
#else
BlockBlur BestBlockBlur() { return BlurBlocks; }
#endif

// A line of `count` value pixels; the last block may reach beyond it and is written beside it.
void BlurLine(BlockBlur blur, const std::uint32_t* middle, std::size_t stride, const BoxPile& pile, std::size_t count,
              std::uint8_t* pixels) {
  const std::size_t whole = count / kBlock * kBlock;
  blur(middle, stride, pile, whole, pixels);
  if (whole == count) return;
  std::array<std::uint8_t, kPixelBytes * kBlock> last;
  blur(middle + whole, stride, pile, kBlock, last.data());
  std::memcpy(pixels + kPixelBytes * whole, last.data(), kPixelBytes * (count - whole));
}

// The value that both halves hold.
std::uint32_t ReadValue(const std::uint8_t* pixel) {
  std::uint32_t word;
  std::memcpy(&word, pixel, sizeof word);
  return word & 0xFFFFU;
}

// ---- Rows -----------------------------------------------------------------------------------------------------------

// From sums[first], which is 0 as all before it: after the row's end the last sum stays.
void SumRow(const std::uint8_t* pixels, std::size_t width, std::size_t first, Sums& sums) {
  std::uint32_t sum = 0;
  std::uint32_t* target = &sums[first + 1];
  for (std::size_t x = 0; x < width; ++x) {
    sum += ReadValue(pixels + kPixelBytes * x);
    *target++ = sum;
  }
  std::fill(target, sums.data() + sums.size(), sum);
}

std::int32_t BlurRows(const ContourJob& job, const BoxPile& pile, BlockBlur blur) {
  const ImageBuffer& image = job.valueImage;
  const std::size_t width = static_cast<std::size_t>(image.width);
  Sums sums(width + kBlock + 2 * pile.reach, 0);
  for (std::int32_t y = 0; y < image.height; ++y) {
    SumRow(image.Row(y), width, pile.reach, sums);
    BlurLine(blur, &sums[pile.reach], 1, pile, width, image.Row(y));
    if (const std::int32_t code = job.context->CheckAbort(); code != 0) return code;
  }
  return 0;
}

// ---- Columns --------------------------------------------------------------------------------------------------------

// One row of kStrip running sums for every place between two image rows, `reach` more at either end.
void SumColumns(const ImageBuffer& image, std::size_t first, std::size_t count, std::size_t reach, Sums& sums) {
  std::uint32_t* row = &sums[reach * kStrip];
  for (std::int32_t y = 0; y < image.height; ++y, row += kStrip) {
    const std::uint8_t* const pixels = image.Row(y) + kPixelBytes * first;
    for (std::size_t i = 0; i < count; ++i) row[kStrip + i] = row[i] + ReadValue(pixels + kPixelBytes * i);
  }
  for (std::size_t i = 0; i < reach; ++i, row += kStrip) std::memcpy(row + kStrip, row, kStrip * sizeof *row);
}

std::int32_t BlurColumns(const ContourJob& job, const BoxPile& pile, BlockBlur blur) {
  const ImageBuffer& image = job.valueImage;
  const std::size_t width = static_cast<std::size_t>(image.width);
  Sums sums((static_cast<std::size_t>(image.height) + 2 * pile.reach + 1) * kStrip, 0);
  for (std::size_t first = 0; first < width; first += kStrip) {
    const std::size_t count = std::min(kStrip, width - first);
    SumColumns(image, first, count, pile.reach, sums);
    const std::uint32_t* middle = &sums[pile.reach * kStrip];
    for (std::int32_t y = 0; y < image.height; ++y, middle += kStrip) {
      BlurLine(blur, middle, kStrip, pile, count, image.Row(y) + kPixelBytes * first);
    }
    for (std::size_t i = 0; i < count; ++i) {  // the host counts columns, not strips
      if (const std::int32_t code = job.context->CheckAbort(); code != 0) return code;
    }
  }
  return 0;
}

}  // namespace

HeapVector<std::uint16_t> MakeBlurKernel(double radius, std::int64_t tapCount) {
  const std::size_t count = static_cast<std::size_t>(std::max<std::int64_t>(tapCount, 0));
  const std::ptrdiff_t middle = static_cast<std::ptrdiff_t>(count / 2);
  HeapVector<double> shares(count);
  double sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const double d = static_cast<double>(static_cast<std::ptrdiff_t>(i) - middle);
    const double scaled = 2.0 * d / radius;
    shares[i] = Exponential(-(scaled * scaled));
    sum += shares[i];
  }
  Weights kernel(count);
  for (std::size_t i = 0; i < count; ++i) kernel[i] = TruncateTo<std::uint16_t>(shares[i] * 1024 / sum);
  return kernel;
}

HeapVector<std::uint16_t> BlurKernelFor(double radius) {
  Weights nothing(1, 0);
  if (!(std::abs(radius) < kRadiusWithoutWeights)) return nothing;
  const Weights kernel = MakeBlurKernel(radius, 2 * TruncateTo<std::int64_t>(std::ceil(2 * radius)) + 1);
  // The weights fall from the middle to either end alike.
  const auto first = std::find_if(kernel.begin(), kernel.end(), [](std::uint16_t weight) { return weight != 0; });
  if (first == kernel.end()) return nothing;
  return Weights(first, kernel.end() - (first - kernel.begin()));
}

std::int32_t BlurValueImage(const ContourJob& job, bool portable) {
  const double scaleX = RatioValue(job.context->inRecord->downsampleX);
  const double scaleY = RatioValue(job.context->inRecord->downsampleY);
  const double radiusX = scaleX * static_cast<double>(job.preBlur);
  if (!(radiusX > 0)) return 0;  // 0 or not a number
  const BlockBlur blur = portable ? BlurBlocks : BestBlockBlur();
  const BoxPile rowPile = BoxesOf(BlurKernelFor(radiusX));
  if (const std::int32_t code = BlurRows(job, rowPile, blur); code != 0) return code;
  if (scaleY == scaleX) return BlurColumns(job, rowPile, blur);
  return BlurColumns(job, BoxesOf(BlurKernelFor(scaleY * static_cast<double>(job.preBlur))), blur);
}

}  // namespace orvandel
