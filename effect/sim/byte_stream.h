// A growing writer and a bounded reader over plain bytes: native (little-endian) order, packed, no alignment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "effect/base/heap_containers.h"

namespace orvandel {

// Grows to capacity x 2 + k when k more bytes do not fit. AllocFailed with that size, -1 beyond 2^31 - 1.
class ByteWriter {
 public:
  ByteWriter() = default;
  ByteWriter(const ByteWriter&) = delete;
  ByteWriter& operator=(const ByteWriter&) = delete;
  ~ByteWriter() { heap::Free(buffer_); }

  template <typename Value>
  void Append(Value value) {
    AppendBytes(&value, sizeof(value));
  }
  void Append(bool value) { Append(static_cast<std::uint8_t>(value ? 1 : 0)); }

  const std::uint8_t* Bytes() const { return buffer_; }
  std::int32_t Length() const { return length_; }
  std::int32_t Capacity() const { return capacity_; }

 private:
  void AppendBytes(const void* bytes, std::int32_t count) {
    if (static_cast<std::int64_t>(length_) + count > capacity_) Grow(count);
    std::memcpy(buffer_ + length_, bytes, static_cast<std::size_t>(count));
    length_ += count;
  }

  void Grow(std::int32_t count) {
    constexpr std::int64_t kLargest = 0x7FFFFFFF;
    const std::int64_t wanted = static_cast<std::int64_t>(capacity_) * 2 + count;
    void* grown = wanted > kLargest ? nullptr : heap::Reallocate(buffer_, static_cast<std::size_t>(wanted));
    if (grown == nullptr) throw AllocFailed::ForBytes(static_cast<std::uint64_t>(wanted));
    buffer_ = static_cast<std::uint8_t*>(grown);
    capacity_ = static_cast<std::int32_t>(wanted);
  }

  std::int32_t capacity_ = 0;
  std::int32_t length_ = 0;
  std::uint8_t* buffer_ = nullptr;
};

// Over bytes that a ByteWriter made, or that only claim it: past their end zeros are read, and HasFailed tells.
class ByteReader {
 public:
  ByteReader(const std::uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

  template <typename Value>
  Value Read() {
    Value value{};
    if (Left() < sizeof(value)) {
      position_ = size_;
      failed_ = true;
      return value;
    }
    std::memcpy(&value, bytes_ + position_, sizeof(value));
    position_ += sizeof(value);
    return value;
  }
  template <typename Value>
  void ReadInto(Value& value) {
    value = Read<Value>();
  }
  // True only for the byte 1.
  void ReadInto(bool& value) { value = Read<std::uint8_t>() == 1; }

  std::size_t Left() const { return size_ - position_; }
  bool HasFailed() const { return failed_; }
  // What was read cannot be followed by what must come.
  void Fail() { failed_ = true; }

 private:
  const std::uint8_t* bytes_;
  std::size_t size_, position_ = 0;
  bool failed_ = false;
};

}  // namespace orvandel
