#include "cli/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>

namespace orvandel::cli {
namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration span) { return std::chrono::duration<double>(span).count(); }

std::string MinutesAndSeconds(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
  return fmt::format("{:02}:{:02}", whole / 60, whole % 60);
}

// Shows at most once an interval, and always the last frame.
class TimedProgress : public Progress {
 public:
  TimedProgress(Clock::duration interval, Clock::duration firstAfter)
      : interval_(interval), nextShow_(start_ + firstAfter) {}

  void Show(std::int64_t done, std::int64_t total) final {
    const auto now = Clock::now();
    if (now < nextShow_ && done < total) return;
    nextShow_ = now + interval_;
    Write(done, total, ProgressText(done, total, Seconds(now - start_)));
  }

 private:
  virtual void Write(std::int64_t done, std::int64_t total, const std::string& text) = 0;

  Clock::time_point start_ = Clock::now();
  Clock::duration interval_;
  Clock::time_point nextShow_;
};

class TerminalBar final : public TimedProgress {
 public:
  TerminalBar() : TimedProgress(std::chrono::milliseconds(100), {}) {}
  ~TerminalBar() override {
    fmt::print(stderr, "\r\x1b[K");
    std::fflush(stderr);
  }

 private:
  static constexpr std::int64_t kCells = 24;  // bar and text together fit 80 columns

  void Write(std::int64_t done, std::int64_t total, const std::string& text) override {
    const auto full = static_cast<std::size_t>(kCells * done / total);
    fmt::print(stderr, "\r[{}{}] {}\x1b[K", std::string(full, '#'), std::string(kCells - full, ' '), text);
    std::fflush(stderr);
  }
};

class PlainLines final : public TimedProgress {
 public:
  PlainLines() : TimedProgress(std::chrono::seconds(2), std::chrono::seconds(2)) {}

 private:
  void Write(std::int64_t, std::int64_t, const std::string& text) override { fmt::print(stderr, "{}\n", text); }
};

class Silence final : public Progress {
 public:
  void Show(std::int64_t, std::int64_t) override {}
};

}  // namespace

std::string ProgressText(std::int64_t done, std::int64_t total, double elapsedSeconds) {
  std::string text = fmt::format("{} of {} frame{}", done, total, total == 1 ? "" : "s");
  if (done == 0 || elapsedSeconds <= 0) return text;
  const double rate = static_cast<double>(done) / elapsedSeconds;
  text += fmt::format(", {:.1f} a second", rate);
  if (done < total) text += fmt::format(", {} left", MinutesAndSeconds(static_cast<double>(total - done) / rate));
  return text;
}

std::unique_ptr<Progress> MakeProgress(ProgressKind kind) {
  if (kind == ProgressKind::kSilent) return std::make_unique<Silence>();
  if (isatty(STDERR_FILENO) == 1) return std::make_unique<TerminalBar>();
  return std::make_unique<PlainLines>();
}

}  // namespace orvandel::cli
