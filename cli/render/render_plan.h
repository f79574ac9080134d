// What a render will do. Everything that can be refused is refused here, before a frame is rendered and before anything
// is written.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/output_pattern.h"
#include "cli/render/memory_need.h"
#include "cli/render/output.h"
#include "cli/render/render_record.h"
#include "cli/requests.h"
#include "stage/films/film_out.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

struct RenderPlan {
  stage::Scene scene;
  Output output;
  std::optional<OutputPattern> pictures;  // that the film is made from, in place of rendering
  std::vector<std::int32_t> frames;
  std::size_t kept = 0;  // frames whose pictures exist already
  PictureForm form;
  RenderRun run;
  int jobs = 1;
  MemoryNeed memory;
  std::filesystem::path snapshots;  // of this scene; empty: none are kept
  std::int64_t mostWaves = 0;       // counted before rendering
  std::optional<stage::FilmSound> sound;
  std::vector<std::string> notes;
};

// Loads the effect for it and unloads it again, so that processes can be forked afterwards. Throws InputError, and
// WorkError when the module or its file fails.
RenderPlan MakeRenderPlan(const RenderRequest& request);

}  // namespace orvandel::cli
