#include "stage/scene/mask_groups.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/scene/param_values.h"
#include "stage/scene/path_measure.h"
#include "stage/scene/scene_limits.h"

namespace orvandel::stage {
namespace {

class Grouping {
 public:
  Grouping(const ParamCatalog& catalog, Scene& scene)
      : scene_(scene),
        type_(catalog.Find("Wave Type")),
        mask_(catalog.Find("Mask")),
        growth_(catalog.Find("Expansion")) {}

  void Add(MaskGroup group) {
    const std::string name = scene_.masks[group.mask - 1].name;
    const std::size_t count = group.further.size() + 1;
    std::vector<std::size_t> places{group.mask};
    for (MaskPath& path : group.further) {
      scene_.masks.push_back(
          {fmt::format("{} ({} of {})", name, places.size() + 1, count), {{0, std::move(path), {}}}});
      places.push_back(scene_.masks.size());
    }
    group.further.clear();
    members_.push_back({std::move(group), std::move(places)});
  }

  void Draw() {
    if (type_ == nullptr || mask_ == nullptr || growth_ == nullptr) return;
    std::vector<Emitter> drawn;
    std::size_t room = kMaxEmitters - scene_.emitters.size();
    for (const Emitter& emitter : scene_.emitters) {
      const Member* const member = ShownBy(emitter);
      if (member == nullptr) {
        drawn.push_back(emitter);
        continue;
      }
      const std::size_t further = std::min(room, member->places.size() - 1);
      if (further < member->places.size() - 1) TellCut(*member, further);
      room -= further;
      DrawMember(emitter, *member, further + 1, drawn);
    }
    scene_.emitters = std::move(drawn);
  }

 private:
  struct Member {
    MaskGroup group;
    std::vector<std::size_t> places;  // the named mask's first
  };

  const Track& TrackOf(const Emitter& emitter, const ParamInfo* info) const {
    return emitter.tracks[static_cast<std::size_t>(info->hostIndex)];
  }
  std::int32_t ChoiceOf(const Emitter& emitter, const ParamInfo* info) const {
    return std::get<Choice>(ValueAtTime(scene_, emitter, *info, 0)).index;
  }
  bool IsMaskType(std::int32_t type) const {
    return type >= 1 && static_cast<std::size_t>(type) <= type_->choices.size() &&
           type_->choices[static_cast<std::size_t>(type) - 1] == "Mask";
  }
  // Among the values of a popup that changes, too.
  bool MayShowMasks(const Emitter& emitter) const {
    const Track& type = TrackOf(emitter, type_);
    if (type.IsConstant()) return IsMaskType(ChoiceOf(emitter, type_));
    return std::any_of(type.keys.begin(), type.keys.end(),
                       [&](const Key& key) { return IsMaskType(std::get<Choice>(key.value).index); });
  }

  const Member* ShownBy(const Emitter& emitter) {
    if (!MayShowMasks(emitter)) return nullptr;
    const bool constant = TrackOf(emitter, type_).IsConstant() && TrackOf(emitter, mask_).IsConstant();
    for (const Member& member : members_) {
      const auto place = static_cast<std::int32_t>(member.group.mask);
      if (constant && ChoiceOf(emitter, mask_) == place) return &member;
      if (!constant && Chooses(emitter, place)) {
        scene_.notes.push_back(member.group.where +
                               ": where the wave type or the mask changes, its largest outline alone is drawn");
      }
    }
    return nullptr;
  }
  bool Chooses(const Emitter& emitter, std::int32_t place) const {
    const Track& mask = TrackOf(emitter, mask_);
    if (mask.IsConstant()) return ChoiceOf(emitter, mask_) == place;
    return std::any_of(mask.keys.begin(), mask.keys.end(),
                       [&](const Key& key) { return std::get<Choice>(key.value).index == place; });
  }

  void TellCut(const Member& member, std::size_t further) {
    const std::string text = fmt::format("{}: its {} outlines take more effects than the {} that a scene has at most",
                                         member.group.where, member.places.size(), kMaxEmitters);
    if (member.group.asked) throw InputError(text + "; \"part\" chooses one, or leave effects out");
    scene_.notes.push_back(fmt::format("{}: {} are drawn", text, further + 1));
  }

  void DrawMember(const Emitter& emitter, const Member& member, std::size_t count, std::vector<Emitter>& drawn) const {
    const PointValue middle{scene_.width * 0.5, scene_.height * 0.5};
    std::vector<double> reaches;
    for (std::size_t i = 0; i < count; ++i) {
      reaches.push_back(ReachOf(scene_.masks[member.places[i] - 1].keys.front().path, middle));
    }
    const double longest = *std::max_element(reaches.begin(), reaches.end());
    for (std::size_t i = 0; i < count; ++i) {
      Emitter& part = drawn.emplace_back(emitter);
      Track& mask = part.tracks[static_cast<std::size_t>(mask_->hostIndex)];
      mask = {};
      mask.keys.push_back({0, Choice{static_cast<std::int32_t>(member.places[i])}, {}});
      if (longest > 0) part.tracks[static_cast<std::size_t>(growth_->hostIndex)].factor = reaches[i] / longest;
    }
  }

  Scene& scene_;
  const ParamInfo *type_, *mask_, *growth_;
  std::vector<Member> members_;
};

}  // namespace

void DrawMaskGroups(std::vector<MaskGroup> groups, const ParamCatalog& catalog, Scene& scene) {
  if (groups.empty()) return;
  Grouping grouping(catalog, scene);
  for (MaskGroup& group : groups) grouping.Add(std::move(group));
  grouping.Draw();
}

}  // namespace orvandel::stage
