// The scene's media: stills, numbered sequences and films, as the picture shown at a host time.
#pragma once

#include <cstdint>
#include <memory>

#include "stage/picture/picture.h"
#include "stage/scene/scene.h"
#include "stage/scene/timebase.h"

namespace orvandel::stage {

// Every function throws InputError with the medium's place and the file's name.
class MediaSource {
 public:
  virtual ~MediaSource() = default;

  // Whether different times may show different pictures.
  virtual bool Moves() const = 0;
  // Which picture is shown at `hostTime`: equal keys, equal pictures. The look-up is one host unit later, because the
  // effect may ask one unit early.
  virtual std::int64_t KeyAt(std::int32_t hostTime) = 0;
  // The picture of a key, at its own size. Empty: it is not available yet, and the frame has to be drawn again once it
  // is.
  virtual Picture Decode(std::int64_t key) = 0;
  // Whether it has the output's size already, rather than the medium's own.
  virtual bool IsScaled() const { return false; }
};

// A still is shown at all times. A numbered sequence plays at the scene's frame rate from the first number there is;
// its `media.start` counts pictures: a whole number, the scene's frame at which it begins. A film goes by its own time
// stamps; its `media.start` is the scene time in seconds at which it begins. Before the start and after the end the
// first and the last picture stand.
std::unique_ptr<MediaSource> OpenMedia(const Media& media, const Timebase& time);

}  // namespace orvandel::stage
