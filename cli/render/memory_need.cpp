#include "cli/render/memory_need.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <thread>

#include "cli/render/worker_pool.h"
#include "stage/base/errors.h"
#include "stage/films/film_limits.h"
#include "stage/films/film_out.h"
#include "stage/media/layer_pictures.h"
#include "stage/media/media_in.h"
#include "stage/media/sequence_rules.h"
#include "stage/reports/media_use.h"

namespace orvandel::cli {
namespace {

constexpr std::uint64_t kFixed = 30'000'000;  // of a process: the program, its libraries and the effect

struct EncoderNeed {
  std::string_view codec;
  std::uint64_t bytesPerPixel;
  std::uint64_t ofThread;  // beside them, for each
};
constexpr EncoderNeed kEncoders[] = {{"h264", 118, 0}, {"prores4444", 34, 27}, {"qtrle", 22, 0}, {"vp9", 321, 6},
                                     {"ffv1", 172, 0}, {"apng", 20, 0},        {"webp", 37, 0}};

std::uint64_t EncoderBytesPerPixel(std::string_view codec) {
  const auto need = std::find_if(std::begin(kEncoders), std::end(kEncoders),
                                 [&](const EncoderNeed& each) { return each.codec == codec; });
  return need->bytesPerPixel + need->ofThread * static_cast<std::uint64_t>(stage::EncoderThreads(codec));
}

bool IsWide(const stage::Scene& scene) {
  return scene.emitters.size() > 1 || scene.motionBlur.samples > 1 || scene.glow || scene.linear ||
         scene.blend != stage::Blend::kNormal;
}

// The steps of a frame come one after another: the largest decides. What they leave is held beside them, and so are the
// two frames before, which are packed meanwhile or wait for it.
std::uint64_t PictureBytesPerPixel(const stage::Scene& scene, const Output& output, int depth) {
  const std::uint64_t further = scene.emitters.size() - 1;
  const bool isBacked = !scene.background.IsNothing();
  const std::uint64_t packed = depth == 16 ? 24 : 12;
  const std::uint64_t narrowed = depth == 8 && IsWide(scene) ? 4 : 0;
  const std::uint64_t held = 8 + packed + narrowed + 9 * further + (isBacked ? 4 : 0);
  const std::uint64_t encoded = output.IsExr() ? 58 : depth == 16 ? 18 : 0;
  const std::uint64_t laid = further > 0 ? 20 : 0;
  const std::uint64_t blurred = scene.motionBlur.samples > 1 ? 49 + laid : 0;
  const std::uint64_t glowing = scene.glow ? 38 : 0;
  const std::uint64_t backed = isBacked && IsWide(scene) ? 24 : 0;
  return held + std::max({encoded, laid, blurred, glowing, backed});
}

// A decoder of films holds some pictures for each of its threads; of a layer that moves, the pictures that the waves
// alive were born with are kept.
std::uint64_t BytesOf(const MediumSize& medium, std::int32_t frames) {
  const std::uint64_t decoder = 12 + 3 * std::clamp<std::uint64_t>(std::thread::hardware_concurrency(), 1, 16);
  if (!medium.moves) return medium.pixels * (medium.keepsSize ? 12 : 6);
  if (!medium.isTraced) return medium.pixels * (decoder + 2);
  const std::uint64_t kept = medium.pixels * 4 * static_cast<std::uint64_t>(frames);
  return medium.pixels * (decoder + 36) + std::min<std::uint64_t>(kept, stage::LayerPictures::kMostBytes);
}

std::uint64_t PhysicalMemory() {
  const long pages = sysconf(_SC_PHYS_PAGES), size = sysconf(_SC_PAGESIZE);
  return pages > 0 && size > 0 ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(size) : UINT64_MAX;
}

}  // namespace

std::vector<MediumSize> MediaSizes(const stage::Scene& scene, const stage::ParamCatalog& catalog) {
  std::vector<MediumSize> sizes;
  const auto add = [&](const stage::Media& medium, bool isTraced, bool keepsSize) {
    const auto source = stage::OpenMedia(medium, scene.time);
    const stage::Picture picture = source->Decode(source->KeyAt(0));
    sizes.push_back({static_cast<std::uint64_t>(picture.width) * static_cast<std::uint64_t>(picture.height),
                     source->Moves(), isTraced, keepsSize});
  };
  const auto traces = [&](const stage::Emitter& emitter) { return stage::TracesInput(scene, emitter, catalog); };
  const bool isTraced = std::any_of(scene.emitters.begin(), scene.emitters.end(), traces);
  if (scene.background.medium) add(*scene.background.medium, false, false);
  if (scene.input && isTraced) add(*scene.input, true, false);
  for (std::size_t i = 0; i < scene.layers.size(); ++i) {
    if (stage::IsLayerUsed(i, scene, catalog)) add(scene.layers[i], true, true);
  }
  return sizes;
}

MemoryNeed EstimateMemory(const stage::Scene& scene, const std::vector<MediumSize>& media, const Output& output,
                          const PictureForm& form, const std::string& codec, int jobs) {
  const auto pixels = static_cast<std::uint64_t>(form.width) * static_cast<std::uint64_t>(form.height);
  MemoryNeed need;
  need.jobs = jobs;
  need.encoder = kFixed / 2;
  need.process = kFixed + pixels * PictureBytesPerPixel(scene, output, form.depth);
  for (const MediumSize& medium : media) {
    need.process += BytesOf(medium, scene.time.frameCount);
    if (medium.moves) need.encoder += medium.pixels * 9;  // of having looked at it beforehand
  }
  // Finished frames wait in memory that all processes share.
  if (output.IsOrdered()) need.encoder += kFixed + pixels * 4 * SlotCount(jobs);
  if (output.kind == OutputKind::kFilm) {
    need.encoder += pixels * EncoderBytesPerPixel(stage::FilmKindOf(output.FileOf(0), codec).name);
  }
  return need;
}

std::string MemoryText(std::uint64_t bytes) {
  const double gigabytes = static_cast<double>(bytes) / 1e9;
  if (bytes < 1'000'000) return fmt::format("{} byte{}", bytes, bytes == 1 ? "" : "s");
  if (gigabytes < 1) return fmt::format("{:.0f} MB", gigabytes * 1000);
  return gigabytes < 100 ? fmt::format("{:.1f} GB", gigabytes) : fmt::format("{:.0f} GB", gigabytes);
}

std::uint64_t AllowedMemory(std::uint64_t maxMemory) { return maxMemory == 0 ? PhysicalMemory() : maxMemory; }

void RefuseTooMuchMemory(const stage::Scene& scene, const MemoryNeed& need, std::uint64_t maxMemory) {
  const std::uint64_t allowed = AllowedMemory(maxMemory);
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
