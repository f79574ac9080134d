// Every parameter is changed and changed back, from a tick before, at and after the resume snapshot and the live list:
// every frame equals that of a fresh sequence with the same values.
#include <gtest/gtest.h>

#include <cmath>

#include "effect/params/param_ids.h"
#include "tests/faults/variant.h"

namespace orvandel::test {
namespace {

constexpr double kRendered = 7.5;  // leaves the snapshot at 7 and the list at 7.5

// The edit: `definition`, which holds the variant's value, gets another one of its type.
void Change(std::int32_t id, OrvParamDef& definition) {
  OrvParamValue& value = definition.value;
  switch (definition.type) {
    case ORV_PARAM_INTEGER:
      value.integer.value += value.integer.value < value.integer.validMax ? 1 : -1;
      break;
    case ORV_PARAM_FIXED:
      // Shorter lives and narrower fades: a longer life does not bring back waves that were drawn as dead.
      value.fixed.value = id == kLifespan ? value.fixed.value * 2 / 3
                                          : std::min(value.fixed.validMax, value.fixed.value / 2 + 65536 * 3 / 4);
      break;
    case ORV_PARAM_ANGLE:
      value.angle.value += 65536 * 40;
      break;
    case ORV_PARAM_CHECKBOX:
      value.checkbox.value = value.checkbox.value == 0 ? 1 : 0;
      break;
    case ORV_PARAM_COLOR:
      value.color.value.green = static_cast<std::uint8_t>(value.color.value.green + 90);
      break;
    case ORV_PARAM_POINT:
      value.point.x += 65536 * 3;
      value.point.y -= 65536 * 2;
      break;
    case ORV_PARAM_POPUP:
      value.popup.value = value.popup.value % value.popup.choiceCount + 1;
      break;
    case ORV_PARAM_PATH:
      value.path.pathId = 3 - value.path.pathId;
      break;
    default:
      break;
  }
}

class Edits : public testing::TestWithParam<Variant> {
 protected:
  Edits() : host_(kSweepWidth, kSweepHeight) {
    Furnish(host_);
    EXPECT_EQ(host_.SetUp(), 0);
  }
  ~Edits() override { EXPECT_EQ(host_.SetDown(), 0); }

  void Restore() { Apply(host_, GetParam()); }

  // From `tick` on; the source layer has one value for all times.
  void Edit(std::int32_t id, double tick) {
    if (id == kSourceLayer) {
      host_.sourceLayer = 3 - host_.sourceLayer;
      return;
    }
    const FakeHost::ValueFunction before = host_.ValueFunctionOf(id);
    host_.SetValue(id, [this, id, tick, before](std::int32_t time, OrvParamDef& definition) {
      if (before) before(time, definition);
      if (time * 30.0 / host_.timeScale >= tick) Change(id, definition);
    });
  }

  void ExpectFresh(double tick) {
    ASSERT_EQ(host_.RenderTick(tick), 0);
    const auto picture = host_.Picture();
    EXPECT_TRUE(picture == host_.FreshPictureAtTick(tick)) << "rendering tick " << tick;
  }

  FakeHost host_;
};

TEST_P(Edits, AnyParameterThereAndBack) {
  int parameters = 0;
  for (std::int32_t id = kWaveType; id <= kMask; ++id) {
    if (host_.IndexOf(id) < 0) continue;
    ++parameters;
    for (const double tick : {0.0, 1.0, 6.0, 7.0, 7.25, 8.0, 9.0, 12.0}) {
      SCOPED_TRACE(testing::Message() << "parameter " << id << " edited from tick " << tick);
      Restore();
      ExpectFresh(kRendered);
      Edit(id, tick);
      ExpectFresh(kRendered);
      ExpectFresh(9);
      Restore();
      ExpectFresh(kRendered);
      Edit(id, tick);
      ExpectFresh(3);
      ASSERT_FALSE(HasFailure());
    }
  }
  EXPECT_EQ(parameters, 33);
}

INSTANTIATE_TEST_SUITE_P(Sweep, Edits, testing::ValuesIn(AllVariants()),
                         [](const auto& instance) { return instance.param.Name(); });

}  // namespace
}  // namespace orvandel::test
