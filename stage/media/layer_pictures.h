// One medium's pictures as the effect gets them: at the render's size, in padded memory, the recent ones kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>
#include <utility>

#include "stage/media/media_in.h"
#include "stage/picture/host_image.h"

namespace orvandel::stage {

class LayerPictures {
 public:
  // `stretchTo`: full-size width and height that every picture is brought to first; (0, 0): its own size.
  LayerPictures(std::unique_ptr<MediaSource> source, std::int32_t downsample,
                std::pair<std::int32_t, std::int32_t> stretchTo = {0, 0});

  bool Moves() const { return source_->Moves(); }
  // Throws InputError when the medium cannot be read there.
  std::shared_ptr<HostImage> At(std::int32_t hostTime);

 private:
  struct Kept {
    std::int64_t key;
    std::shared_ptr<HostImage> image;
  };
  std::shared_ptr<HostImage> Prepare(std::int64_t key);
  void DropOldest();

  std::unique_ptr<MediaSource> source_;
  std::int32_t downsample_;
  std::pair<std::int32_t, std::int32_t> stretchTo_;
  std::int64_t keyAtStart_;
  std::list<Kept> kept_;  // the most recently asked for first
  std::unordered_map<std::int64_t, std::list<Kept>::iterator> byKey_;
  std::size_t keptBytes_ = 0;
};

// Fully transparent, for all time.
std::unique_ptr<MediaSource> TransparentMedia(std::int32_t width, std::int32_t height);

}  // namespace orvandel::stage
