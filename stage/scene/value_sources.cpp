#include "stage/scene/value_sources.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/scene/keyframes.h"
#include "stage/sources/audio_envelope.h"
#include "stage/sources/expression.h"

namespace orvandel::stage {
namespace {

constexpr std::int64_t kTicksPerSecond = 30;
__extension__ typedef __int128 Wide;

// The time asked for; the unit before a tick counts as the tick.
std::int32_t OntoTick(std::int32_t hostTime, std::int32_t timeScale) {
  const bool unitBeforeTick = (std::int64_t{hostTime} + 1) * kTicksPerSecond % timeScale == 0;
  return hostTime + (unitBeforeTick ? 1 : 0);
}

// A bijection of the 64-bit words in which every bit of the result hangs on every bit of the argument: two rounds of
// folding the high half onto the low one and multiplying by an odd constant with its bits well spread, and a last fold.
std::uint64_t Mixed(std::uint64_t word) {
  word = (word ^ word >> 32) * 0xD6E8FEB86659FD93u;
  word = (word ^ word >> 32) * 0xA0761D6478BD642Fu;
  return word ^ word >> 32;
}

double DrawAt(const RandomSource& random, const Timebase& time, std::int32_t hostTime) {
  const Wide passed = (Wide{hostTime} + 1) * random.every.den, held = Wide{random.every.num} * time.timeScale;
  const auto draw = static_cast<std::uint64_t>(passed / held - (passed < 0 && passed % held != 0 ? 1 : 0));
  const std::uint64_t bits = Mixed(Mixed(random.seed ^ random.stream) + draw);
  const double unit = static_cast<double>(bits >> 11) * 0x1p-53;
  if (!random.whole) return random.min + (random.max - random.min) * unit;
  return std::floor(random.min + (random.max - random.min + 1) * unit);
}

double LoudnessAt(const AudioSource& audio, const Timebase& time, std::int32_t hostTime) {
  const double start = static_cast<double>(audio.start.num) / static_cast<double>(audio.start.den);
  const double seconds = SecondsOf(OntoTick(hostTime, time.timeScale), time.timeScale) - start;
  return audio.atSilence + (audio.atPeak - audio.atSilence) * audio.envelope->LevelAt(seconds * kTicksPerSecond);
}

double ExpressedAt(const ExpressionSource& source, const Timebase& time, std::int32_t hostTime) {
  const std::int64_t later = std::int64_t{hostTime} + 1;
  ExpressionTime when;
  const auto begun = [](std::int64_t units, std::int64_t step) {  // also before frame 0
    return units / step - (units < 0 && units % step != 0 ? 1 : 0);
  };
  const std::int64_t tick = begun(later * kTicksPerSecond, time.timeScale), frame = begun(later, time.timeStep);
  when.tick = static_cast<double>(tick);
  when.frame = static_cast<double>(frame);
  when.seconds = SecondsOf(OntoTick(hostTime, time.timeScale), time.timeScale);
  const double value = source.expression->ValueAt(when);
  if (std::isnan(value)) {
    throw InputError(fmt::format("{}: the expression is not a number at {} s", source.place, when.seconds));
  }
  return value;
}

// `value` is not NaN; outside the range it stops at the nearer end, infinity included.
double HeldInside(double value, const ParamInfo& info) {
  const double low = std::max(info.ValidMin(), kLowestWord), high = std::min(info.ValidMax(), kHighestWord);
  return std::clamp(value, low, high);
}

}  // namespace

std::uint64_t StreamOf(std::string_view paramName, std::size_t coordinate) {
  std::uint64_t hash = coordinate;
  for (const char letter : paramName) hash = Mixed(hash + static_cast<unsigned char>(letter) + 1);
  return hash;
}

double NumberAt(const NumberSource& source, const Timebase& time, std::int32_t hostTime) {
  return std::visit(
      [&](const auto& kind) {
        using Kind = std::decay_t<decltype(kind)>;
        if constexpr (std::is_same_v<Kind, double>) return kind;
        if constexpr (std::is_same_v<Kind, RandomSource>) return DrawAt(kind, time, hostTime);
        if constexpr (std::is_same_v<Kind, AudioSource>) return LoudnessAt(kind, time, hostTime);
        if constexpr (std::is_same_v<Kind, ExpressionSource>) return ExpressedAt(kind, time, hostTime);
      },
      source);
}

Value SourcedValue(const Track& track, const ParamInfo& info, const Timebase& time, std::int32_t hostTime) {
  const auto number = [&](std::size_t i) { return HeldInside(NumberAt(track.sources[i], time, hostTime), info); };
  if (info.Type() == ORV_PARAM_POINT) return PointValue{number(0), number(1)};
  return number(0);
}

}  // namespace orvandel::stage
