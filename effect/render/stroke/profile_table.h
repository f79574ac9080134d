// A stroke's alpha across its width, as a table: one evaluation of the profile per entry instead of one per sample.
#pragma once

#include <array>
#include <cstdint>

namespace orvandel {

inline constexpr std::int32_t kProfileEntries = 501;

// Entry 0 belongs to the outline, entry 500 to the band's inner edge. The wave's opacity is multiplied in; a sample's
// alpha is the low byte of its entry.
using ProfileTable = std::array<std::int32_t, kProfileEntries>;

enum Profile : std::int32_t {
  kSquareProfile = 1,
  kTriangleProfile = 2,
  kSawtoothOutProfile = 3,
  kSawtoothInProfile = 4,
  kGaussianProfile = 5,
  kBellProfile = 6,
  kSineProfile = 7
};

// Any other profile gives a table of zeros.
void BuildProfileTable(float opacity, std::int32_t profile, ProfileTable& table);

}  // namespace orvandel
