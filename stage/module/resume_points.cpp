#include "stage/module/resume_points.h"

#include <cstdlib>
#include <iterator>

namespace orvandel::stage {
namespace {

constexpr std::int32_t kGrid = 32;     // ticks
constexpr std::int32_t kShortWay = 3;  // what playing on takes at usual rates
constexpr std::size_t kMostStates = 96;
constexpr std::size_t kMostBytes = std::size_t{16} << 20;

}  // namespace

bool RecentPoints::Wants(std::int32_t tick, std::int32_t from, std::int32_t to) {
  const std::int32_t left = to - tick;
  const bool nearTheEnd = to - from >= kShortWay && left > 0 && left < kGrid && (left & (left - 1)) == 0;
  return (nearTheEnd || tick % kGrid == 0) && states_.count(tick) == 0;
}

void RecentPoints::Keep(std::int32_t tick, std::span<const std::uint8_t> bytes) {
  if (bytes.size() > kMostBytes / 4) return;
  std::vector<std::uint8_t> state(bytes.begin(), bytes.end());
  std::vector<std::uint8_t>& place = states_[tick];
  bytes_ += state.size() - place.size();
  place.swap(state);
  while (states_.size() > kMostStates || bytes_ > kMostBytes) DropOne();
}

// Of the inner ones; the first and the last have no gap to be measured.
void RecentPoints::DropOne() {
  auto worst = states_.begin();
  double least = -1;
  for (auto at = states_.begin(); at != states_.end(); ++at) {
    const auto next = std::next(at);
    if (at == states_.begin() || next == states_.end()) continue;
    const double gap = next->first - std::prev(at)->first;
    const double worth = gap / (1.0 + std::abs(at->first - asked_));
    if (least < 0 || worth < least) {
      least = worth;
      worst = at;
    }
  }
  bytes_ -= worst->second.size();
  states_.erase(worst);
}

std::span<const std::uint8_t> RecentPoints::Latest(std::int32_t atOrBefore, std::int32_t& tick) {
  asked_ = atOrBefore;
  auto after = states_.upper_bound(atOrBefore);
  if (after == states_.begin()) return {};
  --after;
  tick = after->first;
  return after->second;
}

void RecentPoints::Clear() {
  states_.clear();
  bytes_ = 0;
}

}  // namespace orvandel::stage
