// Offset points by mitres without a limit, then three edges and one piece per outline segment.
//
//        p[prev] ------ outline edge, u = 0 ------ p[i]
//           |                                       |
//        ruling                piece              ruling        u grows from 0 to 1 along a ruling
//           |                                       |
//       off[prev] ----- offset edge, u = 1 ------ off[i]
//
// Horizontal edges and offset segments that run backwards are not made: rows then end at the other edges of the piece.
// A long mitre may leave the shape; the scan's even-odd rule keeps it from being drawn there.
//
// The formulas are single precision, each operation rounded once, in the order written: they decide pixels.

#include "effect/render/reference/stroke_edges.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "effect/base/float_rules.h"

namespace orvandel {
namespace {

PlacedPoint Difference(PlacedPoint a, PlacedPoint b) { return {a.x - b.x, a.y - b.y}; }

float SquaredLength(PlacedPoint v) { return v.x * v.x + v.y * v.y; }

PlacedPoint UnitVector(PlacedPoint from, PlacedPoint to) {
  const PlacedPoint v = Difference(to, from);
  const float factor = 1.0F / std::sqrt(SquaredLength(v));
  return {v.x * factor, v.y * factor};
}

bool IsFinite(PlacedPoint p) { return std::isfinite(p.x) && std::isfinite(p.y); }

bool IsInRange(SubsamplePoint p) {
  return std::fabs(p.x) <= kFarthestSubsample && std::fabs(p.y) <= kFarthestSubsample;
}

// A ray from an outline point along the bisector of its corner; the offset point lies at `distance`.
struct Bisector {
  PlacedPoint direction;
  float distance;

  PlacedPoint From(PlacedPoint p) const { return {p.x + distance * direction.x, p.y + distance * direction.y}; }
};

Bisector CornerBisector(PlacedPoint previous, PlacedPoint point, PlacedPoint next, float width) {
  constexpr double kStraightOn = 1e-5;
  const PlacedPoint arriving = UnitVector(previous, point);
  const PlacedPoint leaving = UnitVector(point, next);
  const PlacedPoint turn = Difference(leaving, arriving);
  const float turnSquared = SquaredLength(turn);
  PlacedPoint direction{-leaving.y, leaving.x};
  if (!(static_cast<double>(turnSquared) < kStraightOn)) {
    const float length = std::sqrt(turnSquared);
    direction = {turn.x / length, turn.y / length};
  }
  return {direction, -width / (direction.x * arriving.y - direction.y * arriving.x)};
}

// How much of the way from `from` to `to` stays within the range on one axis.
double FractionInRange(double from, double to) {
  const double limit = static_cast<double>(kFarthestSubsample);
  if (std::fabs(to) <= limit) return 1.0;
  return (std::copysign(limit, to) - from) / (to - from);
}

// Draws the offset point nearer along its bisector until it is in range. The final clamp takes up the rounding.
SubsamplePoint ShortenedOffset(PlacedPoint point, Bisector bisector, const StrokeTransform& transform) {
  const PlacedPoint far = bisector.From(point);
  const auto fraction = [](float scale, float offset, float from, float to) {
    const double s = static_cast<double>(scale);
    const double o = static_cast<double>(offset);
    return FractionInRange(s * static_cast<double>(from) + o, s * static_cast<double>(to) + o);
  };
  const double kept = std::min(fraction(transform.scaleX, transform.offsetX, point.x, far.x),
                               fraction(transform.scaleY, transform.offsetY, point.y, far.y));
  bisector.distance = static_cast<float>(static_cast<double>(bisector.distance) * kept);
  const SubsamplePoint near = transform.Apply(bisector.From(point));
  return {std::clamp(near.x, -kFarthestSubsample, kFarthestSubsample),
          std::clamp(near.y, -kFarthestSubsample, kFarthestSubsample)};
}

SubsamplePoint OffsetPoint(PlacedPoint previous, PlacedPoint point, PlacedPoint next, float width,
                           const StrokeTransform& transform) {
  const Bisector bisector = CornerBisector(previous, point, next, width);
  const PlacedPoint offset = bisector.From(point);
  // Zero-length edges and exact turn-backs survive the thinning now and then.
  if (!std::isfinite(bisector.distance) || !IsFinite(offset)) return transform.Apply(point);
  const SubsamplePoint transformed = transform.Apply(offset);
  const bool pointInRange = IsInRange(transform.Apply(point));  // otherwise nothing will be drawn
  return IsInRange(transformed) || !pointInRange ? transformed : ShortenedOffset(point, bisector, transform);
}

StrokeEdge MakeEdge(EdgeKind kind, SubsamplePoint p, float uP, SubsamplePoint q, float uQ) {
  StrokeEdge edge;
  edge.edgeKind = kind;
  const float dy = q.y - p.y;
  edge.dxdy = (q.x - p.x) / dy;
  edge.dudy = (uQ - uP) / dy;
  const bool upward = dy < 0;
  const SubsamplePoint top = upward ? q : p;
  const SubsamplePoint bottom = upward ? p : q;
  edge.yStart = std::ceil(top.y);
  edge.x = top.x + (edge.yStart - top.y) * edge.dxdy;
  edge.u = (upward ? uQ : uP) + (edge.yStart - top.y) * edge.dudy;
  edge.firstRow = 1;
  edge.x0 = top.x;
  edge.y0 = top.y;
  edge.x1 = bottom.x;
  edge.y1 = bottom.y;
  return edge;
}

class GeometryBuilder {
 public:
  GeometryBuilder(const SubsampleOutline& points, const SubsampleOutline& offsets)
      : points_(points), offsets_(offsets) {
    geometry_.edges.reserve(1 + 3 * points.size());
    geometry_.edges.emplace_back();  // kNoEdge
    geometry_.pieces.resize(points.size());
  }

