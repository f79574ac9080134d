#include "cli/render/worker_pool.h"

#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <map>
#include <utility>

#include "cli/interrupt.h"
#include "cli/render/shared_slots.h"
#include "cli/render/worker_process.h"
#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

using Kind = WorkerReport::Kind;

// Of a worker: one order is queued while it draws another, finishes a third and keeps a fourth for later. Two may be
// queued, no more: a slow frame would hold up those behind it.
constexpr std::size_t kOrdersAhead = 4, kQueued = 2;
// How often the parent checks for a request to stop and for frames that take too long while no worker reports.
constexpr int kPollMilliseconds = 100;

struct Result {
  FrameOrder order;
  WorkerReport report;
};

}  // namespace

struct WorkerPool::Impl {
  explicit Impl(const PoolOptions& poolOptions)
      : options(poolOptions), slots(options.slotBytes, SlotCount(options.jobs)) {
    for (std::size_t slot = slots.Count(); slot > 0; --slot) freeSlots.push_back(static_cast<std::int32_t>(slot) - 1);
  }

  bool HasSlots() const { return slots.Count() > 0; }

  void AssignOrders() {
    for (std::size_t ahead = 1; ahead <= kOrdersAhead; ++ahead) {
      for (const auto& worker : workers) {
        if (next == frames->size() || (HasSlots() && freeSlots.empty())) return;
        const std::size_t orders = worker->Orders().size();
        if (orders >= ahead || orders - worker->StartedOrders() >= kQueued) continue;
        FrameOrder order{static_cast<std::int32_t>(next), (*frames)[next], 0};
        ++next;
        if (HasSlots()) {
          order.slot = freeSlots.back();
          freeSlots.pop_back();
        }
        worker->Send(order);
      }
    }
  }

  void CheckLimits() const {
    if (StopRequested()) throw stage::Interrupted();
    if (options.maxFrameSeconds <= 0) return;
    for (const auto& worker : workers) {
      if (worker->SecondsInFrame() <= options.maxFrameSeconds) continue;
      throw stage::WorkError(fmt::format("frame {} takes longer than the {} seconds that --max-frame-seconds allows",
                                         worker->Orders().front().frame, options.maxFrameSeconds));
    }
  }

  // Handles reports that have arrived; with `wait`, waits a moment for one.
  void ReceiveReports(bool wait) {
    std::vector<pollfd> watched;
    for (const auto& worker : workers) watched.push_back({worker->Ended() ? -1 : worker->Socket(), POLLIN, 0});
    const int count = poll(watched.data(), watched.size(), wait ? kPollMilliseconds : 0);
    for (std::size_t i = 0; count > 0 && i < watched.size(); ++i) {
      if (watched[i].revents != 0) TakeReport(*workers[i]);
    }
    CheckLimits();
  }

  void TakeReport(WorkerProcess& worker) {
    WorkerReport report;
    if (!ReceiveRecord(worker.Socket(), &report, sizeof report)) ThrowDeathOf(worker);
    switch (report.kind) {
      case Kind::kStarted:
        return worker.OrderStarted();
      case Kind::kNote:
        if (options.onNote) options.onNote(report.text);
        return;
      case Kind::kFinished: {
        const FrameOrder order = worker.OrderFinished();
        results.emplace(order.index, Result{order, report});
        return;
      }
      case Kind::kFailed:
        ThrowReported(report);
      case Kind::kEnded:
        return worker.SetEnded();
    }
  }

  [[noreturn]] static void ThrowDeathOf(WorkerProcess& worker) {
    const auto& orders = worker.Orders();
    std::string where = orders.empty() ? "" : fmt::format(" while it made frame {}", orders.front().frame);
    for (std::size_t i = 1; i < worker.StartedOrders(); ++i) {
      where += fmt::format("{} {}", i + 1 == worker.StartedOrders() ? " or" : ",", orders[i].frame);
    }
    throw stage::WorkError(fmt::format("a render process {}{}", worker.Death(), where));
  }

  // Hands on one result whose turn it is; false when there is none.
  bool HandOn(const std::function<void(const FinishedFrame&)>& take) {
    if (results.empty()) return false;
    const auto first = results.begin();
    if (HasSlots() && first->first != static_cast<std::int32_t>(delivered)) return false;
    const Result result = first->second;
    results.erase(first);
    ++delivered;
    const WorkerReport& report = result.report;
    FinishedFrame finished{result.order.frame, report.seconds, report.stages, report.waves, report.shown, {}};
    if (HasSlots()) finished.bytes = slots.Slot(static_cast<std::size_t>(result.order.slot));
    take(finished);
    if (HasSlots()) freeSlots.push_back(result.order.slot);
    return true;
  }

  void EndWorkers() {
    for (const auto& worker : workers) worker->NoMoreOrders();
    const auto ended = [](const auto& worker) { return worker->Ended(); };
    while (!std::all_of(workers.begin(), workers.end(), ended)) ReceiveReports(true);
  }

  PoolOptions options;
  SharedSlots slots;
  std::vector<std::unique_ptr<WorkerProcess>> workers;
  std::vector<std::int32_t> freeSlots;
  const std::vector<std::int32_t>* frames = nullptr;
  std::map<std::int32_t, Result> results;  // finished, not handed on yet; by index
  std::size_t next = 0, delivered = 0;     // in *frames
};

std::size_t SlotCount(int jobs) { return static_cast<std::size_t>(jobs + std::clamp(jobs / 2, 2, 4)); }

WorkerPool::WorkerPool(const PoolOptions& options, std::function<std::unique_ptr<FrameWork>()> makeWork)
    : impl_(std::make_unique<Impl>(options)) {
  for (int job = 0; job < options.jobs; ++job) {
    impl_->workers.push_back(std::make_unique<WorkerProcess>(impl_->slots, [&] {
      for (const auto& elder : impl_->workers) elder->CloseInChild();
      return makeWork();
    }));
  }
}

WorkerPool::~WorkerPool() {
  for (const auto& worker : impl_->workers) worker->Stop();  // all of them first, so that they end side by side
}

void WorkerPool::Run(const std::vector<std::int32_t>& frames, const std::function<void(const FinishedFrame&)>& take) {
  impl_->frames = &frames;
  while (impl_->delivered < frames.size()) {
    impl_->AssignOrders();
    impl_->ReceiveReports(
        impl_->results.empty() ||
        (impl_->HasSlots() && impl_->results.begin()->first != static_cast<std::int32_t>(impl_->delivered)));
    impl_->AssignOrders();
    impl_->HandOn(take);
  }
  impl_->EndWorkers();
}

}  // namespace orvandel::cli
