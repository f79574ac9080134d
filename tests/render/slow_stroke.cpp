#include "slow_stroke.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>

#include "effect/render/stroke/blend.h"
#include "effect/render/stroke/profile_table.h"

namespace orvandel {
namespace {

using Points = std::vector<PlacedPoint>;
using Corners = std::vector<SubsamplePoint>;

// One edge of the band, laid down row by row.
struct Line {
  bool onOutline;
  SubsamplePoint a, b;
  std::int64_t firstRow;
  std::vector<float> x, u;  // one entry for each row from firstRow on
};
using LineRef = std::shared_ptr<const Line>;

struct Piece {
  bool outlineLeft;
  std::array<LineRef, 4> lines;  // as they stand from left to right; null where there is none
};

double Value(OrvRatio ratio) { return static_cast<double>(ratio.num) / static_cast<double>(ratio.den); }

Points Thinned(Points points) {
  if (points.empty()) return points;
  PlacedPoint before = points.back();
  for (std::size_t i = 0; i < points.size();) {
    const PlacedPoint here = points[i];
    const PlacedPoint after = points[(i + 1) % points.size()];
    const float cross = (here.x - before.x) * (after.y - here.y) - (here.y - before.y) * (after.x - here.x);
    if (std::abs(cross) < 0.1F) {
      points.erase(points.begin() + static_cast<std::ptrdiff_t>(i));
    } else {
      before = here;
      ++i;
    }
  }
  return points;
}

double Area(const Points& points) {
  double twice = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const PlacedPoint a = points[(i + points.size() - 1) % points.size()], b = points[i];
    twice += static_cast<double>(a.x * b.y - b.x * a.y);
  }
  return twice / 2;
}

PlacedPoint Unit(PlacedPoint a, PlacedPoint b) {
  const float x = b.x - a.x, y = b.y - a.y, f = 1.0F / std::sqrt(x * x + y * y);
  return {x * f, y * f};
}

PlacedPoint Inner(PlacedPoint before, PlacedPoint here, PlacedPoint after, float width) {
  const PlacedPoint in = Unit(before, here), out = Unit(here, after);
  const float mx = out.x - in.x, my = out.y - in.y, squared = mx * mx + my * my, length = std::sqrt(squared);
  const bool straight = static_cast<double>(squared) < 1e-5;
  const PlacedPoint b = straight ? PlacedPoint{-out.y, out.x} : PlacedPoint{mx / length, my / length};
  const float t = -width / (b.x * in.y - b.y * in.x);
  const PlacedPoint inner{here.x + t * b.x, here.y + t * b.y};
  return std::isfinite(t) && std::isfinite(inner.x) && std::isfinite(inner.y) ? inner : here;
}

LineRef LayDown(bool onOutline, SubsamplePoint a, float ua, SubsamplePoint b, float ub) {
  if (a.y == b.y) return nullptr;
  const float height = b.y - a.y, slope = (b.x - a.x) / height, climb = (ub - ua) / height;
  if (height < 0) {
    std::swap(a, b);
    std::swap(ua, ub);
  }
  const float firstRow = std::ceil(a.y);
  Line line{onOutline, a, b, static_cast<std::int64_t>(firstRow), {}, {}};
  float x = a.x + (firstRow - a.y) * slope, u = ua + (firstRow - a.y) * climb;
  // The start values stand even when the line is too short for a row: the order of rulings is judged by them.
  for (auto row = static_cast<double>(firstRow); row < static_cast<double>(b.y) || line.x.empty(); ++row) {
    line.x.push_back(x);
    line.u.push_back(u);
    x += slope;
    u += climb;
  }
  if (firstRow >= b.y) line.firstRow = INT64_MAX;
  return std::make_shared<const Line>(std::move(line));
}

float StraightAt(const Line& ruling, float y, SubsamplePoint from, SubsamplePoint to) {
  return (y - std::ceil(ruling.a.y)) * ((to.x - from.x) / (to.y - from.y)) + ruling.x.front();
}

std::vector<Piece> Pieces(const Corners& points, const Corners& inner) {
  const std::size_t n = points.size();
  std::vector<LineRef> rulings;
  for (std::size_t i = 0; i < n; ++i) rulings.push_back(LayDown(false, points[i], 0, inner[i], 1));
  std::vector<Piece> pieces;
  for (std::size_t a = 0; a < n; ++a) {
    const std::size_t b = (a + 1) % n;
    const LineRef outline = LayDown(true, points[a], 0, points[b], 0);
    const float side =
        (inner[a].y - inner[b].y) * (inner[b].x - points[b].x) - (inner[a].x - inner[b].x) * (inner[b].y - points[b].y);
    const LineRef offset = side >= 0 ? LayDown(false, inner[a], 1, inner[b], 1) : nullptr;
    const bool upward = points[a].y > points[b].y;
    Piece piece{upward, {upward ? outline : offset, rulings[a], rulings[b], upward ? offset : outline}};
    const float middle = (points[b].y + points[a].y) * 0.5F;
    if (rulings[a] && rulings[b] &&
        StraightAt(*rulings[b], middle, points[b], inner[b]) <= StraightAt(*rulings[a], middle, points[a], inner[a])) {
      std::swap(piece.lines[1], piece.lines[2]);
    }
    pieces.push_back(piece);
  }
  return pieces;
}

struct Box {
  std::int64_t left, top, right, bottom;
};

Box Surround(const std::vector<Piece>& pieces) {
  Corners ends;
  for (const Piece& piece : pieces) {
    for (const LineRef& line : piece.lines) {
      if (line) ends.insert(ends.end(), {line->a, line->b});
    }
  }
  if (ends.empty()) return {0, 0, 0, 0};
  const auto byX =
      std::minmax_element(ends.begin(), ends.end(), [](SubsamplePoint a, SubsamplePoint b) { return a.x < b.x; });
  const auto byY =
      std::minmax_element(ends.begin(), ends.end(), [](SubsamplePoint a, SubsamplePoint b) { return a.y < b.y; });
  return {static_cast<std::int64_t>(std::floor(byX.first->x)), static_cast<std::int64_t>(std::floor(byY.first->y)),
          static_cast<std::int64_t>(std::ceil(byX.second->x)), static_cast<std::int64_t>(std::ceil(byY.second->y))};
}

struct Live {
  std::size_t slot;
  float x, u;
  bool onOutline;
};

std::vector<Live> LiveLines(const Piece& piece, std::int64_t y) {
  std::vector<Live> live;
  for (std::size_t slot = 0; slot < 4; ++slot) {
    const Line* line = piece.lines[slot].get();
    if (line == nullptr || y < line->firstRow || y - line->firstRow >= static_cast<std::int64_t>(line->x.size())) {
      continue;
    }
    const auto row = static_cast<std::size_t>(y - line->firstRow);
    live.push_back({slot, line->x[row], line->u[row], line->onOutline});
  }
  return live;
}

// The bounds of the piece among its live lines, chosen by sorting.
std::optional<std::pair<Live, Live>> Choose(const Piece& piece, std::vector<Live> live) {
  const std::size_t outlineSlot = piece.outlineLeft ? 0 : 3;
  const bool outlineLives = std::any_of(live.begin(), live.end(), [&](Live l) { return l.slot == outlineSlot; });
  std::stable_sort(live.begin(), live.end(), [&](Live a, Live b) { return piece.outlineLeft ? a.x < b.x : a.x > b.x; });
  std::vector<Live> rest;
  std::copy_if(live.begin(), live.end(), std::back_inserter(rest), [&](Live l) { return l.slot != outlineSlot; });
  Live outer{};
  if (outlineLives) {
    outer = *std::find_if(live.begin(), live.end(), [&](Live l) { return l.slot == outlineSlot; });
  } else {
    if (rest.empty()) return {};
    // Of equally placed lines the right side takes the one with the highest slot.
    auto taken = rest.begin();
    for (auto l = rest.begin(); l != rest.end() && l->x == rest.front().x; ++l) taken = piece.outlineLeft ? taken : l;
    outer = *taken;
    rest.erase(taken);
  }
  if (rest.empty()) return {};
  const Live inner = rest.front();
  return piece.outlineLeft ? std::pair{outer, inner} : std::pair{inner, outer};
}

struct Cell {
  bool crossed = false;
  std::optional<std::int32_t> index;
};

void MarkPiece(const Piece& piece, std::int64_t y, std::int64_t lo, std::int64_t hi, std::vector<Cell>& cells) {
  auto bounds = Choose(piece, LiveLines(piece, y));
  if (!bounds || bounds->first.slot > bounds->second.slot) return;
  auto [left, right] = *bounds;
  if (piece.outlineLeft && left.slot == 0) right.x = std::max(left.x, right.x);
  if (!piece.outlineLeft && right.slot == 3) left.x = std::min(left.x, right.x);
  const auto begin = static_cast<std::int64_t>(std::floor(left.x));
  const auto end = static_cast<std::int64_t>(std::floor(right.x));
  if (begin > hi) return;
  const auto cellAt = [&](std::int64_t c) -> Cell& {
    return cells[static_cast<std::size_t>(std::clamp(c, lo, hi) - lo)];
  };
  if (left.onOutline) cellAt(begin).crossed ^= true;
  if (right.onOutline) cellAt(std::max(begin, end)).crossed ^= true;
  if (left.x == right.x) return;

  const float step = (right.u - left.u) / (right.x - left.x);
  float u = std::max(0.0F, (1.0F - (left.x - static_cast<float>(begin))) * step + left.u);
  if (begin < lo) u = u + static_cast<float>(lo - begin) * step;
  for (std::int64_t c = std::max(begin, lo); c < std::min(end, hi); ++c, u += step) {
    const float scaled = u * 500.0F;
    const std::int32_t index = scaled < 32767 ? std::max(0, static_cast<std::int32_t>(scaled)) : 32767;
    cellAt(c).index = std::min(cellAt(c).index.value_or(index), index);
  }
}

// Blends samples into the picture: at once with one sample a pixel, else the means of whole squares, row of squares by
// row of squares.
class Compositor {
 public:
  Compositor(const StrokeCase& stroke, Picture& picture) : quality_(stroke.quality), picture_(picture) {
    std::memcpy(&color_, &stroke.color, 4);
  }
  void Sample(std::int64_t x, std::int64_t y, std::uint8_t alpha) {
    if (quality_ == 1) return Blend(x, y, alpha);
    const std::int64_t squareY = static_cast<std::int64_t>(std::floor(static_cast<double>(y) / quality_));
    if (squareY != squareY_) Finish();
    squareY_ = squareY;
    sums_[static_cast<std::int64_t>(std::floor(static_cast<double>(x) / quality_))] += alpha;
  }
  void Finish() {
    for (const auto& [squareX, sum] : sums_) {
      if (sum > 0) Blend(squareX, squareY_, static_cast<std::uint8_t>(sum / (quality_ * quality_)));
    }
    sums_.clear();
  }

