#include "stage/module/mask_lender.h"

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/module/object_ref.h"

namespace orvandel::stage {
namespace {

constexpr std::size_t kMostPointsKept = 4'000'000;  // 24 bytes each
constexpr std::size_t kPointsOfSegment = 4;         // a segment takes about as much memory

}  // namespace

// References are the addresses of these records and of their queries.
struct MaskLender::Lent {
  MaskPath path;
  struct Prepared {
    std::int32_t resolution = 0;
    std::unique_ptr<LengthQuery> query;
  };
  std::vector<Prepared> segments;
  // Queries of a resolution that was then asked for differently; still lent perhaps.
  std::vector<std::unique_ptr<LengthQuery>> retired;
};

MaskLender::Lent& MaskLender::LentOf(OrvPathRef path) { return *ObjectOf<Lent>(path); }

const LengthQuery& MaskLender::QueryOf(OrvLengthQuery query) { return *ObjectOf<const LengthQuery>(query); }

OrvPathRef MaskLender::PathAt(std::int32_t place, std::int32_t hostTime) {
  if (place < 1 || static_cast<std::size_t>(place) > scene_.masks.size()) return 0;
  const Mask& mask = scene_.masks[static_cast<std::size_t>(place) - 1];
  const KeySpan span = MaskSpanAt(mask, scene_.time.SceneTime(hostTime), scene_.time.timeScale);
  std::shared_ptr<Lent>& lent = paths_[{place, span.key, span.fraction}];
  if (lent == nullptr) {
    lent = std::make_shared<Lent>();
    lent->path = PathOf(mask, span, map_);
    lent->segments.resize(lent->path.segments.size());
    keptPoints_ += kPointsOfSegment * lent->segments.size();
  }
  ++lent_;
  return RefTo(lent.get());
}

bool MaskLender::IsOpen(OrvPathRef path) const { return !LentOf(path).path.closed; }

std::int32_t MaskLender::SegmentCount(OrvPathRef path) const {
  return static_cast<std::int32_t>(LentOf(path).path.segments.size());
}

OrvLengthQuery MaskLender::Prepare(OrvPathRef path, std::int32_t segment, std::int32_t resolution) {
  Lent& lent = LentOf(path);
  if (segment < 0 || static_cast<std::size_t>(segment) >= lent.segments.size() || resolution < 1) {
    throw WorkError(fmt::format("the effect asked for segment {} of {} at resolution {}", segment, lent.segments.size(),
                                resolution));
  }
  Lent::Prepared& prepared = lent.segments[static_cast<std::size_t>(segment)];
  if (prepared.resolution != resolution) {
    if (prepared.query) lent.retired.push_back(std::move(prepared.query));
    prepared.query = std::make_unique<LengthQuery>(lent.path.segments[static_cast<std::size_t>(segment)], resolution);
    prepared.resolution = resolution;
    keptPoints_ += static_cast<std::size_t>(resolution) + 1;
  }
  ++lent_;
  return RefTo(prepared.query.get());
}

void MaskLender::TakeBack() {
  if (--lent_ == 0) Tidy();
}

void MaskLender::TakeBackAll() {
  lent_ = 0;
  Tidy();
}

void MaskLender::Tidy() {
  if (keptPoints_ <= kMostPointsKept) return;
  paths_.clear();
  keptPoints_ = 0;
}

}  // namespace orvandel::stage
