#include "stage/render/frame_renderer.h"

#include <cstdio>
#include <exception>
#include <string>
#include <utility>

#include "stage/base/within_memory.h"
#include "stage/media/sequence_rules.h"
#include "stage/module/module_session.h"
#include "stage/picture/host_image.h"
#include "stage/picture/picture_scale.h"
#include "stage/render/scene_answers.h"

namespace orvandel::stage {
// A sequence is set up before the first frame and goes on from frame to frame. It ends early after a failure, because
// only a sequence whose every command succeeded is known to be whole, and after every frame where the scene needs that.
struct FrameRenderer::Impl {
  Impl(EffectModule& effect, const Scene& played, std::size_t emitter, RenderOptions renderOptions)
      : module(effect.Internals()),
        scene(played),
        options(std::move(renderOptions)),
        answers(module, scene, scene.emitters.at(emitter), options.downsample),
        output(CellsOf(scene.width, options.downsample), CellsOf(scene.height, options.downsample)) {
    answers.shouldStop = options.shouldStop;
    answers.checkImages = options.checkImages;
    answers.onWave = options.onWave;
    answers.maxWaves = options.maxWaves;
    freshEveryFrame = NeedsFreshSequences(scene, scene.emitters[emitter], module.catalog, [&](std::int32_t place) {
      return place == 0 ? answers.InputMoves() : answers.LayerMoves(place);
    });
  }

  ~Impl() {
    try {
      EndSequence();
    } catch (const std::exception& error) {  // a destructor cannot throw, and silence would hide a leak
      std::fprintf(stderr, "orvandel: %s\n", error.what());
    }
  }

  CommandTime When(std::int32_t hostTime) const {
    return CommandTime::Of(scene, hostTime, options.downsample, options.highQuality);
  }

  void BeginSequence(std::int32_t hostTime) {
    if (sequence != nullptr) return;
    module.Send({.selector = ORV_SEQUENCE_SET_UP}, answers, When(hostTime), sequence);
  }

  void EndSequence() {
    if (sequence == nullptr) return;
    module.Send({.selector = ORV_SEQUENCE_SET_DOWN}, answers, When(0), sequence);
    if (const std::string left = module.ledger.EndOwner(static_cast<const HostAnswers*>(&answers)); !left.empty())
      throw WorkError(left);
  }

  void Draw(std::int32_t hostTime) {
    OrvImage image = output.Record();
    Command render{.selector = ORV_RENDER};
    render.params = answers.ParamsAt(hostTime);
    render.output = &image;
    answers.output = &output;
    answers.wavesReported = 0;
    try {
      module.Send(render, answers, When(hostTime), sequence);
    } catch (...) {
      answers.output = nullptr;
      throw;
    }
    answers.output = nullptr;
  }

  Picture RenderAt(std::int32_t hostTime) {
    if (freshEveryFrame || failed) EndSequence();
    failed = true;
    BeginSequence(hostTime);
    Draw(hostTime);
    failed = false;
    return output.ToPicture();
  }

  EffectModule::Impl& module;
  const Scene& scene;
  RenderOptions options;
  SceneAnswers answers;
  HostImage output;
  OrvHandle sequence = nullptr;
  bool freshEveryFrame = false;
  bool failed = false;  // the last frame did not come to its end
};

FrameRenderer::FrameRenderer(EffectModule& module, const Scene& scene, std::size_t emitter, RenderOptions options)
    : impl_(WithinMemory([&] { return std::make_unique<Impl>(module, scene, emitter, std::move(options)); })) {}

FrameRenderer::~FrameRenderer() = default;

Picture FrameRenderer::Render(std::int32_t frame) { return RenderAt(impl_->scene.time.TimeOfFrame(frame)); }

Picture FrameRenderer::RenderAt(std::int32_t hostTime) {
  return WithinMemory([&] { return impl_->RenderAt(hostTime); });
}

std::int64_t FrameRenderer::WaveCount() const { return impl_->answers.wavesReported; }

std::int32_t FrameRenderer::OutputWidth() const { return CellsOf(impl_->scene.width, impl_->options.downsample); }

std::int32_t FrameRenderer::OutputHeight() const { return CellsOf(impl_->scene.height, impl_->options.downsample); }

}  // namespace orvandel::stage
