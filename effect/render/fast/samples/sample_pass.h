// The second pass over a band whose alpha varies across the stroke's width, see profile_band.h.
//
// Runs of simple cells are summed for several rows at once, one row a lane: each lane adds up its own u from column to
// column, exactly as the plain scan does (u += dudx, rounded every time). The rows of a group of lanes belong to one
// pixel row and begin at the same pixel, so that their sums can be added before they touch the counters.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/pieces/row_groups.h"
#include "effect/render/fast/samples/window_sums.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int P>
class SamplePass {
 public:
  explicit SamplePass(const Band<P>& band) : band_(band), windows_(band.Sizes()) {}

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    ForRowGroups<kLanes, kBatchStep>(piece, a, b, y, end, band_.FirstRow(), band_.Sizes(),
                                     [&](std::int32_t row, const LaneCuts& cuts) { Add(side, row, cuts); });
  }

  void OneRow(std::int32_t y, const Cut& cut, bool) {
    Samples run;
    if (MakeSamples(cut, band_.Job().lo, band_.Job().hi, run)) AddRun(band_.Sizes().CellOf(y - band_.FirstRow()), run);
  }

  // Adds what still waits.
  void Flush() {
    if constexpr (kInLanes) windows_.Flush();
  }

  // Counts the cells of a word column that are not simple.
  void FinishColumn(const WordColumn& at) const {
    if (band_.Bad(at.strip) != 0) CountBadCells(at);
  }

 private:
  static constexpr std::uint64_t kPixelBits = (std::uint64_t{1} << P) - 1;

  // Lanes of few rows do not pay at qualities 1 and 2.
  static constexpr bool kInLanes = P % 4 == 0 || kLanes == 16;
  static constexpr int kBatchStep = kInLanes ? Larger(kLanesOfGroup<P>, kRowGroup) : kRowGroup;

  using LaneCuts = RowCuts<kLanes>;

  // Runs in lanes, by lane. Lanes without samples have count 0.
  struct LaneRuns {
    Ints first;  // column, from the band's first
    Ints count;
    Floats u, dudx;
  };

  // Rows count from the band's first.
  void Add(OutlineSide side, std::int32_t batch, const LaneCuts& cuts) {
    if constexpr (kInLanes) {
      AddLanes(side, batch, cuts);
    } else {
      for (std::int32_t lane = 0; lane < kLanes; ++lane) {
        if (cuts.used[lane] == 0) continue;
        Cut cut{cuts.leftX[lane], cuts.rightX[lane], cuts.leftU[lane], cuts.rightU[lane], side, 0};
        Samples run;
        if (!OrderCut(side, cut.leftX, cut.rightX)) continue;
        if (MakeSamples(cut, band_.Job().lo, band_.Job().hi, run)) AddRun(batch + lane, run);
      }
    }
  }

  // Any run, pixel by pixel.
  void AddRun(std::int32_t row, Samples run) const {
    const Grid<P>& grid = band_.Sizes();
    const std::int32_t strip = band_.StripOf(row), x = run.first - band_.FirstColumn(), end = x + run.count;
    const std::uint64_t* bad = band_.Bad(strip) != 0 ? band_.PlaceOf(row).twice : nullptr;
    std::uint16_t* counters = band_.Counters(band_.PixelRowOf(row));
    std::int32_t pixel = grid.PixelOf(x);
    for (std::int32_t from = x; from < end; ++pixel) {
      const std::int32_t start = pixel * grid.Quality(), to = Smaller(start + grid.Quality(), end);
      const std::int32_t word = pixel * P / kWordCells, bit = pixel * P % kWordCells;
      const std::uint64_t badBits = bad != nullptr ? bad[word * kStripRows<P>] >> bit & kPixelBits : 0;
      std::uint16_t* smallest =
          badBits == 0 ? nullptr : band_.Smallest(strip, word) + kWordCells * band_.RowOfStrip(row) + bit;
      std::uint32_t sum = counters[pixel];
      for (; from < to; ++from, run.u += run.dudx) {
        const std::int32_t index = SafeIndexAt(run.u), cell = from - start;
        if ((badBits >> cell & 1U) == 0) {
          sum += band_.Job().counts[index];
        } else {
          smallest[cell] = Smaller(smallest[cell], static_cast<std::uint16_t>(index));
        }
      }
      counters[pixel] = static_cast<std::uint16_t>(sum);
    }
  }

  // Whether words that the run lies in have cells that are not simple.
  bool AnyBad(std::int32_t row, std::int32_t first, std::int32_t count) const {
    if (band_.Bad(band_.StripOf(row)) == 0) return false;
    const std::uint64_t* bad = band_.PlaceOf(row).twice;
    const auto wordOf = [&](std::int32_t x) { return band_.Sizes().CellOf(x) / kWordCells; };
    std::uint64_t any = 0;
    for (std::int32_t word = wordOf(first); word <= wordOf(first + count - 1); ++word) any |= bad[word * kStripRows<P>];
    return any != 0;
  }

  // MakeSamples for all lanes.
  void MakeRuns(OutlineSide side, const LaneCuts& cuts, LaneRuns& runs) const {
    Floats leftX = cuts.leftX, rightX = cuts.rightX;
    MoveToOutline(leftX, rightX, Ints{} - (side == OutlineSide::kLeft ? 1 : 0),
                  Ints{} - (side == OutlineSide::kRight ? 1 : 0));

    const std::int32_t lo = band_.Job().lo, hi = band_.Job().hi;
    Ints first = Floor(leftX), last = Floor(rightX);
    const Floats extent = rightX - leftX;
    const Floats dudx = extent != 0 ? (cuts.rightU - cuts.leftU) / extent : Floats{};
    Floats u = (1.0F - (leftX - ToFloats(first))) * dudx + cuts.leftU;
    u = 0.0F < u ? u : Floats{};
    u = first < lo ? u + ToFloats(WrappingDifference(Ints{} + lo, first)) * dudx : u;
    first = first < lo ? Ints{} + lo : first;
    last = last > hi ? Ints{} + hi : last;
    const Ints count = Select(AtMost(leftX, rightX) & Less(first, last), WrappingDifference(last, first), Ints{});
    runs = {WrappingDifference(first, Ints{} + band_.FirstColumn()), count & cuts.used, u, dudx};
  }

  void AddLanes(OutlineSide side, std::int32_t batch, const LaneCuts& cuts) {
    LaneRuns runs;
    MakeRuns(side, cuts, runs);
    if (AnyBadStrip(batch)) AddBadLanes(batch, runs);
    if (!Any(runs.count)) return;
    Prepare(batch, runs, windows_.Next());
    windows_.Add(band_.Job().alphas);
  }

  // Whether cells that are not simple lie in the strips of a batch.
  ORVANDEL_INLINE bool AnyBadStrip(std::int32_t batch) const {
    constexpr std::size_t kStrips = Larger(kLanes / kStripRows<P>, 1);
    std::uint32_t bad = 0;
    static_assert(kStrips <= sizeof bad);
    __builtin_memcpy(&bad, &band_.Bad(band_.StripOf(batch)), kStrips);
    return bad != 0;
  }

  // Removes the lanes that meet such cells, and adds them one by one.
  void AddBadLanes(std::int32_t batch, LaneRuns& runs) const {
    for (std::int32_t lane = 0; lane < kLanes; ++lane) {
      if (runs.count[lane] == 0 || !AnyBad(batch + lane, runs.first[lane], runs.count[lane])) continue;
      AddLane(batch, runs, lane);
      runs.count[lane] = 0;
    }
  }
  void AddLane(std::int32_t batch, const LaneRuns& runs, std::int32_t lane) const {
    AddRun(batch + lane, {runs.first[lane] + band_.FirstColumn(), runs.count[lane], runs.u[lane], runs.dudx[lane]});
  }

  void Prepare(std::int32_t row, const LaneRuns& runs, LaneBatch<P>& batch) const {
    constexpr float kDroppedU = 1.003F;  // index 501
    const Grid<P>& grid = band_.Sizes();
    batch.filled = runs.count > 0;
    batch.u = batch.filled ? runs.u : Floats{} + kDroppedU;
    batch.dudx = batch.filled ? runs.dudx : Floats{};
    const Ints pixel = batch.filled ? grid.PixelsOf(runs.first) : Ints{} + kNoFirstRow;
    const Ints start = SmallestOfGroup<kLanesOfGroup<P>>(pixel);
    const Ints startColumn = (Ints)((Uints)start * static_cast<std::uint32_t>(grid.Quality()));
    const Ints skip = batch.filled ? WrappingDifference(runs.first, startColumn) : Ints{};
    batch.skip = grid.CellsOf(skip);
    batch.end = grid.CellsOf(skip + runs.count);
    const LaneLimits limits = LimitsOf(batch.filled, batch.skip, batch.end);
    batch.allFrom = limits.largestSkip;
    batch.allTo = limits.smallestEnd;
    batch.columns = limits.largestEnd;
    // A group without samples may lie behind the band, where nobody looks at its zeros.
    for (int group = 0; group < kGroups<P>; ++group) {
      const std::int32_t first = start[kLanesOfGroup<P> * group];
      const std::int32_t pixelRow = band_.PixelRowOf(row + kLanesOfGroup<P> * group);
      batch.counters[group] = band_.Counters(pixelRow) + (first != kNoFirstRow ? first : 0);
    }
  }

  void CountBadCells(const WordColumn& at) const {
    constexpr std::int32_t kRows = kStripRows<P>;
    std::uint64_t* inside = band_.WordsOf(at) + kRows;
    std::uint64_t* bad = band_.Twice(at.strip, at.word);
    const std::uint16_t* smallest = band_.Smallest(at.strip, at.word);
    for (std::int32_t row = 0; row < kRows; ++row) {
      std::uint16_t* counters = band_.Counters(band_.PixelRowOf(at.strip * kRows + row)) + band_.FirstPixelOf(at.word);
      std::uint64_t bits = bad[row] & inside[row];
      bad[row] = inside[row] = 0;
      for (; bits != 0; bits &= bits - 1) {
        const std::int32_t bit = __builtin_ctzll(bits);
        std::uint16_t& counter = counters[bit / P];
        counter = static_cast<std::uint16_t>(counter + band_.Job().counts[smallest[kWordCells * row + bit]]);
      }
    }
  }

  const Band<P>& band_;
  WindowSums<P> windows_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
