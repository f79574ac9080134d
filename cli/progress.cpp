#include "cli/progress.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>

#include "cli/console.h"
#include "cli/failure.h"
#include "cli/text_table.h"

namespace orvandel::cli {
namespace {

using Clock = std::chrono::steady_clock;
using nlohmann::ordered_json;

double Seconds(Clock::duration span) { return std::chrono::duration<double>(span).count(); }

std::string MinutesAndSeconds(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
  return fmt::format("{:02}:{:02}", whole / 60, whole % 60);
}

double PerSecond(const RenderSummary& summary) {
  return summary.seconds > 0 ? static_cast<double>(summary.start.total) / summary.seconds : 0;
}

std::string StagesText(const std::vector<StageSummary>& stages) {
  std::vector<std::vector<std::string>> rows{{"", "fastest ms", "median ms", "sum s"}};
  for (const StageSummary& stage : stages) {
    rows.push_back({std::string(stage.name), fmt::format("{:.2f}", stage.fastest * 1000),
                    fmt::format("{:.2f}", stage.median * 1000), fmt::format("{:.2f}", stage.sum)});
  }
  return TextTable(rows);
}

// Nothing while rendering; one line at the end.
class SummaryOnly : public Progress {
 public:
  void Begin(const RenderStart& start) override {
    for (const std::string& note : start.notes) Tell("orvandel: note: " + note + "\n");
  }
  void Note(const std::string& text) override { PrintNote(text); }
  void Frame(const FrameDone&) override {}
  void End(const RenderSummary& summary) override {
    Tell(SummaryText(summary) + "\n");
    if (summary.showStages) Tell(StagesText(summary.stages));
    if (!summary.warning.empty()) Tell("orvandel: warning: " + summary.warning + "\n");
  }
};

// Shows at most once an interval, and always the last frame.
class TimedProgress : public SummaryOnly {
 public:
  TimedProgress(Clock::duration interval, Clock::duration firstAfter)
      : interval_(interval), nextShow_(start_ + firstAfter) {}

  void Frame(const FrameDone& frame) final {
    const auto now = Clock::now();
    if (now < nextShow_ && frame.done < frame.total) return;
    nextShow_ = now + interval_;
    Write(frame, ProgressText(frame.done, frame.total, Seconds(now - start_)));
  }

 private:
  virtual void Write(const FrameDone& frame, const std::string& text) = 0;

  Clock::time_point start_ = Clock::now();
  Clock::duration interval_;
  Clock::time_point nextShow_;
};

class TerminalBar final : public TimedProgress {
 public:
  TerminalBar() : TimedProgress(std::chrono::milliseconds(100), {}) {}
  ~TerminalBar() override { Wipe(); }
  void End(const RenderSummary& summary) override {
    Wipe();
    TimedProgress::End(summary);
  }

 private:
  static constexpr std::int64_t kCells = 24;  // bar and text together fit 80 columns

  void Write(const FrameDone& frame, const std::string& text) override {
    const auto full = static_cast<std::size_t>(kCells * frame.done / frame.total);
    Tell(fmt::format("\r[{}{}] {}\x1b[K", std::string(full, '#'), std::string(kCells - full, ' '), text));
    shown_ = true;
  }
  void Wipe() {
    if (!shown_) return;
    Tell("\r\x1b[K");
    shown_ = false;
  }

  bool shown_ = false;
};

class PlainLines final : public TimedProgress {
 public:
  PlainLines() : TimedProgress(std::chrono::seconds(2), std::chrono::seconds(2)) {}

