// The pool against workers that are slow, fail, die or hang: every frame once, in order where that is promised, an
// error and never a wait without end.
#include "cli/render/worker_pool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <new>
#include <numeric>
#include <random>

#include "orvandel/effect.h"
#include "stage/base/errors.h"
#include "tests/support/error_of.h"

namespace orvandel::cli {
namespace {

using testing::HasSubstr;
using Work = std::function<void(std::int32_t frame, std::span<std::uint8_t> slot)>;

class TestWork final : public FrameWork {
 public:
  explicit TestWork(Work work) : work_(std::move(work)) {}
  // The rest runs beside the next frames where there are no slots.
  std::function<void()> Make(std::int32_t frame, std::span<std::uint8_t> slot) override {
    if (slot.empty()) return [this, frame] { work_(frame, {}); };
    work_(frame, slot);
    return {};
  }

 private:
  Work work_;
};

std::vector<std::int32_t> SomeFrames(std::size_t count) {
  std::vector<std::int32_t> frames(count);
  std::iota(frames.begin(), frames.end(), 100);
  return frames;
}

PoolOptions Options(int jobs, std::size_t slotBytes) {
  PoolOptions options;
  options.jobs = jobs;
  options.slotBytes = slotBytes;
  return options;
}

struct Taken {
  std::vector<std::int32_t> frames;
  bool bytesRight = true;
};

Taken RunPool(const PoolOptions& options, std::size_t count, const Work& work) {
  WorkerPool pool(options, [&] { return std::make_unique<TestWork>(work); });
  Taken taken;
  const auto frames = SomeFrames(count);
  pool.Run(frames, [&](const FinishedFrame& finished) {
    taken.frames.push_back(finished.frame);
    for (const std::uint8_t byte : finished.bytes)
      taken.bytesRight &= byte == static_cast<std::uint8_t>(finished.frame);
    EXPECT_EQ(finished.bytes.size(), options.slotBytes);
  });
  return taken;
}

TEST(WorkerPool, TakesEveryFrameOnceAndInOrderWithSlots) {
  for (const int jobs : {1, 2, 5, 16}) {
    for (const std::size_t slotBytes : {std::size_t{0}, std::size_t{1000}}) {
      for (const std::size_t count : {std::size_t{1}, std::size_t{3}, std::size_t{200}}) {
        Taken taken = RunPool(Options(jobs, slotBytes), count, [&](std::int32_t frame, std::span<std::uint8_t> slot) {
          usleep(static_cast<useconds_t>(frame * 7919 % 400));  // they overtake each other
          if (!slot.empty()) std::memset(slot.data(), frame, slot.size());
        });
        if (slotBytes == 0 && jobs > 1) std::sort(taken.frames.begin(), taken.frames.end());
        EXPECT_EQ(taken.frames, SomeFrames(count)) << jobs << " jobs, " << slotBytes;
        EXPECT_TRUE(taken.bytesRight);
      }
    }
  }
}

// One slot for everyone, as large pictures have it, holds nobody up for ever.
TEST(WorkerPool, ManagesWithOneSlot) {
  const std::size_t large = (std::size_t{1} << 29) + 1;
  PoolOptions options = Options(3, large);
  WorkerPool pool(options, [&] {
    return std::make_unique<TestWork>(
        [](std::int32_t frame, std::span<std::uint8_t> slot) { slot[0] = static_cast<std::uint8_t>(frame); });
  });
  const auto frames = SomeFrames(20);
  std::vector<std::int32_t> taken;
  pool.Run(frames, [&](const FinishedFrame& finished) {
    EXPECT_EQ(finished.bytes[0], finished.frame);
    taken.push_back(finished.frame);
  });
  EXPECT_EQ(taken, frames);
}

template <typename Error>
std::string ErrorOf(int jobs, const Work& work, double maxFrameSeconds = 0) {
  PoolOptions options = Options(jobs, 8);
  options.maxFrameSeconds = maxFrameSeconds;
  return test::ErrorOf<Error>([&] { RunPool(options, 30, work); });
}

TEST(WorkerPool, ThrowsWhatAWorkerThrew) {
  for (const int jobs : {1, 4}) {
    const auto at = [](auto error) {
      return [error](std::int32_t frame, std::span<std::uint8_t> slot) {
        std::memset(slot.data(), frame, slot.size());
        if (frame == 111) throw error;
      };
    };
    EXPECT_EQ(ErrorOf<stage::InputError>(jobs, at(stage::InputError("bad film"))), "bad film");
    EXPECT_EQ(ErrorOf<stage::WorkError>(jobs, at(stage::WorkError("no room"))), "no room");
    EXPECT_EQ(ErrorOf<stage::WorkError>(jobs, at(std::runtime_error("odd"))), "odd");
    EXPECT_NE(ErrorOf<std::bad_alloc>(jobs, at(std::bad_alloc())), "nothing");
    try {
      RunPool(Options(jobs, 8), 30, at(stage::EffectError(ORV_INVALID_CALLBACK, "its words")));
      ADD_FAILURE();
    } catch (const stage::EffectError& error) {
      EXPECT_EQ(error.code, ORV_INVALID_CALLBACK);
      EXPECT_EQ(error.message, "its words");
    }
  }
}

TEST(WorkerPool, AWorkerThatDiesIsAnError) {
  for (const int jobs : {1, 3}) {
    for (const int signal : {SIGKILL, SIGSEGV, SIGABRT}) {
      EXPECT_THAT(ErrorOf<stage::WorkError>(jobs,
                                            [&](std::int32_t frame, std::span<std::uint8_t>) {
                                              if (frame == 105) {
                                                std::signal(signal, SIG_DFL);  // tests under a sanitizer have handlers
                                                kill(getpid(), signal);
                                              }
                                            }),
                  HasSubstr("was ended by signal " + std::to_string(signal)));
    }
    EXPECT_THAT(ErrorOf<stage::WorkError>(jobs,
                                          [](std::int32_t frame, std::span<std::uint8_t>) {
                                            if (frame == 105) _exit(3);
                                          }),
                HasSubstr("ended with code 3 while it made frame 105"));
  }
}

TEST(WorkerPool, AWorkerThatCannotBeginIsAnError) {
  WorkerPool pool(Options(3, 0), []() -> std::unique_ptr<FrameWork> { throw stage::WorkError("no module"); });
  const auto frames = SomeFrames(5);
  EXPECT_THROW(pool.Run(frames, [](const FinishedFrame&) {}), stage::WorkError);
}

// The process that hangs does not even answer SIGTERM.
TEST(WorkerPool, BoundsTheTimeOfAFrame) {
  EXPECT_THAT(ErrorOf<stage::WorkError>(
                  2,
                  [](std::int32_t frame, std::span<std::uint8_t>) {
                    while (frame == 103) pause();
                  },
                  0.2),
              HasSubstr("frame 103 takes longer than the 0.2 seconds"));
}

TEST(WorkerPool, EndsWhenTheTakerFails) {
  WorkerPool pool(Options(3, 8),
                  [] { return std::make_unique<TestWork>([](std::int32_t, std::span<std::uint8_t>) {}); });
  const auto frames = SomeFrames(50);
  EXPECT_THROW(pool.Run(frames, [](const FinishedFrame&) { throw stage::WorkError("disk full"); }), stage::WorkError);
}

}  // namespace
}  // namespace orvandel::cli
