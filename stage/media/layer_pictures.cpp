#include "stage/media/layer_pictures.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "stage/base/stage_clock.h"
#include "stage/picture/picture_scale.h"

namespace orvandel::stage {
namespace {

class TransparentSource final : public MediaSource {
 public:
  TransparentSource(std::int32_t width, std::int32_t height) : width_(width), height_(height) {}
  bool Moves() const override { return false; }
  std::int64_t KeyAt(std::int32_t) override { return 0; }
  Picture Decode(std::int64_t) override { return {width_, height_}; }
  bool IsScaled() const override { return true; }

 private:
  std::int32_t width_, height_;
};

}  // namespace

LayerPictures::LayerPictures(std::unique_ptr<MediaSource> source, const OutputScale& scale, const Scene* scene,
                             std::size_t mostBytes)
    : source_(std::move(source)),
      scale_(scale),
      mostBytes_(mostBytes),
      stretchTo_(scene == nullptr ? std::pair{0, 0} : std::pair{scene->width, scene->height}),
      keyAtStart_(source_->KeyAt(0)) {}

void LayerPictures::Forget() {
  kept_.clear();
  byKey_.clear();
  keptBytes_ = 0;
  keyAtStart_ = source_->KeyAt(0);
}

std::shared_ptr<HostImage> LayerPictures::At(std::int32_t hostTime) {
  const std::int64_t key = source_->KeyAt(hostTime);
  if (const auto found = byKey_.find(key); found != byKey_.end()) {
    kept_.splice(kept_.begin(), kept_, found->second);
    return kept_.front().image;
  }
  std::shared_ptr<HostImage> image = Prepare(key);
  if (image == nullptr) return std::make_shared<HostImage>(Scaled(Picture(1, 1)));
  kept_.push_front({key, image});
  byKey_[key] = kept_.begin();
  keptBytes_ += image->ByteCount();
  while (keptBytes_ > mostBytes_ && kept_.size() > 2) DropOldest();
  return image;
}

std::shared_ptr<HostImage> LayerPictures::Prepare(std::int64_t key) {
  const StageTimer reading(WorkStage::kReading);
  Picture picture = source_->Decode(key);
  if (picture.Empty()) return nullptr;
  return std::make_shared<HostImage>(source_->IsScaled() ? std::move(picture) : Scaled(std::move(picture)));
}

// Averages whole blocks of pixels where the output is 1/k of the scene, as when rendering small to save time; otherwise
// resamples to the output's size in one step.
Picture LayerPictures::Scaled(Picture picture) const {
  const auto stretched = [](Picture from, std::int32_t width, std::int32_t height) {
    const bool fits = from.width == width && from.height == height;
    return fits ? std::move(from) : StretchBicubic(from, width, height);
  };
  const auto [width, height] = stretchTo_;
  if (const std::int32_t k = scale_.Blocks(); k != 0) {
    if (width != 0) picture = stretched(std::move(picture), width, height);
    return k == 1 ? picture : AverageBlocks(picture, k);
  }
  if (width != 0) return stretched(std::move(picture), scale_.width, scale_.height);
  const auto side = [](std::int32_t pixels, double factor) {
    return std::max(1, static_cast<std::int32_t>(std::floor(pixels * factor + 0.5)));
  };
  const PixelMap map = scale_.Map();
  const std::int32_t scaledWidth = side(picture.width, map.x), scaledHeight = side(picture.height, map.y);
  return stretched(std::move(picture), scaledWidth, scaledHeight);
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
