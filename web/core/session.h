// One scene and the picture that was rendered last.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stage/module/effect_module.h"
#include "stage/picture/picture.h"
#include "stage/render/frame_renderer.h"
#include "stage/render/scene_renderer.h"
#include "stage/reports/reported_waves.h"
#include "stage/scene/scene.h"

namespace orvandel::web {

struct FrameSize {
  std::int32_t downsample = 1;
  bool draft = false;
  bool operator==(const FrameSize&) const = default;
};

class Session {
 public:
  Session();

  const stage::ParamCatalog& Catalog() const { return module_.Catalog(); }
  // Throws InputError; there is no scene then.
  const stage::Scene& Load(std::string_view text, const std::string& name);
  // Both throw InputError without a scene, and what renderers throw. Where pictures of films turn out to be missing
  // (given_films.h) there is no new picture, or one that lacks them: then call StartAfresh.
  void RenderFrame(std::int32_t frame, const FrameSize& size);
  void RenderEffect(std::int32_t effect, std::int32_t frame, const FrameSize& size);

  // After a frame drawn while pictures were missing: the sequences start afresh.
  void StartAfresh();

  stage::EffectModule& Module() { return module_; }
  // InputError without a scene.
  const stage::Scene& Loaded() const;
  // InputError when there is none with that number.
  const stage::Emitter& Effect(std::int32_t effect) const;
  std::int32_t HostTimeOf(std::int32_t frame) const;
  // Of one effect, the oldest first.
  const std::vector<stage::ReportedWave>& WavesOf(std::int32_t effect, std::int32_t frame);

  // Alpha last.
  const stage::Picture& Last() const { return last_; }

 private:
  const stage::Scene& Checked(std::int32_t frame) const;
  const stage::Scene& Checked(std::int32_t frame, const FrameSize& size) const;
  void EndSequences();
  void Keep(stage::Picture picture);

  stage::EffectModule module_;
  std::optional<stage::Scene> scene_;
  // For the size asked for last; made again for another size.
  FrameSize size_;
  std::unique_ptr<stage::SceneRenderer> whole_;
  std::vector<std::unique_ptr<stage::FrameRenderer>> single_;  // by effect
  std::unique_ptr<stage::WaveReports> reports_;
  stage::Picture last_;
};

}  // namespace orvandel::web
