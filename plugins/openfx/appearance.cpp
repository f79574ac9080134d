#include "plugins/openfx/appearance.h"

#include <exception>
#include <set>
#include <string>

#include "plugins/bridge/effect_pool.h"
#include "plugins/bridge/look.h"
#include "plugins/openfx/shelf.h"
#include "stage/render/param_view.h"

namespace orvandel::ofx {
namespace {

// Those that may decide what else is of use.
bool Decides(const ShownParam& shown) {
  const bool isChoice = shown.kind == Kind::kChoice && shown.name != kSourceLayer;  // the clips are not the effect's
  return shown.hostIndex != 0 && (isChoice || shown.kind == Kind::kSwitch);
}

// Parameters, those of the effect first, then groups.
std::vector<bool> ActiveWith(const ParamTable& table, std::vector<double> choices) {
  stage::Scene scene = bridge::Look::Plain()->SceneFor({30, 1}, 0);
  scene.width = scene.height = 16;  // nothing is drawn
  auto next = choices.begin();
  for (const ShownParam& shown : table.params) {
    if (!Decides(shown)) continue;
    const auto value = static_cast<std::int32_t>(*next++) + (shown.kind == Kind::kChoice ? 1 : 0);
    scene.emitters[0].tracks[static_cast<std::size_t>(shown.hostIndex)].keys = {{0, stage::Choice{value}, {}}};
  }
  const bridge::EffectPool::Loan seat(bridge::EffectPool::The(), 0, 0);
  std::vector<bool> active;
  std::set<std::string> dimmedGroups;
  for (const stage::ParamRow& row : stage::ParamsAsShown(seat->module, scene, 0)) {
    active.push_back(!row.inactive);
    if (row.groupInactive) dimmedGroups.insert(GroupName(row.group));
  }
  active.resize(table.params.size(), true);
  for (const ShownGroup& group : table.groups) active.push_back(dimmedGroups.count(group.name) == 0);
  return active;
}

// A generator has no clips to choose from.
void DimWhatIsOfClips(const Instance& instance, std::vector<bool>& active) {
  if (instance.SourceClip() != nullptr || instance.LayerClip() != nullptr) return;
  const auto& params = instance.Table().params;
  for (std::size_t place = 0; place < params.size(); ++place) {
    if (params[place].name == kComposite || params[place].name == kSourceLayer) active[place] = false;
  }
}

}  // namespace

void ShowWhatIsActive(Instance& instance, double time) {
  try {
    static auto* const known = new Shelf<std::vector<double>, std::vector<bool>, 64>;
    const ParamTable& table = instance.Table();
    std::vector<double> choices;
    for (std::size_t place = 0; place < table.params.size(); ++place) {
      if (Decides(table.params[place])) choices.push_back(instance.ValueAt(place, time)[0]);
    }
    const auto make = [&] { return std::make_shared<const std::vector<bool>>(ActiveWith(table, choices)); };
    std::vector<bool> active = *known->Get(choices, make);
    DimWhatIsOfClips(instance, active);
    instance.Enable(active);
  } catch (const std::exception&) {  // a panel with everything lit still works
  }
}

}  // namespace orvandel::ofx
