// The host stops the work at each of its questions in turn: the abort check and the progress report. The code comes
// back as it was given, also when from the stop on there is no memory or the host throws instead of handing any out, no
// further question is asked in that call, and the next frame is right. The output holds the rows scanned until then:
// untouched before the drawing (contour waves use it as scratch), then one row more from each question to the next.
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

  // How many questions the frame asks, and how many of them while it draws: the last reports of progress in a row.
  std::pair<std::int64_t, std::int64_t> CountQuestions(const std::vector<Step>& before, const Step& frame) {
    Prepare(before);
    std::int64_t questions = 0, drawing = 0;
    std::size_t reports = life_.host.progressDone.size();
    life_.host.onQuestion = [&] {
      ++questions;
      const bool isReport = life_.host.progressDone.size() > reports;
      reports = life_.host.progressDone.size();
      drawing = isReport ? drawing + 1 : 0;
    };
    EXPECT_EQ(life_.Send(frame), 0);
    life_.host.onQuestion = nullptr;
    return {questions, drawing};
  }

  // Returns the output that the stop leaves.
  Pixels StopAt(const std::vector<Step>& before, const Step& frame, std::int64_t question) {
    const std::int32_t code = kCodes[question % 5];
    Prepare(before);
    life_.host.Arm({Callback::kQuestion, question, code});
    std::int64_t asked = 0;
    life_.host.onQuestion = [&] {
      if (asked++ < question || question % 3 == 0) return;
      life_.host.ArmAll({{Callback::kQuestion, 0, code}, {Callback::kNewHandle, 0, 4, true, question % 3 == 1}});
      heap_faults::Arm(0, true);
    };
    EXPECT_EQ(life_.Send(frame), code);
    EXPECT_EQ(life_.host.QuestionsAfterStop(), 0);
    EXPECT_EQ(life_.Disorder(), "");
    EXPECT_STREQ(life_.host.out.message, "");
    EXPECT_EQ(life_.host.out.outFlags, 0U);
    const Pixels left = life_.host.output.Pixels();
    life_.host.onQuestion = nullptr;
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

TEST_P(Stops, AtEveryQuestion) {
  std::int64_t stops = 0;
  const std::vector<std::vector<Step>> lives = {
      {{ORV_RENDER, 4}}, {{ORV_RENDER, 4}, {ORV_RENDER, 7.5}}, {{ORV_RENDER, 7.5}, {ORV_RENDER, 2.25}}};
  const Pixels untouched = FencedImage(kSweepWidth, kSweepHeight, HostLife::kUntouched).Pixels();
  for (std::vector<Step> before : lives) {
    const Step frame = before.back();
    before.pop_back();
    const auto [questions, drawing] = CountQuestions(before, frame);
    Pixels previous(untouched.size(), 0);  // cleared
    for (std::int64_t question = 0; question < questions && !HasFailure(); ++question) {
      SCOPED_TRACE(testing::Message() << "question " << question << " of tick " << frame.tick << ", after "
                                      << before.size() << " renders");
      const Pixels left = StopAt(before, frame, question);
      const bool draws = question >= questions - drawing;
      EXPECT_TRUE(draws || GetParam().shape == Shape::kContour || left == untouched);
      if (draws) {
        EXPECT_LE(DifferingRows(previous, left), 1);
        previous = left;
      }
      ++stops;
    }
    EXPECT_GT(questions, 10);
    EXPECT_GT(drawing, 0);
    EXPECT_LE(DifferingRows(previous, FreshPictureOf(GetParam(), true, frame.tick)), 1);
  }
  RecordProperty("stops", std::to_string(stops));
}

INSTANTIATE_TEST_SUITE_P(Sweep, Stops, testing::ValuesIn(AllVariants()),
                         [](const auto& instance) { return instance.param.Name(); });

}  // namespace
}  // namespace orvandel::test
