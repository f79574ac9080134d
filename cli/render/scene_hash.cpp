#include "cli/render/scene_hash.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string_view>
#include <utility>
#include <variant>

#include "cli/render/content_hash.h"
#include "stage/reports/media_use.h"
#include "stage/scene/json_tree.h"
#include "stage/scene/sequence_name.h"

namespace orvandel::cli {
namespace {

void AddTree(ContentHash& hash, const stage::JsonNode& node) {
  hash.Add(fmt::format("{} {} {}", static_cast<int>(node.kind), node.truth, node.items.size()));
  hash.Add(node.text);
  for (const std::string& key : node.keys) hash.Add(key);
  for (const stage::JsonNode& item : node.items) AddTree(hash, item);
}

bool Mentions(const stage::JsonNode& node, std::string_view word) {
  return node.text.find(word) != std::string::npos ||
         std::any_of(node.items.begin(), node.items.end(), [&](const auto& item) { return Mentions(item, word); });
}

// Loops begin anew with it, and formulas may ask for it by its name.
bool GoesByDuration(const stage::JsonNode& tree, const stage::Scene& scene, const stage::ReadOptions& options) {
  constexpr std::string_view kName = "duration";
  return scene.time.loop != 0 || Mentions(tree, kName) ||
         std::any_of(options.sets.begin(), options.sets.end(),
                     [&](const std::string& set) { return set.find(kName) != std::string::npos; });
}

std::string MasksHash(const stage::Scene& scene) {
  ContentHash hash;
  for (const stage::Mask& mask : scene.masks) {
    for (const stage::MaskKey& key : mask.keys) {
      hash.Add(fmt::format("{} {} {}", key.time, key.path.closed, key.path.segments.size()));
      for (const stage::Cubic& cubic : key.path.segments) {
        for (const stage::PointValue& point : {cubic.p0, cubic.c1, cubic.c2, cubic.p3}) {
          hash.Add(point.x);
          hash.Add(point.y);
        }
      }
    }
  }
  return hash.Text();
}

class FileHashes {
 public:
  explicit FileHashes(std::filesystem::path folder) : folder_(std::move(folder)) {}

  // One file, or the pictures of a numbered sequence.
  void Add(const std::filesystem::path& file) {
    // From another folder the same scene has other names in front of its files.
    const std::filesystem::path within = file.lexically_relative(folder_);
    std::string& text = hashes_[(within.empty() ? file : within).string()];
    if (!text.empty()) return;
    ContentHash hash;
    if (const auto sequence = stage::ParseSequenceName(file)) {
      for (const std::int64_t number : sequence->Existing()) AddOne(sequence->FileOf(number), hash);
    } else {
      AddOne(file, hash);
    }
    text = hash.Text();
  }
  std::map<std::string, std::string> Take() { return std::move(hashes_); }

 private:
  void AddOne(const std::filesystem::path& file, ContentHash& hash) {
    std::error_code none;
    const std::uintmax_t size = std::filesystem::file_size(file, none);
    hash.Add(fmt::format("{}", size));
    if (size > contentLeft_) {
      hash.Add(fmt::format("{}", std::filesystem::last_write_time(file, none).time_since_epoch().count()));
      return;
    }
    contentLeft_ -= size;
    std::ifstream stream(file, std::ios::binary);
    std::vector<char> block(std::size_t{1} << 16);
    while (stream.read(block.data(), static_cast<std::streamsize>(block.size())), stream.gcount() > 0) {
      hash.AddBytes(block.data(), static_cast<std::size_t>(stream.gcount()));
    }
  }

  std::filesystem::path folder_;  // of the scene
  std::uintmax_t contentLeft_ = 256'000'000;
  std::map<std::string, std::string> hashes_;
};

}  // namespace

std::string SceneHash(const std::string& sceneText, const stage::Scene& scene, const stage::ReadOptions& options) {
  const stage::JsonNode tree = stage::ParseJson(sceneText, scene.file.string());
  const bool goesByDuration = GoesByDuration(tree, scene, options);
  ContentHash hash;
  for (std::size_t i = 0; i < tree.keys.size(); ++i) {
    const std::string& key = tree.keys[i];
    if (key == "$schema" || key == "sound" || (key == "duration" && !goesByDuration)) continue;
    hash.Add(key);
    AddTree(hash, tree.items[i]);
  }
  for (const std::string& option : options.sets) hash.Add(option);
  for (const std::string* option : {&options.size, &options.frameRate}) hash.Add(*option);
  if (goesByDuration) hash.Add(options.duration);
  return hash.Text();
}

std::string FileHash(const std::filesystem::path& file) {
  FileHashes files({});
  files.Add(file);
  return files.Take().begin()->second;
}

std::map<std::string, std::string> PartHashes(const stage::Scene& scene, const stage::ParamCatalog& catalog) {
  FileHashes files(scene.file.parent_path());
  if (scene.input && stage::NoteOfUnseen(scene, catalog).empty()) files.Add(scene.input->file);
  if (scene.background.medium) files.Add(scene.background.medium->file);
  for (std::size_t i = 0; i < scene.layers.size(); ++i) {
    if (stage::IsLayerUsed(i, scene, catalog)) files.Add(scene.layers[i].file);
  }
  for (const stage::Emitter& emitter : scene.emitters) {
    for (const stage::Track& track : emitter.tracks) {
      for (const stage::NumberSource& source : track.sources) {
        if (const auto* audio = std::get_if<stage::AudioSource>(&source)) files.Add(audio->file);
      }
    }
  }
  auto parts = files.Take();
  if (!scene.masks.empty()) parts.emplace("the masks", MasksHash(scene));
  return parts;
}

}  // namespace orvandel::cli
