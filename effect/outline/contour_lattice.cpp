#include "effect/outline/contour_lattice.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

#include "effect/base/errors.h"

namespace orvandel {
namespace {

// ---- Building
//
// A pixel has two bits: it reaches the threshold, it does not exceed it. The bits of several pixels are joined by or:
// a cell is boundary when both are there. One row of sides holds a picture row with one pixel outside at either end;
// lattice rows come from one such row (even) or from two neighbours (odd).

constexpr std::uint8_t kReaches = 1;
constexpr std::uint8_t kWithin = 2;
using Sides = HeapVector<std::uint8_t>;

std::uint8_t SideOf(std::uint16_t value, std::uint16_t threshold) {
  return static_cast<std::uint8_t>((value >= threshold ? kReaches : 0) | (value <= threshold ? kWithin : 0));
}

std::uint16_t ValueAt(const std::uint8_t* pixel) {
  std::uint16_t value;
  std::memcpy(&value, pixel, sizeof value);
  return value;
}

void ReadSides(const ImageBuffer& image, std::int32_t y, std::uint16_t threshold, Sides& sides) {
  const std::uint8_t* row = image.Row(y);
  for (std::size_t x = 0; x + 2 < sides.size(); ++x) sides[x + 1] = SideOf(ValueAt(row + 4 * x), threshold);
}

std::uint8_t CellOf(int sides) { return sides == (kReaches | kWithin) ? 1 : 0; }

// Fills the cells of one lattice row from column 1 on.
void WriteCells(const Sides& above, const Sides& below, std::uint8_t* row) {
  const std::size_t last = above.size() - 1;
  int left = above[0];  // outside, like below[0]
  for (std::size_t i = 0; i < last; ++i) {
    const int right = above[i + 1] | below[i + 1];
    row[2 * i + 1] = CellOf(left | right);
    if (i + 1 < last) row[2 * i + 2] = CellOf(right);
    left = right;
  }
}

void ResetLattice(std::size_t width, std::size_t height, BoundaryLattice& lattice) {
  constexpr std::size_t kTooMany = std::size_t{1} << 31;  // beyond any heap block; the product may wrap around
  if (width >= kTooMany / height) throw AllocFailed();
  lattice.cells.assign(width * height, 0);
  lattice.width = width;
  lattice.height = height;
}

// ---- Walking
//
// Directions 0..7: east, north-east, north, north-west, west, south-west, south, south-east.
//
// Why the walk comes back. Between two cells it always knows an empty neighbour of the cell it stands on, in a straight
// (even) direction: coming from direction d that is d + 2 for even d and d + 3 for odd d, because the cell just
// clockwise of it was tried, or known empty, one step earlier. It turns clockwise from there to the next set neighbour.
// A place in the walk is thus a cell with one of its runs of empty neighbours that holds a straight one, and the place
// determines not only its successor but also its predecessor: the set neighbour at the counterclockwise end of the run.
// A one-to-one map of finitely many places (at most four a cell) onto themselves runs in circles, so the first place,
// and with it the start cell, is met again. The start belongs to these places because nothing before it in raster order
// is set: its west and north are empty, as if the walk had come with direction 1.

struct Step {
  int dx, dy;
};
constexpr auto kSteps = std::to_array<Step>({{1, 0}, {1, -1}, {0, -1}, {-1, -1}, {-1, 0}, {-1, 1}, {0, 1}, {1, 1}});
constexpr unsigned kStartDirection = 1;

// A cell of the walk; its address saves a multiplication per neighbour.
struct Walker {
  const std::uint8_t* cell;
  std::size_t x, y;
  std::array<std::ptrdiff_t, kSteps.size()> offsets;

  bool NeighbourSet(unsigned direction) const { return cell[offsets[direction]] != 0; }

  void Move(unsigned direction) {
    cell += offsets[direction];
    x += static_cast<std::size_t>(kSteps[direction].dx);
    y += static_cast<std::size_t>(kSteps[direction].dy);
  }

  bool OnPixelCorner() const { return (x & y & 1) != 0; }

