// Births and steps: when waves are born, how old they are, where stepping starts from, and how it stops.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>

#include "effect/base/errors.h"
#include "effect/params/param_ids.h"
#include "effect/sim/ticks.h"
#include "effect/sim/wave_bytes.h"
#include "tests/sim/sequence_probe.h"

namespace orvandel::test {
namespace {

struct Stepped : FakeHost {
  explicit Stepped(double frequency = 1) {
    EXPECT_EQ(SetUp(), 0);
    SetFixed(kFrequency, frequency);
    SetFixed(kLifespan, 1000);
    passParamsToRender = false;
  }
  ~Stepped() {
    EXPECT_EQ(Send(ORV_SEQUENCE_SET_DOWN), 0);
    EXPECT_EQ(heap::BytesInUse(), 0U);  // the global set-down would free what a sequence forgot
    EXPECT_EQ(Send(ORV_GLOBAL_SET_DOWN), 0);
    std::string why;
    EXPECT_TRUE(NothingLeft(&why)) << why;
  }
};

TEST(Ticks, ScaleBySeconds) {
  for (const std::int32_t scale : {1, 2, 30, 24000}) EXPECT_EQ(TicksOf(7 * scale, scale), 210);
  for (const std::int32_t none : {0, -1, -30}) EXPECT_EQ(TicksOf(7, none), 0) << "no time without a scale";
}

TEST(WaveList, AFullListRefusesOneMoreAndStaysWhole) {
  WaveList list;
  for (std::uint32_t i = 0; i < 3; ++i) list.Append(3).sides = i;
  try {
    list.Append(3);
    FAIL() << "a fourth wave";
  } catch (const AllocFailed& failure) {
    EXPECT_EQ(failure.size, static_cast<std::int32_t>(4 * sizeof(Wave)));
  }
  EXPECT_EQ(list.waves.size(), 3U);
  EXPECT_EQ(list.waves.back().sides, 2U);
  // Room for all that Frequency 500 and Lifespan 1000 keep alive, and a size that a message can tell.
  EXPECT_GT(kMostWaves, 500U * 1000U);
  EXPECT_LT((kMostWaves + 1) * sizeof(Wave), 0x7FFFFFFFU);
}

// Births are due at 0, 1/f, 2/f ... whatever the frame rate the list is asked at; ages tell the birth times. A wave
// looks at the pictures of its birth, counted from the tick in which the emission's phase began.
TEST(Stepping, BirthsFollowTheFrequency) {
  for (const double frequency : {0.5, 3.0, 7.25, 10.0, 30.0, 45.0, 100.0}) {
    Stepped host(frequency);
    for (const double tick : {1.0, 60.5}) {
      const double seconds = tick / 30;
      ASSERT_EQ(host.RenderTick(tick), 0);
      const auto ages = Ages(host);
      EXPECT_NEAR(static_cast<double>(ages.size()), seconds * frequency + 1, 1.01);
      auto wave = StateOf(host).list->waves.begin();
      for (std::size_t i = 0; i < ages.size(); ++i, ++wave) {
        const double birth = static_cast<double>(i) / frequency;
        EXPECT_NEAR(ages[i], seconds - birth, 2e-4) << frequency << " wave " << i;
        const double lateness = birth * host.timeScale - wave->sampleTime;
        EXPECT_TRUE(lateness > -2 && lateness < host.timeScale / 30 + 2)
            << frequency << " wave " << i << ": " << lateness;
      }
    }
  }
  Stepped host(0);
  ASSERT_EQ(host.RenderTick(100), 0);
  EXPECT_EQ(Ages(host).size(), 1U) << "without a frequency there is one wave";
}

TEST(Stepping, ASnapshotIsTheListAtItsTick) {
  Stepped host;
  ASSERT_EQ(host.RenderTick(10.5), 0);
  EXPECT_EQ(StateOf(host).time, 10.5);
  EXPECT_EQ(StateOf(host).snapshotTime, 10);
  const auto* snapshot = static_cast<const std::uint8_t*>(*StateOf(host).snapshotBlock);
  ByteReader reader(snapshot + 4, ByteReader(snapshot, 4).Read<std::uint32_t>());
  WaveList list;
  EXPECT_TRUE(ReadWaveList(reader, list) && IsPossible(list));
  ASSERT_EQ(list.waves.size(), 1U);
  EXPECT_NEAR(list.waves.front().age, 10 / 30.0, 1e-6);
  EXPECT_EQ(reader.Left(), 0U) << "the list's bytes, counted";
  ByteWriter bytes;
  list.waves.front().shapeValid = false;
  WriteWaveList(list, bytes);
  EXPECT_EQ(bytes.Length(), 109U + 148U) << "a field neither written nor read shows in few frames";
  ASSERT_EQ(host.RenderTick(-3), 0);
  EXPECT_EQ(StateOf(host).time, 0) << "a negative time is time 0";
}

// The first report of progress tells the ticks ahead: as few as the list and the snapshot allow. A list at a whole tick
// goes on; one at a fraction can only be shown again, but has left a snapshot at its tick. Later than both may be what
// the host keeps.
class Starts : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Stepping, Starts, testing::Bool());
TEST_P(Starts, AreTheNearestStateBehindTheFrame) {
  std::mt19937 random(12);
  Stepped host;
  host.changeStamp = host.keepsResumePoints = GetParam();
  double list = -1, snapshot = -1;
  for (int i = 0; i < 300; ++i) {
    const double frame = static_cast<double>(random() % 2 == 0 ? random() % 12 * 4 : random() % 48) / 4;
    const bool listServes = list == frame || (list >= 0 && list == std::floor(list) && list <= frame);
    const bool snapshotServes = snapshot >= 0 && snapshot <= frame;
    double start = listServes ? list : snapshotServes ? snapshot : 0;
    for (const auto& [tick, bytes] : host.resumePoints[host.in.sequenceData]) {
      if (list != frame && tick > start && tick <= frame) start = tick;
    }
    host.progressDone.clear();
    host.progressTotal.clear();
    host.ResetCalls();
    ASSERT_EQ(host.RenderTick(frame), 0);
    const auto ticksAhead = static_cast<std::int32_t>(frame - start);
    if (frame > start) {
      ASSERT_EQ(host.progressTotal.front(), ticksAhead) << "frame " << frame << ", list " << list;
    }
    // Done counts up by ticks as the total says, the fraction last.
    for (std::int32_t tick = 0; tick < ticksAhead; ++tick) {
      EXPECT_EQ(host.progressDone[static_cast<std::size_t>(tick)], tick);
    }
    const bool kept = i > 0 && (list == frame || snapshot == std::floor(frame));
    EXPECT_TRUE(!kept || host.Calls(Callback::kNewHandle) == 0) << "the snapshot serves all frames of its tick";
    if (frame != std::floor(frame)) {
      snapshot = std::floor(frame);
    } else if (start != snapshot && list != frame) {
      snapshot = -1;
    }
    list = frame;
    EXPECT_EQ(StateOf(host).snapshotTime, snapshot) << "after frame " << frame;
  }
}

TEST(Stepping, AStoppedRunGoesOnFromTheTickReached) {
  for (const Callback poll : {Callback::kAbort, Callback::kProgress}) {
    Stepped host;
    host.Arm({poll, 5, 9});
    EXPECT_EQ(host.RenderTick(100), 9);
    EXPECT_EQ(host.PollsAfterStop(), 0);
    // The step under way completes; a progress report is looked at one step later still.
    const double reached = StateOf(host).time;
    EXPECT_EQ(reached, poll == Callback::kAbort ? 4 : 7);
    host.Disarm();
    host.progressTotal.clear();
    ASSERT_EQ(host.RenderTick(100), 0);
    EXPECT_EQ(host.progressTotal.front(), 100 - static_cast<int>(reached));
    EXPECT_EQ(host.Picture(), host.FreshPictureAtTick(100));
  }
}

// A host may render on and on without showing anything: waves must not pile up.
TEST(Stepping, FramesWithoutPixelsEndTheSameLives) {
  std::vector<float> ages[2];
  for (const bool drawn : {false, true}) {
    Stepped host(11);
    host.SetFixed(kLifespan, 1.25);
    if (!drawn) host.lentOutput = OrvImage{};
    for (int tick = 1; tick < 90; ++tick) ASSERT_EQ(host.RenderTick(tick), 0);
    ages[drawn ? 1 : 0] = Ages(host);
  }
  EXPECT_EQ(ages[0], ages[1]);
}

// The picture that the simulation depends on, once, and no empty layer beside it.
TEST(Stepping, OnePictureIsLentAtEveryPoll) {
  Stepped host;
  host.passParamsToRender = true;
  host.layers.emplace_back(8, 8, std::uint8_t{40});
  for (const std::int32_t layer : {0, 1}) {
    host.sourceLayer = layer;
    std::int64_t most = 0;
    host.ResetCalls();
    host.onPoll = [&] { most = std::max(most, host.Calls(Callback::kCheckOut) - host.Calls(Callback::kCheckIn)); };
    for (const double tick : {3.0, 3.5, 2.0}) ASSERT_EQ(host.RenderTick(tick), 0);
    host.onPoll = nullptr;
    EXPECT_EQ(most, 1) << "layer " << layer;
  }
}

TEST(SequenceCommands, TheOlderOfTwoSequencesMayGoFirst) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  const OrvHandle older = std::exchange(host.in.sequenceData, nullptr);
  ASSERT_EQ(host.Send(ORV_SEQUENCE_SET_UP), 0);
  const OrvHandle newer = std::exchange(host.in.sequenceData, older);
  ASSERT_EQ(host.Send(ORV_SEQUENCE_SET_DOWN), 0);
  host.in.sequenceData = newer;
  EXPECT_EQ(host.RenderTick(3), 0);
  EXPECT_EQ(host.Send(ORV_SEQUENCE_SET_DOWN), 0);
  EXPECT_EQ(heap::BytesInUse(), 0U);
}

TEST(SequenceCommands, SetUpStartsAnewAndReSetUpDoesNot) {
  Stepped host;
  EXPECT_EQ(StateOf(host).time, -1);
  ASSERT_EQ(host.RenderTick(31), 0);
  const OrvHandle sequence = host.in.sequenceData;
  ASSERT_EQ(host.Send(ORV_SEQUENCE_RE_SET_UP), 0);
  EXPECT_EQ(host.in.sequenceData, sequence);
  EXPECT_EQ(StateOf(host).time, 31);
  ASSERT_EQ(host.Send(ORV_SEQUENCE_SET_UP), 0);
  EXPECT_EQ(StateOf(host).time, -1);
  ASSERT_EQ(host.Send(ORV_SEQUENCE_FLATTEN), 0);
  EXPECT_EQ(host.out.sequenceData, nullptr);
  ASSERT_EQ(host.RenderTick(31), 0) << "a render without set-up sets up first";
}

}  // namespace
}  // namespace orvandel::test
