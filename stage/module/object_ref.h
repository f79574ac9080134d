// The host's objects as the effect holds them: words of 64 bits, which are addresses.
#pragma once

#include <cstdint>

namespace orvandel::stage {

template <typename Object>
std::uint64_t RefTo(Object* object) {
  return reinterpret_cast<std::uintptr_t>(object);
}

template <typename Object>
Object* ObjectOf(std::uint64_t ref) {
  return reinterpret_cast<Object*>(static_cast<std::uintptr_t>(ref));  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace orvandel::stage
