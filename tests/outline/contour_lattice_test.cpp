#include "effect/outline/contour_lattice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "effect/base/errors.h"
#include "tests/support/fake_host.h"

namespace orvandel {
namespace {

using test::FencedImage;

// A value picture; 0 outside.
struct Values {
  std::int32_t width, height;
  FencedImage image;

  Values(std::int32_t w, std::int32_t h) : width(w), height(h), image(w, h) {}
  void Set(std::int32_t x, std::int32_t y, std::uint16_t value) {
    std::memcpy(image.Pixel(x, y), &value, sizeof value);
  }
  int At(double column, double row) {
    const std::int32_t x = static_cast<std::int32_t>(column), y = static_cast<std::int32_t>(row);
    if (x < 0 || y < 0 || x >= width || y >= height) return 0;
    std::uint16_t value;
    std::memcpy(&value, image.Pixel(x, y), sizeof value);
    return value;
  }
  // A lattice cell from its position alone: the pixels whose squares touch it.
  bool IsBoundary(std::size_t column, std::size_t row, int threshold) {
    const double x = static_cast<double>(column) / 2 - 1, y = static_cast<double>(row) / 2 - 1;
    const auto [low, high] = std::minmax({At(std::floor(x), std::floor(y)), At(std::ceil(x), std::floor(y)),
                                          At(std::floor(x), std::ceil(y)), At(std::ceil(x), std::ceil(y))});
    return high >= threshold && low <= threshold;
  }
  BoundaryLattice Lattice(std::uint16_t threshold) {
    BoundaryLattice lattice;
    BuildBoundaryLattice(ImageBuffer::FromHost(image.View()), threshold, lattice);
    return lattice;
  }
};

Values RandomValues(std::mt19937& random, unsigned levels) {
  Values values(1 + static_cast<std::int32_t>(random() % 14), 1 + static_cast<std::int32_t>(random() % 14));
  for (std::int32_t y = 0; y < values.height; ++y) {
    for (std::int32_t x = 0; x < values.width; ++x)
      values.Set(x, y, static_cast<std::uint16_t>(random() % levels * 100));
  }
  return values;
}

// Independent count of the set cells' connected groups; clears them.
int CountGroups(std::vector<std::uint8_t> cells, std::size_t width) {
  int groups = 0;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (cells[i] == 0) continue;
    ++groups;
    std::vector<std::size_t> open = {i};
    cells[i] = 0;
    while (!open.empty()) {
      const std::size_t at = open.back();
      open.pop_back();
      for (const std::size_t row : {at - width, at, at + width}) {
        for (const std::size_t next : {row - 1, row, row + 1}) {
          if (cells[next] != 0) {
            cells[next] = 0;
            open.push_back(next);
          }
        }
      }
    }
  }
  return groups;
}

double SignedArea(const PictureOutline& chain) {
  double area = 0;
  for (std::size_t i = 0; i < chain.size(); ++i) {
    const PicturePoint a = chain[i], b = chain[(i + 1) % chain.size()];
    area += static_cast<double>(a.x) * b.y - static_cast<double>(b.x) * a.y;
  }
  return area / 2;
}

// Traces and erases every component in raster order; there must be as many as there are groups.
std::vector<PictureOutline> AllChains(BoundaryLattice& lattice) {
  const int groups = CountGroups({lattice.cells.begin(), lattice.cells.end()}, lattice.width);
  std::vector<PictureOutline> chains;
  for (std::size_t i = 0; i < lattice.cells.size(); ++i) {
    if (lattice.cells[i] == 0) continue;
    chains.emplace_back();
    TraceBoundary(lattice, i % lattice.width, i / lattice.width, chains.back());
    EraseBoundaryComponent(lattice, i % lattice.width, i / lattice.width);
  }
  EXPECT_EQ(static_cast<int>(chains.size()), groups);
  return chains;
}

// Along pixel corners, a pixel at most at a time, closed, clockwise.
void ExpectSoundChain(const PictureOutline& chain) {
  ASSERT_GE(chain.size(), 2U);
  EXPECT_GE(SignedArea(chain), 0) << "runs counterclockwise";
  for (std::size_t i = 0; i < chain.size(); ++i) {
    const PicturePoint a = chain[i], b = chain[(i + 1) % chain.size()];
    EXPECT_LE(std::max(std::abs(a.x - b.x), std::abs(a.y - b.y)), 1) << "gap after point " << i;
    EXPECT_EQ(a.x - std::floor(a.x), 0.5F);
    EXPECT_EQ(a.y - std::floor(a.y), 0.5F);
  }
}

TEST(Lattice, RandomPicturesCrossTheThresholdWhereTheirPixelsDo) {
  std::mt19937 random(70);
  for (int round = 0; round < 3000 && !testing::Test::HasFailure(); ++round) {
    Values values = RandomValues(random, 2 + static_cast<unsigned>(round) % 4);
    const std::uint16_t threshold = static_cast<std::uint16_t>(round % 7 * 50);
    BoundaryLattice lattice = values.Lattice(threshold);
    ASSERT_EQ(lattice.width, 2 * static_cast<std::size_t>(values.width) + 3);
    ASSERT_EQ(lattice.height, 2 * static_cast<std::size_t>(values.height) + 3);
    for (std::size_t y = 0; y < lattice.height; ++y) {
      for (std::size_t x = 0; x < lattice.width; ++x) {
        const bool ring = x == 0 || y == 0 || x + 1 == lattice.width || y + 1 == lattice.height;
        ASSERT_EQ(lattice.At(x, y) != 0, !ring && values.IsBoundary(x, y, threshold)) << x << "," << y;
      }
    }
    for (const PictureOutline& chain : AllChains(lattice)) ExpectSoundChain(chain);
  }
}

// Not only what pictures give: whatever cells are set, the walk comes back, and soon. (A fault here shows as a hang.)
TEST(Lattice, EveryWalkEnds) {
  constexpr std::size_t kInner = 4;
  for (unsigned bits = 1; bits < 1U << kInner * kInner; ++bits) {
    BoundaryLattice lattice;
    lattice.width = lattice.height = kInner + 2;
    lattice.cells.assign(lattice.width * lattice.height, 0);
    for (unsigned i = 0; i < kInner * kInner; ++i) {
      lattice.At(1 + i % kInner, 1 + i / kInner) = static_cast<std::uint8_t>(bits >> i & 1);
    }
    const bool alone = std::has_single_bit(bits);
    const int first = std::countr_zero(bits);  // the first set cell; a lone one is named twice
    const PicturePoint start{static_cast<float>(first % kInner) / 2 - 0.5F,
                             static_cast<float>(first / kInner) / 2 - 0.5F};
    const std::vector<PictureOutline> chains = AllChains(lattice);
    ASSERT_EQ(chains[0][0], start);
    if (alone) {
      ASSERT_EQ(chains[0], (PictureOutline{start, start}));
    }
    for (const PictureOutline& chain : chains) ASSERT_LE(chain.size(), 2 + 4 * kInner * kInner);
  }
}

TEST(Lattice, MoreCellsThanTheirIndicesCountAreRefused) {
  for (const std::int32_t height : {23169, 1 << 30}) {
    BoundaryLattice lattice;
    try {
      BuildBoundaryLattice({nullptr, 23169, height, 0}, 1, lattice);
      ADD_FAILURE();
    } catch (const AllocFailed& failure) {
      EXPECT_EQ(failure.size, -1);
      EXPECT_TRUE(lattice.cells.empty());
    }
  }
}

}  // namespace
}  // namespace orvandel
