// `orvandel farm`: a render in chunks, by the machines of a farm. Slurm does the scheduling; the code here writes the
// scripts, shows their progress, and checks the pictures they leave.
#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/farm/child_process.h"
#include "cli/farm/farm_job.h"
#include "cli/farm/farm_report.h"
#include "cli/farm/farm_run.h"
#include "cli/farm/new_job.h"
#include "cli/farm/picture_check.h"
#include "cli/farm/scripts.h"
#include "cli/farm/shell_text.h"
#include "cli/farm/slurm.h"
#include "cli/progress.h"
#include "cli/text_table.h"
#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

using Numbers = std::vector<std::int32_t>;

Numbers AllChunks(const FarmJob& job) {
  Numbers numbers;
  for (std::size_t i = 0; i < job.chunks.size(); ++i) numbers.push_back(static_cast<std::int32_t>(i));
  return numbers;
}

std::string JobText(const FarmJob& job) {
  const auto [least, most] = std::minmax_element(job.chunks.begin(), job.chunks.end(),
                                                 [](const auto& a, const auto& b) { return a.size() < b.size(); });
  const std::string sizes = least->size() == most->size() ? fmt::format("{}", most->size())
                                                          : fmt::format("{} to {}", least->size(), most->size());
  return fmt::format("{} in {} chunk{} of {}; folder {}", FramesText(job.FrameCount()), job.chunks.size(),
                     job.chunks.size() == 1 ? "" : "s", sizes, job.folder.string());
}

void PrintDryRun(const FarmJob& job) {
  Print("# {}\n\n# {}\n{}\n# {}\n{}\n", JobText(job), job.ChunkScript().string(), ChunkScriptText(job),
        job.JoinScript().string(), JoinScriptText(job));
  Print("# {}\n{}\n", (job.folder / "chunks.txt").string(), ChunkListText(job));
  Print("# Slurm; the join gets the number that the first one prints\nsbatch {}\nsbatch {}\n\n",
        ShellLine(ArrayOptions(job, AllChunks(job))), ShellLine(JoinOptions(job, "NUMBER")));
  Print("# GNU parallel, once --no-submit has written the scripts\n{}\n", ParallelLine(job, AllChunks(job)));
}

// Nothing else that may lie beside them.
void RemovePictures(const FarmJob& job) {
  for (const std::filesystem::path& picture : OutputPattern(job.pictures).Existing()) std::filesystem::remove(picture);
}

// The scripts and numbers of a job that is still in the queue stay as they are.
void RefuseQueued(const std::filesystem::path& folder) {
  std::error_code none;
  if (!std::filesystem::exists(folder / "farm.json", none)) return;
  const FarmJob old = LoadFarmJob(folder);
  const Queue queue = AskQueue(old);
  if (queue.answered && queue.tasks.empty()) return;
  throw stage::InputError(fmt::format(
      "--folder: {} belongs to job {}, which {}; see orvandel farm status, or name another folder", folder.string(),
      old.arrayId, queue.answered ? "is still in the queue" : "may still be in a queue that does not answer"));
}

void Go(FarmJob& job, const Numbers& chunks, bool noSubmit, bool wait) {
  if (noSubmit) {
    SaveFarmJob(job);
    if (chunks.empty()) {
      Print("{}\n", ShellWord(job.JoinScript().string()));
    } else {
      Print("{}\n", ParallelLine(job, chunks));
    }
    return;
  }
  SubmitFarm(job, chunks);
  Tell(fmt::format("submitted: chunks {}, join {}\n", job.arrayId.empty() ? "none" : job.arrayId, job.joinId));
  if (wait) {
    WaitForFarm(job);
  } else {
    Print("orvandel farm status {}\n", ShellWord(job.folder.string()));
  }
}

// --- status

struct ChunkState {
  std::size_t done = 0;
  std::string state;  // of its task
};

std::vector<ChunkState> StatesOf(const FarmJob& job, const Queue& queue) {
  std::vector<ChunkState> states(job.chunks.size());
  for (std::size_t i = 0; i < states.size(); ++i) {
    states[i].done = job.chunks[i].size() - FramesMissing(job, job.chunks[i]).size();
    states[i].state = states[i].done == job.chunks[i].size() ? "done" : queue.answered ? "not in the queue" : "unknown";
  }
  for (const QueuedTask& task : queue.tasks) {
    if (task.chunk < 0 || static_cast<std::size_t>(task.chunk) >= states.size()) continue;
    std::string& state = states[static_cast<std::size_t>(task.chunk)].state;
    if (state == "done") continue;
    state = task.state;
    if (!task.node.empty()) state += " on " + task.node;
    if (task.IsPending() && task.reason != "None") state += " (" + task.reason + ")";
  }
  return states;
}

void PrintStatus(const FarmJob& job, const std::vector<ChunkState>& states, const Queue& queue) {
  constexpr std::size_t kMostRows = 30;
  std::size_t done = 0, rows = 0, left = 0;
  std::vector<std::vector<std::string>> table{{"chunk", "frames", "done", "state"}};
  for (std::size_t i = 0; i < states.size(); ++i) {
    done += states[i].done;
    if (states[i].state == "done") continue;
    ++left;
    if (++rows > kMostRows) continue;
    table.push_back({fmt::format("{}", i), RunsText(job.chunks[i], Steps::kWritten),
                     fmt::format("{} of {}", states[i].done, job.chunks[i].size()), states[i].state});
  }
  Print("{}: {} of {}, {} of {} chunks\n", job.pictures, done, FramesText(job.FrameCount()), states.size() - left,
        states.size());
  if (left > 0) Print("{}", TextTable(table));
  if (rows > kMostRows) Print("and {} more\n", rows - kMostRows);
  if (!queue.answered) Print("the queue does not answer\n");
  const auto report = ReadReport(job);
  if (report) {
    Print("{}", report->text);
  } else if (queue.answered && queue.tasks.empty()) {
    Print("nothing in the queue, no report yet: orvandel farm resume {}\n", ShellWord(job.folder.string()));
  }
}

