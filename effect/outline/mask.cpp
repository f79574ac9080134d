#include "effect/outline/mask.h"

#include <cmath>

#include "effect/base/errors.h"
#include "effect/host/messages.h"
#include "effect/host/strings.h"
#include "effect/outline/simplify.h"
#include "effect/outline/unit_frame.h"
#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"

namespace orvandel {
namespace {

constexpr double kSampleStep = 1.0;             // layer pixels of arc length
constexpr std::int32_t kQueryResolution = 500;  // parameter steps per segment of the host's length queries
constexpr float kMaskTolerance = 0.15F;         // layer pixels
constexpr double kLongestSegment = 1e7;         // layer pixels; longer than any path on a layer

void ThrowOnFailure(std::int32_t code) {
  if (code != 0) throw AbortException(code);
}

// One segment of a path, prepared for length queries for as long as this lives.
class SegmentQuery {
 public:
  SegmentQuery(EffectContext& context, OrvPathRef path, std::int32_t segment)
      : service_(context.services.PathData()), effectRef_(context.inRecord->effectRef), path_(path), segment_(segment) {
    ThrowOnFailure(service_.prepareLengthQuery(effectRef_, path_, segment_, kQueryResolution, &query_));
  }
  ~SegmentQuery() { service_.releaseLengthQuery(effectRef_, path_, segment_, query_); }
  SegmentQuery(const SegmentQuery&) = delete;
  SegmentQuery& operator=(const SegmentQuery&) = delete;

  double Length() const {
    double length = 0;
    ThrowOnFailure(service_.segmentLength(effectRef_, path_, segment_, query_, &length));
    if (!std::isfinite(length) || length > kLongestSegment) throw AbortException(ORV_INVALID_CALLBACK);
    return length;
  }

  PicturePoint PointAt(double distance) const {
    double x = 0;
    double y = 0;
    ThrowOnFailure(service_.pointAtLength(effectRef_, path_, query_, segment_, distance, &x, &y));
    return {static_cast<float>(x), static_cast<float>(y)};
  }

 private:
  const OrvPathDataService& service_;
  OrvEffectRef effectRef_;
  OrvPathRef path_;
  std::int32_t segment_;
  OrvLengthQuery query_ = 0;
};

// A segment no longer than one step still yields its start.
void SampleSegment(const SegmentQuery& segment, double step, PictureOutline& target) {
  const double length = segment.Length();
  double distance = 0;
  do {
    target.push_back(segment.PointAt(distance));
    distance += step;
  } while (length > distance + step);
}

// Lends the mask at `hostTime` to the slot. False when the layer has no such mask.
bool HoldPath(ParamSlot& slot, std::int32_t hostTime) {
  // A refused check-out does not say which mask. Treating it as "none" would remove the waves for good.
  if (!slot.answered || slot.definition.type != ORV_PARAM_PATH) throw AbortException(ORV_INVALID_CALLBACK);
  SampleAt(slot, hostTime);
  if (slot.pathHandle != 0) return true;
  EffectContext& context = *slot.owner;
  const OrvInRecord& host = *context.inRecord;
  OrvPathRef path = 0;
  ThrowOnFailure(context.services.PathQuery().checkOutPath(host.effectRef, slot.definition.value.path.pathId, hostTime,
                                                           host.paramTimeStep, host.timeScale, &path));
  slot.pathHandle = path;
  return path != 0;
}

void RefuseOpenPath(EffectContext& context, OrvPathRef path) {
  std::int32_t open = 0;
  ThrowOnFailure(context.services.PathData().isOpen(context.inRecord->effectRef, path, &open));
  if (open == 0) return;
  SetMessage(*context.outRecord, GetString(context, kTextOpenPath));
  throw AbortException(ORV_MESSAGE_SET);
}

}  // namespace

void SamplePathPoints(ParamSlot& maskSlot, double step, PictureOutline& target) {
  EffectContext& context = *maskSlot.owner;
  std::int32_t segmentCount = 0;
  ThrowOnFailure(
      context.services.PathData().segmentCount(context.inRecord->effectRef, maskSlot.pathHandle, &segmentCount));
  for (std::int32_t i = 0; i < segmentCount; ++i) {
    SampleSegment(SegmentQuery(context, maskSlot.pathHandle, i), step, target);
    RefuseTooManyPoints(target);
  }
}

void BuildMaskShape(Wave& wave, EffectContext& context) {
  wave.shape.clear();
  wave.shapeValid = false;
  ParamSlot& slot = FilledSlot(context, kMask);
  if (HoldPath(slot, wave.sampleTime)) {
    RefuseOpenPath(context, slot.pathHandle);
    PictureOutline samples, thinned;
    SamplePathPoints(slot, kSampleStep, samples);
    SimplifyPolyline(samples, thinned, kMaskTolerance);
    // Measured from the middle of the layer, not of the mask: at the right size the wave lies on the mask.
    MoveToUnitFrame(thinned,
                    {static_cast<float>(context.input.width * 0.5), static_cast<float>(context.input.height * 0.5)},
                    wave.shape);
  }
  wave.shapeValid = true;
}

}  // namespace orvandel
