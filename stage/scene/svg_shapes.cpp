#include "stage/scene/svg_shapes.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "stage/base/names.h"
#include "stage/scene/svg_style.h"

namespace orvandel::stage {
namespace {

class Shape {
 public:
  Shape(pugi::xml_node node, const SvgViewport& viewport) : node_(node), viewport_(viewport) {}

  double X(const char* name, double otherwise = 0) const { return Length(name, viewport_.width, otherwise); }
  double Y(const char* name, double otherwise = 0) const { return Length(name, viewport_.height, otherwise); }
  double R(const char* name) const { return Length(name, viewport_.Diagonal(), 0); }

  std::string Rectangle() const;
  std::string Ellipse(double rx, double ry) const;
  std::string Points(std::string_view end) const;

 private:
  double Length(const char* name, double whole, double otherwise) const {
    return SvgLength(node_.attribute(name).value(), whole, otherwise);
  }

  pugi::xml_node node_;
  const SvgViewport& viewport_;
};

std::string Shape::Rectangle() const {
  const double x = X("x"), y = Y("y"), width = X("width"), height = Y("height");
  if (!(width > 0) || !(height > 0)) return {};
  // A radius that is not given is the other one.
  double rx = X("rx", -1), ry = Y("ry", -1);
  if (rx < 0) rx = ry;
  if (ry < 0) ry = rx;
  rx = std::clamp(rx, 0.0, width / 2);
  ry = std::clamp(ry, 0.0, height / 2);
  if (rx == 0 || ry == 0) return fmt::format("M{} {}H{}V{}H{}Z", x, y, x + width, y + height, x);
  const std::string arc = fmt::format("A{} {} 0 0 1 ", rx, ry);
  const double right = x + width, bottom = y + height;
  return fmt::format("M{1} {2}H{3}{0}{4} {5}V{6}{0}{3} {7}H{1}{0}{8} {6}V{5}{0}{1} {2}Z", arc, x + rx, y, right - rx,
                     right, y + ry, bottom - ry, bottom, x);
}

std::string Shape::Ellipse(double rx, double ry) const {
  if (!(rx > 0) || !(ry > 0)) return {};
  const double x = X("cx"), y = Y("cy");
  return fmt::format("M{} {}A{} {} 0 0 1 {} {}A{} {} 0 0 1 {} {}Z", x + rx, y, rx, ry, x - rx, y, rx, ry, x + rx, y);
}

std::string Shape::Points(std::string_view end) const {
  const std::vector<double> numbers = SvgNumbers(node_.attribute("points").value());
  std::string text;
  for (std::size_t i = 0; i + 1 < numbers.size(); i += 2) {
    text += fmt::format("{}{} {}", i == 0 ? 'M' : 'L', numbers[i], numbers[i + 1]);
  }
  return text.empty() ? text : text.append(end);
}

}  // namespace

std::string SvgPathTextOf(pugi::xml_node node, const SvgViewport& viewport) {
  const std::string_view name = SvgLocalName(node.name());
  const Shape shape(node, viewport);
  if (name == "path") return node.attribute("d").value();
  if (name == "rect") return shape.Rectangle();
  if (name == "circle") return shape.Ellipse(shape.R("r"), shape.R("r"));
  if (name == "ellipse") {
    const double rx = shape.X("rx", -1), ry = shape.Y("ry", -1);
    return shape.Ellipse(rx < 0 ? ry : rx, ry < 0 ? rx : ry);
  }
  if (name == "line") {
    return fmt::format("M{} {}L{} {}", shape.X("x1"), shape.Y("y1"), shape.X("x2"), shape.Y("y2"));
  }
  if (name == "polyline") return shape.Points("");
  if (name == "polygon") return shape.Points("Z");
  return {};
}

}  // namespace orvandel::stage
