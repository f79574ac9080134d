#include "stage/media/media_in.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "stage/base/errors.h"
#include "stage/films/film_reader.h"
#include "stage/films/frame_convert.h"
#include "stage/films/video_stream.h"
#include "stage/scene/sequence_name.h"

namespace orvandel::stage {
namespace {

// How many units (of `unit` seconds each) lie between the medium's start and the look-up for `hostTime`, rounded down
// or to the nearest. Exact: the products of three 64-bit words at most need more than 64 bits, so they are done in 128.
std::int64_t UnitsSinceStart(std::int32_t hostTime, std::int32_t timeScale, Rational start, Rational unit,
                             bool toNearest) {
  __extension__ typedef __int128 Wide;
  Wide above = ((Wide{hostTime} + 1) * start.den - Wide{start.num} * timeScale) * unit.den * 2;
  const Wide below = Wide{timeScale} * start.den * unit.num * 2;
  if (toNearest) above += below / 2;
  const Wide quotient = above / below - (above % below < 0 ? 1 : 0);
  constexpr Wide kFar = INT64_MAX;
  return static_cast<std::int64_t>(std::clamp(quotient, -kFar, kFar));
}

Picture DecodeStill(VideoStream& stream) {
  const AvFrame frame = NewFrame();
  if (!stream.Next(*frame)) stream.Fail("holds no picture");
  try {
    return FrameConverter().Convert(*frame);
  } catch (const std::runtime_error& error) {
    stream.Fail(error.what());
  }
}

// The file is read when it is opened, so that a damaged one shows then; the picture is handed out once without a copy
// kept, and decoded again should it be asked for again.
class StillSource final : public MediaSource {
 public:
  StillSource(std::filesystem::path file, VideoStream& stream) : file_(std::move(file)), first_(DecodeStill(stream)) {}

  bool Moves() const override { return false; }
  std::int64_t KeyAt(std::int32_t) override { return 0; }
  Picture Decode(std::int64_t) override {
    if (!first_.Empty()) return std::exchange(first_, Picture());
    VideoStream stream(file_);
    return DecodeStill(stream);
  }

 private:
  std::filesystem::path file_;
  Picture first_;
};

class SequenceSource final : public MediaSource {
 public:
  SequenceSource(SequenceName name, const Media& media, const Timebase& time)
      : name_(std::move(name)), start_(media.start.num), timeStep_(time.timeStep) {
    const std::vector<std::int64_t> numbers = name_.Existing();
    if (numbers.empty()) throw InputError(media.file.string() + ": no file has such a name");
    first_ = numbers.front();
    last_ = numbers.back();
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      const std::int64_t due = first_ + static_cast<std::int64_t>(i);
      if (numbers[i] != due) throw InputError(name_.FileOf(due).string() + ": is missing from its sequence");
    }
  }

  bool Moves() const override { return last_ > first_; }

  std::int64_t KeyAt(std::int32_t hostTime) override {
    const std::int64_t picture = (std::int64_t{hostTime} + 1) / timeStep_;
    // Clamped before and after the start is taken off, which so cannot leave the range of an integer.
    const std::int64_t start = std::clamp<std::int64_t>(start_, -kFarStart, kFarStart);
    return first_ + std::clamp<std::int64_t>(picture - start, 0, last_ - first_);
  }

  Picture Decode(std::int64_t key) override {
    VideoStream stream(name_.FileOf(key));
    return DecodeStill(stream);
  }

 private:
  static constexpr std::int64_t kFarStart = std::int64_t{1} << 40;

  SequenceName name_;
  std::int64_t start_;  // pictures
  std::int32_t timeStep_;
  std::int64_t first_ = 0, last_ = 0;
};

class FilmSource final : public MediaSource {
 public:
  FilmSource(std::unique_ptr<FilmReader> film, const Media& media, const Timebase& time)
      : film_(std::move(film)), start_(media.start), timeScale_(time.timeScale) {}

  bool Moves() const override { return film_->HasSeveralPictures(); }
  std::int64_t KeyAt(std::int32_t hostTime) override {
    // Containers that count milliseconds round every time to the nearest: a picture due at 66.73 ms says 67.
    const AVRational base = film_->TimeBase();
    const bool rounded = base.num == 1 && base.den == 1000;
    return film_->TimeOfPictureAt(UnitsSinceStart(hostTime, timeScale_, start_, {base.num, base.den}, rounded));
  }
  Picture Decode(std::int64_t key) override { return film_->Decode(key); }

 private:
  std::unique_ptr<FilmReader> film_;
  Rational start_;
  std::int32_t timeScale_;
};

template <typename Work>
auto AtPlace(const std::string& place, const Work& work) {
  try {
    return work();
  } catch (const InputError& error) {
    if (place.empty()) throw;
    throw InputError(place + ": " + error.what());
  }
}

// Decoders know files; whoever has to mend the scene needs the place that names the file as well.
class PlacedSource final : public MediaSource {
 public:
  PlacedSource(std::unique_ptr<MediaSource> source, std::string place)
      : source_(std::move(source)), place_(std::move(place)) {}

  bool Moves() const override { return source_->Moves(); }
  std::int64_t KeyAt(std::int32_t hostTime) override {
    return AtPlace(place_, [&] { return source_->KeyAt(hostTime); });
  }
  Picture Decode(std::int64_t key) override {
    return AtPlace(place_, [&] { return source_->Decode(key); });
  }

 private:
  std::unique_ptr<MediaSource> source_;
  std::string place_;
};

std::unique_ptr<MediaSource> Open(const Media& media, const Timebase& time) {
  if (auto sequence = ParseSequenceName(media.file)) {
    return std::make_unique<SequenceSource>(std::move(*sequence), media, time);
  }
  auto stream = std::make_unique<VideoStream>(media.file);
  if (stream->IsStill()) return std::make_unique<StillSource>(media.file, *stream);
  return std::make_unique<FilmSource>(std::make_unique<FilmReader>(std::move(stream)), media, time);
}

}  // namespace

std::unique_ptr<MediaSource> OpenMedia(const Media& media, const Timebase& time) {
  return std::make_unique<PlacedSource>(AtPlace(media.place, [&] { return Open(media, time); }), media.place);
}

}  // namespace orvandel::stage
