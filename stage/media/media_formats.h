// Pictures and films that the core does not read itself: stills of other kinds than PNG, and films. An Addition.
#pragma once

#include <filesystem>
#include <memory>

#include "stage/media/media_in.h"
#include "stage/picture/picture.h"
#include "stage/scene/scene.h"
#include "stage/scene/timebase.h"

namespace orvandel::stage {

// Both throw InputError with the file's name.
class MediaFormats {
 public:
  virtual ~MediaFormats() = default;
  // A film, which plays as described at OpenMedia; null: the file is a still.
  virtual std::unique_ptr<MediaSource> OpenMoving(const Media& media, const Timebase& time) const = 0;
  virtual Picture DecodeStill(const std::filesystem::path& file) const = 0;
};

}  // namespace orvandel::stage
