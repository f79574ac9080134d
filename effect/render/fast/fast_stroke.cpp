// Memory, bounds and the host's progress calls around the kernels.

#include "effect/render/fast/fast_stroke.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>

#include "effect/base/float_rules.h"
#include "effect/heap/heap_containers.h"
#include "effect/render/fast/kernels.h"
#include "effect/render/pixel_writer.h"

namespace orvandel {
namespace {

using namespace fast;

// ---- which code
// ------------------------------------------------------------------------------------------------------

bool Runs(StrokeCode code) {
#if defined(__x86_64__)
  if (code == StrokeCode::kAvx2) return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
  if (code == StrokeCode::kAvx512) {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
           __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vnni") &&
           __builtin_cpu_supports("avx512bitalg") && __builtin_cpu_supports("bmi2");
  }
#endif
  // The kernels take a pixel's first byte for the lowest one of its word.
  const bool lowestFirst = std::endian::native == std::endian::little;
  return code == StrokeCode::kPlain || (code == StrokeCode::kPortable && lowestFirst);
}

StrokeCode BestStrokeCode() {
  for (const StrokeCode code : {StrokeCode::kAvx512, StrokeCode::kAvx2, StrokeCode::kPortable}) {
    if (Runs(code)) return code;
  }
  return StrokeCode::kPlain;
}

std::atomic<StrokeCode>& ChosenStrokeCode() {
  static std::atomic<StrokeCode> chosen{BestStrokeCode()};
  return chosen;
}

const Kernels* CurrentKernels() {
  switch (CurrentStrokeCode()) {
    case StrokeCode::kPlain:
      return nullptr;
#if defined(__x86_64__)
    case StrokeCode::kAvx2:
      return &kAvx2Kernels;
    case StrokeCode::kAvx512:
      return &kAvx512Kernels;
#endif
    default:
      return &kPortableKernels;
  }
}

// ---- memory
// ----------------------------------------------------------------------------------------------------------

// One block of the private heap, cut into arrays that begin on cache lines. Not cleared.
class Arena {
 public:
  Arena() = default;
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena() { heap::Free(block_); }

  // Called twice with the same `lay`, which takes its arrays one after the other: to learn the size, and to hand them
  // out.
  template <typename Lay>
  void Make(Lay lay) {
    lay(*this);
    block_ = static_cast<std::byte*>(HeapAllocateOrThrow(used_ + kLine));
    base_ = (reinterpret_cast<std::uintptr_t>(block_) + kLine - 1) / kLine * kLine;
    used_ = 0;
    lay(*this);
  }

  template <typename T>
  void Take(T*& array, std::size_t count) {
    array = reinterpret_cast<T*>(base_ + used_);
    used_ += (count * sizeof(T) + kLine - 1) / kLine * kLine;
  }

  // With room for entry -1 and for a whole vector behind the last entry.
  template <typename T>
  void TakePadded(T*& array, std::size_t count) {
    constexpr std::size_t kRoom = kLine / sizeof(T);
    Take(array, count + 3 * kRoom);
    if (base_ != 0) array += kRoom;
  }

 private:
  static constexpr std::size_t kLine = 64;

