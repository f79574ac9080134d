#include "stage/picture/host_image.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace orvandel::stage {
namespace {

constexpr std::size_t kCacheLine = 64;
constexpr std::uint8_t kPadding = 0xC5;
constexpr std::int32_t kLeastPadding = 16;

std::int32_t PaddedRowBytes(std::int32_t width) {
  constexpr auto kLine = static_cast<std::int32_t>(kCacheLine);
  return (width * 4 + kLeastPadding + kLine - 1) / kLine * kLine;
}

std::span<std::uint8_t> NewMemory(std::size_t size) {
  return {static_cast<std::uint8_t*>(::operator new (size, std::align_val_t{kCacheLine})), size};
}

}  // namespace

void HostImage::Free::operator()(std::uint8_t* memory) const {
  ::operator delete (memory, std::align_val_t{kCacheLine});
}

HostImage::HostImage(std::int32_t width, std::int32_t height)
    : HostImage(width, height, NewMemory(BytesFor(width, height))) {
  own_.reset(data_);
  std::memset(data_, kPadding, ByteCount());
}

HostImage::HostImage(std::int32_t width, std::int32_t height, std::span<std::uint8_t> memory)
    : width_(width), height_(height), rowBytes_(PaddedRowBytes(width)), data_(memory.data()) {
  const auto padding = static_cast<std::size_t>(rowBytes_ - width_ * 4);
  for (std::int32_t y = 0; y < height_; ++y) std::memset(Row(y) + width_ * 4, kPadding, padding);
}

std::size_t HostImage::BytesFor(std::int32_t width, std::int32_t height) {
  return static_cast<std::size_t>(PaddedRowBytes(width)) * static_cast<std::size_t>(height);
}

PictureRows HostImage::RowsIn(std::int32_t width, std::int32_t height, std::span<const std::uint8_t> memory) {
  return {width, height, memory.data(), PaddedRowBytes(width)};
}

HostImage::HostImage(const Picture& picture)
    : HostImage(picture.width, picture.height, NewMemory(BytesFor(picture.width, picture.height))) {
  own_.reset(data_);
  const std::size_t rowSize = static_cast<std::size_t>(width_) * 4;
  for (std::int32_t y = 0; y < height_; ++y) {
    std::memcpy(Row(y), picture.bytes.data() + static_cast<std::size_t>(y) * rowSize, rowSize);
  }
  checksum_ = Checksum();
}

bool HostImage::PaddingIntact() const {
  for (std::int32_t y = 0; y < height_; ++y) {
    const std::uint8_t* row = Row(y);
    if (!std::all_of(row + width_ * 4, row + rowBytes_, [](std::uint8_t byte) { return byte == kPadding; }))
      return false;
  }
  return true;
}

// Four independent sums, so that it runs at the speed of memory: the whole image is read after every command. Each
// step is invertible in the word read, so a single changed word always shows.
std::uint64_t HostImage::Checksum() const {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15u;
  std::uint64_t lanes[4] = {1, 2, 3, 4};
  const std::uint8_t* end = data_ + ByteCount();  // a multiple of the cache line
  for (const std::uint8_t* at = data_; at != end; at += sizeof lanes) {
    std::uint64_t words[4];
    std::memcpy(words, at, sizeof words);
    for (int i = 0; i < 4; ++i) lanes[i] = (lanes[i] ^ words[i]) * kFactor;
  }
  std::uint64_t sum = 0;
  for (const std::uint64_t lane : lanes) sum = (sum ^ lane) * kFactor;
  return sum;
}

}  // namespace orvandel::stage
