#include "cli/sheet/contact_sheet.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>

#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

constexpr std::int32_t kGap = 8;  // between cells and around the sheet
constexpr std::int32_t kDot = 2;  // a digit's dot
constexpr std::int32_t kDigitColumns = 3, kDigitRows = 5;
constexpr std::int32_t kLabel = kDigitRows * kDot + kGap;  // below every cell
constexpr std::int64_t kMostPixels = 256'000'000;

// Five rows of three dots each, the top left dot first, the highest bit first.
constexpr std::array<std::uint16_t, 10> kDigits{
    0b111'101'101'101'111, 0b010'110'010'010'111, 0b111'001'111'100'111, 0b111'001'111'001'111, 0b101'101'111'001'001,
    0b111'100'111'001'111, 0b111'100'111'101'111, 0b111'001'010'010'010, 0b111'101'111'101'111, 0b111'101'111'001'111};

stage::Picture EmptySheet(std::int64_t width, std::int64_t height, std::uint32_t background) {
  if (width * height > kMostPixels) {
    throw stage::InputError(
        fmt::format("a sheet of {} x {} pixels is too large; take fewer frames or a larger --scale", width, height));
  }
  stage::Picture sheet(static_cast<std::int32_t>(width), static_cast<std::int32_t>(height));
  for (std::size_t i = 0; i < sheet.bytes.size(); i += 4) {
    sheet.bytes[i] = 255;
    for (std::size_t c = 0; c < 3; ++c) sheet.bytes[i + 1 + c] = static_cast<std::uint8_t>(background >> (16 - 8 * c));
  }
  return sheet;
}

// Green weighs most in how bright a colour looks.
bool IsBright(std::uint32_t background) {
  const std::uint32_t red = background >> 16 & 255, green = background >> 8 & 255, blue = background & 255;
  return 2 * red + 7 * green + blue > 1275;
}

void BlendPixel(const std::uint8_t* above, std::uint8_t* below) {
  for (int c = 1; c < 4; ++c) {
    below[c] = static_cast<std::uint8_t>((above[c] * above[0] + below[c] * (255 - above[0]) + 127) / 255);
  }
}

}  // namespace

ContactSheet::ContactSheet(std::int32_t width, std::int32_t height, std::int32_t count, std::int32_t columns,
                           std::uint32_t background)
    : width_(width), height_(height), columns_(std::min(columns, count)), ink_(IsBright(background) ? 0 : 224) {
  const std::int64_t rows = (count + columns_ - 1) / columns_;
  sheet_ =
      EmptySheet(kGap + std::int64_t{columns_} * (width + kGap), kGap + rows * (height + kLabel + kGap), background);
}

void ContactSheet::Add(const stage::Picture& picture, std::int32_t number) {
  const std::int32_t left = kGap + next_ % columns_ * (width_ + kGap);
  const std::int32_t top = kGap + next_ / columns_ * (height_ + kLabel + kGap);
  ++next_;
  const std::uint8_t* pixel = picture.bytes.data();
  for (std::int32_t y = 0; y < height_; ++y) {
    auto* row = &sheet_.bytes[(static_cast<std::size_t>(top + y) * static_cast<std::size_t>(sheet_.width) +
                               static_cast<std::size_t>(left)) *
                              4];
    for (std::int32_t x = 0; x < width_; ++x, pixel += 4) BlendPixel(pixel, row + 4 * x);
  }
  WriteNumber(left, top + height_ + kGap / 2, number);
}

void ContactSheet::WriteNumber(std::int32_t x, std::int32_t y, std::int32_t number) {
  for (const char digit : fmt::format("{}", number)) {
    const std::uint16_t dots = kDigits[static_cast<std::size_t>(digit - '0')];
    for (std::int32_t i = 0; i < kDigitColumns * kDigitRows; ++i) {
      if ((dots >> (kDigitColumns * kDigitRows - 1 - i) & 1) == 0) continue;
      Fill(x + i % kDigitColumns * kDot, y + i / kDigitColumns * kDot, kDot, kDot, ink_);
    }
    x += (kDigitColumns + 1) * kDot;
  }
}

void ContactSheet::Fill(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height, std::uint8_t grey) {
  for (std::int32_t row = y; row < y + height; ++row) {
    // A narrow last cell may cut its number off.
    for (std::int32_t column = x; column < std::min(x + width, sheet_.width); ++column) {
      auto* pixel = &sheet_.bytes[(static_cast<std::size_t>(row) * static_cast<std::size_t>(sheet_.width) +
                                   static_cast<std::size_t>(column)) *
                                  4];
      std::fill(pixel + 1, pixel + 4, grey);
    }
  }
}

}  // namespace orvandel::cli
