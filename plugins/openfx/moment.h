// What an action is about: one time of one instance, at one scale, with the values that hold.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "plugins/bridge/player.h"
#include "plugins/openfx/instance.h"
#include "plugins/openfx/looks.h"
#include "plugins/openfx/values.h"

namespace orvandel::ofx {

class Moment {
 public:
  // `stage`: where the picture lies if the project does not say.
  Moment(Instance& instance, double frame, OfxPointD scale, bool draft, const Stage& stage);
  Moment(const Moment&) = delete;
  Moment& operator=(const Moment&) = delete;

  const Stage& Where() const { return stage_; }
  const FrameGrid& Grid() const { return grid_; }
  double Time() const { return frame_; }
  bool HasBegun() const { return values_.Units() >= 0; }

  // The clip that is traced at this moment, null: none. Without pictures, what the host says of connections decides.
  OfxImageClipHandle TracedClip() const { return traces_ ? traced_ : nullptr; }
  // For Automatic, when the layer clip turns out to be empty.
  void TraceSourceInstead() { traced_ = instance_.SourceClip(); }
  bool PrefersLayer() const { return prefersLayer_; }
  // The Source's frame that is shown at a time of the effect's.
  double FrameOf(const bridge::LookTime& time) const;

  // The effect's picture. `pictures` is asked where something is traced; frames without it are kept by their values
  // alone, others only while a sequence is rendered.
  FramePtr Render(bridge::PictureSource* pictures);
  // The Source's frames that Render asks for, as the effect says when it is run with nothing to trace.
  std::vector<double> FramesTraced();

 private:
  class Params;

  Frame Make(const bridge::Player& player, bridge::PictureSource* pictures, std::uint64_t stamp);
  MaskChoice Mask() const;
  // Of all that stays the same from frame to frame.
  std::vector<double> Signature() const;
  std::vector<double> TracedPlace() const;
  FrameKey Key() const;  // pictures apart

  Instance& instance_;
  double frame_;
  bool draft_;
  Stage stage_;
  FrameGrid grid_;
  Clock clock_;
  double sequence_;  // that the values are of; 0: none
  Values values_;
  bool traces_ = false, prefersLayer_ = false;
  OfxImageClipHandle traced_ = nullptr;
};

}  // namespace orvandel::ofx
