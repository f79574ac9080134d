// One frame from start to finish: passes the effect its records, answers its callbacks, returns the picture.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "stage/module/effect_module.h"
#include "stage/picture/picture_rows.h"
#include "stage/scene/output_scale.h"
#include "stage/scene/scene.h"

struct OrvWave;  // orvandel/wave_report.h

namespace orvandel::stage {

struct RenderOptions {
  bool highQuality = true;                // false: draft, one sample a pixel
  std::int32_t downsample = 1;            // k: the output is ceil(width / k) x ceil(height / k)
  std::optional<OutputScale> scale = {};  // in place of downsample
  // Asked whenever the effect asks; true stops the frame with Interrupted. Must be cheap.
  std::function<bool()> shouldStop = {};
  // Called for every wave of a frame, as the effect reports it before it draws (orvandel/wave_report.h). May throw: the
  // frame then ends with what was thrown.
  std::function<void(const OrvWave&)> onWave = {};
  std::int64_t maxWaves = 0;  // a frame with more waves alive is refused before it is drawn: InputError; 0: no bound
  // Nothing may be written outside the output's pixels, which is checked after every command, and nothing at all into
  // the input and the layers, which is checked after the first ones, some of the later ones, and the last: it costs one
  // reading of every picture lent, about half a millisecond each at full HD.
  bool checkImages = true;
  bool measureCoverage = false;  // for SceneRenderer::Coverage

  // States of the simulation are kept on the way, for frames asked for backward.
  bool keepResumePoints = false;
  // They are kept in files instead, in this folder, which must be of this very scene, module and size: every render
  // finds them (snapshot_files.h). Empty: not.
  std::filesystem::path snapshots = {};
  std::int32_t ticksBetweenSnapshots = 600;
  std::function<void(const std::string&)> onNote = {};  // what people should know of them

  OutputScale ScaleOf(const Scene& scene) const { return scale ? *scale : OutputScale::Downsampled(scene, downsample); }
};

class FrameRenderer {
 public:
  // Sets the module up for one sequence of one emitter. `module` and `scene` must outlive the renderer.
  FrameRenderer(EffectModule& module, const Scene& scene, std::size_t emitter, RenderOptions options);
  ~FrameRenderer();
  FrameRenderer(const FrameRenderer&) = delete;
  FrameRenderer& operator=(const FrameRenderer&) = delete;

  // Any frame in any order gives the same bytes. Throws EffectError, Interrupted, InputError (a medium that cannot be
  // read), WorkError (the ledger of handles and check-outs does not balance, or bytes outside the picture were
  // written).
  Picture Render(std::int32_t frame);
  // The same at a host time, for samples between frames.
  Picture RenderAt(std::int32_t hostTime);
  // The same without a copy: valid until the next frame. With `memory`, for which HostImage says how much, in there.
  PictureRows RenderRows(std::int32_t hostTime, std::span<std::uint8_t> memory = {});
  // The same into memory of the output's size, from its top row; alpha, red, green, blue. After an exception it holds
  // anything.
  void RenderInto(std::int32_t hostTime, std::uint8_t* top, std::int32_t rowBytes);

  // After the last frame: what the effect did wrong and only the end shows, which a destructor could not throw.
  void Finish();

  // The scene has other values than at the last frame, or its live pictures show something else.
  void SceneChanged();

  // How many waves were alive in the last frame rendered.
  std::int64_t WaveCount() const;

  std::int32_t OutputWidth() const;
  std::int32_t OutputHeight() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace orvandel::stage
