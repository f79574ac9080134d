// The built program from outside: what it writes, what it says, which code it ends with.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/cli/program.h"

namespace orvandel::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

std::string SceneText(const std::string& parameters) {
  return R"({ "version": 1, "width": 64, "height": 36, "frameRate": 30, "duration": 2, "parameters": {)" + parameters +
         "} }";
}
const char* const kRings = R"("Frequency": 6, "Expansion": 1, "Spin": 40, "Sides": 5)";

class ProgramTest : public testing::Test {
 protected:
  ProgramTest() { WriteFile(Scene(), SceneText(kRings)); }

  std::string Scene() const { return (folder_ / "scene.json").string(); }
  std::filesystem::path Out() const { return folder_ / "out"; }

  Outcome Render(const std::string& output, const Arguments& more = {}) const {
    Arguments arguments{"render", Scene(), "-o", (Out() / output).string(), "--overwrite"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunProgram(arguments);
  }

  TempFolder folder_;
};

// One line on standard error, nothing on standard output, the code asked for.
void ExpectFailure(const Outcome& outcome, int exitCode, const std::string& part) {
  EXPECT_EQ(outcome.exitCode, exitCode) << outcome.error;
  EXPECT_THAT(outcome.error, StartsWith("orvandel: error: "));
  EXPECT_THAT(outcome.error, HasSubstr(part));
  EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
  EXPECT_EQ(outcome.output, "");
}

TEST_F(ProgramTest, RendersTheFramesAskedForUnderTheirNames) {
  ASSERT_EQ(Render("f.png", {"--frames", "31,4"}).exitCode, 0);
  ASSERT_EQ(Render("all_#.png").exitCode, 0);
  EXPECT_EQ(NamesIn(Out()).size(), 62u);
  // Any order and any company give the same bytes; a plain name is kept for exactly one frame.
  ASSERT_EQ(Render("alone.png", {"--frames", "4"}).exitCode, 0);
  EXPECT_EQ(ReadFile(Out() / "f.0004.png"), ReadFile(Out() / "alone.png"));
  EXPECT_EQ(ReadFile(Out() / "all_4.png"), ReadFile(Out() / "alone.png"));
  EXPECT_EQ(ReadFile(Out() / "f.0031.png"), ReadFile(Out() / "all_31.png"));
}

TEST_F(ProgramTest, RendersAFilm) {
  const Outcome outcome = Render("rings.mp4", {"--frames", "0-29,40"});
  ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
  EXPECT_THAT(NamesIn(Out()), ElementsAre("rings.mp4"));
  EXPECT_THAT(outcome.error, HasSubstr("rings.mp4: 31 frames in "));
  ExpectFailure(Render("again.mp4", {"--frames", "5,3"}), 2, "3 comes after 5, but the frames of a film");
  ExpectFailure(Render("again.mp4", {"--frames", "5,5"}), 2, "ascending order");
  ExpectFailure(Render("again.%03d.mp4"), 2, "one film holds all frames");
  EXPECT_THAT(NamesIn(Out()), ElementsAre("rings.mp4"));
}

// The film libraries lie in a module of their own, which nobody needs who writes PNG pictures.
TEST_F(ProgramTest, NeedsItsFilmModuleForFilmsOnly) {
  const std::filesystem::path program = folder_ / "bin/orvandel", modules = folder_ / "lib/orvandel";
  std::filesystem::create_directories(program.parent_path());
  std::filesystem::create_directories(modules);
  std::filesystem::copy_file(ORVANDEL_PROGRAM, program);
  const auto built = std::filesystem::path(ORVANDEL_PROGRAM).parent_path().parent_path() / "lib/orvandel";
  std::filesystem::copy_file(built / "orvandel.so", modules / "orvandel.so");
  const auto render = [&](const std::string& output) {
    return RunProgram({"render", Scene(), "--frames", "3", "-o", (Out() / output).string()}, program);
  };
  EXPECT_EQ(render("a.png").exitCode, 0);
  ExpectFailure(render("a.mkv"), 1, (modules / "films.so").string());
  WriteFile(modules / "films.so", "no module");
  ExpectFailure(render("a.exr"), 1, "cannot be loaded");
  EXPECT_THAT(NamesIn(Out()), ElementsAre("a.png"));
}

TEST_F(ProgramTest, ShowsABarOnATerminalAndPlainLinesElsewhere) {
  const Outcome plain = Render("f.####.png");
  EXPECT_THAT(plain.error, HasSubstr("60 of 60 frames, "));
  EXPECT_EQ(plain.error.find_first_of("\r\x1b"), std::string::npos);
  const Outcome terminal = RunOnTerminal({"render", Scene(), "-o", (Out() / "f.####.png").string(), "--overwrite"});
  EXPECT_EQ(terminal.exitCode, 0);
  EXPECT_THAT(terminal.error, HasSubstr("[########################] 60 of 60 frames"));
  EXPECT_THAT(terminal.error, HasSubstr("\r\x1b[K" + (Out() / "f.####.png").string() + ": 60 frames in "));
  EXPECT_EQ(Render("f.####.png", {"--quiet"}).error, "");
}

// A bad scene is refused before anything is rendered or made: file, place, what was found, what is allowed.
TEST_F(ProgramTest, RefusesBadScenes) {
  WriteFile(Scene(), SceneText(R"("Frequency": 900)"));
  ExpectFailure(Render("f.png"), 2, "scene.json: /parameters/Frequency: 900 is outside 0..500");
  std::filesystem::remove(Scene());
  ExpectFailure(Render("f.png"), 2, "scene.json");
  std::filesystem::create_directory(Scene());
  ExpectFailure(Render("f.png"), 2, "scene.json");
  EXPECT_FALSE(std::filesystem::exists(Out()));
}

TEST_F(ProgramTest, RefusesBadArguments) {
  struct Bad {
    Arguments arguments;
    std::string part;
  };
  for (const auto& [arguments, part] : {
           Bad{{}, "no command given"},
           Bad{{"rendr", "x.json"}, "there is no command \"rendr\"; did you mean \"render\"? (orvandel --help)"},
           Bad{{"render"}, "scene"},
           Bad{{"farm", "staus", "x.farm"},
               "there is no command \"staus\"; did you mean \"status\"? (orvandel farm --help)"},
           Bad{{"farm", "status", "x", "--jsn"}, "did you mean \"--json\"? (orvandel farm status --help)"},
           Bad{{"render", Scene()}, "--output"},
           Bad{{"params", "--time", "1"}, "scene"},
           Bad{{"params", Scene(), "--time", "-1"}, "-1"},
       }) {
    ExpectFailure(RunProgram(arguments), 2, part);
  }
  for (const auto& [arguments, part] : {
           Bad{{"--frame", "3"}, "there is no option --frame; did you mean \"--frames\"? (orvandel render --help)"},
           Bad{{"-o", "g.png"}, "--output: may be given only once"},
           Bad{{"more.json"}, "one argument too many"},
           Bad{{"--quality", "best"}, "best is not one of full, draft"},
           Bad{{"--downsample", "0"}, "0"},
           Bad{{"--downsample", "two"}, "two"},
           Bad{{"--frames", "60"}, "0..59"},
           Bad{{"--frames", ""}, "--frames"},
       }) {
    ExpectFailure(Render("f.png", arguments), 2, part);
  }
  ExpectFailure(Render("f.gif"), 2, "use .webp or .apng");
  ExpectFailure(Render("../out"), 2, "is neither a picture nor a film");
  ExpectFailure(Render("%x.png"), 2, "%x.png");
  EXPECT_FALSE(std::filesystem::exists(Out()));
}

TEST_F(ProgramTest, TellsFailedWorkFromBadInput) {
  WriteFile(folder_ / "file", "");
  ExpectFailure(Render("../file/f.png"), 1, "file");
  ExpectFailure(RunProgram({"render", Scene(), "-o", "/proc/f.png"}), 1, "/proc");
  for (const char* module : {"none.so", "file"}) {
    ExpectFailure(RunProgram({"about", "--module", (folder_ / module).string()}), 1, module);
  }
  WriteFile(Scene(), R"({ "version": 1, "width": 64, "height": 36, "frameRate": 30, "duration": 2,
    "masks": { "line": { "d": "M 5 5 L 30 30" } }, "parameters": { "Wave Type": "Mask" } })");
  ExpectFailure(Render("f.png", {"--frames", "3"}), 1, "frame 3: Open paths cannot be turned into waves.");
  EXPECT_THAT(NamesIn(Out()), IsEmpty());
}

