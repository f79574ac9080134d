// Keyframes in the scene file: {"keyframes": [{"time": seconds, "value": ..., "interp": ...}, ...]}.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

#include "stage/scene/json_place.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// A program may write keys by the thousand; a stranger's file must not fill the memory.
constexpr std::size_t kMaxKeysOfOne = 10000;
constexpr std::size_t kMaxKeysOfScene = 100000;

class KeyReader {
 public:
  // Receives the key's value, time and easing.
  using TakeKey = std::function<void(const JsonPlace& value, double time, const Easing& easing)>;

  // `holder` is the object with the member "keyframes"; `valueKey` is what a key calls its value. Refuses times that
  // are not strictly ascending.
  void Read(const JsonPlace& holder, std::string_view valueKey, const TakeKey& take);

 private:
  std::size_t total_ = 0;
};

}  // namespace orvandel::stage
