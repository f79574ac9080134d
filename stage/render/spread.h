// Light spread like a bell, by three boxes in a row each way, of a width that makes their variance that of the bell,
// with a share of one more pixel at both ends; outside the picture it is dark. Each box is rounded to whole numbers, so
// the running sums of the fast way and the plain sums of a slow one give the same.
#pragma once

#include <cstdint>
#include <vector>

namespace orvandel::stage {

// A box over 2 * reach + 1 pixels and the share `ends` of one more at each end.
struct Box {
  std::int32_t reach = 0;
  std::int32_t ends = 0;  // in 1/kBoxShares
  std::int64_t Weight() const;
};
inline constexpr std::int32_t kBoxShares = 256;

// Three of which have together the standard deviation, in pixels.
Box BoxOf(double deviation);

// One channel of a picture, rows from the top, at most kFullLight.
using LightPlane = std::vector<std::uint32_t>;

// Spread in both directions into `to`, which may be `from`.
void Spread(const LightPlane& from, LightPlane& to, std::int32_t width, std::int32_t height, const Box& box);

}  // namespace orvandel::stage
