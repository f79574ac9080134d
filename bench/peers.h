// Other renderers on the compared scenes. Each registers a benchmark of its own beside ours; they are found when the
// benchmarks are configured, and left out where they are not installed.
#pragma once

#include <cmath>
#include <vector>

#include "scenes.h"

namespace orvandel::bench {

void RegisterCairo(const Scene& scene);
void RegisterAgg(const Scene& scene);

// Alphas of the nested bands that stand for a profile where a renderer has none: one for Square, sixteen for others,
// from the outline inwards.
inline std::vector<float> BandAlphas(Profile profile) {
  if (profile == kSquareProfile) return {kSceneAlpha};
  constexpr int kBands = 16;
  ProfileTable table;
  BuildProfileTable(kSceneAlpha, profile, table);
  std::vector<float> alphas;
  for (int i = 0; i < kBands; ++i) {
    const auto entry = static_cast<std::size_t>((2 * i + 1) * (kProfileEntries - 1) / (2 * kBands));
    alphas.push_back(static_cast<float>(table[entry]) / 255.0F);
  }
  return alphas;
}

}  // namespace orvandel::bench
