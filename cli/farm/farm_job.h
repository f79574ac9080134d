// One render on a farm, as it is written down in its folder (farm.json): what to render, in which chunks, and what was
// submitted.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/farm/chunks.h"
#include "cli/output_pattern.h"
#include "cli/render/output.h"

namespace orvandel::cli {

using Words = std::vector<std::string>;

struct FarmJob {
  std::filesystem::path folder;  // of the scripts, logs and reports; absolute, as all names here
  std::string program, version;  // "/usr/bin/orvandel", "1.1.0"
  std::string pictures;          // their pattern
  PictureForm form;
  Chunks chunks;
  Words render;  // a chunk's command, but for its frames
  std::string film;
  Words filmCommand;  // empty: no film is wanted
  int tries = 3;      // of a chunk, within its task
  // For Slurm.
  std::string name;
  Words everyJob, arrayOnly;    // options
  int atOnce = 0;               // tasks; 0: as many as the farm has room for
  std::string arrayId, joinId;  // of what was submitted last; empty: nothing

  std::filesystem::path PictureOf(std::int32_t frame) const { return OutputPattern(pictures).For(frame); }
  std::filesystem::path ChunkScript() const { return folder / "chunk.sh"; }
  std::filesystem::path JoinScript() const { return folder / "join.sh"; }
  std::filesystem::path ReportFile() const { return folder / "report.json"; }
  std::filesystem::path LogFolder() const { return folder / "log"; }
  std::size_t FrameCount() const;
};

// WorkError.
void SaveFarmJob(const FarmJob& job);
// InputError when there is none in the folder, or one of another form.
FarmJob LoadFarmJob(const std::filesystem::path& folder);

// A whole text file in one go, so that readers see the old or the new one. WorkError.
void WriteTextFile(const std::filesystem::path& file, const std::string& text);

}  // namespace orvandel::cli
