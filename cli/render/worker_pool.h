// Processes that each render a share of the frames, and the parent that hands out frames and takes what comes back.
//
// Frames are handed out in their order, one or two ahead to every worker, so that a long frame holds up nobody else.
// A worker either writes its result to a file or puts it into a slot of shared memory; with slots, results arrive in
// the order of the frames, and the number of slots limits how far workers run ahead.
//
// Workers are forked while the process has a single thread, and each makes its own work
// object after the fork. A worker that fails, or dies, ends the whole run with an error; whatever ends the parent ends
// the workers. Within a worker, what is left to do for a frame that has been drawn is done while the next one is drawn.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "stage/base/stage_clock.h"

namespace orvandel::cli {

// One worker's side. Lives in the worker's process alone.
class FrameWork {
 public:
  virtual ~FrameWork() = default;
  // `slot` is empty when the pool has none. Returns what is left to do, which may be done on another thread while the
  // next frames are made: what is left of up to three frames exists at a time; empty: nothing. Both throw what a render
  // throws.
  virtual std::function<void()> Make(std::int32_t frame, std::span<std::uint8_t> slot) = 0;
  // Whether what is left takes so much memory that frames are finished one at a time.
  virtual bool FinishesAlone() const { return false; }
  // How many waves were alive in the frame made last.
  virtual std::int64_t WaveCount() const { return 0; }
  // Part of the last frame's pixels that shows something, 0..1.
  virtual double Shown() const { return 1; }
  // What people should know of the last frame, each once.
  virtual std::vector<std::string> TakeNotes() { return {}; }
  // After the last frame.
  virtual void Finish() {}
};

struct PoolOptions {
  int jobs = 1;
  std::size_t slotBytes = 0;   // of one result; 0: workers write their results themselves
  double maxFrameSeconds = 0;  // 0: no bound
  std::function<void(const std::string&)> onNote = {};
};

struct FinishedFrame {
  std::int32_t frame = 0;
  double seconds = 0;                   // that the worker spent on it
  stage::StageSeconds stages{};         // of them
  std::int64_t waves = 0;               // alive in it
  double shown = 1;                     // part of its pixels that shows something, 0..1
  std::span<const std::uint8_t> bytes;  // the slot; valid during the call
};

// How many results there is memory for: one for every worker, and some that wait for their turn. With one job one is
// drawn, one turned and one written; every other one costs a tenth of the speed, since its memory is out of the cache
// when it is drawn into. Many workers wait less for a slow frame.
std::size_t SlotCount(int jobs);

class WorkerPool {
 public:
  // Forks. `makeWork` runs in each worker.
  WorkerPool(const PoolOptions& options, std::function<std::unique_ptr<FrameWork>()> makeWork);
  ~WorkerPool();  // ends and awaits every worker, and removes nothing that they wrote whole
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Once. `take` is called for every frame; with slots in the order of `frames`, otherwise as they are finished.
  // Throws what a worker threw, Interrupted when the person asked to stop, WorkError when a worker died or a frame took
  // too long.
  void Run(const std::vector<std::int32_t>& frames, const std::function<void(const FinishedFrame&)>& take);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace orvandel::cli
