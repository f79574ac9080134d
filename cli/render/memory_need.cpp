#include "cli/render/memory_need.h"

#include <fmt/format.h>
#include <unistd.h>

#include <iterator>
#include <string_view>

#include "stage/base/errors.h"
#include "stage/films/film_limits.h"

namespace orvandel::cli {
namespace {

constexpr std::uint64_t kFixed = 32'000'000;  // of a process: the program, its libraries and the effect

struct EncoderNeed {
  std::string_view extension;
  std::uint64_t bytesPerPixel;
};
constexpr EncoderNeed kEncoders[] = {{".mp4", 130}, {".mov", 150}, {".webm", 280}, {".mkv", 200}, {".apng", 50}};

std::uint64_t EncoderBytesPerPixel(const std::string& extension) {
  for (const EncoderNeed& need : kEncoders) {
    if (need.extension == extension) return need.bytesPerPixel;
  }
  return kEncoders[2].bytesPerPixel;  // the dearest
}

std::uint64_t PhysicalMemory() {
  const long pages = sysconf(_SC_PHYS_PAGES), size = sysconf(_SC_PAGESIZE);
  return pages > 0 && size > 0 ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(size) : UINT64_MAX;
}

}  // namespace

MemoryNeed EstimateMemory(const stage::Scene& scene, const Output& output, const PictureForm& form, int jobs) {
  const auto pixels = static_cast<std::uint64_t>(form.width) * static_cast<std::uint64_t>(form.height);
  // The effect's output and input, the picture, and its encoded form.
  std::uint64_t perPixel = form.depth == 16 ? 34 : 18;
  if (scene.emitters.size() > 1) perPixel += 24 + 8 * (scene.emitters.size() - 1);  // each holds a picture or two
  if (scene.motionBlur.samples > 1) perPixel += 52;
  MemoryNeed need;
  need.jobs = jobs;
  need.process = kFixed + pixels * perPixel;
  // Finished frames wait in memory that all processes share.
  if (output.IsOrdered()) need.encoder = kFixed + pixels * 4 * (2 * static_cast<std::uint64_t>(jobs) + 1);
  if (output.kind == OutputKind::kFilm) need.encoder += pixels * EncoderBytesPerPixel(output.pattern.Extension());
  return need;
}

std::string MemoryText(std::uint64_t bytes) {
  const double gigabytes = static_cast<double>(bytes) / 1e9;
  if (gigabytes < 1) return fmt::format("{:.0f} MB", gigabytes * 1000);
  return gigabytes < 100 ? fmt::format("{:.1f} GB", gigabytes) : fmt::format("{:.0f} GB", gigabytes);
}

void RefuseTooMuchMemory(const stage::Scene& scene, const MemoryNeed& need, std::uint64_t maxMemory) {
  const std::uint64_t allowed = maxMemory == 0 ? PhysicalMemory() : maxMemory;
  if (need.Total() <= allowed) return;
  throw stage::InputError(fmt::format(
      "{}: the render takes about {} of memory, more than the {} that {}; lower --jobs, raise --downsample or raise "
      "--max-memory",
      scene.file.string(), MemoryText(need.Total()), MemoryText(allowed),
      maxMemory == 0 ? "this machine has" : "--max-memory allows"));
}

void RefuseImpossibleFilm(const stage::Scene& scene, const PictureForm& form) {
  if (stage::CanBeFilm(form.width, form.height)) return;
  throw stage::InputError(fmt::format(
      "{}: no film can be written with {} x {} pixels, {} x {} is about the most; raise --downsample or write pictures",
      scene.file.string(), form.width, form.height, stage::kLargestSquareFilm, stage::kLargestSquareFilm));
}

}  // namespace orvandel::cli
