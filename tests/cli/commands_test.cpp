// The commands around rendering: starting a scene, checking it, looking at it, and what the program tells of itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "stage/stills/png_file.h"
#include "tests/cli/program.h"

namespace orvandel::cli {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

const std::vector<std::string> kCommands{"render", "farm",    "sheet", "check",  "describe",    "waves", "params",
                                         "new",    "presets", "about", "schema", "completions", "man"};

class Commands : public testing::Test {
 protected:
  std::string Scene(const std::string& more) const {
    const std::string file = folder_ / "scene.json";
    WriteFile(file, R"({ "version": 1, "width": 200, "height": 100, "frameRate": 30, "duration": 2, )" + more + "}");
    return file;
  }
  std::string In(const std::string& name) const { return (folder_ / name).string(); }

  TempFolder folder_;
};

TEST_F(Commands, HelpOfEveryCommandHasExamplesThatNameIt) {
  const std::string all = RunProgram({"--help"}).output;
  EXPECT_THAT(all, HasSubstr("Exit codes:"));
  for (const std::string& command : kCommands) {
    EXPECT_THAT(all, HasSubstr("\n  " + command + " "));
    const Outcome help = RunProgram({command, "--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.output, HasSubstr("Example"));
    EXPECT_THAT(help.output, HasSubstr("  orvandel " + command));
  }
}

// Every command and every option that the help knows.
std::vector<std::string> OptionsIn(const std::string& help) {
  std::vector<std::string> options;
  for (std::size_t at = help.find("\n  -"); at != std::string::npos; at = help.find("\n  -", at + 1)) {
    const std::size_t dashes = help.find("--", at);
    options.push_back(help.substr(dashes, help.find_first_of(" ,\n", dashes) - dashes));
  }
  return options;
}

TEST_F(Commands, ManualAndCompletionsKnowEveryOption) {
  std::string manual = RunProgram({"man"}).output;
  for (std::size_t at; (at = manual.find("\\-")) != std::string::npos;) manual.erase(at, 1);
  const std::string bash = RunProgram({"completions", "bash"}).output;
  const std::string zsh = RunProgram({"completions", "zsh"}).output;
  const std::string fish = RunProgram({"completions", "fish"}).output;
  EXPECT_EQ(RunProgram({"completions", "tcsh"}).exitCode, 2);
  for (const std::string& command : kCommands) {
    EXPECT_THAT(manual, HasSubstr(".SS orvandel " + command));
    const auto options = OptionsIn(RunProgram({command, "--help"}).output);
    EXPECT_FALSE(options.empty());
    for (const std::string& option : options) {
      EXPECT_THAT(manual, HasSubstr("\\fB" + option + "\\fR"));
      EXPECT_THAT(bash, HasSubstr(option));
      EXPECT_THAT(zsh, HasSubstr(option + "["));
      EXPECT_THAT(fish, HasSubstr("from " + command + "' -"));
      EXPECT_THAT(fish, HasSubstr(" -l " + option.substr(2)));
    }
  }
}

// The shell itself completes.
TEST_F(Commands, BashCompletes) {
  WriteFile(In("completion"), RunProgram({"completions", "bash"}).output);
  const auto complete = [&](const std::string& words, int count) {
    WriteFile(In("try"), "source " + In("completion") + "\nCOMP_WORDS=(" + words +
                             ")\nCOMP_CWORD=" + std::to_string(count) +
                             "\n_orvandel " ORVANDEL_PROGRAM "\nprintf '%s ' \"${COMPREPLY[@]}\"\n");
    EXPECT_EQ(std::system(("bash " + In("try") + " > " + In("answer")).c_str()), 0);
    return ReadFile(In("answer"));
  };
  EXPECT_EQ(complete("orvandel de", 1), "describe ");
  EXPECT_EQ(complete("orvandel render --quality ''", 3), "full draft ");
  EXPECT_EQ(complete("orvandel render --max", 2), "--max-memory --max-frame-seconds --max-waves ");
  EXPECT_EQ(complete("orvandel completions ''", 2), "bash zsh fish ");
  EXPECT_EQ(complete("orvandel farm re", 2), "resume ");
  EXPECT_EQ(complete("orvandel farm status --j", 3), "--json ");
  // The equals sign is a word; quotes and backslashes stay as they were typed.
  EXPECT_EQ(complete("orvandel render --set Wave", 3), "Wave\\ Type= ");
  EXPECT_EQ(complete(R"(orvandel render --set 'Wave\ Type' =)", 4), "Polygon Image\\ Contours Mask ");
  EXPECT_EQ(complete(R"(orvandel render --set 'Wave\ Type' = I)", 5), "Image\\ Contours ");
  EXPECT_EQ(complete(R"(orvandel render --set "'Wave Type=I")", 3), "Wave Type=Image Contours ");
  const std::string scene = Scene(R"("masks": {"ring": {"d": "M 1 1 L 9 1 L 9 9 Z"}})");
  EXPECT_EQ(complete("orvandel render " + scene + " --set Mask = r", 6), "ring ");
}

TEST_F(Commands, EveryPresetStartsAScene) {
  const auto presets = json::parse(RunProgram({"presets", "--json"}).output);
  EXPECT_GE(presets.size(), 12u);
  const std::string table = RunProgram({"presets"}).output;
  for (const auto& preset : presets) {
    const std::string name = preset["name"];
    EXPECT_THAT(table, HasSubstr(name));
    EXPECT_GT(preset["description"].get<std::string>().size(), 20u) << name;
    ASSERT_EQ(RunProgram({"new", In(name + "/s.json"), "--from", name}).exitCode, 0) << name;
    const Outcome checked = RunProgram({"check", In(name + "/s.json"), "--quick"});
    EXPECT_EQ(checked.exitCode, 0) << checked.output;
    std::string made = ReadFile(In(name + "/s.json"));
    const std::size_t schema = made.find("  \"$schema\": ");
    ASSERT_NE(schema, std::string::npos) << name;
    made.erase(schema, made.find('\n', schema) + 1 - schema);
    EXPECT_EQ(made, ReadFile(preset["file"].get<std::string>()));
  }
  ASSERT_EQ(RunProgram({"new", In("start.json")}).exitCode, 0);
  const std::string starter = ReadFile(In("start.json"));
  EXPECT_THAT(RunProgram({"check", In("start.json")}).output, Not(HasSubstr("warning")));
  EXPECT_THAT(RunProgram({"new", In("start.json"), "--from", "ping"}).error, HasSubstr("exists"));
  EXPECT_EQ(ReadFile(In("start.json")), starter);
  EXPECT_THAT(RunProgram({"new", In("x.json"), "--from", "pong"}).error, HasSubstr("did you mean \"ping\""));
}

TEST_F(Commands, CheckReportsEverythingAtOnce) {
  const Outcome bad = RunProgram({"check", "--json", Scene(R"("pixelAspect": -1, "layers": {"a": "none.png"},
    "motion": 3, "parameters": {"Frequency": 900, "Sides": "six", "Source Layer": "a", "Colour": "#ffffff"})")});
  EXPECT_EQ(bad.exitCode, 2);
  EXPECT_THAT(bad.error, HasSubstr("6 mistakes"));
  const auto found = json::parse(bad.output);
  EXPECT_EQ(found["format"], 1);
  ASSERT_EQ(found["errors"].size(), 6u) << bad.output;
  for (const auto& error : found["errors"]) {
    EXPECT_THAT(error["message"].get<std::string>(), HasSubstr(error["pointer"].get<std::string>()));
    EXPECT_TRUE(error["pointer"] != "/parameters/Frequency" || error["allowed"] == "0..500") << error;
    EXPECT_TRUE(error["pointer"] != "/parameters/Colour" || error["nearest"] == "Color") << error;
  }
  for (const char* pointer :
       {"/pixelAspect", "/layers/a", "/motion", "/parameters/Frequency", "/parameters/Sides", "/parameters/Colour"}) {
    EXPECT_THAT(bad.output, HasSubstr(std::string("scene.json: ") + pointer)) << pointer;
  }
  // What only the effect refuses is found by rendering.
  const std::string open = Scene(R"("masks": {"line": {"d": "M 5 5 L 30 30"}}, "parameters": {"Wave Type": "Mask"})");
  EXPECT_EQ(RunProgram({"check", open, "--quick"}).exitCode, 0);
  EXPECT_THAT(RunProgram({"check", open}).output, StartsWith("error: "));
}

TEST_F(Commands, CheckOpensEveryMedium) {
  WriteFile(In("junk.png"), "no picture");
  const std::string layers = R"("layers": {"a": {"file": "junk.png"}})";
  const Outcome unused = RunProgram({"check", "--quick", Scene(layers)});
  EXPECT_EQ(unused.exitCode, 0);
  EXPECT_THAT(unused.output, HasSubstr("warning: " + In("scene.json") + ": /layers/a/file: "));
  EXPECT_EQ(RunProgram({"render", In("scene.json"), "-o", In("f.png"), "--frames", "3"}).exitCode, 0);
  const std::string used = Scene(layers + R"(, "parameters": {"Source Layer": "a"})");
  const Outcome refused = RunProgram({"check", "--quick", used});
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_THAT(refused.output, HasSubstr("error: " + In("scene.json") + ": /layers/a/file: "));
  EXPECT_EQ(RunProgram({"render", used, "-o", In("g.png"), "--frames", "3"}).exitCode, 2);
}

TEST_F(Commands, CheckWarnsOfCostAndFlashes) {
  const std::string flashing =
      R"x("parameters": {"Frequency": 10, "Expansion": 60, "Start Width": 100, "End Width": 100,
    "Lifespan (sec)": 0.05, "Color": "#ffffff", "Fade-out Time": 0})x";
  EXPECT_THAT(RunProgram({"check", Scene(flashing)}).output, HasSubstr("warning: more than three flashes"));
  EXPECT_THAT(RunProgram({"check", Scene(flashing), "--quick"}).output, Not(HasSubstr("flashes")));
  const std::string costly = Scene(R"("parameters": {"Frequency": 500})");
  EXPECT_THAT(RunProgram({"check", costly, "--max-waves", "500"}).output, HasSubstr("--max-waves"));
  EXPECT_THAT(RunProgram({"check", costly, "--quick"}).output, HasSubstr("at most 984 waves alive"));
  const Outcome calm = RunProgram({"check", Scene(R"("parameters": {"Frequency": 1})")});
  EXPECT_EQ(calm.exitCode, 0);
  EXPECT_THAT(calm.output, Not(HasSubstr("warning")));
}

TEST_F(Commands, DescribeReportsTheWavesAndThePicture) {
  const std::string scene = Scene(R"x("effects": [ {"parameters": {"Frequency": 2, "Expansion": 1, "Color": "#ff0000",
    "Producer Point": [50, 50]}}, {"parameters": {"Frequency": 0, "Lifespan (sec)": 1
}
} ])x");
  const auto told = json::parse(RunProgram({"describe", scene, "--time", "1.6", "--json"}).output);
  EXPECT_EQ(told["frame"], 48);
  ASSERT_EQ(told["effects"].size(), 2u);
  EXPECT_EQ(told["effects"][0]["alive"], 4);
  EXPECT_NEAR(told["effects"][0]["waves"][0]["radius"].get<double>(), 48, 0.1);
  EXPECT_EQ(told["effects"][0]["waves"][0]["color"], "#ff0000");
  EXPECT_EQ(told["effects"][1]["alive"], 0);
  EXPECT_EQ(told["picture"]["meanColor"], "#ff0000");
  EXPECT_NEAR(told["picture"]["box"][2].get<double>(), 50 + 48, 1.5);
  const std::string text = RunProgram({"describe", scene, "--time", "1.6"}).output;
  EXPECT_THAT(text, HasSubstr("Effect 1: Polygon, set at Birth: 4 waves alive"));
  EXPECT_THAT(text, HasSubstr("measured in the rendered frame"));
  EXPECT_THAT(RunProgram({"describe", scene}).output, HasSubstr("Nothing is visible."));
  EXPECT_THAT(RunProgram({"describe", scene, "--time", "2"}).error, HasSubstr("last frame at 1.967 s"));
}

// The cells hold the frames, with all that the scene puts around and behind them.
TEST_F(Commands, SheetShowsTheFrames) {
  const std::string scene = Scene(R"("parameters": {"Frequency": 5, "Color": "#ffffff", "Fade-out Time": 0},
    "glow": {"radius": 12}, "background": "#102030", "blend": "screen", "compositing": "linear")");
  const std::string frames = "10,59,20";
  ASSERT_EQ(
      RunProgram({"sheet", scene, "-o", In("s.png"), "--frames", frames, "--columns", "2", "--scale", "1"}).exitCode,
      0);
  EXPECT_THAT(RunProgram({"describe", scene}).output, HasSubstr("Behind it: #102030, blend screen, in linear light."));
  EXPECT_EQ(RunProgram({"sheet", scene, "-o", In("s.png")}).exitCode, 2);
  EXPECT_EQ(RunProgram({"sheet", scene, "-o", In("s.mp4")}).exitCode, 2);
  ASSERT_EQ(RunProgram({"render", scene, "-o", In("f.png"), "--frames", frames}).exitCode, 0);
  const stage::Picture sheet = stage::ReadPng(In("s.png"));
  EXPECT_EQ(sheet.width, 8 + 2 * 208);
  EXPECT_EQ(sheet.height, 8 + 2 * (100 + 18 + 8));
  int cell = 0;
  for (const char* name : {"f.0010.png", "f.0059.png", "f.0020.png"}) {
    const stage::Picture frame = stage::ReadPng(In(name));
    const std::int32_t left = 8 + cell % 2 * 208, top = 8 + cell / 2 * 126;
    ++cell;
    for (std::int32_t y = 0; y < 100; ++y) {
      const auto from = frame.bytes.begin() + y * 800;
      ASSERT_TRUE(
          std::equal(from, from + 800, sheet.bytes.begin() + (std::ptrdiff_t{top + y} * sheet.width + left) * 4))
          << name << " row " << y;
    }
  }
}

// Whatever looks at pictures says when they show nothing, also over a background, and why.
TEST_F(Commands, TellsWhyNothingIsSeen) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {R"("parameters": {"Producer Point": [-900, 50]})", "the waves lie outside the picture"},
      {R"("background": "#102030", "parameters": {"Producer Point": [-900, 50]})", "the waves lie outside the picture"},
      {R"("parameters": {"Expansion": 0.001})", "smaller than a pixel"},
      {R"x("parameters": {"Lifespan (sec)": 0})x", "no wave is alive"},
      {R"("parameters": {"Opacity": 0})", "Opacity is 0"},
      {R"("effects": [{"opacity": 0}], "glow": {"radius": 9})", "\"opacity\" of the effects is 0"},
      {R"("parameters": {"Wave Type": "Image Contours"})", "the source layer has no contour"},
      {R"("parameters": {"Wave Type": "Mask", "Mask": null})", "Mask is null"},
      {R"("masks": {"m": {"d": "M 1990 990 l 9 0 l 0 9 Z"}}, "parameters": {"Wave Type": "Mask"})",
       "mask \"m\" lies 2117 pixels from the layer's middle"},
      {R"("masks": {"m": {"d": "M 1990 990 l 9 0 l 0 9 Z", "anchor": "outline"}}, "parameters": {"Wave Type": "Mask"})",
       ""}};
  for (const auto& [more, why] : cases) {
    const std::string scene = Scene(more);
    for (const Outcome& told :
         {RunProgram({"check", scene}), RunProgram({"sheet", scene, "-o", In("s.png"), "--in", "1", "--overwrite"}),
          RunProgram({"render", scene, "-o", In("f.mkv"), "--in", "1", "--out", "1.1", "--overwrite"}),
          RunProgram({"render", scene, "-o", In("f.png"), "--frames", "30,31", "--overwrite"})}) {
      const std::string all = told.output + told.error;
      EXPECT_EQ(told.exitCode, 0) << all;
      EXPECT_EQ(all.find("warning: ") != std::string::npos, !why.empty()) << more << all;
      EXPECT_THAT(all, HasSubstr(why)) << more;
    }
  }
}

// A drawing is decoded with its colours and its alpha, at its place, and its shape can be traced.
TEST_F(Commands, SvgFilesAreLayers) {
  WriteFile(In("d.svg"), R"(<svg xmlns="http://www.w3.org/2000/svg" width="200" height="100">
    <rect x="60" y="20" width="80" height="60" fill="#ff8000" fill-opacity="0.5"/></svg>)");
  const std::string shown = Scene(R"("input": "d.svg", "background": "input")");
  ASSERT_EQ(RunProgram({"render", shown, "-o", In("f.png"), "--frames", "0"}).exitCode, 0);
  const stage::Picture picture = stage::ReadPng(In("f.png"));
  const auto at = [&](int x, int y) {
    const auto* pixel = &picture.bytes[static_cast<std::size_t>(y * 200 + x) * 4];
    return std::vector<int>(pixel, pixel + 4);
  };
  EXPECT_THAT(at(61, 50), testing::ElementsAre(255, testing::AllOf(testing::Ge(126), testing::Le(130)),
                                               testing::AllOf(testing::Ge(62), testing::Le(66)), 0));
  EXPECT_EQ(at(58, 50), (std::vector<int>{255, 0, 0, 0}));
  const std::string traced = Scene(R"("layers": {"d": "d.svg"}, "parameters": {"Wave Type": "Image Contours",
    "Source Layer": "d", "Frequency": 0, "Fade-out Time": 0})");
  const auto told = json::parse(RunProgram({"describe", traced, "--time", "0.5", "--json"}).output);
  const auto box = told["picture"]["box"];
  EXPECT_NEAR((box[2].get<double>() - box[0].get<double>()) / (box[3].get<double>() - box[1].get<double>()), 80.0 / 60,
              0.05);
}

