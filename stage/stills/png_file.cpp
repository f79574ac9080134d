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
#include "stage/base/stage_clock.h"
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
struct Decoded {
  Bytes bytes;
  std::int32_t width = 0, height = 0;
  std::size_t sampleBytes = 1;

  std::size_t Size() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4 * sampleBytes;
  }
};

Picture EightBitsOf(const Decoded& decoded) {
  Picture picture(decoded.width, decoded.height);
  const std::uint8_t* in = decoded.bytes.get();
  for (std::size_t at = 0; at < picture.bytes.size(); at += 4) {
    for (const std::size_t channel : {1, 2, 3, 0}) {
      const std::uint32_t high = *in;
      picture.bytes[at + channel] = decoded.sampleBytes == 1 ? *in : EightBits(high << 8 | in[1]);
      in += decoded.sampleBytes;
    }
  }
  return picture;
}

Decoded Decode(const std::filesystem::path& file) {
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
  unsigned char* samples = nullptr;
  const unsigned code = lodepng_decode(&samples, &width, &height, codec.Address(), bytes, content.size());
  Decoded decoded{Bytes(samples), static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), bits / 8};
  check(code);
  return decoded;
}

using Packed = PngCompressor::Packed;

// A zlib stream. Throws std::bad_alloc.
Packed Compressed(std::span<const std::uint8_t> bytes, PngEffort effort) {
  Packed packed;
  if (const PngCompressor* compressor = Addition<PngCompressor>::Find()) {
    packed = compressor->Compress(bytes, effort);
  } else {
    LodePNGCompressSettings settings;
    lodepng_compress_settings_init(&settings);
    unsigned char* out = nullptr;
    if (lodepng_zlib_compress(&out, &packed.size, bytes.data(), bytes.size(), &settings) == 0) packed.bytes.reset(out);
  }
  if (packed.bytes == nullptr) throw std::bad_alloc();
  return packed;
}

std::uint32_t Crc(std::span<const std::uint8_t> bytes) {
  const PngCompressor* compressor = Addition<PngCompressor>::Find();
  return compressor != nullptr ? compressor->Crc(bytes) : lodepng_crc32(bytes.data(), bytes.size());
}

// A chunk: the length of its data, high byte first, a name of four letters, the data, a checksum of name and data.
void AppendNumber(std::vector<std::uint8_t>& file, std::size_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) file.push_back(static_cast<std::uint8_t>(number >> shift));
}

void AppendChunk(std::vector<std::uint8_t>& file, std::string_view name, std::span<const std::uint8_t> data) {
  AppendNumber(file, data.size());
  const std::size_t checkedFrom = file.size();
  file.insert(file.end(), name.begin(), name.end());
  file.insert(file.end(), data.begin(), data.end());
  AppendNumber(file, Crc({file.data() + checkedFrom, file.size() - checkedFrom}));
}

bool AreZeros(std::span<const std::uint8_t> bytes) {
  return bytes.front() == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
}

constexpr std::size_t kLargestChunk = 0x7FFFFFFF;

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

Picture ReadPng(const std::filesystem::path& file) { return EightBitsOf(Decode(file)); }

void ReadPngSamples(const std::filesystem::path& file, const std::function<void(std::span<const std::uint8_t>)>& take) {
  const Decoded decoded = Decode(file);
  take({decoded.bytes.get(), decoded.Size()});
}

std::uint8_t* PngWriter::BeginRow(std::int32_t y, std::uint8_t filter) {
  std::uint8_t* const row = scanlines_.data() + static_cast<std::size_t>(y) * (1 + rowBytes_);
  *row = filter;
  return row + 1;
}

void PngWriter::Begin(std::int32_t width, std::int32_t height, int bits) {
  width_ = width;
  height_ = height;
  bits_ = bits;
  rowBytes_ = static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) / 2;
  scanlines_.resize(static_cast<std::size_t>(height) * (1 + rowBytes_));
}

