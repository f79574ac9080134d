#include "cli/farm/slurm.h"

#include <fmt/format.h>

#include <charconv>
#include <sstream>

#include "cli/farm/child_process.h"
#include "cli/farm/shell_text.h"
#include "cli/interrupt.h"
#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

// Slurm replaces what follows a percent sign in the names of logs: "%a" becomes the task's number.
std::string LogName(const std::filesystem::path& folder, const std::string& name) {
  std::string text;
  for (const char c : folder.string()) text += c == '%' ? std::string("%%") : std::string(1, c);
  return text + "/" + name;
}

Words Options(const FarmJob& job, const std::string& log) {
  Words options{"--parsable", "--job-name=" + job.name, "--chdir=" + job.folder.string(), "--open-mode=append",
                "--output=" + LogName(job.LogFolder(), log)};
  options.insert(options.end(), job.everyJob.begin(), job.everyJob.end());
  return options;
}

std::vector<std::string> Fields(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream stream(line);
  for (std::string field; std::getline(stream, field, '|');) fields.push_back(field);
  fields.resize(5);
  return fields;
}

std::int32_t NumberIn(const std::string& text) {
  std::int32_t number = -1;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

void RequireSlurm() {
  if (IsInPath("sbatch") && IsInPath("squeue")) return;
  throw stage::InputError(
      "there is no sbatch in PATH: this machine cannot submit to Slurm; --no-submit writes the scripts for GNU "
      "parallel, another queue, or to run by hand");
}

Words ArrayOptions(const FarmJob& job, const std::vector<std::int32_t>& chunks) {
  Words options = Options(job, "chunk_%a.txt");
  std::string array = "--array=" + RunsText(chunks);
  if (job.atOnce > 0) array += fmt::format("%{}", job.atOnce);
  options.push_back(array);
  options.push_back("--requeue");  // when its node is lost
  options.insert(options.end(), job.arrayOnly.begin(), job.arrayOnly.end());
  options.push_back(job.ChunkScript().string());
  return options;
}

Words JoinOptions(const FarmJob& job, const std::string& arrayId) {
  Words options = Options(job, "join.txt");
  // After any end of the chunks: what failed is what the report is for.
  if (!arrayId.empty()) options.push_back("--dependency=afterany:" + arrayId);
  options.push_back(job.JoinScript().string());
  return options;
}

std::string Submit(const Words& options) {
  Words words{"sbatch"};
  words.insert(words.end(), options.begin(), options.end());
  const ChildResult result = RunChild(words, ChildOutput::kOutput);
  std::string id = result.text.substr(0, result.text.find_first_of(";\n"));  // a cluster's name may follow
  if (result.exitCode == 0 && NumberIn(id) > 0) return id;
  if (StopRequested()) throw stage::Interrupted();
  throw stage::WorkError(fmt::format("{}; the command was: {}", EndText("sbatch", result), ShellLine(words)));
}

Queue AskQueue(const FarmJob& job) {
  Queue queue;
  if (job.arrayId.empty() && job.joinId.empty()) return {true, {}};
  const ChildResult result =
      RunChild({"squeue", "--me", "--noheader", "--all", "--array", "--format=%F|%K|%T|%r|%N"}, ChildOutput::kOutput);
  queue.answered = result.exitCode == 0;
  if (!queue.answered && StopRequested()) throw stage::Interrupted();  // Ctrl-C reached squeue as well
  std::istringstream lines(result.text);
  for (std::string line; std::getline(lines, line);) {
    const std::vector<std::string> fields = Fields(line);
    if (fields[0] != job.arrayId && fields[0] != job.joinId) continue;
    queue.tasks.push_back(
        {fields[0], fields[0] == job.arrayId ? NumberIn(fields[1]) : -1, fields[2], fields[3], fields[4]});
  }
  return queue;
}

void Cancel(const FarmJob& job) {
  Words words{"scancel", "--quiet"};
  for (const std::string& id : {job.arrayId, job.joinId}) {
    if (!id.empty()) words.push_back(id);
  }
  RunChild(words, ChildOutput::kShown);
}

}  // namespace orvandel::cli
