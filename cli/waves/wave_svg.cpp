#include "cli/waves/wave_svg.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

#include "stage/reports/param_text.h"

namespace orvandel::cli {
namespace {

using Text = fmt::memory_buffer;

template <typename... Values>
void Add(Text& text, fmt::format_string<Values...> format, Values&&... values) {
  fmt::format_to(std::back_inserter(text), format, std::forward<Values>(values)...);
}

enum Profile { kSquare = 1, kTriangle, kSawtoothOut, kSawtoothIn, kGaussian, kBell, kSine };

// 0..1 at `u` across the band, from the outline (0) to its inner edge (1).
double ProfileAt(std::int32_t profile, double u) {
  const double x = 2 * u - 1;
  switch (profile) {
    case kSquare:
      return 1;
    case kTriangle:
      return 1 - std::fabs(x);
    case kSawtoothOut:
      return u;
    case kSawtoothIn:
      return 1 - u;
    case kGaussian:
      return std::exp(-4 * x * x);
    case kBell:
      return std::exp(-x * x);
    case kSine:
      return std::sin(u * std::numbers::pi);
    default:
      return 0;
  }
}

struct Box {
  double left = HUGE_VAL, top = HUGE_VAL, right = -HUGE_VAL, bottom = -HUGE_VAL;
};
Box BoxOf(const stage::ReportedWave& wave) {
  Box box;
  for (const OrvWavePoint& point : wave.outline) {
    const stage::PointValue at = wave.OnLayer(point);
    box = {std::min(box.left, at.x), std::min(box.top, at.y), std::max(box.right, at.x), std::max(box.bottom, at.y)};
  }
  return box;
}

class Writer {
 public:
  explicit Writer(const stage::Scene& scene) : scene_(scene) {
    Add(text_, "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\">\n",
        scene.width, scene.height);
  }

  void AddEffect(const SvgEffect& effect) {
    Add(text_, "<g style=\"mix-blend-mode:{}\" opacity=\"{}\">\n", BlendMode(effect.blend), effect.opacity);
    for (const stage::ReportedWave& wave : *effect.waves) {
      if (wave.outline.size() >= 3 && wave.wave.opacity > 0 && wave.wave.width > 0) AddWave(wave, effect.reflects);
    }
    Add(text_, "</g>\n");
  }

  std::string Finish() {
    Add(text_, "</svg>\n");
    return fmt::to_string(text_);
  }

 private:
  static const char* BlendMode(stage::Blend blend) {
    switch (blend) {
      case stage::Blend::kAdd:
        return "plus-lighter";
      case stage::Blend::kScreen:
        return "screen";
      case stage::Blend::kMultiply:
        return "multiply";
      default:
        return "normal";
    }
  }

  void AddWave(const stage::ReportedWave& wave, bool reflects) {
    const int number = ++count_;
    Add(text_, "<clipPath id=\"inside{0}\"><path id=\"outline{0}\" d=\"", number);
    char command = 'M';
    for (const OrvWavePoint& point : wave.outline) {
      Add(text_, "{}{} {}", command, point.x, point.y);
      command = 'L';
    }
    Add(text_, "Z\"/></clipPath>\n");
    const bool flat = wave.wave.profile == kSquare;
    if (!flat) AddMask(wave, number);
    Add(text_, "<g id=\"wave{}\" opacity=\"{}\"><g transform=\"translate({} {}) scale({} 1)\"{}>", number,
        wave.wave.opacity, wave.wave.originX, wave.wave.originY, 1 / wave.pixelAspect,
        flat ? std::string() : fmt::format(" mask=\"url(#profile{})\"", number));
    AddStroke(number, wave.wave.width, stage::ColorText(wave.Color()));
    Add(text_, "</g></g>\n");
    if (reflects) AddReflections(BoxOf(wave), number);
  }

  void AddStroke(int number, double width, const std::string& color) {
    Add(text_,
        "<use href=\"#outline{0}\" clip-path=\"url(#inside{0})\" fill=\"none\" stroke=\"{1}\" stroke-width=\"{2}\" "
        "stroke-miterlimit=\"1000\"/>",
        number, color, 2 * width);
  }

  // From the whole band to its outermost part, each stroke over the one before: no seams between them.
  void AddMask(const stage::ReportedWave& wave, int number) {
    constexpr int kSteps = 32;
    float reach = 0;
    for (const OrvWavePoint& point : wave.outline) reach = std::max({reach, std::fabs(point.x), std::fabs(point.y)});
    Add(text_, "<mask id=\"profile{}\" maskUnits=\"userSpaceOnUse\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\">",
        number, -reach, -reach, 2 * reach, 2 * reach);
    for (int step = kSteps; step > 0; --step) {
      const double value = ProfileAt(wave.wave.profile, (step - 0.5) / kSteps);
      const auto grey = static_cast<int>(std::lround(255 * value));
      AddStroke(number, double{wave.wave.width} * step / kSteps, fmt::format("#{0:02x}{0:02x}{0:02x}", grey));
    }
    Add(text_, "</mask>\n");
  }

  // The plane is tiled with pictures, every other one mirrored: each tile that the wave reaches is folded onto the
  // page.
  void AddReflections(const Box& box, int number) {
    constexpr double kMostTiles = 400;
    const auto tile = [](double position, double size) { return std::floor(position / size); };
    const double firstX = tile(box.left, scene_.width), lastX = tile(box.right, scene_.width);
    const double firstY = tile(box.top, scene_.height), lastY = tile(box.bottom, scene_.height);
    if ((lastX - firstX + 1) * (lastY - firstY + 1) > kMostTiles) {
      Add(text_, "<!-- wave{} reaches too many pictures' widths away: its reflections are left out -->\n", number);
      return;
    }
    for (double y = firstY; y <= lastY; ++y) {
      for (double x = firstX; x <= lastX; ++x) {
        if (x == 0 && y == 0) continue;
        const auto [scaleX, shiftX] = Fold(x, scene_.width);
        const auto [scaleY, shiftY] = Fold(y, scene_.height);
        Add(text_, "<use href=\"#wave{}\" transform=\"matrix({} 0 0 {} {} {})\"/>\n", number, scaleX, scaleY, shiftX,
            shiftY);
      }
    }
  }
  static std::pair<int, double> Fold(double tile, double size) {
    if (std::fmod(tile, 2) == 0) return {1, -tile * size};
    return {-1, (tile + 1) * size};
  }

  const stage::Scene& scene_;
  Text text_;
  int count_ = 0;
};

}  // namespace

std::string WavesAsSvg(const stage::Scene& scene, const std::vector<SvgEffect>& effects) {
  Writer writer(scene);
  for (const SvgEffect& effect : effects) writer.AddEffect(effect);
  return writer.Finish();
}

}  // namespace orvandel::cli
