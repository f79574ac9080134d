// What a host's number for the time of a frame stands for.
#pragma once

#include "stage/scene/timebase.h"

namespace orvandel::frei0r {

enum class TimeUnit { kAuto, kSeconds, kMilliseconds };

// The program that contains an address of code, where that matters.
enum class Caller { kFfmpeg, kGStreamer, kOther };
Caller CallerAt(const void* code) noexcept;

// One host counts in milliseconds, whatever the interface says; the others in seconds.
inline TimeUnit UnitOf(Caller caller) {
  return caller == Caller::kFfmpeg ? TimeUnit::kMilliseconds : TimeUnit::kSeconds;
}

// Whole milliseconds are a frame's time rounded. The frame is looked for at `rates` in their order, those that are 0
// left out, then at the usual ones; without any, the number stands for itself. One of `rates` that is `sure` is the
// only one.
double SecondsOfMilliseconds(double milliseconds, const stage::Rational& sure, const stage::Rational& likely);

}  // namespace orvandel::frei0r
