// Many processes, interrupted and resumed runs, pipes: the bytes are always those of one quiet run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>

#include "stage/picture/pixel_order.h"
#include "stage/stills/png_file.h"
#include "tests/cli/program.h"

namespace orvandel::cli {
namespace {

using testing::HasSubstr;
using Arguments = std::vector<std::string>;

const char* const kScene = R"json({ "version": 1, "width": 96, "height": 54, "frameRate": 24, "duration": 2,
  "parameters": { "Frequency": 9, "Expansion": 1, "Spin": 40, "Sides": 5, "Reflection": true, "Fade-out Time": 1,
    "Producer Point": { "keyframes": [ { "time": 0, "value": [10, 10] }, { "time": 2, "value": [80, 40] } ] } } })json";
constexpr int kFrames = 48;

class Jobs : public testing::Test {
 protected:
  Jobs() { WriteFile(Scene(), kScene); }

  std::string Scene() const { return (folder_ / "scene.json").string(); }
  Arguments RenderTo(const std::string& output, const Arguments& more = {}) const {
    Arguments arguments{"render", Scene(), "-o", output == "-" ? output : (folder_ / output).string()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }
  Outcome Render(const std::string& output, const Arguments& more = {}) const {
    return RunProgram(RenderTo(output, more));
  }
  // Every file of a folder, by name.
  std::map<std::string, std::string> Contents(const std::string& name) const {
    std::map<std::string, std::string> contents;
    for (const std::string& file : NamesIn(folder_ / name)) contents[file] = ReadFile(folder_ / name / file);
    return contents;
  }

  TempFolder folder_;
};

TEST_F(Jobs, AnyNumberGivesTheSameBytes) {
  ASSERT_EQ(Render("one/f.png").exitCode, 0);
  const auto pictures = Contents("one");
  ASSERT_EQ(pictures.size(), std::size_t{kFrames});
  const std::string raw = Render("-").output;
  ASSERT_EQ(raw.size(), std::size_t{kFrames} * 96 * 54 * 4);
  for (const char* film : {"a.mkv", "a.mp4", "a.apng"}) {
    ASSERT_EQ(Render(std::string("one_") + film).exitCode, 0);
    const Arguments fromPictures{"--from-pictures", (folder_ / "one/f.####.png").string(), "--jobs", "2"};
    ASSERT_EQ(Render(std::string("made_") + film, fromPictures).exitCode, 0);
    EXPECT_EQ(ReadFile(folder_ / (std::string("made_") + film)), ReadFile(folder_ / (std::string("one_") + film)));
    for (const char* jobs : {"2", "5"}) {
      ASSERT_EQ(Render(film, {"--jobs", jobs, "--overwrite"}).exitCode, 0);
      EXPECT_EQ(ReadFile(folder_ / film), ReadFile(folder_ / (std::string("one_") + film))) << film << " " << jobs;
    }
  }
  for (const char* jobs : {"2", "5", "0"}) {
    ASSERT_EQ(Render(std::string("many") + jobs + "/f.png", {"--jobs", jobs}).exitCode, 0);
    EXPECT_EQ(Contents(std::string("many") + jobs), pictures) << jobs;
    EXPECT_EQ(Render("-", {"--jobs", jobs}).output, raw) << jobs;
  }
  // A shuffled list, with repeats.
  ASSERT_EQ(Render("mixed/f.####.png", {"--frames", "40-47 3,0-39,3", "--jobs", "3"}).exitCode, 0);
  EXPECT_EQ(Contents("mixed"), pictures);
}

// Red, green, blue, alpha, as the picture of the same frame has them.
TEST_F(Jobs, RawFramesAreThePictures) {
  const std::string raw = Render("-", {"--frames", "30,20"}).output;
  ASSERT_EQ(Render("f.png", {"--frames", "30"}).exitCode, 0);
  const stage::Picture picture = stage::ReadPng(folder_ / "f.png");
  ASSERT_EQ(raw.size(), 2 * picture.bytes.size());
  for (std::size_t i = 0; i < picture.bytes.size(); i += 4) {
    for (std::size_t c = 0; c < 4; ++c) {
      ASSERT_EQ(static_cast<std::uint8_t>(raw[i + c]), picture.bytes[i + (c + 1) % 4]) << i;
    }
  }
}

TEST_F(Jobs, ExistingFilesAreKeptUnlessSaidOtherwise) {
  ASSERT_EQ(Render("out/f.png", {"--frames", "0-9"}).exitCode, 0);
  const auto first = Contents("out");
  const Outcome refused = Render("out/f.####.png", {"--frames", "20,5,3"});
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_THAT(refused.error, HasSubstr("f.0005.png' exists; --overwrite replaces it, --resume keeps"));
  EXPECT_EQ(Contents("out"), first);
  WriteFile(folder_ / "film.mkv", "mine");
  EXPECT_THAT(Render("film.mkv").error, HasSubstr("film.mkv' exists; --overwrite replaces it\n"));
  EXPECT_THAT(Render("film.mkv", {"--resume"}).error, HasSubstr("a film cannot be resumed"));
  EXPECT_EQ(ReadFile(folder_ / "film.mkv"), "mine");
  EXPECT_EQ(Render("film.mkv", {"--resume", "--overwrite"}).exitCode, 2);
  EXPECT_EQ(Render("film.mkv", {"--overwrite"}).exitCode, 0);
}

TEST_F(Jobs, AResumedRunIsTheWholeOne) {
  ASSERT_EQ(Render("whole/f.png").exitCode, 0);
  ASSERT_EQ(Render("out/f.png").exitCode, 0);
  const auto whole = Contents("whole");
  std::mt19937 random(5);
  for (int round = 0; round < 3; ++round) {
    for (const auto& [name, bytes] : whole) {
      const auto fate = random() % 3;
      if (fate == 0) std::filesystem::remove(folder_ / "out" / name);
      if (fate == 1) WriteFile(folder_ / "out" / name, bytes.substr(0, random() % bytes.size()));  // never ours
    }
    ASSERT_EQ(Render("out/f.png", {"--resume", "--jobs", "2"}).exitCode, 0);
    EXPECT_EQ(Contents("out"), whole);
  }
  EXPECT_THAT(Render("out/f.png", {"--resume"}).error, HasSubstr("0 frames in 0.0 s; 48 frames kept"));
  const Outcome other = Render("out/f.png", {"--resume", "--downsample", "2"});
  EXPECT_EQ(other.exitCode, 2);
  EXPECT_THAT(other.error, HasSubstr("are of other settings (--quality full --downsample 1 "));
  EXPECT_EQ(Render("out/f.png", {"--resume", "--set", "Sides=6"}).exitCode, 2);
  std::filesystem::remove(folder_ / "out/.f.####.png.scene");  // pictures of an unknown scene: their size must do
  EXPECT_THAT(Render("out/f.png", {"--resume", "--downsample", "2"}).error,
              HasSubstr("f.0000.png' is a picture of 96 x 54 with 8 bits a channel, not of 48 x 27"));
}

// Whatever pictures are made of ends a resumed run when it has changed, and nothing else does.
TEST_F(Jobs, ResumeKnowsWhatPicturesAreMadeOf) {
  const std::filesystem::path media = std::filesystem::path(ORVANDEL_SOURCES) / "examples/scenes/media";
  const std::string logo = ReadFile(media / "logo.png"), other = logo + "x";
  const auto start = [&] {
    for (const char* name : {"plate.png", "traced.png", "unused.png"}) WriteFile(folder_ / name, logo);
    WriteFile(folder_ / "mask.svg", R"(<svg xmlns="http://www.w3.org/2000/svg"><rect width="30" height="20"/></svg>)");
    std::filesystem::copy_file(media / "heartbeat.wav", folder_ / "beat.wav",
                               std::filesystem::copy_options::overwrite_existing);
    WriteFile(Scene(), R"({ "version": 1, "width": 64, "height": 36, "frameRate": 30, "duration": 1,
      "input": "plate.png", "background": "input", "layers": { "a": "traced.png", "b": "unused.png" },
      "masks": { "m": { "file": "mask.svg" } }, "effects": [
      { "parameters": { "Wave Type": 2, "Source Layer": "a", "Sides": 5, "Spin": { "expression": "t" } } },
      { "parameters": { "Wave Type": "Mask",
      "Start Width": { "audio": { "file": "beat.wav", "min": 1, "max": 9 } } } } ] })");
  };
  const auto append = [&](const std::string& name, const std::string& more) {
    WriteFile(folder_ / name, ReadFile(folder_ / name) + more);
  };
  const auto scene = [&](const std::string& from, const std::string& to) {
    std::string text = ReadFile(Scene());
    WriteFile(Scene(), text.replace(text.find(from), from.size(), to));
  };
  start();
  ASSERT_EQ(Render("out/f.####.png", {"--frames", "9"}).exitCode, 0);
  const std::vector<std::tuple<std::function<void()>, Arguments, std::string>> changes{
      {[&] { WriteFile(folder_ / "plate.png", other); }, {}, "another state of plate.png"},
      {[&] { WriteFile(folder_ / "traced.png", other); }, {}, "another state of traced.png"},
      {[&] { append("beat.wav", "x"); }, {}, "another state of beat.wav"},
      {[&] { WriteFile(folder_ / "mask.svg", "<svg><circle r='9'/></svg>"); }, {}, "another state of the masks"},
      {[&] { scene("\"Sides\": 5", "\"Sides\": 6"); }, {}, "another scene"},
      {[&] {}, {"--set", "Sides=5"}, "another scene"},
      {[&] {}, {"--size", "64x36"}, "another scene"},
      {[&] {}, {"--quality", "draft"}, "other settings"},
      {[&] {}, {"--background", "none"}, "other settings"},
      {[&] { WriteFile(folder_ / "unused.png", other); }, {}, ""},
      {[&] { append("mask.svg", "<!-- the same shapes -->"); }, {}, ""},
      {[&] { append("scene.json", "// a comment"); }, {}, ""},
      {[&] { scene("\"duration\": 1", "\"duration\": 2, \"sound\": \"beat.wav\""); }, {}, ""},
      {[&] {}, {"--duration", "3", "--jobs", "2"}, ""}};
  for (const auto& [change, options, told] : changes) {
    change();
    Arguments arguments{"--resume", "--frames", "9,10"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Outcome outcome = Render("out/f.####.png", arguments);
    EXPECT_EQ(outcome.exitCode, told.empty() ? 0 : 2) << told << outcome.error;
    EXPECT_THAT(outcome.error, HasSubstr(told));
    start();
  }
  // Whose pictures were removed by hand may begin anew.
  for (const char* name : {"f.0009.png", "f.0010.png"}) std::filesystem::remove(folder_ / "out" / name);
  scene("\"Sides\": 5", "\"Sides\": 6");
  EXPECT_EQ(Render("out/f.####.png", {"--frames", "10"}).exitCode, 0);
  EXPECT_EQ(Render("out/f.####.png", {"--resume", "--frames", "9,10"}).exitCode, 0);
}

// Nothing under a final name is ever unfinished, and what is there completes to the whole run.
TEST_F(Jobs, KilledAtAnyMomentLeavesWholeFilesOnly) {
  ASSERT_EQ(Render("whole/f.png").exitCode, 0);
  const auto whole = Contents("whole");
  std::mt19937 random(9);
  for (int round = 0; round < 12; ++round) {
    std::filesystem::remove_all(folder_ / "out");
    Program program(RenderTo("out/f.png", {"--jobs", std::to_string(round % 3 + 1)}), "/dev/null", folder_ / "error");
    usleep(static_cast<useconds_t>(random() % 250000));
    program.Send(SIGSTOP);  // so that no worker is forked behind the list
    usleep(2000);
    const auto workers = program.Children();
    program.Send(SIGKILL);
    program.Wait();
    for (const pid_t worker : workers) {
      EXPECT_TRUE(WaitUntil([&] { return kill(worker, 0) != 0; })) << "a worker outlives the program";
    }
    for (const auto& [name, bytes] : Contents("out")) {
      if (!name.starts_with(".")) {
        EXPECT_EQ(bytes, whole.at(name)) << name;
      }
    }
    ASSERT_EQ(Render("out/f.png", {"--resume"}).exitCode, 0);
    EXPECT_EQ(Contents("out"), whole) << "nothing is missing, and nothing unfinished stays";
  }
  ASSERT_EQ(Render("whole.mp4", {"--jobs", "2"}).exitCode, 0);
  for (int round = 0; round < 4; ++round) {
    Program program(RenderTo("film.mp4", {"--jobs", "2"}), "/dev/null", folder_ / "error");
    usleep(static_cast<useconds_t>(random() % 150000));
    program.Send(SIGKILL);
    program.Wait();
    if (!std::filesystem::exists(folder_ / "film.mp4")) continue;
    EXPECT_EQ(ReadFile(folder_ / "film.mp4"), ReadFile(folder_ / "whole.mp4")) << "done just before, so it is whole";
    std::filesystem::remove(folder_ / "film.mp4");
  }
}

TEST_F(Jobs, AKilledWorkerEndsTheRun) {
  WriteFile(Scene(), std::string(kScene).replace(std::string(kScene).find("\"duration\": 2"), 13, "\"duration\": 900"));
  for (const char* output : {"out/f.png", "film.mkv"}) {
    Program program(RenderTo(output, {"--jobs", "3", "--quiet"}), "/dev/null", folder_ / "error");
    ASSERT_TRUE(WaitUntil([&] { return program.Children().size() == 3; }));
    usleep(100000);
    kill(program.Children()[1], SIGKILL);
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(ReadFile(folder_ / "error"), HasSubstr("a render process was ended by signal 9"));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "film.mkv"));
  }
  const auto left = Contents("out");
  ASSERT_EQ(Render("out/f.png", {"--resume", "--frames", "0-99"}).exitCode, 0);
  ASSERT_EQ(
      Render("whole/f.png", {"--frames", "0-" + std::to_string(std::max<std::size_t>(left.size(), 100))}).exitCode, 0);
  const auto whole = Contents("whole");
  int compared = 0;
  for (const auto& [name, bytes] : Contents("out")) {
    if (name.starts_with(".") || !whole.contains(name)) continue;
    EXPECT_EQ(bytes, whole.at(name)) << name;
    ++compared;
  }
  EXPECT_GE(compared, 100);
}

