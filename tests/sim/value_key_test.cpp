// Keys by the type of the slot: which words count, and what loading one leaves alone.
#include "effect/sim/value_key.h"

#include <gtest/gtest.h>

#include <random>

#include "effect/params/param_ids.h"

namespace orvandel::test {
namespace {

bool SameBytes(const OrvParamDef& a, const OrvParamDef& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

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
      OrvParamDef loaded = other.definition;
      if (isPoint || hasWord) loaded.value.point.x = a.x;
      if (isPoint) loaded.value.point.y = a.y;
      LoadValue(other, key);
      EXPECT_TRUE(SameBytes(other.definition, loaded)) << "type " << type;
    }
  }
}

}  // namespace
}  // namespace orvandel::test
