#include "cli/check/little_shown.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "cli/waves/wave_limit.h"
#include "stage/reports/emitter_values.h"
#include "stage/reports/reported_waves.h"
#include "stage/scene/mask_path.h"
#include "stage/scene/path_measure.h"

namespace orvandel::cli {
namespace {

constexpr std::size_t kMostLookedAt = 24;
constexpr double kFarOff = 0.25;  // of the picture's height
constexpr float kFaint = 1.0F / 255, kSmallRadius = 1;

// Also when the picture lies inside the outline, which has left it on all sides.
bool IsOutside(const stage::ReportedWave& wave, const stage::Scene& scene) {
  return std::all_of(wave.outline.begin(), wave.outline.end(), [&](const OrvWavePoint& point) {
    const stage::PointValue p = wave.OnLayer(point);
    return p.x < 0 || p.y < 0 || p.x > scene.width || p.y > scene.height;
  });
}

// What stands in the way of the waves, by how many.
struct Obstacles {
  std::int64_t waves = 0, faint = 0, small = 0, outside = 0;

  void Count(const stage::ReportedWave& wave, double effectOpacity, const stage::Scene& scene) {
    ++waves;
    faint += wave.wave.opacity * effectOpacity < kFaint ? 1 : 0;
    small += wave.wave.size < kSmallRadius ? 1 : 0;
    outside += IsOutside(wave, scene) ? 1 : 0;
  }
};

// Of a mask far from where it grows; else empty.
std::string WhyOfMask(const stage::Scene& scene, const stage::EmitterValues& values, std::int64_t tick) {
  if (values.ChoiceText("Wave Type", tick) != "Mask") return {};
  const auto place = static_cast<std::size_t>(values.Number("Mask", tick));
  if (place == 0) return "Mask is null: these waves have no outline";
  stage::PathBox box;
  stage::TakeInto(box, scene.masks[place - 1].keys.front().path);
  const double away = std::hypot(box.Middle().x - scene.width * 0.5, box.Middle().y - scene.height * 0.5);
  if (away < kFarOff * scene.height) return {};
  return fmt::format(
      "the outline of mask \"{}\" lies {:.0f} pixels from the layer's middle, about which it grows; "
      "\"anchor\": \"outline\" puts it there",
      scene.masks[place - 1].name, away);
}

// Of an outline that is not there or lies elsewhere; else empty.
std::string WhyOfOutline(const stage::Scene& scene, const stage::EmitterValues& values, std::int64_t tick,
                         bool isBorn) {
  if (values.ChoiceText("Wave Type", tick) != "Image Contours") return WhyOfMask(scene, values, tick);
  if (isBorn) return {};
  return "the source layer has no contour at this Value Threshold, or none of the number that Contour names";
}

}  // namespace

void ShownCounter::Add(double coverage) {
  covered_ += coverage;
  ++count_;
}

std::string ShownCounter::Text() const {
  return covered_ == 0
             ? fmt::format("nothing is seen in {} frame{}", count_, count_ == 1 ? "" : "s")
             : fmt::format("less than 0.1 % of the pictures is covered in {} frame{}", count_, count_ == 1 ? "" : "s");
}

std::string WhyLittleIsShown(stage::EffectModule& module, const stage::Scene& scene,
                             const std::vector<std::int32_t>& frames, std::int64_t maxWaves) {
  Obstacles all;
  const std::size_t step = 1 + frames.size() / kMostLookedAt;
  stage::WaveReports reports(module, scene, LimitedTo(maxWaves));
  for (std::size_t i = 0; i < frames.size(); i += step) {
    const auto& effects = reports.Of(frames[i]);
    for (std::size_t effect = 0; effect < effects.size(); ++effect) {
      const double opacity = scene.emitters[effect].opacity;
      for (const stage::ReportedWave& wave : effects[effect]) all.Count(wave, opacity, scene);
    }
  }
  const auto hidden = [](const stage::Emitter& emitter) { return emitter.opacity < kFaint; };
  if (std::all_of(scene.emitters.begin(), scene.emitters.end(), hidden)) return "\"opacity\" of the effects is 0";
  if (2 * all.faint > all.waves) return "the waves are transparent: Opacity is 0, or they fade in or out";
  if (2 * all.small > all.waves) return "the waves are smaller than a pixel: Expansion is small, or they are just born";
  const std::int64_t tick =
      scene.time.TimeOfFrame(frames.back()) * static_cast<std::int64_t>(stage::kTicksPerSecond) / scene.time.timeScale;
  const stage::EmitterValues values(scene, scene.emitters.front(), module.Catalog());
  std::string ofOutline = WhyOfOutline(scene, values, tick, all.waves > 0);
  if (!ofOutline.empty()) return ofOutline;
  if (all.waves == 0) {
    return "no wave is alive in these frames: they come before the first birth, or after the last wave's life; "
           "\"preroll\" begins earlier";
  }
  if (2 * all.outside > all.waves) return "the waves lie outside the picture: Producer Point, Velocity or Expansion";
  return "the strokes are thin or lie outside the picture";
}

}  // namespace orvandel::cli
