// Queues strokes and draws them with the kernels: the same bytes as the plain code, many times faster.
//
// Queued strokes are drawn band by band: all of them in the first band of rows, in their order, then all in the second.
// A pixel sees the same blends in the same order. One block of memory for the strokes and one for the
// band serve the whole frame, and rows are cleared just before they are drawn on. Strokes that fold back into the
// picture at its upper or lower edge are not queued: their bands touch rows of other bands.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/render/fast/kernels.h"
#include "effect/render/fast/stroke_record.h"

namespace orvandel {

class StrokeQueue {
 public:
  // Without kernels it only clears the picture.
  StrokeQueue(const ImageBuffer& output, const fast::Kernels* kernels) : output_(output), kernels_(kernels) {}
  StrokeQueue(const StrokeQueue&) = delete;
  StrokeQueue& operator=(const StrokeQueue&) = delete;
  ~StrokeQueue();  // queued strokes are not drawn

  // The picture counts as transparent black from here on; its rows are cleared when strokes come to them.
  void ClearFirst() { clearFirst_ = true; }

  // Queues or draws the stroke along `points` (thinned, clockwise on the screen). Returns false, before anything is
  // drawn or reported, when the stroke is for the plain code; otherwise `result` is 0 or the host's code that stopped
  // it.
  //
  // Reports the rows to the host, in the plain scan's order and number. When the host stops at one, the rows up to it
  // are still drawn. Throws AllocFailed only before the first report.
  bool Add(EffectContext& context, const PlacedOutline& points, const StrokeLook& look, std::int32_t& result);

  // Draws the queued strokes. Allocates nothing.
  void Flush();

 private:
  // Unlike Flush, does not clear the picture when no stroke is queued.
  void FlushWaiting();
  void ChooseBands(std::int32_t quality, bool varies);
  std::byte* RoomFor(std::size_t bytes);
  void FitBandMemory(const fast::BandPlan& needed);
  bool SetUp(fast::StrokeRecord& stroke, const PlacedOutline& points, const StrokeLook& look) const;
  bool Folds(const fast::DrawJob& job) const;
  std::size_t BandsOfPicture() const { return static_cast<std::size_t>(output_.height / bandRows_) + 1; }
  void DrawAlone(fast::DrawJob& job);
  void Append(fast::StrokeRecord& stroke);
  void ClearIfFirst(std::int32_t first, std::int32_t end) const;
  void DrawBands(std::int32_t first, std::int32_t end);

  ImageBuffer output_;
  const fast::Kernels* kernels_;
  bool clearFirst_ = false;

  // The same for all queued strokes.
  std::int32_t quality_ = 0;
  bool varies_ = false;
  std::int32_t bandRows_ = 1;

  // Records of the queued strokes, one after the other.
  std::byte* block_ = nullptr;
  std::size_t blockBytes_ = 0, usedBytes_ = 0;
  fast::StrokeRecord* first_ = nullptr;
  fast::StrokeRecord* last_ = nullptr;

  std::byte* bandBlock_ = nullptr;
  fast::BandPlan bandPlan_;  // what the block was cut for
  fast::BandMemory band_{};
};

}  // namespace orvandel
