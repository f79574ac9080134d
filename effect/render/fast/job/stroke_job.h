// What one stroke needs to be drawn by the kernels: plain numbers, and memory that belongs to the caller.
//
// Spaces: a column or row is one subsample, `quality` to an output pixel in both directions, and may lie anywhere
// (unfolded). "Pixel" and "pixel row" are unfolded output pixels: the column or row divided by `quality`, rounded down.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvandel::fast {

// First row and end of an edge that takes part in no row.
inline constexpr std::int32_t kNoFirstRow = 0x7FFFFFFF;
inline constexpr std::int32_t kNoEndRow = -0x7FFFFFFF;

// Edges of one kind, one per outline point: parallel arrays.
struct EdgeArrays {
  float *x, *dxdy;            // x on row `first`, and its change per row
  std::int32_t *first, *end;  // takes part in rows first .. end - 1
};

// All edges of a stroke. Index i: the outline and the offset edge from point i - 1 to point i, the ruling at point i.
// Every array has an entry -1, which repeats the last one where it is used, and room for whole vectors behind the last.
struct StrokeEdges {
  std::int32_t count;  // of outline points
  float *x, *y;        // outline points
  float *offsetX, *offsetY;
  EdgeArrays outline, offset, ruling;
  float *rulingU, *rulingDudy;  // u on the ruling's first row, and its change per row
  float* rulingStart;           // y of the ruling's top end, rounded up, also where the ruling meets no row
};

// Extent of all edges that are made; xMin > xMax when there are none.
struct StrokeExtent {
  float xMin, yMin, xMax, yMax;
};

// Outline points in layer pixels -> offset points, edges.
struct SetUpJob {
  float *layerX, *layerY;  // points; room at -1 and `count` for the neighbours across the seam
  float *unitX, *unitY;    // scratch: unit vector of the segment from point i - 1 to point i
  float width;
  float columnOffset, rowOffset, scaleX, scaleY;  // layer pixels -> subsamples
  float farthest;                                 // points beyond it, in subsamples, are not in order
  StrokeEdges edges;
  StrokeExtent extent;                    // out
  std::int32_t firstCrossed, endCrossed;  // out: rows firstCrossed .. endCrossed - 1 are crossed by an outline edge
};

// A piece of the stroke that rows still meet, with its edges as they stand on the row reached. Slots 0 and 3: outline
// and offset edge as they stand from left to right; 1 and 2: the rulings, 1 the one further left.
struct LivePiece {
  float x[4], dxdy[4];
  float u[4], dudy[4];
  std::int32_t first[4], end[4];
  std::int32_t firstBegin, lastEnd;  // on other rows it has no trace
  std::int32_t outlineSlot;          // 0 or 3
  // Where its u may leave the safe range, see piece_walk.h: anywhere; on rows where these slots are active, one bit
  // each.
  bool wild;
  unsigned longRulings;
  bool tame;    // nothing of that, and no more than two edges are active on any row
  bool wide;    // some run of it may be longer than kLongestRun; then:
  float drift;  // how far rounding may move the distance of two edges
};

// One word column of one strip of a band, counted from the band's first; see band.h.
struct WordColumn {
  std::uint16_t word, strip;
};

// A few pixels of a word column that are blended together; the row counts from the band's first.
struct Chunk {
  std::uint32_t place;  // the first pixel, counted like the row's counters, and 2^24 times the row
  std::int32_t Pixel() const { return static_cast<std::int32_t>(place & 0xFFFFFFU); }
  std::int32_t PixelRow() const { return static_cast<std::int32_t>(place >> 24); }
};

// What a band is drawn with, see band.h. Strokes share it, as it is all zero between bands but where noted.
struct BandMemory {
  std::uint64_t *shape, *twice, *dirty;
  std::uint16_t* counters;  // of all pixels; only for profiles that vary, like `twice`, `badStrips` and `smallest`
  std::uint8_t* badStrips;  // see Band::Bad
  // These hold what they will.
  std::uint8_t* samples;    // of chunks: SampleBytes a word column; only for flat profiles
  Chunk* chunks;            // MostChunks a word column
  std::uint16_t* smallest;  // of cells that are not simple, see profile_band.h
  WordColumn* columns;
};

struct DrawJob {
  StrokeEdges edges;

  std::uint8_t* pixels;  // first byte of the picture
  std::int32_t width, height;
  std::ptrdiff_t rowBytes;
  std::uint32_t color;  // a pixel as a word, alpha byte 0

  std::int32_t quality;
  std::int32_t lo, hi;            // columns that may be touched, both included; `hi` is crossed only, never sampled
  std::int32_t firstRow, endRow;  // rows to draw

  // Alpha by index, 512 entries, 0 from 501 on. `counts` is what one sample adds to a counter: the alpha, with
  // quality 1 also kDrawnMark, because there a sample of alpha 0 counts.
  const std::uint8_t* alphas;
  const std::uint16_t* counts;
  bool flat;  // entries 0 to 500 are equal

  // The columns that have marks, and the bands of rows: `bandRows` pixel rows each, the first one begins at pixel row
  // firstBand * bandRows. The last one takes all that is left; that may be one pixel row more.
  std::int32_t firstPixel, words;
  std::int32_t bandRows, firstBand, bandCount;
  std::size_t wordStride, dirtyStride, counterStride;  // of a pixel row, in elements
  std::int32_t columnRoom;                             // at least a pixel row's words
  BandMemory band;

  std::int32_t *firstOfBand, *nextInBand;  // pieces by the band they begin in: chains that end with -1
  LivePiece* live;                         // room for every piece
  std::int32_t liveCount;                  // between bands: pieces that go on
};

// Wider and taller strokes, in subsamples, are left to the plain code: the band memory is as wide as the stroke, and
// with Reflection on a stroke may be as large as it likes. Before the first column lie up to 15 pixels.
inline constexpr std::int32_t kWidestStroke = (1 << 18) - 16;

inline constexpr std::int32_t kIndexEntries = 512;
inline constexpr std::uint16_t kDrawnMark = 256;
inline constexpr std::int32_t kMostRowsOfBatch = 16;  // that are sampled together, and may reach beyond their band

// Pixel rows of a band, at most, but for the last band, which may have one more. With the picture's rows they stay in a
// cache of the second level.
inline constexpr std::int32_t kMostBandRows = 24;

// Cells that a pixel has room for in each direction, see grid.h: the quality, or the next power of two.
constexpr std::int32_t PitchOf(std::int32_t quality) {
  std::int32_t pitch = 1;
  while (pitch < quality) pitch *= 2;
  return pitch;
}

// Lists of word columns are written in whole vectors.
inline constexpr std::size_t kColumnSlack = 32;

// Chunks of a word column, at most, and the bytes that their samples take with room for a whole vector.
constexpr std::int32_t MostChunks(std::int32_t pitch) { return pitch == 1 ? 64 : 16; }
constexpr std::int32_t SampleBytes(std::int32_t pitch) { return pitch == 1 ? 512 : pitch == 2 ? 128 : 64; }

}  // namespace orvandel::fast
