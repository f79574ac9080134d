// A host that refuses anything at any time, runs out of memory anywhere and sends what it likes: actions answer, give
// everything back, and what comes after is right.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "memory_faults.h"
#include "scene_player.h"
#include "tests/support/dice.h"
#include "tests/support/seeds.h"

namespace orvandel::ofx::test {
namespace {

using orvandel::test::Dice;
using testing::AnyOf;

std::unique_ptr<Image> SquarePicture(const Habits& habits) {
  stage::Picture picture(64, 36);
  for (std::size_t y = 8; y < 28; ++y) std::fill_n(&picture.bytes[(y * 64 + 20) * 4], 80, std::uint8_t{255});
  return ImageOf(habits, picture);
}

class Hostile : public testing::Test {
 protected:
  Hostile() {
    habits_.width = 64;
    habits_.height = 36;
    Refuse(-1);
    memory::Arm(-1, false);
  }
  ~Hostile() override {
    Refuse(-1);
    memory::Arm(-1, false);
  }

  static void Refuse(int at, bool persistent = false, OfxStatus answer = kFailed) {
    TheRefusal() = {at, persistent, answer, 0};
  }

  static void Direct(OfxImageEffect& effect, const Habits& habits) {
    const auto answer = [&](const char* name, double value) {
      if (OfxParam* param = effect.params.Find(name)) {
        param->value = [value](double) { return std::array<double, 3>{value, 0, 0}; };
      }
    };
    answer("waveType", 1);
    answer("frequency", 6);
    effect.clips[clip::kSource].pictures = [&habits](double) { return SquarePicture(habits); };
  }

  // A project from its loading to its end. The answers of all actions.
  std::vector<OfxStatus> Live() {
    std::vector<OfxStatus> answers;
    const Host host(binary_, habits_, context::kFilter);
    answers.push_back(host.Described());
    if (host.Described() != kOk) return answers;
    try {
      const auto effect = host.Create();
      Direct(*effect, host.Had());
      for (const Name action : {action::kGetClipPreferences, action::kGetRegionOfDefinition, action::kGetFramesNeeded,
                                action::kGetRegionsOfInterest, action::kIsIdentity, action::kBeginSequenceRender}) {
        OfxPropertySet in = host.Args(20), out;
        in.Put(prop::kRegionOfInterest, 5.0, 5.0, 9.0, 9.0);
        answers.push_back(host.Do(action, effect.get(), &in, &out));
      }
      const auto rendered = host.Render(*effect, 20);
      answers.push_back(rendered.status);
      picture_ = rendered.image->Bytes();
      EXPECT_TRUE(rendered.keptToWindow);
      OfxPropertySet in = host.Args(20);
      in.Put(prop::kName, std::string("waveType"));
      for (const Name action : {action::kEndSequenceRender, action::kInstanceChanged, action::kPurgeCaches}) {
        answers.push_back(host.Do(action, effect.get(), &in));
      }
      EXPECT_TRUE(effect->lent.empty());
      said_ = effect->messages;
    } catch (const NoInstance& none) {
      answers.push_back(none.answer);
    }
    return answers;
  }

