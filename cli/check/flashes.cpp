#include "cli/check/flashes.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "stage/picture/linear_light.h"

namespace orvandel::cli {
namespace {

constexpr double kChange = 0.1, kBrightEnough = 0.8;
constexpr std::size_t kMostChanges = 6;  // three pairs
constexpr std::int32_t kCellsAcross = 32;

// Relative luminance of a pixel over black, from its stored values times its alpha.
double LuminanceOf(const std::uint8_t* pixel) {
  static const auto table = [] {
    std::array<double, 256> values{};
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = stage::LinearLight(static_cast<double>(i) / 255);
    return values;
  }();
  const auto light = [&](int channel) {
    return table[static_cast<std::size_t>(pixel[channel] * pixel[0] + 127) / 255];
  };
  return 0.2126 * light(1) + 0.7152 * light(2) + 0.0722 * light(3);
}

struct Grid {
  std::int32_t side, columns, rows;
};
Grid GridOf(const stage::Picture& picture) {
  const std::int32_t side = std::max(1, std::max(picture.width, picture.height) / kCellsAcross);
  return {side, (picture.width + side - 1) / side, (picture.height + side - 1) / side};
}

std::vector<double> CellLuminances(const stage::Picture& picture, const Grid& grid) {
  const auto count = static_cast<std::size_t>(grid.columns) * static_cast<std::size_t>(grid.rows);
  std::vector<double> sums(count), sizes(count);
  const std::uint8_t* pixel = picture.bytes.data();
  for (std::int32_t y = 0; y < picture.height; ++y) {
    for (std::int32_t x = 0; x < picture.width; ++x, pixel += 4) {
      const std::int32_t number = y / grid.side * grid.columns + x / grid.side;
      const auto cell = static_cast<std::size_t>(number);
      sums[cell] += LuminanceOf(pixel);
      sizes[cell] += 1;
    }
  }
  for (std::size_t i = 0; i < count; ++i) sums[i] /= sizes[i];
  return sums;
}

}  // namespace

void FlashCounter::Follow(Cell& cell, double luminance) const {
  cell.low = std::min(cell.low, luminance);
  cell.high = std::max(cell.high, luminance);
  const bool brighter = cell.direction <= 0 && luminance - cell.low >= kChange && cell.low < kBrightEnough;
  const bool darker = cell.direction >= 0 && cell.high - luminance >= kChange && luminance < kBrightEnough;
  if (brighter || darker) {
    cell.direction = brighter ? 1 : -1;
    cell.low = cell.high = luminance;
    cell.changes.push_back(frame_);
  }
  while (!cell.changes.empty() && frame_ - cell.changes.front() >= framesPerSecond_) cell.changes.pop_front();
}

void FlashCounter::Add(const stage::Picture& picture) {
  ++frame_;
  const std::vector<double> luminances = CellLuminances(picture, GridOf(picture));
  if (cells_.empty()) {
    for (const double luminance : luminances) cells_.push_back({luminance, luminance, 0, {}});
  }
  std::size_t flashing = 0;
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    Follow(cells_[i], luminances[i]);
    if (cells_[i].changes.size() > kMostChanges) ++flashing;
  }
  const double area = static_cast<double>(flashing) / static_cast<double>(cells_.size());
  if (area <= worstArea_) return;
  worstArea_ = area;
  worstFrame_ = frame_;
}

}  // namespace orvandel::cli
