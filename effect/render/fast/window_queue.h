// Batches of rows whose alphas fit a window, summed two at a time.
//
// A lane's u is a chain of additions, each of which waits for the one before. Two batches side by side, whichever they
// are, give the processor two chains to work at.
#pragma once

#include "effect/render/fast/alpha_window.h"
#include "effect/render/fast/four_pixels.h"
#include "effect/render/fast/lane_batch.h"

#if defined(__AVX512VBMI__) && defined(__AVX512VNNI__)

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q>
class WindowQueue {
 public:
  static constexpr bool kWorks = true;

  // False when the batch does not fit a window; otherwise its alphas are in the counters after Flush.
  bool Add(const LaneBatch<Q>& batch, const std::uint8_t* alphas) {
    Waiting& next = waiting_[count_];
    next.window = AlphaWindow(alphas);
    next.rows = {batch.u, batch.dudx, (__m512i)batch.skip, _mm512_movepi32_mask((__m512i)batch.filled)};
    if (!next.window.Fits(next.rows, batch.columns, kColumns)) return false;
    next.counted = AlphaWindow::AllOf(next.rows.filled);
    next.end = (__m512i)batch.end;
    next.allFrom = batch.allFrom;
    next.allTo = batch.allTo;
    next.columns = batch.columns;
    __builtin_memcpy(next.counters, batch.counters, sizeof next.counters);
    if (++count_ == 2) AddBoth();
    return true;
  }

  void Flush() {
    if (count_ == 1) {
      Going going(waiting_[0]);
      AddAlone(going, 0);
    }
    count_ = 0;
  }

 private:
  static constexpr std::int32_t kColumns = 4 * Q;  // four pixels
  static constexpr int kParts = FourPixels<Q>::kParts, kFours = FourPixels<Q>::kFours;

  struct Waiting {
    AlphaWindow window;
    RowLines rows;
    __mmask64 counted;
    __m512i end;
    std::int32_t allFrom, allTo, columns;
    std::uint16_t* counters[kGroups<Q>];
  };

  // A batch as far as its columns have been added.
  struct Going {
    const Waiting& batch;
    AlphaWindow window;
    __m512 u;
    explicit Going(const Waiting& of) : batch(of), window(of.window), u(of.rows.u) {}
  };

  void AddBoth() {
    Going a(waiting_[0]), b(waiting_[1]);
    const std::int32_t columns = Smaller(a.batch.columns, b.batch.columns);
    std::int32_t x = 0;
    for (; x < columns; x += kColumns) {
      a.window.Advance();
      b.window.Advance();
      FourPixels<Q> pixelsA, pixelsB;
      for (int part = 0; part < kParts; ++part) {
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
    count_ = 0;
  }

  // From column x on.
  static void AddAlone(Going& going, std::int32_t x) {
    for (; x < going.batch.columns; x += kColumns) {
      going.window.Advance();
      FourPixels<Q> pixels;
      for (int part = 0; part < kParts; ++part) {
        for (int four = 0; four < kFours; ++four) TakeFour(going, x, part, four, pixels);
      }
      pixels.AddTo(going.batch.counters, x);
    }
  }

  ORVANDEL_INLINE static void TakeFour(Going& going, std::int32_t x, int part, int four, FourPixels<Q>& pixels) {
    const Waiting& batch = going.batch;
    const std::int32_t from = x + 4 * (part * kFours + four);
    __m512 u[4];
    __mmask64 counted = batch.counted;
    if (from >= batch.allFrom && from + 4 <= batch.allTo) {
      for (__m512& at : u) {
        at = going.u;
        going.u = _mm512_add_ps(going.u, batch.rows.dudx);
      }
    } else {
      for (std::int32_t k = 0; k < 4; ++k) {
        u[k] = going.u;
        const __mmask16 begun = _mm512_cmple_epi32_mask(batch.rows.skip, _mm512_set1_epi32(from + k));
        going.u = _mm512_mask_add_ps(going.u, begun, going.u, batch.rows.dudx);
      }
      counted = AlphaWindow::Within(batch.rows.skip, batch.end, from);
    }
    pixels.Take(part, four, going.window.Alphas(u, counted), counted);
  }

  Waiting waiting_[2];
  int count_ = 0;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#else

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q>
class WindowQueue {
 public:
  static constexpr bool kWorks = false;
  bool Add(const LaneBatch<Q>&, const std::uint8_t*) { return false; }
  void Flush() {}
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
