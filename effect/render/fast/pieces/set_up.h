// Outline points to offset points and edges, a vector of points at a time.
//
// The formulas are those of stroke_edges.cpp, operation by operation; each is correctly rounded, so a lane holds what
// the plain code computes. What that code treats as a special case (offset points that are not finite or too far away)
// is only noticed here: the caller then leaves the stroke to it.
#pragma once

#include "effect/render/fast/job/stroke_job.h"
#include "effect/render/simd/simd.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

struct Vectors {
  Floats x, y;
};

inline Ints IsBeyond(const Floats& v, float limit) {
  return (Ints)((v <= limit) & (v >= -limit)) == 0;  // also holds for what is not a number
}

class StrokeSetUp {
 public:
  explicit StrokeSetUp(SetUpJob& job) : job_(job), count_(job.edges.count) {}

  bool Run() {
    JoinSeam(job_.layerX);
    JoinSeam(job_.layerY);
    for (std::int32_t i = 0; i < count_; i += kLanes) MakeUnitVectors(i);
    JoinSeam(job_.unitX);
    JoinSeam(job_.unitY);
    for (std::int32_t i = 0; i < count_; i += kLanes) MakePoints(i);
    if (Any(unusable_)) return false;
    JoinSeam(job_.edges.x);
    JoinSeam(job_.edges.y);
    JoinSeam(job_.edges.offsetX);
    JoinSeam(job_.edges.offsetY);
    for (std::int32_t i = 0; i < count_; i += kLanes) MakeEdges(i);
    JoinSeam(job_.edges.ruling.first);
    JoinSeam(job_.edges.ruling.end);
    ReduceExtent();
    return !Any(unusable_);
  }

 private:
  // The entries before the first and behind the last point are those across the seam of the closed outline.
  template <typename Number>
  void JoinSeam(Number* array) const {
    array[-1] = array[count_ - 1];
    array[count_] = array[0];
  }

  Ints IsPoint(std::int32_t first) const { return LaneNumbers<Ints>() < count_ - first; }

  void MakeUnitVectors(std::int32_t i) const {
    const Floats x = Load<Floats>(job_.layerX + i) - Load<Floats>(job_.layerX + i - 1);
    const Floats y = Load<Floats>(job_.layerY + i) - Load<Floats>(job_.layerY + i - 1);
    const Floats factor = 1.0F / SquareRoot(x * x + y * y);
    Store(job_.unitX + i, x * factor);
    Store(job_.unitY + i, y * factor);
  }

  void MakePoints(std::int32_t i) {
    constexpr float kStraightOn = 1e-5F;
    static_assert(static_cast<double>(kStraightOn) < 1e-5, "as floats, < 1e-5 in doubles is <= this one");
    const Floats arrivingX = Load<Floats>(job_.unitX + i), arrivingY = Load<Floats>(job_.unitY + i);
    const Floats leavingX = Load<Floats>(job_.unitX + i + 1), leavingY = Load<Floats>(job_.unitY + i + 1);
    const Floats turnX = leavingX - arrivingX, turnY = leavingY - arrivingY;
    const Floats turnSquared = turnX * turnX + turnY * turnY;
    const Floats length = SquareRoot(turnSquared);
    const Ints straightOn = turnSquared <= kStraightOn;
    const Floats directionX = straightOn ? -leavingY : turnX / length;
    const Floats directionY = straightOn ? leavingX : turnY / length;
    const Floats distance = -job_.width / (directionX * arrivingY - directionY * arrivingX);

    const Floats layerX = Load<Floats>(job_.layerX + i), layerY = Load<Floats>(job_.layerY + i);
    const StrokeEdges& edges = job_.edges;
    StoreTransformed(i, layerX, layerY, edges.x, edges.y);
    StoreTransformed(i, layerX + distance * directionX, layerY + distance * directionY, edges.offsetX, edges.offsetY);
  }

  void StoreTransformed(std::int32_t i, const Floats& layerX, const Floats& layerY, float* toX, float* toY) {
    const Floats x = job_.scaleX * layerX + job_.columnOffset;
    const Floats y = job_.scaleY * layerY + job_.rowOffset;
    Store(toX + i, x);
    Store(toY + i, y);
    unusable_ |= IsPoint(i) & (IsBeyond(x, job_.farthest) | IsBeyond(y, job_.farthest));
  }

