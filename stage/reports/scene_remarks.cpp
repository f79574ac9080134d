#include "stage/reports/scene_remarks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "stage/media/sequence_rules.h"
#include "stage/reports/media_use.h"
#include "stage/scene/path_measure.h"

namespace orvandel::stage {
namespace {

void RemarkOnTimeBase(const Scene& scene, Remarks& remarks) {
  constexpr double kMostUnits = 1 << 30;
  const double seconds = static_cast<double>(scene.time.duration) / scene.time.timeScale;
  const double longest = kMostUnits / scene.time.timeScale - 1;
  remarks.notes.push_back(fmt::format("{} frames, {} a second; the longest film at this rate is {:.0f} s",
                                      scene.time.frameCount, TextOf(scene.time.frameRate), longest));
  if (seconds > 0.9 * longest) {
    remarks.warnings.push_back(
        fmt::format("the duration of {:.0f} s is near the {:.0f} s that this frame rate allows", seconds, longest));
  }
}

// A wave of a mask grows about the layer's middle, not about the outline's own: where the two are apart, the outline
// moves away from the producer point while it grows.
void RemarkOnMasks(const Scene& scene, Remarks& remarks) {
  constexpr double kApart = 0.05;  // of the picture's height
  constexpr double kAngular = 64;  // pixels
  remarks.notes.insert(remarks.notes.end(), scene.notes.begin(), scene.notes.end());
  for (const Mask& mask : scene.masks) {
    PathBox box;
    TakeInto(box, mask.keys.front().path);
    const PointValue middle = box.Middle();
    const double away = std::hypot(middle.x - scene.width * 0.5, middle.y - scene.height * 0.5);
    std::string note = fmt::format("mask \"{}\" is {:.0f} x {:.0f} pixels around {:.0f}, {:.0f}", mask.name,
                                   box.Width(), box.Height(), middle.x, middle.y);
    if (away > kApart * scene.height) {
      note += fmt::format(
          ": it grows about the layer's middle, {:.0f} pixels away; \"anchor\": \"outline\" makes it "
          "grow about the Producer Point",
          away);
    }
    if (std::max(box.Width(), box.Height()) < kAngular) {
      note +=
          "; its waves look angular, because outlines are followed in steps of a pixel: \"fit\" or \"scale\" make them "
          "finer";
    }
    remarks.notes.push_back(std::move(note));
  }
}

void RemarkOnSequences(const Scene& scene, const ParamCatalog& catalog, Remarks& remarks) {
  constexpr std::int32_t kShort = 300;
  if (scene.time.frameCount < kShort) return;
  const auto fresh = [&](const Emitter& emitter) {
    return NeedsFreshSequences(scene, emitter, catalog, [](std::int32_t) { return false; });
  };
  if (std::none_of(scene.emitters.begin(), scene.emitters.end(), fresh)) return;
  remarks.warnings.push_back(
      "every frame starts anew from time 0, which makes late frames slow: the Mask parameter changes, or settings for "
      "each frame meet a Lifespan that changes or a contour whose source changes");
}

std::vector<std::int32_t> AllFrames(const Scene& scene) {
  std::vector<std::int32_t> frames(static_cast<std::size_t>(scene.time.frameCount));
  std::iota(frames.begin(), frames.end(), 0);
  return frames;
}

}  // namespace

void RemarkOnForm(const Scene& scene, Remarks& remarks) {
  RemarkOnTimeBase(scene, remarks);
  RemarkOnMasks(scene, remarks);
}

WaveCount RemarkOnWaves(const Scene& scene, const ParamCatalog& catalog, std::int64_t maxWaves, Remarks& remarks) {
  constexpr std::int64_t kMany = 2000;
  const WaveCount waves = CountWaves(scene, catalog, AllFrames(scene));
  remarks.notes.push_back(fmt::format("at most {} wave{} alive at once, in frame {}", waves.alive,
                                      waves.alive == 1 ? "" : "s", waves.aliveFrame));
  if (waves.held > maxWaves) {
    remarks.warnings.push_back(
        fmt::format("frame {} needs up to {} waves at once; render refuses more than {} unless --max-waves is raised",
                    waves.heldFrame, waves.held, maxWaves));
  } else if (waves.alive > kMany) {
    remarks.warnings.push_back(
        fmt::format("up to {} waves are drawn in frame {}: frames will take long; lower "
                    "Frequency or Lifespan (sec)",
                    waves.alive, waves.aliveFrame));
  }
  RemarkOnSequences(scene, catalog, remarks);
  return waves;
}

void RemarkOnMedia(const Scene& scene, const ParamCatalog& catalog, Remarks& remarks) {
  if (std::string note = NoteOfUnseen(scene, catalog); !note.empty()) remarks.notes.push_back(std::move(note));
  if (scene.background.IsNothing() && scene.blend != Blend::kNormal) {
    remarks.notes.push_back("\"blend\" has nothing to lay the picture over unless there is a \"background\"");
  }
}

}  // namespace orvandel::stage