  std::byte* block_ = nullptr;
  std::uintptr_t base_ = 0;
  std::size_t used_ = 0;
};

void TakeEdges(Arena& arena, EdgeArrays& edges, std::size_t count) {
  arena.TakePadded(edges.x, count);
  arena.TakePadded(edges.dxdy, count);
  arena.TakePadded(edges.first, count);
  arena.TakePadded(edges.end, count);
}

void LaySetUp(Arena& arena, SetUpJob& job, std::size_t count) {
  StrokeEdges& edges = job.edges;
  for (float** array : {&job.layerX, &job.layerY, &job.unitX, &job.unitY, &edges.x, &edges.y, &edges.offsetX,
                        &edges.offsetY, &edges.rulingU, &edges.rulingDudy, &edges.rulingStart}) {
    arena.TakePadded(*array, count);
  }
  for (EdgeArrays* kind : {&edges.outline, &edges.offset, &edges.ruling}) TakeEdges(arena, *kind, count);
}

std::size_t CounterCount(const DrawJob& job) {
  return job.flat ? static_cast<std::size_t>(job.lineRoom) * static_cast<std::size_t>(kLineCounters)
                  : static_cast<std::size_t>(job.bandRows) * job.counterStride;
}

void LayBand(Arena& arena, DrawJob& job) {
  const auto rows = static_cast<std::size_t>(job.bandRows);
  const auto pieces = static_cast<std::size_t>(job.edges.count);
  arena.Take(job.shape, rows * job.wordStride);
  arena.Take(job.dirty, rows * job.dirtyStride);
  arena.Take(job.counters, CounterCount(job));
  arena.Take(job.lines, static_cast<std::size_t>(job.lineRoom));
  if (!job.flat) {
    arena.Take(job.twice, rows * job.wordStride / 2);
    arena.Take(job.badRows, rows);
    arena.Take(job.smallest, rows * job.wordStride / 2 * 64);
  }
  arena.Take(job.firstOfBand, static_cast<std::size_t>(job.bandCount));
  arena.TakePadded(job.nextInBand, pieces);
  arena.Take(job.live, pieces);
}

// What must be zero between bands.
void ClearBand(const DrawJob& job) {
  const auto rows = static_cast<std::size_t>(job.bandRows);
  std::memset(job.shape, 0, rows * job.wordStride * sizeof *job.shape);
  std::memset(job.dirty, 0, rows * job.dirtyStride * sizeof *job.dirty);
  // When flat, only what follows a line's last pixel must be 0, and only where lines are shorter than vectors.
  if (!job.flat || job.quality > 4 || job.quality == 3) {
    std::memset(job.counters, 0, CounterCount(job) * sizeof *job.counters);
  }
  if (!job.flat) std::memset(job.twice, 0, rows * job.wordStride / 2 * sizeof *job.twice);
}

// ---- one stroke
// ------------------------------------------------------------------------------------------------------

// Larger strokes than any picture needs are left to the plain code: the band memory is as wide as the stroke, and with
// Reflection on a stroke may be as wide as it likes.
constexpr std::int32_t kWidestStroke = 1 << 18;  // subsamples

struct FastTable {
  std::uint8_t alphas[kIndexEntries + 4] = {};  // lookups of whole words read behind the last entry
  std::uint16_t counts[kIndexEntries] = {};
  bool flat = true;

