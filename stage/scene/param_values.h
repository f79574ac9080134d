// From the scene's values to the words the effect reads at a check-out.
#pragma once

#include <cstdint>

#include "stage/scene/output_scale.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// What a parameter has that the scene leaves out: the registered default. A point's is in per cent of the layer, a
// mask's n means the scene's n-th mask (none when there is no such mask), a layer's -1 no layer.
Value DefaultValue(const ParamInfo& info, const Scene& scene);

// The value at a host time. Layers and masks are looked up one unit later, because the effect may ask one unit early:
// it truncates twice on the way from ticks to units.
Value ValueAtTime(const Scene& scene, const Emitter& emitter, const ParamInfo& info, std::int32_t hostTime);

// Fills type and value. `map` is for points only. Of a layer only the type is filled: its pixels are the caller's to
// hand over.
void WriteValue(const ParamInfo& info, const Value& value, const PixelMap& map, OrvParamDef& definition);

// Times 65536, truncated toward zero, and held inside the word.
OrvFixed ToFixed(double value);

}  // namespace orvandel::stage
