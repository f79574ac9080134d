// Ctrl-C and SIGTERM: the first asks the work to stop, the second ends the program at once.
#pragma once

#include <filesystem>

namespace orvandel::cli {

// Installs the handlers. Once, before any work.
void CatchInterrupts();

// In a process that works for another: SIGINT, which a terminal sends to both, is the parent's to answer; SIGTERM,
// which the parent sends, asks this one to stop. What has been asked before is forgotten.
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
