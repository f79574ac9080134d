#include "stage/scene_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "stage/errors.h"
#include "stage/key_reader.h"
#include "tests/stage/catalog_for_tests.h"

namespace orvandel::stage {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct Member {
  std::string key, json;  // json empty: the member is left out
};

// A small good scene with one member replaced, added or removed.
std::string SceneWith(const std::vector<Member>& changes) {
  std::vector<Member> members = {
      {"version", "1"}, {"width", "640"}, {"height", "360"}, {"frameRate", "30"}, {"duration", "2"}};
  for (const Member& change : changes) {
    bool replaced = false;
    for (Member& member : members) {
      if (member.key != change.key) continue;
      member.json = change.json;
      replaced = true;
    }
    if (!replaced) members.push_back(change);
  }
  std::string text;
  for (const Member& member : members) {
    if (!member.json.empty()) text += (text.empty() ? "{\"" : ", \"") + member.key + "\": " + member.json;
  }
  return text + "}";
}

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

Scene Read(const std::vector<Member>& changes) {
  static const ParamCatalog catalog = CatalogForTests();
  return ReadSceneText(SceneWith(changes), "scene.json", catalog);
}

// A folder of its own with the files of one test, removed at its end.
class Folder {
 public:
  Folder() : path_(std::filesystem::path(testing::TempDir()) / ("scene_" + std::to_string(std::random_device{}()))) {
    std::filesystem::create_directories(path_);
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  void Write(const std::string& name, const std::string& text) const { std::ofstream(path_ / name) << text; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

struct BadScene {
  Member change;
  std::string pointer, telling;
};

// The pointer is the culprit's, and the text says what was found and what is allowed.
const std::vector<BadScene> kBadScenes = {
    // The frame around everything.
    {{"version", ""}, "/version", "is missing"},
    {{"version", "2"}, "/version", "2 is not 1"},
    {{"width", "0"}, "/width", "0 is outside 1..30000"},
    {{"width", "30001"}, "/width", "30001 is outside 1..30000"},
    {{"height", "1.5"}, "/height", "1.5 is not a whole number in 1..30000"},
    {{"height", "\"360\""}, "/height", "\"360\" is not a whole number in 1..30000"},
    {{"framerate", "25"}, "/framerate", "unknown key; did you mean \"frameRate\"?"},
    {{"frameRate", "0"}, "/frameRate", "0 is not above 0"},
    {{"frameRate", "-25"}, "/frameRate", "-25 is not above 0"},
    {{"frameRate", "23.97602"}, "/frameRate", "\"24000/1001\""},
    {{"frameRate", "\"24/0\""}, "/frameRate", "denominator of 0"},
    {{"frameRate", "\"24 fps\""}, "/frameRate", "\"24 fps\" is not a number"},
    {{"frameRate", "[24]"}, "/frameRate", "an array of 1 is not a number or"},
    {{"duration", "0"}, "/duration", "0 is not above 0"},
    {{"duration", "\"2\""}, "/duration", "\"2\" is not a number of seconds"},
    {{"duration", "40000"}, "/duration", "40000 s is too long"},
    {{"duration", "0.12345678901234567891"}, "/duration", "more digits than can be taken exactly"},
    {{"pixelAspect", "0"}, "/pixelAspect", "must be in 1..65535"},
    {{"pixelAspect", "\"65536/65537\""}, "/pixelAspect", "65536/65537"},
    {{"pixelAspect", "1.234567"}, "/pixelAspect", "1234567/1000000"},
    // Files.
    {{"input", "\"no such.png\""}, "/input", "\"no such.png\" does not exist"},
    {{"input", "\"shot.%04d.png\""}, "/input", "no file is named like \"shot.%04d.png\""},
    {{"input", "\"http://example.org/a.png\""}, "/input", "only files are read"},
    {{"input", "\".\""}, "/input", "is not a plain file"},
    {{"input", "\"\""}, "/input", "empty"},
    {{"input", "null"}, "/input", "null is not a file name"},
    {{"layers", R"({"logo": {"start": 1}})"}, "/layers/logo/file", "is missing"},
    {{"layers", R"({"logo": {"file": "a.png", "begin": 1}})"}, "/layers/logo/begin", "unknown key"},
    {{"layers", R"({"a/b~c": 7})"}, "/layers/a~1b~0c", "7 is not a file name or"},
    // Masks.
    {{"masks", R"({"m": {"d": "M 0 0"}})"}, "/masks/m/d", "no segment"},
    {{"masks", R"({"m": {"d": "M 0 0 L 9 9 M 1 1 L 2 2"}})"}, "/masks/m/d", "a second sub-path"},
    {{"masks", R"({"m": {}})"}, "/masks/m/d", "is missing"},
    {{"masks", R"({"m": {"d": "M0 0L1 1", "file": "a.svg"}})"}, "/masks/m/file", "beside \"d\""},
    {{"masks", R"({"m": {"d": "M0 0L1 1", "id": "a"}})"}, "/masks/m/id", "belongs to \"file\""},
    {{"masks", R"({"m": {"file": "no.svg", "id": "a"}})"}, "/masks/m/file", "does not exist"},
    {{"masks", R"({"m": {"keyframes": [{"time": 0, "d": "M0 0L1 1L2 0"}, {"time": 1, "d": "M0 0L1 1Q2 2 3 3"}]}})"},
     "/masks/m/keyframes/1/d",
     "command 3 is Q, in the first key L"},
    {{"masks", R"({"m": {"keyframes": [{"time": 0, "d": "M0 0L1 1L0 0Z"}, {"time": 1, "d": "M0 0L1 1L2 0Z"}]}})"},
     "/masks/m/keyframes/1/d",
     "becomes 3 segments, the first key 2"},
    // Parameters.
    {{"parameters", R"({"Frequenzy": 1})"}, "/parameters/Frequenzy", "unknown parameter; did you mean \"Frequency\"?"},
    {{"parameters", R"({"Frequency": 900})"}, "/parameters/Frequency", "900 is outside 0..500"},
    {{"parameters", R"({"Frequency": "5"})"}, "/parameters/Frequency", "\"5\" is not a number in 0..500"},
    {{"parameters", R"({"Star Depth": -1.0001})"}, "/parameters/Star Depth", "-1.0001 is outside -1..10"},
    {{"parameters", R"({"Sides": 2.9})"}, "/parameters/Sides", "2.9 is outside 3..128"},
    {{"parameters", R"({"Star": 1})"}, "/parameters/Star", "1 is not true or false"},
    {{"parameters", R"({"Color": "#ff80"})"}, "/parameters/Color", "\"#ff80\" is not a colour \"#rrggbb\""},
    {{"parameters", R"({"Color": "#ff80g0"})"}, "/parameters/Color", "is not a colour"},
    {{"parameters", R"({"Color": "#-f8000"})"}, "/parameters/Color", "is not a colour"},
    {{"parameters", R"({"Direction": 32768})"}, "/parameters/Direction", "32768 is outside -32768..32768"},
    {{"parameters", R"({"Producer Point": [1]})"}, "/parameters/Producer Point", "an array of 1 is not a point [x, y]"},
    {{"parameters", R"({"Producer Point": [1, -40000]})"}, "/parameters/Producer Point/1", "-40000 is outside"},
    {{"parameters", R"({"Wave Type": "Masks"})"}, "/parameters/Wave Type", "did you mean \"Mask\"?"},
    {{"parameters", R"({"Wave Type": 4})"}, "/parameters/Wave Type", "4 is not one of \"Polygon\""},
    {{"parameters", R"({"Wave Type": 1.5})"}, "/parameters/Wave Type", "or 1..3"},
    {{"parameters", R"({"Mask": "ring"})"}, "/parameters/Mask", "unknown mask \"ring\": the scene has no masks"},
    {{"parameters", R"({"Source Layer": 1})"}, "/parameters/Source Layer", "1 is not the name of a layer or null"},
    {{"parameters", R"({"Star": true, " Star": true})"}, "/parameters/ Star", "is given twice"},
    {{"parameters", R"({"Frequency": {"keys": []}})"}, "/parameters/Frequency/keys", "did you mean \"keyframes\"?"},
    {{"parameters", R"({"Frequency": {"keyframes": []}})"}, "/parameters/Frequency/keyframes", "at least one key"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": -1, "value": 1}]}})"},
     "/parameters/Frequency/keyframes/0/time",
     "-1 is below 0"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1, "value": 1}, {"time": 1, "value": 2}]}})"},
     "/parameters/Frequency/keyframes/1/time",
     "1 does not come after the time before, 1"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1}]}})"},
     "/parameters/Frequency/keyframes/0/value",
     "is missing"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1, "value": 501}]}})"},
     "/parameters/Frequency/keyframes/0/value",
     "501 is outside 0..500"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1, "value": 5, "interp": "ease"}]}})"},
     "/parameters/Frequency/keyframes/0/interp",
     "did you mean \"ease-in\"?"},
    {{"parameters", R"({"Frequency": {"keyframes": [{"time": 1, "value": 5, "interp": [0, 0, 1.1, 1]}]}})"},
     "/parameters/Frequency/keyframes/0/interp/2",
     "1.1 is outside 0..1"},
    // What the JSON grammar allows and a scene does not.
    {{"parameters", R"({"Star": true, "Star": false})"}, "/parameters/Star", "is given twice"},
    {{"masks", R"({"m": {"d": "M0 0H1"}, "n": {}, "m": {"d": "M0 0H1"}})"}, "/masks/m", "is given twice"},
    {{"parameters", R"({"Sides": {"keyframes": [{"time": 0, "value": 5, "time": 0}]}})"},
     "/parameters/Sides/keyframes/0/time",
     "is given twice"},
    {{"input", "\"" + std::string(4097, 'x') + "\""}, "/input", "a text of 4097 bytes, 4096 are allowed"},
    {{"input", std::string(64, '[') + std::string(64, ']')}, "/input/0/0", "nested more than 64 deep"},
};

