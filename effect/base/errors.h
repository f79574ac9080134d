// The only exceptions the effect throws. FilterMain alone turns them into codes and messages.
#pragma once

#include <cstdint>
#include <exception>

namespace orvandel {

// Carries the code the command returns: a host's own code, 512 (general failure) or 513 (message already written).
class AbortException : public std::exception {
 public:
  explicit AbortException(std::int32_t errorCode) noexcept : code(errorCode) {}
  std::int32_t code;
};

// No memory for `size` bytes; -1 when the size is unknown or above 2^31 - 1.
class AllocFailed : public std::exception {
 public:
  explicit AllocFailed(std::int32_t requestedBytes = -1) noexcept : size(requestedBytes) {}

  static AllocFailed ForBytes(std::uint64_t bytes) noexcept {
    return AllocFailed(bytes > 0x7FFFFFFFu ? -1 : static_cast<std::int32_t>(bytes));
  }

  std::int32_t size;
};

}  // namespace orvandel
