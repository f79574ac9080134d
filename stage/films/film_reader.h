// A film as pictures by time. Times are the stream's own time stamps.
//
// Two decoded pictures are held, the current one and the next, because the current one lasts until the next one's time.
// The order of times seen so far is kept, so a time that has been passed is looked up without decoding. A short way
// forward is decoded; going back, or far forward, seeks.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "stage/films/frame_convert.h"
#include "stage/films/video_stream.h"
#include "stage/media/film_source.h"
#include "stage/picture/picture.h"

namespace orvandel::stage {

class FilmReader final : public FilmPictures {
 public:
  // Decodes the first picture. Throws InputError, as every function does.
  explicit FilmReader(std::unique_ptr<VideoStream> stream);

  Rational Unit() const override { return {stream_->TimeBase().num, stream_->TimeBase().den}; }
  bool HasSeveralPictures() const override { return severalPictures_; }
  std::int64_t TimeOfPictureAt(std::int64_t time) override;
  Picture Decode(std::int64_t pictureTime) override;

 private:
  void GoTo(std::int64_t time);
  void Begin();
  bool Step();
  bool CurrentStandsAt(std::int64_t time) const;

  std::unique_ptr<VideoStream> stream_;
  FrameConverter converter_;
  AvFrame current_, next_;
  bool atEnd_ = false;  // no picture follows current_; next_ is empty
  bool severalPictures_ = false;
  std::int64_t firstTime_ = 0;
  std::map<std::int64_t, std::int64_t> followers_;  // time of a picture -> time of the next; the last: kNever
};

}  // namespace orvandel::stage
