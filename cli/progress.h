// How far a render has come, on standard error: a bar on a terminal, plain lines elsewhere, JSON for programs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cli/render/stage_stats.h"

namespace orvandel::cli {

enum class ProgressKind { kFromTerminal, kBar, kLines, kJson, kNone, kQuiet };

struct RenderStart {
  std::string scene, output;
  std::int64_t total = 0;  // frames to render
  std::int64_t kept = 0;   // frames that were there already
  int jobs = 1;
  std::vector<std::string> notes;  // what was chosen where the scene left a choice
};
struct FrameDone {
  std::int32_t frame = 0;
  std::int64_t done = 0, total = 0;  // this one included
  double seconds = 0;                // that the frame took
  std::int64_t waves = 0;            // alive in it
  std::string file;                  // empty where frames have no file of their own
  stage::StageSeconds stages{};      // of `seconds`, and of what came after
};
struct RenderSummary {
  RenderStart start;
  double seconds = 0;
  std::int32_t slowestFrame = -1;
  double slowestSeconds = 0;
  std::int64_t mostWaves = 0;  // alive at once in a frame that was rendered, at most
  std::vector<StageSummary> stages;
  bool showStages = false;  // to people; programs get them always
  std::string warning;      // empty: none
};

// Begin, Frame for every frame, End when all went well. Destroying it leaves the cursor at the start of an empty line.
class Progress {
 public:
  virtual ~Progress() = default;
  virtual void Begin(const RenderStart& start) = 0;
  // What people should know and need not act on; before the first frame.
  virtual void Note(const std::string& text) = 0;
  virtual void Frame(const FrameDone& frame) = 0;
  virtual void End(const RenderSummary& summary) = 0;
};
std::unique_ptr<Progress> MakeProgress(ProgressKind kind);

// "1 frame", "150 frames".
std::string FramesText(std::uint64_t count);
// "42 of 150 frames, 17.3 a second, 00:06 left". No rate before the first frame.
std::string ProgressText(std::int64_t done, std::int64_t total, double elapsedSeconds);
// "out/ring.####.png: 150 frames in 8.7 s, 17.2 a second; slowest: frame 149, 81 ms; at most 40 waves alive".
std::string SummaryText(const RenderSummary& summary);

}  // namespace orvandel::cli
