// How the bytes of PNG files are packed: an addition (addition.h). Without it the PNG library does it itself, more
// slowly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

namespace orvandel::stage {

enum class PngEffort {
  kFast,  // rendering waits for writing
  kSmall  // a quarter to two fifths smaller, in twenty to sixty times the time
};

struct FreeMemory {
  void operator()(std::uint8_t* memory) const { std::free(memory); }
};
using MallocBytes = std::unique_ptr<std::uint8_t[], FreeMemory>;

class PngCompressor {
 public:
  virtual ~PngCompressor() = default;
  struct Packed {
    MallocBytes bytes;  // null: there was not enough memory
    std::size_t size = 0;
  };
  // A zlib stream. Any thread may call it. The same on every machine only once it is unpacked.
  virtual Packed Compress(std::span<const std::uint8_t> bytes, PngEffort effort) const = 0;
};

}  // namespace orvandel::stage
