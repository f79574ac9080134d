// Batches of rows whose alphas fit a window.
#pragma once

#include <type_traits>

#include "effect/render/fast/samples/alpha_window.h"
#include "effect/render/fast/samples/even_columns.h"
#include "effect/render/fast/samples/even_parts.h"
#include "effect/render/fast/samples/four_pixels.h"
#include "effect/render/fast/samples/narrow_window.h"
#include "effect/render/fast/samples/window_fit.h"

#if defined(__AVX512VBMI__) && defined(__AVX512VNNI__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// Many wait, so that the processor finds work in the making of the next ones while it waits for the last one's. They
// are summed two at a time: a lane's u is a chain of additions, each of which waits for the one before. Two batches
// side by side, whichever they are, give the processor two chains to work at.
template <int Q>
class WindowQueue {
 public:
  static constexpr bool kAtAnyQuality = true;

  // Where the next batch is to be made.
  LaneBatch<Q>& Next() { return waiting_[count_].batch; }

  // False when that one does not fit a window; otherwise its alphas are in the counters after Flush.
  bool Add(const std::uint8_t* alphas) {
    Waiting& next = waiting_[count_];
    if (!next.fit.Fits(next.batch, kColumns, AlphaWindow::kEntries)) return false;
    next.alphas = alphas;
    if constexpr (kInEvenParts) next.evenParts = EvenPartsOf(next.batch, next.fit.Ends());
    next.counted = AlphaWindow::AllOf(_mm512_movepi32_mask((__m512i)next.batch.filled));
    if (++count_ == kMost) Flush();
    return true;
  }

  __attribute__((noinline)) void Flush() {
    for (std::int32_t i = 0; i + 1 < count_; i += 2) AddBoth(waiting_[i], waiting_[i + 1]);
    if (count_ % 2 != 0) {
      Going going(waiting_[count_ - 1]);
      AddAlone(going, 0);
    }
    count_ = 0;
  }

 private:
  static constexpr std::int32_t kColumns = 4 * Q;  // four pixels
  static constexpr int kParts = FourPixels<Q>::kParts, kFours = FourPixels<Q>::kFours;
  static constexpr std::int32_t kMost = 8;
  // Below, steps are alike too seldom over sixteen columns by sixteen rows.
  static constexpr bool kInEvenParts = Q == kEvenColumns;

  struct Waiting {
    LaneBatch<Q> batch;
    WindowFit fit;
    const std::uint8_t* alphas;
    __mmask64 counted;
    std::uint64_t evenParts = 0;  // the first one's bit is the lowest
  };

  // A batch as far as its columns have been added.
  struct Going {
    const LaneBatch<Q>& batch;
    WindowFit fit;
    const std::uint8_t* alphas;
    __mmask64 counted;
    std::uint64_t evenParts;
    AlphaWindow window;
    std::int32_t first = 0;  // the window's
    bool even = false;       // `columns` goes on
    EvenColumns columns;
    Floats u;
    explicit Going(const Waiting& of)
        : batch(of.batch),
          fit(of.fit),
          alphas(of.alphas),
          counted(of.counted),
          evenParts(of.evenParts),
          u(of.batch.u) {}
    ORVANDEL_INLINE void Advance() {
      const std::int32_t next = fit.Next();
      if constexpr (kInEvenParts) columns.CountFrom(next - first);
      first = next;
      window.Place(alphas, first);
    }
  };

