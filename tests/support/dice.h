// Where random tests take their decisions from: a seeded generator, the same for the same seed, or the bytes that a
// fuzzer made.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <span>

namespace orvandel::test {

class Dice {
 public:
  explicit Dice(std::uint32_t seed) : engine_(seed) {}
  // Every decision is 0 once the bytes are used up.
  explicit Dice(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  // 0 to count - 1.
  std::uint32_t operator()(std::uint32_t count) { return Bits(count <= 256 ? 1 : 4) % count; }
  // Ends included.
  std::int32_t Whole(std::int32_t low, std::int32_t high) {
    const std::int64_t extent = std::int64_t{high} - low + 1;
    return static_cast<std::int32_t>(low + Bits(4) % extent);
  }
  float Real(float low, float high) { return low + (high - low) * static_cast<float>(Bits(4) % 65536) / 65535.0F; }
  double Fraction() { return Bits(4) / 4294967296.0; }
  bool OneIn(std::int32_t n) { return Whole(1, n) == 1; }

 private:
  std::uint32_t Bits(int byteCount) {
    if (!bytes_) return static_cast<std::uint32_t>(engine_());
    std::uint32_t bits = 0;
    for (; byteCount > 0 && !bytes_->empty(); --byteCount) {
      bits = bits << 8 | bytes_->front();
      bytes_ = bytes_->subspan(1);
    }
    return bits;
  }

  std::mt19937 engine_;
  std::optional<std::span<const std::uint8_t>> bytes_;
};

}  // namespace orvandel::test
