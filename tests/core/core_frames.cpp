// The reference frames, rendered by a program that has the core alone and the effect linked in: core_frames
// GOLDEN-FOLDER
#include <cstdio>
#include <exception>

#include "stage/module/linked_effect.h"
#include "stage/render/frame_renderer.h"
#include "stage/scene/scene_reader.h"
#include "tests/golden/reference_table.h"

namespace orvandel::stage {
namespace {

int RenderAll(const std::filesystem::path& folder) {
  EffectModule module(LinkedEffect());
  int passed = 0, failed = 0;
  for (const Reference& row : ReadTable(folder)) {
    const Scene scene = ReadScene(folder / "scenes" / row.scene, module.Catalog());
    RenderOptions options;
    options.highQuality = row.quality == "full";
    options.downsample = row.downsample;
    const std::string hash = HashOf(FrameRenderer(module, scene, 0, options).Render(row.frame));
    ++(hash == row.hash ? passed : failed);
    if (hash != row.hash) std::printf("%s: rendered %s\n", row.Text().c_str(), hash.c_str());
  }
  module.SetDown();
  std::printf("%d passed, %d failed\n", passed, failed);
  return failed == 0 && passed > 0 ? 0 : 1;
}

}  // namespace
}  // namespace orvandel::stage

int main(int count, char** arguments) {
  try {
    return orvandel::stage::RenderAll(count > 1 ? arguments[1] : ".");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
