#include "cli/render/render_record.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "stage/base/errors.h"
#include "stage/base/partial_file.h"

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

constexpr int kFormat = 2;  // records of other formats are ignored

RunParts PartsIn(const ordered_json& json) {
  RunParts parts;
  if (!json.is_object()) return parts;
  for (const auto& [name, value] : json.items()) {
    if (value.is_string()) parts.emplace(name, value.get<std::string>());
  }
  return parts;
}

std::string DifferenceOf(const RenderRun& other, const RenderRun& run) {
  if (other.settings != run.settings) return fmt::format("other settings ({}; now {})", other.settings, run.settings);
  if (other.scene != run.scene) return "another scene than the one given, or of an earlier state of it";
  for (const auto& [name, hash] : run.parts) {
    const auto found = other.parts.find(name);
    if (found == other.parts.end() || found->second != hash) return fmt::format("another state of {}", name);
  }
  return "other files";
}

}  // namespace

bool RenderRecord::IsKeptFor(const Output& output) {
  return output.kind == OutputKind::kPictures && output.pattern.HasNumber();
}

RenderRecord::RenderRecord(const Output& output) : pattern_(output.pattern), name_(pattern_.Text()) {
  if (!IsKeptFor(output)) return;
  const std::filesystem::path pictures(name_);
  file_ = pictures.parent_path() / fmt::format(".{}.scene", stage::ShortStem(pictures.filename().string()));
}

std::vector<RenderRun> RenderRecord::Runs() const {
  if (pattern_.Existing().empty()) return {};  // somebody removed them, and sees no record, which is a hidden file
  std::ifstream stream(file_, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  const auto json = ordered_json::parse(text.str(), nullptr, false);
  std::vector<RenderRun> runs;
  if (!json.is_object() || json.value("format", 0) != kFormat || !json.contains("runs")) return runs;
  for (const auto& run : json["runs"]) {
    const RunParts words = PartsIn(run);
    const auto word = [&](const char* key) { return words.contains(key) ? words.at(key) : std::string(); };
    runs.push_back({word("scene"), word("settings"), PartsIn(run.value("parts", ordered_json::object()))});
  }
  return runs;
}

void RenderRecord::RefuseOther(const RenderRun& run) const {
  if (file_.empty()) return;
  for (const RenderRun& other : Runs()) {
    if (other == run) continue;
    throw stage::InputError(
        fmt::format("--resume: the pictures of '{}' are of {}; remove them, choose another name, or "
                    "--overwrite",
                    name_, DifferenceOf(other, run)));
  }
}

void RenderRecord::Enter(const RenderRun& run, bool replacesAll) const {
  if (file_.empty()) return;
  std::vector<RenderRun> runs = replacesAll ? std::vector<RenderRun>{} : Runs();
  if (std::find(runs.begin(), runs.end(), run) == runs.end()) runs.push_back(run);
  ordered_json list = ordered_json::array();
  for (const RenderRun& each : runs) {
    list.push_back({{"scene", each.scene}, {"settings", each.settings}, {"parts", each.parts}});
  }
  const std::string text = ordered_json{{"about", "what these pictures were rendered from, for orvandel --resume"},
                                        {"format", kFormat},
                                        {"runs", std::move(list)}}
                               .dump(2) +
                           "\n";
  stage::WriteWholeFile(file_, text, stage::IfTaken::kReplace);
}

}  // namespace orvandel::cli
