// `orvandel schema`: what editors complete and check scene files by.
#include "stage/scene/scene_schema.h"

#include <fmt/format.h>

#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/module_file.h"
#include "stage/module/effect_module.h"

namespace orvandel::cli {

void Schema(const AboutRequest& request) {
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.module)));
  Print("{}", stage::SceneSchema(module.Catalog()));
  module.SetDown();
}

}  // namespace orvandel::cli
