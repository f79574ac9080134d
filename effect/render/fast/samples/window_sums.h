// Batches of rows whose alphas fit a window.
#pragma once

#include "effect/render/fast/samples/four_pixels.h"
#include "effect/render/fast/samples/window_fit.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Where vectors have room for a window that four pixels' columns fit, many batches wait, so that the processor finds
// work in the making of the next ones. They are summed two at a time: a lane's u is a chain of additions, each of which
// waits for the one before; two batches side by side are two chains to work at. Smaller windows are placed more often,
// and batches are summed at once.
template <int P, typename Window>
class WindowSums {
 public:
  explicit WindowSums(const Grid<P>& grid) : grid_(grid) {}

  // Where the next batch is to be made.
  LaneBatch<P>& Next() { return waiting_[count_].batch; }

  // False when that one does not fit a window; otherwise its alphas are in the counters after Flush.
  bool Add(const std::uint8_t* alphas) {
    Waiting& next = waiting_[count_];
    next.together = kTogether;
    if (!next.fit.Fits(next.batch, grid_, kLargeWindow ? 4 * grid_.Quality() : kTogether, Window::kEntries)) {
      next.together = 4;
      if (kLargeWindow || !next.fit.Fits(next.batch, grid_, 4, Window::kEntries)) return false;
    }
    next.alphas = alphas;
    next.counted = Window::AllOf(next.batch.filled);
    if (++count_ == kMost) Flush();
    return true;
  }

  void Flush() { grid_.Gap() == 0 ? SumAll<false>() : SumAll<true>(); }

 private:
  static constexpr std::int32_t kColumns = 4 * P;  // four pixels of cells
  static constexpr int kParts = FourPixels<P, Window>::kParts, kFours = FourPixels<P, Window>::kFours;
  static constexpr bool kLargeWindow = Window::kEntries >= 128;
  static constexpr std::int32_t kMost = kLargeWindow ? 8 : 1;
  static constexpr std::int32_t kTogether = kLargeWindow ? kColumns : 8;  // cells with one window

  struct Waiting {
    LaneBatch<P> batch;
    WindowFit fit;
    std::int32_t together;
    const std::uint8_t* alphas;
    typename Window::Mask counted;
  };

  // A batch as far as its columns have been added.
  struct Going {
    const LaneBatch<P>& batch;
    std::int32_t quality;
    WindowFit fit;
    std::int32_t together;
    const std::uint8_t* alphas;
    typename Window::Mask counted;
    Window window{};  // placed before its first use
    Floats u;
    Going(const Waiting& of, std::int32_t q)
        : batch(of.batch),
          quality(q),
          fit(of.fit),
          together(of.together),
          alphas(of.alphas),
          counted(of.counted),
          u(of.batch.u) {}
    ORVANDEL_INLINE void PlaceWindow(float part) { window.Place(alphas, fit.Next(part)); }
  };

  template <bool gaps>
  __attribute__((noinline)) void SumAll() {
    if constexpr (kMost > 1) {
      for (std::int32_t i = 0; i + 1 < count_; i += 2) AddBoth<gaps>(waiting_[i], waiting_[i + 1]);
    }
    if (count_ % 2 != 0) {
      Going going(waiting_[count_ - 1], grid_.Quality());
      AddAlone<gaps>(going, 0);
    }
    count_ = 0;
  }

  template <bool gaps>
  void AddBoth(const Waiting& first, const Waiting& second) const {
    Going a(first, grid_.Quality()), b(second, grid_.Quality());
    const std::int32_t columns = Smaller(a.batch.columns, b.batch.columns);
    std::int32_t x = 0;
    for (; x < columns; x += kColumns) {
      a.PlaceWindow(1);
      b.PlaceWindow(1);
      FourPixels<P, Window> pixelsA, pixelsB;
      const int parts = PartsFrom(x, Larger(a.batch.columns, b.batch.columns));
      for (int part = 0; part < parts; ++part) {
#pragma GCC unroll 4
        for (int four = 0; four < kFours; ++four) {
          AddFour<gaps>(a, x, part, four, pixelsA);
          AddFour<gaps>(b, x, part, four, pixelsB);
        }
      }
      pixelsA.AddTo(a.batch.counters, x);
      pixelsB.AddTo(b.batch.counters, x);
    }
    AddAlone<gaps>(a.batch.columns > b.batch.columns ? a : b, x);
  }

