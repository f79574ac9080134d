// A frame of a look, with an editor's values laid over it: a pure function of these, the time, the size and the
// pictures. Frames may be asked for in any order and from any thread, also several of one player's at once.
//
// A player is cheap: what it has rendered is remembered by the modules that did (EffectPool).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "plugins/bridge/look.h"
#include "plugins/bridge/param_source.h"
#include "stage/picture/picture16.h"
#include "stage/scene/output_scale.h"
#include "stage/scene/param_catalog.h"

namespace orvandel::bridge {

struct FrameRequest {
  std::shared_ptr<const Look> look = Look::Plain();
  double seconds = 0;                            // from the look's first frame; to the nearest unit of its clock
  stage::Rational frameRate{0, 1};               // the editor's, when it is known; 0: not
  std::int32_t width = 0, height = 0;            // of the whole frame, whatever part of it is needed
  std::optional<stage::OutputScale> scale = {};  // how the look fills it; otherwise as OutputScale::FittedTo says
  const ParamSource* params = nullptr;           // null: the look alone
  PictureSource* pictures = nullptr;             // null: the look's own
  // Two requests with one number other than 0 promise that varying values and pictures answer as they did. Constants
  // are compared anyway.
  std::uint64_t stamp = 0;
  bool highQuality = true;                // false: draft
  bool hasBackground = true;              // false: the look's picture alone, without what stands behind it
  std::function<bool()> shouldStop = {};  // true ends the frame with Interrupted; asked often
};

// A picture in memory, from its top row; 4 bytes a pixel, red, green, blue, alpha, colour not multiplied by alpha.
struct Rows {
  std::uint8_t* data = nullptr;
  std::ptrdiff_t rowBytes = 0;  // may be negative
};

class Player {
 public:
  Player();
  ~Player();
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  // Into rows of the request's size, which hold anything after an exception: InputError (the look's files),
  // Interrupted, EffectError, WorkError (memory, the module), or what the sources throw.
  void Render(const FrameRequest& request, const Rows& rows) const;
  // With all that there is: a look of several effects, blurred or glowing, has more than 8 bits.
  stage::Picture16 Render16(const FrameRequest& request) const;

 private:
  std::uint64_t tenant_;
};

// The effect's parameters. Throws WorkError.
const stage::ParamCatalog& Catalog();
// Of the effect as it comes: points in fractions of the frame.
stage::Value DefaultOf(const stage::ParamInfo& info);

}  // namespace orvandel::bridge
