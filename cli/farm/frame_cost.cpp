#include "cli/farm/frame_cost.h"

#include <fmt/format.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "cli/farm/child_process.h"
#include "cli/interrupt.h"
#include "stage/base/errors.h"
#include "stage/reports/wave_count.h"

namespace orvandel::cli {
namespace {

constexpr std::size_t kMostSamples = 64;  // frames whose waves are counted; between them the count is taken as straight

class TempFolder {
 public:
  TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "orvandel_farm_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw stage::WorkError(name + ": the folder cannot be made");
    folder_ = name;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  const std::filesystem::path& Name() const { return folder_; }

 private:
  std::filesystem::path folder_;
};

using ByFrame = std::map<std::int32_t, double>;

double At(const ByFrame& values, std::int32_t frame) {
  const auto above = values.lower_bound(frame);
  if (above == values.end()) return values.rbegin()->second;
  if (above == values.begin() || above->first == frame) return above->second;
  const auto below = std::prev(above);
  const double part = static_cast<double>(frame - below->first) / (above->first - below->first);
  return below->second + (above->second - below->second) * part;
}

ByFrame CountSamples(const std::vector<std::int32_t>& frames, const stage::Scene& scene,
                     const stage::ParamCatalog& catalog) {
  ByFrame waves;
  const std::size_t samples = std::min(frames.size(), kMostSamples);
  for (std::size_t i = 0; i < samples; ++i) {
    const std::int32_t frame = frames[samples == 1 ? 0 : i * (frames.size() - 1) / (samples - 1)];
    waves[frame] = static_cast<double>(stage::CountWaves(scene, catalog, {frame}).alive);
  }
  return waves;
}

// Of several alike a late one, so that the way there can be measured, but not so late that it takes minutes.
std::int32_t CostliestOf(const ByFrame& waves) {
  constexpr std::int32_t kLateEnough = 3000;
  auto costliest = waves.begin();
  for (auto each = waves.begin(); each != waves.end(); ++each) {
    const bool isNear = each->first - waves.begin()->first <= kLateEnough;
    if (each->second > costliest->second || (isNear && each->second == costliest->second)) costliest = each;
  }
  return costliest->first;
}

struct Seconds {
  ByFrame frames;
  double launch = 0;  // of the program, beyond its frames
};

Seconds Render(Words words, const std::set<std::int32_t>& frames) {
  const TempFolder folder;
  *std::next(std::find(words.begin(), words.end(), "--output")) = (folder.Name() / "frame.####.png").string();
  *std::next(std::find(words.begin(), words.end(), "--progress")) = "json";
  words.insert(words.end(), {"--frames", RunsText({frames.begin(), frames.end()})});
  const auto start = std::chrono::steady_clock::now();
  const ChildResult result = RunChild(words, ChildOutput::kErrors);
  Seconds seconds;
  seconds.launch = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (StopRequested()) throw stage::Interrupted();
  if (!result.startFault.empty()) throw stage::WorkError(EndText(words.front(), result));
  std::istringstream lines(result.text);
  for (std::string line; std::getline(lines, line);) {
    const auto json = nlohmann::json::parse(line, nullptr, false);
    if (!json.is_object()) continue;
    if (json.value("event", "") == "error") throw stage::WorkError(json.value("message", ""));
    if (json.value("event", "") != "frame") continue;
    const double spent = json.value("ms", 0.0) / 1000;
    seconds.frames[json.value("frame", 0)] = spent;
    seconds.launch -= spent;
  }
  seconds.launch = std::max(0.0, seconds.launch);
  if (seconds.frames.size() == frames.size()) return seconds;
  throw stage::WorkError("the frames by which the chunks' size is chosen could not be rendered; --chunk N sets it");
}

}  // namespace

MeasuredCosts MeasureFrames(const Words& render, const std::vector<std::int32_t>& frames, const stage::Scene& scene,
                            const stage::ParamCatalog& catalog) {
  const ByFrame waves = CountSamples(frames, scene, catalog);
  const std::int32_t costliest = CostliestOf(waves);
  // The frame before is rendered as well: what it takes is drawing and the way there.
  const auto place = std::find(frames.begin(), frames.end(), costliest);
  const std::int32_t before = place == frames.begin() ? costliest : *std::prev(place);
  const std::int32_t second = frames.size() > 1 ? frames[1] : frames[0];
  const Seconds seconds = Render(render, {frames.front(), second, before, costliest});
  const double low = seconds.frames.at(second), high = std::max(low, seconds.frames.at(costliest));
  const double lowWaves = At(waves, second), highWaves = At(waves, costliest);
  const double way = std::max(0.0, seconds.frames.at(before) - high);
  const double wayPerFrame = before > second ? way / (before - second) : 0;
  MeasuredCosts measured;
  measured.wayPerFrame = wayPerFrame;
  measured.costs.frame = [=](std::int32_t frame) {
    if (highWaves <= lowWaves) return high;
    return low + (high - low) * std::clamp((At(waves, frame) - lowWaves) / (highWaves - lowWaves), 0.0, 1.0);
  };
  measured.costs.start = [=, launch = seconds.launch](std::int32_t frame) { return launch + wayPerFrame * frame; };
  measured.note = fmt::format("frame {} takes {:.0f} ms with {:.0f} waves, frame {} {:.0f} ms with {:.0f}", second,
                              low * 1000, lowWaves, costliest, seconds.frames.at(costliest) * 1000, highWaves);
  return measured;
}

}  // namespace orvandel::cli
