#include "effect/render/fast/stroke_queue.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "effect/base/float_rules.h"
#include "effect/base/heap_containers.h"
#include "effect/render/fast/job/arena.h"
#include "effect/render/stroke/picture.h"

namespace orvandel {

using namespace fast;

namespace {

// Size of the block for queued strokes: more would not stay in the cache from band to band.
constexpr std::size_t kBlockBytes = 1 << 19;

StrokeBounds BoundsOf(const StrokeExtent& extent) {
  if (extent.xMin > extent.xMax) return {};
  return {TruncateToInt(std::floor(extent.xMin)), TruncateToInt(std::floor(extent.yMin)),
          TruncateToInt(std::ceil(extent.xMax)), TruncateToInt(std::ceil(extent.yMax))};
}

// Reports the rows that some edge takes part in; `endRow` is lowered to the end of the row at which the host stops. The
// outline is closed and every other edge is connected to it, so these rows have no gap between the topmost and the
// lowest point.
std::int32_t ReportRows(EffectContext& context, const StrokeBounds& bounds, const StrokeExtent& extent,
                        std::int32_t& endRow) {
  const std::int32_t first = TruncateToInt(std::ceil(extent.yMin));
  const std::int32_t end = std::min(TruncateToInt(std::ceil(extent.yMax)), bounds.yMax + 1);
  const auto progress = context.inRecord->callbacks.progress;
  const OrvEffectRef effect = context.inRecord->effectRef;
  const std::int64_t step = context.RowsBetweenReports();
  // EffectContext::ReportProgress, without the calls around the call. When the work has been stopped before, the first
  // row is still drawn, as the row after which we hear of it.
  std::int64_t y = first;
  while (context.aborted == 0 && y < end) {
    context.aborted = progress(effect, static_cast<std::int32_t>(y) - bounds.yMin, bounds.yMax - bounds.yMin);
    if (context.aborted == 0) y += step;
  }
  if (context.aborted != 0 && first < end) endRow = std::min(endRow, static_cast<std::int32_t>(y) + 1);
  return first < end ? context.aborted : 0;
}

std::byte* AllocateAligned(std::size_t bytes) {
  return static_cast<std::byte*>(HeapAllocateOrThrow(bytes + Arena::kLine));
}

}  // namespace

StrokeQueue::~StrokeQueue() {
  heap::Free(block_);
  heap::Free(bandBlock_);
}

bool StrokeQueue::Add(EffectContext& context, const PlacedOutline& points, const StrokeLook& look,
                      std::int32_t& result) {
  result = 0;
  const FastTable table(*look.table, look.quality);
  ChooseBands(look.quality, !table.flat);
  const std::size_t bands = BandsOfPicture();
  StrokeRecord& stroke = StrokeRecord::Make(RoomFor(StrokeRecord::Bytes(points.size(), bands)), table, points, bands);
  if (!SetUp(stroke, points, look)) return false;
  if (stroke.bounds.IsEmpty()) return true;
  stroke.Plan(output_, look, bandRows_);
  DrawJob& job = stroke.job;
  if (job.hi - job.lo > kWidestStroke || job.endRow - job.firstRow > kWidestStroke) return false;

  const bool drawn = !table.DrawsNothing() && job.firstRow < job.endRow;
  const bool folds = Folds(job);
  HeapVector<std::int32_t> ownBands;
  if (drawn && folds) {
    ownBands.resize(static_cast<std::size_t>(job.bandCount));
    job.firstOfBand = ownBands.data();
  }
  if (drawn) FitBandMemory(stroke.Needs());
  result = ReportRows(context, stroke.bounds, stroke.setUp.extent, job.endRow);
  if (!drawn || job.firstRow >= job.endRow) return true;

  job.band = band_;
  kernels_->begin(job);
  folds ? DrawAlone(job) : Append(stroke);
  return true;
}

bool StrokeQueue::SetUp(StrokeRecord& stroke, const PlacedOutline& points, const StrokeLook& look) const {
  FillSetUp(stroke.setUp, points, look);
  if (!kernels_->setUp(stroke.setUp)) return false;
  stroke.bounds = BoundsOf(stroke.setUp.extent);
  if (!look.reflection) ClipBounds(stroke.bounds, output_, look.quality);
  return true;
}

bool StrokeQueue::Folds(const DrawJob& job) const {
  const std::int64_t rows = std::int64_t{output_.height} * job.quality;
  return job.firstRow < 0 || job.firstRow >= rows || job.endRow > rows + 1;
}

void StrokeQueue::ChooseBands(std::int32_t quality, bool varies) {
  varies = varies || (varies_ && quality == quality_);
  const std::int32_t rows = BandRows(output_.width, quality, varies);
  if (quality != quality_ || rows != bandRows_) FlushWaiting();
  quality_ = quality;
  varies_ = varies;
  bandRows_ = rows;
}

// After the queued strokes or, when the block is full, in their place.
std::byte* StrokeQueue::RoomFor(std::size_t bytes) {
  if (usedBytes_ + bytes > blockBytes_) FlushWaiting();
  if (bytes > blockBytes_) {
    heap::Free(block_);
    block_ = nullptr;
    blockBytes_ = 0;
    const std::size_t wanted = std::max(bytes, kBlockBytes);
    block_ = AllocateAligned(wanted);
    blockBytes_ = wanted;
  }
  return Arena::AlignUp(block_) + usedBytes_;
}

void StrokeQueue::FitBandMemory(const BandPlan& needed) {
  if (bandPlan_.Covers(needed)) return;
  FlushWaiting();
  heap::Free(bandBlock_);
  bandBlock_ = nullptr;
  bandPlan_ = {};
  BandPlan plan = needed;
  plan.varies = varies_;
  plan.words = std::max(plan.words, WordsOfPicture(output_.width, quality_));
  Arena measured;
  LayBand(measured, plan, band_);
  bandBlock_ = AllocateAligned(measured.Used());
  Arena arena(Arena::AlignUp(bandBlock_));
  LayBand(arena, plan, band_);
  ClearBand(plan, band_);
  bandPlan_ = plan;
}

void StrokeQueue::Append(StrokeRecord& stroke) {
  const std::size_t bytes = StrokeRecord::Bytes(static_cast<std::size_t>(stroke.job.edges.count), BandsOfPicture());
  usedBytes_ = static_cast<std::size_t>(reinterpret_cast<std::byte*>(&stroke) - Arena::AlignUp(block_)) + bytes;
  (last_ == nullptr ? first_ : last_->next) = &stroke;
  last_ = &stroke;
}

void StrokeQueue::DrawAlone(DrawJob& job) {
  Flush();
  for (std::int32_t band = 0; band < job.bandCount; ++band) kernels_->drawBand(job, band);
}

void StrokeQueue::ClearIfFirst(std::int32_t first, std::int32_t end) const {
  if (clearFirst_) ClearRows(output_, first, end);
}

void StrokeQueue::DrawBands(std::int32_t first, std::int32_t end) {
  ClearIfFirst(0, first * bandRows_);
  for (std::int32_t band = first; band < end; ++band) {
    ClearIfFirst(band * bandRows_, (band + 1) * bandRows_);
    for (StrokeRecord* stroke = first_; stroke != nullptr; stroke = stroke->next) {
      const std::int32_t own = band - stroke->job.firstBand;
      if (own >= 0 && own < stroke->job.bandCount) kernels_->drawBand(stroke->job, own);
    }
  }
  ClearIfFirst(end * bandRows_, output_.height);
}

void StrokeQueue::FlushWaiting() {
  if (first_ != nullptr) Flush();
}

void StrokeQueue::Flush() {
  std::int32_t first = std::numeric_limits<std::int32_t>::max(), end = 0;
  for (const StrokeRecord* stroke = first_; stroke != nullptr; stroke = stroke->next) {
    first = std::min(first, stroke->job.firstBand);
    end = std::max(end, stroke->job.firstBand + stroke->job.bandCount);
  }
  if (first_ == nullptr) {
    ClearIfFirst(0, output_.height);
  } else {
    DrawBands(first, end);
  }
  clearFirst_ = false;
  first_ = last_ = nullptr;
  usedBytes_ = 0;
}

}  // namespace orvandel
