// A host that has been set up, and calls of the effect held open on it, so that tests can reach the operations inside.
#pragma once

#include "effect/host/instance.h"
#include "effect/sim/wave.h"
#include "tests/support/fake_host.h"

namespace orvandel::test {

class OpenCall {
 public:
  explicit OpenCall(FakeHost& host) : image_(host.output.View()), call_(&host.in, &host.out, nullptr, &image_) {
    context.input = ImageBuffer::FromHost(host.input.View());
  }

 private:
  OrvImage image_;
  Call call_;

 public:
  EffectContext& context = call_.Context();
};

// The wave's storage goes back before the host's set-down empties the heap.
struct HostWithWave {
  HostWithWave(std::int32_t width, std::int32_t height) : host(width, height) { host.SetUp(); }
  ~HostWithWave() {
    wave = Wave();
    host.SetDown();
  }
  FakeHost host;
  Wave wave;
};

}  // namespace orvandel::test
