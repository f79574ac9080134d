// Frames and 1/30 s ticks as whole host units, in exact rational arithmetic.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvandel::stage {

struct Rational {
  std::int64_t num = 0;
  std::int64_t den = 1;
  bool operator==(const Rational&) const = default;
};

// Lowest terms, denominator above 0; the denominator must not be 0.
Rational Reduced(Rational value);
// "24" or "30000/1001".
std::string TextOf(Rational value);

// timeScale = lcm(numerator of the reduced frame rate, 30) times the smallest power of ten that makes it at least
// 30000, so that frames and ticks both fall on whole units.
struct Timebase {
  Rational frameRate;           // reduced, frames per second
  std::int32_t timeScale = 0;   // host units per second
  std::int32_t timeStep = 0;    // host units per frame
  std::int32_t duration = 0;    // host units, truncated
  std::int32_t frameCount = 0;  // frames are numbered from 0
  std::int32_t preroll = 0;     // host units that have passed at frame 0
  std::int32_t loop = 0;        // host units after which the scene's values begin anew; 0: never

  // The effect's clock begins at the preroll's start, the scene's at frame 0.
  std::int32_t TimeOfFrame(std::int32_t frame) const { return preroll + frame * timeStep; }
  // Where values, masks and media are looked up; negative within the preroll. The unit before a loop's start belongs to
  // it, since the effect may ask one unit early.
  std::int32_t SceneTime(std::int32_t hostTime) const {
    const std::int32_t passed = hostTime - preroll;
    return loop == 0 ? passed : passed - LoopAt(hostTime) * loop;
  }
  // Which time through the loop it is; frame 0 begins number 0.
  std::int32_t LoopAt(std::int32_t hostTime) const {
    if (loop == 0) return 0;
    const std::int32_t later = hostTime - preroll + 1;
    return later >= 0 ? later / loop : -((loop - 1 - later) / loop);
  }
};

// `seconds` and `frameRate` are exact. Throws InputError (without a file or pointer, which the reader adds) when the
// rate is not positive, the time scale exceeds 10^6, or (duration + 1 s) does not fit 2^30 units; the text names the
// nearest usable rate.
Timebase MakeTimebase(Rational frameRate, Rational seconds);

// The two halves of MakeTimebase, for callers that tell apart which of the two is at fault. The first leaves duration
// and frameCount 0.
Timebase TimebaseOfRate(Rational frameRate);
void SetDuration(Timebase& timebase, Rational seconds);
// To be called last. Throws InputError when duration and preroll together are too long for the clock.
void SetPreroll(Timebase& timebase, Rational seconds);

// "24", "23.976" (exactly 2997/125), "2.5e1", "30000/1001"; the result is reduced. Throws InputError.
Rational ParseRational(std::string_view text);

}  // namespace orvandel::stage
