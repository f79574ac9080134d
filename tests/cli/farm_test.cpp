// What a farm rests on: no frame is lost between chunks, scripts carry any name, no damage to a picture goes unnoticed.
// script/test_farm runs farms.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "cli/farm/child_process.h"
#include "cli/farm/farm_job.h"
#include "cli/farm/picture_check.h"
#include "cli/farm/shell_text.h"
#include "cli/frame_list.h"
#include "cli/interrupt.h"
#include "stage/stills/png_file.h"
#include "tests/support/temp_folder.h"

namespace orvandel::cli {
namespace {

using testing::Le;
using testing::SizeIs;

TEST(Farm, ChunksHoldEveryFrameOnceAndInOrder) {
  std::mt19937 random(3);
  for (int round = 0; round < 300; ++round) {
    std::vector<std::int32_t> frames;
    const auto step = static_cast<std::int32_t>(random() % 5 + 1);
    for (std::int32_t frame = 0, count = static_cast<std::int32_t>(random() % 3000 + 1); count > 0; --count) {
      frames.push_back(frame += random() % 50 == 0 ? 7 : step);
    }
    const double cost = std::pow(10, static_cast<double>(random() % 8) - 4), start = static_cast<double>(random() % 99);
    const FrameCosts costs{[&](std::int32_t frame) { return cost * (1 + frame % 3000); }, [&](auto) { return start; }};
    for (const Chunks& chunks : {ChunksByCost(frames, costs), ChunksOfSize(frames, random() % 100 + 3)}) {
      EXPECT_THAT(chunks, SizeIs(Le(kMostChunks)));
      std::vector<std::int32_t> all;
      for (const auto& chunk : chunks) {
        ASSERT_FALSE(chunk.empty());
        const auto read = ParseFrameList(RunsText(chunk, Steps::kWritten), std::numeric_limits<std::int32_t>::max());
        all.insert(all.end(), read.begin(), read.end());
      }
      ASSERT_EQ(all, frames);
    }
  }
}

TEST(Farm, ShellsReadWordsAsTheyAre) {
  const test::TempFolder folder;
  std::mt19937 random(5);
  std::string script = "printf '%s\\0'", words;
  for (int i = 0; i < 500; ++i) {
    std::string word;
    for (auto length = random() % 8; length > 0; --length) word += " '\"\\$`*%#~!\n;&|x-="[random() % 18];
    script += " " + ShellWord(word);
    words += word + '\0';
  }
  test::WriteFile(folder / "script", script);
  ASSERT_EQ(std::system(("sh " + (folder / "script").string() + " > " + (folder / "words").string()).c_str()), 0);
  EXPECT_EQ(test::ReadFile(folder / "words"), words);
}

// Some programs that start others leave SIGCHLD ignored.
TEST(Farm, KnowsHowChildrenEndWhateverWasInherited) {
  std::signal(SIGCHLD, SIG_IGN);
  CatchInterrupts();
  for (const char* code : {"0", "1", "77"}) {
    EXPECT_EQ(RunChild({"sh", "-c", std::string("exit ") + code}, ChildOutput::kErrors).exitCode, std::stoi(code));
  }
  const ChildResult none = RunChild({"/no/such/program"}, ChildOutput::kShown);
  EXPECT_EQ(EndText("it", none), "it cannot be started: No such file or directory");
}

TEST(Farm, NoDamageGoesUnnoticed) {
  const test::TempFolder folder;
  FarmJob job;
  job.folder = folder / "";
  job.pictures = (folder / "f.###.png").string();
  job.form = {5, 3, 8};
  job.chunks = {{0, 1}, {4}};
  stage::Picture picture(5, 3);
  for (std::size_t i = 0; i < picture.bytes.size(); ++i) picture.bytes[i] = static_cast<std::uint8_t>(i * 37);
  for (const std::int32_t frame : {0, 1, 4}) stage::WritePng(job.PictureOf(frame), picture);
  const auto look = [&] { return CheckPictures(job, *MakeProgress(ProgressKind::kQuiet)); };
  const PictureCheck whole = look();
  EXPECT_TRUE(whole.faults.empty());
  const auto fault = [&] {
    const PictureCheck check = look();
    EXPECT_EQ(check.fingerprint, "");
    return check.faults.size() == 1 ? check.faults.front() : PictureFault{};
  };
  const std::string bytes = test::ReadFile(job.PictureOf(4));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::string other = bytes;
    other[i] = static_cast<char>(other[i] ^ 1 << i % 8);
    test::WriteFile(job.PictureOf(4), other);
    EXPECT_EQ(fault().frame, 4) << "byte " << i;
    test::WriteFile(job.PictureOf(4), bytes.substr(0, i));
    EXPECT_EQ(fault().frame, 4) << "cut to " << i;
  }
  std::filesystem::remove(job.PictureOf(4));
  EXPECT_TRUE(fault().isMissing);
  stage::WritePng(job.PictureOf(4), stage::Picture(3, 5));
  EXPECT_THAT(fault().reason, testing::HasSubstr("3 x 5"));
  picture.bytes[7] ^= 1;
  stage::WritePng(job.PictureOf(4), picture);
  EXPECT_NE(look().fingerprint, whole.fingerprint);
  job.form.depth = 16;
  const auto fingerprint = [&](std::uint16_t last) {
    stage::Picture16 deep(5, 3);
    deep.words.back() = last;
    for (const std::int32_t frame : {0, 1, 4}) stage::WritePng16(job.PictureOf(frame), deep);
    return look().fingerprint;
  };
  EXPECT_NE(fingerprint(0x1200), fingerprint(0x1201)) << "all bits count";
}

}  // namespace
}  // namespace orvandel::cli
