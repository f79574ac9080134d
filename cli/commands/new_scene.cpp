// `orvandel presets` and `orvandel new`: scenes to start from.
#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <span>

#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/presets.h"
#include "cli/render/output.h"
#include "cli/text_table.h"
#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/base/partial_file.h"
#include "stage/scene/json_tree.h"

namespace orvandel::cli {
namespace {

constexpr std::string_view kStarter =
    R"json(// A scene for Orvandel: everything that its pictures depend on. Comments are allowed.
//
//   orvandel check SCENE               reports all mistakes
//   orvandel sheet SCENE -o sheet.png  shows it at a glance
//   orvandel render SCENE -o film.mov  makes a film with alpha
//   orvandel params                    lists every parameter with its range and default
{
  "version": 1,
  "width": 1280, "height": 720,      // pixels
  "frameRate": 30,                   // or "30000/1001"
  "duration": 5,                     // seconds

  "parameters": {
    // Where waves come from, in pixels from the top left corner. Any value can have keyframes.
    "Producer Point": { "keyframes": [
      { "time": 0, "value": [420, 360], "interp": "ease-in-out" },
      { "time": 5, "value": [860, 360] }
    ] },

    "Frequency": 2,                  // waves a second
    "Expansion": 5,                  // pixels every 1/30 s
    "Lifespan (sec)": 3,
    "Fade-out Time": 2,

    "Sides": 6,                      // 3 to 128; many make a circle
    "Curve Size": 0.4, "Curvyness": 1,
    "Spin": 20,                      // degrees a second
    "Reflection": false,             // true: waves come back from the edges

    "Profile": "Sine",               // across the stroke
    "Start Width": 6, "End Width": 24,
    "Color": { "keyframes": [
      { "time": 0, "value": "#22d3ee" },
      { "time": 5, "value": "#ec4899" }
    ] }
  }
}
)json";

bool LeadsOut(const std::filesystem::path& name) {
  return name.is_absolute() || name.lexically_normal().string().starts_with("..");
}

// Every text in the file that names a plain file in its folder or below: the media, whatever their keys.
void CollectFiles(const stage::JsonNode& node, const std::filesystem::path& folder,
                  std::set<std::filesystem::path>& files) {
  if (node.kind == stage::JsonNode::Kind::kString) {
    std::error_code ignored;
    if (!node.text.empty() && !LeadsOut(node.text) && std::filesystem::is_regular_file(folder / node.text, ignored))
      files.insert(node.text);
  }
  for (const stage::JsonNode& item : node.items) CollectFiles(item, folder, files);
}

void RefuseExisting(const std::filesystem::path& file) {
  std::error_code ignored;
  if (!std::filesystem::exists(std::filesystem::symlink_status(file, ignored))) return;
  throw stage::InputError(fmt::format("'{}' exists; choose another name", file.string()));
}

constexpr std::size_t kLargestMedium = std::size_t{64} << 20;

void WriteWhole(const std::filesystem::path& file, std::string_view bytes) {
  PrepareFolder(file);
  stage::WriteWholeFile(file, bytes, stage::IfTaken::kFail);
}

// An existing file with the same content is left as it is.
void CopyMedium(const std::filesystem::path& from, const std::filesystem::path& to) {
  const std::string bytes = stage::ReadWholeFile(from, kLargestMedium);
  std::error_code ignored;
  if (std::filesystem::is_regular_file(to, ignored) && stage::ReadWholeFile(to, kLargestMedium) == bytes) return;
  RefuseExisting(to);
  WriteWhole(to, bytes);
}

// With the place of the schema as its first member, so that editors complete and check the scene.
std::string WithSchema(std::string scene) {
  const std::filesystem::path schema = SchemaFile();
  const std::size_t brace = scene.starts_with("{\n") ? 0 : scene.find("\n{\n");
  if (schema.empty() || brace == std::string::npos) return scene;
  const std::string line = "  \"$schema\": " + nlohmann::json(schema.string()).dump() + ",\n";
  return scene.insert(scene.find('{', brace) + 2, line);
}

void CopyPreset(const Preset& preset, const std::filesystem::path& file) {
  const std::string text = stage::ReadWholeFile(preset.file, stage::kMaxSceneBytes);
  std::set<std::filesystem::path> media;
  CollectFiles(stage::ParseJson(text, preset.file.string()), preset.file.parent_path(), media);
  for (const auto& medium : media) CopyMedium(preset.file.parent_path() / medium, file.parent_path() / medium);
  WriteWhole(file, WithSchema(text));
}

}  // namespace

void New(const NewRequest& request) {
  RefuseExisting(request.file);
  if (request.preset.empty()) {
    WriteWhole(request.file, WithSchema(std::string(kStarter)));
  } else {
    CopyPreset(FindPreset(request.preset), request.file);
  }
  Print("{}: look at it with: orvandel sheet {} -o sheet.png\n", request.file.string(), request.file.string());
}

void Presets(bool asJson) {
  const auto presets = AllPresets();
  if (!asJson) {
    std::vector<std::vector<std::string>> rows{{"name", "what it shows"}};
    for (const Preset& preset : presets) rows.push_back({preset.name, preset.description});
    Print("{}", TextTable(rows));
    return;
  }
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Preset& preset : presets) {
    list.push_back({{"name", preset.name}, {"description", preset.description}, {"file", preset.file.string()}});
  }
  Print("{}\n", list.dump(2));
}

}  // namespace orvandel::cli
