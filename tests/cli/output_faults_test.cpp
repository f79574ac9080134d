// Where the output goes is full, closed, taken, left behind by a dead process or elsewhere: the exit code, what is
// said, and what lies in the folder afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/cli/program.h"

namespace orvandel::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string SceneText(const std::string& duration) {
  return R"({ "version": 1, "width": 96, "height": 54, "frameRate": 24, "duration": )" + duration +
         R"(, "parameters": { "Frequency": 9, "Expansion": 1, "Spin": 40, "Sides": 5 } })";
}

class OutputFaults : public testing::Test {
 protected:
  OutputFaults() {
    WriteFile(folder_ / "short.json", SceneText("2"));
    WriteFile(folder_ / "long.json", SceneText("3000"));
    std::filesystem::create_directory(Out());
  }
  std::filesystem::path Out() const { return folder_ / "out"; }
  std::vector<std::string> Render(const std::string& scene, const std::string& output,
                                  const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments{"render", folder_ / scene, "-o", Out() / output};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }
  bool HasPart() const {
    const auto names = NamesIn(Out());
    return std::any_of(names.begin(), names.end(), [](const std::string& name) { return name.ends_with(".part"); });
  }

  TempFolder folder_;
};

TEST_F(OutputFaults, StandardStreamsFullClosedOrLeft) {
  const std::string longName(246, 'n');
  ASSERT_EQ(RunProgram(Render("short.json", "../whole.mkv")).exitCode, 0);
  struct Case {
    std::string line;  // P the program, S the scene, run in an empty folder by bash
    int exitCode;
    std::string says, leaves;
  };
  for (const auto& [line, exitCode, says, leaves] : {
           Case{"$P render $S -o f.mkv 2>/dev/full", 0, "", "f.mkv"},
           Case{"$P render $S -o f.mkv --progress json 2>&-", 0, "", "f.mkv"},
           Case{"$P render $S -o f.mkv --jobs 2 <&- >&- 2>&-", 0, "", "f.mkv"},
           Case{"$P render $S -o f.mkv --progress json 2>&1 | head -c 1 >/dev/null; exit ${PIPESTATUS[0]}", 0, "",
                "f.mkv"},
           Case{"$P render $S -o f.mkv --frames 99 2>/dev/full", 2, "", ""},
           Case{"$P render $S -o - >&-", 2, "error: --output: standard output is closed", ""},
           Case{"$P render $S -o - >/dev/full", 1, "error: standard output cannot be written: No space left", ""},
           Case{"$P render $S -q -o - | head -c 25000 >/dev/null; exit ${PIPESTATUS[0]}", 1,
                "error: standard output: its reader left after ", ""},
           Case{"$P --help >/dev/full", 1, "error: standard output cannot be written: No space left", ""},
           Case{"$P params >/dev/full", 1, "error: standard output cannot be written: No space left", ""},
           Case{"$P man >&-", 1, "error: standard output cannot be written", ""},
           Case{"ulimit -f 1; $P render $S -o f.mkv", 1, "f.mkv: cannot be written: File too large", ""},
           Case{"$P render - -o f.mkv < $S", 0, "", "f.mkv"},
           Case{"$P render - -o f.mkv < /dev/null", 2, "error: standard input:", ""},
           Case{"$P render - -o f.mkv <&-", 2, "error: standard input cannot be read: Bad file descriptor", ""},
           Case{"$P render $S -o " + longName + ".mkv", 0, "", longName + ".mkv"},
       }) {
    std::filesystem::remove_all(Out());
    std::filesystem::create_directory(Out());
    WriteFile(folder_ / "line", "P=" ORVANDEL_PROGRAM " S=" + (folder_ / "short.json").string() + "\ncd " +
                                    Out().string() + "\n" + line + "\n");
    const int status = std::system(
        ("timeout 60 bash " + (folder_ / "line").string() + " > " + (folder_ / "said").string() + " 2>&1").c_str());
    EXPECT_EQ(WEXITSTATUS(status), exitCode) << line;
    EXPECT_THAT(ReadFile(folder_ / "said"), HasSubstr(says)) << line;
    EXPECT_EQ(NamesIn(Out()), leaves.empty() ? std::vector<std::string>{} : std::vector{leaves}) << line;
    if (!leaves.empty()) {
      EXPECT_EQ(ReadFile(Out() / leaves), ReadFile(folder_ / "whole.mkv")) << line;
    }
  }
}

TEST_F(OutputFaults, FilesThatAppearMeanwhileAreKept) {
  for (const std::string name : {"film.mkv", "f.0900.png"}) {
    const std::string output = name == "film.mkv" ? name : "f.####.png";
    std::filesystem::remove_all(Out());
    Program program(Render("long.json", output, {"--frames", "0-999"}), "/dev/null", folder_ / "error");
    ASSERT_TRUE(WaitUntil([&] { return !NamesIn(Out()).empty(); }));
    WriteFile(Out() / name, "mine");
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(ReadFile(folder_ / "error"), HasSubstr(name + ": appeared while this one was being made"));
    EXPECT_EQ(ReadFile(Out() / name), "mine");
    EXPECT_FALSE(HasPart());
  }
}

TEST_F(OutputFaults, UnfinishedFilesOfEndedRunsAreRemovedAndOthersKept) {
  const std::vector<std::string> oneFrame{"--frames", "0", "--overwrite"};
  Program program(Render("long.json", "film.mkv"), "/dev/null", folder_ / "error");
  ASSERT_TRUE(WaitUntil([&] { return HasPart(); }));
  EXPECT_EQ(RunProgram(Render("short.json", "film.mkv", oneFrame)).exitCode, 0);
  EXPECT_TRUE(HasPart());
  program.Send(SIGKILL);
  program.Wait();
  EXPECT_EQ(RunProgram(Render("short.json", "other.mkv", oneFrame)).exitCode, 0);
  EXPECT_TRUE(HasPart()) << "of another name";
  EXPECT_EQ(RunProgram(Render("short.json", "film.mkv", oneFrame)).exitCode, 0);
  EXPECT_THAT(NamesIn(Out()), ElementsAre("film.mkv", "other.mkv"));
}

TEST_F(OutputFaults, ALinkIsFollowed) {
  std::filesystem::create_directory(folder_ / "elsewhere");
  std::filesystem::create_symlink("../elsewhere/f.mkv", Out() / "link.mkv");
  EXPECT_EQ(RunProgram(Render("short.json", "link.mkv")).exitCode, 2) << "a link is a file that exists";
  EXPECT_THAT(NamesIn(folder_ / "elsewhere"), IsEmpty());
  for (int round = 0; round < 2; ++round) {  // the target is missing, then it is there
    ASSERT_EQ(RunProgram(Render("short.json", "link.mkv", {"--overwrite"})).exitCode, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(Out() / "link.mkv"));
    EXPECT_THAT(NamesIn(folder_ / "elsewhere"), ElementsAre("f.mkv"));
  }
}

}  // namespace
}  // namespace orvandel::cli