std::vector<nlohmann::json> Lines(const std::string& text) {
  std::vector<nlohmann::json> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

TEST_F(Jobs, JsonProgressReportsEveryFrame) {
  const auto lines = Lines(Render("out/f.png", {"--progress", "json", "--jobs", "2"}).error);
  ASSERT_EQ(lines.size(), std::size_t{kFrames} + 2);
  EXPECT_EQ(lines.front()["event"], "start");
  EXPECT_EQ(lines.front()["total"], kFrames);
  std::set<int> frames;
  for (std::size_t i = 1; i <= kFrames; ++i) {
    EXPECT_EQ(lines[i]["event"], "frame");
    EXPECT_EQ(lines[i]["done"], i);
    EXPECT_TRUE(std::filesystem::exists(lines[i]["file"].get<std::string>()));
    frames.insert(lines[i]["frame"].get<int>());
    double inStages = 0;
    for (const auto& [stage, ms] : lines[i]["stages"].items()) inStages += ms.get<double>();
    EXPECT_GT(inStages, 0);
    EXPECT_LT(inStages, lines[i]["ms"].get<double>() + 0.01) << "no time counts twice";
  }
  EXPECT_EQ(frames.size(), std::size_t{kFrames});
  EXPECT_EQ(lines.back()["event"], "end");
  EXPECT_EQ(lines.back()["frames"], kFrames);
  EXPECT_GE(lines.back()["mostWaves"], 17);
  const auto refused = Lines(Render("out/f.png", {"--progress", "json"}).error);
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_EQ(refused[0]["event"], "error");
  EXPECT_EQ(refused[0]["exit"], 2);
}

// Renders of one scene share them, those of another never find them, and damaged ones are told and written anew.
TEST_F(Jobs, SnapshotsChangeNoByte) {
  const Arguments last{"--frames", "44-47"};
  ASSERT_EQ(Render("plain/f.png", last).exitCode, 0);
  ASSERT_EQ(Render("seven/f.png", {"--frames", "44-47", "--set", "Frequency=7"}).exitCode, 0);
  const Arguments kept{"--frames",           "44-47", "--jobs",      "2",
                       "--snapshot-seconds", "1",     "--snapshots", folder_ / "states"};
  const auto states = [&] {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_ / "states")) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
    return files;
  };
  for (const char* name : {"first", "second", "third"}) {
    const Outcome outcome = Render(std::string(name) + "/f.png", kept);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(Contents(name), Contents("plain"));
    ASSERT_EQ(states().size(), 1U);
    const bool isDamaged = std::string(name) == "third";
    EXPECT_EQ(outcome.error.find("a snapshot is passed over") != std::string::npos, isDamaged) << outcome.error;
    if (std::string(name) == "second") WriteFile(states()[0], "orvstate");
  }
  EXPECT_GT(std::filesystem::file_size(states()[0]), 100U);
  Arguments other = kept;
  other.insert(other.end(), {"--set", "Frequency=7"});
  ASSERT_EQ(Render("other/f.png", other).exitCode, 0);
  EXPECT_EQ(Contents("other"), Contents("seven"));
  ASSERT_EQ(states().size(), 2U);
  std::filesystem::copy_file(states()[0], states()[1], std::filesystem::copy_options::overwrite_existing);
  ASSERT_EQ(Render("mixed/f.png", kept).exitCode + Render("mixed other/f.png", other).exitCode, 0);
  EXPECT_EQ(Contents("mixed"), Contents("plain"));
  EXPECT_EQ(Contents("mixed other"), Contents("seven"));
}

