// A scene's frames as they go to a file: every effect of the scene, laid over one another, with motion blur, over what
// stands behind.
//
// A scene of one effect, laid normally at full opacity, without blur and over nothing, gives the effect's own bytes
// untouched; everything else is computed in 16 bits. A frame is a pure function of the scene here as well: it is made
// of pictures that are.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "stage/module/effect_module.h"
#include "stage/picture/picture16.h"
#include "stage/picture/picture_rows.h"
#include "stage/render/frame_renderer.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// Whether the effects' picture is the bytes of one of them; otherwise it has 16 bits.
bool HasEightBits(const Scene& scene);

class SceneRenderer {
 public:
  // `module` and `scene` must outlive the renderer. Every effect has a sequence of its own; `options` are for each.
  SceneRenderer(EffectModule& module, const Scene& scene, const RenderOptions& options);
  ~SceneRenderer();
  SceneRenderer(const SceneRenderer&) = delete;
  SceneRenderer& operator=(const SceneRenderer&) = delete;

  // Any frame in any order gives the same bytes. Throws what FrameRenderer throws; the effect's own messages begin with
  // "effect 2: " when the scene has several. The first is the second, rounded, except for untouched bytes.
  Picture Render(std::int32_t frame);
  Picture16 Render16(std::int32_t frame);
  // The same at a host time, which may lie between frames.
  Picture RenderAt(std::int32_t hostTime);
  Picture16 Render16At(std::int32_t hostTime);
  // Without a copy where the effect's own bytes are the picture: valid until the next frame. It may lie in `memory`
  // then, for which HostImage says how much.
  PictureRows RenderRows(std::int32_t frame, std::span<std::uint8_t> memory = {});
  // Into memory of the output's size, from its top row: alpha, red, green, blue. After an exception it holds anything.
  void RenderInto(std::int32_t hostTime, std::uint8_t* top, std::int32_t rowBytes);
  // As FrameRenderer::Finish.
  void Finish();
  // The scene has other values than at the last frame, or its live pictures show something else.
  void SceneChanged();
  // Whether Render loses nothing; otherwise Render16 holds more.
  bool IsEightBits() const;

  // How many waves of all effects were alive at once in the last frame rendered; with motion blur, at most.
  std::int64_t WaveCount() const;
  // Reading every picture once more costs a tenth of a simple scene's time: turn it off when enough is known.
  void MeasureCoverage(bool measure);
  // Part of the last frame's pixels, 0..1, on which the effects leave anything, whatever stands behind.
  double Coverage() const;
  // The effects' picture alone, without what stands behind.
  Picture RenderEffects(std::int32_t frame);

  std::int32_t OutputWidth() const;
  std::int32_t OutputHeight() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace orvandel::stage
