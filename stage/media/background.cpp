#include "stage/media/background.h"

#include <filesystem>
#include <string>

#include "stage/base/color_text.h"
#include "stage/base/errors.h"
#include "stage/media/media_in.h"

namespace orvandel::stage {
namespace {

std::uint8_t Over(std::uint8_t top, std::uint8_t alpha, std::uint8_t bottom) {
  return static_cast<std::uint8_t>((top * alpha + bottom * (255 - alpha) + 127) / 255);
}

}  // namespace

Background::Background(std::string_view text, const Scene& scene, std::int32_t downsample) {
  if (const auto color = ParseColor(text)) {
    for (std::size_t i = 0; i < 3; ++i) color_[i] = static_cast<std::uint8_t>(*color >> (16 - 8 * i) & 0xFFu);
    return;
  }
  if (text.starts_with('#')) {
    throw InputError("--background: \"" + std::string(text) + "\" is not a colour; allowed is #rrggbb");
  }
  const Media media{"background", std::filesystem::path(text), {0, 1}, "--background"};
  pictures_ =
      std::make_unique<LayerPictures>(OpenMedia(media, scene.time), downsample, std::pair{scene.width, scene.height});
}

Picture Background::Behind(const Picture& picture, std::int32_t hostTime) {
  const Picture behind = pictures_ == nullptr ? Picture() : pictures_->At(hostTime)->ToPicture();
  Picture result(picture.width, picture.height);
  for (std::size_t at = 0; at < picture.bytes.size(); at += 4) {
    const std::uint8_t* top = &picture.bytes[at];
    result.bytes[at] = 255;
    for (std::size_t channel = 1; channel < 4; ++channel) {
      const std::uint8_t bottom =
          behind.Empty() ? color_[channel - 1] : Over(behind.bytes[at + channel], behind.bytes[at], 0);
      result.bytes[at + channel] = Over(top[channel], top[0], bottom);
    }
  }
  return result;
}

}  // namespace orvandel::stage
