#include "stage/films/film_reader.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace orvandel::stage {
namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
// Up to about the distance of key pictures, decoding is cheaper than a seek, which first goes back to a key picture.
constexpr std::int64_t kSecondsToDecodeOn = 4;

}  // namespace

FilmReader::FilmReader(std::unique_ptr<VideoStream> stream)
    : stream_(std::move(stream)), current_(NewFrame()), next_(NewFrame()) {
  Begin();
  firstTime_ = current_->pts;
  severalPictures_ = !atEnd_;
}

// Fills current_ and next_ from the stream's position.
void FilmReader::Begin() {
  if (!stream_->Next(*current_)) stream_->Fail("holds no picture");
  atEnd_ = !stream_->Next(*next_);
  followers_[current_->pts] = atEnd_ ? kNever : next_->pts;
}

bool FilmReader::Step() {
  if (atEnd_) return false;
  std::swap(current_, next_);
  atEnd_ = !stream_->Next(*next_);
  followers_[current_->pts] = atEnd_ ? kNever : next_->pts;
  return true;
}

bool FilmReader::CurrentStandsAt(std::int64_t time) const {
  return current_->pts <= time && (atEnd_ || next_->pts > time);
}

void FilmReader::GoTo(std::int64_t time) {
  const Rational unit = Unit();
  const std::int64_t reach = kSecondsToDecodeOn * unit.den / std::max<std::int64_t>(unit.num, 1);
  const bool onward = current_->pts <= time && (atEnd_ || time - current_->pts <= reach);
  if (!onward) {
    stream_->GoBefore(time);
    Begin();
    if (current_->pts > time) {  // the file's index led too far
      stream_->Restart();
      Begin();
    }
  }
  while (!CurrentStandsAt(time) && current_->pts <= time && Step()) {
  }
}

std::int64_t FilmReader::TimeOfPictureAt(std::int64_t time) {
  if (time <= firstTime_) return firstTime_;
  const auto after = followers_.upper_bound(time);
  if (after != followers_.begin()) {
    const auto& [picture, follower] = *std::prev(after);
    if (follower > time) return picture;
  }
  GoTo(time);
  return current_->pts;
}

Picture FilmReader::Decode(std::int64_t pictureTime) {
  if (current_->pts != pictureTime) GoTo(pictureTime);
  try {
    return converter_.Convert(*current_);
  } catch (const std::runtime_error& error) {
    stream_->Fail(error.what());
  }
}

}  // namespace orvandel::stage
