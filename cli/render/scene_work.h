// A worker's share of a render: its own copy of the effect, playing the scene.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "cli/render/output.h"
#include "cli/render/worker_pool.h"
#include "stage/base/partial_file.h"
#include "stage/render/frame_renderer.h"
#include "stage/scene/scene.h"
#include "stage/stills/png_compressor.h"

namespace orvandel::cli {

struct SceneWorkSettings {
  std::filesystem::path module;
  stage::RenderOptions render;
  int depth = 8;  // bits a channel of pictures
  stage::PngEffort pngEffort = stage::PngEffort::kDefault;
  stage::IfTaken ifTaken = stage::IfTaken::kFail;
  double enoughShown = 0;  // the sum of what frames show beyond which it is not measured
};

// Pictures are written under their names; frames for an ordered output are put into the slot, for a stream with their
// alpha last. All references must outlive the work.
std::unique_ptr<FrameWork> MakeSceneWork(const SceneWorkSettings& settings, const stage::Scene& scene,
                                         const Output& output);

}  // namespace orvandel::cli
