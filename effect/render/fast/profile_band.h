// Bands of a stroke whose alpha varies across its width.
//
// Two passes over the band's pieces:
// 1. Their runs as bits, as for a flat profile, and also the cells that more than one piece covers.
//    A cell is simple when one piece covers it and it lies inside the shape. Nearly all are.
// 2. Their samples. A simple cell's alpha goes straight to the pixel's counter: which other cells there are does not
//    matter. The indices of all other cells meet in a plane of their own, by their minimum; those inside are counted
//    at the end.
//
// Runs of simple cells are summed for several rows at once, one row a lane: each lane adds up its own u from column to
// column, exactly as the plain scan does (u += dudx, rounded every time). Four lanes are four rows of one pixel row and
// begin at the same pixel, so that their sums can be added before they touch the counters.
#pragma once

#include "effect/render/fast/band.h"
#include "effect/render/fast/lookup.h"
#include "effect/render/fast/mark_queue.h"
#include "effect/render/fast/pixels.h"
#include "effect/render/fast/run.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// First pass.
template <int Q>
class ShapePass {
 public:
  explicit ShapePass(const Band<Q>& band) : band_(band), queue_(band) {}

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    queue_.Add(piece, a, b, side, y, end);
  }

  void Walk(LivePiece& piece, std::int32_t y, std::int32_t end) {
#if defined(__AVX512F__)
    if constexpr (Q != 0 && Q % 4 == 0) {
      if (piece.tame) return queue_.AddTamePiece(piece, y, end);
    }
#endif
    WalkPiece(piece, y, end, *this);
  }

  void OneRow(std::int32_t y, const Cut& cut, bool) {
    Cells cells;
    if (!TakeCells(cut.leftX, cut.rightX, band_.Job().lo, band_.Job().hi, cells)) return;
    const std::int32_t firstColumn = band_.FirstColumn();
    MarkRun<Q, true>(band_, y - band_.FirstRow(), cells.first - firstColumn, cells.last - firstColumn, cut.outline);
  }

  // Turns the marks into what the second pass needs: crossings become "inside", `Twice` becomes "covered and not
  // simple", and their places in the plane of indices are set to "none".
  void Resolve(std::int32_t pixelRows) {
    queue_.Flush();
    for (std::int32_t pixelRow = 0; pixelRow < pixelRows; ++pixelRow) band_.Job().band.badRows[pixelRow] = 0;
    InsideWalk<Q> walk;
    band_.template ForLines<false>(pixelRows, [&](const Line* lines, std::int32_t count) {
      for (std::int32_t i = 0; i < count; ++i) ResolveLine(walk, lines[i]);
    });
  }

 private:
  using Rows = RowWords<Q>;
  using Vector = typename Rows::Vector;

  void ResolveLine(InsideWalk<Q>& walk, const Line& line) const {
    const std::int32_t q = band_.Sizes().Quality();
    std::uint64_t *words = band_.WordsOf(line), *twice = band_.Twice(line.pixelRow, line.word);
    Vector inside;
    walk.Inside(line, words, q, inside);
    Rows::Store(words + q, inside, q);
    const Vector bad = Rows::Load(twice, q) | (Rows::Load(words, q) & ~inside);
    if (!Rows::Any(bad)) return;
    Rows::Store(twice, bad, q);
    band_.Job().band.badRows[line.pixelRow] = 1;
    std::uint16_t* smallest = band_.Smallest(line.pixelRow, line.word);
    for (std::int32_t i = 0; i < 64 * q; ++i) smallest[i] = kIndexEntries - 1;
  }

  const Band<Q>& band_;
  MarkQueue<Q, true> queue_;
};