 private:
  void Blend(std::int64_t x, std::int64_t y, std::uint8_t alpha) {
    OrvPixel& pixel = picture_.At(FoldByPeriod(x, picture_.View().width), FoldByPeriod(y, picture_.View().height));
    color_.alpha = alpha;
    BlendPixel(pixel, pixel, color_);
  }

  std::int32_t quality_;
  Picture& picture_;
  OrvPixel color_;
  std::int64_t squareY_ = 0;
  std::map<std::int64_t, std::int32_t> sums_;
};

// The pieces of the stroke in subsamples, none when there is nothing to draw; nothing at all when it reaches too far.
std::optional<std::vector<Piece>> PiecesOf(const StrokeCase& stroke) {
  Points points(stroke.points.begin(), stroke.points.end());
  const double area = Area(points);
  const double layer = stroke.layerWidth * Value(stroke.pixelAspect) * stroke.layerHeight;
  if (points.size() < 3 || std::abs(area) * layer < 0.1) return std::vector<Piece>{};
  if (area < 0) std::reverse(points.begin(), points.end());
  points = Thinned(points);
  const std::size_t n = points.size();
  if (n < 3) return std::vector<Piece>{};
  Points inner;
  for (std::size_t i = 0; i < n; ++i) {
    inner.push_back(Inner(points[(i + n - 1) % n], points[i], points[(i + 1) % n], stroke.width));
  }
  const double q = stroke.quality, dsx = Value(stroke.downsampleX), dsy = Value(stroke.downsampleY);
  const float wx = static_cast<float>(stroke.layerWidth) * stroke.origin.x;
  const float hy = static_cast<float>(stroke.layerHeight) * stroke.origin.y;
  const auto sx = static_cast<float>(q * dsx / Value(stroke.pixelAspect)), sy = static_cast<float>(q * dsy);
  const auto ox = static_cast<float>(q * (static_cast<double>(wx) * dsx + stroke.outputOrigin.x));
  const auto oy = static_cast<float>(q * (static_cast<double>(hy) * dsy + stroke.outputOrigin.y));
  const auto inSubsamples = [&](const Points& placed) {
    Corners corners;
    for (const PlacedPoint p : placed) corners.push_back({sx * p.x + ox, sy * p.y + oy});
    return corners;
  };
  const Corners innerCorners = inSubsamples(inner);
  for (const SubsamplePoint p : innerCorners) {
    if (std::abs(p.x) + std::abs(p.y) > 2e5F) return {};
  }
  return Pieces(inSubsamples(points), innerCorners);
}

}  // namespace

