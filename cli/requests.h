// What a person asks for, by command: the parsed command line.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/frame_list.h"
#include "cli/progress.h"
#include "cli/render/output.h"
#include "stage/scene/scene_reader.h"
#include "stage/stills/png_compressor.h"

namespace orvandel::cli {

// The options of every command that reads a scene.
struct SceneRequest {
  std::filesystem::path module;  // empty: the one beside the program
  std::filesystem::path file;    // empty where a command can do without
  stage::ReadOptions options;
  std::int64_t maxWaves = 200000;  // where the command renders
};

struct RenderRequest {
  SceneRequest scene;
  std::string output;  // pattern, picture, film or "-"
  FrameChoice frames;
  bool highQuality = true;
  std::int32_t downsample = 1;
  int depth = 8;
  stage::PngEffort pngEffort = stage::PngEffort::kDefault;
  std::string codec;         // empty: the extension's usual one
  std::string background;    // empty: the scene's own
  std::string fromPictures;  // pattern of pictures that stand in place of rendering; empty: render
  bool noSound = false;
  std::string filmQuality = "high";  // or medium, low
  Existing existing = Existing::kRefuse;
  std::optional<int> jobs;      // 0: one a processor; none: as many as are of use, on a farm one
  std::uint64_t maxMemory = 0;  // bytes; 0: what the machine has
  bool dryRun = false;
  double maxFrameSeconds = 0;
  bool stats = false;
  std::filesystem::path snapshots;  // empty: none
  std::int32_t snapshotSeconds = 20;
  ProgressKind progress = ProgressKind::kFromTerminal;
};

struct FarmRequest {
  RenderRequest render;  // its output: numbered pictures or a film
  std::string chunk = "auto";
  std::string film;              // beside pictures; empty: none
  std::filesystem::path folder;  // of the scripts; empty: beside the output
  std::string partition;
  std::vector<std::string> sbatch;  // further options for it
  int atOnce = 0;                   // tasks; 0: no bound
  int tries = 3;
  bool dryRun = false, noSubmit = false, wait = false;
};

struct FarmFolderRequest {
  std::filesystem::path folder;
  bool asJson = false;                                   // status
  bool restart = false, noSubmit = false, wait = false;  // resume
};

struct ParamsRequest {
  SceneRequest scene;
  double seconds = 0;  // when the scene's values are shown
  bool asJson = false;
  bool asAssignments = false;  // what may stand after --set, for completions
};

struct CheckRequest {
  SceneRequest scene;
  bool quick = false;  // without rendering
  bool asJson = false;
};

struct DescribeRequest {
  SceneRequest scene;
  double seconds = 0;
  bool asJson = false;
};

struct WavesRequest {
  SceneRequest scene;
  FrameChoice frames;
  std::string svg;          // pattern of SVG files; empty: JSON lines on standard output
  bool noOutlines = false;  // in the JSON lines
  bool replace = false;
};

struct SheetRequest {
  SceneRequest scene;
  std::filesystem::path output;
  FrameChoice frames;
  int columns = 4;
  std::int32_t downsample = 0;  // 0: so that a picture is at most 320 pixels wide
  std::string background;       // empty: the scene's own
  bool replace = false;
};

struct NewRequest {
  std::filesystem::path file;
  std::string preset;  // empty: the commented starter
};

struct StudioRequest {
  std::filesystem::path scene;  // empty: the page alone
  int port = 0;                 // 0: any that is free
  bool noBrowser = false;
};

struct AboutRequest {
  std::filesystem::path module;
};

}  // namespace orvandel::cli