// A plate that nobody would see is said, with what to do.
TEST_F(Commands, ReportsAnInputThatIsNeverSeen) {
  ASSERT_EQ(
      RunProgram({"render", Scene("\"background\": \"#804020\""), "-o", In("plate.png"), "--frames", "0"}).exitCode, 0);
  const auto told = [&](const std::string& more) {
    const std::string scene = Scene("\"input\": \"plate.png\"" + more);
    const std::string checked = RunProgram({"check", scene, "--quick"}).output;
    EXPECT_EQ(checked.find("plate.png") != std::string::npos,
              RunProgram({"sheet", scene, "-o", In("s.png"), "--frames", "0", "--overwrite"}).error.find("plate.png") !=
                  std::string::npos);
    return checked.find("\"background\": \"input\" shows it") != std::string::npos;
  };
  EXPECT_TRUE(told("") && told(R"(, "background": "#000000")"));
  EXPECT_FALSE(told(R"(, "background": "input")") || told(R"(, "parameters": {"Wave Type": 2})"));
  const std::string picture = In("f.png");
  ASSERT_EQ(RunProgram({"render", In("scene.json"), "-o", picture, "--frames", "0", "--background", "input"}).exitCode,
            0);
  EXPECT_EQ(ReadFile(picture), ReadFile(In("plate.png"))) << "frame 0 shows nothing else";
}

TEST_F(Commands, SchemaAndFormatsAreListed) {
  const std::string schema = RunProgram({"schema"}).output;
  EXPECT_TRUE(json::parse(schema).contains("$schema"));
  EXPECT_EQ(schema, ReadFile(std::filesystem::path(ORVANDEL_SOURCES) / "docs/scene.schema.json"));
  const std::string formats = RunProgram({"render", "--list-formats"}).output;
  for (const char* extension : {".png", ".mp4", ".mov", ".webm", ".mkv", ".apng", ".webp", ".exr"}) {
    EXPECT_THAT(formats, HasSubstr(extension));
  }
}

}  // namespace
}  // namespace orvandel::cli
