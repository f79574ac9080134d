// Compiled as the kernels for AVX-512 are. Nothing of the standard library is used, so that no code for these
// processors stands in for code that all run.
#include "tests/render/even_columns_check.h"

#define ORVANDEL_KERNELS avx512
#include "effect/render/fast/samples/even_columns.h"

namespace orvandel {
namespace {

namespace fast512 = fast::avx512;
using Batch = fast512::LaneBatch<16>;

class Numbers {
 public:
  explicit Numbers(std::uint32_t seed) : state_(seed * 2654435761U + 1) {}
  std::int32_t Below(std::int32_t end) { return static_cast<std::int32_t>(Next() % static_cast<std::uint32_t>(end)); }
  float Between(float from, float to) { return from + (to - from) * (static_cast<float>(Next()) / 16777216.0F); }

 private:
  std::uint32_t Next() {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return static_cast<std::uint32_t>(state_ >> 40U);
  }
  std::uint64_t state_;
};

// Rows of one piece: nearly the same u and dudx. Steps of few bits make sums midway between two floats.
Batch RandomBatch(Numbers& numbers) {
  const float step = numbers.Below(2) == 0 ? 0.003F : 0.0006F, u = numbers.Between(-0.1F, 1.003F);
  const float dudx = numbers.Between(-step, step), apart = numbers.Between(0, 0.05F);
  const bool fewBits = numbers.Below(4) == 0;
  const auto unit = static_cast<float>(1 << numbers.Below(9)) * 0x1p-28F;
  const std::int32_t columns = 32 + numbers.Below(700);
  Batch batch{};
  batch.allTo = columns;
  for (int row = 0; row < 16; ++row) {
    batch.filled[row] = -1;
    batch.u[row] = __builtin_fmaxf(u + apart * static_cast<float>(row) / 16, 0);
    batch.dudx[row] = dudx * numbers.Between(0.97F, 1.03F);
    if (fewBits) batch.dudx[row] = __builtin_truncf(batch.dudx[row] / unit) * unit;
    batch.skip[row] = numbers.Below(20);
    batch.end[row] = columns - numbers.Below(10);
    batch.allFrom = fast512::Larger(batch.allFrom, batch.skip[row]);
    batch.allTo = fast512::Smaller(batch.allTo, batch.end[row]);
    batch.columns = fast512::Larger(batch.columns, batch.end[row]);
  }
  return batch;
}

// Whether u has an alpha: rows end before others would be asked for.
bool IsInside(float u) { return u >= 0 && u < 1.003F; }

void CompareBatch(const Batch& batch, EvenColumnsCheck& check) {
  fast512::WindowFit fit;
  if (!fit.Fits(batch, 64, 128)) return;
  std::uint64_t parts = fast512::EvenPartsOf(batch, fit.Ends());
  fast512::EvenColumns columns;
  fast512::Floats u = batch.u, behind = u;
  std::int32_t first = 0;
  bool before = false;
  for (std::int32_t part = 0; part * 16 < batch.columns; ++part, parts >>= 1U) {
    if (part % 4 == 0) {
      const std::int32_t next = fit.Next();
      columns.CountFrom(next - first);
      first = next;
    }
    const bool even = (parts & 1U) != 0;
    if (even && !before) columns.Start(behind = u, batch.dudx, first);
    if (even) columns.Leave(behind);
    check.even += even ? 1 : 0;
    before = even;
    for (std::int32_t x = 0; x < 16; ++x) {
      const std::int32_t column = 16 * part + x;
      alignas(64) static std::uint8_t indices[64];
      if (even && x % 4 == 0) _mm512_store_si512(indices, columns.NextFour());
      for (int row = 0; row < 16; ++row) {
        if (even && column < batch.end[row] && IsInside(u[row])) {
          const auto wanted = static_cast<std::int32_t>(u[row] * fast512::kEntriesPerBand) - first;
          check.wrong += (indices[row / 4 * 16 + x % 4 * 4 + row % 4] & 127) != wanted ? 1 : 0;
        }
        if (batch.skip[row] <= column) u[row] += batch.dudx[row];
      }
    }
    for (int row = 0; even && row < 16; ++row) check.wrong += IsInside(u[row]) && u[row] != behind[row] ? 1 : 0;
  }
}

}  // namespace

EvenColumnsCheck CheckEvenColumns(std::uint32_t seed, int batches) {
  EvenColumnsCheck check;
  Numbers numbers(seed);
  for (int i = 0; i < batches; ++i) CompareBatch(RandomBatch(numbers), check);
  return check;
}

}  // namespace orvandel