  StrokeGeometry Build() {
    const std::size_t last = points_.size() - 1;
    const EdgeIndex lastRuling = AddRuling(last);
    EdgeIndex rulingBefore = lastRuling;
    for (std::size_t i = 0, before = last; i <= last; before = i++) {
      const EdgeIndex outline = AddOutlineEdge(before, i);
      const EdgeIndex offset = AddOffsetEdge(before, i);
      const EdgeIndex ruling = i == last ? lastRuling : AddRuling(i);
      AddPiece(before, i, outline, offset, rulingBefore, ruling);
      rulingBefore = ruling;
    }
    SortByFirstRow();
    MeasureBounds();
    return std::move(geometry_);
  }

 private:
  EdgeIndex Add(EdgeKind kind, SubsamplePoint p, float uP, SubsamplePoint q, float uQ) {
    if (p.y == q.y) return kNoEdge;
    geometry_.edges.push_back(MakeEdge(kind, p, uP, q, uQ));
    return static_cast<EdgeIndex>(geometry_.edges.size() - 1);
  }

  EdgeIndex AddRuling(std::size_t v) { return Add(kRuling, points_[v], 0.0F, offsets_[v], 1.0F); }

  EdgeIndex AddOutlineEdge(std::size_t before, std::size_t i) {
    return Add(kOutlineEdge, points_[before], 0.0F, points_[i], 0.0F);
  }

  EdgeIndex AddOffsetEdge(std::size_t before, std::size_t i) {
    const SubsamplePoint from = offsets_[before];
    const SubsamplePoint to = offsets_[i];
    const SubsamplePoint point = points_[i];
    const float side = (from.y - to.y) * (to.x - point.x) - (from.x - to.x) * (to.y - point.y);
    const bool forward = side >= 0;
    return forward ? Add(kOffsetEdge, from, 1.0F, to, 1.0F) : kNoEdge;
  }

