// Resume points in files, so that a render that begins late in a scene begins near its first frame.
//
// A folder holds those of one scene, program and setting, which the caller, who names it, must ensure. A file that is
// damaged, of another folder, or of another machine's byte order, is skipped with a note; one that cannot be written
// gives a note, and the render goes on without it. Any number of processes may share a folder.
//
// NAME-TICK.state, numbers in the order of the machine that wrote it:
//   0  8  "orvstate"
//   8  4  2, the form of this file
//  12  4  tick
//  16  8  checksum of the folder's name, NAME and the state
//  24     the state, as the effect handed it over
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "stage/module/resume_points.h"

namespace orvandel::stage {

class SnapshotFiles final : public ResumePoints {
 public:
  using Tell = std::function<void(const std::string&)>;
  // `spacing`: ticks from one state to the next, above 0.
  SnapshotFiles(std::filesystem::path folder, std::string name, std::int32_t spacing, Tell tell);

  bool Wants(std::int32_t tick, std::int32_t from, std::int32_t to) override;
  void Keep(std::int32_t tick, std::span<const std::uint8_t> bytes) override;
  std::span<const std::uint8_t> Latest(std::int32_t atOrBefore, std::int32_t& tick) override;
  void Clear() override {}  // files are for sequences and processes to come

 private:
  std::filesystem::path FileOf(std::int32_t tick) const;
  bool Load(std::int32_t tick);

  std::filesystem::path folder_;
  std::string name_;
  std::int32_t spacing_;
  Tell tell_;
  bool isWritable_ = true;
  std::set<std::int32_t> ticks_;  // of the files that exist
  std::int32_t loadedTick_ = -1;
  std::vector<std::uint8_t> loaded_;  // the file
};

}  // namespace orvandel::stage
