// Ctrl-C, SIGTERM and SIGHUP at whatever moment: exit code 130, and every file that stays is whole.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>

#include "tests/cli/program.h"

namespace orvandel::cli {
namespace {

constexpr int kInterruptedCode = 130;

// Long enough that nothing finishes before it is interrupted.
const char* const kLongScene = R"json({ "version": 1, "width": 320, "height": 180, "frameRate": 30, "duration": 3000,
  "parameters": { "Frequency": 5, "Lifespan (sec)": 3 } })json";

// One frame of it takes minutes: hundreds of thousands of waves, nearly all alive.
const char* const kEndlessFrame = R"json({ "version": 1, "width": 1280, "height": 720, "frameRate": 30,
  "duration": 3000, "parameters": { "Frequency": 400, "Lifespan (sec)": 1000, "Expansion": 0.01 } })json";

class Interrupting : public testing::Test {
 protected:
  std::vector<std::string> RenderTo(const std::string& output) const {
    return {"render", (folder_ / "scene.json").string(), "-o", (Out() / output).string()};
  }
  std::filesystem::path Out() const { return folder_ / "out"; }

  TempFolder folder_;
};

TEST_F(Interrupting, LeavesWholePicturesOnly) {
  WriteFile(folder_ / "scene.json", kLongScene);
  std::mt19937 random(130);
  for (int round = 0; round < 12; ++round) {
    std::filesystem::remove_all(Out());
    auto arguments = RenderTo("f.####.png");
    arguments.insert(arguments.end(), {"--jobs", std::to_string(round % 3 + 1)});
    Program program(arguments, "/dev/null", folder_ / "error");
    ASSERT_TRUE(WaitUntil([&] { return NamesIn(Out()).size() >= 2; })) << ReadFile(folder_ / "error");
    usleep(static_cast<useconds_t>(random() % 40000));
    const int signal = round % 2 == 0 ? SIGINT : round % 4 == 1 ? SIGTERM : SIGHUP;
    if (round >= 6) {  // as a scheduler does it: to all of a job's processes, of which one, a script, hands it on
      for (const pid_t worker : program.Children()) kill(worker, signal);
      program.Send(signal);
    }
    program.Send(signal);
    EXPECT_EQ(program.Wait(), kInterruptedCode);
    for (const std::string& name : NamesIn(Out())) {
      EXPECT_TRUE(name.starts_with("f.") && name.ends_with(".png")) << name;
      EXPECT_TRUE(EndsLikeAWholePicture(Out() / name)) << name;
    }
    EXPECT_NE(ReadFile(folder_ / "error").find("orvandel: error: interrupted"), std::string::npos);
  }
}

TEST_F(Interrupting, LeavesNothingOfAFilm) {
  WriteFile(folder_ / "scene.json", kLongScene);
  for (const int signals : {1, 2}) {
    std::filesystem::remove_all(Out());
    Program program(RenderTo("film.mp4"), "/dev/null", folder_ / "error");
    ASSERT_TRUE(WaitUntil([&] { return NamesIn(Out()).size() >= 1; })) << ReadFile(folder_ / "error");
    usleep(100000);
    const auto workers = program.Children();
    ASSERT_FALSE(workers.empty());
    if (signals == 2) kill(workers[0], SIGSTOP);  // the first signal alone would wait for it
    for (int sent = 0; sent < signals; ++sent) {
      if (sent > 0) usleep(300000);
      program.Send(sent == 0 ? SIGINT : SIGTERM);
    }
    EXPECT_EQ(program.Wait(), kInterruptedCode);
    if (signals == 2) kill(workers[0], SIGKILL);
    EXPECT_TRUE(NamesIn(Out()).empty()) << NamesIn(Out()).front() << " after " << signals << " signals";
  }
}

TEST_F(Interrupting, StopsInsideAFrame) {
  WriteFile(folder_ / "scene.json", kEndlessFrame);
  auto arguments = RenderTo("late.png");
  arguments.insert(arguments.end(), {"--frames", "60000", "--max-waves", "2000000"});
  Program program(arguments, "/dev/null", folder_ / "error");
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::is_directory(Out()); })) << ReadFile(folder_ / "error");
  usleep(200000);
  program.Send(SIGINT);
  EXPECT_EQ(program.Wait(), kInterruptedCode);
  EXPECT_TRUE(NamesIn(Out()).empty());
}

}  // namespace
}  // namespace orvandel::cli