  // The ruling's x at height y, on its straight line.
  float XAt(EdgeIndex index, float y) const {
    const StrokeEdge& edge = geometry_.edges[static_cast<std::size_t>(index)];
    return (y - edge.yStart) * edge.dxdy + edge.x;
  }

  void AddPiece(std::size_t before, std::size_t i, EdgeIndex outline, EdgeIndex offset, EdgeIndex rulingBefore,
                EdgeIndex ruling) {
    StrokePiece& piece = geometry_.pieces[before];
    const bool outlineLeft = points_[before].y > points_[i].y;
    piece.outlineLeft = outlineLeft;
    piece.edges[0] = outlineLeft ? outline : offset;
    piece.edges[3] = outlineLeft ? offset : outline;

    const float middle = (points_[i].y + points_[before].y) * 0.5F;
    const bool both = rulingBefore != kNoEdge && ruling != kNoEdge;
    const bool swapped = both && XAt(ruling, middle) <= XAt(rulingBefore, middle);
    piece.edges[1] = swapped ? ruling : rulingBefore;
    piece.edges[2] = swapped ? rulingBefore : ruling;

    for (const EdgeIndex index : piece.edges) {
      StrokeEdge& edge = geometry_.edges[static_cast<std::size_t>(index)];
      edge.pieces[edge.pieces[0] == kNoPiece ? 0 : 1] = static_cast<PieceIndex>(before);
    }
  }

  void SortByFirstRow() {
    const HeapVector<StrokeEdge>& edges = geometry_.edges;
    HeapVector<EdgeIndex>& order = geometry_.byFirstRow;
    order.resize(edges.size() - 1);
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<EdgeIndex>(i + 1);
    // std::stable_sort would take its buffer from outside the private heap; the index makes equal keys distinct.
    std::sort(order.begin(), order.end(), [&edges](EdgeIndex a, EdgeIndex b) {
      const float startA = edges[static_cast<std::size_t>(a)].yStart;
      const float startB = edges[static_cast<std::size_t>(b)].yStart;
      return startA != startB ? startA < startB : a < b;
    });
  }

  void MeasureBounds() {
    if (geometry_.byFirstRow.empty()) return;
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    float xMin = kInfinity, yMin = kInfinity, xMax = -kInfinity, yMax = -kInfinity;
    for (const EdgeIndex index : geometry_.byFirstRow) {
      const StrokeEdge& edge = geometry_.edges[static_cast<std::size_t>(index)];
      xMin = std::min({xMin, edge.x0, edge.x1});
      xMax = std::max({xMax, edge.x0, edge.x1});
      yMin = std::min(yMin, edge.y0);
      yMax = std::max(yMax, edge.y1);
    }
    geometry_.bounds = {TruncateToInt(std::floor(xMin)), TruncateToInt(std::floor(yMin)),
                        TruncateToInt(std::ceil(xMax)), TruncateToInt(std::ceil(yMax))};
  }

  const SubsampleOutline& points_;
  const SubsampleOutline& offsets_;
  StrokeGeometry geometry_;
};

}  // namespace

SubsampleOutline MakeOffsetPoints(const PlacedOutline& points, float width, const StrokeTransform& transform) {
  const std::size_t count = points.size();
  SubsampleOutline offsets(count);
  for (std::size_t v = 0; v < count; ++v) {
    const PlacedPoint previous = points[v > 0 ? v - 1 : count - 1];
    const PlacedPoint next = points[v + 1 < count ? v + 1 : 0];
    offsets[v] = OffsetPoint(previous, points[v], next, width, transform);
  }
  return offsets;
}

bool TransformPoints(const PlacedOutline& points, const StrokeTransform& transform, SubsampleOutline& target) {
  target.resize(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    target[i] = transform.Apply(points[i]);
    if (!IsInRange(target[i])) return false;
  }
  return true;
}

StrokeGeometry BuildStrokeGeometry(const SubsampleOutline& points, const SubsampleOutline& offsets) {
  return GeometryBuilder(points, offsets).Build();
}

}  // namespace orvandel
