#include "stage/scene/loop.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <vector>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/scene/keyframes.h"
#include "stage/scene/mask_path.h"
#include "stage/scene/param_values.h"

namespace orvandel::stage {
namespace {

constexpr std::int64_t kTicksPerSecond = 30;
constexpr double kWordsOfOne = 65536;
constexpr double kLooseBirths = 0.002;  // of a birth: what a rate written with a few decimals misses
constexpr double kFullTurn = 360, kMostDegrees = 32767;
constexpr std::int32_t kEffectParts = 2;  // a birth's distance from the border of a tick, in halves of the smallest

std::string Seconds(double seconds) { return fmt::format("{:.6g} s", seconds); }
std::string BirthsText(double count) { return fmt::format("{:.0f} birth{}", count, count == 1 ? "" : "s"); }

// Whether the fraction has an end as a decimal, as durations are written.
bool IsDecimal(Rational value) {
  std::int64_t rest = Reduced(value).den;
  for (const std::int64_t prime : {2, 5}) {
    while (rest % prime == 0) rest /= prime;
  }
  return rest == 1;
}

// The nearest durations below and above that the test takes, in frames.
std::string NearestDurations(const Timebase& time, const std::function<bool(std::int64_t)>& good) {
  constexpr std::int64_t kFarthest = 100000;
  const auto text = [&](std::int64_t frames) {
    return fmt::format("{:.9g}", static_cast<double>(frames) * time.timeStep / time.timeScale);
  };
  const auto usable = [&](std::int64_t frames) {
    return frames > 0 && IsDecimal({frames * time.timeStep, time.timeScale}) && good(frames);
  };
  std::string result;
  for (std::int64_t frames = time.frameCount - 1; frames > 0 && frames > time.frameCount - kFarthest; --frames) {
    if (!usable(frames)) continue;
    result = text(frames);
    break;
  }
  for (std::int64_t frames = time.frameCount; frames < time.frameCount + kFarthest; ++frames) {
    if (usable(frames)) return result + (result.empty() ? "" : " or ") + text(frames) + " would do";
  }
  return result + " would do";
}

class Looping {
 public:
  Looping(Scene& scene, const ParamCatalog& catalog) : scene_(scene), catalog_(catalog) {}

  void Play(Rational duration) {
    MustBeWholeFrames(duration);
    for (std::size_t i = 0; i < scene_.emitters.size(); ++i) {
      const std::string which = scene_.emitters.size() > 1 ? fmt::format("effect {}: ", i + 1) : "";
      LookAt(scene_.emitters[i], which);
    }
    LookAtMasks();
    const auto times = static_cast<std::int64_t>(std::ceil((longestLife_ + 0.1) / LoopSeconds()));
    times_ = std::max<std::int64_t>(1, times);
    SetPreroll(scene_.time, {times_ * scene_.time.duration, scene_.time.timeScale});
    if (2 * std::int64_t{scene_.time.duration} > (std::int64_t{1} << 30) - scene_.time.preroll) {
      throw InputError("the scene and the time before it are too long for the clock");
    }
    scene_.time.loop = scene_.time.duration;
    for (Emitter& emitter : scene_.emitters) Prepare(emitter);
  }

 private:
  double LoopSeconds() const { return static_cast<double>(scene_.time.duration) / scene_.time.timeScale; }
  bool IsWholeTicks() const { return scene_.time.duration * kTicksPerSecond % scene_.time.timeScale == 0; }
  std::int64_t TickCount() const { return scene_.time.duration * kTicksPerSecond / scene_.time.timeScale; }

  void MustBeWholeFrames(Rational duration) const {
    const Timebase& time = scene_.time;
    const bool exact = duration.num * time.timeScale % duration.den == 0;
    if (exact && time.duration % time.timeStep == 0) return;
    throw InputError(fmt::format("the duration is no whole number of frames: {}",
                                 NearestDurations(time, [](std::int64_t) { return true; })));
  }

  const Track& TrackOf(const Emitter& emitter, const ParamInfo& info) const {
    return emitter.tracks[static_cast<std::size_t>(info.hostIndex)];
  }
  Value At(const Emitter& emitter, const ParamInfo& info, std::int32_t time) const {
    return ValueAtTime(scene_, emitter, info, time);
  }
  // At every tick of the scene, or once for what is constant.
  void ForEachValue(const Emitter& emitter, const ParamInfo& info, const std::function<void(double)>& take) const {
    const std::int64_t count = TrackOf(emitter, info).IsConstant() ? 1 : TickCount();
    for (std::int64_t tick = 0; tick < count; ++tick) {
      take(std::get<double>(
          At(emitter, info, static_cast<std::int32_t>(tick * scene_.time.timeScale / kTicksPerSecond))));
    }
  }