  void MakeEdges(std::int32_t i) {
    const StrokeEdges& edges = job_.edges;
    const Vectors before{Load<Floats>(edges.x + i - 1), Load<Floats>(edges.y + i - 1)};
    const Vectors point{Load<Floats>(edges.x + i), Load<Floats>(edges.y + i)};
    const Vectors offsetBefore{Load<Floats>(edges.offsetX + i - 1), Load<Floats>(edges.offsetY + i - 1)};
    const Vectors offset{Load<Floats>(edges.offsetX + i), Load<Floats>(edges.offsetY + i)};
    const Ints all = IsPoint(i);
    MakeEdge(i, before, point, all, edges.outline);
    const Ints first = Load<Ints>(edges.outline.first + i), end = Load<Ints>(edges.outline.end + i);
    firstCrossed_ = first < firstCrossed_ ? first : firstCrossed_;
    endCrossed_ = end > endCrossed_ ? end : endCrossed_;
    const Floats side =
        (offsetBefore.y - offset.y) * (offset.x - point.x) - (offsetBefore.x - offset.x) * (offset.y - point.y);
    MakeEdge(i, offsetBefore, offset, all & (side >= 0), edges.offset);

    const Floats start = MakeEdge(i, point, offset, all, edges.ruling);
    const Floats dy = offset.y - point.y;
    const Floats dudy = 1.0F / dy;
    const Ints upward = dy < 0;
    const Floats top = upward ? offset.y : point.y;
    Store(edges.rulingU + i, (upward ? Floats{} + 1.0F : Floats{}) + (start - top) * dudy);
    Store(edges.rulingDudy + i, dudy);
    Store(edges.rulingStart + i, start);
    unusable_ |= (Load<Ints>(edges.ruling.first + i) != kNoFirstRow) & IsBeyond(dudy, kSteepest);
  }

  // Returns the top end's y, rounded up.
  Floats MakeEdge(std::int32_t i, const Vectors& p, const Vectors& q, const Ints& wanted, const EdgeArrays& to) {
    const Floats dy = q.y - p.y;
    const Floats dxdy = (q.x - p.x) / dy;
    const Ints upward = dy < 0;
    const Vectors top{upward ? q.x : p.x, upward ? q.y : p.y};
    const Vectors bottom{upward ? p.x : q.x, upward ? p.y : q.y};
    const Ints first = Ceiling(top.y), end = Ceiling(bottom.y);
    const Floats start = ToFloats(first);
    const Ints made = wanted & (p.y != q.y);
    const Ints inRows = made & (first < end);
    Store(to.x + i, top.x + (start - top.y) * dxdy);
    Store(to.dxdy + i, dxdy);
    Store(to.first + i, inRows ? first : Ints{} + kNoFirstRow);
    Store(to.end + i, inRows ? end : Ints{} + kNoEndRow);
    unusable_ |= inRows & IsBeyond(dxdy, kSteepest);
    Measure(made, top, bottom);
    return start;
  }

  void Measure(const Ints& made, const Vectors& top, const Vectors& bottom) {
    const Floats left = top.x < bottom.x ? top.x : bottom.x, right = top.x < bottom.x ? bottom.x : top.x;
    xMin_ = (made & (left < xMin_)) ? left : xMin_;
    xMax_ = (made & (right > xMax_)) ? right : xMax_;
    yMin_ = (made & (top.y < yMin_)) ? top.y : yMin_;
    yMax_ = (made & (bottom.y > yMax_)) ? bottom.y : yMax_;
  }

  void ReduceExtent() {
    StrokeExtent& extent = job_.extent;
    extent = {SmallestLane(xMin_), SmallestLane(yMin_), -SmallestLane(-xMax_), -SmallestLane(-yMax_)};
    job_.firstCrossed = SmallestLane(firstCrossed_);
    job_.endCrossed = -SmallestLane(-endCrossed_);
  }

  // Beyond it an edge's x might overflow or not be a number.
  static constexpr float kSteepest = 1e30F;

  SetUpJob& job_;
  std::int32_t count_;
  Ints unusable_{};
  Ints firstCrossed_ = Ints{} + kNoFirstRow, endCrossed_ = Ints{} + kNoEndRow;
  Floats xMin_ = Floats{} + __builtin_inff(), yMin_ = xMin_, xMax_ = -xMin_, yMax_ = -xMin_;
};

inline bool SetUp(SetUpJob& job) { return StrokeSetUp(job).Run(); }

}  // namespace orvandel::fast::ORVANDEL_KERNELS
