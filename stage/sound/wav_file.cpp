// RIFF: "RIFF", size, "WAVE", then chunks of four letters, a size and that many bytes, even. "fmt " has the samples'
// form (1: whole numbers, 3: floating; 0xFFFE: the form stands in byte 24), channels, rate and bits at bytes 0, 2, 4
// and 14. All numbers are little-endian, as the machine's. Samples are scaled as the program's own decoder scales them,
// so that the same file gives the same envelope.
#include "stage/sound/wav_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/scene/scene_files.h"

namespace orvandel::stage {
namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 30;
constexpr double kLoudest = 1e6;  // of a damaged file's samples, so that their squares stay numbers
constexpr int kMostRate = 768000, kMostChannels = 64;

template <typename Number>
Number At(std::string_view bytes, std::size_t place) {
  Number number{};
  if (place + sizeof number <= bytes.size()) std::memcpy(&number, bytes.data() + place, sizeof number);
  return number;
}

// The chunk's content, or what there is of it; empty: there is none.
std::string_view Chunk(std::string_view wav, std::string_view name) {
  constexpr std::size_t kHead = 8;
  for (std::size_t at = 12; at + kHead <= wav.size();) {
    const std::size_t size = At<std::uint32_t>(wav, at + 4);
    if (wav.substr(at, 4) == name) return wav.substr(at + kHead, size);
    at += kHead + size + size % 2;
  }
  return {};
}

double SampleAt(std::string_view bytes, std::size_t place, int bits, bool floating) {
  if (floating) return bits == 64 ? At<double>(bytes, place) : double{At<float>(bytes, place)};
  switch (bits) {
    case 8:
      return (At<std::uint8_t>(bytes, place) - 128) / 128.0;
    case 16:
      return At<std::int16_t>(bytes, place) / 0x1p15;
    case 24:
      return static_cast<std::int32_t>(std::uint32_t{At<std::uint16_t>(bytes, place)} << 8 |
                                       std::uint32_t{At<std::uint8_t>(bytes, place + 2)} << 24) /
             0x1p31;
    default:
      return At<std::int32_t>(bytes, place) / 0x1p31;
  }
}

}  // namespace

AudioEnvelope MeasureWav(const std::filesystem::path& file, const AudioShape& shape) {
  const auto refuse = [&](const std::string& why) { throw InputError(fmt::format("{}: {}", file.string(), why)); };
  const std::string whole = ReadWholeFile(file, kMostBytes);
  const std::string_view form = Chunk(whole, "fmt "), samples = Chunk(whole, "data");
  const int kind = At<std::uint16_t>(form, 0) == 0xFFFE ? At<std::uint16_t>(form, 24) : At<std::uint16_t>(form, 0);
  const int channels = At<std::uint16_t>(form, 2), bits = At<std::uint16_t>(form, 14);
  const auto rate = At<std::uint32_t>(form, 4);
  const bool known = kind == 3 ? bits == 32 || bits == 64 : kind == 1 && (bits >= 8 && bits <= 32 && bits % 8 == 0);
  if (!known || channels < 1 || channels > kMostChannels || rate < 1 || rate > kMostRate) {
    refuse("holds no samples of 8, 16, 24 or 32 bits, or floating ones of 32 or 64");
  }
  if (shape.low * 2 >= rate)
    refuse(fmt::format("holds {} samples a second and so no sound above {} Hz", rate, rate / 2));
  EnvelopeFollower follower(shape, static_cast<int>(rate));
  const auto width = static_cast<std::size_t>(bits) / 8, step = width * static_cast<std::size_t>(channels);
  for (std::size_t at = 0; at + step <= samples.size(); at += step) {
    double sum = 0;
    for (std::size_t c = 0; c < step; c += width) sum += SampleAt(samples, at + c, bits, kind == 3);
    const double mean = sum / channels;
    follower.Add(std::isfinite(mean) ? std::clamp(mean, -kLoudest, kLoudest) : 0);
  }
  return follower.Finish();
}

bool IsWav(const std::filesystem::path& file) {
  char head[12] = {};
  const auto in = OpenToRead(file);
  in->read(head, sizeof head);
  return in->gcount() == sizeof head && std::memcmp(head, "RIFF", 4) == 0 && std::memcmp(head + 8, "WAVE", 4) == 0;
}

}  // namespace orvandel::stage
