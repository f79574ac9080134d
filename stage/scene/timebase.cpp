// Everything here is exact: a scene that is one unit longer on one machine would have one frame more.
#include "stage/scene/timebase.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <optional>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

__extension__ using Wide = __int128;

constexpr std::int64_t kTicksPerSecond = 30;
constexpr std::int64_t kMinTimeScale = 30000;
constexpr std::int64_t kMaxTimeScale = 1000000;
// Half of what 32 bits hold, so that sums and differences of two times fit as well.
constexpr std::int64_t kMaxUnits = std::int64_t{1} << 30;
// Every 18-digit number fits 64 bits.
constexpr std::size_t kMaxDigits = 18;
constexpr int kMaxExponent = 18;

// Host units per second for a reduced, positive rate; nothing when above the limit.
std::optional<std::int64_t> TimeScaleOf(Rational rate) {
  if (rate.num > kMaxTimeScale) return std::nullopt;
  std::int64_t scale = std::lcm(rate.num, kTicksPerSecond);
  while (scale < kMinTimeScale) scale *= 10;
  if (scale > kMaxTimeScale) return std::nullopt;
  return scale;
}

// One frame must be a host time as well.
bool StepFits(Rational rate, std::int64_t scale) { return rate.den <= kMaxUnits / (scale / rate.num); }

bool Fits(Rational seconds, std::int64_t scale) {
  return (static_cast<Wide>(seconds.num) + seconds.den) * scale <= static_cast<Wide>(kMaxUnits) * seconds.den;
}

bool Usable(Rational rate, Rational seconds) {
  const auto scale = TimeScaleOf(rate);
  return scale && StepFits(rate, *scale) && Fits(seconds, *scale);
}

double AsDouble(Rational value) { return static_cast<double>(value.num) / static_cast<double>(value.den); }

// The rate nearest to `rate` that works for `seconds`, among those that people mean: whole numbers of frames a second,
// 1000/1001 of them, and whole numbers of seconds a frame.
std::optional<Rational> NearestUsable(Rational rate, Rational seconds) {
  if (!Fits(seconds, kMinTimeScale)) return std::nullopt;
  const double wanted = std::min(AsDouble(rate), static_cast<double>(kMaxTimeScale));
  if (wanted < 1) {
    const double longest = std::floor(static_cast<double>(kMaxUnits) / static_cast<double>(kMinTimeScale));
    const Rational slow{1, std::llround(std::min(std::max(1 / wanted, 1.0), longest))};
    if (Usable(slow, seconds)) return slow;
  }
  const std::int64_t middle = std::llround(std::max(wanted, 1.0));
  std::optional<Rational> best;
  double bestDistance = 0;
  for (std::int64_t away = 0; away < kMaxTimeScale; ++away) {
    // 1000/1001 moves a rate by a thousandth at most, so no later candidate can be nearer than this.
    if (best && static_cast<double>(away) * 0.999 - 1 - wanted * 0.001 > bestDistance) break;
    for (const std::int64_t whole : {middle - away, middle + away}) {
      if (whole < 1) continue;
      for (const Rational candidate : {Rational{whole, 1}, Reduced({whole * 1000, 1001})}) {
        const double distance = std::abs(AsDouble(candidate) - wanted);
        if ((best && distance >= bestDistance) || !Usable(candidate, seconds)) continue;
        best = candidate;
        bestDistance = distance;
      }
    }
  }
  return best;
}

std::string NearestText(Rational rate, Rational seconds) {
  const auto nearest = NearestUsable(rate, seconds);
  return nearest ? fmt::format("; the nearest usable rate is \"{}\"", TextOf(*nearest)) : std::string();
}

[[noreturn]] void RefuseNumber(std::string_view text) {
  throw InputError(fmt::format("{} is not a number or \"numerator/denominator\"", Quoted(text)));
}
[[noreturn]] void RefuseDigits(std::string_view text) {
  throw InputError(fmt::format("{} has more digits than can be taken exactly", Printable(text)));
}

std::string_view TakeDigits(std::string_view& rest) {
  std::size_t count = 0;
  while (count < rest.size() && rest[count] >= '0' && rest[count] <= '9') ++count;
  const std::string_view digits = rest.substr(0, count);
  rest.remove_prefix(count);
  return digits;
}

bool TakeOne(std::string_view& rest, char wanted) {
  if (rest.empty() || rest.front() != wanted) return false;
  rest.remove_prefix(1);
  return true;
}

std::int64_t PowerOfTen(int exponent) {
  std::int64_t power = 1;
  for (int i = 0; i < exponent; ++i) power *= 10;
  return power;
}

// The exponent after "e", clamped: whatever lies beyond the clamp is refused anyway unless the number is 0.
int TakeExponent(std::string_view& rest, std::string_view text) {
  if (!TakeOne(rest, 'e') && !TakeOne(rest, 'E')) return 0;
  const bool negative = TakeOne(rest, '-');
  if (!negative) TakeOne(rest, '+');
  const std::string_view digits = TakeDigits(rest);
  if (digits.empty()) RefuseNumber(text);
  int exponent = 0;
  for (const char digit : digits) exponent = std::min(exponent * 10 + (digit - '0'), 1000000);
  return negative ? -exponent : exponent;
}

