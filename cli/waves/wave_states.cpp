// A wave grows, drifts and turns at rates that are its own from birth on, or everyone's at each moment. The second kind
// is summed up tick by tick once for all waves; what a wave has travelled is then the difference of two sums.
#include "cli/waves/wave_states.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "cli/waves/births.h"

namespace orvandel::cli {
namespace {

// How far a wave has come, or comes in a second.
struct Motion {
  double size = 0, x = 0, y = 0, turn = 0;
};
Motion operator+(const Motion& a, const Motion& b) { return {a.size + b.size, a.x + b.x, a.y + b.y, a.turn + b.turn}; }
Motion operator-(const Motion& a, const Motion& b) { return {a.size - b.size, a.x - b.x, a.y - b.y, a.turn - b.turn}; }
Motion operator*(const Motion& a, double f) { return {a.size * f, a.x * f, a.y * f, a.turn * f}; }

Motion RatesIn(const EmitterValues& values, std::int64_t tick) {
  const double direction = values.Number("Direction", tick) * std::numbers::pi / 180;  // 0 up, 90 to the right
  const double speed = values.Number("Velocity", tick);
  return {values.Number("Expansion", tick) * kTicksPerSecond, std::sin(direction) * speed, -std::cos(direction) * speed,
          values.Number("Spin", tick)};
}

double FadedOpacity(const EmitterValues& values, std::int64_t tick, double age, double lifespan) {
  const double fadeIn = std::min(values.Number("Fade-in Time", tick), lifespan);
  const double fadeOut = std::min(values.Number("Fade-out Time", tick), lifespan);
  double factor = 1;
  if (fadeIn > 0) factor = std::min(factor, age / fadeIn);
  if (fadeOut > 0) factor = std::min(factor, (lifespan - age) / fadeOut);
  return factor * values.Number("Opacity", tick);
}

// As the effect takes a slider's value: cut to 1/65536, then rounded to single precision.
float AsFixedFloat(double value) { return static_cast<float>(std::trunc(value * 65536) / 65536); }

class Reckoning {
 public:
  Reckoning(const EmitterValues& values, double endTicks) : values_(values), endTicks_(endTicks) {
    const auto steps = static_cast<std::int64_t>(std::ceil(endTicks));
    lastTick_ = std::max<std::int64_t>(steps - 1, 0);
    sums_.resize(static_cast<std::size_t>(steps) + 1);
    for (std::int64_t tick = 0; tick < steps; ++tick) {
      const auto at = static_cast<std::size_t>(tick);
      sums_[at + 1] = sums_[at] + RatesIn(values, tick) * (EndOf(tick) - static_cast<double>(tick) / kTicksPerSecond);
    }
  }

  WavesAtTime Run() {
    WavesAtTime waves;
    ForEachTick(values_, endTicks_, [&](const TickBirths& births) {
      waves.born += births.count;
      float ageInTick = births.firstAge;
      for (std::int64_t i = 0; i < births.count; ++i, ageInTick -= static_cast<float>(births.periodSeconds)) {
        Enter({births.tick, births.firstSeconds + static_cast<double>(i) * births.periodSeconds, ageInTick},
              waves.alive);
      }
    });
    return waves;
  }

 private:
  // Seconds.
  double EndOf(std::int64_t tick) const { return std::min(static_cast<double>(tick) + 1, endTicks_) / kTicksPerSecond; }

  struct Birth {
    std::int64_t tick;
    double seconds;
    float ageInTick;  // at the end of the tick
  };

  // Summed up in single precision like the effect's: a wave whose time is over to the digit may live for a tick more.
  float AgeNow(const Birth& born) const {
    float age = born.ageInTick;
    for (std::int64_t tick = born.tick + 1; tick <= lastTick_; ++tick) {
      age += static_cast<float>(std::min(1.0, endTicks_ - static_cast<double>(tick)) / kTicksPerSecond);
    }
    return age;
  }

  void Enter(const Birth& born, std::vector<WaveState>& alive) const {
    const std::int64_t tick = born.tick;
    const double birth = born.seconds;
    const bool keepsBirth = values_.SetAtBirth(tick);
    const std::int64_t settings = keepsBirth ? tick : lastTick_;  // the tick whose values it has now
    const double lifespan = values_.Number("Lifespan (sec)", settings);
    if (endTicks_ / kTicksPerSecond - birth > lifespan + 1 / kTicksPerSecond) return;
    if (AgeNow(born) >= AsFixedFloat(lifespan)) return;
    const double age = endTicks_ / kTicksPerSecond - birth;
    const Motion way = keepsBirth ? RatesIn(values_, tick) * age : SharedWay(tick, birth);
    const stage::PointValue origin = OriginOf(settings, keepsBirth ? birth : 0);
    WaveState& wave = alive.emplace_back();
    wave.ageSeconds = age;
    wave.centre = {origin.x + way.x, origin.y + way.y};
    wave.radius = way.size;
    wave.turnDegrees = OrientationOf(settings, keepsBirth ? birth : 0) + way.turn;
    const double start = values_.Number("Start Width", settings), end = values_.Number("End Width", settings);
    wave.strokeWidth = start + age / lifespan * (end - start);
    wave.opacity = FadedOpacity(values_, settings, age, lifespan);
    wave.color = values_.Color("Color", settings);
  }

  Motion SharedWay(std::int64_t tick, double birth) const {
    const auto after = static_cast<std::size_t>(tick) + 1;
    return RatesIn(values_, tick) * (EndOf(tick) - birth) + (sums_.back() - sums_[after]);
  }

  // Between two ticks both move evenly. `birth` 0: at the tick itself.
  double Beyond(std::int64_t tick, double birth) const {
    return birth == 0 ? 0 : birth * kTicksPerSecond - static_cast<double>(tick);
  }
  stage::PointValue OriginOf(std::int64_t tick, double birth) const {
    const double part = Beyond(tick, birth);
    const auto from = values_.Point("Producer Point", tick), to = values_.Point("Producer Point", tick + 1);
    return {from.x + part * (to.x - from.x), from.y + part * (to.y - from.y)};
  }
  double OrientationOf(std::int64_t tick, double birth) const {
    const double from = values_.Number("Orientation", tick), to = values_.Number("Orientation", tick + 1);
    return from + Beyond(tick, birth) * (to - from);
  }

  const EmitterValues& values_;
  double endTicks_;
  std::int64_t lastTick_ = 0;
  std::vector<Motion> sums_;  // of all ticks before
};

}  // namespace

WavesAtTime WavesAt(const stage::Scene& scene, const stage::Emitter& emitter, const stage::ParamCatalog& catalog,
                    std::int32_t hostTime) {
  const EmitterValues values(scene, emitter, catalog);
  const double endTicks = static_cast<double>(hostTime) * kTicksPerSecond / scene.time.timeScale;
  return Reckoning(values, endTicks).Run();
}

}  // namespace orvandel::cli