  FastTable(const ProfileTable& table, std::int32_t quality) {
    const std::uint16_t mark = quality == 1 ? kDrawnMark : 0;
    for (std::size_t i = 0; i < table.size(); ++i) {
      alphas[i] = static_cast<std::uint8_t>(table[i] & 0xFF);
      counts[i] = static_cast<std::uint16_t>(alphas[i] + mark);
      flat = flat && alphas[i] == alphas[0];
    }
  }
  bool DrawsNothing() const { return flat && counts[0] == 0; }
};

std::uint32_t ColorWord(OrvPixel color) {
  color.alpha = 0;
  std::uint32_t word;
  std::memcpy(&word, &color, sizeof word);
  return word;
}

StrokeBounds BoundsOf(const StrokeExtent& extent) {
  if (extent.xMin > extent.xMax) return {};
  return {TruncateToInt(std::floor(extent.xMin)), TruncateToInt(std::floor(extent.yMin)),
          TruncateToInt(std::ceil(extent.xMax)), TruncateToInt(std::ceil(extent.yMax))};
}

void SplitPoints(const Outline& points, const StrokeLook& look, Arena& arena, SetUpJob& job) {
  job.edges.count = static_cast<std::int32_t>(points.size());
  arena.Make([&](Arena& a) { LaySetUp(a, job, points.size()); });
  for (std::size_t i = 0; i < points.size(); ++i) {
    job.layerX[i] = points[i].x;
    job.layerY[i] = points[i].y;
  }
  constexpr std::size_t kTail = 17;  // a vector and the seam's entry
  std::fill_n(job.layerX + points.size(), kTail, 0.0F);
  std::fill_n(job.layerY + points.size(), kTail, 0.0F);
  job.width = look.width;
  job.columnOffset = look.transform.offsetX;
  job.rowOffset = look.transform.offsetY;
  job.scaleX = look.transform.scaleX;
  job.scaleY = look.transform.scaleY;
  job.farthest = kFarthestSubsample;
}

// Band memory for the job's columns and rows.
void SizeBands(DrawJob& job) {
  constexpr std::size_t kBandBytes = 64 * 1024;
  constexpr std::int32_t kPixelStep = 16;  // counters of a vector belong to one aligned vector of pixels
  const std::int32_t q = job.quality;
  job.pixelsPerWord = 64 / q;
  const auto firstPixel = FloorDivide(FloorDivide(job.lo, q), kPixelStep) * kPixelStep;
  job.firstPixel = static_cast<std::int32_t>(firstPixel);
  job.words = (job.hi - job.firstPixel * q) / (job.pixelsPerWord * q) + 1;

  constexpr std::size_t kWordsPerLine = 8;
  const std::size_t lines =
      (static_cast<std::size_t>(job.words + 1) * static_cast<std::size_t>(2 * q) + 7) / kWordsPerLine;
  job.wordStride = (lines | 1) * kWordsPerLine;  // odd: rows of a tall piece spread over the cache's sets
  job.dirtyStride = static_cast<std::size_t>(job.words + 1 + 63) / 64 * 64;
  job.lineRoom = job.words + 128;
  job.counterStride = static_cast<std::size_t>(job.words * job.pixelsPerWord) + 32;

  const auto firstRow = FloorDivide(job.firstRow, q);
  const auto pixelRows = static_cast<std::int32_t>(FloorDivide(job.endRow - 1, q) - firstRow + 1);
  const auto fitting = static_cast<std::int32_t>(kBandBytes / (job.wordStride * sizeof(std::uint64_t)));
  job.bandRows = std::clamp(fitting, 1, std::max(pixelRows, 1));
  job.bandCount = (pixelRows + job.bandRows - 1) / job.bandRows;
}

DrawJob MakeDrawJob(const ImageBuffer& output, const StrokeLook& look, const StrokeEdges& edges,
                    const StrokeBounds& bounds, const FastTable& table) {
  DrawJob job{};
  job.edges = edges;
  job.pixels = output.data;
  job.width = output.width;
  job.height = output.height;
  job.rowBytes = output.rowBytes;
  job.color = ColorWord(look.color);
  job.quality = look.quality;
  job.lo = bounds.xMin;
  job.hi = bounds.xMax + 1;
  job.firstRow = look.reflection ? bounds.yMin : std::max(bounds.yMin, 0);
  job.endRow = bounds.yMax + 1;
  job.alphas = table.alphas;
  job.counts = table.counts;
  job.flat = table.flat;
  return job;
}

// Reports every row that an edge takes part in; `endRow` comes down to the one at which the host stops. The outline is
// closed and every other edge hangs on it, so these rows have no gap between the topmost and the lowest point.
std::int32_t ReportRows(EffectContext& context, const StrokeBounds& bounds, const StrokeExtent& extent,
                        std::int32_t& endRow) {
  const std::int32_t first = TruncateToInt(std::ceil(extent.yMin));
  const std::int32_t end = std::min(TruncateToInt(std::ceil(extent.yMax)), bounds.yMax + 1);
  const auto progress = context.inRecord->callbacks.progress;
  const OrvEffectRef effect = context.inRecord->effectRef;
  std::int32_t y = first;
  for (; y < end && context.aborted == 0; ++y) {  // EffectContext::ReportProgress, without the calls around the call
    context.aborted = progress(effect, y - bounds.yMin, bounds.yMax - bounds.yMin);
  }
  // When the work has been stopped before, the first row is still drawn, as the row after which we hear of it.
  if (context.aborted != 0 && first < end) endRow = std::min(endRow, std::max(y, first + 1));
  return first < end ? context.aborted : 0;
}

}  // namespace

StrokeCode CurrentStrokeCode() { return ChosenStrokeCode().load(std::memory_order_relaxed); }

bool ChooseStrokeCode(StrokeCode code) {
  if (!Runs(code)) return false;
  ChosenStrokeCode().store(code, std::memory_order_relaxed);
  return true;
}

bool DrawStrokeFast(EffectContext& context, const ImageBuffer& output, const Outline& points, const StrokeLook& look,
                    std::int32_t& result) {
  result = 0;
  const Kernels* kernels = CurrentKernels();
  if (kernels == nullptr) return false;
  Arena setUpMemory;
  SetUpJob setUp{};
  SplitPoints(points, look, setUpMemory, setUp);
  if (!kernels->setUp(setUp)) return false;

  StrokeBounds bounds = BoundsOf(setUp.extent);
  if (!look.reflection) ClipBounds(bounds, output, look.quality);
  if (bounds.IsEmpty()) return true;
  const FastTable table(*look.table, look.quality);
  DrawJob job = MakeDrawJob(output, look, setUp.edges, bounds, table);
  if (job.hi - job.lo > kWidestStroke || job.endRow - job.firstRow > kWidestStroke) return false;

  const bool drawn = !table.DrawsNothing() && job.firstRow < job.endRow;
  Arena bandMemory;
  if (drawn) {
    SizeBands(job);
    bandMemory.Make([&](Arena& arena) { LayBand(arena, job); });
  }
  result = ReportRows(context, bounds, setUp.extent, job.endRow);
  if (drawn && job.firstRow < job.endRow) {
    ClearBand(job);
    kernels->draw(job);
  }
  return true;
}

}  // namespace orvandel
