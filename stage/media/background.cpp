#include "stage/media/background.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

#include "stage/media/media_in.h"
#include "stage/picture/light_curve.h"
#include "stage/picture/pixel_order.h"

namespace orvandel::stage {
namespace {

std::uint8_t Over(std::uint8_t top, std::uint8_t alpha, std::uint8_t bottom) {
  return static_cast<std::uint8_t>((top * alpha + bottom * (255 - alpha) + 127) / 255);
}

// The three channels of a background's pixel, which stands over black.
using Rgb = std::array<std::uint8_t, 3>;

class BackgroundPixels {
 public:
  explicit BackgroundPixels(const Picture& pixels) : pixels_(pixels), keepsAlpha_(true) {}
  BackgroundPixels(const Picture& pixels, std::uint32_t color) : pixels_(pixels) {
    for (std::size_t c = 0; c < 3; ++c) color_[c] = static_cast<std::uint8_t>(color >> (16 - 8 * c) & 0xFFu);
  }

  // The pixel itself, where it stays translucent; otherwise null.
  const std::uint8_t* TranslucentAt(std::size_t at) const {
    return keepsAlpha_ && pixels_.bytes[at] != 255 ? &pixels_.bytes[at] : nullptr;
  }

  // `at`: of the pixel's first sample.
  Rgb At(std::size_t at) const {
    if (pixels_.Empty()) return color_;
    const std::uint8_t* pixel = &pixels_.bytes[at];
    return {Over(pixel[1], pixel[0], 0), Over(pixel[2], pixel[0], 0), Over(pixel[3], pixel[0], 0)};
  }

