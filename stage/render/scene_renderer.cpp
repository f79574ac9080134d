#include "stage/render/scene_renderer.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/base/within_memory.h"
#include "stage/render/composite.h"
#include "stage/render/motion_blur.h"

namespace orvandel::stage {

struct SceneRenderer::Impl {
  Impl(EffectModule& module, const Scene& played, const RenderOptions& options) : scene(played) {
    for (std::size_t i = 0; i < scene.emitters.size(); ++i) {
      renderers.push_back(std::make_unique<FrameRenderer>(module, scene, i, options));
    }
  }

  std::int32_t Width() const { return renderers.front()->OutputWidth(); }
  std::int32_t Height() const { return renderers.front()->OutputHeight(); }

  // One effect whose picture is the whole picture.
  bool IsPlain() const {
    const Emitter& only = scene.emitters.front();
    return scene.emitters.size() == 1 && only.blend == Blend::kNormal && only.opacity == 1;
  }
  bool IsBlurred() const { return scene.motionBlur.samples > 1; }

  Picture PictureOf(std::size_t emitter, std::int32_t hostTime) {
    try {
      return renderers[emitter]->RenderAt(hostTime);
    } catch (const EffectError& error) {
      if (renderers.size() == 1 || error.message.empty()) throw;
      throw EffectError(error.code, fmt::format("effect {}: {}", emitter + 1, error.message));
    }
  }

  Picture16 Composite(std::int32_t hostTime) {
    Canvas canvas(Width(), Height());
    for (std::size_t i = 0; i < renderers.size(); ++i) {
      canvas.Lay(PictureOf(i, hostTime), scene.emitters[i].blend, scene.emitters[i].opacity);
    }
    return canvas.Result();
  }

  Picture SharpAt(std::int32_t hostTime) {
    Picture picture = IsPlain() ? PictureOf(0, hostTime) : Narrowed(Composite(hostTime));
    CountWaves();
    return picture;
  }

  void CountWaves() {
    std::int64_t count = 0;
    for (const auto& renderer : renderers) count += renderer->WaveCount();
    mostWaves = std::max(mostWaves, count);
  }

  Picture16 Blurred(std::int32_t frame) {
    LightMean mean(Width(), Height());
    for (const std::int32_t hostTime : SampleTimes(scene.motionBlur, scene.time, frame)) mean.Add(SharpAt(hostTime));
    return mean.Result();
  }

  Picture16 Render16(std::int32_t frame) {
    mostWaves = 0;
    if (IsBlurred()) return Blurred(frame);
    const std::int32_t hostTime = scene.time.TimeOfFrame(frame);
    Picture16 picture = IsPlain() ? Widened(PictureOf(0, hostTime)) : Composite(hostTime);
    CountWaves();
    return picture;
  }

  Picture Render(std::int32_t frame) {
    mostWaves = 0;
    return IsBlurred() ? Narrowed(Blurred(frame)) : SharpAt(scene.time.TimeOfFrame(frame));
  }

  const Scene& scene;
  std::vector<std::unique_ptr<FrameRenderer>> renderers;
  std::int64_t mostWaves = 0;  // of the frame
};

SceneRenderer::SceneRenderer(EffectModule& module, const Scene& scene, const RenderOptions& options)
    : impl_(std::make_unique<Impl>(module, scene, options)) {}

SceneRenderer::~SceneRenderer() = default;

Picture SceneRenderer::Render(std::int32_t frame) {
  return WithinMemory([&] { return impl_->Render(frame); });
}

Picture16 SceneRenderer::Render16(std::int32_t frame) {
  return WithinMemory([&] { return impl_->Render16(frame); });
}

std::int64_t SceneRenderer::WaveCount() const { return impl_->mostWaves; }

std::int32_t SceneRenderer::OutputWidth() const { return impl_->Width(); }

std::int32_t SceneRenderer::OutputHeight() const { return impl_->Height(); }

}  // namespace orvandel::stage
