#include "cli/render/scene_work.h"

#include <fmt/format.h>

#include <cstring>
#include <optional>

#include "cli/interrupt.h"
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
        renderer_(std::in_place, module_, scene, settings.render) {}

  void Make(std::int32_t frame, std::span<std::uint8_t> slot) override {
    try {
      if (output_.IsOrdered()) {
        const stage::Picture picture = renderer_->Render(frame);
        std::memcpy(slot.data(), picture.bytes.data(), slot.size());
      } else {
        Write(frame, output_.FileOf(frame));
      }
    } catch (const stage::EffectError& error) {
      if (error.message.empty()) throw;
      throw stage::EffectError(error.code, fmt::format("frame {}: {}", frame, error.message));
    }
  }

  std::int64_t WaveCount() const override { return renderer_->WaveCount(); }
  double Shown() const override { return renderer_->Coverage(); }

  void Finish() override {
    renderer_.reset();
    module_.SetDown();
  }

 private:
  void Write(std::int32_t frame, const std::filesystem::path& file) {
    const UnfinishedFile unfinished(stage::PartialFile(file, ifTaken_).WorkName());
    if (output_.IsExr() || depth_ == 16) {
      const stage::Picture16 picture = renderer_->Render16(frame);
      if (output_.IsExr()) {
        stage::WriteExr(file, picture, ifTaken_);
      } else {
        stage::WritePng16(file, picture, ifTaken_, pngEffort_);
      }
    } else {
      stage::WritePng(file, renderer_->Render(frame), ifTaken_, pngEffort_);
    }
  }

  const Output& output_;
  int depth_;
  stage::PngEffort pngEffort_;
  stage::IfTaken ifTaken_;
  stage::EffectModule module_;
  std::optional<stage::SceneRenderer> renderer_;
};

}  // namespace

std::unique_ptr<FrameWork> MakeSceneWork(const SceneWorkSettings& settings, const stage::Scene& scene,
                                         const Output& output) {
  return std::make_unique<SceneWork>(settings, scene, output);
}

}  // namespace orvandel::cli
