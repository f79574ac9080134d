// The boundary lattice: every place, in steps of half a pixel, where a value image crosses a threshold; and the walk
// around one connected run of such places.
//
// Lattice index i stands for the position i / 2 - 1 pixels along its axis. Even indices lie on pixel centres, odd ones
// halfway between two pixels; both odd is a pixel corner:
//
//     index       0    1    2    3    4    5    6
//     position   -1  -0.5   0   0.5   1   1.5   2       (picture of two pixels: 2 * 2 + 3 cells)
//                      |  pixel 0 | pixel 1  |
//
// The outermost ring of cells is always 0, so every neighbour of a set cell exists.
#pragma once

#include <cstdint>

#include "effect/base/geometry.h"
#include "effect/host/image_buffer.h"

namespace orvandel {

struct BoundaryLattice {
  HeapVector<std::uint8_t> cells;  // 1 boundary, 0 none; row after row
  std::size_t width = 0;
  std::size_t height = 0;

  std::uint8_t& At(std::size_t x, std::size_t y) { return cells[y * width + x]; }
};

// A cell is set when the pixels it covers (one, two or four; 0 outside the picture) do not all lie above the threshold
// and do not all lie below it. A pixel equal to it counts on both sides. Throws AllocFailed.
void BuildBoundaryLattice(const ImageBuffer& valueImage, std::uint16_t threshold, BoundaryLattice& lattice);

// Walks clockwise around the component of cell (x, y), which must be the lattice's first set cell in raster order, and
// appends the start and then every pixel corner passed. The walk ends where it began.
void TraceBoundary(const BoundaryLattice& lattice, std::size_t x, std::size_t y, PictureOutline& points);

// Clears every set cell 8-connected to (x, y).
void EraseBoundaryComponent(BoundaryLattice& lattice, std::size_t x, std::size_t y);

}  // namespace orvandel
