#include "stage/scene/svg_transform.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

double Radians(double degrees) { return std::fmod(degrees, 360.0) * (std::numbers::pi / 180.0); }

std::optional<Affine> TransformOf(std::string_view name, const std::vector<double>& n) {
  const std::size_t count = n.size();
  if (name == "matrix" && count == 6) return Affine{n[0], n[1], n[2], n[3], n[4], n[5]};
  if (name == "translate" && (count == 1 || count == 2)) return Affine::Move(n[0], count == 2 ? n[1] : 0);
  if (name == "scale" && (count == 1 || count == 2)) return Affine::Scale(n[0], count == 2 ? n[1] : n[0]);
  if (name == "rotate" && count == 1) return Affine::Turn(n[0]);
  if (name == "rotate" && count == 3) {
    return Affine::Move(n[1], n[2]).After(Affine::Turn(n[0])).After(Affine::Move(-n[1], -n[2]));
  }
  if (name == "skewX" && count == 1) return Affine{1, 0, std::tan(Radians(n[0])), 1, 0, 0};
  if (name == "skewY" && count == 1) return Affine{1, std::tan(Radians(n[0])), 0, 1, 0, 0};
  return {};
}

// The share of the free space before the picture in a word like "xMidYMax": 0, 0.5 or 1.
double Aligned(std::string_view word, std::size_t at) {
  const std::string_view part = word.size() >= at + 4 ? word.substr(at + 1, 3) : "Mid";
  return part == "Min" ? 0 : part == "Max" ? 1 : 0.5;
}

}  // namespace

Affine Affine::Turn(double degrees) {
  const double cosine = std::cos(Radians(degrees)), sine = std::sin(Radians(degrees));
  return {cosine, sine, -sine, cosine, 0, 0};
}

Affine Affine::After(const Affine& inner) const {
  return {a * inner.a + c * inner.b, b * inner.a + d * inner.b,     a * inner.c + c * inner.d,
          b * inner.c + d * inner.d, a * inner.e + c * inner.f + e, b * inner.e + d * inner.f + f};
}

void Move(MaskPath& path, const Affine& by) {
  if (by == Affine{}) return;
  for (Cubic& segment : path.segments) {
    for (PointValue* point : {&segment.p0, &segment.c1, &segment.c2, &segment.p3}) *point = by.Of(*point);
  }
}

std::optional<Affine> ParseTransform(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\n\f\r,";
  Affine whole;
  for (;;) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return whole;
    const std::size_t open = text.find('(', begin), close = text.find(')', begin);
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return {};
    const auto next =
        TransformOf(Trimmed(text.substr(begin, open - begin)), SvgNumbers(text.substr(open + 1, close - open - 1)));
    if (!next) return {};
    whole = whole.After(*next);
    text.remove_prefix(close + 1);
  }
}

std::optional<SvgBox> ParseViewBox(std::string_view text) {
  const std::vector<double> n = SvgNumbers(text);
  if (n.size() != 4 || !(n[2] > 0) || !(n[3] > 0)) return {};
  return SvgBox{n[0], n[1], n[2], n[3]};
}

Affine FromViewBox(const SvgBox& view, const SvgBox& onto, std::string_view preserveAspectRatio) {
  const std::string_view text = Trimmed(preserveAspectRatio);
  const std::string_view word = text.substr(0, text.find(' '));
  double x = onto.width / view.width, y = onto.height / view.height;
  if (word != "none") x = y = text.find("slice") != std::string_view::npos ? std::max(x, y) : std::min(x, y);
  const double left = (onto.width - view.width * x) * Aligned(word, 0);
  const double above = (onto.height - view.height * y) * Aligned(word, 4);
  return {x, 0, 0, y, onto.x + left - view.x * x, onto.y + above - view.y * y};
}

}  // namespace orvandel::stage
