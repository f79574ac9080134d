// The program's commands, one function each. They take what was parsed, print to standard output, and throw what goes
// wrong: InputError, WorkError, EffectError, Interrupted.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "cli/progress.h"

namespace orvandel::cli {

struct RenderRequest {
  std::filesystem::path module;  // empty: the one beside the program
  std::filesystem::path scene;
  std::string output;                 // pattern, picture or film
  std::optional<std::string> frames;  // absent: all of the scene's
  bool highQuality = true;
  std::int32_t downsample = 1;
  ProgressKind progress = ProgressKind::kFromTerminal;
};
void Render(const RenderRequest& request);

struct ParamsRequest {
  std::filesystem::path module;
  std::filesystem::path scene;  // empty: as registered
  double seconds = 0;           // when the scene's values are shown
  bool asJson = false;
};
void Params(const ParamsRequest& request);

struct AboutRequest {
  std::filesystem::path module;
};
void About(const AboutRequest& request);

}  // namespace orvandel::cli
