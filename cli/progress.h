// How far a render has come, on standard error: a bar on a terminal, plain lines elsewhere.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace orvandel::cli {

// Destroying it leaves the cursor at the start of an empty line, whatever was shown.
class Progress {
 public:
  virtual ~Progress() = default;
  // `done` of `total` frames are written.
  virtual void Show(std::int64_t done, std::int64_t total) = 0;
};

enum class ProgressKind { kFromTerminal, kSilent };
std::unique_ptr<Progress> MakeProgress(ProgressKind kind);

// "42 of 150 frames, 17.3 a second, 00:06 left". No rate before the first frame.
std::string ProgressText(std::int64_t done, std::int64_t total, double elapsedSeconds);

}  // namespace orvandel::cli
