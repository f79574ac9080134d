// Frames in which next to nothing is seen, and the likely reason.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stage/module/effect_module.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

class ShownCounter {
 public:
  void Add(double coverage);  // as SceneRenderer::Coverage
  // Less than a thousandth of all pixels of all pictures.
  bool IsLittle() const { return count_ > 0 && covered_ < kLittle * static_cast<double>(count_); }
  // What the coverages of that many pictures must add up to for it to be enough.
  static double EnoughOf(std::size_t pictures) { return kLittle * static_cast<double>(pictures); }
  // "less than 0.1 % of the pictures is covered".
  std::string Text() const;

 private:
  static constexpr double kLittle = 0.001;
  double covered_ = 0;
  std::int64_t count_ = 0;
};

// What in the scene is the likely reason, judged by the waves of these frames.
std::string WhyLittleIsShown(stage::EffectModule& module, const stage::Scene& scene,
                             const std::vector<std::int32_t>& frames, std::int64_t maxWaves);

}  // namespace orvandel::cli
