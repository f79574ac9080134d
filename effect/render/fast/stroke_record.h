// A stroke as the queue keeps it: one stretch of memory with the numbers the kernels work on.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/host/image_buffer.h"
#include "effect/render/fast/job/band_memory.h"
#include "effect/render/fast/job/stroke_job.h"
#include "effect/render/stroke/stroke_look.h"

namespace orvandel::fast {

// The profile as the kernels look it up.
struct FastTable {
  std::uint8_t alphas[kIndexEntries + 4] = {};  // lookups of whole words read behind the last entry
  std::uint16_t counts[kIndexEntries] = {};
  bool flat = true;

  FastTable(const ProfileTable& table, std::int32_t quality);
  bool DrawsNothing() const { return flat && counts[0] == 0; }
};

// The arrays lie behind the record.
struct StrokeRecord {
  FastTable table;
  SetUpJob setUp{};
  DrawJob job{};
  StrokeBounds bounds{};  // as the host hears of them
  StrokeRecord* next = nullptr;

  static std::size_t Bytes(std::size_t points, std::size_t bands);
  // `memory` begins on a cache line and has Bytes(points, bands) bytes.
  static StrokeRecord& Make(std::byte* memory, const FastTable& table, const PlacedOutline& points, std::size_t bands);

  // The job but for the band memory; `setUp` and `bounds` are done.
  void Plan(const ImageBuffer& output, const StrokeLook& look, std::int32_t bandRows);
  BandPlan Needs() const { return {job.words, job.quality, job.bandRows, !job.flat}; }
};

// Where the points go before the kernels set the stroke up.
void FillSetUp(SetUpJob& job, const PlacedOutline& points, const StrokeLook& look);

}  // namespace orvandel::fast
