#include "stage/reports/media_use.h"

#include <fmt/format.h>

#include <algorithm>

#include "orvandel/params.h"
#include "stage/media/sequence_rules.h"

namespace orvandel::stage {

bool IsLayerUsed(std::size_t layer, const Scene& scene, const ParamCatalog& catalog) {
  const auto uses = [&](const Track& track) {
    return std::any_of(track.keys.begin(), track.keys.end(), [&](const Key& key) {
      const auto* choice = std::get_if<Choice>(&key.value);
      return choice != nullptr && choice->index == static_cast<std::int32_t>(layer) + 1;
    });
  };
  for (const ParamInfo& info : catalog.Params()) {
    if (info.Type() != ORV_PARAM_LAYER) continue;
    for (const Emitter& emitter : scene.emitters) {
      if (uses(emitter.tracks[static_cast<std::size_t>(info.hostIndex)])) return true;
    }
  }
  return false;
}

std::string NoteOfUnseen(const Scene& scene, const ParamCatalog& catalog) {
  if (!scene.input) return {};
  const auto& behind = scene.background.medium;
  if (behind && behind->file == scene.input->file) return {};
  const auto traces = [&](const Emitter& emitter) { return TracesInput(scene, emitter, catalog); };
  if (std::any_of(scene.emitters.begin(), scene.emitters.end(), traces)) return {};
  return fmt::format(
      "\"input\" ({}) is not seen: the effect draws its waves alone, and no effect traces it; "
      "\"background\": \"input\" shows it behind them",
      scene.input->file.filename().string());
}

}  // namespace orvandel::stage
