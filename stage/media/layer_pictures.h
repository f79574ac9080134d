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
#include "stage/scene/output_scale.h"

namespace orvandel::stage {

class LayerPictures {
 public:
  // Every frame of a scene whose waves keep the picture of their birth asks for the pictures of all waves alive: about
  // sixty at full HD are kept. Beyond that a film is decoded again from the oldest wave on, every frame.
  static constexpr std::size_t kMostBytes = std::size_t{512} << 20;

  // `scene`: what every picture is stretched to first; null: it keeps its own size. Two pictures are always kept.
  LayerPictures(std::unique_ptr<MediaSource> source, const OutputScale& scale, const Scene* scene = nullptr,
                std::size_t mostBytes = kMostBytes);

  bool Moves() const { return source_->Moves(); }
  // The source may show other pictures than those kept.
  void Forget();
  // Throws InputError when the medium cannot be read there. A picture that is not available yet is replaced by a
  // transparent one, which is not kept.
  std::shared_ptr<HostImage> At(std::int32_t hostTime);

 private:
  struct Kept {
    std::int64_t key;
    std::shared_ptr<HostImage> image;
  };
  std::shared_ptr<HostImage> Prepare(std::int64_t key);  // null: not available yet
  Picture Scaled(Picture picture) const;
  void DropOldest();

  std::unique_ptr<MediaSource> source_;
  OutputScale scale_;
  std::size_t mostBytes_;
  std::pair<std::int32_t, std::int32_t> stretchTo_;  // full-size; (0, 0): the pictures' own
  std::int64_t keyAtStart_;
  std::list<Kept> kept_;  // the most recently asked for first
  std::unordered_map<std::int64_t, std::list<Kept>::iterator> byKey_;
  std::size_t keptBytes_ = 0;
};

// Fully transparent, for all time, of the output's size.
std::unique_ptr<MediaSource> TransparentMedia(std::int32_t width, std::int32_t height);

}  // namespace orvandel::stage