 private:
  void Write(const FrameDone&, const std::string& text) override { Tell(text + "\n"); }
};

// One object a line: {"event": "start"}, {"event": "note"} for what is to be known, one {"event": "frame"} for every
// frame, {"event": "end"}.
class JsonLines final : public Progress {
 public:
  void Begin(const RenderStart& start) override {
    ordered_json json{{"event", "start"},     {"scene", start.scene}, {"output", start.output},
                      {"total", start.total}, {"kept", start.kept},   {"jobs", start.jobs}};
    if (!start.notes.empty()) json["notes"] = start.notes;
    Write(json);
  }
  void Note(const std::string& text) override { Write({{"event", "note"}, {"message", text}}); }
  void Frame(const FrameDone& frame) override {
    ordered_json json{{"event", "frame"},
                      {"frame", frame.frame},
                      {"done", frame.done},
                      {"total", frame.total},
                      {"ms", Milliseconds(frame.seconds)},
                      {"waves", frame.waves}};
    for (std::size_t i = 0; i < frame.stages.size(); ++i) {
      if (frame.stages[i] > 0) json["stages"][stage::kStageNames[i]] = Milliseconds(frame.stages[i]);
    }
    if (!frame.file.empty()) json["file"] = frame.file;
    Write(json);
  }
  void End(const RenderSummary& summary) override {
    ordered_json json{{"event", "end"},
                      {"ok", true},
                      {"frames", summary.start.total},
                      {"kept", summary.start.kept},
                      {"seconds", Milliseconds(summary.seconds) / 1000},
                      {"framesPerSecond", std::round(PerSecond(summary) * 100) / 100}};
    if (summary.slowestFrame >= 0) {
      json["slowestFrame"] = summary.slowestFrame;
      json["slowestMs"] = Milliseconds(summary.slowestSeconds);
    }
    json["mostWaves"] = summary.mostWaves;
    for (const StageSummary& stage : summary.stages) {
      json["stages"][std::string(stage.name)] = {{"fastestMs", Milliseconds(stage.fastest)},
                                                 {"medianMs", Milliseconds(stage.median)},
                                                 {"sumMs", Milliseconds(stage.sum)}};
    }
    if (!summary.warning.empty()) json["warning"] = summary.warning;
    Write(json);
  }

 private:
  // To a thousandth: more digits would only be noise.
  static double Milliseconds(double seconds) { return std::round(seconds * 1e6) / 1000; }
  static void Write(const ordered_json& json) {
    Tell(json.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n");
  }
};

class Silence final : public Progress {
 public:
  void Begin(const RenderStart&) override {}
  void Note(const std::string&) override {}
  void Frame(const FrameDone&) override {}
  void End(const RenderSummary&) override {}
};

}  // namespace

std::string FramesText(std::uint64_t count) { return fmt::format("{} frame{}", count, count == 1 ? "" : "s"); }

std::string ProgressText(std::int64_t done, std::int64_t total, double elapsedSeconds) {
  std::string text = fmt::format("{} of {}", done, FramesText(static_cast<std::uint64_t>(total)));
  if (done == 0 || elapsedSeconds <= 0) return text;
  const double rate = static_cast<double>(done) / elapsedSeconds;
  text += fmt::format(", {:.1f} a second", rate);
  if (done < total) text += fmt::format(", {} left", MinutesAndSeconds(static_cast<double>(total - done) / rate));
  return text;
}

std::string SummaryText(const RenderSummary& summary) {
  std::string text = fmt::format("{}: {} in {:.1f} s", summary.start.output,
                                 FramesText(static_cast<std::uint64_t>(summary.start.total)), summary.seconds);
  if (summary.start.total > 0) text += fmt::format(", {:.1f} a second", PerSecond(summary));
  if (summary.start.kept > 0)
    text += fmt::format("; {} kept", FramesText(static_cast<std::uint64_t>(summary.start.kept)));
  if (summary.slowestFrame >= 0) {
    text += fmt::format("; slowest: frame {}, {:.0f} ms", summary.slowestFrame, summary.slowestSeconds * 1000);
  }
  if (summary.mostWaves == 0) return text;
  return text + fmt::format("; at most {} wave{} alive", summary.mostWaves, summary.mostWaves == 1 ? "" : "s");
}

std::unique_ptr<Progress> MakeProgress(ProgressKind kind) {
  switch (kind) {
    case ProgressKind::kQuiet:
      return std::make_unique<Silence>();
    case ProgressKind::kNone:
      return std::make_unique<SummaryOnly>();
    case ProgressKind::kJson:
      return std::make_unique<JsonLines>();
    case ProgressKind::kBar:
      return std::make_unique<TerminalBar>();
    case ProgressKind::kLines:
      return std::make_unique<PlainLines>();
    case ProgressKind::kFromTerminal:
      break;
  }
  if (TellsTerminal()) return std::make_unique<TerminalBar>();
  return std::make_unique<PlainLines>();
}

}  // namespace orvandel::cli