  void LookAt(const Emitter& emitter, const std::string& which) {
    for (const ParamInfo& info : catalog_.Params()) {
      if (!info.BearsValue() || TrackOf(emitter, info).IsConstant()) continue;
      MustBeWholeTicks(which + info.name);
      MustMeet(emitter, info, which);
    }
    if (const ParamInfo* life = catalog_.Find("Lifespan (sec)")) {
      ForEachValue(emitter, *life, [&](double seconds) { longestLife_ = std::max(longestLife_, seconds); });
    }
    MustBeWholeBirths(emitter, which);
  }

  // The effect takes values at its ticks: these must fall at the same times in every pass.
  void MustBeWholeTicks(const std::string& what) const {
    if (IsWholeTicks()) return;
    throw InputError(fmt::format("{} changes, and the duration is no whole number of steps of 1/30 s: {}", what,
                                 NearestDurations(scene_.time, [&](std::int64_t frames) {
                                   return frames * scene_.time.timeStep * kTicksPerSecond % scene_.time.timeScale == 0;
                                 })));
  }

  // Values that jump anyway may jump at the end as well.
  static bool Jumps(const Track& track, double seconds) {
    if (!track.sources.empty()) {
      return std::all_of(track.sources.begin(), track.sources.end(), [](const NumberSource& source) {
        return std::holds_alternative<RandomSource>(source) || std::holds_alternative<double>(source);
      });
    }
    const std::size_t key = SpanAt(track.keys, seconds).key;
    const std::size_t leading = key + 1 == track.keys.size() && key > 0 ? key - 1 : key;
    return track.keys[leading].easing.kind == Interpolation::kHold;
  }

  void MustMeet(const Emitter& emitter, const ParamInfo& info, const std::string& which) const {
    const Value first = At(emitter, info, 0), last = At(emitter, info, scene_.time.duration);
    if (std::holds_alternative<Choice>(first) || Jumps(TrackOf(emitter, info), LoopSeconds())) return;
    const auto refuse = [&](const std::string& a, const std::string& b, const std::string& remedy) {
      throw InputError(fmt::format("{}{} is {} at the start and {} after {}: {}", which, info.name, a, b,
                                   Seconds(LoopSeconds()), remedy));
    };
    if (const auto* color = std::get_if<ColorValue>(&first)) {
      const auto& end = std::get<ColorValue>(last);
      const auto text = [](const ColorValue& c) {
        return fmt::format("#{:02x}{:02x}{:02x}", std::lround(c.red), std::lround(c.green), std::lround(c.blue));
      };
      if (text(*color) != text(end)) refuse(text(*color), text(end), "its last key has to be the first one's colour");
    } else if (const auto* point = std::get_if<PointValue>(&first)) {
      const auto& end = std::get<PointValue>(last);
      if (std::hypot(end.x - point->x, end.y - point->y) < 0.01) return;
      const auto text = [](PointValue p) { return fmt::format("[{:.6g}, {:.6g}]", p.x, p.y); };
      refuse(text(*point), text(end), "it has to come back to " + text(*point));
    } else {
      const double a = std::get<double>(first), b = std::get<double>(last), turns = std::round((b - a) / kFullTurn);
      const bool angle = info.Type() == ORV_PARAM_ANGLE;
      const double nearest = angle ? a + turns * kFullTurn : a;
      const double loose = angle ? 0.001 : 1e-5 * (1 + std::abs(a));
      if (std::abs(b - nearest) > loose) {
        refuse(fmt::format("{:.6g}", a), fmt::format("{:.6g}", b), fmt::format("{:.6g} would do", nearest));
      }
    }
  }

  void LookAtMasks() const {
    for (const Mask& mask : scene_.masks) {
      if (mask.keys.size() < 2 || mask.keys.back().easing.kind == Interpolation::kHold) continue;
      MustBeWholeTicks("mask " + mask.name);
      const MaskPath first = PathOf(mask, MaskSpanAt(mask, 0, scene_.time.timeScale), 1);
      const MaskPath last = PathOf(mask, MaskSpanAt(mask, scene_.time.duration, scene_.time.timeScale), 1);
      for (std::size_t i = 0; i < first.segments.size(); ++i) {
        const PointValue a = first.segments[i].p3, b = last.segments[i].p3;
        if (std::hypot(a.x - b.x, a.y - b.y) < 0.01) continue;
        throw InputError(
            fmt::format("mask {} is another after {} than at the start: its last key has to be the first "
                        "one's path",
                        mask.name, Seconds(LoopSeconds())));
      }
    }
  }

  double BirthsOf(const Emitter& emitter, const ParamInfo& frequency) const {
    if (TrackOf(emitter, frequency).IsConstant()) return std::get<double>(At(emitter, frequency, 0)) * LoopSeconds();
    double births = 0;
    ForEachValue(emitter, frequency, [&](double rate) { births += rate / kTicksPerSecond; });
    return births;
  }

