#include "cli/farm/farm_job.h"

#include <fmt/format.h>

#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>

#include "cli/frame_list.h"
#include "stage/base/errors.h"
#include "stage/base/partial_file.h"

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

constexpr int kFormat = 1;

std::filesystem::path FileIn(const std::filesystem::path& folder) { return folder / "farm.json"; }

Chunks ChunksIn(const ordered_json& json) {
  Chunks chunks;
  for (const auto& text : json) {
    chunks.push_back(ParseFrameList(text.get<std::string>(), std::numeric_limits<std::int32_t>::max()));
  }
  return chunks;
}

FarmJob JobIn(const ordered_json& json, const std::filesystem::path& folder) {
  FarmJob job;
  job.folder = folder;
  job.program = json.at("program");
  job.version = json.at("version");
  job.pictures = json.at("pictures");
  job.form = {json.at("width"), json.at("height"), json.at("depth")};
  job.chunks = ChunksIn(json.at("chunks"));
  job.render = json.at("render").get<Words>();
  job.film = json.at("film");
  job.filmCommand = json.at("filmCommand").get<Words>();
  job.tries = json.at("tries");
  job.name = json.at("name");
  job.everyJob = json.at("everyJob").get<Words>();
  job.arrayOnly = json.at("arrayOnly").get<Words>();
  job.atOnce = json.at("atOnce");
  job.arrayId = json.at("arrayId");
  job.joinId = json.at("joinId");
  return job;
}

}  // namespace

std::size_t FarmJob::FrameCount() const {
  std::size_t count = 0;
  for (const auto& chunk : chunks) count += chunk.size();
  return count;
}

void WriteTextFile(const std::filesystem::path& file, const std::string& text) {
  stage::WriteWholeFile(file, text, stage::IfTaken::kReplace);
}

void SaveFarmJob(const FarmJob& job) {
  Words chunks;
  for (const auto& chunk : job.chunks) chunks.push_back(RunsText(chunk, Steps::kWritten));
  const ordered_json json{{"about", "a render on a farm: orvandel farm status, resume and join read this"},
                          {"format", kFormat},
                          {"program", job.program},
                          {"version", job.version},
                          {"pictures", job.pictures},
                          {"width", job.form.width},
                          {"height", job.form.height},
                          {"depth", job.form.depth},
                          {"render", job.render},
                          {"chunks", chunks},
                          {"film", job.film},
                          {"filmCommand", job.filmCommand},
                          {"tries", job.tries},
                          {"name", job.name},
                          {"everyJob", job.everyJob},
                          {"arrayOnly", job.arrayOnly},
                          {"atOnce", job.atOnce},
                          {"arrayId", job.arrayId},
                          {"joinId", job.joinId}};
  WriteTextFile(FileIn(job.folder), json.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n");
}

FarmJob LoadFarmJob(const std::filesystem::path& folder) {
  const std::filesystem::path absolute = std::filesystem::absolute(folder).lexically_normal();
  std::ifstream stream(FileIn(absolute), std::ios::binary);
  if (!stream) {
    throw stage::InputError(
        fmt::format("{}: has no farm.json; give the folder that orvandel farm printed, NAME.farm", folder.string()));
  }
  try {
    const auto json = ordered_json::parse(stream);
    if (json.at("format") == kFormat) return JobIn(json, absolute);
  } catch (const std::exception&) {
    throw stage::InputError(
        fmt::format("{}: is damaged, or was not written by orvandel farm", FileIn(absolute).string()));
  }
  throw stage::InputError(fmt::format("{}: was written by another version of this program", FileIn(absolute).string()));
}

}  // namespace orvandel::cli
