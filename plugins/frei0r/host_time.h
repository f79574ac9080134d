// What a host's number for the time of a frame stands for, and how the rows of its pictures lie.
#pragma once

#include <cstdint>

#include "stage/scene/timebase.h"

namespace orvandel::frei0r {

enum class TimeUnit { kAuto, kSeconds, kMilliseconds };

// The program that contains an address of code, where that matters.
enum class Caller { kFfmpeg, kFfmpeg5, kGStreamer, kOther };
Caller CallerAt(const void* code) noexcept;

// One host counts in milliseconds, whatever the interface says; the others in seconds.
inline TimeUnit UnitOf(Caller caller) {
  return caller == Caller::kFfmpeg || caller == Caller::kFfmpeg5 ? TimeUnit::kMilliseconds : TimeUnit::kSeconds;
}

// Pixels from one row to the next. The interface knows none but the width; FFmpeg 5, without saying so, hands out and
// expects rows of whole 16 pixels, both as a source and as a filter. Later ones keep to the interface.
inline std::int32_t RowPixels(Caller caller, std::int32_t width) {
  return caller == Caller::kFfmpeg5 ? (width + 15) / 16 * 16 : width;
}

// Whole milliseconds are a frame's time rounded. The frame is looked for at `rates` in their order, those that are 0
// left out, then at the usual ones; without any, the number stands for itself. One of `rates` that is `sure` is the
// only one.
double SecondsOfMilliseconds(double milliseconds, const stage::Rational& sure, const stage::Rational& likely);

}  // namespace orvandel::frei0r
