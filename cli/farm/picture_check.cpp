#include "cli/farm/picture_check.h"

#include <fmt/format.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <system_error>
#include <thread>

#include "cli/interrupt.h"
#include "cli/render/content_hash.h"
#include "cli/render/png_form.h"
#include "stage/base/errors.h"
#include "stage/stills/png_file.h"

namespace orvandel::cli {
namespace {

struct Found {
  bool isMissing = false;
  std::string reason;  // empty: the picture is whole
  std::string hash;
};

std::string SizeFault(const FarmJob& job, std::int32_t width, std::int32_t height, int depth) {
  if (width == job.form.width && height == job.form.height && depth == job.form.depth) return {};
  return fmt::format("is {} x {} with {} bits a channel, not {} x {} with {}", width, height, depth, job.form.width,
                     job.form.height, job.form.depth);
}

Found Look(const FarmJob& job, std::int32_t frame) {
  const std::filesystem::path file = job.PictureOf(frame);
  std::error_code error;
  if (!std::filesystem::exists(file, error)) return {true, file.string() + ": does not exist", {}};
  try {
    const auto form = FormOfPng(file);
    if (!form) return {false, file.string() + ": is not a complete PNG picture with alpha", {}};
    if (std::string fault = SizeFault(job, form->width, form->height, form->depth); !fault.empty()) {
      return {false, file.string() + ": " + fault, {}};
    }
    ContentHash hash;
    stage::ReadPngSamples(
        file, [&](std::span<const std::uint8_t> samples) { hash.AddBytes(samples.data(), samples.size()); });
    return {false, {}, hash.Text()};
  } catch (const std::exception& failure) {
    return {false, failure.what(), {}};
  }
}

unsigned Processors() {
  cpu_set_t mask;
  CPU_ZERO(&mask);
  if (sched_getaffinity(0, sizeof mask, &mask) != 0) return 1;
  return static_cast<unsigned>(std::max(1, CPU_COUNT(&mask)));
}

// Looks at every frame from several threads; only the caller's thread reports progress.
std::vector<Found> LookAtAll(const FarmJob& job, const std::vector<std::int32_t>& frames, Progress& progress) {
  std::vector<Found> found(frames.size());
  std::atomic<std::size_t> next{0}, done{0};
  const auto work = [&] {
    for (std::size_t i; !StopRequested() && (i = next++) < frames.size(); ++done) found[i] = Look(job, frames[i]);
  };
  std::vector<std::thread> threads;
  try {
    for (unsigned i = 0; i < Processors(); ++i) threads.emplace_back(work);
  } catch (const std::system_error&) {  // the system has no more threads: fewer do the same
    if (threads.empty()) work();
  }
  while (!StopRequested() && done < frames.size()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const auto count = static_cast<std::int64_t>(done.load());
    progress.Frame({frames.front(), count, static_cast<std::int64_t>(frames.size()), 0, 0, {}});
  }
  for (std::thread& thread : threads) thread.join();
  if (done < frames.size()) throw stage::Interrupted();
  return found;
}

}  // namespace

std::vector<std::int32_t> FramesMissing(const FarmJob& job, const std::vector<std::int32_t>& chunk) {
  std::vector<std::int32_t> missing;
  for (const std::int32_t frame : chunk) {
    const auto form = FormOfPng(job.PictureOf(frame));
    if (!form || !SizeFault(job, form->width, form->height, form->depth).empty()) missing.push_back(frame);
  }
  return missing;
}

PictureCheck CheckPictures(const FarmJob& job, Progress& progress) {
  std::vector<std::int32_t> frames;
  for (const auto& chunk : job.chunks) frames.insert(frames.end(), chunk.begin(), chunk.end());
  const std::vector<Found> found = LookAtAll(job, frames, progress);
  PictureCheck check;
  check.list = "frame\twidth\theight\tpixels\n";
  ContentHash all;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (!found[i].reason.empty()) {
      check.faults.push_back({frames[i], found[i].isMissing, found[i].reason});
      continue;
    }
    const std::string line = fmt::format("{}\t{}\t{}\t{}\n", frames[i], job.form.width, job.form.height, found[i].hash);
    check.list += line;
    all.Add(line);
  }
  if (check.faults.empty()) check.fingerprint = all.Text();
  return check;
}

void RemoveDamaged(const FarmJob& job, const std::vector<std::int32_t>& frames) {
  for (const std::int32_t frame : frames) {
    const std::filesystem::path file = job.PictureOf(frame);
    if (!FormOfPng(file)) continue;  // a resumed render replaces those itself
    try {
      stage::ReadPng(file);
    } catch (const stage::InputError&) {
      std::error_code ignored;
      std::filesystem::remove(file, ignored);
    }
  }
}

}  // namespace orvandel::cli
