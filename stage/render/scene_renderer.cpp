#include "stage/render/scene_renderer.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/base/stage_clock.h"
#include "stage/base/within_memory.h"
#include "stage/media/background.h"
#include "stage/picture/host_image.h"
#include "stage/picture/pixel_order.h"
#include "stage/render/composite.h"
#include "stage/render/glow.h"
#include "stage/render/motion_blur.h"

namespace orvandel::stage {

namespace {

// One effect whose picture is the whole picture.
bool IsPlain(const Scene& scene) {
  const Emitter& only = scene.emitters.front();
  return scene.emitters.size() == 1 && only.blend == Blend::kNormal && only.opacity == 1;
}

double CoverageOf(const Picture16& picture) {
  std::size_t seen = 0;
  for (std::size_t i = 0; i < picture.words.size(); i += 4) seen += EightBits(picture.words[i]) != 0 ? 1 : 0;
  return 4 * static_cast<double>(seen) / static_cast<double>(picture.words.size());
}

double CoverageOf(const PictureRows& rows) {
  std::size_t seen = 0;
  for (std::int32_t y = 0; y < rows.height; ++y)
    seen += CountVisible(rows.Row(y), static_cast<std::size_t>(rows.width));
  return static_cast<double>(seen) / (static_cast<double>(rows.width) * rows.height);
}

}  // namespace

bool HasEightBits(const Scene& scene) { return IsPlain(scene) && scene.motionBlur.samples <= 1 && !scene.glow; }

struct SceneRenderer::Impl {
  Impl(EffectModule& module, const Scene& played, const RenderOptions& options)
      : scene(played), scale(options.ScaleOf(played)), measureCoverage(options.measureCoverage) {
    for (std::size_t i = 0; i < scene.emitters.size(); ++i) {
      renderers.push_back(std::make_unique<FrameRenderer>(module, scene, i, options));
    }
    if (!scene.background.IsNothing()) background.emplace(scene, scale);
  }

  std::int32_t Width() const { return renderers.front()->OutputWidth(); }
  std::int32_t Height() const { return renderers.front()->OutputHeight(); }

  bool IsBlurred() const { return scene.motionBlur.samples > 1; }
  bool IsUntouched() const { return HasEightBits(scene); }

  // Until the effect draws again.
  PictureRows RowsOf(std::size_t emitter, std::int32_t hostTime, std::span<std::uint8_t> memory = {}) {
    PictureRows rows;
    AtEffect(emitter, [&](FrameRenderer& renderer) { rows = renderer.RenderRows(hostTime, memory); });
    return rows;
  }

  template <typename Work>
  void AtEffect(std::size_t emitter, const Work& work) {
    try {
      work(*renderers[emitter]);
    } catch (const EffectError& error) {
      if (renderers.size() == 1 || error.message.empty()) throw;
      throw EffectError(error.code, fmt::format("effect {}: {}", emitter + 1, error.message));
    }
  }

