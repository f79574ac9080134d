// The scene as data: what the scene file says, checked and resolved, before anything is rendered.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "stage/scene/timebase.h"

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

class AudioEnvelope;
class Expression;

// Numbers that follow a rule over time instead of keys; value_sources.h says what each gives. All are functions of time
// alone, so frames still come in any order. A plain number stands for itself.
struct RandomSource {
  std::uint64_t seed = 0;
  std::uint64_t stream = 0;  // differs between parameters that share a seed
  double min = 0, max = 0;
  Rational every{1, 30};  // seconds that a draw holds
  bool whole = false;     // every whole number from min to max equally often
};
struct AudioSource {
  std::shared_ptr<const AudioEnvelope> envelope;
  double atSilence = 0, atPeak = 0;
  Rational start;  // when the sound begins, in seconds of the scene
  std::filesystem::path file;
};
struct ExpressionSource {
  std::shared_ptr<const Expression> expression;
  std::string place;  // file and pointer, for complaints
};
using NumberSource = std::variant<double, RandomSource, AudioSource, ExpressionSource>;

// A value that another program holds (an editor's own keyframes), asked for whenever it is needed.
class LiveValue {
 public:
  virtual ~LiveValue() = default;
  // Of the parameter's own kind; numbers within its range.
  virtual Value At(std::int32_t hostTime, std::int32_t timeScale) const = 0;
};

// One parameter over time. No keys and no sources: the parameter's registered default. One key: constant.
struct Track {
  std::vector<Key> keys;                    // times strictly increasing
  std::vector<NumberSource> sources;        // instead of keys: one for a number, two for a point
  std::shared_ptr<const LiveValue> live{};  // instead of all else
  // For numbers: what the host changes in the values that keys and sources give.
  double factor = 1;                                    // 0..1; what keys, sources or the default give is times this
  double perLoop = 0;                                   // added for every time through the loop: an angle turns on
  std::shared_ptr<const std::vector<double>> byTick{};  // in place of keys and sources: a value for each tick since the
                                                        // effect's clock began

  bool IsDefault() const { return keys.empty() && sources.empty() && !live; }
  bool IsConstant() const { return keys.size() <= 1 && sources.empty() && perLoop == 0 && !byTick && !live; }
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
class MediaSource;
struct Media {
  std::string name;
  std::filesystem::path file;  // resolved against the scene's folder; a %0Nd pattern is a numbered sequence
  Rational start;              // subtracted from the scene's time: seconds of a film, pictures of a numbered sequence
  std::string place{};  // where the file is named, for complaints: scene file and pointer, or option; may be empty
  // In place of a file: pictures that another program has (stage/media/media_in.h).
  std::function<std::unique_ptr<MediaSource>()> open{};
};

// How an emitter's picture is laid over what the emitters before it made; composite.h has the formulas.
enum class Blend { kNormal, kAdd, kScreen, kMultiply };

// One instance of the effect.
struct Emitter {
  std::vector<Track> tracks;  // by host parameter index; element 0 unused
  Blend blend = Blend::kNormal;
  double opacity = 1;  // 0..1
};

// A frame as the mean of pictures between two times; motion_blur.h says which times. One sample: no blur.
struct MotionBlur {
  std::int32_t samples = 1;
  double shutter = 180;  // degrees: 360 is the time from one frame to the next
  double phase = 0;      // degrees from the frame's time to the shutter's opening
};

// A halo of light around what is bright; glow.h has the formulas.
struct Glow {
  double radius = 0;     // full-size layer pixels, how far it reaches
  double strength = 1;   // 1: the halo holds as much light as what glows
  double threshold = 0;  // stored value, 0..1, above which a pixel glows
};

// What stands behind the effects' picture: a colour, or a medium stretched to the scene's size, or nothing.
struct Backdrop {
  std::optional<std::uint32_t> color;  // 0xrrggbb
  std::optional<Media> medium;

  bool IsNothing() const { return !color && !medium; }
};

struct Scene {
  std::filesystem::path file;
  std::int32_t width = 0, height = 0;  // full-size layer pixels
  Timebase time;
  Rational pixelAspect{1, 1};     // reduced
  std::optional<Media> input;     // the effect's own layer; absent: transparent
  std::vector<Media> layers;      // in order of appearance
  std::vector<Mask> masks;        // in order of appearance; those without a name in the scene come last
  std::vector<Emitter> emitters;  // at least one; drawn in this order
  MotionBlur motionBlur;
  std::optional<Glow> glow;  // around the effects' picture
  Backdrop background;
  Blend blend = Blend::kNormal;    // how the effects' picture is laid over it
  bool linear = false;             // pictures are laid over one another in linear light, else in their stored values
  std::optional<Media> sound;      // that films carry; absent: the one that parameters follow, or the footage's
  bool silent = false;             // films carry none
  std::vector<std::string> notes;  // what the reader chose where the scene left a choice: a line each
};

}  // namespace orvandel::stage
