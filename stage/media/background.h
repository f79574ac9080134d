// What an opaque output shows behind the effect's picture: a colour, a picture, a numbered sequence or a film.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>

#include "stage/media/layer_pictures.h"
#include "stage/picture/picture.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

class Background {
 public:
  // "#rrggbb" or a file's name, which plays at the scene's times and is stretched to the scene's size. InputError.
  Background(std::string_view text, const Scene& scene, std::int32_t downsample);

  // The picture over the background that stands at `hostTime`; opaque. Each channel is
  // (colour x alpha + background x (255 - alpha) + 127) / 255 in integers, where the background itself stands over
  // black.
  Picture Behind(const Picture& picture, std::int32_t hostTime);

 private:
  std::array<std::uint8_t, 3> color_{};
  std::unique_ptr<LayerPictures> pictures_;  // null: the colour
};

}  // namespace orvandel::stage