  Binary binary_{ORVANDEL_OFX_FILE};
  Habits habits_;
  std::vector<std::uint8_t> picture_;  // of the last life
  std::vector<std::string> said_;
};

TEST_F(Hostile, EveryCallOfTheHostMayBeRefused) {
  Live();
  const std::vector<std::uint8_t> expected = picture_;
  const int calls = TheRefusal().calls;
  ASSERT_GT(calls, 1000);
  Dice dice(3);
  const auto step = static_cast<int>(orvandel::test::Thinning());
  const OfxStatus answers[] = {kFailed,    kUnknown,  kMissingHostFeature, kUnsupported,  kExists, kErrMemory,
                               kBadHandle, kBadIndex, kErrValue,           kReplyDefault, -7};
  for (int at = 0; at < calls; at += dice.Whole(1, 20 * step)) {
    SCOPED_TRACE(at);
    Refuse(at, dice.OneIn(4), answers[dice(std::size(answers))]);
    ASSERT_THAT(Live(), testing::Each(AnyOf(kOk, kFailed, kMissingHostFeature, kBadHandle, kReplyDefault)));
    ASSERT_FALSE(HasFailure());
    if (at % 16 != 0) continue;
    Refuse(-1);
    ASSERT_THAT(Live(), testing::Each(AnyOf(kOk, kReplyDefault)));
    ASSERT_EQ(picture_, expected);
  }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(_WIN32)
TEST_F(Hostile, MemoryMayEndAnywhere) {
  Live();
  const std::vector<std::uint8_t> expected = picture_;
  int told = 0;
  for (const bool persistent : {false, true}) {
    std::int64_t step = 1;
    for (std::int64_t at = 0;; at += step, step = 1 + at / 40) {
      SCOPED_TRACE(at);
      memory::Arm(at, persistent);
      const std::vector<OfxStatus> answers = Live();
      const bool struck = memory::Struck();
      memory::Arm(-1, false);
      ASSERT_THAT(answers, testing::Each(AnyOf(kOk, kErrMemory, kReplyDefault))) << testing::PrintToString(said_);
      ASSERT_FALSE(HasFailure());
      told += answers.back() == kErrMemory || std::count(answers.begin(), answers.end(), kErrMemory) != 0;
      if (!struck) {
        ASSERT_EQ(picture_, expected);
        break;
      }
    }
    Live();
    ASSERT_EQ(picture_, expected);
  }
  EXPECT_GT(told, 50);
}
#endif

// What a property holds is another type, another number, or not there.
OfxPropertySet Distorted(OfxPropertySet set, Dice& dice) {
  const double numbers[] = {0,           -1, 1e300, 0.3, 1e-300, 123456789, std::numeric_limits<double>::infinity(),
                            std::nan("")};
  for (auto& [name, values] : set.values) {
    if (dice.OneIn(4)) {
      values.clear();
    } else if (dice.OneIn(4)) {
      for (auto& value : values) value = numbers[dice(std::size(numbers))];
    } else if (dice.OneIn(8)) {
      for (auto& value : values) value = std::string("OfxOfAnotherAge");
    } else if (dice.OneIn(8)) {
      for (auto& value : values) value = dice.OneIn(2) ? std::numeric_limits<int>::max() : -2;
    }
  }
  return set;
}

TEST_F(Hostile, AnyActionMayComeAtAnyTimeWithAnything) {
  Live();
  const std::vector<std::uint8_t> expected = picture_;
  const Name actions[] = {action::kLoad,
                          action::kDescribe,
                          action::kDescribeInContext,
                          action::kRender,
                          action::kIsIdentity,
                          action::kGetRegionOfDefinition,
                          action::kGetRegionsOfInterest,
                          action::kGetFramesNeeded,
                          action::kGetClipPreferences,
                          action::kBeginSequenceRender,
                          action::kEndSequenceRender,
                          action::kPurgeCaches,
                          action::kInstanceChanged,
                          action::kUnload,
                          "OfxActionSyncPrivateData",
                          "OfxActionBeginInstanceChanged",
                          "OfxActionEndInstanceChanged",
                          "OfxImageEffectActionGetTimeDomain",
                          "OfxActionDialog",
                          "OfxInteractActionDraw",
                          ""};
  for (std::uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Dice dice(seed);
    Habits refusing = habits_;
    refusing.knowsOnlyTheNeeded = true;
    refusing.unknownAnswer = dice.OneIn(2) ? kOk : kBadIndex;
    const Name contexts[] = {context::kFilter, context::kGeneral, context::kGenerator};
    const Host host(binary_, habits_, contexts[seed % 3]);
    const auto effect = host.Create();
    Direct(*effect, host.Had());
    for (int i = 0; i < 60; ++i) {
      const Name action = actions[dice(std::size(actions))];
      OfxPropertySet in = host.Args(dice.Real(-50, 100)), out, deaf(refusing);
      in.Put(prop::kRegionOfInterest, 5.0, 5.0, 9.0, 9.0);
      in.Put(prop::kRenderWindow, 0, 0, dice.Whole(-3, 100), dice.Whole(-3, 100));
      in.Put(prop::kName, std::string(dice.OneIn(2) ? "waveType" : clip::kSource));
      in.Put(prop::kChangeReason, std::string("OfxChangeUserEdited"));
      in = Distorted(std::move(in), dice);
      OfxPropertySet* const ins[] = {&in, &in, nullptr};
      OfxPropertySet* const outs[] = {&out, &deaf, nullptr};
      const void* const handles[] = {effect.get(), effect.get(), effect.get(), &in, nullptr};
      const bool ofDescriptor = action == action::kDescribe || action == action::kDescribeInContext;
      const void* const handle = ofDescriptor ? static_cast<const void*>(&host.Descriptor()) : handles[dice(5)];
      const OfxStatus answer = host.Do(action, handle, ins[dice(3)], outs[dice(3)]);
      ASSERT_THAT(answer, AnyOf(kOk, kFailed, kMissingHostFeature, kBadHandle, kReplyDefault)) << action;
      if (dice.OneIn(5)) {
        const OfxRectI window{dice.Whole(-9, 60), dice.Whole(-9, 30), dice.Whole(61, 90), dice.Whole(31, 60)};
        ASSERT_TRUE(host.Render(*effect, dice.Real(0, 40), window).keptToWindow);
      }
    }
    ASSERT_TRUE(effect->lent.empty());
    if (contexts[seed % 3] == context::kFilter) {
      ASSERT_EQ(host.Render(*effect, 20).image->Bytes(), expected);
    }
  }
}

}  // namespace
}  // namespace orvandel::ofx::test
