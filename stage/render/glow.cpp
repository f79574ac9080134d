#include "stage/render/glow.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "stage/picture/light_curve.h"

namespace orvandel::stage {
namespace {

constexpr std::uint64_t kFullAlpha = 65535;
constexpr int kBoxesInARow = 3;

using Plane = GlowRoom::Plane;
using Planes = GlowRoom::Planes;

std::uint64_t TimesAlpha(std::uint64_t value, std::uint64_t alpha) {
  return (value * alpha + kFullAlpha / 2) / kFullAlpha;
}

void TakeLightOverBlack(const Picture16& picture, bool linear, Planes& light) {
  const LightCurve& curve = LightCurve::The();
  const std::size_t pixels = picture.words.size() / 4;
  for (std::size_t c = 0; c < 3; ++c) {
    light[c].resize(pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
      const std::uint16_t alpha = picture.words[4 * i], stored = picture.words[4 * i + 1 + c];
      light[c][i] = alpha == 0 ? 0
                    : linear   ? static_cast<std::uint32_t>(TimesAlpha(curve.Light(stored), alpha))
                               : curve.Light(static_cast<std::uint16_t>(TimesAlpha(stored, alpha)));
    }
  }
}

void TakeBrightParts(const Planes& light, double threshold, Planes& bright) {
  for (std::size_t c = 0; c < 3; ++c) bright[c].assign(light[c].begin(), light[c].end());
  const std::uint64_t t = LightCurve::The().Light(static_cast<std::uint16_t>(std::floor(threshold * 65535 + 0.5)));
  if (t == 0) return;
  for (std::size_t i = 0; i < light[0].size(); ++i) {
    const std::uint64_t most = std::max({light[0][i], light[1][i], light[2][i]});
    for (Plane& plane : bright) {
      plane[i] = most > t ? static_cast<std::uint32_t>(plane[i] * (most - t) / most) : 0;
    }
  }
}

// Light is at most 2^24 and a box at most some thousand pixels wide: doubles hold every sum exactly, and converting
// light as signed words is what vector units can do.
double Number(std::uint32_t light) { return static_cast<std::int32_t>(light); }

// Of a number that is never negative and at most full light.
std::uint32_t Rounded(double light) {
  const double raised = light + 0.5;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(raised));
}

std::uint32_t Mean(double sum, double ends, const Box& box, double share) {
  return Rounded((sum * kBoxShares + ends * box.ends) * share);
}

// The running sums of all columns go down together: rows are read in the order of memory.
void SpreadColumns(const Plane& from, Plane& to, std::int32_t width, std::int32_t height, const Box& box) {
  const auto columns = static_cast<std::size_t>(width);
  const double share = 1.0 / static_cast<double>(box.Weight());
  std::vector<double> sums(columns);
  const Plane dark(columns);
  const auto row = [&](std::int32_t y) {
    return y >= 0 && y < height ? from.data() + static_cast<std::size_t>(y) * columns : dark.data();
  };
  for (std::int32_t y = 0; y < std::min(box.reach, height); ++y) {
    for (std::size_t x = 0; x < columns; ++x) sums[x] += Number(row(y)[x]);
  }
  for (std::int32_t y = 0; y < height; ++y) {
    const std::uint32_t *entering = row(y + box.reach), *leaving = row(y - box.reach - 1);
    const std::uint32_t* below = row(y + box.reach + 1);
    std::uint32_t* out = to.data() + static_cast<std::size_t>(y) * columns;
    double* sum = sums.data();
    for (std::size_t x = 0; x < columns; ++x) {
      const double left = Number(leaving[x]);  // it has just become the end above
      sum[x] += Number(entering[x]) - left;
      out[x] = Mean(sum[x], left + Number(below[x]), box, share);
    }
  }
}

// `padded`: the row between `reach` + 1 dark pixels on either side, so that the sums need not ask for the edges. They
// are taken first, since each waits for the one before; the rest of the work does not.
void SpreadRow(std::uint32_t* row, std::int32_t width, const Box& box, std::vector<double>& padded,
               std::vector<double>& sums) {
  const double share = 1.0 / static_cast<double>(box.Weight());
  const auto margin = static_cast<std::size_t>(box.reach) + 1, columns = static_cast<std::size_t>(width);
  double* const middle = padded.data() + margin;
  for (std::size_t x = 0; x < columns; ++x) middle[x] = Number(row[x]);
  const double *leaving = middle - margin, *entering = middle + box.reach, *below = entering + 1;
  double sum = 0;
  for (std::size_t x = 0; x < std::min(margin - 1, columns); ++x) sum += middle[x];
  for (std::size_t x = 0; x < columns; ++x) {
    sum += entering[x] - leaving[x];
    sums[x] = sum;
  }
  for (std::size_t x = 0; x < columns; ++x) row[x] = Mean(sums[x], leaving[x] + below[x], box, share);
}

}  // namespace

