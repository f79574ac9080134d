// Adds the pictures and films that the film libraries read to the stage's media formats.
#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "stage/base/addition.h"
#include "stage/films/film_reader.h"
#include "stage/films/frame_convert.h"
#include "stage/films/video_stream.h"
#include "stage/media/film_source.h"
#include "stage/media/media_formats.h"

namespace orvandel::stage {
namespace {

void MakeStraight(Picture& picture) {
  for (std::size_t i = 0; i < picture.bytes.size(); i += 4) {
    const unsigned alpha = picture.bytes[i];
    for (std::size_t k = i + 1; alpha != 0 && k < i + 4; ++k) {
      picture.bytes[k] = static_cast<std::uint8_t>(std::min(255U, (picture.bytes[k] * 255U + alpha / 2) / alpha));
    }
  }
}

class FilmFormats final : public MediaFormats {
 public:
  std::unique_ptr<MediaSource> OpenMoving(const Media& media, const Timebase& time) const override {
    auto stream = std::make_unique<VideoStream>(media.file);
    if (stream->IsStill()) return nullptr;
    return PlayedFilm(std::make_unique<FilmReader>(std::move(stream)), media, time);
  }

  Picture DecodeStill(const std::filesystem::path& file) const override {
    VideoStream stream(file);
    const AvFrame frame = NewFrame();
    if (!stream.Next(*frame)) stream.Fail("holds no picture");
    try {
      Picture picture = FrameConverter().Convert(*frame);
      if (stream.IsPremultiplied()) MakeStraight(picture);
      return picture;
    } catch (const std::runtime_error& error) {
      stream.Fail(error.what());
    }
  }
};

const FilmFormats formats;
const Addition<MediaFormats> entered(formats);

}  // namespace
}  // namespace orvandel::stage
