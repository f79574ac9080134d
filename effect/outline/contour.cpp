#include "effect/outline/contour.h"

#include <algorithm>
#include <cstring>

#include "effect/base/float_rules.h"
#include "effect/outline/blur.h"
#include "effect/outline/contour_lattice.h"
#include "effect/outline/simplify.h"
#include "effect/outline/unit_frame.h"
#include "effect/params/layer_image.h"
#include "effect/params/param_slot.h"

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

bool TracedFrom(const Wave& wave, const Fingerprint& picture) {
  return wave.sourceFingerprint[0] == picture[0] && wave.sourceFingerprint[1] == picture[1];
}

// The first set cell at or after `from`; the cell count when there is none.
std::size_t NextSetCell(const BoundaryLattice& lattice, std::size_t from) {
  const std::size_t end = lattice.cells.size();
  const void* hit = std::memchr(lattice.cells.data() + from, 1, end - from);
  if (hit == nullptr) return end;
  return static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - lattice.cells.data());
}

// Each contour replaces the chain until the wanted one is found; with fewer contours the last one stays. Those beyond
// the wanted one are only counted and erased.
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

std::int32_t CheckAbortAgain(EffectContext& context, std::int64_t times) {
  std::int32_t code = 0;
  while (times-- > 0 && code == 0) code = context.CheckAbort();
  return code;
}

// A wave's source picture: its fingerprint, and whether the trace memory holds it.
struct SourcePicture {
  bool remembered;
  Fingerprint fingerprint;
};

SourcePicture Identify(ParamSlot& slot, const ImageBuffer& source, TraceMemory& traces) {
  const bool remembered = traces.HoldsLayer(slot);
  // The fingerprint of a picture narrower than its strides may depend on the bytes after each row.
  constexpr std::int32_t kNarrow = 16;
  const bool known = remembered && source.width >= kNarrow;
  return {remembered, known ? traces.PictureFingerprint() : FingerprintImage(source)};
}

std::int32_t TraceOrRecall(const ContourJob& job, ParamSlot& slot, std::int32_t wanted, const SourcePicture& picture,
                           TraceMemory& traces, TracedContour& traced) {
  const TraceSettings settings = SettingsOf(job, wanted);
  if (picture.remembered && traces.HasSettings(settings)) {
    traced.found = traces.Found();
    traced.chain = traces.Chain();
    return CheckAbortAgain(*job.context, traces.AbortChecks());
  }
  const std::int64_t checksBefore = job.context->abortChecks;
  if (const std::int32_t code = TraceContours(job, wanted, traced); code != 0) return code;
  traces.Remember(settings, job.source, picture.fingerprint, traced.chain, traced.found,
                  job.context->abortChecks - checksBefore);
  traces.NoteLayer(slot);
  return 0;
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

std::int32_t BuildContourShape(Wave& wave, EffectContext& context, TraceMemory& traces) {
  ParamSlot& sourceSlot = AcquireSourceSlot(context, wave.sampleTime);
  const ImageBuffer source = SlotImage(sourceSlot);
  const SourcePicture picture = Identify(sourceSlot, source, traces);
  if (wave.shapeValid && TracedFrom(wave, picture.fingerprint)) return 0;

  wave.shape.clear();
  wave.shapeValid = wave.placedValid = false;
  const ValueImage values = PrepareValueImage(source, context);
  const ContourJob job = JobFor(wave, context, source, values.view);
  TracedContour traced;
  const std::int32_t code =
      TraceOrRecall(job, sourceSlot, static_cast<std::int32_t>(wave.contour), picture, traces, traced);
  if (code != 0) return code;
  CheckIn(sourceSlot);

  // Without a contour the old fingerprint stays, so that the next update looks again.
  if (traced.found > 0) {
    PictureOutline thinned;
    SimplifyPolyline(traced.chain, thinned, job.tolerance);
    MoveToUnitFrame(thinned, PixelsOf<space::Picture>(wave.sourceCenter, source.width, source.height), wave.shape);
    std::copy(picture.fingerprint.begin(), picture.fingerprint.end(), wave.sourceFingerprint);
  }
  wave.shapeValid = true;
  return 0;
}

}  // namespace orvandel
