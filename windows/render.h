// `orvandel render` on Windows: numbered pictures.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "stage/scene/scene_reader.h"

namespace orvandel::windows {

struct RenderRequest {
  std::string scene, output;
  stage::ReadOptions options;
  std::optional<std::string> frames;
  std::string quality = "full";
  std::int32_t downsample = 1;
  bool overwrite = false, resume = false, quiet = false;
};

// InputError, WorkError, EffectError; Interrupted after Ctrl-C: pictures that are finished stay.
void Render(const RenderRequest& request);

// Names of any length: the system's functions take long ones in this form alone.
std::filesystem::path LongName(const std::string& name);

}  // namespace orvandel::windows
