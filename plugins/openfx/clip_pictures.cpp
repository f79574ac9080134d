#include "plugins/openfx/clip_pictures.h"

namespace orvandel::ofx {

// Where a host has no frame at another time, the one that is shown stands in for it.
stage::Picture ClipPictures::PictureAt(Layer, const bridge::LookTime& time) {
  const FrameGrid& grid = moment_.Grid();
  const OfxRectD& region = moment_.Where().rect;
  const auto taken = [&](double frame) {
    const ClipImage image(instance_.Host(), moment_.TracedClip(), frame, &region);
    return image.View() ? PictureOf(*image.View(), grid.pixels) : stage::Picture();
  };
  stage::Picture picture = taken(moment_.FrameOf(time));
  return picture.Empty() ? taken(moment_.Time()) : picture;
}

}  // namespace orvandel::ofx