void PrintStatusJson(const FarmJob& job, const std::vector<ChunkState>& states, const Queue& queue) {
  nlohmann::ordered_json chunks = nlohmann::ordered_json::array();
  std::size_t done = 0;
  for (std::size_t i = 0; i < states.size(); ++i) {
    done += states[i].done;
    chunks.push_back({{"frames", RunsText(job.chunks[i], Steps::kWritten)},
                      {"total", job.chunks[i].size()},
                      {"done", states[i].done},
                      {"state", states[i].state}});
  }
  const auto report = ReadReport(job);
  const nlohmann::ordered_json json{{"format", 1},
                                    {"pictures", job.pictures},
                                    {"frames", job.FrameCount()},
                                    {"done", done},
                                    {"queued", queue.tasks.size()},
                                    {"queueAnswers", queue.answered},
                                    {"reported", report.has_value()},
                                    {"ok", report.has_value() && report->ok},
                                    {"chunks", chunks}};
  Print("{}\n", json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

// --- join

// The renders recorded beside the pictures what they are of; a dry run compares that with the scene as it is now.
void RefuseOtherScene(const FarmJob& job) {
  Words words = job.render;
  words.insert(words.end(), {"--frames", RunsText({job.chunks.front().front()}), "--dry-run"});
  const ChildResult result = RunChild(words, ChildOutput::kErrors);
  if (result.exitCode == 0) return;
  if (result.exitCode == kInterrupted) throw stage::Interrupted();
  Tell(result.text);
  if (result.exitCode != kBadInput) throw stage::WorkError(EndText(words.front(), result));
  throw stage::InputError(
      fmt::format("{}: the pictures do not go with this scene, for the reason above", job.render[2]));
}

std::string MakeFilm(const FarmJob& job) {
  if (job.filmCommand.empty()) return {};
  const ChildResult result = RunChild(job.filmCommand, ChildOutput::kShown);
  if (result.exitCode == kInterrupted) throw stage::Interrupted();
  return result.exitCode == 0 ? "" : "could not be made: " + EndText(job.filmCommand.front(), result);
}

}  // namespace

void Farm(const FarmRequest& request) {
  if (!request.dryRun && !request.noSubmit) RequireSlurm();
  NewJob made = MakeFarmJob(request);
  for (const std::string& note : made.notes) PrintNote(note);
  if (request.dryRun) return PrintDryRun(made.job);
  RefuseQueued(made.job.folder);
  if (made.replacesFrames) RemovePictures(made.job);
  PrepareFolder(made.job.PictureOf(0));
  if (!made.job.film.empty()) PrepareFolder(made.job.film, "--film");
  PrepareFolder(made.job.LogFolder() / "log", "--folder");
  RemoveTries(made.job);
  WriteScripts(made.job);
  Tell(JobText(made.job) + "\n");
  Go(made.job, AllChunks(made.job), request.noSubmit, request.wait);
}

void FarmStatus(const FarmFolderRequest& request) {
  const FarmJob job = LoadFarmJob(request.folder);
  const Queue queue = AskQueue(job);
  const std::vector<ChunkState> states = StatesOf(job, queue);
  if (request.asJson) return PrintStatusJson(job, states, queue);
  PrintStatus(job, states, queue);
}

void FarmResume(const FarmFolderRequest& request) {
  FarmJob job = LoadFarmJob(request.folder);
  if (!request.noSubmit) RequireSlurm();
  const Queue queue = AskQueue(job);
  if (!queue.answered && !request.restart)
    throw stage::WorkError("the queue does not answer, so the job may still be running; --restart cancels it");
  if (!queue.tasks.empty() && !request.restart) {
    throw stage::InputError(
        fmt::format("{} of the job's tasks are still in the queue; wait for them, or --restart cancels them first",
                    queue.tasks.size()));
  }
  if (!queue.tasks.empty()) CancelFarm(job);
  RefuseOtherScene(job);
  const auto report = ReadReport(job);
  if (report) RemoveDamaged(job, report->damaged);
  Numbers chunks;
  for (const std::int32_t number : AllChunks(job)) {
    if (!FramesMissing(job, job.chunks[static_cast<std::size_t>(number)]).empty()) chunks.push_back(number);
  }
  if (chunks.empty() && report && report->ok) {
    Print("{}: nothing is missing\n", job.pictures);
    return;
  }
  Go(job, chunks, request.noSubmit, request.wait);
}

void FarmJoin(const FarmFolderRequest& request) {
  const FarmJob job = LoadFarmJob(request.folder);
  RemoveReports(job);
  RefuseOtherScene(job);
  const PictureCheck check = CheckPictures(job, *MakeProgress(ProgressKind::kFromTerminal));
  const std::string filmFault = !check.faults.empty() ? "not made, because frames are missing" : MakeFilm(job);
  const FarmReport report = WriteReport(job, check, filmFault);
  Print("{}", report.text);
  if (report.ok) return;
  throw stage::WorkError(fmt::format("the render is incomplete; orvandel farm resume {} renders what is missing",
                                     ShellWord(job.folder.string())));
}

}  // namespace orvandel::cli
