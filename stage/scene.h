// The scene as data: what the scene file says, checked and resolved, before anything is rendered.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "stage/timebase.h"

namespace orvandel::stage {

struct PointValue {
  double x = 0, y = 0;  // full-size layer pixels
  bool operator==(const PointValue&) const = default;
};
struct ColorValue {
  double red = 0, green = 0, blue = 0;  // 0..255
  bool operator==(const ColorValue&) const = default;
};
// Numbers: integer and fixed sliders, angles (degrees). Choice: popups (1-based), checkboxes (0, 1), masks and layers
// (place among the scene's masks or layers, 1-based; 0: none).
struct Choice {
  std::int32_t index = 0;
  bool operator==(const Choice&) const = default;
};
using Value = std::variant<double, PointValue, ColorValue, Choice>;

enum class Interpolation { kLinear, kHold, kBezier };
struct Easing {
  Interpolation kind = Interpolation::kLinear;
  double x1 = 0, y1 = 0, x2 = 1, y2 = 1;  // control points of kBezier, as in CSS
};

struct Key {
  double time = 0;  // seconds
  Value value;
  Easing easing;  // from this key to the next
};

// One parameter over time. No keys: the parameter's registered default. One key: constant.
struct Track {
  std::vector<Key> keys;  // times strictly increasing
  bool IsConstant() const { return keys.size() <= 1; }
};

// One cubic segment in full-size layer pixels.
struct Cubic {
  PointValue p0, c1, c2, p3;
};
struct MaskPath {
  std::vector<Cubic> segments;
  bool closed = false;
};
struct MaskKey {
  double time = 0;
  MaskPath path;
  Easing easing;
};
struct Mask {
  std::string name;
  std::vector<MaskKey> keys;  // at least one; all with the same number of segments
};

struct Media {
  std::string name;
  std::filesystem::path file;  // resolved against the scene's folder; a %0Nd pattern is a numbered sequence
  Rational start;              // seconds into the medium's own time at scene time 0, subtracted from the scene's time
};

// One instance of the effect.
struct Emitter {
  std::vector<Track> tracks;  // by host parameter index; element 0 unused
};

struct Scene {
  std::filesystem::path file;
  std::int32_t width = 0, height = 0;  // full-size layer pixels
  Timebase time;
  Rational pixelAspect{1, 1};     // reduced
  std::optional<Media> input;     // the effect's own layer; absent: transparent
  std::vector<Media> layers;      // in order of appearance
  std::vector<Mask> masks;        // in order of appearance
  std::vector<Emitter> emitters;  // at least one
};

}  // namespace orvandel::stage
