#include "stage/films/film_limits.h"

#include <fmt/format.h>

#include "stage/ffmpeg/ffmpeg_support.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace orvandel::stage {

bool CanBeFilm(std::int32_t width, std::int32_t height) {
  const AvComplaints unheard;
  return av_image_check_size(static_cast<unsigned>(width), static_cast<unsigned>(height), 0, nullptr) >= 0;
}

std::string FilmLibraries() {
  const auto text = [](const char* name, unsigned version) {
    return fmt::format("{} {}.{}.{}", name, version >> 16, version >> 8 & 255, version & 255);
  };
  return fmt::format("{}, {}, {}, {}", text("libavformat", avformat_version()), text("libavcodec", avcodec_version()),
                     text("libavutil", avutil_version()), text("libswscale", swscale_version()));
}

}  // namespace orvandel::stage
