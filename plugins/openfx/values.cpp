#include "plugins/openfx/values.h"

#include <algorithm>

namespace orvandel::ofx {
namespace {

constexpr std::int64_t kTicksPerSecond = 30;
constexpr std::int64_t kMostTicks = std::int64_t{1} << 21;  // as many as the effect steps through
// Hosts with links and expressions change values that have no keys. This many ticks are sampled before a value counts
// as constant: every tick of the first seconds, and later one in several.
constexpr std::int64_t kMostProbes = 256;

}  // namespace

Values::Values(const Instance& instance, const Clock& clock, double frame)
    : instance_(instance), clock_(clock), frame_(frame), units_(clock.UnitsAt(frame)) {
  const std::int64_t units = std::max(units_, 0), scale = clock_.time.timeScale;
  ticks_ = std::min((units * kTicksPerSecond + scale - 1) / scale, kMostTicks);
  const auto& params = instance.Table().params;
  for (std::size_t place = 0; place < params.size(); ++place) {
    const ShownParam& shown = params[place];
    if (shown.hostIndex == 0) continue;
    const auto index = static_cast<std::size_t>(shown.hostIndex);
    if (index >= byHostIndex_.size()) byHostIndex_.resize(index + 1);
    byHostIndex_[index] = tracks_.size();
    Track& track = tracks_.emplace_back();
    track.shown = &shown;
    track.place = place;
    if (shown.kind == Kind::kFile) {
      track.constant = true;
      file_ = instance.TextAt(place, frame);
    } else {
      Load(track);
    }
  }
}

std::int32_t Values::UnitsOfTick(std::int64_t tick) const {
  return static_cast<std::int32_t>(std::int64_t{clock_.time.timeScale} * tick / kTicksPerSecond);
}

bool Values::SeemsConstant(const Track& track) const {
  if (!track.shown->animates) return true;
  if (!instance_.HasNoKeys(track.place)) return false;
  const std::int64_t step = ticks_ / kMostProbes + 1;
  for (std::int64_t tick = 0; tick <= ticks_; tick += step) {
    if (instance_.ValueAt(track.place, clock_.FrameAt(UnitsOfTick(tick))) != track.atFrame) return false;
  }
  return true;
}

void Values::Load(Track& track) {
  track.atFrame = instance_.ValueAt(track.place, frame_);
  track.constant = SeemsConstant(track);
  track.value = track.atFrame;
  if (track.constant) return;
  track.byTick.reserve(static_cast<std::size_t>(ticks_) + 1);
  for (std::int64_t tick = 0; tick <= ticks_; ++tick) {
    track.byTick.push_back(instance_.ValueAt(track.place, clock_.FrameAt(UnitsOfTick(tick))));
  }
}

const RawValue& Values::At(std::int32_t hostIndex, std::int32_t units) {
  Track& track = tracks_[byHostIndex_[static_cast<std::size_t>(hostIndex)]];
  if (track.constant) return track.value;
  if (units == units_) return track.atFrame;
  const std::int64_t tick = (std::int64_t{units} * kTicksPerSecond + clock_.time.timeScale - 1) / clock_.time.timeScale;
  if (units >= 0 && tick <= ticks_ && UnitsOfTick(tick) == units) return track.byTick[static_cast<std::size_t>(tick)];
  const auto [found, isNew] = track.more.try_emplace(units);
  if (isNew) found->second = instance_.ValueAt(track.place, clock_.FrameAt(units));
  return found->second;
}

bool Values::EverTakes(std::int32_t hostIndex, double choice) const {
  const Track& track = TrackOf(hostIndex);
  return track.atFrame[0] == choice || std::any_of(track.byTick.begin(), track.byTick.end(),
                                                   [&](const RawValue& value) { return value[0] == choice; });
}

std::vector<double> Values::Key() const {
  std::vector<double> key{static_cast<double>(units_), static_cast<double>(clock_.time.timeScale),
                          static_cast<double>(clock_.time.timeStep)};
  for (const Track& track : tracks_) {
    key.insert(key.end(), track.atFrame.begin(), track.atFrame.end());
    key.push_back(static_cast<double>(track.byTick.size()));
    for (const RawValue& value : track.byTick) key.insert(key.end(), value.begin(), value.end());
  }
  return key;
}

std::vector<double> Values::Constants() const {
  std::vector<double> constants{static_cast<double>(clock_.time.timeScale), static_cast<double>(clock_.time.timeStep)};
  for (const Track& track : tracks_) {
    constants.push_back(track.constant ? 1 : 0);
    if (track.constant) constants.insert(constants.end(), track.value.begin(), track.value.end());
  }
  return constants;
}

}  // namespace orvandel::ofx
