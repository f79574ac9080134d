// Every allocation fails once: the first, the second, and so on until a whole life of the effect meets no failure; once
// as a single failure, once with all later ones failing too; on the private heap and at the host's handles.
//
// A failure names its schedule: run that test alone with ORVANDEL_FAULT_AT=n.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/faults/heap_faults.h"
#include "tests/faults/host_life.h"
#include "tests/faults/seeds.h"

namespace orvandel::test {
namespace {

enum class Where { kHeap, kHandles };

void Arm(HostLife& life, Where where, std::int64_t at, bool persistent) {
  heap_faults::Arm(where == Where::kHeap ? at : -1, persistent);
  life.host.Arm(where == Where::kHandles ? Fault{Callback::kNewHandle, at, 4, persistent} : Fault{});
}

bool Struck(const HostLife& life) { return heap_faults::Struck() || life.host.FaultStruck(); }

void ExpectOutOfMemory(const HostLife& life, std::int32_t code) {
  const std::uint64_t bytes = heap_faults::Struck() ? heap_faults::FirstRefusedBytes() : life.host.FirstRefusedBytes();
  const std::string wanted = ": Insufficient free memory (unable to allocate " + std::to_string(bytes) + " bytes)";
  const char* colon = std::strchr(life.host.out.message, ':');
  EXPECT_EQ(code, ORV_OUT_OF_MEMORY);
  EXPECT_STREQ(colon == nullptr ? life.host.out.message : colon, wanted.c_str());
  EXPECT_EQ(life.host.out.outFlags & ORV_OUT_ERROR_MESSAGE, std::uint32_t{ORV_OUT_ERROR_MESSAGE});
}

// Returns whether the schedule struck: when not, the life has fewer allocations.
bool LiveWithFault(const Variant& variant, bool passParams, Where where, std::int64_t at, bool persistent) {
  HostLife life(variant, passParams);
  Arm(life, where, at, persistent);
  bool struck = false;
  for (const Step& step : WholeLife()) {
    SCOPED_TRACE(testing::Message() << "selector " << step.selector << ", tick " << step.tick);
    std::int32_t code = life.Send(step);
    if (!struck && Struck(life)) {
      struck = true;
      ExpectOutOfMemory(life, code);
      EXPECT_EQ(life.Disorder(), "");
      Arm(life, where, -1, false);
      code = life.Send(step);
    }
    EXPECT_EQ(code, 0);
    EXPECT_EQ(life.Disorder(), "");
    EXPECT_TRUE(step.selector != ORV_RENDER || life.ShowsFreshPicture(step));
  }
  EXPECT_EQ(life.Remains(), "");
  Arm(life, where, -1, false);
  return struck;
}

class Allocations : public testing::TestWithParam<Variant> {
 protected:
  void Sweep(Where where) {
    const std::int64_t only = FromEnvironment("ORVANDEL_FAULT_AT", -1);
    // Thinned sweeps of different variants start at different requests.
    const auto offset = static_cast<std::int64_t>(GetParam().Name().size()) % Thinning();
    std::int64_t failures = 0;
    for (const auto& [persistent, passParams] : {std::pair{false, true}, {true, true}, {false, false}}) {
      for (std::int64_t at = std::max(only, offset);; at += Thinning()) {
        SCOPED_TRACE(testing::Message() << "request " << at << (persistent ? " and all later ones" : " alone")
                                        << (passParams ? "" : ", values by check-out"));
        const bool struck = LiveWithFault(GetParam(), passParams, where, at, persistent);
        if (!struck || HasFailure() || at == only) break;
        ++failures;
      }
    }
    EXPECT_TRUE(only >= 0 || Thinning() > 1 || failures >= (where == Where::kHeap ? 300 : 30)) << failures;
    RecordProperty("failing_allocations", std::to_string(failures));
  }
};

TEST_P(Allocations, OnThePrivateHeap) { Sweep(Where::kHeap); }
TEST_P(Allocations, OfHostHandles) { Sweep(Where::kHandles); }

INSTANTIATE_TEST_SUITE_P(Sweep, Allocations, testing::ValuesIn(AllVariants()),
                         [](const auto& instance) { return instance.param.Name(); });

}  // namespace
}  // namespace orvandel::test
