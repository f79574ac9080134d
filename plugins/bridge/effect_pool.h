// The effects of this process: private modules, each lent to one frame at a time.
//
// The effect's state is module-wide and unguarded, editors call from many threads and make instances by the hundred. So
// modules are shared: a frame borrows one, and a module keeps the sequence of the instance that had it last, which
// makes that instance's next frame cheap. Nobody waits: when no module is idle, a new one is made, so that an instance
// may be rendered in the middle of another one's frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "stage/module/effect_module.h"

namespace orvandel::bridge {

class Performance;

class EffectPool {
 public:
  static EffectPool& The();

  struct Seat {
    Seat();
    ~Seat();
    stage::EffectModule module;
    std::uint64_t tenant = 0;  // whose performance it is; 0: nobody's
    double time = 0;           // of its last frame
    std::unique_ptr<Performance> performance;
  };

  // A seat for one frame. The tenant's own where one is idle, the one that stands latest before the time.
  class Loan {
   public:
    Loan(EffectPool& pool, std::uint64_t tenant, double seconds);
    ~Loan();
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    Seat& operator*() const { return *seat_; }
    Seat* operator->() const { return seat_.get(); }

   private:
    EffectPool& pool_;
    std::unique_ptr<Seat> seat_;
  };

  std::uint64_t NewTenant();
  // Drops what is kept for the tenant.
  void Forget(std::uint64_t tenant) noexcept;
  // Every idle module is unloaded.
  void DropIdle();

  // The effect's parameters, as it sets them up itself. Throws WorkError when it cannot be loaded.
  const stage::ParamCatalog& Catalog();

 private:
  std::unique_ptr<Seat> Take(std::uint64_t tenant, double seconds);
  std::unique_ptr<Seat> TakeAny(std::uint64_t tenant);
  void Return(std::unique_ptr<Seat> seat) noexcept;

  std::mutex guard_;
  std::vector<std::unique_ptr<Seat>> idle_;  // the longest idle first
  std::uint64_t tenants_ = 0;
  std::optional<stage::ParamCatalog> catalog_;
};

}  // namespace orvandel::bridge
