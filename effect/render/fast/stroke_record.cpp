#include "effect/render/fast/stroke_record.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "effect/render/fast/job/arena.h"
#include "effect/render/stroke/picture.h"

namespace orvandel::fast {
namespace {

void CutEdges(Arena& arena, EdgeArrays& edges, std::size_t count) {
  arena.CutPadded(edges.x, count);
  arena.CutPadded(edges.dxdy, count);
  arena.CutPadded(edges.first, count);
  arena.CutPadded(edges.end, count);
}

void CutArrays(Arena& arena, SetUpJob& setUp, DrawJob& job, std::size_t points, std::size_t bands) {
  StrokeEdges& edges = setUp.edges;
  for (float** array : {&setUp.layerX, &setUp.layerY, &setUp.unitX, &setUp.unitY, &edges.x, &edges.y, &edges.offsetX,
                        &edges.offsetY, &edges.rulingU, &edges.rulingDudy, &edges.rulingStart}) {
    arena.CutPadded(*array, points);
  }
  for (EdgeArrays* kind : {&edges.outline, &edges.offset, &edges.ruling}) CutEdges(arena, *kind, points);
  arena.Cut(job.firstOfBand, bands);
  arena.CutPadded(job.nextInBand, points);
  arena.Cut(job.live, points);
}

std::uint32_t ColorWord(OrvPixel color) {
  color.alpha = 0;
  std::uint32_t word;
  std::memcpy(&word, &color, sizeof word);
  return word;
}

std::int32_t FloorOf(std::int32_t value, std::int32_t divisor) {
  return static_cast<std::int32_t>(FloorDivide(value, divisor));
}

}  // namespace

FastTable::FastTable(const ProfileTable& table, std::int32_t quality) {
  const std::uint16_t mark = quality == 1 ? kDrawnMark : 0;
  for (std::size_t i = 0; i < table.size(); ++i) {
    alphas[i] = static_cast<std::uint8_t>(table[i] & 0xFF);
    counts[i] = static_cast<std::uint16_t>(alphas[i] + mark);
    flat = flat && alphas[i] == alphas[0];
  }
}

std::size_t StrokeRecord::Bytes(std::size_t points, std::size_t bands) {
  Arena arena;
  StrokeRecord* record = nullptr;
  SetUpJob setUp{};
  DrawJob job{};
  arena.Cut(record, 1);
  CutArrays(arena, setUp, job, points, bands);
  return arena.Used();
}

StrokeRecord& StrokeRecord::Make(std::byte* memory, const FastTable& table, const PlacedOutline& points,
                                 std::size_t bands) {
  Arena arena(memory);
  StrokeRecord* record = nullptr;
  arena.Cut(record, 1);
  new (record) StrokeRecord{table};
  CutArrays(arena, record->setUp, record->job, points.size(), bands);
  return *record;
}

void FillSetUp(SetUpJob& job, const PlacedOutline& points, const StrokeLook& look) {
  job.edges.count = static_cast<std::int32_t>(points.size());
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

void StrokeRecord::Plan(const ImageBuffer& output, const StrokeLook& look, std::int32_t bandRows) {
  constexpr std::int32_t kPixelStep = 16;  // counters of a vector belong to one aligned vector of pixels
  const std::int32_t q = look.quality;
  job.edges = setUp.edges;
  job.pixels = output.data;
  job.width = output.width;
  job.height = output.height;
  job.rowBytes = output.rowBytes;
  job.color = ColorWord(look.color);
  job.quality = q;
  job.lo = bounds.xMin;
  job.hi = bounds.xMax + 1;
  // Where no outline edge crosses a row, nothing of it is inside.
  job.firstRow = std::max(look.reflection ? bounds.yMin : std::max(bounds.yMin, 0), setUp.firstCrossed);
  job.endRow = std::max(std::min(bounds.yMax + 1, setUp.endCrossed), job.firstRow);
  job.alphas = table.alphas;
  job.counts = table.counts;
  job.flat = table.flat;

  job.firstPixel = FloorOf(FloorOf(job.lo, q), kPixelStep) * kPixelStep;
  job.words = WordsFor(job.hi - job.firstPixel * q, q);
  const RowSizes sizes(job.words, q);
  job.wordStride = sizes.wordStride;
  job.dirtyStride = sizes.dirtyStride;
  job.counterStride = sizes.counterStride;
  job.columnRoom = sizes.columnRoom;

  job.bandRows = bandRows;
  job.firstBand = FloorOf(FloorOf(job.firstRow, q), bandRows);
  // A row just below the picture, which folds back into it, goes with the last band of the picture.
  const std::int32_t lastPixelRow = FloorOf(job.endRow - 1, q);
  const bool endsBelow = lastPixelRow == output.height && job.firstRow < std::int64_t{output.height} * q;
  job.bandCount = FloorOf(endsBelow ? lastPixelRow - 1 : lastPixelRow, bandRows) - job.firstBand + 1;
}

}  // namespace orvandel::fast