std::int64_t Box::Weight() const { return std::int64_t{kBoxShares} * (2 * reach + 1) + 2 * ends; }

// A box of width w has the variance (w * w - 1) / 12 over whole pixels; with a share f of one more at each end
// (2 * (1 + 4 + ... + reach^2) + 2 * f * (reach + 1)^2) / (2 * reach + 1 + 2 * f), from which f follows.
Box BoxOf(double deviation) {
  const double variance = deviation * deviation / kBoxesInARow;
  const double reach = std::floor((std::sqrt(12 * variance + 1) - 1) / 2);
  const double squares = reach * (reach + 1) * (2 * reach + 1) / 3, next = (reach + 1) * (reach + 1);
  const double ends = (variance * (2 * reach + 1) - squares) / (2 * (next - variance));
  Box box;
  box.reach = static_cast<std::int32_t>(reach);
  box.ends = static_cast<std::int32_t>(std::floor(std::clamp(ends, 0.0, 1.0) * kBoxShares + 0.5));
  return box;
}

void Spread(std::vector<std::uint32_t>& plane, std::int32_t width, std::int32_t height, const Box& box,
            std::vector<std::uint32_t>& room) {
  if (box.reach == 0 && box.ends == 0) return;
  room.resize(plane.size());
  std::vector<double> padded(static_cast<std::size_t>(width) + 2 * (static_cast<std::size_t>(box.reach) + 1));
  std::vector<double> sums(static_cast<std::size_t>(width));
  for (int i = 0; i < kBoxesInARow; ++i) {
    SpreadColumns(plane, room, width, height, box);
    plane.swap(room);
    for (std::size_t at = 0; at < plane.size(); at += static_cast<std::size_t>(width)) {
      SpreadRow(&plane[at], width, box, padded, sums);
    }
  }
}

namespace {

// The light with the halo added, as a picture again.
Picture16 PictureOf(const Picture16& picture, const Planes& light, bool linear) {
  const LightCurve& curve = LightCurve::The();
  Picture16 result(picture.width, picture.height);
  for (std::size_t i = 0; i < light[0].size(); ++i) {
    const std::uint32_t most = std::max({light[0][i], light[1][i], light[2][i]});
    const std::uint64_t needed = linear ? (most * kFullAlpha + kFullLight / 2) / kFullLight : curve.Stored(most);
    const std::uint64_t alpha = std::max<std::uint64_t>(picture.words[4 * i], needed);
    if (alpha == 0) continue;
    result.words[4 * i] = static_cast<std::uint16_t>(alpha);
    for (std::size_t c = 0; c < 3; ++c) {
      const std::uint64_t shown = linear ? light[c][i] : curve.Stored(light[c][i]);
      const std::uint64_t alone = (shown * kFullAlpha + alpha / 2) / alpha;
      result.words[4 * i + 1 + c] =
          linear ? curve.Stored(static_cast<std::uint32_t>(std::min<std::uint64_t>(alone, kFullLight)))
                 : static_cast<std::uint16_t>(std::min(alone, kFullAlpha));
    }
  }
  return result;
}

}  // namespace

Picture16 WithGlow(const Picture16& picture, const Glow& glow, double scale, bool linear, GlowRoom& room) {
  Planes &light = room.light, &narrow = room.narrow;
  TakeLightOverBlack(picture, linear, light);
  TakeBrightParts(light, glow.threshold, narrow);
  const double radius = glow.radius * scale;
  const Box narrowBox = BoxOf(radius / 8), wideBox = BoxOf(radius / 2);
  for (std::size_t c = 0; c < 3; ++c) {
    Plane& wide = room.wide;
    wide.assign(narrow[c].begin(), narrow[c].end());
    Spread(narrow[c], picture.width, picture.height, narrowBox, room.other);
    Spread(wide, picture.width, picture.height, wideBox, room.other);
    for (std::size_t i = 0; i < wide.size(); ++i) {
      const double halo = Number(narrow[c][i]) + Number(wide[i]);
      const double sum = Number(light[c][i]) + glow.strength * 0.5 * halo;
      light[c][i] = Rounded(std::min(sum, static_cast<double>(kFullLight)));
    }
  }
  return PictureOf(picture, light, linear);
}

}  // namespace orvandel::stage
