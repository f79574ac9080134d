#include "plugins/bridge/player.h"

#include <fmt/format.h>

#include "plugins/bridge/effect_pool.h"
#include "plugins/bridge/performance.h"
#include "stage/base/errors.h"
#include "stage/base/within_memory.h"
#include "stage/scene/param_values.h"

namespace orvandel::bridge {
namespace {

// The longest side of a frame: beyond it a picture's bytes no longer fit the effect's numbers.
constexpr std::int32_t kLongestSide = 30000;

Performance& PerformanceOf(EffectPool::Seat& seat, const FrameRequest& request) {
  if (seat.performance == nullptr || !seat.performance->Fits(request)) {
    seat.performance = nullptr;  // its sequences end before others begin
    seat.performance = std::make_unique<Performance>(seat.module, request);
  }
  seat.time = request.seconds;
  return *seat.performance;
}

// After a failure nothing is known of the performance but that it can be ended.
template <typename Work>
void Perform(std::uint64_t tenant, const FrameRequest& request, const Work& work) {
  if (request.width < 1 || request.height < 1 || request.width > kLongestSide || request.height > kLongestSide) {
    throw stage::InputError(fmt::format("a frame of {} x {} pixels cannot be rendered", request.width, request.height));
  }
  stage::WithinMemory([&] {
    const EffectPool::Loan seat(EffectPool::The(), tenant, request.seconds);
    try {
      work(PerformanceOf(*seat, request));
    } catch (const stage::Interrupted&) {
      throw;
    } catch (...) {
      seat->performance = nullptr;
      throw;
    }
  });
}

}  // namespace

Player::Player() : tenant_(EffectPool::The().NewTenant()) {}

Player::~Player() { EffectPool::The().Forget(tenant_); }

void Player::Render(const FrameRequest& request, const Rows& rows) const {
  Perform(tenant_, request, [&](Performance& performance) { performance.Render(request, rows); });
}

stage::Picture16 Player::Render16(const FrameRequest& request) const {
  stage::Picture16 picture;
  Perform(tenant_, request, [&](Performance& performance) { picture = performance.Render16(request); });
  return picture;
}

const stage::ParamCatalog& Catalog() { return EffectPool::The().Catalog(); }

stage::Value DefaultOf(const stage::ParamInfo& info) {
  stage::Scene unit;  // a layer of one pixel: points come out in fractions
  unit.width = unit.height = 1;
  return stage::DefaultValue(info, unit);
}

}  // namespace orvandel::bridge
