#include "stage/scene/scene_schema.h"

#include <gtest/gtest.h>

#include "stage/scene/scene_reader.h"
#include "tests/stage/bad_scenes.h"
#include "tests/stage/catalog_for_tests.h"
#include "tests/stage/schema_check.h"

namespace orvandel::stage {
namespace {

// Everything the format has, once.
const char* const kFullScene = R"({"$schema": "../docs/scene.schema.json", "version": 1, "width": 640, "height": 360,
  "frameRate": "30000/1001", "duration": 2.5, "pixelAspect": 1.2, "masks": {"m": {"d": "M 0 0 L 9 9", "close": true,
    "fit": {"contain": [0, 0, 9, 9]}, "scale": [1, -2], "rotate": 45, "anchor": "outline"},
  "n": {"keyframes": [{"time": 0, "d": "M 0 0 L 9 9", "interp": [0, -1, 1, 2]}]}},
  "motionBlur": {"samples": 8, "shutter": 180, "phase": -90},
  "effects": [{"blend": "screen", "opacity": 0.5, "parameters": {"Mask": "m", "Wave Type": 3, "Color": "#ff8000",
    "Sides": {"random": {"seed": 1, "min": 3, "max": 7, "every": "1/5"}}, "Star": true, "Source Layer": null,
    "Producer Point": [{"expression": "t"}, {"random": {"min": -5, "max": 5.5}}],
    "Direction": {"expression": "360 * t"}, "Frequency": {"keyframes": [{"time": 0, "value": 1, "interp": "hold"}]}}},
    {"parameters": {"Wave Type": {"keyframes": [{"time": 0.5, "value": "Mask"}]}, "Producer Point": [1, -2.5]}}, {}]})";

TEST(SceneSchema, SaysWhatTheReaderSaysAsFarAsASchemaCan) {
  const ParamCatalog catalog = CatalogForTests();
  std::vector<std::string> scenes = {kFullScene, SceneWith({})};
  const std::vector<BadScene> bad = BadScenes();
  for (const BadScene& scene : bad) scenes.push_back(SceneWith({scene.change}));
  const auto complaints = SchemaComplaints(SceneSchema(catalog), scenes);
  ASSERT_EQ(complaints.size(), scenes.size());
  EXPECT_EQ(complaints[0], "");
  EXPECT_EQ(complaints[1], "");
  EXPECT_EQ(testing::PrintToString(SceneTextComplaints(kFullScene, "scene.json", catalog)), "{}");
  int told = 0;
  for (std::size_t i = 0; i < bad.size(); ++i) {
    EXPECT_EQ(!complaints[i + 2].empty(), bad[i].schemaTells) << scenes[i + 2] << "\n" << complaints[i + 2];
    told += bad[i].schemaTells ? 1 : 0;
  }
  EXPECT_GT(told, 50);
}

}  // namespace
}  // namespace orvandel::stage
