// One stroke as plain data, and the drawing call of the effect around it.
#pragma once

#include <cstdint>
#include <vector>

#include "effect/render/draw_wave.h"

namespace orvandel {

// Pixels with padding bytes behind every row.
class Picture {
 public:
  Picture(std::int32_t width, std::int32_t height, std::int32_t padding = 0, std::uint8_t filling = 0)
      : bytes_(static_cast<std::size_t>(height) * static_cast<std::size_t>(width * 4 + padding), filling),
        width_(width),
        height_(height),
        padding_(padding) {}

  ImageBuffer View() { return {bytes_.data(), width_, height_, width_ * 4 + padding_, padding_, 0, nullptr}; }
  OrvPixel& At(std::int64_t x, std::int64_t y) {
    return reinterpret_cast<OrvPixel*>(View().Row(static_cast<std::int32_t>(y)))[x];
  }
  std::vector<std::uint8_t>& Bytes() { return bytes_; }
  const std::vector<std::uint8_t>& Bytes() const { return bytes_; }
  std::int32_t Width() const { return width_; }
  std::int32_t Height() const { return height_; }
  bool operator==(const Picture& other) const { return bytes_ == other.bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::int32_t width_, height_, padding_;
};

struct StrokeCase {
  PlacedOutline points;  // relative to `origin`
  float width = 5;
  float opacity = 1;
  std::uint32_t profile = 1;
  std::uint32_t color = 0x20C080FF;
  std::int32_t quality = 1;
  bool reflection = false;
  std::int32_t layerWidth = 100, layerHeight = 100;
  FractionPoint origin;  // of the layer
  OrvRatio downsampleX{1, 1}, downsampleY{1, 1}, pixelAspect{1, 1};
  OrvPointI outputOrigin{0, 0};
  int stopAtReport = -1;                // the progress report, counted from 0, at which the host stops the work
  std::int32_t rowsBetweenReports = 1;  // a host that does not offer the service when 1
};

inline constexpr std::int32_t kStopCode = 77;

struct ProgressReport {
  std::int32_t done, total;
  bool operator==(const ProgressReport&) const = default;
};

struct StrokeOutcome {
  std::int32_t result = 0;
  std::int32_t aborted = 0;
  std::vector<ProgressReport> reports;
};

// A wave in mid-life whose drawing is the case's stroke.
Wave WaveOf(const StrokeCase& stroke);
// Draws the stroke onto the picture through DrawWave.
StrokeOutcome Draw(const StrokeCase& stroke, Picture& picture);
// Draws the wave at the front of the list; `stroke` supplies the call around it.
StrokeOutcome DrawFront(WaveList& list, const StrokeCase& stroke, Picture& picture);
// Draws all waves onto one canvas, as a frame does, until the host stops.
StrokeOutcome DrawAll(WaveList& list, const StrokeCase& stroke, Picture& picture);

}  // namespace orvandel
