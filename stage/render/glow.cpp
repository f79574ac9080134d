#include "stage/render/glow.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "stage/base/wide_code.h"
#include "stage/picture/light_curve.h"

namespace orvandel::stage {
namespace {

constexpr std::uint64_t kFullAlpha = 65535;

using Planes = GlowRoom::Planes;

std::uint64_t TimesAlpha(std::uint64_t value, std::uint64_t alpha) {
  return (value * alpha + kFullAlpha / 2) / kFullAlpha;
}

void TakeLightOverBlack(const Picture16& picture, bool linear, Planes& light) {
  const LightCurve& curve = LightCurve::The();
  const std::size_t pixels = picture.words.size() / 4;
  for (LightPlane& plane : light) plane.resize(pixels);
  for (std::size_t i = 0; i < pixels; ++i) {
    const std::uint16_t* const pixel = &picture.words[4 * i];
    const std::uint16_t alpha = pixel[0];
    for (std::size_t c = 0; c < 3; ++c) {
      light[c][i] = alpha == 0 ? 0
                    : linear   ? static_cast<std::uint32_t>(TimesAlpha(curve.Light(pixel[1 + c]), alpha))
                               : curve.Light(static_cast<std::uint16_t>(TimesAlpha(pixel[1 + c], alpha)));
    }
  }
}

// Where nothing is too dark to glow, that is the light itself.
const Planes& BrightParts(const Planes& light, double threshold, Planes& bright) {
  const std::uint64_t t = LightCurve::The().Light(static_cast<std::uint16_t>(std::floor(threshold * 65535 + 0.5)));
  if (t == 0) return light;
  bright = light;
  for (std::size_t i = 0; i < light[0].size(); ++i) {
    const std::uint64_t most = std::max({light[0][i], light[1][i], light[2][i]});
    for (LightPlane& plane : bright) {
      plane[i] = most > t ? static_cast<std::uint32_t>(plane[i] * (most - t) / most) : 0;
    }
  }
  return bright;
}

// Light is at most 2^24, and converting it as signed words is what vector units can do.
ORVANDEL_WIDE_CODE void AddHalo(const std::uint32_t* narrow, const std::uint32_t* wide, double strength,
                                std::uint32_t* light, std::size_t pixels) {
  const auto number = [](std::uint32_t value) -> double { return static_cast<std::int32_t>(value); };
  for (std::size_t i = 0; i < pixels; ++i) {
    const double sum = number(light[i]) + strength * 0.5 * (number(narrow[i]) + number(wide[i]));
    const double raised = (sum < double{kFullLight} ? sum : double{kFullLight}) + 0.5;
    light[i] = static_cast<std::uint32_t>(static_cast<std::int32_t>(raised));
  }
}

// Of numbers below 2^52, by the divisor's share of 1: which is rounded, so that the quotient may be off by one.
std::uint64_t Quotient(std::uint64_t number, std::uint64_t divisor, double share) {
  auto quotient = static_cast<std::int64_t>(static_cast<double>(static_cast<std::int64_t>(number)) * share);
  const std::int64_t rest = static_cast<std::int64_t>(number) - quotient * static_cast<std::int64_t>(divisor);
  quotient += rest < 0 ? -1 : rest >= static_cast<std::int64_t>(divisor) ? 1 : 0;
  return static_cast<std::uint64_t>(quotient);
}

// The light with the halo added, as a picture again, in place of the one it came from.
void BecomePicture(const Planes& light, bool linear, Picture16& picture) {
  const LightCurve& curve = LightCurve::The();
  for (std::size_t i = 0; i < light[0].size(); ++i) {
    std::uint16_t* const pixel = &picture.words[4 * i];
    const std::uint32_t most = std::max({light[0][i], light[1][i], light[2][i]});
    const std::uint64_t needed = linear ? (most * kFullAlpha + kFullLight / 2) / kFullLight : curve.Stored(most);
    const std::uint64_t alpha = std::max<std::uint64_t>(pixel[0], needed);
    if (alpha == 0) {
      std::fill_n(pixel, 4, std::uint16_t{0});
      continue;
    }
    const double share = 1.0 / static_cast<double>(static_cast<std::int64_t>(alpha));
    pixel[0] = static_cast<std::uint16_t>(alpha);
    for (std::size_t c = 0; c < 3; ++c) {
      const std::uint64_t shown = linear ? light[c][i] : curve.Stored(light[c][i]);
      const std::uint64_t alone = Quotient(shown * kFullAlpha + alpha / 2, alpha, share);
      pixel[1 + c] = linear ? curve.Stored(static_cast<std::uint32_t>(std::min<std::uint64_t>(alone, kFullLight)))
                            : static_cast<std::uint16_t>(std::min(alone, kFullAlpha));
    }
  }
}

}  // namespace

Picture16 WithGlow(Picture16 picture, const Glow& glow, double scale, bool linear, GlowRoom& room) {
  TakeLightOverBlack(picture, linear, room.light);
  const Planes& bright = BrightParts(room.light, glow.threshold, room.bright);
  const double radius = glow.radius * scale;
  const Box narrow = BoxOf(radius / 8), wide = BoxOf(radius / 2);
  for (std::size_t c = 0; c < 3; ++c) {
    Spread(bright[c], room.narrow, picture.width, picture.height, narrow);
    Spread(bright[c], room.wide, picture.width, picture.height, wide);
    AddHalo(room.narrow.data(), room.wide.data(), glow.strength, room.light[c].data(), room.light[c].size());
  }
  BecomePicture(room.light, linear, picture);
  return picture;
}

}  // namespace orvandel::stage
