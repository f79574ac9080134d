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
#include <new>

#include "effect/base/float_rules.h"
#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"
#include "effect/sim/param_cache.h"
#include "effect/sim/resume_points.h"
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
  HoldValuesFrom(stepper, 0);
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

// Restores the latest state that the host kept at or before a tick if it is later than `best`.
bool TakeResumePoint(Stepper& stepper, double best, double atOrBefore) {
  WaveList kept;
  const double tick = ReadResumePoint(stepper, best, atOrBefore, kept);
  if (tick < 0) return false;
  HoldValuesFrom(stepper, tick);
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