TEST_F(Jobs, LimitsAreNamedByWhatLiftsThem) {
  const Outcome waves = Render("f.png", {"--frames", "47", "--max-waves", "5"});
  EXPECT_EQ(waves.exitCode, 2);
  EXPECT_THAT(waves.error, HasSubstr("frame 47 needs up to 18 waves at once, more than the 5 that --max-waves allows"));
  const Outcome slow = Render("f.png", {"--max-frame-seconds", "1e-9"});
  EXPECT_EQ(slow.exitCode, 1);
  EXPECT_THAT(slow.error, HasSubstr("that --max-frame-seconds allows"));
  ASSERT_EQ(Render("plate.png", {"--frames", "3"}).exitCode, 0);
  std::filesystem::create_directory(folder_ / "scenes");
  const std::string scene = folder_ / "scenes/scene.json", picture = folder_ / "outside.png";
  WriteFile(scene, R"({ "version": 1, "width": 64, "height": 36, "frameRate": 30, "duration": 1,
    "input": "../plate.png" })");
  const Outcome outside = RunProgram({"render", scene, "-o", picture, "--frames", "3"});
  EXPECT_EQ(outside.exitCode, 2);
  EXPECT_THAT(outside.error, HasSubstr("--allow-outside"));
  EXPECT_EQ(RunProgram({"render", scene, "-o", picture, "--frames", "3", "--allow-outside"}).exitCode, 0);
}

