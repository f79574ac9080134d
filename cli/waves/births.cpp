#include "cli/waves/births.h"

#include <algorithm>
#include <cmath>

namespace orvandel::cli {

void ForEachTick(const EmitterValues& values, double endTicks, const std::function<void(const TickBirths&)>& visit) {
  constexpr std::string_view kFrequency = "Frequency";
  const bool constant = values.IsConstant(kFrequency);
  // Single precision where the effect has it: which tick a wave is born in hangs on the phase's last bit.
  float phase = 1.0F;
  float frequency = static_cast<float>(values.Number(kFrequency, 0));
  for (std::int64_t tick = 0; static_cast<double>(tick) < endTicks; ++tick) {
    if (!constant) frequency = static_cast<float>(values.Number(kFrequency, tick));
    const double span = std::min(1.0, endTicks - static_cast<double>(tick)) / kTicksPerSecond;
    TickBirths births{tick, 0, static_cast<double>(tick) / kTicksPerSecond, 0, static_cast<float>(span)};
    if (frequency != 0) {
      const double rate = static_cast<double>(frequency);
      const double wait = (1.0 - static_cast<double>(phase)) / rate;
      births.firstSeconds += wait;
      births.firstAge -= static_cast<float>(wait);
      births.periodSeconds = 1.0 / rate;
      phase = static_cast<float>(rate * span + static_cast<double>(phase));
    }
    while (phase >= 1.0F) {
      phase = static_cast<float>(static_cast<double>(phase) - 1.0);
      ++births.count;
    }
    visit(births);
  }
}

}  // namespace orvandel::cli
