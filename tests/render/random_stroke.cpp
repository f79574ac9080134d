#include "random_stroke.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace orvandel {
namespace {

// By doubles: their last bit, which differs between processors, is rounded away.
PlacedPoint OnCircle(float angle, float radius) {
  const auto turned = [radius](double part) { return radius * static_cast<float>(part); };
  return {turned(std::cos(static_cast<double>(angle))), turned(std::sin(static_cast<double>(angle)))};
}

PlacedOutline RandomOutline(Dice& dice, float radius) {
  const std::int32_t kind = dice.Whole(0, 5);
  const std::int32_t count = dice.OneIn(8) ? dice.Whole(60, 200) : dice.Whole(3, 14);
  const float turn = dice.Real(0, 6.2832F), depth = dice.Real(0.001F, 2.0F);
  PlacedOutline points;
  for (std::int32_t i = 0; i < count; ++i) {
    const float angle = turn + 6.2831855F * static_cast<float>(i) / static_cast<float>(count);
    const PlacedPoint anywhere{dice.Real(-radius, radius), dice.Real(-radius, radius)};
    switch (kind) {
      case 0:  // polygon
        points.push_back(OnCircle(angle, radius));
        break;
      case 1:  // star, from needles to inward points
        points.push_back(OnCircle(angle, i % 2 == 0 ? radius : radius * depth));
        break;
      case 2:  // irregular
        points.push_back(OnCircle(angle, radius * dice.Real(0.4F, 1.0F)));
        break;
      case 3:  // crossing itself at random
        points.push_back(anywhere);
        break;
      case 4:  // on whole coordinates: horizontal edges, ends exactly on rows, equal points
        points.push_back({std::floor(anywhere.x / 4) * 4, std::floor(anywhere.y / 4) * 4});
        break;
      default:  // rectangles in stairs
        points.push_back({points.empty() || i % 2 == 0 ? anywhere.x : points.back().x,
                          points.empty() || i % 2 == 1 ? anywhere.y : points.back().y});
    }
  }
  if (dice.OneIn(2)) std::reverse(points.begin(), points.end());
  return points;
}

// Puts a point near the middle of every segment: turns too slight for a bisector of their own.
void BendSlightly(PlacedOutline& points, Dice& dice) {
  PlacedOutline bent;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const PlacedPoint a = points[i], b = points[(i + 1) % points.size()];
    const float bend = dice.Real(-0.002F, 0.002F);
    bent.push_back(a);
    bent.push_back({(a.x + b.x) / 2 - (b.y - a.y) * bend, (a.y + b.y) / 2 + (b.x - a.x) * bend});
  }
  points = bent;
}

// Leaves whole layer pixels whole: ends exactly on rows and columns, edges that stand at the same x.
void KeepWholePixels(StrokeCase& stroke, Dice& dice) {
  for (PlacedPoint& p : stroke.points) p = {std::round(p.x), std::round(p.y)};
  stroke.width = static_cast<float>(dice.Whole(0, 12));
  stroke.layerWidth = stroke.layerHeight = 64;
  stroke.origin = {0.5F, 0.25F};
  stroke.downsampleX = stroke.downsampleY = stroke.pixelAspect = {1, 1};
}

}  // namespace

StrokeCase RandomStroke(Dice& dice) {
  StrokeCase stroke;
  stroke.quality = dice.OneIn(3) ? 1 : dice.Whole(2, dice.OneIn(4) ? 16 : 5);
  const float radius = dice.Real(1, 250) / static_cast<float>(stroke.quality);
  stroke.points = RandomOutline(dice, radius);
  stroke.width = dice.OneIn(10) ? 0.0F : dice.Real(0.1F, dice.OneIn(3) ? 2 * radius : 8);
  stroke.opacity = dice.Real(0.05F, 1);
  stroke.profile = static_cast<std::uint32_t>(dice.Whole(1, 8));
  stroke.color = static_cast<std::uint32_t>(dice.Whole(0, 0xFFFFFF) * 128);
  stroke.reflection = dice.OneIn(2);
  stroke.layerWidth = dice.Whole(1, 120);
  stroke.layerHeight = dice.Whole(1, 120);
  stroke.origin = {dice.Real(-0.3F, 1.3F), dice.Real(-0.3F, 1.3F)};
  const OrvRatio ratios[] = {{1, 1}, {1, 1}, {1, 2}, {2, 3}};
  stroke.downsampleX = ratios[dice.Whole(0, 3)];
  stroke.downsampleY = ratios[dice.Whole(0, 3)];
  if (dice.OneIn(3)) stroke.pixelAspect = {10, 11};
  if (dice.OneIn(4)) stroke.outputOrigin = {dice.Whole(-50, 50), dice.Whole(-50, 50)};
  if (dice.OneIn(4)) BendSlightly(stroke.points, dice);
  if (dice.OneIn(3)) KeepWholePixels(stroke, dice);
  if (dice.OneIn(60)) {
    for (PlacedPoint& p : stroke.points) p.y *= 150;  // u drifts along edges of many rows
  }
  if (dice.OneIn(12)) stroke.width = -stroke.width;
  if (dice.OneIn(5)) stroke.stopAtReport = dice.Whole(0, 60);
  if (dice.OneIn(4)) stroke.rowsBetweenReports = dice.Whole(0, dice.OneIn(2) ? 9 : 0x7FFFFFFE);
  return stroke;
}

Picture RandomPicture(Dice& dice) {
  const bool tiny = dice.OneIn(6);
  const std::int32_t width = tiny ? 1 : dice.Whole(1, 90), height = tiny ? 1 : dice.Whole(1, 90);
  Picture picture(width, height, dice.Whole(0, 3) * 4);
  if (dice.OneIn(2)) return picture;
  for (std::uint8_t& byte : picture.Bytes()) byte = static_cast<std::uint8_t>(dice.OneIn(4) ? 0 : dice.Whole(0, 255));
  return picture;
}

std::string Describe(const StrokeCase& stroke) {
  std::ostringstream text;
  text << "quality " << stroke.quality << ", reflection " << stroke.reflection << ", width " << stroke.width
       << ", profile " << stroke.profile << ", stop " << stroke.stopAtReport << ", every " << stroke.rowsBetweenReports
       << " rows, points";
  for (const PlacedPoint& p : stroke.points) text << " (" << p.x << ' ' << p.y << ')';
  return text.str();
}

}  // namespace orvandel
