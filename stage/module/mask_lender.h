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
  // The scene must outlive the lender.
  MaskLender(const Scene& scene, const PixelMap& map) : scene_(scene), map_(map) {}

  // 0 when the scene has no mask of that place, from 1.
  OrvPathRef PathAt(std::int32_t place, std::int32_t hostTime);
  bool IsOpen(OrvPathRef path) const;
  std::int32_t SegmentCount(OrvPathRef path) const;
  // Throws WorkError for a segment that the path does not have or a resolution below 1.
  OrvLengthQuery Prepare(OrvPathRef path, std::int32_t segment, std::int32_t resolution);
  static const LengthQuery& QueryOf(OrvLengthQuery query);

  // One path or query has come back. Once nothing is lent any more, what was kept is forgotten if it has grown large:
  // also in the middle of a command, since one frame may ask for a path of its own for every wave.
  void TakeBack();
  // Everything has.
  void TakeBackAll();

 private:
  struct Lent;
  using Key = std::tuple<std::int32_t, std::size_t, double>;  // mask, key before it, fraction of the way to the next
  static Lent& LentOf(OrvPathRef path);
  void Tidy();

  const Scene& scene_;
  PixelMap map_;
  std::map<Key, std::shared_ptr<Lent>> paths_;
  std::size_t keptPoints_ = 0;
  std::int64_t lent_ = 0;  // paths and queries
};

}  // namespace orvandel::stage
