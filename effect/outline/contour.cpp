#include "effect/outline/contour.h"

#include <algorithm>
#include <cstring>

#include "effect/base/errors.h"
#include "effect/base/float_rules.h"
#include "effect/outline/contour_lattice.h"
#include "effect/outline/simplify.h"
#include "effect/outline/unit_frame.h"
#include "effect/params/layer_image.h"
#include "effect/params/param_slot.h"
#include "effect/sim/trace_memory.h"

namespace orvandel {
namespace {

ContourJob JobFor(const Wave& wave, EffectContext& context, const ImageBuffer& source, const ImageBuffer& valueImage) {
  ContourJob job;
  job.valueChannel = wave.valueChannel;
  job.valueThreshold = wave.valueThreshold;
  job.preBlur = wave.preBlur;
  job.tolerance = wave.tolerance;
  job.invertInput = wave.invertInput;
  job.source = source;
  job.valueImage = valueImage;
  job.context = &context;
  return job;
}

bool TracedFrom(const Wave& wave, const Fingerprint& stamp) {
  return wave.sourceStamp[0] == stamp[0] && wave.sourceStamp[1] == stamp[1];
}

// The first set cell at or after `from`; the cell count when there is none.
std::size_t NextSetCell(const BoundaryLattice& lattice, std::size_t from) {
  const std::size_t end = lattice.cells.size();
  const void* hit = std::memchr(lattice.cells.data() + from, 1, end - from);
  if (hit == nullptr) return end;
  return static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - lattice.cells.data());
}

// A later contour takes the chain's place until the wanted one is there: with fewer than that, the last one stays.
// Those beyond it are only counted, erased and asked about.
std::int32_t ScanLattice(const ContourJob& job, std::int32_t wanted, BoundaryLattice& lattice, TracedContour& traced) {
  for (std::size_t cell = 0; (cell = NextSetCell(lattice, cell)) < lattice.cells.size();) {
    const std::size_t x = cell % lattice.width;
    const std::size_t y = cell / lattice.width;
    if (traced.found < wanted) {
      traced.chain.clear();
      TraceBoundary(lattice, x, y, traced.chain);
    }
    EraseBoundaryComponent(lattice, x, y);
    ++traced.found;
    if (const std::int32_t code = job.context->CheckAbort(); code != 0) return code;
  }
  return 0;
}

TraceSettings SettingsOf(const ContourJob& job, std::int32_t wanted) {
  const OrvInRecord& host = *job.context->inRecord;
  return {job.source.width,
          job.source.height,
          job.source.data != nullptr,
          job.valueImage.width,
          job.valueImage.height,
          job.valueChannel,
          job.valueThreshold,
          job.preBlur,
          job.invertInput,
          wanted,
          RatioValue(host.downsampleX),
          RatioValue(host.downsampleY)};
}

void AskAgain(EffectContext& context, std::int64_t questions) {
  for (; questions > 0; --questions) {
    if (const std::int32_t code = context.CheckAbort(); code != 0) throw AbortException(code);
  }
}

// The fingerprint of a wave's picture, and whether the sequence's memory has just been found to hold that picture.
struct Sight {
  TraceMemory* memory;
  bool remembered;
  Fingerprint stamp;
};

Sight LookAt(ParamSlot& slot, const ImageBuffer& source, EffectContext& context) {
  TraceMemory* const memory = TracesOf(context);
  const bool remembered = memory != nullptr && memory->HoldsLayer(slot);
  // The fingerprint of a picture narrower than its strides may depend on what lies behind the rows.
  constexpr std::int32_t kNarrow = 16;
  const bool knowsStamp = remembered && source.width >= kNarrow;
  return {memory, remembered, knowsStamp ? memory->Stamp() : FingerprintImage(source)};
}

TracedContour TraceOrRecall(const ContourJob& job, ParamSlot& slot, std::int32_t wanted, const Sight& sight) {
  TraceMemory* const memory = sight.memory;
  const TraceSettings settings = SettingsOf(job, wanted);
  TracedContour traced;
  if (sight.remembered && memory->HasSettings(settings)) {
    AskAgain(*job.context, memory->Questions());
    traced.found = memory->Found();
    traced.chain = memory->Chain();
    return traced;
  }
  if (const std::int32_t code = TraceContours(job, wanted, traced); code != 0) throw AbortException(code);
  if (memory != nullptr) {
    // One question a row and a column of the blur, one after the lattice, one a contour.
    const std::int64_t questions = BlurQuestions(job) + 1 + traced.found;
    memory->Remember(settings, job.source, sight.stamp, traced.chain, traced.found, questions);
    memory->NoteLayer(slot);
  }
  return traced;
}

}  // namespace

std::int32_t TraceContours(const ContourJob& job, std::int32_t wanted, TracedContour& traced) {
  ExtractValueChannel(job);
  if (const std::int32_t code = BlurValueImage(job); code != 0) return code;
  BoundaryLattice lattice;
  BuildBoundaryLattice(job.valueImage, TruncateTo<std::uint16_t>(job.valueThreshold * 256.0F), lattice);
  if (const std::int32_t code = job.context->CheckAbort(); code != 0) return code;
  return ScanLattice(job, std::max(wanted, 1), lattice, traced);
}

bool BuildContourShape(Wave& wave, EffectContext& context) {
  ParamSlot& sourceSlot = AcquireSourceSlot(context, wave.sampleTime);
  const ImageBuffer source = SlotImage(sourceSlot);
  const Sight sight = LookAt(sourceSlot, source, context);
  const Fingerprint& stamp = sight.stamp;
  if (wave.shapeValid && TracedFrom(wave, stamp)) return false;

  wave.shape.clear();
  wave.shapeValid = false;
  const ValueImage values = PrepareValueImage(source, context);
  const ContourJob job = JobFor(wave, context, source, values.view);
  const TracedContour traced = TraceOrRecall(job, sourceSlot, static_cast<std::int32_t>(wave.contour), sight);
  CheckIn(sourceSlot);

  // Without a contour the old stamp stays, so that the next update looks again.
  if (traced.found > 0) {
    PictureOutline thinned;
    SimplifyPolyline(traced.chain, thinned, job.tolerance);
    MoveToUnitFrame(thinned, PixelsOf<space::Picture>(wave.sourceCenter, source.width, source.height), wave.shape);
    wave.sourceStamp[0] = stamp[0];
    wave.sourceStamp[1] = stamp[1];
  }
  wave.shapeValid = true;
  return true;
}

}  // namespace orvandel