std::int64_t WholeOf(std::string_view digits, std::string_view text) {
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  if (digits.size() > kMaxDigits) RefuseDigits(text);
  std::int64_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

// "12", "-0.5", "1.25e-3".
Rational TakeDecimal(std::string_view& rest, std::string_view text) {
  const bool negative = TakeOne(rest, '-');
  std::string digits(TakeDigits(rest));
  if (digits.empty()) RefuseNumber(text);
  long exponent = 0;
  if (TakeOne(rest, '.')) {
    const std::string_view fraction = TakeDigits(rest);
    if (fraction.empty()) RefuseNumber(text);
    digits += fraction;
    exponent -= static_cast<long>(fraction.size());
  }
  exponent += TakeExponent(rest, text);
  while (digits.size() > 1 && digits.back() == '0') {
    digits.pop_back();
    ++exponent;
  }
  const std::int64_t whole = WholeOf(digits, text);
  if (whole == 0) return {0, 1};
  if (exponent < -kMaxExponent || exponent > kMaxExponent) RefuseDigits(text);
  const std::int64_t power = PowerOfTen(static_cast<int>(std::labs(exponent)));
  const std::int64_t sign = negative ? -1 : 1;
  if (exponent < 0) return Reduced({sign * whole, power});
  if (whole > std::numeric_limits<std::int64_t>::max() / power) RefuseDigits(text);
  return {sign * whole * power, 1};
}

}  // namespace

Rational Reduced(Rational value) {
  const std::int64_t divisor = std::gcd(value.num, value.den);
  const std::int64_t sign = value.den < 0 ? -1 : 1;
  return {sign * value.num / divisor, sign * value.den / divisor};
}

std::string TextOf(Rational value) {
  return value.den == 1 ? fmt::format("{}", value.num) : fmt::format("{}/{}", value.num, value.den);
}

Timebase TimebaseOfRate(Rational frameRate) {
  const Rational rate = Reduced(frameRate);
  if (rate.num <= 0) throw InputError(fmt::format("{} is not above 0", TextOf(rate)));
  constexpr Rational kNoTime{0, 1};
  const auto scale = TimeScaleOf(rate);
  if (!scale) {
    throw InputError(fmt::format("{} frames a second needs more than {} time units a second{}", TextOf(rate),
                                 kMaxTimeScale, NearestText(rate, kNoTime)));
  }
  if (!StepFits(rate, *scale)) {
    throw InputError(
        fmt::format("{} frames a second is too slow for the clock{}", TextOf(rate), NearestText(rate, kNoTime)));
  }
  Timebase timebase;
  timebase.frameRate = rate;
  timebase.timeScale = static_cast<std::int32_t>(*scale);
  timebase.timeStep = static_cast<std::int32_t>(*scale / rate.num * rate.den);
  return timebase;
}

void SetDuration(Timebase& timebase, Rational seconds) {
  if (seconds.num <= 0) throw InputError(fmt::format("{} is not above 0", TextOf(seconds)));
  const std::int64_t scale = timebase.timeScale;
  if (!Fits(seconds, scale)) {
    throw InputError(fmt::format("{} s is too long: {} frames a second allows {} s{}", TextOf(seconds),
                                 TextOf(timebase.frameRate), kMaxUnits / scale - 1,
                                 NearestText(timebase.frameRate, seconds)));
  }
  timebase.duration = static_cast<std::int32_t>(static_cast<Wide>(seconds.num) * scale / seconds.den);
  if (timebase.duration == 0) {
    throw InputError(fmt::format("{} s is shorter than one time unit, 1/{} s", TextOf(seconds), scale));
  }
  const std::int64_t step = timebase.timeStep;
  timebase.frameCount = static_cast<std::int32_t>((timebase.duration + step - 1) / step);
}

void SetPreroll(Timebase& timebase, Rational seconds) {
  const Rational room{kMaxUnits - timebase.duration - 2 * timebase.timeScale, timebase.timeScale};
  if (static_cast<Wide>(seconds.num) * room.den > static_cast<Wide>(room.num) * seconds.den) {
    throw InputError(fmt::format("{} s before frame 0 is too long: beside the duration, {} frames a second allow {} s",
                                 TextOf(seconds), TextOf(timebase.frameRate),
                                 std::max<std::int64_t>(0, room.num / room.den)));
  }
  timebase.preroll = static_cast<std::int32_t>(static_cast<Wide>(seconds.num) * timebase.timeScale / seconds.den);
}

Timebase MakeTimebase(Rational frameRate, Rational seconds) {
  Timebase timebase = TimebaseOfRate(frameRate);
  SetDuration(timebase, Reduced(seconds));
  return timebase;
}

Rational ParseRational(std::string_view text) {
  std::string_view rest = text;
  if (text.find('/') == std::string_view::npos) {
    const Rational value = TakeDecimal(rest, text);
    if (!rest.empty()) RefuseNumber(text);
    return value;
  }
  const bool negative = TakeOne(rest, '-');
  const std::string_view top = TakeDigits(rest);
  const bool slash = TakeOne(rest, '/');
  const std::string_view bottom = TakeDigits(rest);
  if (top.empty() || !slash || bottom.empty() || !rest.empty()) RefuseNumber(text);
  const Rational ratio{WholeOf(top, text), WholeOf(bottom, text)};
  if (ratio.den == 0) throw InputError(fmt::format("{} has a denominator of 0", Quoted(text)));
  return Reduced({negative ? -ratio.num : ratio.num, ratio.den});
}

}  // namespace orvandel::stage
