#include "stage/render/scene_renderer.h"

#include <algorithm>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/base/within_memory.h"
#include "stage/media/background.h"
#include "stage/render/composite.h"
#include "stage/render/glow.h"
#include "stage/render/motion_blur.h"

namespace orvandel::stage {

struct SceneRenderer::Impl {
  Impl(EffectModule& module, const Scene& played, const RenderOptions& options)
      : scene(played), downsample(options.downsample) {
    for (std::size_t i = 0; i < scene.emitters.size(); ++i) {
      renderers.push_back(std::make_unique<FrameRenderer>(module, scene, i, options));
    }
    if (!scene.background.IsNothing()) background.emplace(scene, options.downsample);
  }

  std::int32_t Width() const { return renderers.front()->OutputWidth(); }
  std::int32_t Height() const { return renderers.front()->OutputHeight(); }

  // One effect whose picture is the whole picture.
  bool IsPlain() const {
    const Emitter& only = scene.emitters.front();
    return scene.emitters.size() == 1 && only.blend == Blend::kNormal && only.opacity == 1;
  }
  bool IsBlurred() const { return scene.motionBlur.samples > 1; }
  // Whether the effects' picture is the bytes of one.
  bool IsUntouched() const { return IsPlain() && !IsBlurred() && !scene.glow; }

  Picture PictureOf(std::size_t emitter, std::int32_t hostTime) {
    try {
      return renderers[emitter]->RenderAt(hostTime);
    } catch (const EffectError& error) {
      if (renderers.size() == 1 || error.message.empty()) throw;
      throw EffectError(error.code, fmt::format("effect {}: {}", emitter + 1, error.message));
    }
  }

  Picture16 Composite(std::int32_t hostTime) {
    Canvas canvas(Width(), Height(), scene.linear);
    for (std::size_t i = 0; i < renderers.size(); ++i) {
      canvas.Lay(PictureOf(i, hostTime), scene.emitters[i].blend, scene.emitters[i].opacity);
    }
    return canvas.Result();
  }

  void CountWaves() {
    std::int64_t count = 0;
    for (const auto& renderer : renderers) count += renderer->WaveCount();
    mostWaves = std::max(mostWaves, count);
  }

  // The effects' picture at a time, before blur and glow.
  Picture16 SharpAt(std::int32_t hostTime) {
    Picture16 picture = IsPlain() ? Widened(PictureOf(0, hostTime)) : Composite(hostTime);
    CountWaves();
    return picture;
  }

  Picture16 BlurredAt(std::int32_t frame) {
    if (!IsBlurred()) return SharpAt(scene.time.TimeOfFrame(frame));
    LightMean mean(Width(), Height());
    for (const std::int32_t hostTime : SampleTimes(scene.motionBlur, scene.time, frame)) mean.Add(SharpAt(hostTime));
    return mean.Result();
  }

  Picture16 Effects16(std::int32_t frame) {
    mostWaves = 0;
    Picture16 picture = BlurredAt(frame);
    return scene.glow ? WithGlow(picture, *scene.glow, 1.0 / downsample, scene.linear) : picture;
  }

  // The bytes of a scene's only effect.
  Picture Untouched(std::int32_t frame) {
    mostWaves = 0;
    Picture picture = PictureOf(0, scene.time.TimeOfFrame(frame));
    CountWaves();
    return picture;
  }

  Picture Effects(std::int32_t frame) { return IsUntouched() ? Untouched(frame) : Narrowed(Effects16(frame)); }

  Picture16 Render16(std::int32_t frame) {
    Picture16 picture = Effects16(frame);
    return background ? background->Behind(picture, scene.time.TimeOfFrame(frame)) : picture;
  }

  Picture Render(std::int32_t frame) {
    if (!background) return Effects(frame);
    return IsUntouched() ? background->Behind(Untouched(frame), scene.time.TimeOfFrame(frame))
                         : Narrowed(Render16(frame));
  }

  const Scene& scene;
  std::int32_t downsample;
  std::vector<std::unique_ptr<FrameRenderer>> renderers;
  std::int64_t mostWaves = 0;  // of the frame
  std::optional<Background> background;
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
Picture SceneRenderer::RenderEffects(std::int32_t frame) {
  return WithinMemory([&] { return impl_->Effects(frame); });
}

std::int32_t SceneRenderer::OutputWidth() const { return impl_->Width(); }

std::int32_t SceneRenderer::OutputHeight() const { return impl_->Height(); }

}  // namespace orvandel::stage
