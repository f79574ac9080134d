// SVG coordinate systems: affine maps, and the attributes that define them.
#pragma once

#include <optional>
#include <string_view>

#include "stage/scene/scene.h"
#include "stage/scene/svg_number.h"

namespace orvandel::stage {

// (x, y) goes to (a x + c y + e, b x + d y + f).
struct Affine {
  double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;
  bool operator==(const Affine&) const = default;

  static Affine Move(double x, double y) { return {1, 0, 0, 1, x, y}; }
  static Affine Scale(double x, double y) { return {x, 0, 0, y, 0, 0}; }
  static Affine Turn(double degrees);  // from x toward y

  PointValue Of(PointValue p) const { return {a * p.x + c * p.y + e, b * p.x + d * p.y + f}; }
  // `inner` first.
  Affine After(const Affine& inner) const;
};

void Move(MaskPath& path, const Affine& by);

// The attribute "transform"; nothing when it cannot be parsed.
std::optional<Affine> ParseTransform(std::string_view text);

struct SvgBox {
  double x = 0, y = 0, width = 0, height = 0;
};

// The attribute "viewBox"; nothing when it is missing or invalid.
std::optional<SvgBox> ParseViewBox(std::string_view text);

// From the coordinates inside a viewBox to those of the box that it fills, as "preserveAspectRatio" says.
Affine FromViewBox(const SvgBox& view, const SvgBox& onto, std::string_view preserveAspectRatio);

}  // namespace orvandel::stage