// Second pass.
template <int Q>
class SamplePass {
 public:
  explicit SamplePass(const Band<Q>& band) : band_(band), lookup_(band.Job().alphas) {}

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    LaneCuts cuts;
    cuts.Clear();
    std::int32_t batch = (y - band_.FirstRow()) & ~(kRowGroup - 1);  // row of the first lane
    ForRowGroups(piece, a, b, y, end, band_.FirstRow(), [&](std::int32_t row, const RowCuts& group) {
      if (row == batch + kLanes) {
        Add(side, batch, cuts);
        cuts.Clear();
        batch = row;
      }
      cuts.Take(row - batch, group);
    });
    Add(side, batch, cuts);
  }

  void OneRow(std::int32_t y, const Cut& cut, bool) {
    Samples run;
    if (TakeSamples(cut, band_.Job().lo, band_.Job().hi, run)) AddRun(y - band_.FirstRow(), run);
  }

  // Counts the cells of a line that are not simple, and clears its marks.
  void FinishLine(const Line& line) const {
    const std::int32_t q = band_.Sizes().Quality();
    if (band_.Job().band.badRows[line.pixelRow] != 0) CountBadCells(line);
    std::uint64_t* words = band_.WordsOf(line);
    Rows::Store(words, Vector{}, q);
    Rows::Store(words + q, Vector{}, q);
  }

 private:
  using Rows = RowWords<Q>;
  using Vector = typename Rows::Vector;
  static constexpr bool kInLanes = Q != 0 && Q % 4 == 0;

  // One row a lane.
  struct LaneCuts {
    float leftX[kLanes], rightX[kLanes], leftU[kLanes], rightU[kLanes];
    std::int32_t used[kLanes];  // -1 in lanes that hold a row

    void Clear() { *this = {}; }
    ORVANDEL_INLINE void Take(std::int32_t lane, const RowCuts& cuts) {
      Store(leftX + lane, cuts.leftX);
      Store(rightX + lane, cuts.rightX);
      Store(leftU + lane, cuts.leftU);
      Store(rightU + lane, cuts.rightU);
      Store(used + lane, cuts.used);
    }
  };

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
        if (TakeSamples(cut, band_.Job().lo, band_.Job().hi, run)) AddRun(batch + lane, run);
      }
    }
  }

  // Any run: cell by cell, the parts in whole words without bad cells pixel by pixel.
  void AddRun(std::int32_t row, Samples run) {
    const Grid<Q>& grid = band_.Sizes();
    const std::int32_t pixelRow = grid.RowOf(row), subRow = row - pixelRow * grid.Quality();
    const std::uint64_t* bad = band_.Job().band.badRows[pixelRow] != 0 ? band_.PlaceOf(row).twice : nullptr;
    std::int32_t x = run.first - band_.FirstColumn();
    const std::int32_t end = x + run.count;
    while (x < end) {
      const std::int32_t word = grid.WordOf(x), wordStart = word * grid.BitsPerWord();
      const std::int32_t wordEnd = Smaller(wordStart + grid.BitsPerWord(), end);
      const std::uint64_t badBits = bad != nullptr ? bad[word * grid.Quality()] : 0;
      if (badBits == 0) {
        AddSimpleCells(band_.Counters(pixelRow), x, wordEnd, run);
      } else {
        AddMixedCells(band_.Counters(pixelRow), x, wordEnd, run, badBits, wordStart,
                      band_.Smallest(pixelRow, word) + 64 * subRow);
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
    if (band_.Job().band.badRows[grid.RowOf(row)] == 0) return false;
    const std::uint64_t* bad = band_.PlaceOf(row).twice;
    const std::int32_t lastWord = grid.WordOf(first + count - 1);
    std::uint64_t any = 0;
    for (std::int32_t word = grid.WordOf(first); word <= lastWord; ++word) any |= bad[word * grid.Quality()];
    return any != 0;
  }

  // TakeSamples for all lanes.
  void TakeRuns(OutlineSide side, const LaneCuts& cuts, LaneRuns& runs) const {
    Floats leftX = Load<Floats>(cuts.leftX), rightX = Load<Floats>(cuts.rightX);
    const Floats leftU = Load<Floats>(cuts.leftU), rightU = Load<Floats>(cuts.rightU);
    if (side == OutlineSide::kLeft) rightX = leftX < rightX ? rightX : leftX;
    if (side == OutlineSide::kRight) leftX = rightX < leftX ? rightX : leftX;
    Ints drawn = Load<Ints>(cuts.used);
    if (side == OutlineSide::kNone) drawn &= leftX <= rightX;

    const std::int32_t lo = band_.Job().lo, hi = band_.Job().hi;
    Ints first = Floor(leftX), last = Floor(rightX);
    const Floats extent = rightX - leftX;
    const Floats dudx = extent != 0 ? (rightU - leftU) / extent : Floats{};
    Floats u = (1.0F - (leftX - ToFloats(first))) * dudx + leftU;
    u = 0.0F < u ? u : Floats{};
    u = first < lo ? u + ToFloats(WrappingDifference(Ints{} + lo, first)) * dudx : u;
    first = first < lo ? Ints{} + lo : first;
    last = last > hi ? Ints{} + hi : last;
    drawn &= last > first;
    runs = {WrappingDifference(first, Ints{} + band_.FirstColumn()), drawn ? WrappingDifference(last, first) : Ints{},
            u, dudx};
  }

  void AddLanes(OutlineSide side, std::int32_t batch, const LaneCuts& cuts) {
    LaneRuns runs;
    TakeRuns(side, cuts, runs);
    for (std::int32_t lane = 0; lane < kLanes; ++lane) {
      if (runs.count[lane] == 0 || !AnyBad(batch + lane, runs.first[lane], runs.count[lane])) continue;
      AddRun(batch + lane, {runs.first[lane] + band_.FirstColumn(), runs.count[lane], runs.u[lane], runs.dudx[lane]});
      runs.count[lane] = 0;
    }
    if (Any(runs.count)) AddSimpleLanes(batch, runs);
  }

  void AddSimpleLanes(std::int32_t batch, LaneRuns& runs) {
    constexpr float kDroppedU = 1.003F;  // index 501
    const Ints filled = runs.count > 0;
    runs.u = filled ? runs.u : Floats{} + kDroppedU;
    runs.dudx = filled ? runs.dudx : Floats{};
    const Ints pixel = filled ? runs.first / Q : Ints{} + kNoFirstRow;
    const Ints start = SmallestOfGroup(pixel);  // of the group's pixels
    const Ints skip = filled ? WrappingDifference(runs.first, (Ints)((Words)start * Q)) : Ints{};
    const Ints end = skip + runs.count;
    // All lanes have samples in columns allFrom .. allTo - 1, counted from their group's start.
    const std::int32_t allFrom = LargestLane(skip), allTo = SmallestLane(filled ? end : Ints{} + kNoFirstRow);
    const std::int32_t columns = LargestLane(end);

    GroupPlace places[kGroups];
    for (int group = 0; group < kGroups; ++group) places[group] = PlaceOf(batch, start, end, group);
    for (std::int32_t x = 0; x < columns; x += 4 * Q) {
      Ints sums[4];
      for (int pixelInTurn = 0; pixelInTurn < 4; ++pixelInTurn) {
        sums[pixelInTurn] = Ints{};
        for (int i = 0; i < Q; i += 4) {
          const std::int32_t from = x + pixelInTurn * Q + i;
          if (from >= allFrom && from + 4 <= allTo) {
            AddFourColumns(runs, sums[pixelInTurn]);
          } else {
            AddFourColumnsMasked(from, skip, end, runs, sums[pixelInTurn]);
          }
        }
      }
      AddToCounters(SumGroups(sums), x, places);
    }
  }

  void AddFourColumns(LaneRuns& runs, Ints& sums) const {
    Ints index[4];
    for (Ints& i : index) {
      i = Truncate(runs.u * kEntriesPerBand);
      runs.u += runs.dudx;
    }
    lookup_.Add(index[0], index[1], index[2], index[3], sums);
  }

  void AddFourColumnsMasked(std::int32_t from, const Ints& skip, const Ints& end, LaneRuns& runs, Ints& sums) const {
    Ints index[4];
    for (Ints& i : index) {
      const Ints within = (skip <= from) & (end > from);
      i = within ? Truncate(runs.u * kEntriesPerBand) : Ints{} + kFirstDropped;
      runs.u = within ? runs.u + runs.dudx : runs.u;
      ++from;
    }
    lookup_.Add(index[0], index[1], index[2], index[3], sums);
  }

  // Where four rows of one pixel row add their sums, and up to which column, counted from there; 0 without samples.
  struct GroupPlace {
    std::uint16_t* counters;
    std::int32_t columns;
  };

  GroupPlace PlaceOf(std::int32_t batch, const Ints& start, const Ints& end, int group) const {
    const std::int32_t pixel = start[4 * group];
    if (pixel == kNoFirstRow) return {nullptr, 0};
    return {band_.Counters(band_.Sizes().RowOf(batch + 4 * group)) + pixel,
            Larger(Larger<std::int32_t>(end[4 * group], end[4 * group + 1]),
                   Larger<std::int32_t>(end[4 * group + 2], end[4 * group + 3]))};
  }

  ORVANDEL_INLINE static void AddToCounters(const Ints& sums, std::int32_t x, const GroupPlace (&places)[kGroups]) {
    typedef std::uint16_t Four __attribute__((vector_size(8)));
    const Halves halves = __builtin_convertvector((Words)sums, Halves);
    for (int group = 0; group < kGroups; ++group) {
      if (x >= places[group].columns) continue;
      std::uint16_t* counters = places[group].counters + x / Q;
      Four four;
      __builtin_memcpy(&four, reinterpret_cast<const char*>(&halves) + 8 * group, sizeof four);
      Store(counters, Load<Four>(counters) + four);
    }
  }

  void CountBadCells(const Line& line) const {
    const std::int32_t q = band_.Sizes().Quality(), firstColumn = line.word * band_.Sizes().BitsPerWord();
    const std::uint64_t* words = band_.WordsOf(line);
    std::uint64_t* bad = band_.Twice(line.pixelRow, line.word);
    const std::uint16_t* smallest = band_.Smallest(line.pixelRow, line.word);
    std::uint16_t* counters = band_.Counters(line.pixelRow);
    for (std::int32_t row = 0; row < q; ++row) {
      std::uint64_t bits = bad[row] & words[q + row];  // inside
      bad[row] = 0;
      for (; bits != 0; bits &= bits - 1) {
        const std::int32_t bit = __builtin_ctzll(bits);
        std::uint16_t& counter = counters[band_.Sizes().PixelOf(firstColumn + bit)];
        counter = static_cast<std::uint16_t>(counter + band_.Job().counts[smallest[64 * row + bit]]);
      }
    }
  }

  const Band<Q>& band_;
  AlphaLookup lookup_;
};

template <int Q>
class ProfileBand {
 public:
  // Pixels blended at a time.
  static constexpr int kPixels = Q == 4 ? kLanes : kLanes == 4 ? 4 : 8;
  using P = Pixels<kPixels>;

  ProfileBand(const DrawJob& job, std::int32_t firstRow)
      : band_(job, firstRow), painter_(job), shape_(band_), samples_(band_) {}

  void Walk(LivePiece& piece, std::int32_t y, std::int32_t end) {
    LivePiece probe = piece;
    shape_.Walk(probe, y, end);
  }

  void Resolve(std::int32_t pixelRows) { shape_.Resolve(pixelRows); }

  void WalkAgain(LivePiece& piece, std::int32_t y, std::int32_t end) { WalkPiece(piece, y, end, samples_); }

  void Finish(std::int32_t pixelRows) {
    const PictureRows rows(painter_, band_.FirstPixelRow(), pixelRows);
    band_.template ForLines<true>(pixelRows, [&](const Line* lines, std::int32_t count) {
      for (std::int32_t i = 0; i < count; ++i) {
        rows.Expect(lines[i].pixelRow, band_.FirstPixelOf(lines[i].word));
        samples_.FinishLine(lines[i]);
      }
      for (std::int32_t i = 0; i < count; ++i) BlendLine(rows, lines[i]);
    });
  }

 private:
  // Whole vectors of counters: what belongs to the next line is blended with this one.
  ORVANDEL_INLINE void BlendLine(const PictureRows& rows, const Line& line) const {
    const std::int32_t first = band_.FirstPixelOf(line.word), end = first + band_.Sizes().PixelsPerWord();
    std::uint16_t* counters = band_.Counters(line.pixelRow);
    for (std::int32_t pixel = first; pixel < end; pixel += kPixels) {
      const typename P::Words sums = P::LoadHalves(counters + pixel);
      if (!P::Any((typename P::Ints)sums)) continue;
      __builtin_memset(counters + pixel, 0, kPixels * sizeof *counters);
      painter_.Blend(rows[line.pixelRow], pixel, P::ToFloats(sums));
    }
  }

  Band<Q> band_;
  Painter<kPixels> painter_;
  ShapePass<Q> shape_;
  SamplePass<Q> samples_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
