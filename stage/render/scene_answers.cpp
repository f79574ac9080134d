#include "stage/render/scene_answers.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "stage/base/errors.h"

namespace orvandel::stage {

SceneAnswers::SceneAnswers(EffectModule::Impl& module, const Scene& scene, const Emitter& emitter,
                           const OutputScale& scale)
    : HostAnswers(module.ledger),
      module_(module),
      scene_(scene),
      emitter_(emitter),
      scale_(scale),
      values_(scene, emitter, module.catalog, scale.Map()),
      masks_(scene, scale.Map()) {
  OpenMedia();
}

void SceneAnswers::OpenMedia() {
  input_ = std::make_unique<LayerPictures>(
      scene_.input ? stage::OpenMedia(*scene_.input, scene_.time) : TransparentMedia(scale_.width, scale_.height),
      scale_, &scene_);
  layers_.resize(scene_.layers.size());
  for (const ParamInfo& info : module_.catalog.Params()) {
    if (info.Type() != ORV_PARAM_LAYER) continue;
    for (const Key& key : emitter_.tracks[static_cast<std::size_t>(info.hostIndex)].keys) {
      const auto place = static_cast<std::size_t>(std::get<Choice>(key.value).index);
      if (place != 0) OpenLayer(place);
    }
  }
}

// A place that was chosen by a value from elsewhere is opened when it comes up.
std::unique_ptr<LayerPictures>& SceneAnswers::OpenLayer(std::size_t place) {
  std::unique_ptr<LayerPictures>& layer = layers_.at(place - 1);
  if (layer == nullptr) {
    layer = std::make_unique<LayerPictures>(stage::OpenMedia(scene_.layers[place - 1], scene_.time), scale_);
  }
  return layer;
}

void SceneAnswers::SceneChanged() {
  ++stamp_;
  values_.Renew();
  if (scene_.input && scene_.input->open) input_->Forget();
  for (std::size_t i = 0; i < layers_.size(); ++i) {
    if (layers_[i] != nullptr && scene_.layers[i].open) layers_[i]->Forget();
  }
}

OrvImage SceneAnswers::Lend(const std::shared_ptr<HostImage>& image) {
  if (std::find(lent_.begin(), lent_.end(), image) == lent_.end()) lent_.push_back(image);
  return image->Record();
}

std::int32_t SceneAnswers::CheckOut(std::int32_t hostIndex, std::int32_t time, OrvParamDef& definition) {
  if (hostIndex < 0 || hostIndex >= values_.Count()) return kHostFailed;
  definition = values_.At(hostIndex, time);
  if (definition.type != ORV_PARAM_LAYER) return 0;
  if (hostIndex == 0) {
    definition.value.layer.image = Lend(input_->At(time));
  } else if (const std::int32_t place = values_.LayerAt(hostIndex, time); place != 0) {
    definition.value.layer.image = Lend(OpenLayer(static_cast<std::size_t>(place))->At(time));
  } else {
    definition.value.layer.image = {};
  }
  return 0;
}

std::int32_t SceneAnswers::HostIndexOf(const OrvParamDef& definition) const {
  return values_.HostIndexOfId(definition.id);
}

std::int32_t SceneAnswers::UpdateParamUi(std::int32_t hostIndex, const OrvParamDef& definition) {
  if (hostIndex < 0 || static_cast<std::size_t>(hostIndex) >= module_.ui.size()) return kHostFailed;
  module_.ui[static_cast<std::size_t>(hostIndex)] = {(definition.uiFlags & ORV_PARAM_UI_INACTIVE) != 0,
                                                     (definition.hostFlags & ORV_PARAM_CLOSED) != 0};
  return 0;
}

void SceneAnswers::ReportWave(const OrvWave& wave) {
  ++wavesReported;
  if (maxWaves > 0 && wavesReported > maxWaves) {
    throw InputError(fmt::format("more than {} waves are alive at once, which is the most that is allowed", maxWaves));
  }
  if (onWave) onWave(wave);
}

void SceneAnswers::PointAtLength(OrvLengthQuery query, double distance, double& x, double& y) {
  const PointValue point = MaskLender::QueryOf(query).PointAt(distance);
  x = point.x;
  y = point.y;
}

OrvParamDef** SceneAnswers::ParamsAt(std::int32_t hostTime) {
  const auto set = [](std::uint32_t& flags, std::uint32_t bit, bool on) { flags = on ? flags | bit : flags & ~bit; };
  params_.resize(static_cast<std::size_t>(values_.Count()));
  paramPointers_.clear();
  for (std::int32_t i = 0; i < values_.Count(); ++i) {
    OrvParamDef& definition = params_[static_cast<std::size_t>(i)];
    const ParamUiState& ui = module_.ui[static_cast<std::size_t>(i)];
    definition = values_.At(i, hostTime);
    set(definition.uiFlags, ORV_PARAM_UI_INACTIVE, ui.inactive);
    set(definition.hostFlags, ORV_PARAM_CLOSED, ui.closed);
    if (definition.type == ORV_PARAM_LAYER) definition.value.layer.image = {};
    paramPointers_.push_back(&definition);
  }
  params_[0].value.layer.image = Lend(input_->At(hostTime));
  return paramPointers_.data();
}

// Reading every picture again after every command would cost a twentieth of a simple frame.
bool SceneAnswers::LentPicturesAreWhole() {
  constexpr std::uint32_t kOften = 32;
  constexpr std::size_t kMostUnchecked = 4;
  for (const auto& image : lent_) {
    if (std::find(unchecked_.begin(), unchecked_.end(), image) == unchecked_.end()) unchecked_.push_back(image);
  }
  ++commands_;
  const bool isDue = commands_ % kOften == 0 || (commands_ & (commands_ - 1)) == 0 || sequenceEnds;
  if (!isDue && unchecked_.size() <= kMostUnchecked) return true;
  const auto images = std::exchange(unchecked_, {});
  return std::all_of(images.begin(), images.end(), [](const auto& image) { return image->Unchanged(); });
}

std::string SceneAnswers::EndCommand() {
  std::string wrong;
  if (checkImages) {
    if (!LentPicturesAreWhole()) wrong = "a picture that was lent for reading has been written to";
    if (output != nullptr && !output->PaddingIntact()) {
      wrong += std::string(wrong.empty() ? "" : "; ") + "bytes beside the output's pixels have been written";
    }
  }
  lent_.clear();
  masks_.TakeBackAll();
  return wrong;
}

}  // namespace orvandel::stage
