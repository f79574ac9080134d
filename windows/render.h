// `orvandel render` on Windows: numbered pictures, or a film through ffmpeg.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "cli/frame_list.h"
#include "cli/progress.h"
#include "stage/films/film_out.h"
#include "stage/scene/scene_reader.h"

namespace orvandel::windows {

struct RenderRequest {
  std::string scene, output, codec;
  stage::ReadOptions options;
  cli::FrameChoice frames;
  std::string quality = "full";
  stage::FilmQuality filmQuality = stage::FilmQuality::kHigh;
  std::int32_t downsample = 1;
  int jobs = 1;  // 0: one a processor
  bool overwrite = false, resume = false, noSound = false;
  cli::ProgressKind progress = cli::ProgressKind::kFromTerminal;
};

// InputError, WorkError, EffectError; Interrupted after Ctrl-C: pictures that are finished stay.
void Render(const RenderRequest& request);

// Names of any length: the system's functions take long ones in this form alone.
std::filesystem::path LongName(const std::string& name);

}  // namespace orvandel::windows
