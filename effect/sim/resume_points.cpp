#include "effect/sim/resume_points.h"

#include <iterator>

#include "effect/sim/wave_bytes.h"

namespace orvandel {
namespace {

// Waves that no later frame shows. Only drawing removes them otherwise, so they would pile up while none is drawn.
void RemoveDeadWaves(WaveList& list) {
  for (auto at = list.waves.begin(); at != list.waves.end();) {
    const bool isDead = !at->eachFrame && at->age >= at->lifespan;
    at = isDead ? list.Remove(at) : std::next(at);
  }
}

// What a kept state was made for. One that was made for anything else is ignored, even if the host still keeps it.
struct ResumeTerms {
  std::uint64_t stamp;  // 0: the host promises nothing, so no state can be gone back to
  FrameTerms frame;
  bool operator==(const ResumeTerms&) const = default;
};

ResumeTerms ResumeTermsOf(const Stepper& stepper) { return {stepper.context->ChangeStamp(), stepper.state->terms}; }

struct KeptState {
  double tick;  // -1: none
  ByteReader waves;
};

KeptState LatestState(Stepper& stepper, double atOrBefore) {
  const KeptState kNone{-1, {nullptr, 0}};
  EffectContext& context = *stepper.context;
  const OrvResumePointsService* service = context.services.ResumePoints();
  if (service == nullptr) return kNone;
  const ResumeTerms terms = ResumeTermsOf(stepper);
  if (terms.stamp == 0) return kNone;
  const void* bytes = nullptr;
  std::uint64_t size = 0;
  std::int32_t tick = 0;
  const auto latest = static_cast<std::int32_t>(atOrBefore);
  if (service->latest(context.inRecord->effectRef, latest, &tick, &bytes, &size) != 0) return kNone;
  if (bytes == nullptr || tick < 0 || tick > atOrBefore) return kNone;
  ByteReader reader(static_cast<const std::uint8_t*>(bytes), static_cast<std::size_t>(size));
  if (!(reader.Read<ResumeTerms>() == terms)) return kNone;
  return {static_cast<double>(tick), reader};
}

}  // namespace

void OfferResumePoint(Stepper& stepper) {
  EffectContext& context = *stepper.context;
  const OrvResumePointsService* service = context.services.ResumePoints();
  const OrvEffectRef ref = context.inRecord->effectRef;
  const auto tick = static_cast<std::int32_t>(stepper.time);
  std::int32_t wanted = 0;
  const auto from = static_cast<std::int32_t>(stepper.startTime), to = static_cast<std::int32_t>(stepper.target);
  if (service == nullptr || service->wanted(ref, tick, from, to, &wanted) != 0 || wanted == 0) return;
  const ResumeTerms terms = ResumeTermsOf(stepper);
  if (terms.stamp == 0) return;
  try {
    RemoveDeadWaves(*stepper.list);
    ByteWriter writer;
    writer.Append(terms);
    WriteWaveList(*stepper.list, writer);
    service->keep(ref, tick, writer.Bytes(), static_cast<std::uint64_t>(writer.Length()));
  } catch (const AllocFailed&) {  // the frame does not need it
  }
}

double LatestResumeTick(Stepper& stepper, double atOrBefore) { return LatestState(stepper, atOrBefore).tick; }

double ReadResumePoint(Stepper& stepper, double best, double atOrBefore, WaveList& kept) {
  KeptState state = LatestState(stepper, atOrBefore);
  const bool serves = state.tick > best && ReadWaveList(state.waves, kept) && IsPossible(kept);
  return serves ? state.tick : -1;
}

}  // namespace orvandel