// Differences to the pixel before: bands of one colour become two bursts of bytes a row, much the same in the rows
// around, and packed a quarter smaller than as differences to the row above. Soft profiles are 1 to 8 percent larger.
// Rows of zeros say that they are no differences, by a zero that continues them: between them any other number costs
// the fast library 24 bytes.
void PngWriter::Take(const PictureRows& picture) {
  const StageTimer encoding(WorkStage::kEncoding);
  constexpr std::uint8_t kDifferenceToBefore = 1;
  Begin(picture.width, picture.height, 8);
  for (std::int32_t y = 0; y < height_; ++y) {
    const std::uint8_t* const row = picture.Row(y);
    std::uint8_t* const out = BeginRow(y, kDifferenceToBefore);
    CopyAlphaLast(row, out, 1);
    DifferenceAlphaLast(row + 4, row, out + 4, static_cast<std::size_t>(width_) - 1);
    if (AreZeros({out, rowBytes_})) BeginRow(y, 0);
  }
}

void PngWriter::Take(const Picture16& picture) {
  const StageTimer encoding(WorkStage::kEncoding);
  constexpr std::uint8_t kDifferenceToAbove = 2;
  Begin(picture.width, picture.height, 16);
  row_.assign(rowBytes_, 0);  // above the first one
  const std::uint16_t* in = picture.words.data();
  for (std::int32_t y = 0; y < height_; ++y) {
    std::uint8_t *out = BeginRow(y, kDifferenceToAbove), *above = row_.data();
    for (std::int32_t x = 0; x < width_; ++x, in += 4) {
      for (const int channel : {1, 2, 3, 0}) {
        for (const int byte : {in[channel] >> 8, in[channel] & 0xFF}) {  // the high one first
          *out++ = static_cast<std::uint8_t>(byte - *above);
          *above++ = static_cast<std::uint8_t>(byte);
        }
      }
    }
  }
}

std::span<const std::uint8_t> PngWriter::Pack(PngEffort effort) {
  const StageTimer encoding(WorkStage::kEncoding);
  const Packed packed = Compressed(scanlines_, effort);
  if (packed.size > kLargestChunk) throw WorkError("the picture is too large for a PNG file");
  file_.assign(kSignature.begin(), kSignature.end());
  file_.reserve(packed.size + 64);
  constexpr std::uint8_t kRedGreenBlueAlpha = 6;
  std::vector<std::uint8_t> header;
  AppendNumber(header, static_cast<std::size_t>(width_));
  AppendNumber(header, static_cast<std::size_t>(height_));
  header.insert(header.end(), {static_cast<std::uint8_t>(bits_), kRedGreenBlueAlpha, 0, 0, 0});
  AppendChunk(file_, "IHDR", header);
  AppendChunk(file_, "IDAT", {packed.bytes.get(), packed.size});
  AppendChunk(file_, "IEND", {});
  return file_;
}

void PngWriter::Write(const std::filesystem::path& file, IfTaken ifTaken, PngEffort effort) {
  const std::span<const std::uint8_t> bytes = Pack(effort);
  const StageTimer writing(WorkStage::kWriting);
  PartialFile partial(file, ifTaken);
  partial.Write(bytes);
  partial.Keep();
}

std::string EncodePng(Picture rgba) {
  AlphaFirst(rgba.bytes.data(), rgba.bytes.size() / 4);
  PngWriter writer;
  writer.Take(rgba);
  const std::span<const std::uint8_t> bytes = writer.Pack(PngEffort::kDefault);
  return {bytes.begin(), bytes.end()};
}

void WritePng(const std::filesystem::path& file, const Picture& picture, IfTaken ifTaken, PngEffort effort) {
  PngWriter writer;
  writer.Take(picture);
  writer.Write(file, ifTaken, effort);
}

void WritePng16(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken, PngEffort effort) {
  PngWriter writer;
  writer.Take(picture);
  writer.Write(file, ifTaken, effort);
}

}  // namespace orvandel::stage
