#include "cli/picture_facts.h"

#include <algorithm>

namespace orvandel::cli {

PictureFacts FactsOf(const stage::Picture& picture) {
  PictureFacts facts;
  facts.left = picture.width;
  facts.top = picture.height;
  std::uint64_t covered = 0, alphas = 0, sums[3] = {};
  const std::uint8_t* pixel = picture.bytes.data();
  for (std::int32_t y = 0; y < picture.height; ++y) {
    for (std::int32_t x = 0; x < picture.width; ++x, pixel += 4) {
      if (pixel[0] == 0) continue;
      ++covered;
      alphas += pixel[0];
      for (int i = 0; i < 3; ++i) sums[i] += std::uint64_t{pixel[0]} * pixel[i + 1];
      facts.left = std::min(facts.left, x);
      facts.right = std::max(facts.right, x + 1);
      facts.top = std::min(facts.top, y);
      facts.bottom = y + 1;
    }
  }
  if (covered == 0) return {};
  const auto count = static_cast<double>(picture.width) * static_cast<double>(picture.height);
  const auto mean = [&](std::uint64_t sum) { return static_cast<double>(sum) / static_cast<double>(alphas); };
  facts.coverage = static_cast<double>(covered) / count;
  facts.meanAlpha = static_cast<double>(alphas) / count / 255;
  facts.meanColor = {mean(sums[0]), mean(sums[1]), mean(sums[2])};
  return facts;
}

}  // namespace orvandel::cli