  static void AddBoth(const Waiting& first, const Waiting& second) {
    Going a(first), b(second);
    const std::int32_t columns = Smaller(a.batch.columns, b.batch.columns);
    std::int32_t x = 0;
    for (; x < columns; x += kColumns) {
      a.Advance();
      b.Advance();
      FourPixels<Q> pixelsA, pixelsB;
      const int parts = PartsFrom(x, Larger(a.batch.columns, b.batch.columns));
      for (int part = 0; part < parts; ++part) {
        if constexpr (kInEvenParts) {
          TakePart(a, x, part, pixelsA);
          TakePart(b, x, part, pixelsB);
          continue;
        }
#pragma GCC unroll 4
        for (int four = 0; four < kFours; ++four) {
          TakeFour(a, x, part, four, pixelsA);
          TakeFour(b, x, part, four, pixelsB);
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
    return kFours == 1 ? kParts : Smaller(kParts, (columns - x + kWidth - 1) / kWidth);
  }

  // From column x on.
  static void AddAlone(Going& going, std::int32_t x) {
    for (; x < going.batch.columns; x += kColumns) {
      going.Advance();
      FourPixels<Q> pixels;
      const int parts = PartsFrom(x, going.batch.columns);
      for (int part = 0; part < parts; ++part) TakePart(going, x, part, pixels);
      pixels.AddTo(going.batch.counters, x);
    }
  }

  ORVANDEL_INLINE static void TakePart(Going& going, std::int32_t x, int part, FourPixels<Q>& pixels) {
    const bool even = kInEvenParts && (going.evenParts & 1U) != 0;
    going.evenParts >>= 1;
    if (even) {
      if (!going.even) going.columns.Start(going.u, going.batch.dudx, going.first);
      going.columns.Leave(going.u);
      TakeEvenPart(going, x, part, pixels);
    } else {
#pragma GCC unroll 4
      for (int four = 0; four < kFours; ++four) TakeFour(going, x, part, four, pixels);
    }
    going.even = even;
  }

  ORVANDEL_INLINE static void TakeEvenPart(Going& going, std::int32_t x, int part, FourPixels<Q>& pixels) {
    const LaneBatch<Q>& batch = going.batch;
    const std::int32_t from = x + 4 * kFours * part;
    const auto take = [&](int four, __mmask64 counted) __attribute__((always_inline)) {
      pixels.Take(part, four, going.window.AlphasAt(going.columns.NextFour(), counted), counted);
    };
    if (from + kEvenColumns <= batch.allTo) {
#pragma GCC unroll 4
      for (int four = 0; four < kFours; ++four) take(four, going.counted);
    } else {
      for (int four = 0; four < kFours; ++four) {
        take(four, AlphaWindow::Within((__m512i)batch.skip, (__m512i)batch.end, from + 4 * four));
      }
    }
  }

  ORVANDEL_INLINE static void TakeFour(Going& going, std::int32_t x, int part, int four, FourPixels<Q>& pixels) {
    const LaneBatch<Q>& batch = going.batch;
    const std::int32_t from = x + 4 * (part * kFours + four);
    Floats u[4];
    const __mmask64 counted = TakeFourColumns(batch, from, going.u, u)
                                  ? going.counted
                                  : AlphaWindow::Within((__m512i)batch.skip, (__m512i)batch.end, from);
    pixels.Take(part, four, going.window.Alphas(u, counted), counted);
  }

  Waiting waiting_[kMost];
  std::int32_t count_ = 0;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#elif defined(__AVX2__) && !defined(__AVX512F__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// Summed at once, in a window for every four columns or, where that is enough, for every eight.
template <int Q>
class WindowQueue {
 public:
  static constexpr bool kAtAnyQuality = false;

  LaneBatch<Q>& Next() { return batch_; }

  // False when the batch does not fit a window; otherwise its alphas are in the counters.
  bool Add(const std::uint8_t* alphas) const {
    static_assert(Q % 4 == 0);
    WindowFit fit;
    if (fit.Fits(batch_, 8, NarrowWindow::kEntries)) return AddColumns<8>(alphas, fit);
    return fit.Fits(batch_, 4, NarrowWindow::kEntries) && AddColumns<4>(alphas, fit);
  }
  void Flush() {}

 private:
  typedef std::uint64_t Totals __attribute__((vector_size(32)));

  // With a window for every `together` columns.
  template <int together>
  bool AddColumns(const std::uint8_t* alphas, WindowFit& fit) const {
    const LaneBatch<Q>& batch = batch_;
    const __m256i filled = NarrowWindow::AllOf(batch.filled);
    Floats at = batch.u;
    NarrowWindow window;
    for (std::int32_t x = 0; x < batch.columns; x += 4 * Q) {
      __m256i totals{};
#pragma GCC unroll 4
      for (int pixel = 0; pixel < 4; ++pixel) {
        __m256i sums{};
#pragma GCC unroll 4
        for (int four = 0; four < Q; four += 4) {
          if ((pixel * Q + four) % together == 0) window.Place(alphas, fit.Next());
          sums = _mm256_add_epi64(sums, SumsOfFour(batch, filled, window, x + pixel * Q + four, at));
        }
        totals = _mm256_or_si256(totals, _mm256_sll_epi64(sums, _mm_cvtsi32_si128(16 * pixel)));
      }
      // Two sums for every four rows.
      totals = _mm256_add_epi64(totals, _mm256_shuffle_epi32(totals, _MM_SHUFFLE(1, 0, 3, 2)));
      AddToCounters<Q, 2>((Totals)totals, x, batch.counters);
    }
    return true;
  }

  // Of columns from .. from + 3: two sums for every four rows.
  ORVANDEL_INLINE static __m256i SumsOfFour(const LaneBatch<Q>& batch, const __m256i& filled,
                                            const NarrowWindow& window, std::int32_t from, Floats& at) {
    Floats u[4];
    const __m256i counted =
        TakeFourColumns(batch, from, at, u) ? filled : NarrowWindow::Within(batch.skip, batch.end, from);
    return _mm256_sad_epu8(_mm256_and_si256(window.Alphas(u), counted), __m256i{});
  }

  LaneBatch<Q> batch_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif

namespace orvandel::fast::ORVANDEL_KERNELS {

// For processors and qualities without windows.
template <int Q>
class NoWindows {
 public:
  static constexpr bool kAtAnyQuality = false;
  LaneBatch<Q>& Next() { return batch_; }
  bool Add(const std::uint8_t*) const { return false; }
  void Flush() {}

 private:
  LaneBatch<Q> batch_;
};

#if defined(__AVX2__)
template <int Q>
using Windows = std::conditional_t<Q == 0, NoWindows<Q>, WindowQueue<Q>>;
#else
template <int Q>
using Windows = NoWindows<Q>;
#endif

}  // namespace orvandel::fast::ORVANDEL_KERNELS
