// Batches of rows whose alphas fit a window, summed two at a time.
//
// A lane's u is a chain of additions, each of which waits for the one before. Two batches side by side, whichever they
// are, give the processor two chains to work at.
#pragma once

#include "effect/render/fast/alpha_window.h"
#include "effect/render/fast/lane_batch.h"

#if defined(__AVX512VBMI__) && defined(__AVX512VNNI__)

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q>
class WindowQueue {
 public:
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
      __m512i sumsA[4], sumsB[4];
#pragma GCC unroll 4
      for (std::int32_t pixel = 0; pixel < 4; ++pixel) {
        sumsA[pixel] = SumsOfFour(a, x + pixel * Q);
        sumsB[pixel] = SumsOfFour(b, x + pixel * Q);
        for (std::int32_t i = 4; i < Q; i += 4) {
          sumsA[pixel] = _mm512_add_epi64(sumsA[pixel], SumsOfFour(a, x + pixel * Q + i));
          sumsB[pixel] = _mm512_add_epi64(sumsB[pixel], SumsOfFour(b, x + pixel * Q + i));
        }
      }
      AddToCounters<Q, 2>(PairsOf(sumsA), x, a.batch.counters);
      AddToCounters<Q, 2>(PairsOf(sumsB), x, b.batch.counters);
    }
    AddAlone(a.batch.columns > b.batch.columns ? a : b, x);
    count_ = 0;
  }

  // From column x on.
  static void AddAlone(Going& going, std::int32_t x) {
    for (; x < going.batch.columns; x += kColumns) {
      going.window.Advance();
      __m512i sums[4];
#pragma GCC unroll 4
      for (std::int32_t pixel = 0; pixel < 4; ++pixel) {
        sums[pixel] = SumsOfFour(going, x + pixel * Q);
        for (std::int32_t i = 4; i < Q; i += 4) {
          sums[pixel] = _mm512_add_epi64(sums[pixel], SumsOfFour(going, x + pixel * Q + i));
        }
      }
      AddToCounters<Q, 2>(PairsOf(sums), x, going.batch.counters);
    }
  }

  // Columns from .. from + 3.
  ORVANDEL_INLINE static __m512i SumsOfFour(Going& going, std::int32_t from) {
    const Waiting& batch = going.batch;
    __m512 u[4];
    if (from >= batch.allFrom && from + 4 <= batch.allTo) {
      for (__m512& at : u) {
        at = going.u;
        going.u = _mm512_add_ps(going.u, batch.rows.dudx);
      }
      return going.window.Sums(u, batch.counted);
    }
    for (std::int32_t k = 0; k < 4; ++k) {
      u[k] = going.u;
      const __mmask16 begun = _mm512_cmple_epi32_mask(batch.rows.skip, _mm512_set1_epi32(from + k));
      going.u = _mm512_mask_add_ps(going.u, begun, going.u, batch.rows.dudx);
    }
    return going.window.Sums(u, AlphaWindow::Within(batch.rows.skip, batch.end, from));
  }

  // TotalsOf from two sums for every four rows; each total stands twice.
  typedef std::uint64_t Pairs __attribute__((vector_size(64)));
  ORVANDEL_INLINE static Pairs PairsOf(const __m512i (&sums)[4]) {
    const __m512i lower = _mm512_or_si512(sums[0], _mm512_slli_epi64(sums[1], 16));
    const __m512i upper = _mm512_or_si512(sums[2], _mm512_slli_epi64(sums[3], 16));
    const __m512i all = _mm512_or_si512(lower, _mm512_slli_epi64(upper, 32));
    return (Pairs)_mm512_add_epi64(all, _mm512_shuffle_epi32(all, _MM_PERM_BADC));
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
  bool Add(const LaneBatch<Q>&, const std::uint8_t*) { return false; }
  void Flush() {}
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
