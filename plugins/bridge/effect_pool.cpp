#include "plugins/bridge/effect_pool.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <thread>
#include <utility>

#include "plugins/bridge/built_in_effect.h"
#include "plugins/bridge/performance.h"

namespace orvandel::bridge {
namespace {

// More are idle only when an editor's threads have ended, or when it has more clips than it plays at a time.
std::size_t MostIdle() { return std::clamp<std::size_t>(2 * std::thread::hardware_concurrency(), 16, 64); }

// How far a sequence that has reached `stands` is from a frame at `asked`: one before it can go on from there, one
// beyond it has to start again.
double Distance(double stands, double asked) {
  constexpr double kBeginsAnew = 1e9;
  return stands <= asked ? asked - stands : kBeginsAnew + stands;
}

}  // namespace

EffectPool::Seat::Seat() : module(BuiltInEffect()) {}
EffectPool::Seat::~Seat() = default;

// Never destroyed, since an editor may call until its very end; but what it holds goes when the plug-in is unloaded.
EffectPool& EffectPool::The() {
  static auto* const pool = new EffectPool;
  static const struct Sweeper {
    ~Sweeper() { pool->DropIdle(); }
  } sweeper;
  return *pool;
}

EffectPool::Loan::Loan(EffectPool& pool, std::uint64_t tenant, double seconds)
    : pool_(pool), seat_(pool.Take(tenant, seconds)) {}

EffectPool::Loan::~Loan() { pool_.Return(std::move(seat_)); }

std::unique_ptr<EffectPool::Seat> EffectPool::Take(std::uint64_t tenant, double seconds) {
  std::unique_ptr<Seat> seat;
  {
    const std::lock_guard lock(guard_);
    auto best = idle_.end();
    for (auto at = idle_.begin(); at != idle_.end(); ++at) {
      if ((*at)->tenant != tenant) continue;
      if (best == idle_.end() || Distance((*at)->time, seconds) < Distance((*best)->time, seconds)) best = at;
    }
    // Another tenant's is taken once as many are idle as may be kept.
    const bool full = idle_.size() >= MostIdle();
    if (best == idle_.end()) {
      best = std::find_if(idle_.begin(), idle_.end(), [&](const auto& each) { return full || each->tenant == 0; });
    }
    if (best != idle_.end()) {
      seat = std::move(*best);
      idle_.erase(best);
    }
  }
  if (seat == nullptr) seat = std::make_unique<Seat>();
  if (seat->tenant != tenant) seat->performance = nullptr;
  seat->tenant = tenant;
  return seat;
}

// Without memory to keep the seat, it is dropped.
void EffectPool::Return(std::unique_ptr<Seat> seat) noexcept {
  std::unique_ptr<Seat> dropped;  // unloaded outside the lock
  const std::lock_guard lock(guard_);
  try {
    idle_.push_back(std::move(seat));
  } catch (const std::bad_alloc&) {
    dropped = std::move(seat);
    return;
  }
  if (idle_.size() > MostIdle()) {
    dropped = std::move(idle_.front());
    idle_.erase(idle_.begin());
  }
}

std::uint64_t EffectPool::NewTenant() {
  const std::lock_guard lock(guard_);
  return ++tenants_;
}

std::unique_ptr<EffectPool::Seat> EffectPool::TakeAny(std::uint64_t tenant) {
  const std::lock_guard lock(guard_);
  const auto found = std::find_if(idle_.begin(), idle_.end(), [&](const auto& each) { return each->tenant == tenant; });
  if (found == idle_.end()) return nullptr;
  std::unique_ptr<Seat> seat = std::move(*found);
  idle_.erase(found);
  return seat;
}

void EffectPool::Forget(std::uint64_t tenant) noexcept {
  while (std::unique_ptr<Seat> seat = TakeAny(tenant)) {
    seat->performance = nullptr;
    seat->tenant = 0;
    Return(std::move(seat));
  }
}

void EffectPool::DropIdle() {
  std::vector<std::unique_ptr<Seat>> dropped;
  const std::lock_guard lock(guard_);
  dropped.swap(idle_);
}

const stage::ParamCatalog& EffectPool::Catalog() {
  {
    const std::lock_guard lock(guard_);
    if (catalog_) return *catalog_;
  }
  const Loan seat(*this, 0, 0);
  const std::lock_guard lock(guard_);
  if (!catalog_) catalog_ = seat->module.Catalog();
  return *catalog_;
}

}  // namespace orvandel::bridge
