#include "web/core/planes.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "stage/base/errors.h"

namespace orvandel::web {
namespace {

using Row = std::vector<float>;

// What red takes from V, green from U and V, blue from U, for samples of limited range.
struct Shares {
  float redV, greenU, greenV, blueU;
};
constexpr std::array<Shares, 3> kShares{{{104597 / 65536.F, 25675 / 65536.F, 53279 / 65536.F, 132201 / 65536.F},
                                         {117489 / 65536.F, 13975 / 65536.F, 34925 / 65536.F, 138438 / 65536.F},
                                         {110013 / 65536.F, 12277 / 65536.F, 42626 / 65536.F, 140363 / 65536.F}}};

constexpr int kTaps = 4;
constexpr int kEdge = 2;  // samples that are repeated beyond either end

float Cubic(float distance) {
  constexpr float kSharpness = 0.6F;
  const float d = distance;
  if (d < 1) return 1 + d * d * ((2 - kSharpness) * d - (3 - kSharpness));
  return kSharpness * (((5 - d) * d - 8) * d + 4);
}

// Of samples -2, -1, 0 and 1 for the place a quarter before sample 0; backward, those for a quarter behind it.
std::array<float, kTaps> QuarterBefore() {
  std::array<float, kTaps> taps{Cubic(1.75F), Cubic(0.75F), Cubic(0.25F), Cubic(1.25F)};
  const float sum = taps[0] + taps[1] + taps[2] + taps[3];
  for (float& tap : taps) tap /= sum;
  return taps;
}

class Reader {
 public:
  Reader(const Planes& planes, std::span<const std::uint8_t> bytes)
      : bytes_(bytes), wide_(planes.bits > 8), scale_(1.F / static_cast<float>(1 << (planes.bits - 8))) {}

  // In steps of 8 bits. InputError where the row is not there.
  void Read(const Planes::Plane& plane, std::int32_t y, std::size_t count, float* out) const {
    const std::int64_t first = plane.offset + std::int64_t{y} * plane.rowBytes;
    const std::int64_t last = first + (static_cast<std::int64_t>(count) - 1) * plane.sampleBytes + (wide_ ? 1 : 0);
    if (first < 0 || plane.sampleBytes < 1 || last >= static_cast<std::int64_t>(bytes_.size())) {
      throw stage::InputError("a film's picture has less bytes than its planes need");
    }
    const std::uint8_t* in = bytes_.data() + first;
    const auto step = static_cast<std::size_t>(plane.sampleBytes);
    if (!wide_ && step == 1) {
      for (std::size_t x = 0; x < count; ++x) out[x] = in[x];
    } else {
      for (std::size_t x = 0; x < count; ++x, in += step)
        out[x] = wide_ ? static_cast<float>(in[0] | in[1] << 8) * scale_ : static_cast<float>(in[0]);
    }
  }

 private:
  std::span<const std::uint8_t> bytes_;
  bool wide_;
  float scale_;
};

// A colour plane's rows as wide as the picture.
class Spread {
 public:
  Spread(const Planes& planes, const Planes::Plane& plane, const Reader& reader, std::int32_t width,
         std::int32_t height)
      : plane_(plane),
        reader_(reader),
        halfWidth_(planes.halfWidth != 0),
        halfHeight_(planes.halfHeight != 0),
        width_(static_cast<std::size_t>(halfWidth_ ? (width + 1) / 2 : width)),
        height_(halfHeight_ ? (height + 1) / 2 : height),
        rows_(kTaps, Row(width_)),
        kept_(kTaps, -1),
        padded_(width_ + 2 * kEdge),
        out_(2 * width_) {}

