// Batches of rows -> sums of alphas in the counters.
#pragma once

#include "effect/render/fast/samples/four_pixels.h"
#include "effect/render/fast/samples/window_fit.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Where vectors have room for a window that four pixels' columns fit, many batches wait, so that the processor finds
// work in the making of the next ones. They are summed two at a time: a lane's u is a chain of additions, each of which
// waits for the one before; two batches side by side are two chains to work at. Smaller windows are placed more often,
// and batches are summed at once. The alphas of a batch that fits no window are looked up among all.
template <int P>
class WindowSums {
 public:
  explicit WindowSums(const Grid<P>& grid) : grid_(grid) {}

  // Where the next batch is to be made.
  LaneBatch<P>& Next() { return waiting_[count_].batch; }

  // Adds that one; its alphas are in the counters after Flush.
  void Add(const std::uint8_t* alphas) {
    Waiting& next = waiting_[count_];
    const auto fits = [&](std::int32_t cells) {
      return kInWindows && next.fit.Fits(next.batch, grid_, grid_.SamplesBefore(cells), AlphaWindow::kEntries);
    };
    next.together = fits(kTogether) ? kTogether : !kLargeWindow && fits(4) ? 4 : 0;
    next.alphas = alphas;
    next.counted = AllAlphas::AllOf(next.batch.filled);
    if (++count_ == kMost) Flush();
  }

  void Flush() { grid_.Gap() == 0 ? SumAll<false>() : SumAll<true>(); }

 private:
  static constexpr std::int32_t kColumns = 4 * P;  // four pixels of cells
  static constexpr int kParts = FourPixels<P>::kParts, kFours = FourPixels<P>::kFours;
  static constexpr bool kInWindows = AlphaWindow::kEntries < kIndexEntries;
  static constexpr bool kLargeWindow = kInWindows && AlphaWindow::kEntries >= 128;
  static constexpr std::int32_t kMost = kLargeWindow ? 8 : 1;
  static constexpr std::int32_t kTogether = kLargeWindow ? kColumns : 8;  // cells with one window

  struct Waiting {
    LaneBatch<P> batch;
    WindowFit fit;
    std::int32_t together;  // 0 when they fit no window
    const std::uint8_t* alphas;
    AllAlphas::Mask counted;
  };

  // A batch as far as its columns have been added.
  template <typename Window>
  struct Going {
    const Waiting& of;
    Grid<P> grid;
    WindowFit fit;
    Window window{};  // placed before its first use
    Floats u;
    Going(const Waiting& batch, const Grid<P>& cells) : of(batch), grid(cells), fit(of.fit), u(of.batch.u) {
      if constexpr (Window::kEntries == kIndexEntries) window.Place(of.alphas, 0);
    }
    // For the columns from `from` on, among those of four pixels, where a window ends there.
    template <bool gaps>
    ORVANDEL_INLINE void PlaceWindow(std::int32_t from) {
      if constexpr (Window::kEntries == kIndexEntries) return;
      const std::int32_t together = kLargeWindow ? kTogether : of.together;
      if ((from & (together - 1)) != 0) return;
      float part = 1;
      if constexpr (gaps && !kLargeWindow) {
        part = static_cast<float>(grid.SamplesBefore(from + together) - grid.SamplesBefore(from)) /
               static_cast<float>(grid.SamplesBefore(together));
      }
      window.Place(of.alphas, fit.Next(part));
    }
  };

  template <bool gaps>
  __attribute__((noinline)) void SumAll() {
    for (std::int32_t i = 0; i < count_; ++i) {
      const Waiting& one = waiting_[i];
      if (kMost > 1 && i + 1 < count_ && one.together != 0 && waiting_[i + 1].together != 0) {
        AddBoth<gaps>(one, waiting_[++i]);
      } else if (one.together != 0) {
        AddAlone<gaps, AlphaWindow>({one, grid_}, 0);
      } else {
        AddAlone<gaps, AllAlphas>({one, grid_}, 0);
      }
    }
    count_ = 0;
  }

  template <bool gaps>
  void AddBoth(const Waiting& first, const Waiting& second) const {
    Going<AlphaWindow> a(first, grid_), b(second, grid_);
    const std::int32_t columns = Smaller(first.batch.columns, second.batch.columns);
    std::int32_t x = 0;
    for (; x < columns; x += kColumns) {
      a.template PlaceWindow<gaps>(0);
      b.template PlaceWindow<gaps>(0);
      FourPixels<P> pixelsA, pixelsB;
      const int parts = PartsFrom(x, Larger(first.batch.columns, second.batch.columns));
      for (int part = 0; part < parts; ++part) {
#pragma GCC unroll 4
        for (int four = 0; four < kFours; ++four) {
          AddFour<gaps>(a, x, part, four, pixelsA);
          AddFour<gaps>(b, x, part, four, pixelsB);
        }
      }
      pixelsA.AddTo(first.batch.counters, x);
      pixelsB.AddTo(second.batch.counters, x);
    }
    AddAlone<gaps>(first.batch.columns > second.batch.columns ? a : b, x);
  }

  // Of the pixels from column x on, those that have any columns before `columns`; all where they are narrow.
  static int PartsFrom(std::int32_t x, std::int32_t columns) {
    constexpr std::int32_t kWidth = 4 * kFours;
    return kFours == 1 || !kLargeWindow ? kParts : Smaller(kParts, (columns - x + kWidth - 1) / kWidth);
  }

  // From column x on.
  template <bool gaps, typename Window>
  static void AddAlone(Going<Window> going, std::int32_t x) {
    const LaneBatch<P>& batch = going.of.batch;
    for (; x < batch.columns; x += kColumns) {
      FourPixels<P> pixels;
      const int parts = PartsFrom(x, batch.columns);
      for (int part = 0; part < parts; ++part) {
#pragma GCC unroll 4
        for (int four = 0; four < kFours; ++four) {
          going.template PlaceWindow<gaps>(4 * (part * kFours + four));
          AddFour<gaps>(going, x, part, four, pixels);
        }
      }
      pixels.AddTo(batch.counters, x);
    }
  }

  template <bool gaps, typename Window>
  ORVANDEL_INLINE static void AddFour(Going<Window>& going, std::int32_t x, int part, int four, FourPixels<P>& pixels) {
    const LaneBatch<P>& batch = going.of.batch;
    const std::int32_t from = x + 4 * (part * kFours + four);
    const std::int32_t samples = gaps ? Smaller(Larger(going.grid.Quality() - 4 * four, 0), 4) : 4;
    if (samples == 0) return pixels.Add(part, four, AllAlphas::Bytes{}, AllAlphas::Mask{});
    Floats u[4];
    AllAlphas::Mask counted = StepFourColumns(batch, from, samples, going.u, u)
                                  ? going.of.counted
                                  : AllAlphas::Within(batch.skip, batch.end, from);
    if constexpr (gaps) counted = counted & AllAlphas::FirstColumns(samples);
    Ints index[4];
    for (int k = 0; k < 4; ++k) index[k] = Truncate(u[k] * kEntriesPerBand);
    pixels.Add(part, four, going.window.Alphas(index, counted), counted);
  }

  Grid<P> grid_;
  Waiting waiting_[kMost];
  std::int32_t count_ = 0;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
