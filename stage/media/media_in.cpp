#include "stage/media/media_in.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/media/media_formats.h"
#include "stage/scene/sequence_name.h"
#include "stage/stills/png_file.h"

namespace orvandel::stage {
namespace {

const MediaFormats& FurtherFormats(const std::filesystem::path& file) {
  const MediaFormats* formats = Addition<MediaFormats>::Find();
  if (formats == nullptr)
    throw InputError(file.string() + ": is not a PNG picture, and this program reads no other media");
  return *formats;
}

Picture DecodeStill(const std::filesystem::path& file) {
  return IsPng(file) ? ReadPng(file) : FurtherFormats(file).DecodeStill(file);
}

// The file is read when it is opened, so that a damaged one shows then; the picture is handed out once without a copy
// kept, and decoded again should it be asked for again.
class StillSource final : public MediaSource {
 public:
  explicit StillSource(std::filesystem::path file) : file_(std::move(file)), first_(DecodeStill(file_)) {}

  bool Moves() const override { return false; }
  std::int64_t KeyAt(std::int32_t) override { return 0; }
  Picture Decode(std::int64_t) override {
    if (!first_.Empty()) return std::exchange(first_, Picture());
    return DecodeStill(file_);
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
    const std::int64_t later = std::int64_t{hostTime} + 1;
    const std::int64_t picture = later / timeStep_ - (later < 0 && later % timeStep_ != 0 ? 1 : 0);
    // Clamped before and after the start is taken off, which so cannot leave the range of an integer.
    const std::int64_t start = std::clamp<std::int64_t>(start_, -kFarStart, kFarStart);
    return first_ + std::clamp<std::int64_t>(picture - start, 0, last_ - first_);
  }

  Picture Decode(std::int64_t key) override { return DecodeStill(name_.FileOf(key)); }

 private:
  static constexpr std::int64_t kFarStart = std::int64_t{1} << 40;

  SequenceName name_;
  std::int64_t start_;  // pictures
  std::int32_t timeStep_;
  std::int64_t first_ = 0, last_ = 0;
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

// Decoders know only the file; the person who mends the scene needs the place in it that names the file.
class PlacedSource final : public MediaSource {
 public:
  PlacedSource(std::unique_ptr<MediaSource> source, std::string place, const Timebase& time)
      : source_(std::move(source)), place_(std::move(place)), time_(time) {}

  bool Moves() const override { return source_->Moves(); }
  std::int64_t KeyAt(std::int32_t hostTime) override {
    return AtPlace(place_, [&] { return source_->KeyAt(time_.SceneTime(hostTime)); });
  }
  Picture Decode(std::int64_t key) override {
    return AtPlace(place_, [&] { return source_->Decode(key); });
  }

 private:
  std::unique_ptr<MediaSource> source_;
  std::string place_;
  Timebase time_;
};

std::unique_ptr<MediaSource> Open(const Media& media, const Timebase& time) {
  if (auto sequence = ParseSequenceName(media.file)) {
    return std::make_unique<SequenceSource>(std::move(*sequence), media, time);
  }
  if (!IsPng(media.file)) {
    if (auto film = FurtherFormats(media.file).OpenMoving(media, time)) return film;
  }
  return std::make_unique<StillSource>(media.file);
}

}  // namespace

std::unique_ptr<MediaSource> OpenMedia(const Media& media, const Timebase& time) {
  if (media.open) return media.open();
  return std::make_unique<PlacedSource>(AtPlace(media.place, [&] { return Open(media, time); }), media.place, time);
}

}  // namespace orvandel::stage
