#include "effect/sim/wave_bytes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace orvandel {
namespace {

static_assert(sizeof(UnitPoint) == 8 && sizeof(FractionPoint) == 8);  // x then y, as one append

// The fields of a list after its reserved word, in their order in the byte form. `visit` is called with each.
template <typename Settings, typename Visit>
void VisitListFields(Settings& s, Visit visit) {
  visit(s.expansion);
  visit(s.orientation);
  visit(s.startWidth);
  visit(s.endWidth);
  visit(s.opacity);
  visit(s.emitPhase);
  visit(s.color);
  visit(s.frequency);
  visit(s.fadeOut);
  visit(s.lifespan);
  visit(s.waveType);
  visit(s.setAt);
  visit(s.sides);
  visit(s.producerPoint);
  visit(s.starDepth);
  visit(s.curveSize);
  visit(s.curvyness);
  visit(s.valueChannel);
  visit(s.invertInput);
  visit(s.valueThreshold);
  visit(s.preBlur);
  visit(s.tolerance);
  visit(s.contour);
  visit(s.sourceCenter);
}

// The fields of a wave after its shape, up to the reserved word.
template <typename AnyWave, typename Visit>
void VisitWaveFields(AnyWave& w, Visit visit) {
  visit(w.age);
  visit(w.size);
  visit(w.origin);
  visit(w.velocity);
  visit(w.offset);
  visit(w.orientation);
  visit(w.spin);
  visit(w.rotation);
  visit(w.startWidth);
  visit(w.endWidth);
  visit(w.expansion);
  visit(w.lifespan);
  visit(w.fadeIn);
  visit(w.fadeOut);
  visit(w.color);
  visit(w.opacity);
  visit(w.profile);
  visit(w.waveType);
  visit(w.sides);
  visit(w.curveSize);
  visit(w.curvyness);
  visit(w.star);
  visit(w.starDepth);
  visit(w.sourceFingerprint[0]);
  visit(w.sourceFingerprint[1]);
  visit(w.valueChannel);
  visit(w.invertInput);
  visit(w.valueThreshold);
  visit(w.preBlur);
  visit(w.tolerance);
  visit(w.sourceCenter);
  visit(w.contour);
  visit(w.sampleTime);
}

// The bound lies beyond what the waves of two million ticks reach; NaN fails as well. Words are not checked: parameters
// may hand in any.
bool IsPossible(float number) { return std::abs(number) <= 1e10F; }
template <typename Pair>
bool IsPossible(const Pair& pair) requires requires {
  pair.x;
}
{ return IsPossible(pair.x) && IsPossible(pair.y); }
bool IsPossible(std::uint32_t) { return true; }
bool IsPossible(std::int32_t) { return true; }
bool IsPossible(bool) { return true; }

}  // namespace

void WriteWaveList(const WaveList& list, ByteWriter& writer) {
  writer.Append(0.0F);
  VisitListFields(list.settings, [&](const auto& field) { writer.Append(field); });
  writer.Append(static_cast<std::uint32_t>(list.waves.size()));
  for (const Wave& wave : list.waves) WriteWave(wave, writer);
}

void WriteWave(const Wave& wave, ByteWriter& writer) {
  writer.Append(wave.shapeValid);
  if (wave.shapeValid) {
    writer.Append(static_cast<std::int32_t>(wave.shape.size()));
    for (const UnitPoint& point : wave.shape) writer.Append(point);
  }
  VisitWaveFields(wave, [&](const auto& field) { writer.Append(field); });
  writer.Append(std::uint32_t{0});
  writer.Append(wave.eachFrame);
}

bool ReadWaveList(ByteReader& reader, WaveList& list) {
  reader.Read<float>();
  VisitListFields(list.settings, [&](auto& field) { reader.ReadInto(field); });
  for (auto count = reader.Read<std::int32_t>(); count >= 1 && !reader.HasFailed(); --count) {
    ReadWave(reader, list.Append());
  }
  return !reader.HasFailed();
}

void ReadWave(ByteReader& reader, Wave& wave) {
  reader.ReadInto(wave.shapeValid);
  if (wave.shapeValid) {
    const auto count = reader.Read<std::int32_t>();
    if (count < 0 || static_cast<std::size_t>(count) > reader.Left() / sizeof(UnitPoint)) return reader.Fail();
    wave.shape.resize(static_cast<std::size_t>(count));
    for (UnitPoint& point : wave.shape) reader.ReadInto(point);
  }
  VisitWaveFields(wave, [&](auto& field) { reader.ReadInto(field); });
  reader.Read<std::uint32_t>();
  reader.ReadInto(wave.eachFrame);
  wave.placedValid = false;
}

// Of the settings only the phase outlives the next step.
bool IsPossible(const WaveList& list) {
  const float phase = list.settings.emitPhase;
  return phase >= 0 && phase <= 1 && std::all_of(list.waves.begin(), list.waves.end(), [](const Wave& wave) {
           bool possible =
               wave.expansion <= kLargestExpansion && wave.curveSize <= kLargestCurveSize && wave.sampleTime >= 0;
           for (const UnitPoint& point : wave.shape) possible &= IsPossible(point);
           VisitWaveFields(wave, [&](const auto& field) { possible &= IsPossible(field); });
           return possible;
         });
}

}  // namespace orvandel