TEST(SceneReader, RefusesBadScenesAtTheirPlaceInOneLine) {
  for (const BadScene& bad : kBadScenes) {
    const std::string complaint = Complaint(SceneWith({bad.change}));
    const bool longer = bad.telling.find("deep") != std::string::npos;
    EXPECT_THAT(complaint, StartsWith("scene.json: " + bad.pointer + (longer ? "" : ": "))) << bad.change.json;
    EXPECT_THAT(complaint, HasSubstr(bad.telling));
    EXPECT_THAT(complaint, Not(HasSubstr("\n")));
  }
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
  const Folder folder;
  folder.Write("plate.png", "");
  folder.Write("shot.0012.png", "");
  const std::string text =
      "// comment\n" +
      SceneWith(
          {{"frameRate", "23.976"},
           {"duration", "1.0010"},
           {"pixelAspect", "\"20/22\""},
           {"input", "\"plate.png\""},
           {"layers", R"({"z": {"file": "shot.%04d.png", "start": -1.50}, "a": "plate.png"})"},
           {"masks",
            R"({"z": {"d": "M 0 0 H 3"}, "a": {"keyframes": [{"time": 0, "d": "M0 0V3Z"}, {"time": 2, "d": "m1 1v4z"}]}})"},
           {"parameters",
            R"({"Mask": "a", "Source Layer": {"keyframes": [{"time": 0, "value": "a"}, {"time": 1, "value": null}]},
        "Lifespan (sec) ": 7, "Color": "#Ff8001", "Wave Type": 3, "Star": false /* off */,
        "Direction": {"keyframes": [{"time": 0.5, "value": -32768, "interp": [0.1, -2, 1, 3]}]}})"}});
  const ParamCatalog catalog = CatalogForTests();
  const Scene scene = ReadSceneText(text, folder / "scene.json", catalog);
  EXPECT_EQ(scene.time.frameRate, (Rational{2997, 125}));
  EXPECT_EQ(scene.time.frameCount, 24);
  EXPECT_EQ(scene.pixelAspect, (Rational{10, 11}));
  EXPECT_EQ(scene.input->file, folder / "plate.png");
  EXPECT_EQ(scene.layers[0].name + scene.layers[1].name + scene.masks[0].name + scene.masks[1].name, "zaza");
  EXPECT_EQ(scene.layers[0].start, (Rational{-3, 2}));
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
  EXPECT_TRUE(track("Frequency").keys.empty());
}

TEST(SceneReader, TakesOneUntransformedPathOfAnSvgFile) {
  const Folder folder;
  const auto complaint = [&](const std::string& svg, const std::string& mask = R"({"file": "m.svg", "id": "a"})") {
    folder.Write("m.svg", svg);
    return Complaint(SceneWith({{"masks", "{\"m\": " + mask + "}"}}), folder / "scene.json");
  };
  EXPECT_EQ(
      complaint(R"(<svg viewBox="0 0 9 9"><g id="g"><path id="a" d="M0 0L9 9"/><path id="b" d="M0 0"/></g></svg>)"),
      "");
  EXPECT_EQ(complaint(R"(<svg:svg><svg:path d="M0 0L9 9"/></svg:svg>)", R"({"file": "m.svg"})"), "");
  EXPECT_EQ(
      complaint(R"(<!DOCTYPE svg PUBLIC "-//W3C//DTD SVG 1.0//EN" "a.dtd"><svg><path id="a" d="M0 0L9 9"/></svg>)"),
      "");
  const struct {
    std::string svg, telling;
  } bad[] = {
      {R"(<svg><path id="ab" d="M0 0L9 9"/></svg>)", "no <path> with the id \"a\"; did you mean \"ab\"?"},
      {R"(<svg><path id="a" d="M0 0L9 9"/><path id="a" d="M0 0L9 9"/></svg>)", "has 2 paths with the id \"a\""},
      {R"(<svg><use id="a" href="other.svg#b"/></svg>)", "\"a\" is a <use>, not a <path>"},
      {R"x(<svg><g transform="scale(2)"><path id="a" d="M0 0L9 9"/></g></svg>)x", "a transform on <g>"},
      {R"(<svg><path style="transform: none" id="a" d="M0 0L9 9"/></svg>)", "a transform on <path>"},
      {R"(<!DOCTYPE svg [<!ENTITY e "M0 0L9 9">]><svg><path id="a" d="&e;"/></svg>)", "document type"},
      {R"(<svg><path id="a" d="&e;"/></svg>)", "not a path command"},
      {R"(<svg><path id="a"/></svg>)", "has no d"},
      {"<svg>\n<path id=\"a\" d=\"M0 0L9 9\"></svg>", "m.svg:2:"},
  };
  for (const auto& [svg, telling] : bad) {
    EXPECT_THAT(complaint(svg), HasSubstr(": /masks/m: ")) << svg;
    EXPECT_THAT(complaint(svg), HasSubstr(telling)) << svg;
  }
  std::string deep;
  for (int i = 0; i < 300; ++i) deep += "<g>";
  EXPECT_THAT(complaint(deep + std::string("<path/>") +
                        [] {
                          std::string close;
                          for (int i = 0; i < 300; ++i) close += "</g>";
                          return close;
                        }()),
              HasSubstr("nested more than 256 deep"));
}

// The guide's first example is a whole scene.
TEST(SceneReader, TakesTheExampleOfTheGuide) {
  const auto root = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
  std::ifstream in(root / "docs" / "scene_format.md");
  const std::string guide{std::istreambuf_iterator<char>(in), {}};
  constexpr std::string_view kFence = "```jsonc\n";
  const std::size_t begin = guide.find(kFence) + kFence.size();
  EXPECT_EQ(Complaint(guide.substr(begin, guide.find("```", begin) - begin)), "");
}

// Whatever a text is, it is a scene or one line that names the file; nothing else is thrown.
TEST(SceneReader, DamagedScenesAreScenesOrComplaints) {
  const std::string good = SceneWith(
      {{"masks",
        R"({"m": {"d": "M 0 0 C 1 2 3 4 5 6 a1 1 0 01 2 0 Z"}, "n": {"keyframes": [{"time": 0, "d": "M0 0T3 4"}]}})"},
       {"parameters",
        R"({"Mask": "m", "Color": "#102030", "Frequency": {"keyframes": [{"time": 0.25, "value": 1.5, "interp": [0, 1, 1, 0]}, {"time": 1e1, "value": 2}]}})"}});
  ASSERT_EQ(Complaint(good), "");
  constexpr std::string_view kPieces = "{}[]\",:0123456789.eE+-/* \n\\ntruMCAZ#\x80";
  std::mt19937 random(20240607);
  int taken = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string text = good;
    for (auto edits = 1 + random() % 3; edits > 0; --edits) {
      const std::size_t at = random() % text.size();
      const char piece = kPieces[random() % kPieces.size()];
      switch (random() % 3) {
        case 0:
          text.erase(at, 1 + random() % 4);
          break;
        case 1:
          text[at] = piece;
          break;
        default:
          text.insert(at, 1, piece);
          break;
      }
    }
    const std::string complaint = Complaint(text);
    if (complaint.empty()) {
      ++taken;
      continue;
    }
    ASSERT_THAT(complaint, StartsWith("scene.json:")) << text;
    ASSERT_EQ(complaint.find('\n'), std::string::npos) << text;
  }
  EXPECT_GT(taken, 100);
}

TEST(SceneReader, LeftOutParametersNeedNoTracks) { EXPECT_EQ(Read({}).emitters.at(0).tracks.size(), 14u); }

}  // namespace
}  // namespace orvandel::stage
