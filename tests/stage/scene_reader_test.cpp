#include "stage/scene/scene_reader.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "stage/base/errors.h"
#include "stage/scene/key_reader.h"
#include "stage/scene/param_values.h"
#include "stage/scene/path_measure.h"
#include "tests/stage/bad_scenes.h"
#include "tests/stage/catalog_for_tests.h"
#include "tests/support/error_of.h"
#include "tests/support/temp_folder.h"

namespace orvandel::stage {
namespace {

using test::TempFolder;
using test::WriteFile;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// The complaint about a scene; empty when it is taken.
std::string Complaint(const std::string& text, const std::filesystem::path& file = "scene.json") {
  static const ParamCatalog catalog = CatalogForTests();
  try {
    ReadSceneText(text, file, catalog);
  } catch (const InputError& error) {
    return error.what();
  }
  return {};
}

TEST(SceneReader, RefusesBadScenesAtTheirPlaceInOneLine) {
  for (const BadScene& bad : BadScenes()) {
    const std::string complaint = Complaint(SceneWith({bad.change}));
    const bool longer = bad.telling.find("deep") != std::string::npos;
    EXPECT_THAT(complaint, StartsWith("scene.json: " + bad.pointer + (longer ? "" : ": "))) << bad.change.json;
    EXPECT_THAT(complaint, HasSubstr(bad.telling));
    EXPECT_THAT(complaint, Not(HasSubstr("\n")));
    const auto all = SceneTextComplaints(SceneWith({bad.change}), "scene.json", CatalogForTests());
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(all.front(), complaint);
  }
}

TEST(SceneReader, ReportsEveryFaultAtOnce) {
  const std::string text = SceneWith({{"width", "0"},
                                      {"frameRate", "0"},
                                      {"layers", R"({"a": "no.png", "b": 3})"},
                                      {"effects", R"([{"parameters": {"Sides": 1, "Source Layer": "a", "Star": 2}},
                                          7, {"blend": "no", "parameters": {"Frequency": {"expression": "("}}}])"}});
  std::string places;
  for (const std::string& complaint : SceneTextComplaints(text, "s.json", CatalogForTests(), {false, {"Sides=2"}})) {
    places += complaint.substr(0, complaint.find(": ", 8)) + "\n";
  }
  EXPECT_EQ(places,
            "s.json: /width\ns.json: /frameRate\ns.json: /layers/a\ns.json: /layers/b\n"
            "s.json: /effects/0/parameters/Sides\ns.json: /effects/0/parameters/Star\ns.json: /effects/1\n"
            "s.json: /effects/2/parameters/Frequency/expression\ns.json: /effects/2/blend\n--set Sides=2\n");
}

TEST(SceneReader, OptionsTakeTheScenesPlaceAndAreNamedInComplaints) {
  const ParamCatalog catalog = CatalogForTests();
  const std::string text = SceneWith({{"effects", R"([{"parameters": {"Sides": 5, "Star": true}}, {}])"}});
  const auto read = [&](const std::vector<std::string>& sets) {
    return ReadSceneText(text, "scene.json", catalog, {false, sets});
  };
  const auto value = [&](const Scene& scene, std::size_t effect, const char* name) {
    return scene.emitters[effect].tracks[static_cast<std::size_t>(catalog.Find(name)->hostIndex)].keys.at(0).value;
  };
  const Scene scene = read({"Sides=6", " 2:Sides = 7", "Color=#ff0001", "Wave Type=Image Contours", "Star=off",
                            "Producer Point=[1, 2.5]", R"(Mask=null)"});
  EXPECT_EQ(value(scene, 0, "Sides"), Value(6.0));
  EXPECT_EQ(value(scene, 1, "Sides"), Value(7.0));
  EXPECT_EQ(value(scene, 1, "Color"), Value(ColorValue{255, 0, 1}));
  EXPECT_EQ(value(scene, 0, "Wave Type"), Value(Choice{2}));
  EXPECT_EQ(value(scene, 0, "Star"), Value(Choice{0}));
  EXPECT_EQ(value(scene, 0, "Producer Point"), Value(PointValue{1, 2.5}));
  EXPECT_FALSE(read({R"(Frequency={"expression": "t"})"}).emitters[1].tracks[10].IsConstant());
  const struct {
    const char *set, *telling;
  } bad[] = {
      {"Sides", "--set Sides: is not NAME=VALUE"},
      {"=5", "is not NAME=VALUE"},
      {"Side=5", "--set Side=5: unknown parameter; did you mean \"Sides\"?"},
      {"Sides=", "--set Sides=: \"\" is not a number in 3..128"},
      {"Sides=200", "--set Sides=200: 200 is outside 3..128"},
      {"Sides=nan", "\"nan\" is not a number"},
      {"Producer Point=[1, 2", "--set Producer Point=[1, 2:1:"},
      {R"(Frequency={"random": {"min": 1, "max": 900}})", "/random/max: 900 is outside"},
      {"3:Sides=5", "the scene has 2 effects"},
      {"0:Sides=5", "counted from 1"},
  };
  for (const auto& [set, telling] : bad) {
    EXPECT_THAT(test::ErrorOf<InputError>([&] { read({set}); }),
                testing::AllOf(StartsWith(std::string("--set ") + set), HasSubstr(telling)));
  }
}

// Whatever way a name takes out of the scene's folder.
TEST(SceneReader, FilesLieUnderTheScenesFolderUnlessAllowed) {
  const TempFolder folder;
  std::filesystem::create_directories(folder / "scene/in");
  WriteFile(folder / "out.svg", R"(<svg><path d="M0 0L9 9"/></svg>)");
  WriteFile(folder / "scene2.svg", R"(<svg><path d="M0 0L9 9"/></svg>)");  // the folder's name and more
  WriteFile(folder / "scene/in/a.svg", R"(<svg><path d="M0 0L9 9"/></svg>)");
  WriteFile(folder / "scene/in/shot.1.png", "");
  std::filesystem::create_symlink(folder / "out.svg", folder / "scene/link.svg");
  std::filesystem::create_symlink(folder / "out.svg", folder / "scene/in/shot.2.png");
  std::filesystem::create_directory_symlink(folder / ".", folder / "scene/up");
  std::filesystem::create_directory_symlink(folder / "scene", folder / "other");
  const ParamCatalog catalog = CatalogForTests();
  const auto complaints = [&](const std::string& name, bool allow, const char* scene = "scene/scene.json") {
    const std::string member = name.ends_with(".svg") ? R"({"m": {"file": ")" + name + "\"}}" : "\"" + name + "\"";
    const std::string key = name.ends_with(".svg") ? "masks" : "input";
    return SceneTextComplaints(SceneWith({{key, member}}), folder / scene, catalog, {allow, {}});
  };
  for (const std::string& name : {std::string("in/a.svg"), (folder / "scene/in/a.svg").string(),
                                  std::string("../scene/./in/a.svg"), std::string("up/scene/in/a.svg")}) {
    EXPECT_THAT(complaints(name, false), testing::IsEmpty()) << name;
    EXPECT_THAT(complaints(name, false, "other/scene.json"), testing::IsEmpty()) << name;
  }
  for (const std::string& name :
       {std::string("../out.svg"), (folder / "out.svg").string(), std::string("link.svg"), std::string("up/out.svg"),
        std::string("../scene2.svg"), std::string("in/shot.%d.png")}) {
    EXPECT_THAT(complaints(name, false), testing::ElementsAre(HasSubstr("needs --allow-outside"))) << name;
    EXPECT_THAT(complaints(name, true), testing::IsEmpty()) << name;
  }
  EXPECT_THAT(complaints("/etc/no such file.svg", false), testing::ElementsAre(HasSubstr("needs --allow-outside")));
}

TEST(SceneReader, PointsAtGrammarErrorsByLineAndColumn) {
  const struct {
    std::string text, start, telling;
  } bad[] = {
      {"", "scene.json:1:1: ", ""},
      {"{\n  \"version\": 1,\n}", "scene.json:3:1: ", "unexpected '}'"},
      {"{\"\xC3\xA9\": nope}", "scene.json:1:8: ", "invalid literal"},  // columns count characters
      {R"({"a": "b" "c\"\\"})", "scene.json:1:11: ", "unexpected string literal"},
      {"{\"a\": 12 345}", "scene.json:1:10: ", "unexpected number literal"},
      {"{\"width\": NaN}", "scene.json:1:11: ", "invalid literal"},
      {"{\"width\": 1e999}", "scene.json:1:", "number overflow"},
      {SceneWith({}) + "\n x", "scene.json:2:2: ", "expected end of input"},
      {SceneWith({}) + std::string(1, '\0') + "x", "scene.json:1:", "a zero byte"},
      {"{\"a\": \"\xFF\"}", "scene.json:1:8: ", "invalid string"},
      {"/* open", "scene.json:1:", "invalid comment"},
      {"[1, 2]", "scene.json: ", "an array of 2 is not a scene"},
  };
  for (const auto& [text, start, telling] : bad) {
    EXPECT_THAT(Complaint(text), StartsWith(start)) << text;
    EXPECT_THAT(Complaint(text), HasSubstr(telling)) << text;
  }
}

TEST(SceneReader, RefusesWhatFillsTheMemory) {
  const auto keys = [](std::size_t count) {
    std::string list;
    for (std::size_t i = 0; i < count; ++i)
      list += (i == 0 ? "" : ",") + ("{\"time\":" + std::to_string(i)) + ",\"value\":1}";
    return "{\"keyframes\":[" + list + "]}";
  };
  EXPECT_EQ(Complaint(SceneWith({{"parameters", "{\"Frequency\": " + keys(kMaxKeysOfOne) + "}"}})), "");
  EXPECT_THAT(Complaint(SceneWith({{"parameters", "{\"Frequency\": " + keys(kMaxKeysOfOne + 1) + "}"}})),
              StartsWith("scene.json: /parameters/Frequency/keyframes: 10001 keys, 10000 are allowed"));
  std::string masks;
  for (int i = 0; i < 11; ++i) {
    std::string list;
    for (int k = 0; k < 10000; ++k)
      list += (k == 0 ? "" : ",") + ("{\"time\":" + std::to_string(k)) + ",\"d\":\"M0 0H1\"}";
    masks += (i == 0 ? "{\"m" : ",\"m") + std::to_string(i) + "\":{\"keyframes\":[" + list + "]}";
  }
  EXPECT_THAT(Complaint(SceneWith({{"masks", masks + "}"}})),
              HasSubstr("/masks/m10/keyframes: 110000 keys in the scene"));
  EXPECT_THAT(Complaint(std::string(17 << 20, ' ')), HasSubstr("is larger than 16777216 bytes"));
  std::string zeros = "[0";
  for (int i = 0; i < 3000000; ++i) zeros += ",0";
  EXPECT_THAT(Complaint(zeros + "]"), HasSubstr("more than 2000000 values"));
}

TEST(SceneReader, KeepsEverythingAGoodSceneSays) {
  const TempFolder folder;
  WriteFile(folder / "plate.png", "");
  WriteFile(folder / "shot.0012.png", "");
  const std::string text =
      "// comment\n" +
      SceneWith(
          {{"frameRate", "23.976"},
           {"duration", "1.0010"},
           {"pixelAspect", "\"20/22\""},
           {"input", "\"plate.png\""},
           {"layers", R"({"z": {"file": "shot.%04d.png", "start": -1.50e1}, "a": "plate.png"})"},
           {"masks",
            R"({"z": {"d": "M 0 0 H 3"}, "a": {"keyframes": [{"time": 0, "d": "M0 0V3Z"}, {"time": 2, "d": "m1 1v4z"}]}})"},
           {"parameters",
            R"({"Mask": "a", "Source Layer": {"keyframes": [{"time": 0, "value": "a"}, {"time": 1, "value": null}]},
        "Lifespan (sec) ": 7, "Producer Point": [{"random": {"min": -1, "max": 2}}, 30], "Color": "#Ff8001", "Wave Type": 3, "Star": false /* off */,
        "Direction": {"keyframes": [{"time": -0.5, "value": -32768, "interp": [0.1, -2, 1, 3]}]}})"}});
  const ParamCatalog catalog = CatalogForTests();
  const Scene scene = ReadSceneText(text, folder / "scene.json", catalog);
  EXPECT_EQ(scene.time.frameRate, (Rational{2997, 125}));
  EXPECT_EQ(scene.time.frameCount, 24);
  EXPECT_EQ(scene.pixelAspect, (Rational{10, 11}));
  EXPECT_EQ(scene.input->file, folder / "plate.png");
  EXPECT_EQ(scene.layers[0].name + scene.layers[1].name + scene.masks[0].name + scene.masks[1].name, "zaza");
  EXPECT_EQ(scene.layers[0].start, (Rational{-15, 1}));
  EXPECT_TRUE(!scene.masks[0].keys[0].path.closed && scene.masks[1].keys[1].path.closed);
  const auto track = [&](const char* name) {
    return scene.emitters[0].tracks[static_cast<std::size_t>(catalog.Find(name)->hostIndex)];
  };
  EXPECT_EQ(track("Mask").keys[0].value, Value(Choice{2}));
  EXPECT_EQ(track("Source Layer").keys[0].value, Value(Choice{2}));
  EXPECT_EQ(track("Source Layer").keys[1].value, Value(Choice{0}));
  EXPECT_EQ(track("Lifespan (sec)").keys[0].value, Value(7.0));
  EXPECT_EQ(track("Color").keys[0].value, Value(ColorValue{255, 128, 1}));
  EXPECT_EQ(track("Wave Type").keys[0].value, Value(Choice{3}));
  EXPECT_EQ(track("Star").keys[0].value, Value(Choice{0}));
  EXPECT_EQ(track("Direction").keys[0].easing.y2, 3);
  EXPECT_EQ(track("Direction").keys[0].time, -0.5);
  EXPECT_TRUE(track("Frequency").IsDefault());
  EXPECT_FALSE(track("Producer Point").IsConstant());
  EXPECT_EQ(std::get<double>(track("Producer Point").sources.at(1)), 30);
}

class DrawingFile {
 public:
  // What the reader says of a mask of the file.
  std::string ComplaintOf(const std::string& svg, const std::string& keys = "") {
    WriteFile(folder_ / "m.svg", svg);
    return Complaint(SceneText(keys), folder_ / "scene.json");
  }
  Scene Read(const std::string& svg, const std::string& keys = "") {
    WriteFile(folder_ / "m.svg", svg);
    return ReadSceneText(SceneText(keys), folder_ / "scene.json", CatalogForTests());
  }
  // The box of all outlines: "left top right bottom", and how many they are.
  std::string BoxOf(const std::string& svg, const std::string& keys = "") {
    PathBox box;
    const Scene scene = Read(svg, keys);
    for (const Mask& mask : scene.masks) TakeInto(box, mask.keys[0].path);
    const auto rounded = [](double number) { return std::round(number * 1000) / 1000 + 0.0; };
    return fmt::format("{} {} {} {} x{}", rounded(box.left), rounded(box.top), rounded(box.right), rounded(box.bottom),
                       scene.masks.size());
  }

 private:
  static std::string SceneText(const std::string& keys) {
    return SceneWith({{"masks", R"({"m": {"file": "m.svg")" + (keys.empty() ? "" : ", " + keys) + "}}"},
                      {"parameters", R"({"Wave Type": "Mask", "Mask": "m"})"}});
  }
  TempFolder folder_;
};

// Every way in which a drawing places a shape of 100 x 60 at 50, 40: the picture is 640 x 360.
TEST(SvgDrawing, EveryShapeAndPlacementComesToItsNumbers) {
  DrawingFile file;
  const std::string box = "50 40 150 100 x1";
  for (
      const char* svg : {
          R"(<svg viewBox="0 0 9 9" width="3mm"><path d="M50 40h100v60H50Z"/></svg>)",  // one unit is one pixel
          R"(<svg:svg><svg:rect x="50" y="40" width="100" height="60" rx="7"/></svg:svg>)",
          R"(<svg><ellipse cx="100" cy="70" rx="50" ry="30"/></svg>)",
          R"(<svg><polygon points="50,40 150,40,150 100 50 100"/></svg>)",
          R"(<svg><polyline points="50,40 150,40,150 100 50 100"/></svg>)",
          R"x(<svg><g transform="translate(50 40) scale(100, 60)"><circle cx=".5" cy=".5" r=".5"/></g></svg>)x",
          R"x(<svg><rect width="60" height="100" transform="rotate(90 30 30) translate(40 -90)"/></svg>)x",
          R"x(<svg><rect width="1" height="1" transform="matrix(100 0 0 60 50 40)"/></svg>)x",
          R"(<svg width="200" height="200"><rect x="25%" y="20%" width="50%" height="30%"/></svg>)",
          R"(<svg><rect x="0.5in" y="30pt" width="75pt" height="0.625in"/><line x1="48" y1="40" x2="9" y2="9"/></svg>)",
          R"(<svg><svg x="50" y="40" width="100" height="60" viewBox="0 0 5 3"><rect width="5" height="3"/></svg></svg>)",
          R"(<svg><svg x="50" y="40" width="100" height="60" viewBox="1 1 2 9" preserveAspectRatio="none">
                <rect x="1" y="1" width="2" height="9"/></svg></svg>)",
          R"x(<svg><defs><rect id="r" x="5" y="4" width="10" height="6"/></defs><use href="#r" transform="scale(10)"/></svg>)x",
          R"(<svg><symbol id="s" viewBox="0 0 10 6"><path d="M0 0h10v6H0"/></symbol>
                <use xlink:href="#s" x="50" y="40" width="100" height="60"/></svg>)",
          R"(<svg><style>.a{fill:none} rect.b{display:none} #c{fill:none;stroke:none} .d{fill:none;stroke:#000}</style>
                <rect class="a" width="9" height="9"/><rect class="x b" width="9" height="9"/><rect id="c" width="9" height="9"/>
                <g fill="none"><rect width="9" height="9"/><path style="fill:red" d="M50 40h100v60H50M1 1z"/></g>
                <text>A</text></svg>)",
      }) {
    // The inch's rectangle begins at 48.
    const bool inInches = std::string_view(svg).find("0.5in") != std::string_view::npos;
    EXPECT_EQ(file.BoxOf(svg), inInches ? "48 40 148 100 x1" : box) << svg;
  }
  // An outline without a filling stays open, and the effect says so; "close" closes it.
  const std::string open = R"(<svg><path fill="none" stroke="red" d="M50 40h100v60"/></svg>)";
  EXPECT_FALSE(file.Read(open).masks[0].keys[0].path.closed);
  EXPECT_TRUE(file.Read(open, R"("close": true)").masks[0].keys[0].path.closed);
}

