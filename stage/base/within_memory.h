// Running out of memory on the host's side is a failure of the work like any other.
#pragma once

#include <new>

#include "stage/base/errors.h"

namespace orvandel::stage {

template <typename Work>
auto WithinMemory(const Work& work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    throw OutOfMemory("not enough memory for the pictures of this render");
  }
}

}  // namespace orvandel::stage
