#include "stage/picture/picture_scale.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "stage/base/wide_code.h"

namespace orvandel::stage {
namespace {

std::array<std::uint8_t, 4> BlockAverage(const Picture& picture, std::int32_t left, std::int32_t top,
                                         std::int32_t right, std::int32_t bottom) {
  std::uint64_t alphaSum = 0;
  std::array<std::uint64_t, 3> colorSum{};
  for (std::int32_t y = top; y < bottom; ++y) {
    const std::uint8_t* pixel =
        picture.bytes.data() +
        (static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) + static_cast<std::size_t>(left)) * 4;
    for (std::int32_t x = left; x < right; ++x, pixel += 4) {
      alphaSum += pixel[0];
      for (std::size_t c = 0; c < 3; ++c) colorSum[c] += std::uint64_t{pixel[c + 1]} * pixel[0];
    }
  }
  if (alphaSum == 0) return {};
  const std::uint64_t count = static_cast<std::uint64_t>(right - left) * static_cast<std::uint64_t>(bottom - top);
  std::array<std::uint8_t, 4> result{static_cast<std::uint8_t>((2 * alphaSum + count) / (2 * count))};
  for (std::size_t c = 0; c < 3; ++c) {
    result[c + 1] = static_cast<std::uint8_t>((2 * colorSum[c] + alphaSum) / (2 * alphaSum));
  }
  return result;
}

// The source samples that one result sample is a weighted sum of.
struct Taps {
  std::int32_t first = 0;  // may lie before 0 and run beyond the end: positions are clamped
  std::vector<double> weights;
};

double CatmullRom(double distance) {
  const double d = std::abs(distance);
  if (d < 1) return (1.5 * d - 2.5) * d * d + 1;
  if (d < 2) return ((-0.5 * d + 2.5) * d - 4) * d + 2;
  return 0;
}

std::vector<Taps> MakeTaps(std::int32_t from, std::int32_t to) {
  const double step = static_cast<double>(from) / to;
  const double widening = std::max(step, 1.0);
  std::vector<Taps> taps(static_cast<std::size_t>(to));
  for (std::int32_t i = 0; i < to; ++i) {
    const double centre = (i + 0.5) * step - 0.5;
    Taps& tap = taps[static_cast<std::size_t>(i)];
    tap.first = static_cast<std::int32_t>(std::ceil(centre - 2 * widening));
    const auto last = static_cast<std::int32_t>(std::floor(centre + 2 * widening));
    double sum = 0;
    for (std::int32_t s = tap.first; s <= last; ++s) {
      tap.weights.push_back(CatmullRom((s - centre) / widening));
      sum += tap.weights.back();
    }
    for (double& weight : tap.weights) weight /= sum;
  }
  return taps;
}

// Four numbers a pixel: alpha, and colour times alpha, which may be averaged.
constexpr std::size_t kNumbers = 4;

ORVANDEL_WIDE_CODE void WeighPixels(const std::uint8_t* row, std::size_t pixels, double* weighted) {
  for (std::size_t i = 0; i < pixels; ++i) {
    const double alpha = row[4 * i];
    weighted[kNumbers * i] = alpha;
    for (std::size_t c = 1; c < kNumbers; ++c) weighted[kNumbers * i + c] = row[4 * i + c] * alpha;
  }
}

// `weighted`: `width` pixels.
ORVANDEL_WIDE_CODE void StretchRow(const double* weighted, std::int32_t width, const std::vector<Taps>& taps,
                                   double* result) {
  for (const Taps& tap : taps) {
    double sum[kNumbers] = {};
    std::int32_t x = tap.first;
    for (const double weight : tap.weights) {
      const double* const pixel = weighted + kNumbers * static_cast<std::size_t>(std::clamp(x++, 0, width - 1));
      for (std::size_t c = 0; c < kNumbers; ++c) sum[c] += weight * pixel[c];
    }
    for (std::size_t c = 0; c < kNumbers; ++c) result[c] = sum[c];
    result += kNumbers;
  }
}

ORVANDEL_WIDE_CODE void AddRow(const double* row, double weight, double* sums, std::size_t numbers) {
  for (std::size_t i = 0; i < numbers; ++i) sums[i] += weight * row[i];
}

std::uint8_t ByteOf(double value) {
  const double nearest = std::floor(value + 0.5);
  return static_cast<std::uint8_t>(static_cast<std::int32_t>(nearest < 0 ? 0 : nearest > 255 ? 255 : nearest));
}

ORVANDEL_WIDE_CODE void StorePixels(const double* sums, std::size_t pixels, std::uint8_t* out) {
  for (std::size_t i = 0; i < pixels; ++i, sums += kNumbers, out += 4) {
    out[0] = ByteOf(sums[0]);
    for (std::size_t c = 1; c < 4; ++c) out[c] = out[0] == 0 ? std::uint8_t{0} : ByteOf(sums[c] / sums[0]);
  }
}

}  // namespace

Picture AverageBlocks(const Picture& picture, std::int32_t factor) {
  if (factor == 1) return picture;
  Picture result(CellsOf(picture.width, factor), CellsOf(picture.height, factor));
  std::uint8_t* out = result.bytes.data();
  for (std::int32_t y = 0; y < result.height; ++y) {
    const std::int32_t top = y * factor;
    const std::int32_t bottom = std::min(picture.height - top, factor) + top;
    for (std::int32_t x = 0; x < result.width; ++x, out += 4) {
      const std::int32_t left = x * factor;
      const auto pixel = BlockAverage(picture, left, top, std::min(picture.width - left, factor) + left, bottom);
      std::copy(pixel.begin(), pixel.end(), out);
    }
  }
  return result;
}

// Rows are stretched once each as the window of the vertical sum moves down: a ring of stretched rows, by source row.
Picture StretchBicubic(const Picture& picture, std::int32_t width, std::int32_t height) {
  const std::vector<Taps> across = MakeTaps(picture.width, width);
  const std::vector<Taps> down = MakeTaps(picture.height, height);
  const std::size_t ringRows = std::max_element(down.begin(), down.end(), [](const Taps& a, const Taps& b) {
                                 return a.weights.size() < b.weights.size();
                               })->weights.size();
  const auto columns = static_cast<std::size_t>(width), sourceColumns = static_cast<std::size_t>(picture.width);
  std::vector<double> weighted(kNumbers * sourceColumns), ring(kNumbers * ringRows * columns);
  std::vector<std::int32_t> held(ringRows, -1);
  const auto stretchedRow = [&](std::int32_t y) {
    const std::size_t place = static_cast<std::size_t>(y) % ringRows;
    double* row = ring.data() + kNumbers * place * columns;
    if (held[place] != y) {
      WeighPixels(picture.bytes.data() + 4 * static_cast<std::size_t>(y) * sourceColumns, sourceColumns,
                  weighted.data());
      StretchRow(weighted.data(), picture.width, across, row);
      held[place] = y;
    }
    return row;
  };
  Picture result(width, height);
  std::vector<double> sums(kNumbers * columns);
  std::uint8_t* out = result.bytes.data();
  for (const Taps& tap : down) {
    std::fill(sums.begin(), sums.end(), 0.0);
    for (std::size_t i = 0; i < tap.weights.size(); ++i) {
      const std::int32_t y = std::clamp(tap.first + static_cast<std::int32_t>(i), 0, picture.height - 1);
      AddRow(stretchedRow(y), tap.weights[i], sums.data(), sums.size());
    }
    StorePixels(sums.data(), columns, out);
    out += 4 * columns;
  }
  return result;
}

}  // namespace orvandel::stage
