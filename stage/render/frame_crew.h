// A scene's frames on several threads, each with an effect of its own: the effect's state is module-wide and unguarded.
//
// Frames are pure functions of the scene, so any number of threads gives the same bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "stage/module/effect_library.h"
#include "stage/picture/picture.h"
#include "stage/render/frame_renderer.h"
#include "stage/render/scene_renderer.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

class FrameCrew {
 public:
  // `effect` gives a library that nobody else uses, as LoadEffect does; it is called `threads` times. `scene` must
  // outlive the crew; what `options` asks must bear to be asked by several threads. Throws as the renderers do.
  FrameCrew(const std::function<std::unique_ptr<EffectLibrary>()>& effect, const Scene& scene,
            const RenderOptions& options, int threads);
  ~FrameCrew();
  FrameCrew(const FrameCrew&) = delete;
  FrameCrew& operator=(const FrameCrew&) = delete;

  // Does `work` once for each of 0..count-1, in this order but several at a time, each with a renderer that nobody else
  // uses meanwhile. The first exception ends the work and is thrown here.
  using Work = std::function<void(SceneRenderer& renderer, std::size_t place)>;
  void Each(std::size_t count, const Work& work);

  // Renders each frame once and hands it to `take`, one at a time and in their order, from any thread: each thread
  // keeps its picture until those before it are taken. Exceptions as above.
  struct Rendered {
    std::int32_t frame = 0;
    Picture picture;
    double seconds = 0;      // that it took
    std::int64_t waves = 0;  // alive in it
  };
  using Take = std::function<void(Rendered)>;
  void Render(std::span<const std::int32_t> frames, const Take& take);

 private:
  struct Hand;
  std::vector<std::unique_ptr<Hand>> hands_;
};

}  // namespace orvandel::stage
