// What stands behind the effects' picture: a colour, a picture, a numbered sequence or a film.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "stage/media/layer_pictures.h"
#include "stage/picture/picture.h"
#include "stage/picture/picture16.h"
#include "stage/picture/picture_rows.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// The picture laid over another one of its size as over a background, except that what is not opaque behind stays so.
Picture16 LaidOver(Picture16 picture, const PictureRows& behind, Blend blend, bool linear);

class Background {
 public:
  // Of a scene that has one; a medium plays at the scene's times and is stretched to the scene's size. InputError. The
  // scene must outlive it.
  Background(const Scene& scene, const OutputScale& scale);

  // The picture laid over the background that stands at `hostTime`, by the scene's blend and compositing; opaque. The
  // background itself stands over black.
  Picture16 PutBehind(Picture16 picture, std::int32_t hostTime);
  // With normal blend in stored values each channel is (colour x alpha + background x (255 - alpha) + 127) / 255 in
  // integers; otherwise the same as above, rounded.
  Picture PutBehind(const PictureRows& rows, std::int32_t hostTime);
  // The same into memory of another; rows begin `rowBytes` apart.
  void PutBehindInto(const PictureRows& rows, std::int32_t hostTime, std::uint8_t* out, std::ptrdiff_t rowBytes);

 private:
  // The background's pixels at the time; null where it is a colour.
  std::shared_ptr<HostImage> PixelsAt(std::int32_t hostTime);

  const Scene& scene_;
  std::unique_ptr<LayerPictures> pictures_;  // null: the colour
};

}  // namespace orvandel::stage