  PicturePoint Position() const {
    return {(static_cast<float>(x) - 2.0F) / 2.0F, (static_cast<float>(y) - 2.0F) / 2.0F};
  }
};

Walker WalkerAt(const BoundaryLattice& lattice, std::size_t x, std::size_t y) {
  Walker walker{lattice.cells.data() + y * lattice.width + x, x, y, {}};
  const std::ptrdiff_t rowLength = static_cast<std::ptrdiff_t>(lattice.width);
  std::transform(kSteps.begin(), kSteps.end(), walker.offsets.begin(),
                 [rowLength](const Step& step) { return step.dy * rowLength + step.dx; });
  return walker;
}

bool StandsAlone(const Walker& walker) {
  const auto isEmpty = [&walker](std::ptrdiff_t offset) { return walker.cell[offset] == 0; };
  return std::all_of(walker.offsets.begin(), walker.offsets.end(), isEmpty);
}

// The direction of the next cell, clockwise from the empty neighbour that is known. The neighbour that the walk came
// from is set, so the search ends.
unsigned NextDirection(const Walker& walker, unsigned direction) {
  direction += 2 + (direction & 1);
  do {
    direction = (direction - 1) & 7;
  } while (!walker.NeighbourSet(direction));
  return direction;
}

// ---- Erasing

using CellStack = HeapVector<std::uint32_t>;  // a lattice has fewer than 2^31 cells

// Pushes the first cell of every set run among the cells first..last.
void PushRuns(const BoundaryLattice& lattice, std::size_t first, std::size_t last, CellStack& stack) {
  bool inRun = false;
  for (std::size_t i = first; i <= last; ++i) {
    const bool set = lattice.cells[i] != 0;
    if (set && !inRun) stack.push_back(static_cast<std::uint32_t>(i));
    inRun = set;
  }
}

}  // namespace

void BuildBoundaryLattice(const ImageBuffer& valueImage, std::uint16_t threshold, BoundaryLattice& lattice) {
  const std::size_t imageWidth = static_cast<std::size_t>(valueImage.width);
  const std::size_t imageHeight = static_cast<std::size_t>(valueImage.height);
  ResetLattice(2 * imageWidth + 3, 2 * imageHeight + 3, lattice);

  const Sides outside(imageWidth + 2, SideOf(0, threshold));
  Sides above = outside;
  Sides below = outside;
  for (std::size_t y = 0; y < imageHeight; ++y) {
    ReadSides(valueImage, static_cast<std::int32_t>(y), threshold, below);
    WriteCells(above, below, &lattice.At(0, 2 * y + 1));
    WriteCells(below, below, &lattice.At(0, 2 * y + 2));
    std::swap(above, below);
  }
  WriteCells(above, outside, &lattice.At(0, 2 * imageHeight + 1));
}

void TraceBoundary(const BoundaryLattice& lattice, std::size_t x, std::size_t y, PictureOutline& points) {
  Walker walker = WalkerAt(lattice, x, y);
  const std::uint8_t* const start = walker.cell;
  points.push_back(walker.Position());
  if (StandsAlone(walker)) {
    points.push_back(walker.Position());
    return;
  }
  unsigned direction = kStartDirection;
  do {
    direction = NextDirection(walker, direction);
    walker.Move(direction);
    if (walker.OnPixelCorner()) points.push_back(walker.Position());
  } while (walker.cell != start);
}

void EraseBoundaryComponent(BoundaryLattice& lattice, std::size_t x, std::size_t y) {
  // Row by row in whole runs, cleared when popped: the stack holds runs instead of cells, whatever the shape.
  CellStack stack;
  stack.push_back(static_cast<std::uint32_t>(y * lattice.width + x));
  while (!stack.empty()) {
    std::size_t left = stack.back();
    std::size_t right = left;
    stack.pop_back();
    if (lattice.cells[left] == 0) continue;
    while (lattice.cells[left - 1] != 0) --left;
    while (lattice.cells[right + 1] != 0) ++right;
    std::memset(&lattice.cells[left], 0, right - left + 1);
    PushRuns(lattice, left - 1 - lattice.width, right + 1 - lattice.width, stack);
    PushRuns(lattice, left - 1 + lattice.width, right + 1 + lattice.width, stack);
  }
}

}  // namespace orvandel
