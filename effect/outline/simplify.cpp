#include "effect/outline/simplify.h"

namespace orvandel {
namespace {

// The walk since the last kept point (the anchor). Every product and sum rounds to float in the order written.
class Walk {
 public:
  explicit Walk(PicturePoint anchor) : anchor_(anchor) {}

  // Whether `point` lies closer to the anchor than the point before it did: the line has turned back.
  bool TurnsBackAt(PicturePoint point) const { return previousSquared_ > SquaredLength(FromAnchor(point)); }

  // The point before, in the frame of the source. A float sum: it may differ from the source's point in the last bit.
  PicturePoint Previous() const { return {anchor_.x + previous_.x, anchor_.y + previous_.y}; }

  // Goes on to `point`; returns whether the area swept on the way asks for a new anchor there.
  bool LeavesChordAt(PicturePoint point, float toleranceSquared) {
    const PicturePoint v = FromAnchor(point);
    const float squared = SquaredLength(v);
    // Twice the area of the triangle anchor, previous point, point.
    sweptArea_ += (v.y - previous_.y) * v.x - (v.x - previous_.x) * v.y;
    previous_ = v;
    previousSquared_ = squared;
    return sweptArea_ * sweptArea_ > squared * toleranceSquared;
  }

 private:
  PicturePoint FromAnchor(PicturePoint point) const { return {point.x - anchor_.x, point.y - anchor_.y}; }
  static float SquaredLength(PicturePoint v) { return v.x * v.x + v.y * v.y; }

  PicturePoint anchor_;
  PicturePoint previous_;  // relative to the anchor
  float previousSquared_ = 0;
  float sweptArea_ = 0;
};

}  // namespace

void SimplifyPolyline(const PictureOutline& source, PictureOutline& target, float tolerance) {
  if (source.empty()) return;
  const float toleranceSquared = tolerance * tolerance;

  target.push_back(source.front());
  Walk walk(source.front());
  for (std::size_t i = 1; i < source.size(); ++i) {
    const PicturePoint point = source[i];
    if (walk.TurnsBackAt(point)) {
      const PicturePoint corner = walk.Previous();
      target.push_back(corner);
      walk = Walk(corner);
    }
    if (walk.LeavesChordAt(point, toleranceSquared)) {
      target.push_back(point);
      walk = Walk(point);
    }
  }
}

}  // namespace orvandel
