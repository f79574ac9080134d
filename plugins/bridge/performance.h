// One instance's frames on one module: the look at a size and a rate, with the editor's values laid over it.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "plugins/bridge/look.h"
#include "plugins/bridge/player.h"
#include "stage/module/effect_module.h"
#include "stage/render/scene_renderer.h"
#include "stage/scene/output_scale.h"
#include "stage/scene/scene.h"

namespace orvandel::bridge {

class Performance {
 public:
  // `module` must outlive it.
  Performance(stage::EffectModule& module, const FrameRequest& request);
  ~Performance();
  Performance(const Performance&) = delete;
  Performance& operator=(const Performance&) = delete;

  // Whether it can play the request; else another one has to be made.
  bool Fits(const FrameRequest& request) const;

  void Render(const FrameRequest& request, const Rows& rows);
  stage::Picture16 Render16(const FrameRequest& request);

 private:
  struct Editor;
  class Visit;
  // Brings the scene to what the request says; the host time to render at.
  std::int32_t Prepare(const FrameRequest& request);
  void OfferPictures(const FrameRequest& request);
  bool TakeValues(const FrameRequest& request);
  bool Varies(const FrameRequest& request) const;
  bool MakeRoomFor(std::int32_t hostTime);
  void GiveBackPictures(const FrameRequest& request);

  std::shared_ptr<const Look> look_;
  stage::Rational frameRate_;
  bool highQuality_, hasBackground_;
  bool coarse_ = false;  // the clock is one for late times
  bool hasInput_ = false, hasFurther_ = false;
  std::uint64_t stamp_ = 0;
  std::shared_ptr<Editor> editor_;
  stage::Scene scene_;
  std::vector<std::vector<stage::Track>> lookTracks_;  // by effect: what holds where the editor sets nothing
  std::optional<stage::OutputScale> askedScale_;
  stage::OutputScale scale_;
  std::vector<ParamSource::Origin> origins_;
  std::vector<stage::Value> constants_;
  std::unique_ptr<stage::SceneRenderer> renderer_;  // plays scene_
};

}  // namespace orvandel::bridge
