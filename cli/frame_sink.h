// Where rendered frames go: numbered pictures, one picture, or a film.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "stage/picture.h"
#include "stage/video_out.h"

namespace orvandel::cli {

// Frames are put in the order in which they are rendered. Destroyed without Finish, a film leaves no file; pictures
// that were put stay, each of them whole.
class FrameSink {
 public:
  virtual ~FrameSink() = default;
  virtual void Put(std::int32_t frame, const stage::Picture& picture) = 0;
  virtual void Finish() = 0;
  virtual std::string Name() const = 0;  // what was written, for the person who asked
};

// Chooses by the output's extension, makes its folder when it is missing, and refuses what cannot work before
// anything is rendered: InputError for names and frame orders, WorkError for folders that cannot be made.
std::unique_ptr<FrameSink> OpenSink(std::string_view output, const std::vector<std::int32_t>& frames,
                                    const stage::FilmOptions& film);

}  // namespace orvandel::cli
