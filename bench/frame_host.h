// Shared by the benchmarks of whole calls: the test suite's host, set up for one sequence, and names of sizes.
//
// Its values come from tables and cost about what a compositing program's would. Abort checks and progress reports are
// only counted here, because the test suite's own callbacks record every one. Layers have no padding.
#pragma once

#include <cstdint>
#include <string>

#include "effect/params/param_ids.h"
#include "tests/support/fake_host.h"

namespace orvandel::bench {

struct PictureSize {
  const char* name;
  std::int32_t width, height;
};
inline constexpr PictureSize kFullHd = {"1080p", 1920, 1080};
inline constexpr PictureSize kUltraHd = {"4k", 3840, 2160};
inline constexpr PictureSize kTiny = {"tiny", 16, 16};  // where the drawing is not what is measured

inline constexpr std::int32_t kUnitsPerTick = 1000;       // host time units; 30,000 a second
inline constexpr std::int32_t kUnitsPerNtscFrame = 1001;  // 29.97 frames a second

inline std::int64_t polls = 0;  // abort checks and progress reports since a benchmark set it to 0

inline std::int32_t AnswerPollsFast(std::int32_t selector, OrvInRecord* in, OrvOutRecord* out, OrvParamDef** params,
                                    OrvImage* output, void* extra) {
  in->callbacks.abortCheck = [](OrvEffectRef) {
    ++polls;
    return 0;
  };
  in->callbacks.progress = [](OrvEffectRef, std::int32_t, std::int32_t) {
    ++polls;
    return 0;
  };
  return FilterMain(selector, in, out, params, output, extra);
}

// Holds no memory of the effect's private heap once it ends: what benchmarks keep there must go before.
class FrameHost {
 public:
  FrameHost(const PictureSize& size, std::int32_t seconds) : host(size.width, size.height, &AnswerPollsFast) {
    host.input = test::FencedImage(size.width, size.height, 0, 0);
    host.output = test::FencedImage(size.width, size.height, 0, 0);
    host.duration = seconds * host.timeScale;
    ready = host.SetUp() == 0;
  }
  ~FrameHost() { host.SetDown(); }
  FrameHost(const FrameHost&) = delete;
  FrameHost& operator=(const FrameHost&) = delete;

  // As a host does that jumps to a frame of a project it has just opened.
  void ForgetSequence() {
    host.Send(ORV_SEQUENCE_SET_DOWN);
    host.Send(ORV_SEQUENCE_SET_UP);
  }

  test::FakeHost host;
  bool ready = false;
};

}  // namespace orvandel::bench
