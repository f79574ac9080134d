// Measured on 1080p frames of the example scenes, as differences to the pixel before. ISA-L's level 1 takes 1 to 16 ms
// for 20 to 1744 kB; libdeflate's level 3 takes 10 to 52 ms for 14 to 1448 kB. Its level 2 takes a twentieth less on
// average, a sixth for soft profiles, for up to 9 percent more; level 4 an eighth and more than a third longer, and
// saves up to 15 percent, of flat strokes most; level 7 twice and six times as long, and saves up to 28 percent of
// level 3's size. The bytes that ISA-L packs differ now and then between two runs of one program on one machine (about
// one process in 1,500), so that files of equal pictures cannot be told by their hash: it is chosen, never the default.
#include <isa-l/igzip_lib.h>
#include <libdeflate.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "stage/base/addition.h"
#include "stage/stills/png_compressor.h"

namespace orvandel::stage {
namespace {

constexpr int kFastLevel = 1;                      // ISA-L's; 2 and 3 are no smaller by a percent
constexpr int kDefaultLevel = 3, kSmallLevel = 7;  // libdeflate's

using Packed = PngCompressor::Packed;

std::uint8_t* NewBytes(std::size_t size) { return static_cast<std::uint8_t*>(std::malloc(size)); }

struct FreeCompressor {
  void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};

Packed AlwaysTheSame(std::span<const std::uint8_t> bytes, int level) {
  const std::unique_ptr<libdeflate_compressor, FreeCompressor> compressor(libdeflate_alloc_compressor(level));
  if (compressor == nullptr) return {};
  const std::size_t bound = libdeflate_zlib_compress_bound(compressor.get(), bytes.size());
  Packed packed{MallocBytes(NewBytes(bound)), 0};
  if (packed.bytes == nullptr) return {};
  packed.size = libdeflate_zlib_compress(compressor.get(), bytes.data(), bytes.size(), packed.bytes.get(), bound);
  return packed;
}

// Its counters have 32 bits, so that input and output go through in parts.
class FastStream {
 public:
  FastStream() : buffer_(ISAL_DEF_LVL1_DEFAULT) {
    isal_deflate_init(&stream_);
    stream_.level = kFastLevel;
    stream_.level_buf = buffer_.data();
    stream_.level_buf_size = static_cast<std::uint32_t>(buffer_.size());
    stream_.gzip_flag = IGZIP_ZLIB;
  }

  Packed Pack(std::span<const std::uint8_t> bytes) {
    // Stored blocks have 5 bytes for every 65,535; the rest is headers.
    const std::size_t bound = bytes.size() + bytes.size() / 4096 + 1024;
    Packed packed{MallocBytes(NewBytes(bound)), 0};
    if (packed.bytes == nullptr) return {};
    std::size_t taken = 0;
    while (stream_.internal_state.state != ZSTATE_END) {
      const std::uint32_t in = Part(bytes.size() - taken), out = Part(bound - packed.size);
      stream_.next_in = const_cast<std::uint8_t*>(bytes.data()) + taken;
      stream_.avail_in = in;
      stream_.next_out = packed.bytes.get() + packed.size;
      stream_.avail_out = out;
      stream_.end_of_stream = taken + in == bytes.size();
      if (isal_deflate(&stream_) != COMP_OK || out == 0) return {};
      taken += in - stream_.avail_in;
      packed.size += out - stream_.avail_out;
    }
    return packed;
  }

 private:
  static std::uint32_t Part(std::size_t left) {
    constexpr std::size_t kLargest = std::size_t{1} << 30;
    return static_cast<std::uint32_t>(std::min(left, kLargest));
  }

  isal_zstream stream_{};
  std::vector<std::uint8_t> buffer_;
};

class Deflate final : public PngCompressor {
 public:
  Packed Compress(std::span<const std::uint8_t> bytes, PngEffort effort) const override {
    if (effort == PngEffort::kFast) return FastStream().Pack(bytes);
    return AlwaysTheSame(bytes, effort == PngEffort::kSmall ? kSmallLevel : kDefaultLevel);
  }
  std::uint32_t Crc(std::span<const std::uint8_t> bytes) const override {
    return libdeflate_crc32(0, bytes.data(), bytes.size());
  }
};

const Deflate compressor;
const Addition<PngCompressor> entered(compressor);

}  // namespace
}  // namespace orvandel::stage
