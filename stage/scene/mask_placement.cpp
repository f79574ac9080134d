#include "stage/scene/mask_placement.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "stage/base/names.h"
#include "stage/scene/path_measure.h"

namespace orvandel::stage {
namespace {

constexpr double kSmall = 1.0 / 20;                      // of the picture: a drawing made for another size
constexpr double kUsualHeight = 0.6, kUsualWidth = 0.9;  // of the picture, for one that is put into its middle
constexpr double kMostPixels = 1e6, kMostScale = 1000;
constexpr std::string_view kFitForms =
    "\"none\", \"contain\", \"cover\", {\"contain\": [x, y, width, height]} or {\"cover\": [x, y, width, height]}";

SvgBox ReadBox(const JsonPlace& place) {
  if (!place.IsArray() || place.Size() != 4) place.FailNot("a rectangle [x, y, width, height] in pixels");
  const auto number = [&](std::size_t i, double low) { return place.Item(i).NumberIn(low, kMostPixels, "pixels"); };
  return {number(0, -kMostPixels), number(1, -kMostPixels), number(2, 1), number(3, 1)};
}

Fit ReadFit(const JsonPlace& place) {
  if (place.IsString()) {
    const std::string& text = place.Text(kFitForms);
    if (text == "none") return {Fit::Mode::kNone, {}};
    if (text == "contain") return {Fit::Mode::kContain, {}};
    if (text == "cover") return {Fit::Mode::kCover, {}};
    place.Fail(fmt::format("{} is not {}{}", place.Found(), kFitForms, DidYouMean(text, {"none", "contain", "cover"})));
  }
  place.MustBeObject(kFitForms).OnlyKeys({"contain", "cover"});
  if (place.Size() != 1) place.FailNot(kFitForms);
  return {place.KeyOf(0) == "cover" ? Fit::Mode::kCover : Fit::Mode::kContain, ReadBox(place.Item(0))};
}

double ReadFactor(const JsonPlace& place) {
  const double factor = place.NumberIn(-kMostScale, kMostScale, "a factor");
  if (std::abs(factor) < 1 / kMostScale)
    place.Fail(fmt::format("{} is nearer to 0 than {}", place.Found(), 1 / kMostScale));
  return factor;
}

PointValue ReadScale(const JsonPlace& place) {
  if (!place.IsArray()) {
    const double both = ReadFactor(place);
    return {both, both};
  }
  if (place.Size() != 2) place.FailNot("a factor, or [of the width, of the height]");
  return {ReadFactor(place.Item(0)), ReadFactor(place.Item(1))};
}

PointValue ReadPosition(const JsonPlace& place) {
  if (!place.IsArray() || place.Size() != 2) place.FailNot("a point [x, y] in pixels");
  const auto number = [&](std::size_t i) { return place.Item(i).NumberIn(-kMostPixels, kMostPixels, "pixels"); };
  return {number(0), number(1)};
}

bool LiesOutside(const PathBox& box, const PictureSize& picture) {
  return box.right <= 0 || box.bottom <= 0 || box.left >= picture.width || box.top >= picture.height;
}

bool IsSmall(const PathBox& box, const PictureSize& picture) {
  return box.Width() < kSmall * picture.width && box.Height() < kSmall * picture.height;
}

Affine Fitted(const PathBox& box, Fit::Mode mode, const SvgBox& onto) {
  constexpr double kAny = std::numeric_limits<double>::infinity();
  const double x = box.Width() > 0 ? onto.width / box.Width() : kAny;
  const double y = box.Height() > 0 ? onto.height / box.Height() : kAny;
  double factor = mode == Fit::Mode::kCover && x != kAny && y != kAny ? std::max(x, y) : std::min(x, y);
  if (factor == kAny) factor = 1;
  const PointValue middle = box.Middle();
  return Affine::Move(onto.x + onto.width / 2, onto.y + onto.height / 2)
      .After(Affine::Scale(factor, factor))
      .After(Affine::Move(-middle.x, -middle.y));
}

SvgBox MiddleOf(const PictureSize& picture) {
  const double width = kUsualWidth * picture.width, height = kUsualHeight * picture.height;
  return {(picture.width - width) / 2, (picture.height - height) / 2, width, height};
}

}  // namespace

Placement ReadPlacement(const JsonPlace& mask) {
  Placement placement;
  if (const auto fit = mask.Find("fit")) placement.fit = ReadFit(*fit);
  if (const auto scale = mask.Find("scale")) placement.scale = ReadScale(*scale);
  if (const auto rotate = mask.Find("rotate")) placement.degrees = rotate->NumberIn(-32768, 32768, "degrees");
  if (const auto position = mask.Find("position")) placement.position = ReadPosition(*position);
  if (const auto anchor = mask.Find("anchor")) {
    const std::string& text = anchor->Text("\"layer\" or \"outline\"");
    placement.anchoredToOutline = text == "outline";
    if (text != "outline" && text != "layer") anchor->FailNot("\"layer\" or \"outline\"");
    if (placement.anchoredToOutline && placement.position) {
      mask.FailAt("position",
                  "has no effect with \"anchor\": \"outline\", which centres the outline; move the "
                  "Producer Point instead");
    }
  }
  // With a scale or a position given, nothing else is placed automatically.
  const bool placed = placement.position || mask.Find("scale");
  if (placed && placement.fit.mode == Fit::Mode::kAutomatic) placement.fit.mode = Fit::Mode::kNone;
  return placement;
}

std::string PlaceMask(const Placement& placement, const PictureSize& picture, bool fromDrawing,
                      const std::vector<const MaskPath*>& measured, const std::vector<MaskPath*>& moved) {
  PathBox box;
  for (const MaskPath* path : measured) TakeInto(box, *path);
  Affine way;
  std::string note;
  if (placement.fit.mode == Fit::Mode::kAutomatic) {
    const bool outside = LiesOutside(box, picture);
    if (fromDrawing && (outside || IsSmall(box, picture))) {
      way = Fitted(box, Fit::Mode::kContain, MiddleOf(picture));
      note = fmt::format(
          "the drawing {}, so it is put into the middle, {:.0f} % of the height; \"fit\" places it "
          "otherwise, \"fit\": \"none\" leaves it",
          outside ? "lies outside the picture" : "is smaller than a twentieth of the picture", kUsualHeight * 100);
    }
  } else if (placement.fit.mode != Fit::Mode::kNone) {
    way = Fitted(box, placement.fit.mode,
                 placement.fit.box.value_or(SvgBox{0, 0, double(picture.width), double(picture.height)}));
  }
  const PointValue middle = way.Of(box.Middle());
  PointValue goal = placement.position.value_or(middle);
  if (placement.anchoredToOutline) goal = {picture.width * 0.5, picture.height * 0.5};
  if (placement.scale != PointValue{1, 1} || placement.degrees != 0 || goal != middle) {
    way = Affine::Move(goal.x, goal.y)
              .After(placement.degrees == 0 ? Affine{} : Affine::Turn(placement.degrees))
              .After(Affine::Scale(placement.scale.x, placement.scale.y))
              .After(Affine::Move(-middle.x, -middle.y))
              .After(way);
  }
  for (MaskPath* path : moved) Move(*path, way);
  return note;
}

}  // namespace orvandel::stage
