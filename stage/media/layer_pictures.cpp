#include "stage/media/layer_pictures.h"

#include <iterator>

#include "stage/picture/picture_scale.h"

namespace orvandel::stage {
namespace {

// Every frame of a scene whose waves keep the picture of their birth asks for the pictures of all waves alive: about
// sixty at full HD are kept. Beyond that a film is decoded again from the oldest wave on, every frame.
constexpr std::size_t kMostBytes = std::size_t{512} << 20;

class TransparentSource final : public MediaSource {
 public:
  TransparentSource(std::int32_t width, std::int32_t height) : width_(width), height_(height) {}
  bool Moves() const override { return false; }
  std::int64_t KeyAt(std::int32_t) override { return 0; }
  Picture Decode(std::int64_t) override { return {width_, height_}; }

 private:
  std::int32_t width_, height_;
};

}  // namespace

LayerPictures::LayerPictures(std::unique_ptr<MediaSource> source, std::int32_t downsample,
                             std::pair<std::int32_t, std::int32_t> stretchTo)
    : source_(std::move(source)), downsample_(downsample), stretchTo_(stretchTo), keyAtStart_(source_->KeyAt(0)) {}

std::shared_ptr<HostImage> LayerPictures::At(std::int32_t hostTime) {
  const std::int64_t key = source_->KeyAt(hostTime);
  if (const auto found = byKey_.find(key); found != byKey_.end()) {
    kept_.splice(kept_.begin(), kept_, found->second);
    return kept_.front().image;
  }
  std::shared_ptr<HostImage> image = Prepare(key);
  kept_.push_front({key, image});
  byKey_[key] = kept_.begin();
  keptBytes_ += image->ByteCount();
  while (keptBytes_ > kMostBytes && kept_.size() > 2) DropOldest();
  return image;
}

std::shared_ptr<HostImage> LayerPictures::Prepare(std::int64_t key) {
  Picture picture = source_->Decode(key);
  const auto [width, height] = stretchTo_;
  if (width != 0 && (picture.width != width || picture.height != height)) {
    picture = StretchBicubic(picture, width, height);
  }
  return std::make_shared<HostImage>(downsample_ == 1 ? picture : AverageBlocks(picture, downsample_));
}

// The picture at time 0 is compared by the effect before every frame and stays.
void LayerPictures::DropOldest() {
  auto oldest = std::prev(kept_.end());
  if (oldest->key == keyAtStart_) oldest = std::prev(oldest);
  keptBytes_ -= oldest->image->ByteCount();
  byKey_.erase(oldest->key);
  kept_.erase(oldest);
}

std::unique_ptr<MediaSource> TransparentMedia(std::int32_t width, std::int32_t height) {
  return std::make_unique<TransparentSource>(width, height);
}

}  // namespace orvandel::stage
