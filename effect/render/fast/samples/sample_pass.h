// The second pass over a band whose alpha varies across the stroke's width, see profile_band.h.
//
// Runs of simple cells are summed for several rows at once, one row a lane: each lane adds up its own u from column to
// column, exactly as the plain scan does (u += dudx, rounded every time). The rows of a group of lanes belong to one
// pixel row and begin at the same pixel, so that their sums can be added before they touch the counters. Where a
// pixel's rows are no whole part of a vector, all lanes begin at one pixel, and each one's sums are added by
// themselves.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/pieces/row_groups.h"
#include "effect/render/fast/samples/window_sums.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q>
class SamplePass {
 public:
  explicit SamplePass(const Band<Q>& band) : band_(band), lookup_(band.Job().alphas) {}

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    LaneCuts cuts;
    const std::int32_t first = y - band_.FirstRow(), behind = end - band_.FirstRow();
    std::int32_t batch = first & ~(kBatchStep - 1);  // row of the first lane
    const auto add = [&] {
      const Ints row = LaneNumbers<Ints>() + batch;
      cuts.used = (row >= first) & (row < behind);
      Add(side, batch, cuts);
    };
    ForRowGroups(piece, a, b, y, end, band_.FirstRow(), [&](std::int32_t row, const RowCuts& group) {
      if (row == batch + kLanes) {
        add();
        batch = row;
      }
      cuts.Put(row - batch, group);
    });
    add();
  }

  void OneRow(std::int32_t y, const Cut& cut, bool) {
    Samples run;
    if (MakeSamples(cut, band_.Job().lo, band_.Job().hi, run)) AddRun(y - band_.FirstRow(), run);
  }

  // Adds what still waits.
  void Flush() { windows_.Flush(); }

  // Counts the cells of a word column that are not simple.
  void FinishColumn(const WordColumn& at) const {
    if (band_.Bad(at.strip) != 0) CountBadCells(at);
  }

 private:
  // Without windows lanes do not pay at qualities 1 and 2.
  static constexpr bool kInLanes = Q % 4 == 0 || AlphaWindow::kEntries >= 128;
  static constexpr int kBatchStep = kInLanes ? Larger(kLanesOfGroup<Q>, kRowGroup) : kRowGroup;

  // One row a lane.
  struct LaneCuts {
    static constexpr int kGroupsOfRows = kLanes / kRowGroup;
    RowFloats leftX[kGroupsOfRows] = {}, rightX[kGroupsOfRows] = {}, leftU[kGroupsOfRows] = {},
              rightU[kGroupsOfRows] = {};
    Ints used{};  // a mask: lanes that hold a row

    ORVANDEL_INLINE void Put(std::int32_t lane, const RowCuts& cuts) {
      const std::int32_t group = lane / kRowGroup;
      leftX[group] = cuts.leftX;
      rightX[group] = cuts.rightX;
      leftU[group] = cuts.leftU;
      rightU[group] = cuts.rightU;
    }
  };

  // In the parts in which they were stored: a load across two stores waits until both have reached the cache.
  template <typename Group>
  ORVANDEL_INLINE static Floats LoadGroups(const Group* from) {
    if constexpr (sizeof(Group) == sizeof(Floats)) {
      return from[0];
    } else {
      return Joined(from[0], from[1]);
    }
  }

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
        const std::int32_t group = lane / kRowGroup, row = lane % kRowGroup;
        Cut cut{
            cuts.leftX[group][row], cuts.rightX[group][row], cuts.leftU[group][row], cuts.rightU[group][row], side, 0};
        Samples run;
        if (!OrderCut(side, cut.leftX, cut.rightX)) continue;
        if (MakeSamples(cut, band_.Job().lo, band_.Job().hi, run)) AddRun(batch + lane, run);
      }
    }
  }

  // Any run: cell by cell, the parts in whole words without bad cells pixel by pixel.
  void AddRun(std::int32_t row, Samples run) const {
    const Grid<Q>& grid = band_.Sizes();
    const std::int32_t strip = grid.StripOf(row), subRow = row - strip * grid.StripRows();
    const std::uint64_t* bad = band_.Bad(strip) != 0 ? band_.PlaceOf(row).twice : nullptr;
    std::uint16_t* counters = band_.Counters(grid.RowOf(row));
    std::int32_t x = run.first - band_.FirstColumn();
    const std::int32_t end = x + run.count;
    while (x < end) {
      const std::int32_t word = grid.WordOf(x), wordStart = word * grid.BitsPerWord();
      const std::int32_t wordEnd = Smaller(wordStart + grid.BitsPerWord(), end);
      const std::uint64_t badBits = bad != nullptr ? bad[word * grid.StripRows()] : 0;
      if (badBits == 0) {
        AddSimpleCells(counters, x, wordEnd, run);
      } else {
        AddMixedCells(counters, x, wordEnd, run, badBits, wordStart, band_.Smallest(strip, word) + 64 * subRow);
      }
      x = wordEnd;
    }
  }

  std::uint32_t NextCount(Samples& run) const {
    const std::uint16_t count = band_.Job().counts[SafeIndexAt(run.u)];
    run.u += run.dudx;
    return count;
  }

  // Columns x .. end - 1, one pixel after the other.
  void AddSimpleCells(std::uint16_t* counters, std::int32_t x, std::int32_t end, Samples& run) const {
    std::int32_t pixel = band_.Sizes().PixelOf(x);
    while (x < end) {
      const std::int32_t pixelEnd = Smaller((pixel + 1) * band_.Sizes().Quality(), end);
      std::uint32_t sum = counters[pixel];
      for (; x < pixelEnd; ++x) sum += NextCount(run);
      counters[pixel++] = static_cast<std::uint16_t>(sum);
    }
  }

  void AddMixedCells(std::uint16_t* counters, std::int32_t x, std::int32_t end, Samples& run, std::uint64_t bad,
                     std::int32_t wordStart, std::uint16_t* smallest) const {
    for (; x < end; ++x) {
      if ((bad >> (x - wordStart) & 1U) != 0) {
        std::uint16_t& index = smallest[x - wordStart];
        index = Smaller(index, static_cast<std::uint16_t>(SafeIndexAt(run.u)));
        run.u += run.dudx;
      } else {
        std::uint16_t& counter = counters[band_.Sizes().PixelOf(x)];
        counter = static_cast<std::uint16_t>(counter + NextCount(run));
      }
    }
  }

  // Whether words that the run lies in have cells that are not simple.
  bool AnyBad(std::int32_t row, std::int32_t first, std::int32_t count) const {
    const Grid<Q>& grid = band_.Sizes();
    if (band_.Bad(grid.StripOf(row)) == 0) return false;
    const std::uint64_t* bad = band_.PlaceOf(row).twice;
    const std::int32_t lastWord = grid.WordOf(first + count - 1);
    std::uint64_t any = 0;
    for (std::int32_t word = grid.WordOf(first); word <= lastWord; ++word) any |= bad[word * grid.StripRows()];
    return any != 0;
  }

  // MakeSamples for all lanes.
  void MakeRuns(OutlineSide side, const LaneCuts& cuts, LaneRuns& runs) const {
    Floats leftX = LoadGroups(cuts.leftX), rightX = LoadGroups(cuts.rightX);
    const Floats leftU = LoadGroups(cuts.leftU), rightU = LoadGroups(cuts.rightU);
    MoveToOutline(leftX, rightX, Ints{} - (side == OutlineSide::kLeft ? 1 : 0),
                  Ints{} - (side == OutlineSide::kRight ? 1 : 0));

    const std::int32_t lo = band_.Job().lo, hi = band_.Job().hi;
    Ints first = Floor(leftX), last = Floor(rightX);
    const Floats extent = rightX - leftX;
    const Floats dudx = extent != 0 ? (rightU - leftU) / extent : Floats{};
    Floats u = (1.0F - (leftX - ToFloats(first))) * dudx + leftU;
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
    if (Any(runs.count)) AddSimpleLanes(batch, runs);
  }

  // Whether cells that are not simple lie in the strips of a batch.
  ORVANDEL_INLINE bool AnyBadStrip(std::int32_t batch) const {
    constexpr std::size_t kStrips = Q == 0 ? 8 : Larger(kLanes / Larger(kStripRows<Q>, 1), 1);  // or more
    std::uint64_t bad[2] = {};
    static_assert(kStrips <= sizeof bad);
    __builtin_memcpy(bad, &band_.Bad(band_.Sizes().StripOf(batch)), kStrips);
    return (bad[0] | bad[1]) != 0;
  }

  // Removes the lanes that meet such cells, and adds them one by one.
  void AddBadLanes(std::int32_t batch, LaneRuns& runs) const {
    for (std::int32_t lane = 0; lane < kLanes; ++lane) {
      if (runs.count[lane] == 0 || !AnyBad(batch + lane, runs.first[lane], runs.count[lane])) continue;
      AddLane(batch, runs, lane);
      runs.count[lane] = 0;
    }
  }
  void AddLaneByLane(std::int32_t batch, const LaneRuns& runs) const {
    for (std::int32_t lane = 0; lane < kLanes; ++lane) {
      if (runs.count[lane] != 0) AddLane(batch, runs, lane);
    }
  }
  void AddLane(std::int32_t batch, const LaneRuns& runs, std::int32_t lane) const {
    AddRun(batch + lane, {runs.first[lane] + band_.FirstColumn(), runs.count[lane], runs.u[lane], runs.dudx[lane]});
  }

  void AddSimpleLanes(std::int32_t row, const LaneRuns& runs) {
    LaneBatch<Q>& batch = windows_.Next();
    Prepare(row, runs, batch);
    if (windows_.Add(band_.Job().alphas)) return;
    if constexpr (Q % 4 == 0) {
      AddBatch(batch);
    } else {
      AddLaneByLane(row, runs);
    }
  }

  void Prepare(std::int32_t row, const LaneRuns& runs, LaneBatch<Q>& batch) const {
    constexpr float kDroppedU = 1.003F;  // index 501
    const std::int32_t quality = band_.Sizes().Quality();
    batch.filled = runs.count > 0;
    batch.u = batch.filled ? runs.u : Floats{} + kDroppedU;
    batch.dudx = batch.filled ? runs.dudx : Floats{};
    const Ints pixel = batch.filled ? PixelsOf(runs.first) : Ints{} + kNoFirstRow;
    const Ints start = SmallestOfGroup<kLanesFromOnePixel<Q>>(pixel);
    batch.skip = batch.filled
                     ? WrappingDifference(runs.first, (Ints)((Uints)start * static_cast<std::uint32_t>(quality)))
                     : Ints{};
    batch.end = batch.skip + runs.count;
    const LaneLimits limits = LimitsOf(batch.filled, batch.skip, batch.end);
    batch.allFrom = limits.largestSkip;
    batch.allTo = limits.smallestEnd;
    batch.columns = limits.largestEnd;
    // A group without samples may lie behind the band, where nobody looks at its zeros.
    for (int group = 0; group < kGroups<Q>; ++group) {
      const std::int32_t first = start[kLanesOfGroup<Q> * group];
      const std::int32_t pixelRow = band_.Sizes().RowOf(row + kLanesOfGroup<Q> * group);
      batch.counters[group] = band_.Counters(pixelRow) + (first != kNoFirstRow ? first : 0);
    }
  }

  // `columns` >= 0
  Ints PixelsOf(const Ints& columns) const {
    if constexpr (Q != 0) return columns / Q;
    // Columns are little more than 2^18: the product's error is far less than half a column.
    const float perColumn = 1.0F / static_cast<float>(band_.Sizes().Quality());
    return Truncate((ToFloats(columns) + 0.5F) * perColumn);
  }

  // The columns of a batch that fits no window.
  void AddBatch(LaneBatch<Q>& batch) const {
    const std::int32_t quality = band_.Sizes().Quality();
    for (std::int32_t x = 0, pixel = 0; x < batch.columns; x += 4 * quality, pixel += 4) {
      Ints sums[4];
      for (int pixelInTurn = 0; pixelInTurn < 4; ++pixelInTurn) {
        sums[pixelInTurn] = Ints{};
        AddPixel(x + pixelInTurn * quality, batch, sums[pixelInTurn]);
      }
      if constexpr (Q == 0) {
        AddToCountersOfLanes(sums, pixel, batch.counters);
      } else {
        AddToCounters<Q, 1>(TotalsOf(sums), x, batch.counters);
      }
    }
  }

  ORVANDEL_INLINE void AddPixel(std::int32_t from, LaneBatch<Q>& batch, Ints& sums) const {
    const std::int32_t end = from + band_.Sizes().Quality();
    for (; from < end; from += 4) {
      const std::int32_t count = Q != 0 ? 4 : Smaller(end - from, 4);
      if (from >= batch.allFrom && from + count <= batch.allTo) {
        AddColumns(count, batch, sums);
      } else {
        AddColumnsMasked(from, count, batch, sums);
      }
    }
  }

  // Up to four columns.
  ORVANDEL_INLINE void AddColumns(std::int32_t count, LaneBatch<Q>& batch, Ints& sums) const {
    Ints index[4];
    for (std::int32_t k = 0; k < 4; ++k) {
      index[k] = Ints{} + kFirstDropped;
      if (k >= count) continue;
      index[k] = Truncate(batch.u * kEntriesPerBand);
      batch.u += batch.dudx;
    }
    lookup_.Add(index[0], index[1], index[2], index[3], sums);
  }

  ORVANDEL_INLINE void AddColumnsMasked(std::int32_t from, std::int32_t count, LaneBatch<Q>& batch, Ints& sums) const {
    Ints index[4];
    for (std::int32_t k = 0; k < 4; ++k) {
      index[k] = Ints{} + kFirstDropped;
      if (k >= count) continue;
      const Ints within = (batch.skip <= from + k) & (batch.end > from + k);
      index[k] = within ? Truncate(batch.u * kEntriesPerBand) : index[k];
      batch.u = within ? batch.u + batch.dudx : batch.u;
    }
    lookup_.Add(index[0], index[1], index[2], index[3], sums);
  }

  void CountBadCells(const WordColumn& at) const {
    const std::int32_t rows = band_.Sizes().StripRows(), firstColumn = at.word * band_.Sizes().BitsPerWord();
    std::uint64_t* inside = band_.WordsOf(at) + rows;
    std::uint64_t* bad = band_.Twice(at.strip, at.word);
    const std::uint16_t* smallest = band_.Smallest(at.strip, at.word);
    for (std::int32_t row = 0; row < rows; ++row) {
      std::uint16_t* counters = band_.Counters(band_.Sizes().RowOf(at.strip * rows + row));
      std::uint64_t bits = bad[row] & inside[row];
      bad[row] = inside[row] = 0;
      for (; bits != 0; bits &= bits - 1) {
        const std::int32_t bit = __builtin_ctzll(bits);
        std::uint16_t& counter = counters[band_.Sizes().PixelOf(firstColumn + bit)];
        counter = static_cast<std::uint16_t>(counter + band_.Job().counts[smallest[64 * row + bit]]);
      }
    }
  }

  const Band<Q>& band_;
  AlphaLookup lookup_;
  typename WindowsOf<Q>::Type windows_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
