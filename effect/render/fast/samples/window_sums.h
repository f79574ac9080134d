// Batches of rows whose alphas fit a window.
#pragma once

#include "effect/render/fast/samples/four_pixels.h"
#include "effect/render/fast/samples/window_fit.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Where vectors have room for a window that four pixels' columns fit, many batches wait, so that the processor finds
// work in the making of the next ones. They are summed two at a time: a lane's u is a chain of additions, each of which
// waits for the one before; two batches side by side are two chains to work at. Smaller windows are placed more often,
// and batches are summed at once.
template <int Q, typename Window>
class WindowSums {
 public:
  // Where the next batch is to be made.
  LaneBatch<Q>& Next() { return waiting_[count_].batch; }

  // False when that one does not fit a window; otherwise its alphas are in the counters after Flush.
  bool Add(const std::uint8_t* alphas) {
    Waiting& next = waiting_[count_];
    next.together = kTogether;
    if (!next.fit.Fits(next.batch, kTogether, Window::kEntries)) {
      next.together = 4;
      if (kLargeWindow || !next.fit.Fits(next.batch, 4, Window::kEntries)) return false;
    }
    next.alphas = alphas;
    next.counted = Window::AllOf(next.batch.filled);
    if (++count_ == kMost) Flush();
    return true;
  }

  __attribute__((noinline)) void Flush() {
    if constexpr (kMost > 1) {
      for (std::int32_t i = 0; i + 1 < count_; i += 2) AddBoth(waiting_[i], waiting_[i + 1]);
    }
    if (count_ % 2 != 0) {
      Going going(waiting_[count_ - 1]);
      AddAlone(going, 0);
    }
    count_ = 0;
  }

 private:
  static constexpr std::int32_t kColumns = 4 * Q;  // four pixels
  static constexpr int kParts = FourPixels<Q, Window>::kParts, kFours = FourPixels<Q, Window>::kFours;
  static constexpr bool kLargeWindow = Window::kEntries >= 128;
  static constexpr std::int32_t kMost = kLargeWindow ? 8 : 1;
  static constexpr std::int32_t kTogether = kLargeWindow ? kColumns : 8;  // columns with one window

  struct Waiting {
    LaneBatch<Q> batch;
    WindowFit fit;
    std::int32_t together;
    const std::uint8_t* alphas;
    typename Window::Mask counted;
  };

  // A batch as far as its columns have been added.
  struct Going {
    const LaneBatch<Q>& batch;
    WindowFit fit;
    std::int32_t together;
    const std::uint8_t* alphas;
    typename Window::Mask counted;
    Window window{};  // placed before its first use
    Floats u;
    explicit Going(const Waiting& of)
        : batch(of.batch), fit(of.fit), together(of.together), alphas(of.alphas), counted(of.counted), u(of.batch.u) {}
    ORVANDEL_INLINE void PlaceWindow() { window.Place(alphas, fit.Next()); }
  };

  static void AddBoth(const Waiting& first, const Waiting& second) {
    Going a(first), b(second);
    const std::int32_t columns = Smaller(a.batch.columns, b.batch.columns);
    std::int32_t x = 0;
    for (; x < columns; x += kColumns) {
      a.PlaceWindow();
      b.PlaceWindow();
      FourPixels<Q, Window> pixelsA, pixelsB;
      const int parts = PartsFrom(x, Larger(a.batch.columns, b.batch.columns));
      for (int part = 0; part < parts; ++part) {
#pragma GCC unroll 4
        for (int four = 0; four < kFours; ++four) {
          AddFour(a, x, part, four, pixelsA);
          AddFour(b, x, part, four, pixelsB);
        }
      }
      pixelsA.AddTo(a.batch.counters, x);
      pixelsB.AddTo(b.batch.counters, x);
    }
    AddAlone(a.batch.columns > b.batch.columns ? a : b, x);
  }

  // Of the pixels from column x on, those that have any columns before `columns`; all where they are narrow.
  static int PartsFrom(std::int32_t x, std::int32_t columns) {
    constexpr std::int32_t kWidth = 4 * kFours;
    return kFours == 1 || !kLargeWindow ? kParts : Smaller(kParts, (columns - x + kWidth - 1) / kWidth);
  }

  // From column x on.
  static void AddAlone(Going& going, std::int32_t x) {
    for (; x < going.batch.columns; x += kColumns) {
      if constexpr (kLargeWindow) going.PlaceWindow();
      FourPixels<Q, Window> pixels;
      const int parts = PartsFrom(x, going.batch.columns);
      for (int part = 0; part < parts; ++part) {
#pragma GCC unroll 4
        for (int four = 0; four < kFours; ++four) {
          if constexpr (!kLargeWindow) {
            if (4 * (part * kFours + four) % going.together == 0) going.PlaceWindow();
          }
          AddFour(going, x, part, four, pixels);
        }
      }
      pixels.AddTo(going.batch.counters, x);
    }
  }

  ORVANDEL_INLINE static void AddFour(Going& going, std::int32_t x, int part, int four, FourPixels<Q, Window>& pixels) {
    const LaneBatch<Q>& batch = going.batch;
    const std::int32_t from = x + 4 * (part * kFours + four);
    Floats u[4];
    const typename Window::Mask counted =
        StepFourColumns(batch, from, going.u, u) ? going.counted : Window::Within(batch.skip, batch.end, from);
    Ints index[4];
    for (int k = 0; k < 4; ++k) index[k] = Truncate(u[k] * kEntriesPerBand);
    pixels.Add(part, four, going.window.Alphas(index, counted), counted);
  }

  Waiting waiting_[kMost];
  std::int32_t count_ = 0;
};

// For processors and qualities without windows.
template <int Q>
class NoWindows {
 public:
  LaneBatch<Q>& Next() { return batch_; }
  bool Add(const std::uint8_t*) const { return false; }
  void Flush() {}

 private:
  LaneBatch<Q> batch_;
};

// Whether lanes are summed in windows.
template <int Q>
inline constexpr bool kInWindows = Q != 0 && AlphaWindow::kEntries > 0 && (Q % 4 == 0 || AlphaWindow::kEntries >= 128);
template <int Q>
struct WindowsOf {
  using Type = NoWindows<Q>;
};
template <int Q>
requires(kInWindows<Q>) struct WindowsOf<Q> {
  using Type = WindowSums<Q, AlphaWindow>;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
