// A hash that distinguishes states of files and pictures: the same on all machines, no protection against forgery.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace orvandel::cli {

// FNV-1a over eight bytes at a time, twice 64 bits.
class ContentHash {
 public:
  void Add(std::string_view bytes) {
    AddBytes(bytes.data(), bytes.size());
    AddWord(bytes.size());  // so that moving a letter to the neighbour changes the hash
  }
  void Add(double number) { AddBytes(&number, sizeof number); }
  void AddBytes(const void* bytes, std::size_t size) {
    const auto* at = static_cast<const char*>(bytes);
    for (; size > 0; at += std::min<std::size_t>(size, 8), size -= std::min<std::size_t>(size, 8)) {
      std::uint64_t word = 0;
      std::memcpy(&word, at, std::min<std::size_t>(size, 8));
      AddWord(word);
    }
  }
  std::string Text() const { return fmt::format("{:016x}{:016x}", first_, second_); }

 private:
  void AddWord(std::uint64_t word) {
    constexpr std::uint64_t kPrime = 0x9E3779B97F4A7C15;
    first_ = (first_ ^ word) * kPrime;
    first_ ^= first_ >> 29;  // the high bytes of a word reach the low ones of the next
    second_ = (second_ ^ (word + 0x55)) * kPrime;
    second_ ^= second_ >> 31;
  }
  std::uint64_t first_ = 0xCBF29CE484222325, second_ = 0x9AE16A3B2F90404F;
};

}  // namespace orvandel::cli
