// A frame is reached from the live list, from the resume snapshot or from tick 0, whichever lies latest at or before
// it; whole ticks first, then a snapshot, then the fraction of a tick that is left.
//
// One step: the emission phase grows by frequency x time, and a wave is born each time it reaches 1. Births lie inside
// the step: the producer point and the orientation move along their rates to each birth instant, and a wave enters the
// list already aged by the rest of the step. The i-th birth of a step happens at start + wait + i x period; its
// sampleTime counts from the start. Single or double precision of every operation decides the last bit of every
// wave: see each line.
#include "effect/sim/stepping.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <new>

#include "effect/base/float_rules.h"
#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"
#include "effect/sim/param_cache.h"
#include "effect/sim/ticks.h"
#include "effect/sim/wave_bytes.h"

namespace orvandel {
namespace {

constexpr double kTickSeconds = 0.03333333333333333;

// The valid range gives 17 births a step, the largest 16.16 number 1093. More can only come from a definition of
// another type, whose value may be so large that subtracting 1 from the phase does not change it.
constexpr float kMostBirthsAStep = 4096;

void RefuseEndlessOutlines(const WaveSettings& settings) {
  const bool rounds = settings.waveType == kPolygonWave;
  if (settings.expansion > kLargestExpansion || (rounds && settings.curveSize > kLargestCurveSize)) {
    throw AbortException(ORV_INVALID_CALLBACK);
  }
}

float RoundToFloat(double value) { return static_cast<float>(value); }

std::int32_t HostTimeOfSeconds(const EffectContext& context, double seconds) {
  return TruncateToInt(static_cast<double>(context.inRecord->timeScale) * seconds);
}

// Change per second of the two settings that move between births.
struct Rates {
  Velocity<space::Fractions> producerPoint;
  float orientation;
};

Rates RatesOver(const WaveSettings& settings, const ParamValue* values, const EffectContext& context) {
  const FractionPoint point = ReadProducerPoint(values[kProducerPoint], context);
  const float orientation = ReadFloat(values[kOrientation]);
  return {{(point.x - settings.producerPoint.x) * 30.0F, (point.y - settings.producerPoint.y) * 30.0F},
          RoundToFloat((static_cast<double>(orientation) - static_cast<double>(settings.orientation)) * 30.0)};
}

void MoveAlong(WaveSettings& settings, const Rates& rates, float seconds) {
  settings.orientation += seconds * rates.orientation;
  Move(settings.producerPoint, rates.producerPoint, seconds);
}

void GiveBirths(WaveList& list, double startSeconds, double stepSeconds, const Rates& rates,
                const EffectContext& context) {
  WaveSettings& s = list.settings;
  const double frequency = static_cast<double>(s.frequency);
  const bool emits = s.frequency != 0;
  const float wait = emits ? RoundToFloat((1.0 - static_cast<double>(s.emitPhase)) / frequency) : 0.0F;
  const float period = emits ? RoundToFloat(1.0 / frequency) : 0.0F;
  float left = static_cast<float>(stepSeconds) - wait;
  MoveAlong(s, rates, wait);
  s.emitPhase = RoundToFloat(frequency * stepSeconds + static_cast<double>(s.emitPhase));
  if (s.emitPhase > kMostBirthsAStep) throw AbortException(ORV_INVALID_CALLBACK);
  double birth = startSeconds;
  while (s.emitPhase >= 1.0F) {
    s.sampleTime = HostTimeOfSeconds(context, birth);
    Wave& wave = list.Append();
    wave.eachFrame = s.setAt != 1;
    ApplySettings(list, wave);
    AdvanceWave(wave, left);
    left -= period;
    birth += static_cast<double>(period);
    MoveAlong(s, rates, period);
    s.emitPhase = RoundToFloat(static_cast<double>(s.emitPhase) - 1.0);
  }
}

void MakeList(Stepper& stepper) {
  DiscardList(stepper);
  stepper.list = ::new (HeapAllocateOrThrow(sizeof(WaveList))) WaveList;
}

// No waves, and the first about to be born. The parameters' settings come with the first run of steps.
void StartAfresh(Stepper& stepper) {
  MakeList(stepper);
  stepper.list->settings.emitPhase = 1.0F;
  stepper.time = 0;
}

void RestoreSnapshot(Stepper& stepper) {
  MakeList(stepper);
  const OrvUtilities& utilities = *stepper.context->inRecord->utilities;
  utilities.lockHandle(stepper.snapshotBlock);
  const auto* block = static_cast<const std::uint8_t*>(*stepper.snapshotBlock);
  std::uint32_t count = 0;
  std::memcpy(&count, block, sizeof(count));
  ByteReader reader(block + sizeof(count), count);
  try {
    ReadWaveList(reader, *stepper.list);
  } catch (...) {
    utilities.unlockHandle(stepper.snapshotBlock);
    throw;
  }
  utilities.unlockHandle(stepper.snapshotBlock);
  stepper.time = stepper.snapshotTime;
}

void SaveSnapshot(Stepper& stepper) {
  DiscardSnapshot(stepper);
  ByteWriter writer;
  WriteWaveList(*stepper.list, writer);
  const OrvUtilities& utilities = *stepper.context->inRecord->utilities;
  const auto count = static_cast<std::uint32_t>(writer.Length());
  const std::uint64_t size = std::uint64_t{count} + sizeof(count);
  stepper.snapshotBlock = size > 0x7FFFFFFF ? nullptr : utilities.newHandle(size);
  if (stepper.snapshotBlock == nullptr) throw AllocFailed::ForBytes(size);
  utilities.lockHandle(stepper.snapshotBlock);
  auto* block = static_cast<std::uint8_t*>(*stepper.snapshotBlock);
  std::memcpy(block, &count, sizeof(count));
  std::memcpy(block + sizeof(count), writer.Bytes(), count);
  stepper.snapshotTime = stepper.time;
  utilities.unlockHandle(stepper.snapshotBlock);
}

// --- Resume points, where the host keeps them

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

// At a whole tick. The host may decline: no frame depends on it.
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

// Restores the latest one at or before a tick if it is later than `best`.
bool TakeResumePoint(Stepper& stepper, double best, double atOrBefore) {
  EffectContext& context = *stepper.context;
  const OrvResumePointsService* service = context.services.ResumePoints();
  const void* bytes = nullptr;
  std::uint64_t size = 0;
  std::int32_t tick = 0;
  const OrvEffectRef ref = context.inRecord->effectRef;
  if (service == nullptr) return false;
  const ResumeTerms terms = ResumeTermsOf(stepper);
  if (terms.stamp == 0) return false;
  if (service->latest(ref, static_cast<std::int32_t>(atOrBefore), &tick, &bytes, &size) != 0) return false;
  if (bytes == nullptr || tick <= best || tick > atOrBefore) return false;
  ByteReader reader(static_cast<const std::uint8_t*>(bytes), static_cast<std::size_t>(size));
  WaveList kept;
  if (!(reader.Read<ResumeTerms>() == terms) || !ReadWaveList(reader, kept) || !IsPossible(kept)) return false;
  MakeList(stepper);
  stepper.list->settings = kept.settings;
  stepper.list->waves.swap(kept.waves);
  stepper.time = tick;
  return true;
}

// One pass of the step loop: asks the host, then runs a whole tick or the last fraction of one.
// False once the host has stopped the work.
bool RunOneStep(Stepper& stepper, double& segment, double switchPoint, std::size_t nextEntry, double& done,
                double total) {
  if (stepper.abortCode != 0) return false;
  EffectContext& context = *stepper.context;
  // The code takes effect before the next step: the one under way still completes.
  stepper.abortCode = context.CheckAbort();
  context.ReportProgress(TruncateToInt(done), TruncateToInt(total));
  // An entry's values apply from one tick before it, so that births inside this step are interpolated toward them.
  if (stepper.time >= switchPoint) LoadEntry(stepper, stepper.cacheEntries[nextEntry]);
  const ParamValue* values = stepper.simValues.data();
  if (segment >= 1) {
    SimulateStep(*stepper.list, stepper.time / kTicksPerSecond, kTickSeconds, values, context);
    stepper.time += 1;
    segment -= 1;
    done += 1;
    OfferResumePoint(stepper);
  } else {
    SimulateStep(*stepper.list, stepper.time / kTicksPerSecond, segment / kTicksPerSecond, values, context);
    stepper.time = stepper.target;  // the last step: nothing is reported after it
    segment = 0;
  }
  CheckInvariants(stepper);
  return true;
}

// Chooses where to start, then runs.
WaveList* Advance(Stepper& stepper) {
  if (stepper.time != std::floor(stepper.time)) DiscardList(stepper);
  const double wholeTarget = std::floor(stepper.target);
  double best = -1;
  if (stepper.time != -1 && stepper.time <= wholeTarget) {
    best = stepper.time;
  } else if (stepper.snapshotTime <= wholeTarget) {
    best = stepper.snapshotTime;
  }
  const bool resumed = best != wholeTarget && TakeResumePoint(stepper, best, wholeTarget);
  if (!resumed && best < 0) {
    StartAfresh(stepper);
  } else if (!resumed && best == stepper.snapshotTime) {
    RestoreSnapshot(stepper);
  }
  if (stepper.time != stepper.snapshotTime) DiscardSnapshot(stepper);
  CheckInvariants(stepper);

  stepper.startTime = stepper.time;
  const double total = stepper.target - stepper.time;
  double done = 0;
  RunSteps(stepper, wholeTarget - stepper.time, done, total);
  if (stepper.time == stepper.target || stepper.abortCode != 0) return stepper.list;
  if (stepper.snapshotTime != stepper.time) SaveSnapshot(stepper);
  RunSteps(stepper, stepper.target - wholeTarget, done, total);
  return stepper.list;
}

}  // namespace

void SimulateStep(WaveList& list, double startSeconds, double stepSeconds, const ParamValue* values,
                  const EffectContext& context) {
  list.settings.sampleTime = HostTimeOfSeconds(context, startSeconds);
  for (Wave& wave : list.waves) {
    if (wave.eachFrame) ApplySettings(list, wave);
    AdvanceWave(wave, static_cast<float>(stepSeconds));
  }
  GiveBirths(list, startSeconds, stepSeconds, RatesOver(list.settings, values, context), context);
}

void RunSteps(Stepper& stepper, double span, double& done, double total) {
  const double end = stepper.time + span;
  const auto& entries = stepper.cacheEntries;
  const auto isDue = [&](const CacheEntry& entry) { return entry.time <= stepper.time; };
  auto next = static_cast<std::size_t>(std::partition_point(entries.begin(), entries.end(), isDue) - entries.begin());
  LoadEntry(stepper, entries[next - 1]);  // there is one from tick 0 on
  while (stepper.time != end) {
    const bool hasNext = next < entries.size();
    double segment = (hasNext ? std::min(entries[next].time, end) : end) - stepper.time;
    const double switchPoint = hasNext ? entries[next].time - 1 : end + 1;
    FillWaveSettings(stepper.list->settings, stepper.simValues.data(), *stepper.context);
    RefuseEndlessOutlines(stepper.list->settings);
    while (segment != 0) {
      if (!RunOneStep(stepper, segment, switchPoint, next, done, total)) return;
    }
    ++next;
  }
}

WaveList* AdvanceToFrame(Stepper& stepper) {
  if (stepper.time == stepper.target) return stepper.list;
  stepper.abortCode = stepper.context->CheckAbort();
  if (stepper.abortCode != 0) return stepper.list;
  try {
    return Advance(stepper);
  } catch (...) {
    AbandonStepper(stepper);
    throw;
  }
}

}  // namespace orvandel
