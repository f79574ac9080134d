// Mask paths and length queries as the effect borrows them. What has been worked out is kept for the next wave and the
// next frame.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "orvandel/services.h"
#include "stage/scene/mask_path.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

class MaskLender {
 public:
  // `factor` is 1/k of the picture's size. The scene must outlive the lender.
  MaskLender(const Scene& scene, double factor) : scene_(scene), factor_(factor) {}

  // 0 when the scene has no mask of that place, from 1.
  OrvPathRef PathAt(std::int32_t place, std::int32_t hostTime);
  bool IsOpen(OrvPathRef path) const;
  std::int32_t SegmentCount(OrvPathRef path) const;
  // Throws WorkError for a segment that the path does not have or a resolution below 1.
  OrvLengthQuery Prepare(OrvPathRef path, std::int32_t segment, std::int32_t resolution);
  static const LengthQuery& QueryOf(OrvLengthQuery query);

  // Between commands, when nothing is lent: forgets what was kept once it has grown large.
  void Tidy();

 private:
  struct Lent;
  using Key = std::tuple<std::int32_t, std::size_t, double>;  // mask, key before it, fraction of the way to the next
  static Lent& LentOf(OrvPathRef path);

  const Scene& scene_;
  double factor_;
  std::map<Key, std::shared_ptr<Lent>> paths_;
  std::size_t keptPoints_ = 0;
};

}  // namespace orvandel::stage
