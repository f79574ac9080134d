// Keys by the type of the slot: which words count, and which of them a key gives back.
#include "effect/sim/value_key.h"

#include <gtest/gtest.h>

#include <random>

#include "effect/params/param_ids.h"

namespace orvandel::test {
namespace {

TEST(ValueKey, ByTheTypeOfTheSlot) {
  std::mt19937 random(35);
  for (std::int32_t type = 1; type <= ORV_PARAM_GROUP_END; ++type) {
    const bool isPoint = type == ORV_PARAM_POINT;
    const bool hasWord = type <= ORV_PARAM_POPUP && !isPoint;
    for (int round = 0; round < 20; ++round) {
      ParamSlot slot, other;
      slot.definition.type = other.definition.type = type;
      for (ParamSlot* each : {&slot, &other}) {
        each->definition.value.point.x = static_cast<OrvFixed>(random() % 2);
        each->definition.value.point.y = static_cast<OrvFixed>(random() % 2);
      }
      const OrvPointValue a = slot.definition.value.point, b = other.definition.value.point;
      const bool same = isPoint ? a.x == b.x && a.y == b.y : hasWord && a.x == b.x;
      const ValueKey key = KeyOf(slot);
      EXPECT_EQ(SameValue(other, key), same) << "type " << type;
      const ParamValue expected{type, static_cast<std::uint32_t>(isPoint || hasWord ? a.x : b.x),
                                static_cast<std::uint32_t>(isPoint ? a.y : b.y)};
      EXPECT_EQ(ValueFrom(other, key), expected) << "type " << type;
    }
  }
}

}  // namespace
}  // namespace orvandel::test
