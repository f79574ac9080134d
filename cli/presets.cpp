#include "cli/presets.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "stage/base/errors.h"
#include "stage/base/names.h"

namespace orvandel::cli {
namespace {

// The lines of comment before the first of something else, as one line.
std::string OpeningComment(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::string comment;
  for (std::string line; std::getline(stream, line) && line.starts_with("//");) {
    if (!comment.empty()) comment += ' ';
    comment += stage::Trimmed(std::string_view(line).substr(2));
  }
  return comment;
}

}  // namespace

std::filesystem::path PresetFolder() {
  if (const char* named = std::getenv("ORVANDEL_SCENES"); named != nullptr && *named != '\0') return named;
  std::error_code failed;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", failed);
  return program.parent_path().parent_path() / "share" / "orvandel" / "scenes";
}

std::filesystem::path SchemaFile() {
  std::error_code none;
  const std::filesystem::path file =
      std::filesystem::absolute(PresetFolder(), none).parent_path() / "scene.schema.json";
  return std::filesystem::is_regular_file(file, none) ? file : std::filesystem::path();
}

std::vector<Preset> AllPresets() {
  const auto folder = PresetFolder();
  std::error_code error;
  std::vector<Preset> presets;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const auto& file = entry.path();
    if (file.extension() == ".json") presets.push_back({file.stem().string(), OpeningComment(file), file});
  }
  if (error)
    throw stage::WorkError(fmt::format("{}: the presets cannot be read: {}", folder.string(), error.message()));
  std::sort(presets.begin(), presets.end(), [](const Preset& a, const Preset& b) { return a.name < b.name; });
  return presets;
}

Preset FindPreset(const std::string& name) {
  const auto presets = AllPresets();
  std::vector<std::string> names;
  for (const Preset& preset : presets) {
    if (preset.name == name) return preset;
    names.push_back(preset.name);
  }
  throw stage::InputError(fmt::format("--from: there is no preset {}{} (orvandel presets)", stage::Quoted(name),
                                      stage::DidYouMean(name, names)));
}

}  // namespace orvandel::cli
