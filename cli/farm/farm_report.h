// What became of a farm's render, for people (report.txt) and programs (report.json), with the hash of every frame's
// pixels (frames.tsv).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/farm/farm_job.h"
#include "cli/farm/picture_check.h"

namespace orvandel::cli {

struct FarmReport {
  bool ok = false;
  std::string text;                   // report.txt
  std::vector<std::int32_t> damaged;  // frames
};

// `filmFault`: why there is no film; empty where it was made or none is wanted. Writes the files. WorkError.
FarmReport WriteReport(const FarmJob& job, const PictureCheck& check, const std::string& filmFault);

// Nothing where there is none.
std::optional<FarmReport> ReadReport(const FarmJob& job);

// Before work begins that would make them untrue.
void RemoveReports(const FarmJob& job);

// What the tasks of an earlier job in this folder wrote down of their tries, before a new one begins.
void RemoveTries(const FarmJob& job);

}  // namespace orvandel::cli
