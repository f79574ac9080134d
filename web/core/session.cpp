#include "web/core/session.h"

#include <fmt/format.h>

#include <utility>

#include "stage/base/errors.h"
#include "stage/module/linked_effect.h"
#include "stage/picture/pixel_order.h"
#include "stage/scene/scene_reader.h"

namespace orvandel::web {
namespace {

constexpr std::int32_t kMostDownsample = 64;

stage::RenderOptions OptionsFor(const FrameSize& size) {
  stage::RenderOptions options;
  options.highQuality = !size.draft;
  options.downsample = size.downsample;
  options.checkImages = false;
  return options;
}

}  // namespace

Session::Session() : module_(stage::LinkedEffect()) {}

const stage::Scene& Session::Load(std::string_view text, const std::string& name) {
  whole_ = nullptr;
  single_.clear();
  scene_ = std::nullopt;
  scene_ = stage::ReadSceneText(text, name, Catalog());
  single_.resize(scene_->emitters.size());
  return *scene_;
}

const stage::Scene& Session::Checked(std::int32_t frame, const FrameSize& size) const {
  if (!scene_) throw stage::InputError("no scene is loaded");
  if (frame < 0 || frame >= scene_->time.frameCount) {
    throw stage::InputError(fmt::format("frame {} is outside 0..{}", frame, scene_->time.frameCount - 1));
  }
  if (size.downsample < 1 || size.downsample > kMostDownsample) {
    throw stage::InputError(
        fmt::format("a downsample factor of {} is outside 1..{}", size.downsample, kMostDownsample));
  }
  return *scene_;
}

void Session::RenderFrame(std::int32_t frame, const FrameSize& size) {
  const stage::Scene& scene = Checked(frame, size);
  if (whole_ == nullptr || size != size_) {
    EndSequences();
    whole_ = std::make_unique<stage::SceneRenderer>(module_, scene, OptionsFor(size));
    size_ = size;
  }
  Keep(whole_->Render(frame));
}

void Session::RenderEffect(std::int32_t effect, std::int32_t frame, const FrameSize& size) {
  const stage::Scene& scene = Checked(frame, size);
  if (effect < 0 || static_cast<std::size_t>(effect) >= single_.size()) {
    throw stage::InputError(fmt::format("effect {} is outside 0..{}", effect, single_.size() - 1));
  }
  if (size != size_) {
    EndSequences();
    size_ = size;
  }
  auto& renderer = single_[static_cast<std::size_t>(effect)];
  if (renderer == nullptr) {
    renderer =
        std::make_unique<stage::FrameRenderer>(module_, scene, static_cast<std::size_t>(effect), OptionsFor(size));
  }
  Keep(renderer->Render(frame));
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
