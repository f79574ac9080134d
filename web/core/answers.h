// What a page asks of a scene besides its pictures, each answer as JSON.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "web/core/session.h"

namespace orvandel::web {

// Every parameter in the effect's order: name, kind, group, ranges, default, choices, unit, what it means.
std::string CatalogJson(const stage::ParamCatalog& catalog);

// All others throw InputError without a scene, and for an effect, a frame or a name that is not there.

// How the effect shows its parameters: which are inactive, which groups are open.
std::string ShownJson(Session& session, std::int32_t effect, std::int32_t frame);
// The effect's report of its waves, outlines included.
std::string WavesJson(Session& session, std::int32_t effect, std::int32_t frame);

struct FrameSteps {
  std::int32_t first = 0, count = 1, step = 1;
};
// What a parameter is at frames, whatever it comes from.
std::string ValuesJson(const Session& session, std::int32_t effect, std::string_view name, const FrameSteps& frames);

// The masks' paths as they lie in the picture: after "fit", "anchor" and what else the scene says of them.
std::string MasksJson(const Session& session, std::int32_t frame);
// Warnings and notes on a good scene.
std::string RemarksJson(const Session& session);

}  // namespace orvandel::web
