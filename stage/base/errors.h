// What can go wrong on the host's side, by what the person at the command line can do about it.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace orvandel::stage {

// The input is at fault (scene, picture, film, mask, option): one line that says where, what was found, what is
// allowed.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The work itself failed: the module does not load, a file cannot be written, a codec refuses, memory is gone.
class WorkError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Memory ran out: the same work at a smaller size may succeed.
class OutOfMemory : public WorkError {
 public:
  using WorkError::WorkError;
};

// The effect returned a code: `message` is its own text, line breaks resolved, empty when it gave none.
class EffectError : public std::runtime_error {
 public:
  EffectError(std::int32_t effectCode, std::string effectMessage);
  std::int32_t code;
  std::string message;
};

// The caller asked to stop, and the effect stopped.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

}  // namespace orvandel::stage
