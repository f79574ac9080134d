#include "plugins/openfx/appearance.h"

#include <exception>

#include "plugins/bridge/effect_pool.h"
#include "plugins/bridge/look.h"
#include "plugins/openfx/shelf.h"
#include "stage/render/param_view.h"

namespace orvandel::ofx {
namespace {

// Those that may decide what else is of use.
bool Decides(const ShownParam& shown) {
  const bool isChoice = shown.kind == Kind::kChoice && shown.label != "Source Layer";  // the clips are not the effect's
  return shown.hostIndex != 0 && (isChoice || shown.kind == Kind::kSwitch);
}

// Of those that are the effect's, which come first in the table.
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
  for (const stage::ParamRow& row : stage::ParamsAsShown(seat->module, scene, 0)) active.push_back(!row.inactive);
  return active;
}

}  // namespace

void ShowWhatIsActive(Instance& instance, double time) {
  static auto* const known = new Shelf<std::vector<double>, std::vector<bool>, 64>;
  const ParamTable& table = instance.Table();
  try {
    std::vector<double> choices;
    for (std::size_t place = 0; place < table.params.size(); ++place) {
      if (Decides(table.params[place])) choices.push_back(instance.ValueAt(place, time)[0]);
    }
    const auto make = [&] { return std::make_shared<const std::vector<bool>>(ActiveWith(table, choices)); };
    instance.Enable(*known->Get(choices, make));
  } catch (const std::exception&) {  // a panel with everything lit still works
  }
}

}  // namespace orvandel::ofx
