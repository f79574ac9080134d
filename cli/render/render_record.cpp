#include "cli/render/render_record.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "stage/base/errors.h"
#include "stage/base/partial_file.h"
#include "stage/scene/json_tree.h"

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

// FNV-1a, twice 64 bits: enough to distinguish scenes, no protection against forgery.
class Hash {
 public:
  void Add(std::string_view bytes) {
    for (const char c : bytes) AddByte(static_cast<unsigned char>(c));
    AddByte(bytes.size() & 0xFFu);  // so that moving a letter to the neighbour changes the hash
  }
  std::string Text() const { return fmt::format("{:016x}{:016x}", first_, second_); }

 private:
  void AddByte(std::uint64_t byte) {
    constexpr std::uint64_t kPrime = 0x100000001B3;
    first_ = (first_ ^ byte) * kPrime;
    second_ = (second_ ^ (byte + 0x55)) * kPrime;
  }
  std::uint64_t first_ = 0xCBF29CE484222325, second_ = 0x9AE16A3B2F90404F;
};

void AddTree(Hash& hash, const stage::JsonNode& node) {
  hash.Add(fmt::format("{} {} {}", static_cast<int>(node.kind), node.truth, node.items.size()));
  hash.Add(node.text);
  for (const std::string& key : node.keys) hash.Add(key);
  for (const stage::JsonNode& item : node.items) AddTree(hash, item);
}

void AddMedium(Hash& hash, const std::filesystem::path& file) {
  std::error_code none;
  hash.Add(file.string());
  hash.Add(fmt::format("{}", std::filesystem::file_size(file, none)));
  hash.Add(fmt::format("{}", std::filesystem::last_write_time(file, none).time_since_epoch().count()));
}

}  // namespace

std::string SceneHash(const std::string& sceneText, const stage::Scene& scene,
                      const std::vector<std::string>& options) {
  Hash hash;
  AddTree(hash, stage::ParseJson(sceneText, scene.file.string()));
  for (const std::string& option : options) hash.Add(option);
  if (scene.input) AddMedium(hash, scene.input->file);
  for (const stage::Media& layer : scene.layers) AddMedium(hash, layer.file);
  return hash.Text();
}

RenderRecord::RenderRecord(const Output& output) : name_(output.pattern.Text()) {
  if (output.kind != OutputKind::kPictures || !output.pattern.HasNumber()) return;
  const std::filesystem::path pictures(name_);
  file_ = pictures.parent_path() / fmt::format(".{}.scene", stage::ShortStem(pictures.filename().string()));
}

std::vector<RenderRun> RenderRecord::Runs() const {
  std::ifstream stream(file_, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  const auto json = ordered_json::parse(text.str(), nullptr, false);
  std::vector<RenderRun> runs;
  if (!json.is_object() || !json.contains("runs") || !json["runs"].is_array()) return runs;
  for (const auto& run : json["runs"]) {
    const auto word = [&](const char* key) {
      return run.is_object() && run.contains(key) && run[key].is_string() ? run[key].get<std::string>() : "";
    };
    runs.push_back({word("scene"), word("settings")});
  }
  return runs;
}

void RenderRecord::RefuseOther(const RenderRun& run) const {
  if (file_.empty()) return;
  for (const RenderRun& other : Runs()) {
    if (other == run) continue;
    const std::string difference = other.scene != run.scene
                                       ? std::string("another scene than the one given, or of an earlier state of it")
                                       : fmt::format("other settings ({}; now {})", other.settings, run.settings);
    throw stage::InputError(fmt::format("--resume: the pictures of '{}' are of {}; choose another name, or --overwrite",
                                        name_, difference));
  }
}

void RenderRecord::Enter(const RenderRun& run, bool replacesAll) const {
  if (file_.empty()) return;
  std::vector<RenderRun> runs = replacesAll ? std::vector<RenderRun>{} : Runs();
  if (std::find(runs.begin(), runs.end(), run) == runs.end()) runs.push_back(run);
  ordered_json list = ordered_json::array();
  for (const RenderRun& each : runs) list.push_back({{"scene", each.scene}, {"settings", each.settings}});
  const std::string text = ordered_json{{"about", "what these pictures were rendered from, for orvandel --resume"},
                                        {"format", 1},
                                        {"runs", std::move(list)}}
                               .dump(2) +
                           "\n";
  stage::PartialFile partial(file_, stage::IfTaken::kReplace);
  partial.Write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  partial.Keep();
}

}  // namespace orvandel::cli
