#include "stage/media/background.h"

#include <charconv>
#include <filesystem>
#include <string>

#include "stage/base/errors.h"
#include "stage/media/media_in.h"

namespace orvandel::stage {
namespace {

bool ParseColor(std::string_view text, std::array<std::uint8_t, 3>& color) {
  if (text.size() != 7 || text[0] != '#') return false;
  for (std::size_t i = 0; i < 3; ++i) {
    const char* digits = text.data() + 1 + 2 * i;
    const auto [end, error] = std::from_chars(digits, digits + 2, color[i], 16);
    if (error != std::errc() || end != digits + 2) return false;
  }
  return true;
}

std::uint8_t Over(std::uint8_t top, std::uint8_t alpha, std::uint8_t bottom) {
  return static_cast<std::uint8_t>((top * alpha + bottom * (255 - alpha) + 127) / 255);
}

}  // namespace

Background::Background(std::string_view text, const Scene& scene, std::int32_t downsample) {
  if (ParseColor(text, color_)) return;
  if (text.starts_with('#')) throw InputError("\"" + std::string(text) + "\" is not a colour; allowed is #rrggbb");
  const Media media{"background", std::filesystem::path(text), {0, 1}};
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
