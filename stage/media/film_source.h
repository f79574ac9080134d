// A film as a scene's medium, independent of the decoder.
#pragma once

#include <cstdint>
#include <memory>

#include "stage/media/media_in.h"
#include "stage/picture/picture.h"
#include "stage/scene/scene.h"
#include "stage/scene/timebase.h"

namespace orvandel::stage {

// A film's pictures by their time stamps. Every function throws InputError with the file's name.
class FilmPictures {
 public:
  virtual ~FilmPictures() = default;

  // Seconds from one time stamp to the next whole number.
  virtual Rational Unit() const = 0;
  virtual bool HasSeveralPictures() const = 0;
  // The time of the last picture whose time is <= `time`; of the first one when there is none.
  virtual std::int64_t TimeOfPictureAt(std::int64_t time) = 0;
  // `pictureTime`: a result of TimeOfPictureAt. Empty: not available yet, as with MediaSource.
  virtual Picture Decode(std::int64_t pictureTime) = 0;
};

// The film as it plays in a scene, see OpenMedia.
std::unique_ptr<MediaSource> PlayedFilm(std::unique_ptr<FilmPictures> film, const Media& media, const Timebase& time);

}  // namespace orvandel::stage
