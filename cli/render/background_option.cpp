#include "cli/render/background_option.h"

#include <fmt/format.h>

#include "stage/base/color_text.h"
#include "stage/base/errors.h"
#include "stage/scene/scene_limits.h"

namespace orvandel::cli {

void ReplaceBackground(std::string_view text, stage::Scene& scene) {
  if (text.empty()) return;
  scene.background = {};
  if (text == "none") return;
  if (text == "input") {
    if (!scene.input) throw stage::InputError("--background: the scene has no \"input\"");
    scene.background.medium = scene.input;
  } else if (text.starts_with('#')) {
    scene.background.color = stage::ParseColor(text);
    if (!scene.background.color) {
      throw stage::InputError(fmt::format("--background: \"{}\" is not a colour; allowed is #rrggbb", text));
    }
  } else {
    scene.background.medium = stage::Media{"background", std::filesystem::path(text), {0, 1}, "--background"};
  }
}

std::string BackgroundText(const stage::Scene& scene) {
  if (scene.background.IsNothing()) return {};
  std::string text = scene.background.color ? fmt::format("#{:06x}", *scene.background.color)
                                            : scene.background.medium->file.filename().string();
  for (const auto& [name, blend] : stage::kBlendNames) {
    if (blend == scene.blend && blend != stage::Blend::kNormal) text += fmt::format(", blend {}", name);
  }
  return text + (scene.linear ? ", in linear light" : "");
}

}  // namespace orvandel::cli