TEST_F(ProgramTest, ListsParametersAsRegisteredAndAsShown) {
  const auto registered = nlohmann::json::parse(RunProgram({"params", "--json"}).output);
  ASSERT_EQ(registered.size(), 43u);
  const Outcome table = RunProgram({"params"});
  for (const auto& param : registered) EXPECT_THAT(table.output, HasSubstr(param["name"].get<std::string>()));
  WriteFile(Scene(), SceneText(R"("Frequency": {"keyframes": [{"time": 0, "value": 2}, {"time": 2, "value": 4}]})"));
  const auto shown = nlohmann::json::parse(RunProgram({"params", Scene(), "--time", "1", "--json"}).output);
  ASSERT_EQ(shown.size(), registered.size());
  for (const auto& param : shown) {
    EXPECT_TRUE(param["name"] != "Frequency" || param["value"] == 3.0) << param;
    EXPECT_TRUE(param["name"] != "Value Channel" || param["active"] == false) << param;
  }
}

TEST_F(ProgramTest, TellsAboutItself) {
  const Outcome about = RunProgram({"about"});
  EXPECT_EQ(about.exitCode, 0) << about.error;
  for (const char* part : {"ZMR Orvandel", "Generate", "0x00088001", "Orvandel, v1.1", "Generates Expanding Shapes."}) {
    EXPECT_THAT(about.output, HasSubstr(part));
  }
  EXPECT_THAT(about.output, testing::Not(HasSubstr("complaint")));
  const std::string version = RunProgram({"--version"}).output;
  EXPECT_THAT(version, testing::ContainsRegex("^orvandel [0-9.]+\nlibraries: .*libavcodec [0-9.]+.*\nvectors: "));
  EXPECT_THAT(version, testing::StartsWith("orvandel " + RunProgram({"--version-number"}).output));
}

// What people are told to try: the scene in the README and every scene in examples.
TEST_F(ProgramTest, RendersEveryExampleScene) {
  const std::filesystem::path sources = ORVANDEL_SOURCES;
  const std::string readme = ReadFile(sources / "README.md");
  const std::string fence = "```jsonc\n";
  const auto begin = readme.find(fence);
  ASSERT_NE(begin, std::string::npos);
  WriteFile(Scene(), readme.substr(begin + fence.size(), readme.find("```", begin + 3) - begin - fence.size()));

  std::vector<std::string> scenes{Scene()};
  for (const std::string& name : NamesIn(sources / "examples/scenes")) {
    if (name.ends_with(".json")) scenes.push_back((sources / "examples/scenes" / name).string());
  }
  EXPECT_GE(scenes.size(), 4u);
  for (const std::string& scene : scenes) {
    const Outcome outcome = RunProgram({"render", scene, "-o", (Out() / "example.png").string(), "--frames", "45",
                                        "--downsample", "8", "--quality", "draft", "--overwrite"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
  }
}

}  // namespace
}  // namespace orvandel::cli
