#include "cli/farm/scripts.h"

#include <fmt/format.h>

#include "cli/farm/shell_text.h"

namespace orvandel::cli {
namespace {

// One machine of many may have another version, which may draw other pictures, or none at all.
std::string VersionGuard(const char* script, const FarmJob& job) {
  return fmt::format(
      R"(program={}
version={}

found=$("$program" --version-number 2>&1) || {{
  echo "{}: $program does not run on $HOSTNAME: $found" >&2
  exit 2
}}
if [[ $found != "$version" ]]; then
  echo "{}: $program on $HOSTNAME is $found, not $version" >&2
  exit 2
fi
)",
      ShellWord(job.program), ShellWord(job.version), script, script);
}

// One option a line, with its value.
std::string CommandText(const Words& words) {
  std::string text = "\"$program\"";
  for (std::size_t i = 1; i < words.size(); ++i) {
    text += (words[i].starts_with("--") ? "\n  " : " ") + ShellWord(words[i]);
  }
  return text;
}

constexpr const char* kChunkWork = R"sh(
number=${1:-${SLURM_ARRAY_TASK_ID:-}}
if [[ ! $number =~ ^[0-9]{1,6}$ ]]; then
  echo "chunk.sh: which chunk? chunk.sh NUMBER" >&2
  exit 2
fi
number=$((10#$number))
frames=$(sed -n "$((number + 1))p" "$folder/chunks.txt")
if [[ -z $frames ]]; then
  echo "chunk.sh: $folder/chunks.txt has no chunk $number" >&2
  exit 2
fi

# A signal stops the render, which leaves complete pictures only, and is no reason to try again.
child='' stopped=''
stop() {
  stopped=1
  [[ -z $child ]] || kill -TERM "$child" 2>/dev/null
}
trap stop TERM INT HUP

code=1
for ((try = 1; try <= tries; ++try)); do
  began=$SECONDS
  "${render[@]}" --frames "$frames" &
  child=$!
  wait "$child"
  code=$?
  while kill -0 "$child" 2>/dev/null; do # the wait was ended by a signal, not by the render
    wait "$child"
    code=$?
  done
  printf '%s\t%s\t%s\t%s\n' "$try" "${SLURMD_NODENAME:-$HOSTNAME}" "$((SECONDS - began))" "$code" \
    >>"$folder/log/chunk_$number.tries"
  if [[ -n $stopped || $code == 0 || $code == 2 ]]; then exit "$code"; fi
  echo "chunk.sh: chunk $number ended with $code, try $try of $tries on ${SLURMD_NODENAME:-$HOSTNAME}" >&2
  if ((try < tries)); then sleep "$((2 * try))"; fi
  if [[ -n $stopped ]]; then exit 130; fi
done
exit "$code"
)sh";

void WriteScript(const std::filesystem::path& file, const std::string& text) {
  using std::filesystem::perms;
  WriteTextFile(file, text);
  std::filesystem::permissions(file, perms::owner_exec | perms::group_exec | perms::others_exec,
                               std::filesystem::perm_options::add);
}

}  // namespace

std::string ChunkScriptText(const FarmJob& job) {
  return fmt::format(
             R"(#!/usr/bin/env bash
# Renders one chunk of a farm's frames: chunk.sh NUMBER. In an array task, Slurm gives the number.
# Complete pictures are kept, so it may be run again at any time.
# Exit codes: 0 all frames of the chunk are complete; 2 the scene, an option or this machine's program is at fault, which
# trying again would not change; 130 stopped; else the exit code of the last of {} tries.
set -uo pipefail

folder={}
tries={}
{}
render=({})
)",
             job.tries, ShellWord(job.folder.string()), job.tries, VersionGuard("chunk.sh", job),
             CommandText(job.render)) +
         kChunkWork;
}

std::string JoinScriptText(const FarmJob& job) {
  return fmt::format(
      R"(#!/usr/bin/env bash
# Checks that every frame of a farm is complete, makes the film where one is wanted, and writes report.json,
# report.txt and frames.tsv.
# Exit codes: 0 all is complete; 1 something is missing, damaged or could not be made; 2 the scene, an option or this
# machine's program is at fault; 130 stopped.
set -euo pipefail

{}
exec "$program" farm join {}
)",
      VersionGuard("join.sh", job), ShellWord(job.folder.string()));
}

std::string ChunkListText(const FarmJob& job) {
  std::string text;
  for (const auto& chunk : job.chunks) text += RunsText(chunk, Steps::kWritten) + "\n";
  return text;
}

void WriteScripts(const FarmJob& job) {
  WriteTextFile(job.folder / "chunks.txt", ChunkListText(job));
  WriteScript(job.ChunkScript(), ChunkScriptText(job));
  WriteScript(job.JoinScript(), JoinScriptText(job));
}

std::string ParallelLine(const FarmJob& job, const std::vector<std::int32_t>& chunks) {
  std::string numbers;
  const auto isRun = static_cast<std::size_t>(chunks.back() - chunks.front()) + 1 == chunks.size();
  if (isRun) {
    numbers = fmt::format("$(seq {} {})", chunks.front(), chunks.back());
  } else {
    numbers = fmt::format("{}", fmt::join(chunks, " "));
  }
  // parallel hands its command to a shell, so the name is quoted once for each of the two.
  return fmt::format("parallel --jobs 100% {} {{}} ::: {}; {}", ShellWord(ShellWord(job.ChunkScript().string())),
                     numbers, ShellWord(job.JoinScript().string()));
}

}  // namespace orvandel::cli
