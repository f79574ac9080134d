// Messages between the parent and a worker: records of fixed size over a socket that preserves message boundaries.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "stage/base/stage_clock.h"

namespace orvandel::cli {

struct FrameOrder {
  std::int32_t index = 0;  // in the run's list
  std::int32_t frame = 0;
  std::int32_t slot = 0;
};

struct WorkerReport {
  enum class Kind : std::int32_t { kStarted, kNote, kFinished, kFailed, kEnded };
  enum class Fault : std::int32_t { kNone, kInput, kWork, kEffect, kMemory, kInterrupted };

  Kind kind = Kind::kStarted;
  std::int32_t index = -1;  // of the order; -1: outside any
  double seconds = 0;
  stage::StageSeconds stages{};
  std::int64_t waves = 0;  // alive in the finished frame
  double shown = 1;
  Fault fault = Fault::kNone;
  std::int32_t effectCode = 0;
  char text[4000] = {};  // ends with 0
};

// The running exception as a report, and a report thrown again as what it was.
WorkerReport ReportOfFailure(std::int32_t index);
WorkerReport NoteReport(const std::string& text);
[[noreturn]] void ThrowReported(const WorkerReport& report);

// False when the other side is gone. Whole records only; a signal does not interrupt them.
bool SendRecord(int socket, const void* record, std::size_t size);
bool ReceiveRecord(int socket, void* record, std::size_t size);

}  // namespace orvandel::cli