  void MustBeWholeBirths(const Emitter& emitter, const std::string& which) const {
    const ParamInfo* frequency = catalog_.Find("Frequency");
    if (frequency == nullptr) return;
    const double births = BirthsOf(emitter, *frequency);
    if (births == 0) {
      throw InputError(which + "Frequency is 0, which gives one wave at the effect's start and none in a loop: " +
                       fmt::format("{:.6g} would do", 1 / LoopSeconds()));
    }
    const double whole = std::round(births);
    if (whole >= 1 && std::abs(births - whole) <= kLooseBirths) return;
    const double below = std::floor(births), above = below + 1;
    const bool constant = TrackOf(emitter, *frequency).IsConstant();
    const auto remedy = [&](double wanted) {
      return constant ? fmt::format("{:.6g} ({})", wanted / LoopSeconds(), BirthsText(wanted))
                      : fmt::format("{:.6g} times as much ({})", wanted / births, BirthsText(wanted));
    };
    throw InputError(fmt::format("{}Frequency gives {:.6g} births in {}, which has to be a whole number: {}{} would do",
                                 which, births, Seconds(LoopSeconds()), below >= 1 ? remedy(below) + " or " : "",
                                 remedy(above)));
  }

  // Angles continue to turn from pass to pass; births fall at the same times in each.
  void Prepare(Emitter& emitter) const {
    for (const ParamInfo& info : catalog_.Params()) {
      if (info.Type() != ORV_PARAM_ANGLE || TrackOf(emitter, info).IsConstant()) continue;
      Track& track = emitter.tracks[static_cast<std::size_t>(info.hostIndex)];
      if (Jumps(track, LoopSeconds())) continue;
      const std::int32_t start = scene_.time.preroll;
      // Just before the end, because at the end the values start again.
      const auto at = [&](std::int32_t time) { return std::get<double>(At(emitter, info, start + time)); };
      const double way = at(scene_.time.duration - 2) - at(0);
      track.perLoop = std::round(way / kFullTurn) * kFullTurn;
      if (std::abs(track.perLoop) * static_cast<double>(times_ + 1) > kMostDegrees) {
        throw InputError(
            fmt::format("{} turns too often before the first frame: a shorter Lifespan would do", info.name));
      }
    }
    if (const ParamInfo* frequency = catalog_.Find("Frequency")) EvenOut(emitter, *frequency);
  }

  // The effect adds the rate of each tick, in 65536ths, to a phase; a birth falls where it becomes whole. The rate is
  // given so that the sum over the scene is exact, and a little late so that no birth falls onto the border of two
  // ticks, on either side of which the last digits would put it now and then.
  void EvenOut(Emitter& emitter, const ParamInfo& frequency) const {
    const double births = std::round(BirthsOf(emitter, frequency));
    const bool constant = TrackOf(emitter, frequency).IsConstant();
    const double ticks = static_cast<double>(scene_.time.duration) * kTicksPerSecond / scene_.time.timeScale;
    std::vector<double> rates;  // of a tick in the scene
    if (!constant) ForEachValue(emitter, frequency, [&](double rate) { rates.push_back(rate); });
    const double sum = std::accumulate(rates.begin(), rates.end(), 0.0);
    const double words = births * kTicksPerSecond * kWordsOfOne;  // of the scene
    const double parts =
        constant ? births / static_cast<double>(std::gcd(std::llround(births), std::llround(ticks))) : 2;
    const double late = words / ticks / (kEffectParts * std::min(parts, 512.0));
    const std::int64_t all =
        (std::int64_t{scene_.time.preroll} + 2 * scene_.time.duration) * kTicksPerSecond / scene_.time.timeScale + 2;
    auto values = std::make_shared<std::vector<double>>();
    double done = 0, within = 0;
    for (std::int64_t tick = 0; tick < all; ++tick) {
      double due = 0;
      if (constant) {
        due = words / ticks * static_cast<double>(tick + 1);
      } else {
        const auto place = static_cast<std::size_t>(tick) % rates.size();
        const std::size_t passes = static_cast<std::size_t>(tick) / rates.size();
        within = (place == 0 ? 0 : within) + rates[place];
        due = words * (static_cast<double>(passes) + within / sum);
      }
      const double next = std::max(done, std::floor(due - late));
      values->push_back((next - done) / kWordsOfOne);
      done = next;
    }
    emitter.tracks[static_cast<std::size_t>(frequency.hostIndex)].byTick = std::move(values);
  }

  Scene& scene_;
  const ParamCatalog& catalog_;
  double longestLife_ = 0;
  std::int64_t times_ = 1;
};

}  // namespace

void PlayInLoop(Scene& scene, Rational duration, const ParamCatalog& catalog) {
  Looping(scene, catalog).Play(duration);
}

}  // namespace orvandel::stage