 private:
  const Picture& pixels_;
  Rgb color_{};
  bool keepsAlpha_ = false;
};

// Both 0..1, the backdrop opaque.
template <Blend kBlend>
double Laid(double source, double alpha, double backdrop) {
  const double share = source * alpha;
  switch (kBlend) {
    case Blend::kAdd:
      return std::min(1.0, share + backdrop);
    case Blend::kScreen:
      return share + backdrop - share * backdrop;
    case Blend::kMultiply:
      return backdrop * (1 - alpha) + share * backdrop;
    default:
      return share + backdrop * (1 - alpha);
  }
}

// What a stored value stands for in the sums, 0..1, and back.
struct Stored {
  double Value(std::uint16_t word) const { return word / 65535.0; }
  std::uint16_t Word(double value) const { return static_cast<std::uint16_t>(value * 65535 + 0.5); }
};
struct Light {
  const LightCurve& curve = LightCurve::The();
  double Value(std::uint16_t word) const { return curve.Light(word) / double{kFullLight}; }
  std::uint16_t Word(double value) const { return curve.Stored(static_cast<std::uint32_t>(value * kFullLight + 0.5)); }
};

// Over a translucent pixel; sums as in stage/render/composite.h.
template <typename Units, Blend kBlend>
void LayPixel(const Units& units, const std::uint16_t* top, const std::uint8_t* below, std::uint16_t* out) {
  const double as = top[0] / 65535.0, ab = below[0] / 255.0;
  const double alpha = kBlend == Blend::kAdd ? std::min(1.0, as + ab) : as + ab - as * ab;
  out[0] = static_cast<std::uint16_t>(alpha * 65535 + 0.5);
  for (std::size_t c = 1; c < 4; ++c) {
    const double value = units.Value(top[c]);
    double sum = Laid<kBlend>(value, as, units.Value(SixteenBits(below[c])) * ab);
    if constexpr (kBlend == Blend::kMultiply) sum += value * as * (1 - ab);
    out[c] = units.Word(std::min(1.0, sum / alpha));
  }
}

template <typename Units, Blend kBlend>
Picture16 LayAll(const Picture16& picture, const BackgroundPixels& background) {
  const Units units;
  Picture16 result(picture.width, picture.height);
  for (std::size_t at = 0; at < picture.words.size(); at += 4) {
    const std::uint16_t* top = &picture.words[at];
    std::uint16_t* out = &result.words[at];
    if (const std::uint8_t* below = background.TranslucentAt(at)) {
      if (top[0] != 0) {
        LayPixel<Units, kBlend>(units, top, below, out);
      } else {
        for (std::size_t c = 0; c < 4; ++c) out[c] = SixteenBits(below[c]);
      }
      continue;
    }
    const Rgb behind = background.At(at);
    const double alpha = top[0] / 65535.0;
    out[0] = 65535;
    for (std::size_t c = 0; c < 3; ++c) {
      const std::uint16_t bottom = SixteenBits(behind[c]);
      out[1 + c] = top[0] == 0 ? bottom : units.Word(Laid<kBlend>(units.Value(top[1 + c]), alpha, units.Value(bottom)));
    }
  }
  return result;
}

template <typename Units>
Picture16 LayBy(Blend blend, const Picture16& picture, const BackgroundPixels& background) {
  switch (blend) {
    case Blend::kAdd:
      return LayAll<Units, Blend::kAdd>(picture, background);
    case Blend::kScreen:
      return LayAll<Units, Blend::kScreen>(picture, background);
    case Blend::kMultiply:
      return LayAll<Units, Blend::kMultiply>(picture, background);
    default:
      return LayAll<Units, Blend::kNormal>(picture, background);
  }
}

Picture16 LayOn(const BackgroundPixels& background, const Picture16& picture, Blend blend, bool linear) {
  return linear ? LayBy<Light>(blend, picture, background) : LayBy<Stored>(blend, picture, background);
}

}  // namespace

Picture16 LaidOver(const Picture16& picture, const Picture& behind, Blend blend, bool linear) {
  return LayOn(BackgroundPixels(behind), picture, blend, linear);
}

Background::Background(const Scene& scene, const OutputScale& scale) : scene_(scene) {
  if (!scene.background.medium) return;
  constexpr std::size_t kNoMoreThanNeeded = 0;  // frames that go on never come back to a picture
  pictures_ = std::make_unique<LayerPictures>(OpenMedia(*scene.background.medium, scene.time), scale, &scene,
                                              kNoMoreThanNeeded);
}

Picture Background::PixelsAt(std::int32_t hostTime) {
  return pictures_ == nullptr ? Picture() : CopyOf(pictures_->At(hostTime)->Rows());
}

Picture16 Background::PutBehind(const Picture16& picture, std::int32_t hostTime) {
  const Picture pixels = PixelsAt(hostTime);
  const BackgroundPixels background(pixels, scene_.background.color.value_or(0));
  return LayOn(background, picture, scene_.blend, scene_.linear);
}

Picture Background::PutBehind(const PictureRows& rows, std::int32_t hostTime) {
  Picture result(rows.width, rows.height);
  PutBehindInto(rows, hostTime, result.bytes.data(), static_cast<std::ptrdiff_t>(rows.RowSize()));
  return result;
}

void Background::PutBehindInto(const PictureRows& rows, std::int32_t hostTime, std::uint8_t* out,
                               std::ptrdiff_t rowBytes) {
  if (scene_.linear || scene_.blend != Blend::kNormal) {
    const Picture laid = Narrowed(PutBehind(Widened(CopyOf(rows)), hostTime));
    for (std::int32_t y = 0; y < rows.height; ++y) {
      std::memcpy(out + rowBytes * y, PictureRows(laid).Row(y), rows.RowSize());
    }
    return;
  }
  const std::shared_ptr<HostImage> image = pictures_ == nullptr ? nullptr : pictures_->At(hostTime);
  const std::uint32_t color = scene_.background.color.value_or(0);
  std::vector<std::uint8_t> behind(rows.RowSize(), 255);
  for (std::size_t i = 0; i < behind.size(); ++i) {
    if (i % 4 != 0) behind[i] = static_cast<std::uint8_t>(color >> (24 - 8 * (i % 4)));
  }
  const auto pixels = static_cast<std::size_t>(rows.width);
  for (std::int32_t y = 0; y < rows.height; ++y) {
    if (image != nullptr) CopyOverBlack(image->Rows().Row(y), behind.data(), pixels);
    CopyOver(rows.Row(y), behind.data(), out + rowBytes * y, pixels);
  }
}

}  // namespace orvandel::stage
