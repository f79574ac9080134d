// A host's image: where its pixels lie and what they are, read and written a row at a time.
//
// Rows run upward and may lie in memory in either order; an image holds any part of the frame. Floats in between are
// red, green, blue, alpha, the colours times alpha.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "plugins/openfx/suites.h"
#include "stage/picture/picture.h"

namespace orvandel::ofx {

enum class Depth { kByte, kShort, kHalf, kFloat };
enum class Components { kRgba, kRgb, kAlpha };
enum class AlphaState { kOpaque, kPremultiplied, kStraight };
enum class Rows { kAll, kLower, kUpper };  // of a frame; even rows are lower

struct PixelForm {
  Depth depth = Depth::kByte;
  Components components = Components::kRgba;
  AlphaState alpha = AlphaState::kStraight;
  bool blueFirst = false;

  bool operator==(const PixelForm&) const = default;
  int ChannelCount() const { return components == Components::kRgba ? 4 : components == Components::kRgb ? 3 : 1; }
  int PixelBytes() const { return ChannelCount() * (depth == Depth::kByte ? 1 : depth == Depth::kFloat ? 4 : 2); }
};

struct ImageView {
  std::uint8_t* data = nullptr;  // of the pixel at bounds.x1, bounds.y1
  OfxRectI bounds{};             // pixels
  std::ptrdiff_t rowBytes = 0;
  PixelForm form;
  Rows rows = Rows::kAll;  // which rows of the frame the image's are

  std::uint8_t* Row(int y) const { return data + static_cast<std::ptrdiff_t>(y - bounds.y1) * rowBytes; }
};

// An image taken from a clip, given back with the object. Without a view when there is none.
class ClipImage {
 public:
  ClipImage(const Suites& suites, OfxImageClipHandle clip, double time, const OfxRectD* region);
  ~ClipImage();
  ClipImage(const ClipImage&) = delete;
  ClipImage& operator=(const ClipImage&) = delete;

  const std::optional<ImageView>& View() const { return view_; }
  const Properties& Props() const { return properties_; }

 private:
  explicit ClipImage(const Suites& suites) : suites_(suites) {}

  const Suites& suites_;
  OfxPropertyHandle handle_ = nullptr;
  Properties properties_;
  std::optional<ImageView> view_;
};

// What a clip's or an image's alpha is; nothing when it does not say.
std::optional<AlphaState> AlphaStateOf(const Properties& properties);

using FloatRow = std::vector<float>;

// The image's pixels x1 .. x2 of row y, transparent beyond the bounds.
void ReadRow(const ImageView& image, int x1, int x2, int y, FloatRow& row);

// `waves` are 8-bit pixels red, green, blue, alpha of the pixels x1 .. x2 of row y, inside the bounds. The first over
// nothing, the second over what `behind` shows there: bytes over bytes in integers, as scenes have it.
void WriteRow(const ImageView& image, int x1, int x2, int y, const std::uint8_t* waves);
void WriteRowOver(const ImageView& image, int x1, int x2, int y, const std::uint8_t* waves, const ImageView& behind,
                  FloatRow& scratch);

// The image's pixels in a rectangle as 8-bit straight alpha from the top, transparent beyond the bounds.
stage::Picture PictureOf(const ImageView& image, const OfxRectI& rect);

}  // namespace orvandel::ofx