TEST(SvgDrawing, PartsAreChosenPlacedAndGrowTogether) {
  DrawingFile file;
  const std::string logo =
      R"(<svg><g id="eyes"><circle id="left" cx="300" cy="150" r="10"/><circle cx="340" cy="150" r="10"/></g>
      <path id="head" d="M220 80h200v200H220ZM310 230v20h20Z"/></svg>)";
  const auto notes = [&](const std::string& keys) { return testing::PrintToString(file.Read(logo, keys).notes); };
  EXPECT_EQ(file.BoxOf(logo), "220 80 420 280 x4");
  EXPECT_THAT(notes(""), HasSubstr("/masks/m: m.svg has 4 outlines: all are taken"));
  EXPECT_EQ(notes(R"("part": "all")"), "{}");
  EXPECT_EQ(file.BoxOf(logo, R"("part": 2)"), "330 140 350 160 x1");
  EXPECT_EQ(file.BoxOf(logo, R"("part": "largest")"), "220 80 420 280 x1");
  EXPECT_EQ(file.BoxOf(logo, R"("part": "eyes")"), "290 140 350 160 x2");
  EXPECT_EQ(file.BoxOf(logo, R"("id": "eyes", "part": 1)"), "290 140 310 160 x1");
  EXPECT_EQ(file.BoxOf(logo, R"("fit": "contain")"), "140 0 500 360 x4");
  EXPECT_EQ(file.BoxOf(logo, R"("part": "eyes", "fit": {"cover": [0, 0, 60, 60]})"), "-60 0 120 60 x2");
  EXPECT_EQ(file.BoxOf(logo, R"("part": "eyes", "scale": [2, 1], "rotate": 90, "position": [100, 100])"),
            "90 40 110 160 x2");
  EXPECT_EQ(file.BoxOf(logo, R"("part": "left", "anchor": "outline")"), "310 170 330 190 x1");
  // A path alone that lies where nobody sees it goes into the middle, in a drawing of its own numbers nothing moves.
  EXPECT_EQ(file.BoxOf(R"(<svg><path d="M0 0h10v10H0Z"/></svg>)"), "212 72 428 288 x1");
  EXPECT_EQ(file.BoxOf(R"(<svg><path d="M0 0h10v10H0Z"/></svg>)", R"("fit": "none")"), "0 0 10 10 x1");
  EXPECT_EQ(file.BoxOf(R"(<svg><path d="M-9 -9h200v-10Z"/></svg>)"), "32 165.6 608 194.4 x1");
  // Each part grows by its share of the farthest point's distance from the layer's middle.
  const Scene scene = file.Read(logo);
  ASSERT_EQ(scene.emitters.size(), 4U);
  const ParamCatalog catalog = CatalogForTests();
  const double longest = std::hypot(100, 100);
  double sum = 0;
  for (const Emitter& emitter : scene.emitters) {
    sum += std::get<double>(ValueAtTime(scene, emitter, *catalog.Find("Expansion"), 0));
  }
  const double ofParts = longest + (10 + std::hypot(20, 30)) * 2 + std::hypot(10, 70);
  EXPECT_NEAR(sum, 5 * ofParts / longest, 1e-4);
}

