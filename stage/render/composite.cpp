#include "stage/render/composite.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "stage/picture/light_curve.h"

namespace orvandel::stage {
namespace {

using Pixel = std::array<float, 4>;  // alpha, then the three colours times alpha

// One channel; for alpha itself the two values are the alphas.
template <Blend kBlend>
float Blended(float source, float backdrop, float sourceAlpha, float backdropAlpha) {
  switch (kBlend) {
    case Blend::kAdd:
      return std::min(1.0F, source + backdrop);
    case Blend::kScreen:
      return source + backdrop - source * backdrop;
    case Blend::kMultiply:
      return source * (1 - backdropAlpha) + backdrop * (1 - sourceAlpha) + source * backdrop;
    default:
      return source + backdrop * (1 - sourceAlpha);
  }
}

template <Blend kBlend>
void LayRow(const std::uint8_t* row, std::size_t bytes, float opacity, const std::array<float, 256>& colors,
            float* canvas) {
  for (std::size_t at = 0; at < bytes; at += 4) {
    if (row[at] == 0) continue;  // leaves the canvas as it is in every mode
    Pixel source;
    source[0] = static_cast<float>(row[at]) / 255 * opacity;
    for (std::size_t i = 1; i < 4; ++i) source[i] = colors[row[at + i]] * source[0];
    const float backdropAlpha = canvas[at];
    for (std::size_t i = 0; i < 4; ++i) {
      canvas[at + i] = Blended<kBlend>(source[i], canvas[at + i], source[0], backdropAlpha);
    }
  }
}

template <Blend kBlend>
void LayAll(const PictureRows& picture, float opacity, const std::array<float, 256>& colors,
            std::vector<float>& canvas) {
  for (std::int32_t y = 0; y < picture.height; ++y) {
    float* const under = canvas.data() + picture.RowSize() * static_cast<std::size_t>(y);
    LayRow<kBlend>(picture.Row(y), picture.RowSize(), opacity, colors, under);
  }
}

std::uint16_t Word(float unit) {
  // NOLINTNEXTLINE(bugprone-incorrect-roundings): never negative, and far from where floats have no halves
  return static_cast<std::uint16_t>(std::clamp(unit, 0.0F, 1.0F) * 65535 + 0.5F);
}

}  // namespace

Compositor::Compositor(std::int32_t width, std::int32_t height, bool linear)
    : width_(width),
      height_(height),
      linear_(linear),
      values_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4) {
  for (std::size_t i = 0; i < colors_.size(); ++i) {
    const auto stored = static_cast<std::uint8_t>(i);
    colors_[i] = linear ? static_cast<float>(LightCurve::The().Light(SixteenBits(stored))) / kFullLight
                        : static_cast<float>(stored) / 255;
  }
}

void Compositor::Lay(const PictureRows& picture, Blend blend, double opacity) {
  const auto share = static_cast<float>(opacity);
  switch (blend) {
    case Blend::kNormal:
      return LayAll<Blend::kNormal>(picture, share, colors_, values_);
    case Blend::kAdd:
      return LayAll<Blend::kAdd>(picture, share, colors_, values_);
    case Blend::kScreen:
      return LayAll<Blend::kScreen>(picture, share, colors_, values_);
    case Blend::kMultiply:
      return LayAll<Blend::kMultiply>(picture, share, colors_, values_);
  }
}

std::uint16_t Compositor::WordOf(float color) const {
  if (!linear_) return Word(color);
  return LightCurve::The().Stored(static_cast<std::uint32_t>(std::min(color, 1.0F) * kFullLight));
}

Picture16 Compositor::Result() const {
  Picture16 picture(width_, height_);
  for (std::size_t at = 0; at < values_.size(); at += 4) {
    const float alpha = values_[at];
    if (Word(alpha) == 0) continue;
    picture.words[at] = Word(alpha);
    for (std::size_t i = 1; i < 4; ++i) picture.words[at + i] = WordOf(values_[at + i] / alpha);
  }
  return picture;
}

}  // namespace orvandel::stage
