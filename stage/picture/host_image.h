// Image memory as the effect gets it: rows with padding behind them, the whole allocated in one block.
//
// Rows start on cache lines. The padding is filled with a pattern, so that a write outside the picture shows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "orvandel/types.h"
#include "stage/picture/picture_rows.h"

namespace orvandel::stage {

class HostImage {
 public:
  // Every byte as in the padding. Throws std::bad_alloc.
  HostImage(std::int32_t width, std::int32_t height);
  // Holds the picture and remembers its bytes for Unchanged().
  explicit HostImage(const Picture& picture);
  // The same in memory of another, which begins on a cache line, has BytesFor the size, and must outlive the image.
  HostImage(std::int32_t width, std::int32_t height, std::span<std::uint8_t> memory);
  static std::size_t BytesFor(std::int32_t width, std::int32_t height);
  // What such memory shows.
  static PictureRows RowsIn(std::int32_t width, std::int32_t height, std::span<const std::uint8_t> memory);

  OrvImage Record() { return {data_, width_, height_, rowBytes_, 0, this}; }
  PictureRows Rows() const { return {width_, height_, data_, rowBytes_}; }
  std::size_t ByteCount() const { return static_cast<std::size_t>(rowBytes_) * static_cast<std::size_t>(height_); }

  // Whether nothing was written behind the rows.
  bool PaddingIntact() const;
  // Whether every byte is as the constructor left it.
  bool Unchanged() const { return Checksum() == checksum_; }

 private:
  struct Free {
    void operator()(std::uint8_t* memory) const;
  };
  std::uint64_t Checksum() const;
  std::uint8_t* Row(std::int32_t y) const {
    return data_ + static_cast<std::size_t>(y) * static_cast<std::size_t>(rowBytes_);
  }

  std::int32_t width_, height_, rowBytes_;
  std::unique_ptr<std::uint8_t[], Free> own_;  // null: another's
  std::uint8_t* data_;
  std::uint64_t checksum_ = 0;
};

}  // namespace orvandel::stage
