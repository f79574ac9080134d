// The example scenes that come with the program: <prefix>/share/orvandel/scenes, beside <prefix>/bin.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace orvandel::cli {

struct Preset {
  std::string name;         // the file's, without its extension
  std::string description;  // the comment that the file opens with
  std::filesystem::path file;
};

// $ORVANDEL_SCENES, or the folder that was installed with the program.
std::filesystem::path PresetFolder();
// The schema of scene files that was installed beside the presets; empty when it is not there.
std::filesystem::path SchemaFile();
// By name. Throws WorkError when the folder cannot be read.
std::vector<Preset> AllPresets();
// Throws InputError, with the nearest name.
Preset FindPreset(const std::string& name);

}  // namespace orvandel::cli
