// The host stops the work at each poll in turn (abort checks and progress reports). The code comes back as it was
// given, also when from the stop on there is no memory or the host throws instead of handing any out; the host is not
// polled again in that call, and the next frame is right. The output holds the rows scanned until then: untouched
// before drawing begins (contour waves use it as scratch), then one row more from each poll to the next.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "tests/faults/heap_faults.h"
#include "tests/faults/host_life.h"

namespace orvandel::test {
namespace {

constexpr std::int32_t kCodes[] = {1, -1, 4, 513, INT_MIN};

using Pixels = std::vector<std::uint8_t>;

// Rows in which the two pictures differ.
std::int32_t DifferingRows(const Pixels& a, const Pixels& b) {
  constexpr std::ptrdiff_t kRowBytes = kSweepWidth * 4;
  std::int32_t rows = 0;
  for (auto left = a.begin(), right = b.begin(); left != a.end(); left += kRowBytes, right += kRowBytes) {
    if (!std::equal(left, left + kRowBytes, right)) ++rows;
  }
  return rows;
}

class Stops : public testing::TestWithParam<Variant> {
 protected:
  Stops() : life_(GetParam()) {
    for (const std::int32_t selector : {ORV_GLOBAL_SET_UP, ORV_PARAM_SET_UP}) EXPECT_EQ(life_.Send({selector}), 0);
  }
  ~Stops() override {
    EXPECT_EQ(life_.Send({ORV_GLOBAL_SET_DOWN}), 0);
    EXPECT_EQ(life_.Remains(), "");
  }

  // A sequence that has rendered `before`, ready for `frame`.
  void Prepare(const std::vector<Step>& before) {
    EXPECT_EQ(life_.Send({ORV_SEQUENCE_SET_UP}), 0);
    for (const Step& step : before) EXPECT_EQ(life_.Send(step), 0);
  }

  // How often the frame polls, and how often while it draws: the unbroken run of progress reports at its end.
  std::pair<std::int64_t, std::int64_t> CountPolls(const std::vector<Step>& before, const Step& frame) {
    Prepare(before);
    std::int64_t polls = 0, drawing = 0;
    std::size_t reports = life_.host.progressDone.size();
    life_.host.onPoll = [&] {
      ++polls;
      const bool isReport = life_.host.progressDone.size() > reports;
      reports = life_.host.progressDone.size();
      drawing = isReport ? drawing + 1 : 0;
    };
    EXPECT_EQ(life_.Send(frame), 0);
    life_.host.onPoll = nullptr;
    return {polls, drawing};
  }

  // Returns the output that the stop leaves.
  Pixels StopAt(const std::vector<Step>& before, const Step& frame, std::int64_t poll) {
    const std::int32_t code = kCodes[poll % 5];
    Prepare(before);
    life_.host.Arm({Callback::kPoll, poll, code});
    std::int64_t asked = 0;
    life_.host.onPoll = [&] {
      if (asked++ < poll || poll % 3 == 0) return;
      life_.host.ArmAll({{Callback::kPoll, 0, code}, {Callback::kNewHandle, 0, 4, true, poll % 3 == 1}});
      heap_faults::Arm(0, true);
    };
    EXPECT_EQ(life_.Send(frame), code);
    EXPECT_EQ(life_.host.PollsAfterStop(), 0);
    EXPECT_EQ(life_.Disorder(), "");
    EXPECT_STREQ(life_.host.out.message, "");
    EXPECT_EQ(life_.host.out.outFlags, 0U);
    const Pixels left = life_.host.output.Pixels();
    life_.host.onPoll = nullptr;
    life_.host.Disarm();
    heap_faults::Disarm();
    for (const Step& step : {frame, Step{ORV_RENDER, 9}}) {
      EXPECT_EQ(life_.Send(step), 0);
      EXPECT_TRUE(life_.ShowsFreshPicture(step)) << "tick " << step.tick;
    }
    EXPECT_EQ(life_.Send({ORV_SEQUENCE_SET_DOWN}), 0);
    return left;
  }

  HostLife life_;
};

TEST_P(Stops, AtEveryPoll) {
  std::int64_t stops = 0;
  const std::vector<std::vector<Step>> lives = {
      {{ORV_RENDER, 4}}, {{ORV_RENDER, 4}, {ORV_RENDER, 7.5}}, {{ORV_RENDER, 7.5}, {ORV_RENDER, 2.25}}};
  const Pixels untouched = FencedImage(kSweepWidth, kSweepHeight, HostLife::kUntouched).Pixels();
  for (std::vector<Step> before : lives) {
    const Step frame = before.back();
    before.pop_back();
    const auto [polls, drawing] = CountPolls(before, frame);
    Pixels previous(untouched.size(), 0);  // cleared
    for (std::int64_t poll = 0; poll < polls && !HasFailure(); ++poll) {
      SCOPED_TRACE(testing::Message() << "poll " << poll << " of tick " << frame.tick << ", after " << before.size()
                                      << " renders");
      const Pixels left = StopAt(before, frame, poll);
      const bool draws = poll >= polls - drawing;
      EXPECT_TRUE(draws || GetParam().shape == Shape::kContour || left == untouched);
      if (draws) {
        EXPECT_LE(DifferingRows(previous, left), 1);
        previous = left;
      }
      ++stops;
    }
    EXPECT_GT(polls, 10);
    EXPECT_GT(drawing, 0);
    EXPECT_LE(DifferingRows(previous, FreshPictureOf(GetParam(), true, frame.tick)), 1);
  }
  RecordProperty("stops", std::to_string(stops));
}

INSTANTIATE_TEST_SUITE_P(Sweep, Stops, testing::ValuesIn(AllVariants()),
                         [](const auto& instance) { return instance.param.Name(); });

}  // namespace
}  // namespace orvandel::test