  Picture16 Composite(std::int32_t hostTime) {
    Compositor canvas(Width(), Height(), scene.linear);
    for (std::size_t i = 0; i < renderers.size(); ++i) {
      canvas.Lay(RowsOf(i, hostTime), scene.emitters[i].blend, scene.emitters[i].opacity);
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
    Picture16 picture = IsPlain(scene) ? Widened(RowsOf(0, hostTime)) : Composite(hostTime);
    CountWaves();
    return picture;
  }

  Picture16 BlurredAt(std::int32_t hostTime) {
    if (!IsBlurred()) return SharpAt(hostTime);
    LightMean mean(Width(), Height());
    for (const std::int32_t sample : SampleTimes(scene.motionBlur, scene.time, hostTime)) mean.Add(SharpAt(sample));
    return mean.Result();
  }

  Picture16 Effects16(std::int32_t hostTime) {
    const StageTimer compositing(WorkStage::kCompositing);
    mostWaves = 0;
    Picture16 picture = BlurredAt(hostTime);
    if (scene.glow) picture = WithGlow(std::move(picture), *scene.glow, scale.Map().y, scene.linear, glowRoom);
    if (measureCoverage) coverage = CoverageOf(picture);
    return picture;
  }

  // The bytes of a scene's only effect.
  PictureRows Untouched(std::int32_t hostTime, std::span<std::uint8_t> memory = {}) {
    const StageTimer compositing(WorkStage::kCompositing);
    mostWaves = 0;
    const PictureRows rows = RowsOf(0, hostTime, memory);
    CountWaves();
    if (measureCoverage) coverage = CoverageOf(rows);
    return rows;
  }

  Picture Effects(std::int32_t hostTime) {
    return IsUntouched() ? CopyOf(Untouched(hostTime)) : Narrowed(Effects16(hostTime));
  }

  Picture16 Render16(std::int32_t hostTime) {
    const StageTimer compositing(WorkStage::kCompositing);
    Picture16 picture = Effects16(hostTime);
    return background ? background->PutBehind(std::move(picture), hostTime) : picture;
  }

  Picture Render(std::int32_t hostTime) {
    const StageTimer compositing(WorkStage::kCompositing);
    if (!background) return Effects(hostTime);
    return IsUntouched() ? background->PutBehind(Untouched(hostTime), hostTime) : Narrowed(Render16(hostTime));
  }

  PictureRows RenderRows(std::int32_t hostTime, std::span<std::uint8_t> memory) {
    if (!IsUntouched()) {
      composed = Render(hostTime);
      return composed;
    }
    if (!background) return Untouched(hostTime, memory);
    const StageTimer compositing(WorkStage::kCompositing);
    const PictureRows rows = Untouched(hostTime);
    if (!memory.empty()) {
      const PictureRows result = HostImage::RowsIn(rows.width, rows.height, memory);
      background->PutBehindInto(rows, hostTime, memory.data(), result.rowBytes);
      return result;
    }
    if (composed.Empty()) composed = Picture(rows.width, rows.height);
    background->PutBehindInto(rows, hostTime, composed.bytes.data(), static_cast<std::ptrdiff_t>(composed.width) * 4);
    return composed;
  }

  const Scene& scene;
  OutputScale scale;
  bool measureCoverage;
  std::vector<std::unique_ptr<FrameRenderer>> renderers;
  std::int64_t mostWaves = 0;  // of the frame
  double coverage = 0;
  Picture composed;  // of RenderRows
  GlowRoom glowRoom;
  std::optional<Background> background;
};

SceneRenderer::SceneRenderer(EffectModule& module, const Scene& scene, const RenderOptions& options)
    : impl_(std::make_unique<Impl>(module, scene, options)) {}

SceneRenderer::~SceneRenderer() = default;

Picture SceneRenderer::Render(std::int32_t frame) { return RenderAt(impl_->scene.time.TimeOfFrame(frame)); }

Picture16 SceneRenderer::Render16(std::int32_t frame) { return Render16At(impl_->scene.time.TimeOfFrame(frame)); }

Picture SceneRenderer::RenderAt(std::int32_t hostTime) {
  return WithinMemory([&] { return impl_->Render(hostTime); });
}

Picture16 SceneRenderer::Render16At(std::int32_t hostTime) {
  return WithinMemory([&] { return impl_->Render16(hostTime); });
}

PictureRows SceneRenderer::RenderRows(std::int32_t frame, std::span<std::uint8_t> memory) {
  return WithinMemory([&] { return impl_->RenderRows(impl_->scene.time.TimeOfFrame(frame), memory); });
}

void SceneRenderer::MeasureCoverage(bool measure) { impl_->measureCoverage = measure; }

void SceneRenderer::RenderInto(std::int32_t hostTime, std::uint8_t* top, std::int32_t rowBytes) {
  if (impl_->IsUntouched() && !impl_->background) {
    impl_->AtEffect(0, [&](FrameRenderer& renderer) { renderer.RenderInto(hostTime, top, rowBytes); });
    return;
  }
  const Picture picture = RenderAt(hostTime);
  const std::size_t rowSize = static_cast<std::size_t>(picture.width) * 4;
  for (std::int32_t y = 0; y < picture.height; ++y) {
    std::memcpy(top + std::ptrdiff_t{rowBytes} * y, &picture.bytes[rowSize * static_cast<std::size_t>(y)], rowSize);
  }
}

void SceneRenderer::Finish() {
  for (const auto& renderer : impl_->renderers) renderer->Finish();
}

void SceneRenderer::SceneChanged() {
  for (const auto& renderer : impl_->renderers) renderer->SceneChanged();
}

bool SceneRenderer::IsEightBits() const { return impl_->IsUntouched(); }

std::int64_t SceneRenderer::WaveCount() const { return impl_->mostWaves; }
double SceneRenderer::Coverage() const { return impl_->coverage; }
Picture SceneRenderer::RenderEffects(std::int32_t frame) {
  return WithinMemory([&] { return impl_->Effects(impl_->scene.time.TimeOfFrame(frame)); });
}

std::int32_t SceneRenderer::OutputWidth() const { return impl_->Width(); }

std::int32_t SceneRenderer::OutputHeight() const { return impl_->Height(); }

}  // namespace orvandel::stage
