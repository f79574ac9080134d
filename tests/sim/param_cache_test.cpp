// The cache of parameter values: where its entries lie, and that any edit gives the frame of a fresh render.
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <random>

#include "effect/params/param_ids.h"
#include "tests/sim/sequence_probe.h"

namespace orvandel::test {
namespace {

struct Cached : FakeHost {
  Cached() {
    EXPECT_EQ(SetUp(), 0);
    duration = 60 * 1000;
  }
  ~Cached() {
    EXPECT_EQ(Send(ORV_SEQUENCE_SET_DOWN), 0);
    EXPECT_EQ(heap::BytesInUse(), 0U);
  }
  double TickOf(std::int32_t hostTime) const { return hostTime * 30.0 / timeScale; }
};

TEST(ParamCache, ConstantParametersNeedTwoEntries) {
  Cached host;
  ASSERT_EQ(host.RenderTick(0), 0);
  EXPECT_EQ(CacheTimes(host), (std::vector<double>{0}));
  ASSERT_EQ(host.Send(ORV_SEQUENCE_SET_UP), 0);
  ASSERT_EQ(host.RenderTick(20), 0);
  EXPECT_EQ(CacheTimes(host), (std::vector<double>{0, 61}));
}

TEST(ParamCache, OneEntryAtEveryTickOfChange) {
  Cached host;
  host.SetValue(kFrequency, [&host](std::int32_t time, OrvParamDef& d) {
    d.value.fixed.value = static_cast<OrvFixed>((1 + std::min(host.TickOf(time), 10.0)) * 65536);
  });
  ASSERT_EQ(host.RenderTick(5), 0);
  std::vector<double> expected;
  for (int tick = 0; tick <= 5; ++tick) expected.push_back(tick);
  EXPECT_EQ(CacheTimes(host), expected);
  ASSERT_EQ(host.RenderTick(30), 0);
  for (int tick = 6; tick <= 10; ++tick) expected.push_back(tick);
  expected.push_back(61);
  EXPECT_EQ(CacheTimes(host), expected);
}

// The frame before the edit leaves the list at its tick, a fraction also a snapshot. A list at a whole tick, and one a
// fraction before the edited tick, have been moved along by the values of the tick ahead.
TEST(ParamCache, AnEditCostsOnlyTheTicksFromItOn) {
  for (const double before : {20.0, 20.5}) {
    for (const int edit : {0, 1, 19, 20, 21, 22, 24}) {
      for (const double after : {20.0, 20.5, 21.0, 22.25}) {
        Cached host;
        const auto stepAt = [&host](int tick) {
          host.SetValue(kProducerPoint, [&host, tick](std::int32_t time, OrvParamDef& d) {
            d.value.point.x = (host.TickOf(time) >= tick ? 20 : 30) * 65536;
          });
        };
        host.SetFixed(kFrequency, 40);
        host.SetValue(kExpansion, [&host](std::int32_t time, OrvParamDef& d) {
          d.value.fixed.value = host.TickOf(time) < 10 ? 65536 : 131072;  // entries before the edit stay
        });
        stepAt(1000);
        ASSERT_EQ(host.RenderTick(before), 0);
        stepAt(edit);
        host.progressTotal.clear();
        ASSERT_EQ(host.RenderTick(after), 0);
        const bool listStands = before == 20 ? edit > 20 : edit >= 22 && before == after;
        const bool snapshotStands = before != 20 && edit > 20;
        const double start = listStands ? before : snapshotStands ? 20 : 0;
        const std::int32_t ticksAhead = host.progressTotal.front();
        // Without a step the first report is that of the drawing, of more lines than there are ticks.
        EXPECT_TRUE(start == after ? ticksAhead > 24 : ticksAhead == static_cast<int>(after - start))
            << before << ", " << edit << ", " << after << ": " << ticksAhead;
        EXPECT_EQ(host.Picture(), host.FreshPictureAtTick(after)) << before << ", " << edit << ", " << after;
      }
    }
  }
}

TEST(ParamCache, RestartParametersCountAtTimeZeroAlone) {
  Cached host;
  host.layers.emplace_back(8, 8, std::uint8_t{40});
  host.layers.emplace_back(8, 8, std::uint8_t{50});
  ASSERT_EQ(host.RenderTick(20), 0);
  const auto picture = host.FreshPictureAtTick(21);
  host.SetValue(kSetAt, [](std::int32_t time, OrvParamDef& d) { d.value.popup.value = time == 0 ? 1 : 2; });
  host.SetValue(kSourceLayer, [&host](std::int32_t time, OrvParamDef& d) {
    if (time > 0) d.value.layer.image = host.layers[static_cast<std::size_t>(time / 1000 % 2)].View();
  });
  host.progressTotal.clear();
  ASSERT_EQ(host.RenderTick(21), 0);
  EXPECT_EQ(host.progressTotal.front(), 1) << "nothing has changed at time 0";
  EXPECT_EQ(host.Picture(), picture);
  host.SetWord(kSetAt, 2);
  host.progressTotal.clear();
  ASSERT_EQ(host.RenderTick(22), 0);
  EXPECT_EQ(host.progressTotal.front(), 22);
}

TEST(ParamCache, ANewSourceLayerPictureRestartsTheSimulation) {
  Cached host;
  host.layers.emplace_back(8, 8, std::uint8_t{40});
  host.sourceLayer = 1;
  ASSERT_EQ(host.RenderTick(20), 0);
  host.progressTotal.clear();
  ASSERT_EQ(host.RenderTick(21), 0);
  EXPECT_EQ(host.progressTotal.front(), 1);
  for (const std::int32_t x : {0, 3}) {  // either word of the fingerprint
    *host.layers[0].Pixel(x, 0) = 41;
    host.progressTotal.clear();
    ASSERT_EQ(host.RenderTick(22), 0);
    EXPECT_EQ(host.progressTotal.front(), 22);
  }
  std::string why;
  EXPECT_TRUE(host.Balanced(&why)) << why;
}

// With the host's promise that nothing changed, ticks are checked once; every broken promise is the host's own.
TEST(ParamCache, AChangeStampSparesTheCheckAndChangesNoFrame) {
  Cached host;
  host.duration = 400 * 1000;
  host.SetValue(kFrequency, [&host](std::int32_t time, OrvParamDef& d) {
    d.value.fixed.value = static_cast<OrvFixed>(65536 * (1 + static_cast<int>(host.TickOf(time)) / 50));
  });
  host.changeStamp = 1;
  ASSERT_EQ(host.RenderTick(300), 0);
  std::int64_t asked = host.Calls(Callback::kCheckOut);
  for (const double tick : {301.0, 305.5, 380.0, 200.0, 379.5, 390.0, 150.0}) {
    ASSERT_EQ(host.RenderTick(tick), 0);
    EXPECT_LT(host.Calls(Callback::kCheckOut) - asked, 3500) << tick << ": not every tick up to the frame again";
    EXPECT_EQ(host.Picture(), host.FreshPictureAtTick(tick)) << tick;
    asked = host.Calls(Callback::kCheckOut);
  }
  host.SetFixed(kExpansion, 2);
  host.changeStamp = 2;
  ASSERT_EQ(host.RenderTick(390), 0);
  EXPECT_EQ(host.Picture(), host.FreshPictureAtTick(390)) << "another stamp: everything is looked at again";
  host.changeStamp = 0;  // no such service: then every frame counts as another stamp
  for (const double expansion : {3.0, 4.0}) {
    host.SetFixed(kExpansion, expansion);
    ASSERT_EQ(host.RenderTick(391), 0);
    EXPECT_EQ(host.Picture(), host.FreshPictureAtTick(391));
  }
  // Checked again part of the way, then further along, within one entry and across its end.
  host.changeStamp = 3;
  for (const double tick : {180.0, 190.0, 230.0}) ASSERT_EQ(host.RenderTick(tick), 0);
  EXPECT_EQ(CacheTimes(host), (std::vector<double>{0, 50, 100, 150, 200, 250, 300, 350, 400})) << "no entry doubled";
  // A change a tick: where one frame's check ends, the next one's begins.
  host.SetValue(kFrequency, [&host](std::int32_t time, OrvParamDef& d) {
    d.value.fixed.value = static_cast<OrvFixed>(65536 * (1 + host.TickOf(time) / 50));
  });
  host.changeStamp = 4;
  for (const double tick : {130.0, 131.0, 131.5, 135.0}) {
    ASSERT_EQ(host.RenderTick(tick), 0);
    EXPECT_EQ(static_cast<double>(CacheTimes(host).size()), std::ceil(tick + 1));
  }
  std::string why;
  EXPECT_TRUE(host.Balanced(&why)) << why;
}

// A sequence that can go on from a state far out reads no value before it. Whatever is asked for after that, changed,
// forgotten or refused, a frame is that of a sequence without such states.
TEST(ParamCache, BeginsLateWhereTheHostKeepsAState) {
  Cached host;
  host.duration = 400 * 1000;
  host.SetValue(kFrequency, [&host](std::int32_t time, OrvParamDef& d) {
    d.value.fixed.value = static_cast<OrvFixed>(65536 * (1 + host.TickOf(time) / 50));
  });
  host.changeStamp = 1;
  host.SetFixed(kExpansion, 3);
  host.keepsResumePoints = true;
  ASSERT_EQ(host.RenderTick(300), 0);
  std::mt19937 random(31);
  const auto startAnew = [&](std::size_t mostStates) {
    auto states = host.resumePoints[host.in.sequenceData];
    while (states.size() > mostStates)
      states.erase(std::next(states.begin(), static_cast<std::ptrdiff_t>(random() % states.size())));
    ASSERT_EQ(host.Send(ORV_SEQUENCE_SET_UP), 0);
    host.resumePoints[host.in.sequenceData] = states;
  };
  startAnew(20);
  const std::int32_t last = host.resumePoints[host.in.sequenceData].rbegin()->first;
  const std::int64_t asked = host.Calls(Callback::kCheckOut);
  ASSERT_EQ(host.RenderTick(last + 2.5), 0);
  EXPECT_EQ(CacheTimes(host).front(), last);
  EXPECT_LT(host.Calls(Callback::kCheckOut) - asked, 28 * 6);
  int late = 0;
  for (int i = 0; i < 500; ++i) {
    if (random() % 5 == 0) startAnew(random() % 20);
    if (random() % 25 == 0) host.in.quality = 1 - host.in.quality;
    if (random() % 12 == 0) host.SetFixed(kExpansion, 3 * static_cast<double>(host.changeStamp = 1 + random() % 3));
    const double tick = static_cast<double>(random() % 1200) / 4;
    if (random() % 4 == 0) {
      host.Arm(
          {random() % 2 == 0 ? Callback::kNewHandle : Callback::kCheckOut, static_cast<std::int64_t>(random() % 60)});
      host.RenderTick(static_cast<double>(random() % 1200) / 4);
      host.Disarm();
    }
    ASSERT_EQ(host.RenderTick(tick), 0);
    ASSERT_EQ(host.Picture(), host.FreshPictureAtTick(tick)) << i << ": " << tick;
    if (CacheTimes(host).front() > 0) ++late;
  }
  EXPECT_GT(late, 30);
}

// A picture that cannot be read, a cache or a snapshot that finds no memory: nothing may stay behind that the stored
// cache does not describe, and no stamp under which it would not be looked at again.
TEST(ParamCache, AFailureNeverGivesAStaleFrame) {
  int failures = 0;
  for (int at = 0; at < 40; ++at) {
    for (const auto callback : {Callback::kNewHandle, Callback::kCheckOut}) {
      for (const double tick : {150.0, 150.5}) {
        Cached host;
        host.duration = 200 * 1000;
        host.changeStamp = 2;
        ASSERT_EQ(host.RenderTick(tick), 0);
        host.SetFixed(kExpansion, 3.25);
        host.changeStamp = 1;
        host.Arm({callback, at});
        if (host.RenderTick(tick + 2) == 0) continue;
        ++failures;
        // The block of the new cache: 2 restart ids, the flag, their values; 28 animated ids; 2
        // entries; and the five words before them.
        constexpr std::uint64_t kBlockBytes = 2 * 4 + 1 + 2 * 8 + 28 * 4 + 2 * (8 + 28 * 8) + 5 * 4;
        EXPECT_TRUE(tick != 150 || callback != Callback::kNewHandle || host.FirstRefusedBytes() == kBlockBytes);
        EXPECT_TRUE(StateOf(host).list == nullptr && StateOf(host).time == -1) << at;
        EXPECT_TRUE(StateOf(host).snapshotBlock == nullptr && StateOf(host).snapshotTime == -1) << at;
        host.Disarm();
        for (const double next : {2.5, 3.0}) {
          ASSERT_EQ(host.RenderTick(tick + next), 0);
          EXPECT_EQ(host.Picture(), host.FreshPictureAtTick(tick + next)) << "at " << tick << ", " << at;
          host.ClearValues();
          host.changeStamp = 2;
        }
      }
    }
  }
  EXPECT_GE(failures, 5) << "cache, snapshot and picture";
}

}  // namespace
}  // namespace orvandel::test
