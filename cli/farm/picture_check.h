// Whether a farm's pictures exist and are complete.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/farm/farm_job.h"
#include "cli/progress.h"

namespace orvandel::cli {

// Frames whose files are not whole pictures of the right form, by their beginnings and ends alone: quick, and what a
// resumed render would render.
std::vector<std::int32_t> FramesMissing(const FarmJob& job, const std::vector<std::int32_t>& chunk);

struct PictureFault {
  std::int32_t frame = 0;
  bool isMissing = false;  // else there is a file, which is damaged or something else
  std::string reason;
};
struct PictureCheck {
  std::vector<PictureFault> faults;  // by frame
  std::string list;                  // of what is whole: frame, width, height, a hash of the pixels
  std::string fingerprint;           // of all pixels; empty where any are missing
};
// Decodes every picture, on all processors that this process may use. Interrupted.
PictureCheck CheckPictures(const FarmJob& job, Progress& progress);

// Removes these frames' files where they still are no pictures that can be decoded: a resumed render keeps whatever
// looks whole. Files of another size are left for the render to refuse.
void RemoveDamaged(const FarmJob& job, const std::vector<std::int32_t>& frames);

}  // namespace orvandel::cli
