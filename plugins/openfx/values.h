// The parameters as one render sees them: each is read once for a time, so that a host's change in the middle of a
// frame does not mix old and new values, and a constant is read once for all times.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "plugins/openfx/instance.h"

namespace orvandel::ofx {

class Values {
 public:
  // Of a frame of the host. The references must outlive the values.
  Values(const Instance& instance, const Clock& clock, double frame);

  // The effect's parameter at a time of the clock.
  const RawValue& At(std::int32_t hostIndex, std::int32_t units);
  bool IsConstant(std::int32_t hostIndex) const { return TrackOf(hostIndex).constant; }
  std::int32_t Units() const { return units_; }      // of the frame
  const std::string& File() const { return file_; }  // the text of the file parameter
  // Whether a choice is taken at any time that the frame goes by.
  bool EverTakes(std::int32_t hostIndex, double choice) const;
  const ShownParam& ShownOf(std::int32_t hostIndex) const { return *TrackOf(hostIndex).shown; }
  // Equal keys, equal values at all times that the frame goes by.
  std::vector<double> Key() const;
  // Equal for frames at other times as long as no constant changes.
  std::vector<double> Constants() const;

 private:
  struct Track {
    const ShownParam* shown = nullptr;
    std::size_t place = 0;
    bool constant = false;
    RawValue value{};                                 // of a constant
    std::vector<RawValue> byTick;                     // of others, through ticks_
    RawValue atFrame{};                               // of others
    std::unordered_map<std::int32_t, RawValue> more;  // at times between and beyond, by units
  };
  void Load(Track& track);
  bool SeemsConstant(const Track& track) const;
  std::int32_t UnitsOfTick(std::int64_t tick) const;
  const Track& TrackOf(std::int32_t hostIndex) const {
    return tracks_[byHostIndex_[static_cast<std::size_t>(hostIndex)]];
  }

  const Instance& instance_;
  const Clock& clock_;
  double frame_;
  std::int32_t units_;
  // From the start to the first tick at or after the frame: waves born between two ticks go by the values of both.
  std::int64_t ticks_ = 0;
  std::vector<Track> tracks_;
  std::vector<std::size_t> byHostIndex_;  // place in tracks_
  std::string file_;
};

}  // namespace orvandel::ofx
