// The parts of a PNG file that are looked at:
//   offset  width
//     0       8   signature
//     8       8   length of the first chunk's data (13, big-endian) and its type, "IHDR"
//    16       8   width, height, big-endian
//    24       2   bits a channel; colour type, 6 for red, green, blue, alpha
//   end-12   12   the last chunk, "IEND": no data, a type, its checksum
#include "cli/render/png_form.h"

#include <array>
#include <cstring>
#include <fstream>
#include <string_view>

namespace orvandel::cli {
namespace {

constexpr std::string_view kBegin{"\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16};
constexpr std::string_view kEnd{"\0\0\0\0IEND\xae\x42\x60\x82", 12};
constexpr char kWithAlpha = 6;

std::int32_t BigEndian(const char* bytes) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return static_cast<std::int32_t>(value);
}

}  // namespace

std::optional<PngForm> FormOfPng(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::array<char, 26> head{};
  std::array<char, kEnd.size()> tail{};
  stream.read(head.data(), head.size());
  stream.seekg(-static_cast<std::streamoff>(tail.size()), std::ios::end);
  stream.read(tail.data(), tail.size());
  if (!stream || std::memcmp(head.data(), kBegin.data(), kBegin.size()) != 0 || head[25] != kWithAlpha ||
      std::memcmp(tail.data(), kEnd.data(), kEnd.size()) != 0) {
    return std::nullopt;
  }
  return PngForm{BigEndian(&head[16]), BigEndian(&head[20]), head[24]};
}

}  // namespace orvandel::cli
