#include "stage/scene/param_meanings.h"

#include <algorithm>
#include <iterator>

namespace orvandel::stage {
namespace {

struct Row {
  std::string_view name;
  ParamMeaning meaning;
};
constexpr Row kRows[] = {
    {"Producer Point", {"The point that waves are born at. Waves born while it moves are spread along its way.", ""}},
    {"Parameters are set at",
     {"Birth: a wave keeps the values that stood when it was born. Each Frame: every wave takes the values of the "
      "moment. Read at time 0 for the whole scene.",
      ""}},
    {"Wave Type", {"What a wave is the outline of.", ""}},
    {"Sides", {"Corners of the polygon, or points of the star.", ""}},
    {"Curve Size", {"How much of each edge the rounding of a corner takes: at 1 no straight part is left.", ""}},
    {"Curvyness",
     {"How tightly the rounding hugs the corner: 0 pulls it into the corner, 1 flattens it to a cut.", ""}},
    {"Star", {"Adds an inner corner between any two.", ""}},
    {"Star Depth",
     {"Where the inner corners lie: 0 on the polygon's edges, below toward the middle, above outward.", ""}},
    {"Source Layer", {"The picture that is traced; null is the effect's own layer (the scene's \"input\").", ""}},
    {"Source Center", {"The point of the source that lies on the producer point.", ""}},
    {"Value Channel",
     {"Which value of a pixel is compared with the threshold. Colours count multiplied by alpha.", ""}},
    {"Invert Input", {"Turns the values around before they are compared.", ""}},
    {"Value Threshold", {"The value whose contour is traced.", ""}},
    {"Pre-Blur", {"Softens the values first; near shapes run together.", "pixels"}},
    {"Tolerance", {"How far the simplified contour may leave the traced one.", "pixels"}},
    {"Contour", {"Which contour, counted from the top of the picture; with fewer, the last.", ""}},
    {"Mask", {"The path that waves are the outline of.", ""}},
    {"Frequency", {"How often waves are born. The first is born at the start, even at 0.", "waves a second"}},
    {"Expansion", {"How fast a wave's radius grows.", "pixels every 1/30 s"}},
    {"Orientation", {"How a wave is turned; positive is clockwise.", "degrees"}},
    {"Direction", {"Where waves travel: 0 is up, 90 to the right.", "degrees"}},
    {"Velocity", {"How fast waves travel.", "pixels a second"}},
    {"Spin", {"How fast a wave turns.", "degrees a second"}},
    {"Lifespan (sec)", {"How long a wave lives.", "seconds"}},
    {"Reflection", {"Whatever would lie outside the picture is folded back into it at the edges.", ""}},
    {"Profile", {"How opaque the stroke is across its width, from the outline inward.", ""}},
    {"Color", {"The stroke's colour.", ""}},
    {"Opacity", {"The stroke's opacity at its strongest.", ""}},
    {"Fade-in Time", {"How long a wave takes to reach its opacity.", "seconds"}},
    {"Fade-out Time", {"How long before the end of its life it begins to fade.", "seconds"}},
    {"Start Width", {"The stroke's width at birth. It lies inside the outline.", "pixels"}},
    {"End Width", {"The stroke's width at the end of a wave's life.", "pixels"}},
    {"Render Quality", {"Samples a pixel in each direction, at full quality.", ""}},
};

}  // namespace

ParamMeaning MeaningOf(std::string_view name) {
  const auto* row =
      std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& each) { return each.name == name; });
  return row == std::end(kRows) ? ParamMeaning{} : row->meaning;
}

}  // namespace orvandel::stage
