#include "plugins/openfx/image.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

#include "plugins/openfx/half.h"

namespace orvandel::ofx {
namespace {

std::optional<PixelForm> FormOf(const Properties& image, const Properties& clip) {
  const auto text = [&](Name name) {
    const std::string own = image.Text(name);
    return own.empty() ? clip.Text(name) : own;
  };
  PixelForm form;
  const std::string depth = text(prop::kPixelDepth);
  std::string_view plain = depth;
  // Some hosts mark the order of their channels in the depth's name, others in a property of its own.
  if (plain.size() > 3 && plain.substr(plain.size() - 3) == "BGR") {
    form.blueFirst = true;
    plain.remove_suffix(3);
  }
  if (text(prop::kPixelOrder) == "OfxImagePixelOrderBGRA") form.blueFirst = true;
  if (plain == depth::kByte) {
    form.depth = Depth::kByte;
  } else if (plain == depth::kShort) {
    form.depth = Depth::kShort;
  } else if (plain == depth::kHalf) {
    form.depth = Depth::kHalf;
  } else if (plain == depth::kFloat) {
    form.depth = Depth::kFloat;
  } else {
    return {};
  }
  const std::string components = text(prop::kComponents);
  if (components == components::kRgba) {
    form.components = Components::kRgba;
  } else if (components == components::kRgb) {
    form.components = Components::kRgb;
  } else if (components == components::kAlpha) {
    form.components = Components::kAlpha;
  } else {
    return {};
  }
  return form;
}

std::optional<ImageView> ViewOf(const Properties& image, const Properties& clip) {
  const auto bounds = image.IntRect(prop::kBounds);
  const auto rowBytes = image.Int(prop::kRowBytes);
  const auto form = FormOf(image, clip);
  ImageView view;
  view.data = static_cast<std::uint8_t*>(image.Pointer(prop::kData));
  if (view.data == nullptr || !bounds || !rowBytes || !form) return {};
  view.bounds = *bounds;
  view.rowBytes = *rowBytes;
  view.form = *form;
  const std::int64_t width = std::int64_t{bounds->x2} - bounds->x1;
  if (width <= 0 || bounds->y2 <= bounds->y1 || std::abs(view.rowBytes) < width * form->PixelBytes()) return {};
  view.form.alpha = AlphaStateOf(image).value_or(AlphaStateOf(clip).value_or(AlphaState::kStraight));
  const std::string field = image.Text(prop::kField);
  if (field == field::kLower) view.rows = Rows::kLower;
  if (field == field::kUpper) view.rows = Rows::kUpper;
  return view;
}

// To 0..1; what is no number is 0.
float Confined(float value) { return value > 0 ? std::min(value, 1.0F) : 0; }

// One channel in its depth. White is 255, 65535 or 1.
template <Depth kDepth>
struct Channel;
template <>
struct Channel<Depth::kByte> {
  using Stored = std::uint8_t;
  static float Read(Stored stored) { return static_cast<float>(stored) / 255; }
  // NOLINTNEXTLINE(bugprone-incorrect-roundings): never negative
  static Stored Of(float value) { return static_cast<Stored>(Confined(value) * 255 + 0.5F); }
};
template <>
struct Channel<Depth::kShort> {
  using Stored = std::uint16_t;
  static float Read(Stored stored) { return static_cast<float>(stored) / 65535; }
  // NOLINTNEXTLINE(bugprone-incorrect-roundings): never negative
  static Stored Of(float value) { return static_cast<Stored>(Confined(value) * 65535 + 0.5F); }
};
template <>
struct Channel<Depth::kHalf> {
  using Stored = std::uint16_t;
  static float Read(Stored stored) { return FloatOfHalf(stored); }
  static Stored Of(float value) { return HalfOfFloat(value); }
};
template <>
struct Channel<Depth::kFloat> {
  using Stored = float;
  static float Read(Stored stored) { return stored; }
  static Stored Of(float value) { return value; }
};

// Calls `work` with the type of a depth's channels.
template <typename Work>
void WithDepth(Depth depth, const Work& work) {
  switch (depth) {
    case Depth::kByte:
      return work(Channel<Depth::kByte>());
    case Depth::kShort:
      return work(Channel<Depth::kShort>());
    case Depth::kHalf:
      return work(Channel<Depth::kHalf>());
    case Depth::kFloat:
      return work(Channel<Depth::kFloat>());
  }
}

// Pixels are aligned as their channels are, but a host's word for it is not taken.
template <typename Stored>
Stored Load(const std::uint8_t* at) {
  Stored stored;
  std::memcpy(&stored, at, sizeof(stored));
  return stored;
}

template <typename Depths>
void ReadPixel(const PixelForm& form, const std::uint8_t* at, float* pixel) {
  using Stored = typename Depths::Stored;
  const auto channel = [&](int i) {
    return Depths::Read(Load<Stored>(at + static_cast<std::size_t>(i) * sizeof(Stored)));
  };
  if (form.components == Components::kAlpha) {
    pixel[3] = channel(0);
    std::fill(pixel, pixel + 3, pixel[3]);  // white, so that every value of it can be traced
    return;
  }
  pixel[3] = form.components == Components::kRgba && form.alpha != AlphaState::kOpaque ? channel(3) : 1;
  const float share = form.alpha == AlphaState::kStraight ? pixel[3] : 1;
  for (int i = 0; i < 3; ++i) pixel[form.blueFirst ? 2 - i : i] = channel(i) * share;
}

// `pixel` holds colours times alpha.
template <typename Depths>
void WritePixel(const PixelForm& form, const float* pixel, std::uint8_t* at) {
  using Stored = typename Depths::Stored;
  const auto write = [&](int i, float value) {
    const Stored stored = Depths::Of(value);
    std::memcpy(at + static_cast<std::size_t>(i) * sizeof(Stored), &stored, sizeof(Stored));
  };
  if (form.components == Components::kAlpha) return write(0, pixel[3]);
  const bool straight = form.alpha == AlphaState::kStraight && form.components == Components::kRgba;
  const float share = straight && pixel[3] > 0 ? 1 / pixel[3] : 1;
  for (int i = 0; i < 3; ++i) write(i, pixel[form.blueFirst ? 2 - i : i] * share);
  if (form.components == Components::kRgba) write(3, form.alpha == AlphaState::kOpaque ? 1 : pixel[3]);
}

std::uint8_t Over(int top, int alpha, int bottom) {
  return static_cast<std::uint8_t>((top * alpha + bottom * (255 - alpha) + 127) / 255);
}

// Where a straight colour stands in itself, no multiplication and division may touch it.
template <typename Depths>
void WriteStraight(const PixelForm& form, const std::uint8_t* wave, std::uint8_t* at) {
  PixelForm plain = form;
  plain.alpha = AlphaState::kPremultiplied;
  const float pixel[4] = {static_cast<float>(wave[0]) / 255, static_cast<float>(wave[1]) / 255,
                          static_cast<float>(wave[2]) / 255, static_cast<float>(wave[3]) / 255};
  WritePixel<Depths>(plain, pixel, at);
}

void Multiplied(const std::uint8_t* wave, float* pixel) {
  pixel[3] = static_cast<float>(wave[3]) / 255;
  for (int i = 0; i < 3; ++i) pixel[i] = static_cast<float>(wave[i]) / 255 * pixel[3];
}

// Bytes over bytes of the same form, in integers. False: the pixel needs more than that.
bool WriteBytesOver(const PixelForm& form, const std::uint8_t* wave, const std::uint8_t* behind, std::uint8_t* at) {
  const int count = form.ChannelCount();
  const bool hasAlpha = form.components != Components::kRgb;
  const bool isWhite = form.components == Components::kRgba && form.alpha == AlphaState::kOpaque;
  const int backAlpha = hasAlpha && !isWhite ? behind[count - 1] : 255;
  if (form.alpha == AlphaState::kStraight && form.components == Components::kRgba && backAlpha != 255) return false;
  if (count > 1) {
    for (int i = 0; i < 3; ++i) at[i] = Over(wave[form.blueFirst ? 2 - i : i], wave[3], behind[i]);
  }
  if (hasAlpha) at[count - 1] = isWhite ? std::uint8_t{255} : Over(255, wave[3], backAlpha);
  return true;
}

bool Holds(const ImageView& image, int x1, int x2, int y) {
  return x1 >= image.bounds.x1 && x2 <= image.bounds.x2 && y >= image.bounds.y1 && y < image.bounds.y2;
}

std::uint8_t* PixelAt(const ImageView& image, int x, int y) {
  return image.Row(y) + static_cast<std::ptrdiff_t>(x - image.bounds.x1) * image.form.PixelBytes();
}

}  // namespace

// On top of another constructor, so that the image is given back also when memory ends in this one.
ClipImage::ClipImage(const Suites& suites, OfxImageClipHandle clip, double time, const OfxRectD* region)
    : ClipImage(suites) {
  if (clip == nullptr || suites.effects->clipGetImage(clip, time, region, &handle_) != kOk) handle_ = nullptr;
  if (handle_ == nullptr) return;
  properties_ = Properties(suites, handle_);
  OfxPropertyHandle ofClip = nullptr;
  if (suites.effects->clipGetPropertySet(clip, &ofClip) != kOk) ofClip = nullptr;
  view_ = ViewOf(properties_, Properties(suites, ofClip));
}

ClipImage::~ClipImage() {
  if (handle_ != nullptr) suites_.effects->clipReleaseImage(handle_);
}

std::optional<AlphaState> AlphaStateOf(const Properties& properties) {
  const std::string state = properties.Text(prop::kPreMultiplication);
  if (state == alpha::kOpaque) return AlphaState::kOpaque;
  if (state == alpha::kPremultiplied) return AlphaState::kPremultiplied;
  if (state == alpha::kStraight) return AlphaState::kStraight;
  return {};
}

void ReadRow(const ImageView& image, int x1, int x2, int y, FloatRow& row) {
  row.assign(static_cast<std::size_t>(std::max(x2 - x1, 0)) * 4, 0.0F);
  const int from = std::max(x1, image.bounds.x1), to = std::min(x2, image.bounds.x2);
  if (from >= to || y < image.bounds.y1 || y >= image.bounds.y2) return;
  WithDepth(image.form.depth, [&](auto depth) {
    const std::uint8_t* at = PixelAt(image, from, y);
    float* pixel = row.data() + static_cast<std::size_t>(from - x1) * 4;
    for (int x = from; x < to; ++x, at += image.form.PixelBytes(), pixel += 4) {
      ReadPixel<decltype(depth)>(image.form, at, pixel);
    }
  });
}

void WriteRow(const ImageView& image, int x1, int x2, int y, const std::uint8_t* waves) {
  if (image.form == PixelForm{}) {  // bytes as the effect's own
    std::memcpy(PixelAt(image, x1, y), waves, static_cast<std::size_t>(x2 - x1) * 4);
    return;
  }
  const bool straight = image.form.alpha == AlphaState::kStraight && image.form.components != Components::kRgb;
  WithDepth(image.form.depth, [&](auto depth) {
    std::uint8_t* at = PixelAt(image, x1, y);
    for (int x = x1; x < x2; ++x, at += image.form.PixelBytes(), waves += 4) {
      if (straight) {
        WriteStraight<decltype(depth)>(image.form, waves, at);
      } else {
        float pixel[4];
        Multiplied(waves, pixel);
        WritePixel<decltype(depth)>(image.form, pixel, at);
      }
    }
  });
}

void WriteRowOver(const ImageView& image, int x1, int x2, int y, const std::uint8_t* waves, const ImageView& behind,
                  FloatRow& scratch) {
  const bool same = image.form == behind.form && Holds(behind, x1, x2, y);
  const bool bytes = same && image.form.depth == Depth::kByte;
  ReadRow(behind, x1, x2, y, scratch);
  const int pixelBytes = image.form.PixelBytes();
  WithDepth(image.form.depth, [&](auto depth) {
    std::uint8_t* at = PixelAt(image, x1, y);
    const std::uint8_t* back = same ? PixelAt(behind, x1, y) : nullptr;
    float* pixel = scratch.data();
    for (int x = x1; x < x2; ++x, at += pixelBytes, waves += 4, pixel += 4) {
      const std::uint8_t* under = same ? back + static_cast<std::ptrdiff_t>(x - x1) * pixelBytes : nullptr;
      if (same && waves[3] == 0) {  // what nothing is drawn on keeps its very bits
        std::memmove(at, under, static_cast<std::size_t>(pixelBytes));
        continue;
      }
      if (bytes && WriteBytesOver(image.form, waves, under, at)) continue;
      float top[4];
      Multiplied(waves, top);
      // What is hidden need not be a number.
      for (int i = 0; i < 4; ++i) pixel[i] = waves[3] == 255 ? top[i] : top[i] + pixel[i] * (1 - top[3]);
      WritePixel<decltype(depth)>(image.form, pixel, at);
    }
  });
}

stage::Picture PictureOf(const ImageView& image, const OfxRectI& rect) {
  stage::Picture picture(rect.x2 - rect.x1, rect.y2 - rect.y1);
  FloatRow row;
  std::uint8_t* at = picture.bytes.data();
  for (int y = rect.y2 - 1; y >= rect.y1; --y) {
    ReadRow(image, rect.x1, rect.x2, y, row);
    for (std::size_t i = 0; i < row.size(); i += 4, at += 4) {
      using Bytes = Channel<Depth::kByte>;
      at[0] = Bytes::Of(row[i + 3]);
      const float share = row[i + 3] > 0 ? 1 / row[i + 3] : 1;
      for (std::size_t c = 0; c < 3; ++c) at[c + 1] = Bytes::Of(row[i + c] * share);
    }
  }
  return picture;
}

}  // namespace orvandel::ofx
