#include "stage/stills/png_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <lodepng/lodepng.h>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/base/partial_file.h"
#include "stage/picture/pixel_order.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kSignature = "\x89PNG\r\n\x1a\n";
constexpr std::size_t kMostBytes = std::size_t{1} << 31;  // more than the largest picture's samples take
constexpr unsigned kOutOfMemory = 83;                     // the library's code for it

using Bytes = MallocBytes;  // the library's memory

class Codec {
 public:
  Codec() { lodepng_state_init(&state_); }
  ~Codec() { lodepng_state_cleanup(&state_); }
  Codec(const Codec&) = delete;
  Codec& operator=(const Codec&) = delete;
  LodePNGState* operator->() { return &state_; }
  LodePNGState* Address() { return &state_; }

 private:
  LodePNGState state_;
};

// RGBA as the library has it, 16-bit samples with the high byte first.
Picture FromRgba(const std::uint8_t* in, std::int32_t width, std::int32_t height, std::size_t sampleBytes) {
  Picture picture(width, height);
  for (std::size_t at = 0; at < picture.bytes.size(); at += 4) {
    for (const std::size_t channel : {1, 2, 3, 0}) {
      const std::uint32_t high = *in;
      picture.bytes[at + channel] = sampleBytes == 1 ? *in : EightBits(high << 8 | in[1]);
      in += sampleBytes;
    }
  }
  return picture;
}

unsigned Compress(unsigned char** out, std::size_t* outSize, const unsigned char* in, std::size_t inSize,
                  const LodePNGCompressSettings* settings) {
  const auto effort = *static_cast<const PngEffort*>(settings->custom_context);
  try {
    auto [bytes, size] = Addition<PngCompressor>::Find()->Compress({in, inSize}, effort);
    *out = bytes.release();
    *outSize = size;
  } catch (const std::bad_alloc&) {
    *out = nullptr;
  }
  return *out == nullptr ? kOutOfMemory : 0;
}

struct Encoded {
  Bytes bytes;
  std::size_t size = 0;
  unsigned code = 0;  // not 0: failed

  std::string Complaint() const { return std::string("cannot be encoded: ") + lodepng_error_text(code); }
};

// `rgba` as the library has it.
Encoded Encode(const std::uint8_t* rgba, std::int32_t width, std::int32_t height, unsigned bits,
               PngEffort effort = PngEffort::kDefault) {
  Codec codec;
  for (LodePNGColorMode* mode : {&codec->info_raw, &codec->info_png.color}) {
    mode->colortype = LCT_RGBA;
    mode->bitdepth = bits;
  }
  codec->encoder.auto_convert = 0;
  // Differences to the row above: a quarter to a half smaller than the rows themselves, and faster to pack.
  codec->encoder.filter_strategy = LFS_TWO;
  if (Addition<PngCompressor>::Find() != nullptr) {
    codec->encoder.zlibsettings.custom_zlib = Compress;
    codec->encoder.zlibsettings.custom_context = &effort;
  }
  unsigned char* bytes = nullptr;
  Encoded encoded;
  encoded.code = lodepng_encode(&bytes, &encoded.size, rgba, static_cast<unsigned>(width),
                                static_cast<unsigned>(height), codec.Address());
  encoded.bytes.reset(bytes);
  if (encoded.code == kOutOfMemory) throw std::bad_alloc();
  return encoded;
}

void Write(const std::filesystem::path& file, const Encoded& encoded, IfTaken ifTaken) {
  PartialFile partial(file, ifTaken);
  if (encoded.code != 0) partial.Fail(encoded.Complaint());
  partial.Write({encoded.bytes.get(), encoded.size});
  partial.Keep();
}

}  // namespace

bool IsPng(const std::filesystem::path& file) {
  const auto in = OpenToRead(file);
  char head[kSignature.size()] = {};
  if (!in->read(head, sizeof head) || std::string_view(head, sizeof head) != kSignature) return false;
  // A chunk: the length of its data, high byte first, a name of four letters, the data, a checksum.
  for (std::uint8_t chunk[8]; in->read(reinterpret_cast<char*>(chunk), sizeof chunk);) {
    const std::string_view name(reinterpret_cast<const char*>(chunk) + 4, 4);
    if (name == "acTL") return false;
    if (name == "IDAT") break;
    const std::uint32_t length = std::uint32_t{chunk[0]} << 24 | chunk[1] << 16 | chunk[2] << 8 | chunk[3];
    in->seekg(std::streamoff{length} + 4, std::ios::cur);
  }
  return true;
}

Picture ReadPng(const std::filesystem::path& file) {
  const std::string content = ReadWholeFile(file, kMostBytes);
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(content.data());
  const auto fail = [&](const std::string& reason) { throw InputError(file.string() + ": " + reason); };
  const auto check = [&](unsigned code) {
    if (code == kOutOfMemory) throw std::bad_alloc();
    if (code != 0) fail(std::string("cannot be decoded: ") + lodepng_error_text(code));
  };
  Codec codec;
  unsigned width = 0, height = 0;
  check(lodepng_inspect(&width, &height, codec.Address(), bytes, content.size()));
  if (std::int64_t{width} * height > kMostPixels) fail(kTooLarge);
  const unsigned bits = codec->info_png.color.bitdepth == 16 ? 16 : 8;
  codec->info_raw.colortype = LCT_RGBA;
  codec->info_raw.bitdepth = bits;
  unsigned char* decoded = nullptr;
  const unsigned code = lodepng_decode(&decoded, &width, &height, codec.Address(), bytes, content.size());
  const Bytes owner(decoded);
  check(code);
  return FromRgba(decoded, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), bits / 8);
}

std::string EncodePng(const Picture& rgba) {
  const Encoded encoded = Encode(rgba.bytes.data(), rgba.width, rgba.height, 8);
  if (encoded.code != 0) throw WorkError("the picture " + encoded.Complaint());
  return {reinterpret_cast<const char*>(encoded.bytes.get()), encoded.size};
}

void WritePng(const std::filesystem::path& file, Picture picture, IfTaken ifTaken, PngEffort effort) {
  std::uint8_t* const bytes = picture.bytes.data();
  AlphaLast(bytes, picture.bytes.size() / 4);
  Write(file, Encode(bytes, picture.width, picture.height, 8, effort), ifTaken);
}

void WritePng16(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken, PngEffort effort) {
  std::vector<std::uint8_t> rgba;
  rgba.reserve(picture.words.size() * 2);
  for (std::size_t at = 0; at < picture.words.size(); at += 4) {
    for (const std::size_t channel : {1, 2, 3, 0}) {
      rgba.push_back(static_cast<std::uint8_t>(picture.words[at + channel] >> 8));
      rgba.push_back(static_cast<std::uint8_t>(picture.words[at + channel] & 0xFF));
    }
  }
  Write(file, Encode(rgba.data(), picture.width, picture.height, 16, effort), ifTaken);
}

}  // namespace orvandel::stage