  const float* At(std::int32_t y) {
    float* middle = padded_.data() + kEdge;
    if (halfHeight_) {
      MixRows(y, middle);
    } else {
      reader_.Read(plane_, y, width_, middle);
    }
    if (!halfWidth_) return middle;
    std::fill_n(padded_.begin(), kEdge, middle[0]);
    std::fill_n(middle + width_, kEdge, middle[width_ - 1]);
    const auto [a, b, c, d] = taps_;
    const float* in = padded_.data();
    for (std::size_t x = 0; x < width_; ++x, ++in) {
      out_[2 * x] = a * in[0] + b * in[1] + c * in[2] + d * in[3];
      out_[2 * x + 1] = d * in[1] + c * in[2] + b * in[3] + a * in[4];
    }
    return out_.data();
  }

 private:
  void MixRows(std::int32_t y, float* out) {
    const bool odd = y % 2 != 0;
    const std::int32_t first = y / 2 - (odd ? 1 : 2);
    std::array<const float*, kTaps> rows{};
    for (int i = 0; i < kTaps; ++i) rows[static_cast<std::size_t>(i)] = RowAt(std::clamp(first + i, 0, height_ - 1));
    const auto [a, b, c, d] = odd ? std::array<float, kTaps>{taps_[3], taps_[2], taps_[1], taps_[0]} : taps_;
    for (std::size_t x = 0; x < width_; ++x) {
      out[x] = a * rows[0][x] + b * rows[1][x] + c * rows[2][x] + d * rows[3][x];
    }
  }

  // Four that follow one another have a place each.
  const float* RowAt(std::int32_t y) {
    const auto place = static_cast<std::size_t>(y % kTaps);
    if (kept_[place] != y) reader_.Read(plane_, y, width_, rows_[place].data());
    kept_[place] = y;
    return rows_[place].data();
  }

  const Planes::Plane& plane_;
  const Reader& reader_;
  bool halfWidth_, halfHeight_;
  std::size_t width_;
  std::int32_t height_;
  std::vector<Row> rows_;
  std::vector<std::int32_t> kept_;
  Row padded_, out_;
  std::array<float, kTaps> taps_ = QuarterBefore();
};

std::uint32_t Byte(float value) {
  const float rounded = value + 0.5F;
  const float bounded = rounded < 0 ? 0.F : rounded > 255 ? 255.F : rounded;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(bounded));
}

}  // namespace

stage::Picture PictureOf(const Planes& planes, std::int32_t width, std::int32_t height,
                         std::span<const std::uint8_t> bytes) {
  const bool known = planes.bits >= 8 && planes.bits <= 16 && planes.matrix >= 0 && planes.matrix <= Planes::kBt2020;
  if (!known || width < 1 || height < 1) throw stage::InputError("a film's picture has a form that is not known");
  const Reader reader(planes, bytes);
  Spread blue(planes, planes.planes[1], reader, width, height), red(planes, planes.planes[2], reader, width, height);
  const bool full = planes.fullRange != 0;
  const float brightness = full ? 1.F : 255.F / 219.F, black = full ? 0.F : 16.F, colour = full ? 224.F / 255.F : 1.F;
  const Shares& shares = kShares[static_cast<std::size_t>(planes.matrix)];
  const auto count = static_cast<std::size_t>(width);
  Row light(count), alpha(count, 255.F);
  stage::Picture picture(width, height);
  std::vector<std::uint32_t> pixels(count);
  for (std::int32_t y = 0; y < height; ++y) {
    reader.Read(planes.planes[0], y, count, light.data());
    if (planes.hasAlpha != 0) reader.Read(planes.planes[3], y, count, alpha.data());
    const float* u = blue.At(y);
    const float* v = red.At(y);
    for (std::size_t x = 0; x < count; ++x) {  // plain words, which compilers turn into vectors
      const float l = (light[x] - black) * brightness, cb = (u[x] - 128) * colour, cr = (v[x] - 128) * colour;
      pixels[x] = Byte(alpha[x]) | Byte(l + shares.redV * cr) << 8 |
                  Byte(l - shares.greenU * cb - shares.greenV * cr) << 16 | Byte(l + shares.blueU * cb) << 24;
    }
    std::memcpy(picture.bytes.data() + static_cast<std::size_t>(y) * count * 4, pixels.data(), count * 4);
  }
  return picture;
}

}  // namespace orvandel::web
