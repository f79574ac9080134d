#include "web/core/session.h"

#include <fmt/format.h>

#include <utility>

#include "stage/base/errors.h"
#include "stage/module/linked_effect.h"
#include "stage/picture/pixel_order.h"
#include "stage/scene/scene_reader.h"
#include "web/core/given_films.h"

namespace orvandel::web {
namespace {

constexpr std::int32_t kMostDownsample = 64;

stage::RenderOptions OptionsFor(const FrameSize& size) {
  stage::RenderOptions options;
  options.highQuality = !size.draft;
  options.downsample = size.downsample;
  options.keepResumePoints = true;  // pages scrub backward
  options.checkImages = false;
  return options;
}

// Whether films have what is sure to be needed: to draw without would be in vain.
bool IsThere(std::int32_t hostTime) {
  TheFilms().AskFor(hostTime);
  return TheFilms().Missing().empty();
}

}  // namespace

Session::Session() : module_(stage::LinkedEffect()) {}

const stage::Scene& Session::Load(std::string_view text, const std::string& name) {
  whole_ = nullptr;
  single_.clear();
  reports_ = nullptr;
  scene_ = std::nullopt;
  scene_ = stage::ReadSceneText(text, name, Catalog());
  single_.resize(scene_->emitters.size());
  return *scene_;
}

const stage::Scene& Session::Loaded() const {
  if (!scene_) throw stage::InputError("no scene is loaded");
  return *scene_;
}

const stage::Emitter& Session::Effect(std::int32_t effect) const {
  const auto& all = Loaded().emitters;
  if (effect < 0 || static_cast<std::size_t>(effect) >= all.size()) {
    throw stage::InputError(fmt::format("effect {} is outside 0..{}", effect, all.size() - 1));
  }
  return all[static_cast<std::size_t>(effect)];
}

std::int32_t Session::HostTimeOf(std::int32_t frame) const { return Checked(frame).time.TimeOfFrame(frame); }

const stage::Scene& Session::Checked(std::int32_t frame) const {
  const stage::Scene& scene = Loaded();
  if (frame < 0 || frame >= scene.time.frameCount) {
    throw stage::InputError(fmt::format("frame {} is outside 0..{}", frame, scene.time.frameCount - 1));
  }
  return scene;
}

const stage::Scene& Session::Checked(std::int32_t frame, const FrameSize& size) const {
  const stage::Scene& scene = Checked(frame);
  if (size.downsample < 1 || size.downsample > kMostDownsample) {
    throw stage::InputError(
        fmt::format("a downsample factor of {} is outside 1..{}", size.downsample, kMostDownsample));
  }
  return scene;
}

void Session::RenderFrame(std::int32_t frame, const FrameSize& size) {
  const stage::Scene& scene = Checked(frame, size);
  if (whole_ == nullptr || size != size_) {
    EndSequences();
    whole_ = std::make_unique<stage::SceneRenderer>(module_, scene, OptionsFor(size));
    size_ = size;
  }
  if (IsThere(scene.time.TimeOfFrame(frame))) Keep(whole_->Render(frame));
}

void Session::RenderEffect(std::int32_t effect, std::int32_t frame, const FrameSize& size) {
  const stage::Scene& scene = Checked(frame, size);
  Effect(effect);
  if (size != size_) {
    EndSequences();
    size_ = size;
  }
  auto& renderer = single_[static_cast<std::size_t>(effect)];
  if (renderer == nullptr) {
    renderer =
        std::make_unique<stage::FrameRenderer>(module_, scene, static_cast<std::size_t>(effect), OptionsFor(size));
  }
  if (IsThere(scene.time.TimeOfFrame(frame))) Keep(renderer->Render(frame));
}

const std::vector<stage::ReportedWave>& Session::WavesOf(std::int32_t effect, std::int32_t frame) {
  const stage::Scene& scene = Checked(frame);
  Effect(effect);
  if (reports_ == nullptr) {
    stage::RenderOptions options;
    options.checkImages = false;
    options.highQuality = false;
    options.keepResumePoints = true;
    reports_ = std::make_unique<stage::WaveReports>(module_, scene, options);
  }
  return reports_->Of(static_cast<std::size_t>(effect), frame);
}

// Waves were traced from what was not there; pictures that were there stay.
void Session::StartAfresh() {
  if (whole_ != nullptr) whole_->Finish();
  for (auto& renderer : single_) {
    if (renderer != nullptr) renderer->Finish();
  }
  reports_ = nullptr;
}

void Session::EndSequences() {
  whole_ = nullptr;
  for (auto& renderer : single_) renderer = nullptr;
}

void Session::Keep(stage::Picture picture) {
  stage::AlphaLast(picture.bytes.data(), picture.bytes.size() / 4);
  last_ = std::move(picture);
}

}  // namespace orvandel::web
