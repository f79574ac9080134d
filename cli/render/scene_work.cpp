#include "cli/render/scene_work.h"

#include <fmt/format.h>

#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "cli/interrupt.h"
#include "cli/render/ordered_sink.h"
#include "stage/base/errors.h"
#include "stage/films/film_out.h"
#include "stage/loading/loaded_effect.h"
#include "stage/module/effect_module.h"
#include "stage/render/scene_renderer.h"
#include "stage/stills/png_file.h"

namespace orvandel::cli {
namespace {

class SceneWork final : public FrameWork {
 public:
  SceneWork(const SceneWorkSettings& settings, const stage::Scene& scene, const Output& output)
      : output_(output),
        depth_(settings.depth),
        pngEffort_(settings.pngEffort),
        ifTaken_(settings.ifTaken),
        module_(stage::LoadEffect(settings.module)),
        enoughShown_(settings.enoughShown),
        renderer_(std::in_place, module_, scene, OptionsOf(settings)) {}

  std::function<void()> Make(std::int32_t frame, std::span<std::uint8_t> slot) override {
    try {
      std::function<void()> rest;
      if (output_.IsOrdered()) {
        rest = FillSlot(renderer_->RenderRows(frame, slot), output_.kind, slot);
      } else {
        rest = Picture(frame);
      }
      Measured(renderer_->Coverage());
      return rest;
    } catch (const stage::EffectError& error) {
      if (error.message.empty()) throw;
      throw stage::EffectError(error.code, fmt::format("frame {}: {}", frame, error.message));
    }
  }

  bool FinishesAlone() const override { return output_.IsExr(); }
  std::int64_t WaveCount() const override { return renderer_->WaveCount(); }
  double Shown() const override { return shown_; }
  std::vector<std::string> TakeNotes() override { return std::exchange(notes_, {}); }

  void Finish() override {
    renderer_->Finish();
    renderer_.reset();
    module_.SetDown();
  }

 private:
  stage::RenderOptions OptionsOf(const SceneWorkSettings& settings) {
    stage::RenderOptions options = settings.render;
    options.onNote = [this](const std::string& note) { notes_.push_back(note); };
    return options;
  }

  // Once enough is seen for the whole run, nobody needs to know how much more there is.
  void Measured(double coverage) {
    shown_ = isEnough_ ? 0 : coverage;
    seen_ += shown_;
    isEnough_ = seen_ >= enoughShown_;
    renderer_->MeasureCoverage(!isEnough_);
  }

  std::function<void()> Picture(std::int32_t frame) {
    const std::filesystem::path file = output_.FileOf(frame);
    if (output_.IsExr()) {
      return [this, file, picture = renderer_->Render16(frame)] {
        const UnfinishedFile unfinished(stage::PartialFile(file, ifTaken_).WorkName());
        stage::WriteExr(file, picture, ifTaken_);
      };
    }
    const std::shared_ptr<stage::PngWriter> writer = SpareWriter();
    if (depth_ == 16) {
      writer->Take(renderer_->Render16(frame));
    } else {
      writer->Take(renderer_->RenderRows(frame));
    }
    return [this, file, writer] {
      const UnfinishedFile unfinished(stage::PartialFile(file, ifTaken_).WorkName());
      writer->Write(file, ifTaken_, pngEffort_);
      const std::lock_guard lock(guard_);
      spareWriters_.push_back(writer);
    };
  }

  std::shared_ptr<stage::PngWriter> SpareWriter() {
    const std::lock_guard lock(guard_);
    if (spareWriters_.empty()) return std::make_shared<stage::PngWriter>();
    auto writer = spareWriters_.back();
    spareWriters_.pop_back();
    return writer;
  }

  const Output& output_;
  int depth_;
  stage::PngEffort pngEffort_;
  stage::IfTaken ifTaken_;
  stage::EffectModule module_;
  double enoughShown_;
  std::vector<std::string> notes_;
  std::optional<stage::SceneRenderer> renderer_;
  std::mutex guard_;
  std::vector<std::shared_ptr<stage::PngWriter>> spareWriters_;
  double shown_ = 0, seen_ = 0;  // of the last frame, and of all
  bool isEnough_ = false;
};

}  // namespace

std::unique_ptr<FrameWork> MakeSceneWork(const SceneWorkSettings& settings, const stage::Scene& scene,
                                         const Output& output) {
  return std::make_unique<SceneWork>(settings, scene, output);
}

}  // namespace orvandel::cli
