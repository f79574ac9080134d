// Every allocation on the private heap and every callback fails once, alone and with all later ones of its kind, until
// a whole life of the effect meets no failure: the command's code is the one that the contract names, everything lent
// goes back, and once memory and host answer again the frame is right.
//
// A failure names its schedule: run that test alone with ORVANDEL_FAULT_AT=n.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "tests/faults/heap_faults.h"
#include "tests/faults/host_life.h"
#include "tests/support/seeds.h"

namespace orvandel::test {
namespace {

constexpr std::int32_t kHostCode = 77;
constexpr Callback kHeap = Callback::kCount;  // no callback: the private heap

// Codes that a command may end with when a callback answers kHostCode (null where it hands back an address).
std::set<std::int32_t> CodesFor(Callback callback, bool neededRefused) {
  switch (callback) {
    case Callback::kCheckIn:
    case Callback::kAddParam:
    case Callback::kGetString:
    case Callback::kUpdateUi:
      return {0};
    case Callback::kCheckOut:
      return {0, kHostCode, ORV_INVALID_CALLBACK};  // looked at for layers and masks alone
    case Callback::kNewHandle:
    case kHeap:
      return {ORV_OUT_OF_MEMORY};
    case Callback::kAcquire:
      return {neededRefused ? ORV_INVALID_CALLBACK : 0};
    default:
      return {kHostCode};
  }
}

std::string Told(const Fault& fault) {
  return "callback " + std::to_string(static_cast<int>(fault.callback)) + ", call " + std::to_string(fault.at) +
         (fault.persistent ? " and all later ones" : " alone") + ", code " + std::to_string(fault.code) + ", leaves " +
         std::to_string(static_cast<int>(fault.leaves));
}

void Arm(HostLife& life, const Fault& fault) {
  heap_faults::Arm(fault.callback == kHeap ? fault.at : -1, fault.persistent);
  life.host.Arm(fault);
}

void ExpectMemoryMessage(const HostLife& life) {
  const std::uint64_t bytes = heap_faults::Struck() ? heap_faults::FirstRefusedBytes() : life.host.FirstRefusedBytes();
  const std::string wanted = ": Insufficient free memory (unable to allocate " + std::to_string(bytes) + " bytes)";
  const char* colon = std::strchr(life.host.out.message, ':');
  EXPECT_STREQ(colon == nullptr ? life.host.out.message : colon, wanted.c_str());
  EXPECT_EQ(life.host.out.outFlags & ORV_OUT_ERROR_MESSAGE, std::uint32_t{ORV_OUT_ERROR_MESSAGE});
}

class Faults : public testing::TestWithParam<std::tuple<Variant, bool>> {
 protected:
  // Returns whether the schedule struck: when not, the life has fewer calls.
  bool Live(const Fault& fault) {
    const auto& [variant, passParams] = GetParam();
    HostLife life(variant, passParams);
    Arm(life, fault);
    bool struck = false;
    for (const Step& step : WholeLife()) {
      SCOPED_TRACE(testing::Message() << "selector " << step.selector << ", tick " << step.tick);
      std::int32_t code = life.Send(step);
      if (!struck && (heap_faults::Struck() || life.host.FaultStruck())) {
        struck = true;
        EXPECT_TRUE(fault.throws ? code == ORV_INVALID_CALLBACK
                                 : CodesFor(fault.callback, life.host.NeededServiceRefused()).contains(code))
            << code;
        EXPECT_TRUE(!fault.throws || std::string(life.host.out.message).find("Internal Error") != std::string::npos);
        EXPECT_EQ(life.host.PollsAfterStop(), 0);
        if (code == ORV_OUT_OF_MEMORY) ExpectMemoryMessage(life);
        EXPECT_EQ(life.Disorder(), "");
        Arm(life, {});
        if (step.selector != ORV_GLOBAL_SET_DOWN) code = life.Send(step);
      }
      EXPECT_EQ(code, 0);
      EXPECT_EQ(life.Disorder(), "");
      EXPECT_TRUE(step.selector != ORV_RENDER || life.ShowsFreshPicture(step));
    }
    EXPECT_EQ(life.Remains(), "");
    Arm(life, {});
    return struck;
  }

