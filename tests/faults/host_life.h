// A sequence of commands from global set-up to global set-down, run with faults in it. A command that fails is checked,
// the fault is taken away, and the command is sent again: it must then succeed, and a render must give the picture that
// the variant gives without any fault.
#pragma once

#include <string>
#include <vector>

#include "tests/faults/variant.h"

namespace orvandel::test {

struct Step {
  std::int32_t selector = 0;
  double tick = 0;  // of a render
};

// Set-up, three renders (forward, to a fraction, back), flatten, set-up again, a render, set-down.
const std::vector<Step>& WholeLife();

// The picture of a sequence that renders nothing else, without faults; computed once. It depends on how values are
// passed: the effect knows its own layer's size from the parameter array alone.
const std::vector<std::uint8_t>& FreshPictureOf(const Variant& variant, bool passParams, double tick);

class HostLife {
 public:
  static constexpr std::uint8_t kUntouched = 0x5A;  // the output's bytes before a render

  explicit HostLife(const Variant& variant, bool passParams = true);

  // One command; values are applied once parameters are known.
  std::int32_t Send(const Step& step);
  // Empty when the last command left everything in order: nothing lent, fences whole, inputs unchanged.
  std::string Disorder();
  // Empty when nothing is left after the last command of a life.
  std::string Remains();
  bool ShowsFreshPicture(const Step& step);

  FakeHost host;

 private:
  Variant variant_;
  std::vector<std::uint8_t> inputBefore_;
};

}  // namespace orvandel::test
