// Keeps a wave's outlines current: which builder runs, when shape and placed outline may be reused, and where it is
// placed.
//
//   wave type        shape rebuilt                           placed rebuilt
//   polygon          while shapeValid is clear               with the shape, or while placedValid is clear
//   image contours   when picture or settings changed        with the shape, or while placedValid is clear
//   mask             at every update                         at every update
//   any other        never                                   while placedValid is clear
#pragma once

#include "effect/host/effect_context.h"
#include "effect/sim/trace_memory.h"
#include "effect/sim/wave.h"

namespace orvandel {

// Makes wave.placed current. Returns 0, or the host's code that stopped the work. Passes on AbortException and
// AllocFailed of the shape builders.
std::int32_t UpdateWaveOutline(Wave& wave, EffectContext& context, TraceMemory& traces);

// target = `shape` scaled by the wave's size, turned by its orientation and rotation (clockwise on screen), moved by
// its offset; point for point.
void PlaceOutline(const Wave& wave, const UnitOutline& shape, PlacedOutline& target);

// target = source with every corner replaced by a flattened cubic, as wave.curveSize and wave.curvyness say. The
// flatness tolerance is finer when the host asks for high quality.
void RoundOutlineCorners(const Wave& wave, const EffectContext& context, const PlacedOutline& source,
                         PlacedOutline& target);

}  // namespace orvandel