  // Thinned sweeps of different variants start at different calls.
  void Sweep(Fault fault) {
    const std::int64_t only = FromEnvironment("ORVANDEL_FAULT_AT", -1);
    const auto offset = static_cast<std::int64_t>(std::get<0>(GetParam()).Name().size()) % Thinning();
    for (const bool persistent : {false, true}) {
      fault.persistent = persistent;
      for (fault.at = std::max(only, offset);; fault.at += Thinning()) {
        SCOPED_TRACE(Told(fault));
        if (!Live(fault) || HasFailure() || fault.at == only) break;
        ++failures_;
      }
    }
    EXPECT_TRUE(fault.callback != kHeap || only >= 0 || Thinning() > 1 || failures_ >= 200) << failures_;
  }
  ~Faults() override { RecordProperty("failures", std::to_string(failures_)); }

  std::int64_t failures_ = 0;
};
class Allocations : public Faults {};
class Callbacks : public Faults {};

TEST_P(Allocations, OnThePrivateHeap) { Sweep({.callback = kHeap}); }

TEST_P(Callbacks, EachFails) {
  for (int callback = 0; callback < static_cast<int>(Callback::kPoll); ++callback) {
    Sweep({.callback = static_cast<Callback>(callback), .code = kHostCode});
    if (HasFailure()) return;
  }
  Sweep({.callback = Callback::kAcquire, .code = 0});  // success, but no table
  for (const Leaves leaves : {Leaves::kJunk, Leaves::kZeroValue}) {
    Sweep({.callback = Callback::kCheckOut, .code = kHostCode, .leaves = leaves});
  }
}

// A host in C++ may throw. What it throws while a call ends is its own affair: check-ins of layers are such.
TEST_P(Callbacks, EachThrows) {
  for (int callback = 0; callback < static_cast<int>(Callback::kPoll); ++callback) {
    if (static_cast<Callback>(callback) == Callback::kCheckIn) continue;
    Sweep({.callback = static_cast<Callback>(callback), .throws = true});
    if (HasFailure()) return;
  }
}

// What a parameter is becomes known with its second answer: the simulation's are asked for twice before the first step.
TEST_P(Callbacks, TheFirstCheckOutOfEachParameterIsRefused) {
  const auto& [variant, passParams] = GetParam();
  HostLife life(variant, passParams);
  for (std::int64_t at = 0; !passParams && at < 2 * 28; at += 2) {
    for (std::size_t i = 0; i < 3; ++i) ASSERT_EQ(life.Send(WholeLife()[i]), 0);
    life.host.Arm({Callback::kCheckOut, at, kHostCode});
    const Step frame{ORV_RENDER, 7.5};
    EXPECT_EQ(life.Send(frame), 0);
    EXPECT_TRUE(life.host.FaultStruck() && life.ShowsFreshPicture(frame)) << "check-out " << at;
    life.host.Disarm();
    EXPECT_EQ(life.host.SetDown(), 0);
  }
}

TEST_P(Callbacks, TheServiceTableIsMissing) {
  const auto& [variant, passParams] = GetParam();
  HostLife life(variant, passParams);
  const OrvServiceTable* services = life.host.in.services;
  for (const Step& step : WholeLife()) {
    life.host.in.services = nullptr;
    EXPECT_EQ(life.Send(step), ORV_INVALID_CALLBACK);
    EXPECT_EQ(life.Disorder(), "");
    life.host.in.services = services;
    EXPECT_EQ(life.Send(step), 0);
    EXPECT_TRUE(step.selector != ORV_RENDER || life.ShowsFreshPicture(step));
  }
  EXPECT_EQ(life.Remains(), "");
}

std::vector<Variant> OneOfEachShape() {
  std::vector<Variant> variants;
  for (const Shape shape : {Shape::kPolygon, Shape::kMask, Shape::kContour}) {
    variants.push_back({shape, false, true, true});
    variants.push_back({shape, true, false, false});
  }
  return variants;
}

std::string NameOf(const testing::TestParamInfo<std::tuple<Variant, bool>>& instance) {
  return std::get<0>(instance.param).Name() + (std::get<1>(instance.param) ? "ByParams" : "ByCheckOut");
}

INSTANTIATE_TEST_SUITE_P(Sweep, Allocations, testing::Combine(testing::ValuesIn(AllVariants()), testing::Bool()),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Sweep, Callbacks, testing::Combine(testing::ValuesIn(OneOfEachShape()), testing::Bool()),
                         NameOf);

}  // namespace
}  // namespace orvandel::test
