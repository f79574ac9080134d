#include "stage/media/background.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

#include "stage/media/media_in.h"
#include "stage/picture/light_curve.h"
#include "stage/picture/pixel_order.h"

namespace orvandel::stage {
namespace {

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

// Of numbers that are never negative.
std::uint32_t Nearest(double number) {
  const double raised = number + 0.5;
  return static_cast<std::uint32_t>(raised);
}

// What a stored value stands for in the sums, 0..1, and back.
struct Stored {
  double Value(std::uint16_t word) const { return word / 65535.0; }
  std::uint16_t Word(double value) const { return static_cast<std::uint16_t>(Nearest(value * 65535)); }
};
struct Light {
  const LightCurve& curve = LightCurve::The();
  double Value(std::uint16_t word) const { return curve.Light(word) / double{kFullLight}; }
  std::uint16_t Word(double value) const { return curve.Stored(Nearest(value * kFullLight)); }
};

// Lays rows over others, in place.
template <typename Units, Blend kBlend>
class Layer {
 public:
  Layer() {
    for (std::size_t i = 0; i < values_.size(); ++i)
      values_[i] = units_.Value(SixteenBits(static_cast<std::uint8_t>(i)));
  }

  void Lay(std::uint16_t* row, const std::uint8_t* behind, std::size_t pixels) const {
    for (; pixels > 0; --pixels, row += 4, behind += 4) {
      if (row[0] == 0) {
        for (std::size_t c = 0; c < 4; ++c) row[c] = SixteenBits(behind[c]);
      } else if (behind[0] == 255) {
        LayOverOpaque(row, behind);
      } else {
        LayOverTranslucent(row, behind);
      }
    }
  }

 private:
  void LayOverOpaque(std::uint16_t* pixel, const std::uint8_t* behind) const {
    const double alpha = pixel[0] / 65535.0;
    pixel[0] = 65535;
    for (std::size_t c = 1; c < 4; ++c) {
      pixel[c] = units_.Word(Laid<kBlend>(units_.Value(pixel[c]), alpha, values_[behind[c]]));
    }
  }

  // Sums as in stage/render/composite.h.
  void LayOverTranslucent(std::uint16_t* pixel, const std::uint8_t* behind) const {
    const double as = pixel[0] / 65535.0, ab = behind[0] / 255.0;
    const double alpha = kBlend == Blend::kAdd ? std::min(1.0, as + ab) : as + ab - as * ab;
    pixel[0] = static_cast<std::uint16_t>(Nearest(alpha * 65535));
    for (std::size_t c = 1; c < 4; ++c) {
      const double value = units_.Value(pixel[c]);
      double sum = Laid<kBlend>(value, as, values_[behind[c]] * ab);
      if constexpr (kBlend == Blend::kMultiply) sum += value * as * (1 - ab);
      pixel[c] = units_.Word(std::min(1.0, sum / alpha));
    }
  }

  Units units_;
  std::array<double, 256> values_{};  // of the bytes behind
};

// The background's rows, opaque: a medium over black, or a colour.
class RowsBehind {
 public:
  RowsBehind(std::shared_ptr<HostImage> image, std::uint32_t color, std::int32_t width)
      : image_(std::move(image)), row_(static_cast<std::size_t>(width) * 4, 255) {
    for (std::size_t i = 0; i < row_.size(); ++i) {
      if (i % 4 != 0) row_[i] = static_cast<std::uint8_t>(color >> (24 - 8 * (i % 4)));
    }
  }

  // Until the next one is asked for.
  const std::uint8_t* Row(std::int32_t y) {
    if (image_ != nullptr) CopyOverBlack(image_->Rows().Row(y), row_.data(), row_.size() / 4);
    return row_.data();
  }

 private:
  std::shared_ptr<HostImage> image_;
  std::vector<std::uint8_t> row_;
};

using RowBehind = std::function<const std::uint8_t*(std::int32_t y)>;

template <typename Units, Blend kBlend>
void LayAll(Picture16& picture, const RowBehind& behind) {
  const Layer<Units, kBlend> layer;
  const auto pixels = static_cast<std::size_t>(picture.width);
  for (std::int32_t y = 0; y < picture.height; ++y) {
    layer.Lay(picture.words.data() + 4 * pixels * static_cast<std::size_t>(y), behind(y), pixels);
  }
}

template <typename Units>
void LayBy(Blend blend, Picture16& picture, const RowBehind& behind) {
  switch (blend) {
    case Blend::kAdd:
      return LayAll<Units, Blend::kAdd>(picture, behind);
    case Blend::kScreen:
      return LayAll<Units, Blend::kScreen>(picture, behind);
    case Blend::kMultiply:
      return LayAll<Units, Blend::kMultiply>(picture, behind);
    default:
      return LayAll<Units, Blend::kNormal>(picture, behind);
  }
}

Picture16 LayOn(const RowBehind& behind, Picture16 picture, Blend blend, bool linear) {
  if (linear) {
    LayBy<Light>(blend, picture, behind);
  } else {
    LayBy<Stored>(blend, picture, behind);
  }
  return picture;
}

}  // namespace

Picture16 LaidOver(Picture16 picture, const PictureRows& behind, Blend blend, bool linear) {
  return LayOn([&](std::int32_t y) { return behind.Row(y); }, std::move(picture), blend, linear);
}

Background::Background(const Scene& scene, const OutputScale& scale) : scene_(scene) {
  if (!scene.background.medium) return;
  constexpr std::size_t kNoMoreThanNeeded = 0;  // frames that go on never come back to a picture
  pictures_ = std::make_unique<LayerPictures>(OpenMedia(*scene.background.medium, scene.time), scale, &scene,
                                              kNoMoreThanNeeded);
}

std::shared_ptr<HostImage> Background::PixelsAt(std::int32_t hostTime) {
  return pictures_ == nullptr ? nullptr : pictures_->At(hostTime);
}

Picture16 Background::PutBehind(Picture16 picture, std::int32_t hostTime) {
  RowsBehind behind(PixelsAt(hostTime), scene_.background.color.value_or(0), picture.width);
  return LayOn([&](std::int32_t y) { return behind.Row(y); }, std::move(picture), scene_.blend, scene_.linear);
}

Picture Background::PutBehind(const PictureRows& rows, std::int32_t hostTime) {
  Picture result(rows.width, rows.height);
  PutBehindInto(rows, hostTime, result.bytes.data(), static_cast<std::ptrdiff_t>(rows.RowSize()));
  return result;
}

void Background::PutBehindInto(const PictureRows& rows, std::int32_t hostTime, std::uint8_t* out,
                               std::ptrdiff_t rowBytes) {
  if (scene_.linear || scene_.blend != Blend::kNormal) {
    const Picture laid = Narrowed(PutBehind(Widened(rows), hostTime));
    for (std::int32_t y = 0; y < rows.height; ++y) {
      std::memcpy(out + rowBytes * y, PictureRows(laid).Row(y), rows.RowSize());
    }
    return;
  }
  RowsBehind behind(PixelsAt(hostTime), scene_.background.color.value_or(0), rows.width);
  for (std::int32_t y = 0; y < rows.height; ++y) {
    CopyOver(rows.Row(y), behind.Row(y), out + rowBytes * y, static_cast<std::size_t>(rows.width));
  }
}

}  // namespace orvandel::stage
