#include "stage/render/frame_renderer.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <string>
#include <utility>

#include "stage/base/stage_clock.h"
#include "stage/base/within_memory.h"
#include "stage/media/sequence_rules.h"
#include "stage/module/module_session.h"
#include "stage/picture/host_image.h"
#include "stage/render/scene_answers.h"
#include "stage/render/snapshot_files.h"

namespace orvandel::stage {
// A sequence is set up before the first frame and goes on from frame to frame. It ends early after a failure, because
// only a sequence whose every command succeeded is known to be whole, after every frame where the scene needs that, and
// after a change that its waves would not notice.
struct FrameRenderer::Impl {
  Impl(EffectModule& effect, const Scene& played, std::size_t place, RenderOptions renderOptions)
      : module(effect.Internals()),
        scene(played),
        options(std::move(renderOptions)),
        emitter(scene.emitters.at(place)),
        scale(options.ScaleOf(scene)),
        answers(module, scene, emitter, scale) {
    answers.shouldStop = options.shouldStop;
    answers.checkImages = options.checkImages;
    answers.onWave = options.onWave;
    answers.maxWaves = options.maxWaves;
    freshEveryFrame = NeedsFresh();
    resumePoints = MakeResumePoints(place);
    if (freshEveryFrame && !options.snapshots.empty() && options.onNote) {
      options.onNote(
          fmt::format("no snapshots of effect {}: each of its frames is made from the scene's start", place + 1));
    }
  }

  // Null: none are kept.
  std::unique_ptr<ResumePoints> MakeResumePoints(std::size_t place) const {
    if (options.snapshots.empty()) return options.keepResumePoints ? std::make_unique<RecentPoints>() : nullptr;
    return std::make_unique<SnapshotFiles>(options.snapshots, fmt::format("effect{}", place + 1),
                                           options.ticksBetweenSnapshots, [this](const std::string& text) {
                                             if (options.onNote) options.onNote(text);
                                           });
  }

  ~Impl() {
    try {
      EndSequence();
    } catch (const std::exception& error) {  // a destructor cannot throw, and silence would hide a leak
      std::fprintf(stderr, "orvandel: %s\n", error.what());
    }
  }

  bool NeedsFresh() {
    return NeedsFreshSequences(scene, emitter, module.catalog, [&](std::int32_t layer) {
      return layer == 0 ? answers.InputMoves() : answers.LayerMoves(layer);
    });
  }

  void SceneChanged() {
    answers.SceneChanged();
    if (!options.snapshots.empty()) resumePoints = nullptr;  // the folder is of the scene as it was
    if (resumePoints != nullptr) resumePoints->Clear();
    freshEveryFrame = NeedsFresh();
    outdated = outdated || NeedsFreshSequenceAfterChange(scene, emitter, module.catalog);
  }

  CommandTime When(std::int32_t hostTime) const { return CommandTime::Of(scene, hostTime, scale, options.highQuality); }

  void BeginSequence(std::int32_t hostTime) {
    if (sequence != nullptr) return;
    module.Send({.selector = ORV_SEQUENCE_SET_UP}, answers, When(hostTime), sequence);
  }

  void EndSequence() {
    if (resumePoints != nullptr) resumePoints->Clear();
    if (sequence == nullptr) return;
    answers.sequenceEnds = true;
    module.Send({.selector = ORV_SEQUENCE_SET_DOWN}, answers, When(0), sequence);
    answers.sequenceEnds = false;
    if (const std::string left = module.ledger.EndOwner(static_cast<const HostAnswers*>(&answers)); !left.empty())
      throw WorkError(left);
  }

  void Draw(std::int32_t hostTime, OrvImage image) {
    Command render{.selector = ORV_RENDER};
    render.params = answers.ParamsAt(hostTime);
    render.output = &image;
    answers.wavesReported = 0;
    answers.resumePoints = freshEveryFrame ? nullptr : resumePoints.get();
    module.Send(render, answers, When(hostTime), sequence);
  }

  void RenderInto(std::int32_t hostTime, const OrvImage& image) {
    const StageTimer drawing(WorkStage::kDrawing);
    if (freshEveryFrame || failed || outdated) EndSequence();
    outdated = false;
    failed = true;
    BeginSequence(hostTime);
    Draw(hostTime, image);
    failed = false;
  }

  PictureRows RenderRows(std::int32_t hostTime, std::span<std::uint8_t> memory) {
    if (memory.empty()) {
      if (output == nullptr) output = std::make_unique<HostImage>(scale.width, scale.height);
      return RenderWatched(hostTime, *output);
    }
    HostImage image(scale.width, scale.height, memory);
    return RenderWatched(hostTime, image);
  }

  PictureRows RenderWatched(std::int32_t hostTime, HostImage& image) {
    answers.output = &image;
    try {
      RenderInto(hostTime, image.Record());
    } catch (...) {
      answers.output = nullptr;
      throw;
    }
    answers.output = nullptr;
    return image.Rows();
  }

  EffectModule::Impl& module;
  const Scene& scene;
  RenderOptions options;
  const Emitter& emitter;
  OutputScale scale;
  SceneAnswers answers;
  std::unique_ptr<HostImage> output;  // made when the picture is to be kept here
  OrvHandle sequence = nullptr;
  std::unique_ptr<ResumePoints> resumePoints;
  bool freshEveryFrame = false;
  bool failed = false;    // the last frame did not come to its end
  bool outdated = false;  // the sequence's waves may have been drawn from other pictures or masks
};

FrameRenderer::FrameRenderer(EffectModule& module, const Scene& scene, std::size_t emitter, RenderOptions options)
    : impl_(WithinMemory([&] { return std::make_unique<Impl>(module, scene, emitter, std::move(options)); })) {}

FrameRenderer::~FrameRenderer() = default;

Picture FrameRenderer::Render(std::int32_t frame) { return RenderAt(impl_->scene.time.TimeOfFrame(frame)); }

Picture FrameRenderer::RenderAt(std::int32_t hostTime) {
  return WithinMemory([&] { return CopyOf(impl_->RenderRows(hostTime, {})); });
}

PictureRows FrameRenderer::RenderRows(std::int32_t hostTime, std::span<std::uint8_t> memory) {
  return WithinMemory([&] { return impl_->RenderRows(hostTime, memory); });
}

void FrameRenderer::RenderInto(std::int32_t hostTime, std::uint8_t* top, std::int32_t rowBytes) {
  const OutputScale& scale = impl_->scale;
  WithinMemory([&] { impl_->RenderInto(hostTime, {top, scale.width, scale.height, rowBytes, 0, nullptr}); });
}

std::int64_t FrameRenderer::WaveCount() const { return impl_->answers.wavesReported; }

void FrameRenderer::Finish() {
  WithinMemory([&] { impl_->EndSequence(); });
}

void FrameRenderer::SceneChanged() {
  WithinMemory([&] { impl_->SceneChanged(); });
}

std::int32_t FrameRenderer::OutputWidth() const { return impl_->scale.width; }

std::int32_t FrameRenderer::OutputHeight() const { return impl_->scale.height; }

}  // namespace orvandel::stage
