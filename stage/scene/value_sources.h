// Numbers that follow a rule over time: random draws, the loudness of a sound, an expression.
//
// Each is a function of the scene's time alone, worked out for any time without the times before it. The effect steps
// in ticks of 1/30 s and may ask one host unit before a tick, because it truncates on the way from ticks to units; such
// a question is taken for the tick itself, so that what changes at a tick changes at that tick and not one later.
#pragma once

#include <cstdint>
#include <string_view>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// Random: draw number d = floor of the time over `every`, then
//   u = Mixed(Mixed(seed ^ stream) + d) / 2^64, in 53 bits, and min + (max - min) * u;
// a whole number is floor(min + (max - min + 1) * u).
// Audio: atSilence + (atPeak - atSilence) * the envelope's level, which is linear between ticks.
// Expression: its value, of a time in seconds that is exactly tick / 30 at ticks. Throws InputError where it is no
// number.
double NumberAt(const NumberSource& source, const Timebase& time, std::int32_t hostTime);

// The value of a track with sources, held inside the parameter's range.
Value SourcedValue(const Track& track, const ParamInfo& info, const Timebase& time, std::int32_t hostTime);

// Which draws a parameter has: from its name and, of a point, the coordinate's number.
std::uint64_t StreamOf(std::string_view paramName, std::size_t coordinate);

// Points and angles reach the effect as signed 16.16 words: from the first to the second, both included.
inline constexpr double kLowestWord = -32768, kHighestWord = 32768 - 1.0 / 65536;

}  // namespace orvandel::stage