std::int64_t FoldByPeriod(std::int64_t coordinate, std::int64_t size) {
  const std::int64_t there = ((coordinate % (2 * size)) + 2 * size) % (2 * size);
  return there < size ? there : 2 * size - 1 - there;
}

std::optional<StrokeOutcome> DrawSlowly(const StrokeCase& stroke, Picture& picture, double largestArea) {
  StrokeOutcome outcome;
  const auto found = PiecesOf(stroke);
  if (!found) return {};
  const std::vector<Piece>& pieces = *found;
  Box box = Surround(pieces);
  if (!stroke.reflection) {
    box.left = std::max<std::int64_t>(box.left, 0);
    box.right = std::min<std::int64_t>(box.right, picture.View().width * stroke.quality);
    box.bottom = std::min<std::int64_t>(box.bottom, picture.View().height * stroke.quality);
  }
  if (box.left >= box.right || box.top >= box.bottom) return outcome;
  const auto width = static_cast<double>(box.right - box.left), height = static_cast<double>(box.bottom - box.top);
  if (width * height > largestArea) return {};

  ProfileTable table;
  BuildProfileTable(stroke.opacity, static_cast<std::int32_t>(stroke.profile), table);
  Compositor compositor(stroke, picture);
  std::int32_t rows = 0;
  for (std::int64_t y = box.top; y <= box.bottom && outcome.result == 0; ++y) {
    const auto lives = [&](const Piece& piece) { return !LiveLines(piece, y).empty(); };
    if (std::none_of(pieces.begin(), pieces.end(), lives)) continue;
    std::vector<Cell> cells(static_cast<std::size_t>(box.right + 1 - box.left + 1));
    for (const Piece& piece : pieces) MarkPiece(piece, y, box.left, box.right + 1, cells);
    bool inside = false;
    for (std::size_t c = 0; c < cells.size() && (stroke.reflection || y >= 0); ++c) {
      inside ^= cells[c].crossed;
      if (!inside || cells[c].index.value_or(501) > 500) continue;
      const auto alpha = static_cast<std::uint8_t>(table[static_cast<std::size_t>(*cells[c].index)]);
      compositor.Sample(box.left + static_cast<std::int64_t>(c), y, alpha);
    }
    if (rows++ % std::max(stroke.rowsBetweenReports, 1) != 0) continue;
    outcome.reports.push_back(
        {static_cast<std::int32_t>(y - box.top), static_cast<std::int32_t>(box.bottom - box.top)});
    if (static_cast<int>(outcome.reports.size()) - 1 == stroke.stopAtReport) outcome.result = kStopCode;
  }
  compositor.Finish();
  outcome.aborted = outcome.result;
  return outcome;
}

}  // namespace orvandel
