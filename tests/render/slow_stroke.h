// A second, slow rendering of one stroke, written without the scan's machinery: no active list, no chain of pieces, no
// spans, no running writers. It decides whether the scan is right.
//
// Every edge's x and u are laid down for all of its rows in advance. Each row is a full-width array that every piece of
// the stroke is asked about, whether it is near or not. Output pixels are sums over whole subsample squares.
#pragma once

#include <optional>

#include "stroke_case.h"

namespace orvandel {

// Nothing when the stroke covers more than `largestArea` subsamples and would take too long.
std::optional<StrokeOutcome> DrawSlowly(const StrokeCase& stroke, Picture& picture, double largestArea);

// Position in 0..size-1 of a coordinate in the mirrored picture.
std::int64_t FoldByPeriod(std::int64_t coordinate, std::int64_t size);

}  // namespace orvandel