// Said before anything is rendered or made.
TEST_F(Jobs, WhatARenderTakesIsKnownBeforehand) {
  const Outcome planned = Render("out/f.png", {"--dry-run", "--size", "640x400", "--fps", "10", "--duration", "3"});
  EXPECT_EQ(planned.exitCode, 0) << planned.error;
  EXPECT_THAT(planned.output, HasSubstr("f.####.png: 30 frames of 640 x 400 pixels, from 0 to 29; at most 2"));
  EXPECT_THAT(Render("f.mov", {"--size", "20000x20000", "--max-memory", "99G"}).error,
              HasSubstr("can be written with 20000 x 20000 pixels"));
  EXPECT_THAT(Render("f.webm", {"--size", "10000x10000", "--max-memory", "20G"}).error,
              HasSubstr("GB of memory, more than the 21.5 GB that --max-memory allows"));
  EXPECT_THAT(Render("f.png", {"--fps", "0"}).error, HasSubstr("--fps 0: "));
  EXPECT_THAT(Render("f.png", {"--size", "640"}).error, HasSubstr("--size 640: is not WIDTHxHEIGHT"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out"));
}

// The largest process is what decides; each case takes more than those before it, whose peak is the most seen so far.
TEST_F(Jobs, MemoryIsWhatWasEstimated) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer takes memory of its own";
#endif
  const std::string head = R"({ "version": 1, "width": 1800, "height": 1500, "frameRate": 30, "duration": 1, )";
  WriteFile(Scene(), head + R"("background": "#204060" })");
  ASSERT_EQ(Render("plate.png", {"--frames", "0"}).exitCode, 0);
  for (const auto& [more, output, depth] : std::vector<std::tuple<std::string, std::string, std::string>>{
           {R"("parameters": {})", "f.png", "8"},
           {R"("background": "plate.png")", "f.png", "8"},
           {R"("layers": { "a": "plate.png" }, "parameters": { "Wave Type": 2, "Source Layer": "a" })", "f.png", "8"},
           {R"("parameters": {})", "f.png", "16"},
           {R"("glow": { "radius": 20 }, "background": "#204060")", "f.png", "8"},
           {R"("effects": [ {}, {}, {} ])", "f.exr", "8"},
           {R"("effects": [ {}, {}, {} ], "motionBlur": { "samples": 2 })", "f.png", "8"}}) {
    WriteFile(Scene(), head + more + "}");
    // While one is packed and one waits for it, the next one is drawn.
    const Arguments some{"--frames", "18-21", "--overwrite", "--depth", depth};
    Arguments dry = some;
    dry.push_back("--dry-run");
    const std::string told = Render(output, dry).output;
    const double estimate = std::stod(told.substr(told.find("about ") + 6)) * 1e6;
    ASSERT_EQ(Render(output, some).exitCode, 0) << more;
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    EXPECT_LT(static_cast<double>(used.ru_maxrss) * 1024, estimate) << more << told;
    EXPECT_GT(static_cast<double>(used.ru_maxrss) * 1024, estimate / 2.5) << more << told;
  }
}

TEST_F(Jobs, OptionsThatDoNotGoTogetherAreRefused) {
  for (const auto& [output, more, part] : std::vector<std::tuple<std::string, Arguments, std::string>>{
           {"f.mkv", {"--depth", "16"}, "--depth"},
           {"f.exr", {"--depth", "16"}, "--depth"},
           {"f.exr", {"--resume"}, "--resume"},
           {"f.mkv", {"--film-quality", "low"}, "--film-quality"},
           {"f.png", {"--codec", "qtrle"}, "--codec"},
           {"f.mov", {"--codec", "nothing"}, "nothing"},
           {"f.mp4", {"--background", "none.png"}, "none.png"},
           {"f.png", {"--set", "Frequenzy=3"}, "Frequency"},
           {"f.png", {"--set", "Frequency=900"}, "--set Frequency=900"},
           {"f.png", {"--quiet", "--progress", "json"}, "--progress"},
           {"-", {"--resume"}, "a stream cannot be resumed"}}) {
    const Outcome outcome = Render(output, more);
    EXPECT_EQ(outcome.exitCode, 2) << output << " " << part;
    EXPECT_THAT(outcome.error, HasSubstr(part));
    EXPECT_EQ(outcome.output, "");
    EXPECT_FALSE(std::filesystem::exists(folder_ / output));
  }
}

TEST_F(Jobs, SetDepthAndBackgroundReachThePictures) {
  ASSERT_EQ(Render("plain.png", {"--frames", "30"}).exitCode, 0);
  ASSERT_EQ(Render("set.png", {"--frames", "30", "--set", "Color=#00ff00", "--set", "Producer Point=[1, 2]"}).exitCode,
            0);
  EXPECT_NE(ReadFile(folder_ / "set.png"), ReadFile(folder_ / "plain.png"));
  WriteFile(Scene(), std::string(kScene).replace(std::string(kScene).find("\"parameters\": {"), 15,
                                                 "\"parameters\": { \"Color\": \"#0000ff\","));
  ASSERT_EQ(Render("same.png", {"--frames", "30"}).exitCode, 0);
  ASSERT_EQ(Render("deep.png", {"--frames", "30", "--depth", "16"}).exitCode, 0);
  EXPECT_EQ(ReadFile(folder_ / "deep.png")[24], 16);  // bits a channel in the picture's head
  ASSERT_EQ(Render("opaque.png", {"--frames", "0", "--background", "#102030"}).exitCode, 0);
  const stage::Picture picture = stage::ReadPng(folder_ / "opaque.png");
  EXPECT_EQ(std::vector<std::uint8_t>(picture.bytes.begin(), picture.bytes.begin() + 4),
            (std::vector<std::uint8_t>{255, 0x10, 0x20, 0x30}));
  const Arguments behind{"--frames", "30", "--background", "#102030"};
  ASSERT_EQ(Render("opaque30.png", behind).exitCode, 0);
  stage::Picture later = stage::ReadPng(folder_ / "opaque30.png");
  EXPECT_NE(later.bytes, picture.bytes);
  stage::AlphaLast(later.bytes.data(), later.bytes.size() / 4);
  EXPECT_EQ(Render("-", behind).output, std::string(later.bytes.begin(), later.bytes.end()));
}

}  // namespace
}  // namespace orvandel::cli