  // Of the pixels from column x on, those that have any columns before `columns`; all where they are narrow.
  static int PartsFrom(std::int32_t x, std::int32_t columns) {
    constexpr std::int32_t kWidth = 4 * kFours;
    return kFours == 1 || !kLargeWindow ? kParts : Smaller(kParts, (columns - x + kWidth - 1) / kWidth);
  }

  // From column x on.
  template <bool gaps>
  static void AddAlone(Going& going, std::int32_t x) {
    for (; x < going.batch.columns; x += kColumns) {
      if constexpr (kLargeWindow) going.PlaceWindow(1);
      FourPixels<P, Window> pixels;
      const int parts = PartsFrom(x, going.batch.columns);
      for (int part = 0; part < parts; ++part) {
#pragma GCC unroll 4
        for (int four = 0; four < kFours; ++four) {
          if constexpr (!kLargeWindow) {
            const std::int32_t from = 4 * (part * kFours + four);
            if (from % going.together == 0) going.PlaceWindow(gaps ? PartOfWindow(going, from) : 1);
          }
          AddFour<gaps>(going, x, part, four, pixels);
        }
      }
      pixels.AddTo(going.batch.counters, x);
    }
  }

  // Of as many samples as fit a window, those among the cells from column `from` on.
  static float PartOfWindow(const Going& going, std::int32_t from) {
    std::int32_t samples = 0;
    for (std::int32_t x = from; x < from + going.together; x += 4) samples += SamplesOfFour(going, x / 4 % kFours);
    return static_cast<float>(samples) / static_cast<float>(going.together);
  }
  static std::int32_t SamplesOfFour(const Going& going, int four) {
    return Smaller(Larger(going.quality - 4 * four, 0), 4);
  }

  template <bool gaps>
  ORVANDEL_INLINE static void AddFour(Going& going, std::int32_t x, int part, int four, FourPixels<P, Window>& pixels) {
    const LaneBatch<P>& batch = going.batch;
    const std::int32_t from = x + 4 * (part * kFours + four);
    const std::int32_t samples = gaps ? SamplesOfFour(going, four) : 4;
    if (samples == 0) return pixels.Add(part, four, typename Window::Bytes{}, typename Window::Mask{});
    Floats u[4];
    typename Window::Mask counted =
        StepFourColumns(batch, from, samples, going.u, u) ? going.counted : Window::Within(batch.skip, batch.end, from);
    if constexpr (gaps) counted = counted & Window::FirstColumns(samples);
    Ints index[4];
    for (int k = 0; k < 4; ++k) index[k] = Truncate(u[k] * kEntriesPerBand);
    pixels.Add(part, four, going.window.Alphas(index, counted), counted);
  }

  Grid<P> grid_;
  Waiting waiting_[kMost];
  std::int32_t count_ = 0;
};

// For processors and qualities without windows.
template <int P>
class NoWindows {
 public:
  explicit NoWindows(const Grid<P>&) {}
  LaneBatch<P>& Next() { return batch_; }
  bool Add(const std::uint8_t*) const { return false; }
  void Flush() {}

 private:
  LaneBatch<P> batch_;
};

// Whether lanes are summed in windows.
template <int P>
inline constexpr bool kInWindows = AlphaWindow::kEntries > 0 && (P % 4 == 0 || AlphaWindow::kEntries >= 128);
template <int P>
struct WindowsOf {
  using Type = NoWindows<P>;
};
template <int P>
requires(kInWindows<P>) struct WindowsOf<P> {
  using Type = WindowSums<P, AlphaWindow>;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
