// Ctrl-C, SIGTERM and SIGHUP: the first asks the work to stop, the second ends the program at once, unless it comes so
// close upon the first that it must be the same one, sent twice.
#pragma once

#include <array>
#include <csignal>
#include <filesystem>

namespace orvandel::cli {

inline constexpr std::array<int, 3> kStopSignals{SIGINT, SIGTERM, SIGHUP};

// Installs the handlers, except for signals that the program was started to ignore, and makes sure that children can be
// waited for. Once, before any work.
void CatchInterrupts();

// In a worker process: SIGINT and SIGHUP, which a terminal sends to parent and workers alike, are left to the parent;
// SIGTERM, which the parent sends, asks the worker to stop. Signals received before the fork are forgotten.
void LeaveInterruptsToParent();

// Whether the person asked to stop. Cheap: an atomic load, for use in the effect's own callbacks.
bool StopRequested();

// While it lives, a second signal also deletes this file before the program ends, so that nothing half-written stays.
class UnfinishedFile {
 public:
  explicit UnfinishedFile(const std::filesystem::path& file);
  ~UnfinishedFile();
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;
};

}  // namespace orvandel::cli
