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
  kFast,     // when rendering waits for writing: the same pixels, but not always the same packed bytes
  kDefault,  // equal pictures are equal files with one version of the library, on all machines
  kSmall     // up to a quarter smaller, in one and a half to six times the time
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
  // A zlib stream. Any thread may call it. Its bytes, unpacked, are the same on all machines.
  virtual Packed Compress(std::span<const std::uint8_t> bytes, PngEffort effort) const = 0;
  // The checksum of PNG's chunks.
  virtual std::uint32_t Crc(std::span<const std::uint8_t> bytes) const = 0;
};

}  // namespace orvandel::stage
