#include "cli/farm/farm_report.h"

#include <fmt/format.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

constexpr int kFormat = 1;
constexpr const char *kChunk = "chunk_", *kTries = ".tries";  // as the chunks' script names its files
constexpr std::size_t kMostNamed = 10;                        // faults in the text; the JSON has all

// One try of a chunk, as its script wrote it down.
struct Try {
  std::size_t chunk = 0;
  int number = 0;
  std::string node;
  double seconds = 0;
  int exitCode = 0;
};

std::vector<Try> TriesOf(const FarmJob& job) {
  std::vector<Try> tries;
  for (std::size_t chunk = 0; chunk < job.chunks.size(); ++chunk) {
    std::ifstream lines(job.LogFolder() / fmt::format("{}{}{}", kChunk, chunk, kTries));
    for (Try one; lines >> one.number >> one.node >> one.seconds >> one.exitCode;) {
      one.chunk = chunk;
      tries.push_back(one);
    }
  }
  return tries;
}

ordered_json TriesJson(const std::vector<Try>& tries) {
  ordered_json list = ordered_json::array();
  for (const Try& one : tries) {
    list.push_back({{"chunk", one.chunk},
                    {"try", one.number},
                    {"node", one.node},
                    {"seconds", one.seconds},
                    {"exit", one.exitCode}});
  }
  return list;
}

std::string TriesText(const std::vector<Try>& tries) {
  std::map<std::string, double> seconds;
  std::string failed;
  std::size_t failures = 0;
  for (const Try& one : tries) {
    seconds[one.node] += one.seconds;
    if (one.exitCode == 0 || ++failures > kMostNamed) continue;
    failed += fmt::format("failed try: chunk {} on {} after {:.0f} s, exit code {}\n", one.chunk, one.node, one.seconds,
                          one.exitCode);
  }
  if (failures > kMostNamed) failed += fmt::format("and {} more failed tries\n", failures - kMostNamed);
  for (const auto& [node, spent] : seconds) failed += fmt::format("machine {}: {:.0f} s\n", node, spent);
  return failed;
}

std::string ReportText(const FarmJob& job, const PictureCheck& check, const std::string& filmFault,
                       const std::vector<Try>& tries) {
  const std::size_t frames = job.FrameCount();
  std::string text =
      fmt::format("{}: {} of {} frames are complete\n", job.pictures, frames - check.faults.size(), frames);
  for (std::size_t i = 0; i < std::min(check.faults.size(), kMostNamed); ++i) {
    text += fmt::format("frame {}: {}\n", check.faults[i].frame, check.faults[i].reason);
  }
  if (check.faults.size() > kMostNamed) text += fmt::format("and {} more\n", check.faults.size() - kMostNamed);
  if (!check.fingerprint.empty()) text += fmt::format("fingerprint of all pixels: {}\n", check.fingerprint);
  if (!job.film.empty()) text += fmt::format("film {}: {}\n", job.film, filmFault.empty() ? "made" : filmFault);
  return text + TriesText(tries);
}

std::string WholeFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

std::filesystem::path TextFile(const FarmJob& job) { return job.folder / "report.txt"; }
std::filesystem::path ListFile(const FarmJob& job) { return job.folder / "frames.tsv"; }

}  // namespace

FarmReport WriteReport(const FarmJob& job, const PictureCheck& check, const std::string& filmFault) {
  const std::vector<Try> tries = TriesOf(job);
  FarmReport report{check.faults.empty() && filmFault.empty(), ReportText(job, check, filmFault, tries), {}};
  ordered_json missing = ordered_json::array(), damaged = ordered_json::array();
  for (const PictureFault& fault : check.faults) {
    if (fault.isMissing) {
      missing.push_back(fault.frame);
      continue;
    }
    damaged.push_back({{"frame", fault.frame}, {"reason", fault.reason}});
    report.damaged.push_back(fault.frame);
  }
  ordered_json json{{"format", kFormat},
                    {"ok", report.ok},
                    {"pictures", job.pictures},
                    {"frames", job.FrameCount()},
                    {"whole", job.FrameCount() - check.faults.size()},
                    {"missing", missing},
                    {"damaged", damaged},
                    {"fingerprint", check.fingerprint}};
  if (!job.film.empty()) json["film"] = {{"file", job.film}, {"made", filmFault.empty()}, {"reason", filmFault}};
  json["tries"] = TriesJson(tries);
  WriteTextFile(ListFile(job), check.list);
  WriteTextFile(TextFile(job), report.text);
  WriteTextFile(job.ReportFile(), json.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n");
  return report;
}

std::optional<FarmReport> ReadReport(const FarmJob& job) {
  const auto json = ordered_json::parse(WholeFile(job.ReportFile()), nullptr, false);
  if (!json.is_object() || json.value("format", 0) != kFormat) return std::nullopt;
  FarmReport report{json.value("ok", false), WholeFile(TextFile(job)), {}};
  for (const auto& fault : json.value("damaged", ordered_json::array())) {
    report.damaged.push_back(fault.value("frame", -1));
  }
  return report;
}

void RemoveTries(const FarmJob& job) {
  std::error_code ignored;
  std::vector<std::filesystem::path> old;
  for (const auto& entry : std::filesystem::directory_iterator(job.LogFolder(), ignored)) {
    const bool isOurs = entry.path().filename().string().starts_with(kChunk) && entry.path().extension() == kTries;
    if (isOurs) old.push_back(entry.path());
  }
  for (const auto& file : old) std::filesystem::remove(file, ignored);
}

void RemoveReports(const FarmJob& job) {
  std::error_code ignored;
  for (const auto& file : {job.ReportFile(), TextFile(job), ListFile(job)}) std::filesystem::remove(file, ignored);
}

}  // namespace orvandel::cli
