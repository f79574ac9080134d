#include "stage/media/sequence_rules.h"

#include <algorithm>
#include <string_view>

#include "stage/scene/param_values.h"

namespace orvandel::stage {
namespace {

// One emitter's tracks by the parameters' names. A name that the effect does not register is constant and never set.
struct Tracks {
  const Scene& scene;
  const Emitter& emitter;
  const ParamCatalog& catalog;

  const Track* Find(std::string_view name) const {
    const ParamInfo* info = catalog.Find(name);
    return info == nullptr ? nullptr : &emitter.tracks[static_cast<std::size_t>(info->hostIndex)];
  }

  bool IsConstant(std::string_view name) const {
    const Track* track = Find(name);
    return track == nullptr || track->IsConstant();
  }

  // Whether the popup has the item at any time.
  bool Takes(std::string_view name, std::string_view item) const {
    const ParamInfo* info = catalog.Find(name);
    if (info == nullptr) return false;
    const auto choice = std::find(info->choices.begin(), info->choices.end(), item);
    if (choice == info->choices.end()) return false;
    const auto wanted = static_cast<std::int32_t>(choice - info->choices.begin()) + 1;
    const auto isWanted = [&](const Value& value) { return std::get<Choice>(value).index == wanted; };
    const Track& track = *Find(name);
    if (track.live) return true;  // whatever another program may say next
    if (track.keys.empty()) return isWanted(DefaultValue(*info, scene));
    return std::any_of(track.keys.begin(), track.keys.end(), [&](const Key& key) { return isWanted(key.value); });
  }
};

}  // namespace

bool NeedsFreshSequences(const Scene& scene, const Emitter& emitter, const ParamCatalog& catalog,
                         const std::function<bool(std::int32_t)>& sourceMoves) {
  const Tracks tracks{scene, emitter, catalog};
  if (!tracks.IsConstant("Mask")) return true;
  if (!tracks.Takes("Parameters are set at", "Each Frame")) return false;
  if (!tracks.IsConstant("Lifespan (sec)")) return true;
  if (!tracks.Takes("Wave Type", "Image Contours")) return false;
  if (!tracks.IsConstant("Source Layer")) return true;
  const Track* source = tracks.Find("Source Layer");
  const bool chosen = source != nullptr && !source->keys.empty();
  return sourceMoves(chosen ? std::get<Choice>(source->keys.front().value).index : 0);
}

bool NeedsFreshSequenceAfterChange(const Scene& scene, const Emitter& emitter, const ParamCatalog& catalog) {
  const Tracks tracks{scene, emitter, catalog};
  return tracks.Takes("Wave Type", "Image Contours") || tracks.Takes("Wave Type", "Mask");
}

bool TracesInput(const Scene& scene, const Emitter& emitter, const ParamCatalog& catalog) {
  const Tracks tracks{scene, emitter, catalog};
  if (!tracks.Takes("Wave Type", "Image Contours")) return false;
  const Track* source = tracks.Find("Source Layer");
  const auto isInput = [](const Key& key) { return std::get<Choice>(key.value).index == 0; };
  return source == nullptr || source->live || source->keys.empty() ||
         std::any_of(source->keys.begin(), source->keys.end(), isInput);
}

}  // namespace orvandel::stage