TEST(SvgDrawing, WhatIsNotReadIsSaid) {
  DrawingFile file;
  const auto nested = [](int count, const std::string& inside) {
    std::string text;
    for (int i = 0; i < count; ++i) text += "<g>";
    text += inside;
    for (int i = 0; i < count; ++i) text += "</g>";
    return text;
  };
  std::string laughs = R"(<svg><rect id="u0" width="9" height="9"/>)";
  for (int i = 1; i < 20; ++i) {
    const std::string use = fmt::format(R"(<use href="#u{}"/>)", i - 1);
    laughs += fmt::format(R"(<g id="u{}">{}</g>)", i, use + use + use + use + use);
  }
  const struct {
    std::string svg, keys, pointer, telling;
  } bad[] = {
      {R"(<svg><path id="ab" d="M0 0L9 9"/></svg>)", R"("id": "a")", "",
       "nothing with the id \"a\"; did you mean \"ab\"?"},
      {R"(<svg><path id="a" d="M0 0h9v9Z"/></svg>)", R"("part": 2)", "/part", "2 is outside 1..1: m.svg has 1 closed"},
      {R"(<svg><text>Logo</text></svg>)", "", "", "convert the text to paths"},
      {R"(<svg><use href="other.svg#b"/></svg>)", "", "", "\"other.svg#b\", which is not in the file"},
      {R"(<!DOCTYPE svg [<!ENTITY e "M0 0L9 9">]><svg><path d="&e;"/></svg>)", "", "", "not a path command"},
      {R"(<svg><path/></svg>)", "", "", "draws no outline"},
      {"<html/>", "", "", "is not an SVG file"},
      {"<svg>\n<path d=\"M0 0L9 9\"></svg>", "", "", "m.svg:2:"},
      {nested(300, "<path/>"), "", "", "nested more than 256 deep"},
      {laughs + "</svg>", "", "", "draws more than 500000 segments"},
  };
  for (const auto& [svg, keys, pointer, telling] : bad) {
    const std::string complaint = file.ComplaintOf(svg, keys);
    EXPECT_THAT(complaint, HasSubstr(": /masks/m" + pointer + ": ")) << svg.substr(0, 200);
    EXPECT_THAT(complaint, HasSubstr(telling)) << svg.substr(0, 200);
  }
  EXPECT_THAT(file.ComplaintOf(R"(<svg><g id="a"><use href="#a"/><path d="M9 9h9v9Zl"/></g></svg>)"), "");
}

// The guide's first example is a whole scene.
TEST(SceneReader, TakesTheExampleOfTheGuide) {
  const auto root = std::filesystem::path(ORVANDEL_STAGE_TESTS).parent_path().parent_path();
  std::ifstream in(root / "docs" / "scene_format.md");
  const std::string guide{std::istreambuf_iterator<char>(in), {}};
  constexpr std::string_view kFence = "```jsonc\n";
  const std::size_t begin = guide.find(kFence) + kFence.size();
  EXPECT_EQ(Complaint(guide.substr(begin, guide.find("```", begin) - begin)), "");
}

}  // namespace
}  // namespace orvandel::stage
