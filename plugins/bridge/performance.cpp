#include "plugins/bridge/performance.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>
#include <variant>

#include "stage/base/errors.h"
#include "stage/media/media_in.h"
#include "stage/picture/picture_scale.h"
#include "stage/picture/pixel_order.h"

namespace orvandel::bridge {
namespace {

using Layer = PictureSource::Layer;
using Origin = ParamSource::Origin;

constexpr double kLateSeconds = 8000;  // as in the look's clocks
constexpr std::int64_t kLatestUnits = 1 << 30;
constexpr std::int32_t kSecondsOfRoom = 10;

// The effect may ask one unit before a tick, which belongs to the tick.
std::int32_t OnTick(std::int32_t units, std::int32_t unitsPerSecond) {
  constexpr std::int64_t kTicksPerSecond = 30;
  return (std::int64_t{units} + 1) * kTicksPerSecond % unitsPerSecond == 0 ? units + 1 : units;
}

bool IsConstant(Origin origin) {
  return origin == Origin::kConstant || origin == Origin::kConstantX || origin == Origin::kConstantY;
}

// The look's own point over time, where one coordinate stands still. False where it says nothing.
bool StopCoordinate(stage::Track& track, Origin origin, const stage::PointValue& still) {
  const bool isX = origin == Origin::kConstantX;
  if (!track.sources.empty()) {
    track.sources[isX ? 0 : 1] = isX ? still.x : still.y;
  }
  for (stage::Key& key : track.keys) {
    auto& point = std::get<stage::PointValue>(key.value);
    (isX ? point.x : point.y) = isX ? still.x : still.y;
  }
  return !track.sources.empty() || !track.keys.empty();
}

double Held(double value, const stage::ParamInfo& info) {
  return std::isnan(value) ? info.ValidMin() : std::clamp(value, info.ValidMin(), info.ValidMax());
}

}  // namespace

// What the scene's live values and pictures turn to. Its sources are there during a frame.
struct Performance::Editor {
  const ParamSource* params = nullptr;
  PictureSource* pictures = nullptr;
  std::function<bool()> shouldStop;
  std::int32_t preroll = 0, further = 0;
  stage::OutputScale scale;

  // In the scene's own pixels and places.
  stage::Value InScene(const stage::ParamInfo& info, stage::Value value) const {
    if (auto* point = std::get_if<stage::PointValue>(&value)) {
      return stage::PointValue{point->x * scale.layerWidth - scale.shift, point->y * scale.layerHeight};
    }
    if (auto* number = std::get_if<double>(&value)) return Held(*number, info);
    auto* choice = std::get_if<stage::Choice>(&value);
    if (choice != nullptr && info.Type() == ORV_PARAM_LAYER) return stage::Choice{choice->index == 1 ? further : 0};
    if (choice != nullptr && info.Type() == ORV_PARAM_POPUP) {
      return stage::Choice{std::clamp(choice->index, 1, static_cast<std::int32_t>(info.choices.size()))};
    }
    return value;
  }
  stage::Picture Stretched(stage::Picture picture) const {
    if (picture.Empty()) return {scale.width, scale.height};
    const bool fits = picture.width == scale.width && picture.height == scale.height;
    return fits ? std::move(picture) : stage::StretchBicubic(picture, scale.width, scale.height);
  }
  stage::Value ValueAt(const stage::ParamInfo& info, std::int32_t hostTime, std::int32_t timeScale) const {
    return InScene(info, params->ValueAt(info.hostIndex, {hostTime - preroll, timeScale}));
  }
};

namespace {

class EditorsValue final : public stage::LiveValue {
 public:
  using Ask = std::function<stage::Value(std::int32_t hostTime, std::int32_t timeScale)>;
  explicit EditorsValue(Ask ask) : ask_(std::move(ask)) {}
  stage::Value At(std::int32_t hostTime, std::int32_t timeScale) const override { return ask_(hostTime, timeScale); }

 private:
  Ask ask_;
};

class EditorsPictures final : public stage::MediaSource {
 public:
  struct Questions {
    std::function<bool()> moves;
    std::function<std::int64_t(std::int32_t hostTime)> keyAt;
    std::function<stage::Picture(std::int64_t key)> decode;
  };
  explicit EditorsPictures(Questions questions) : ask_(std::move(questions)) {}
  bool Moves() const override { return ask_.moves(); }
  std::int64_t KeyAt(std::int32_t hostTime) override { return ask_.keyAt(hostTime); }
  stage::Picture Decode(std::int64_t key) override { return ask_.decode(key); }
  bool IsScaled() const override { return true; }

 private:
  Questions ask_;
};

bool HasLayer(const FrameRequest& request, Layer layer) {
  return request.pictures != nullptr && request.pictures->Has(layer);
}

}  // namespace

// The sources are there while a request is worked on.
class Performance::Visit {
 public:
  Visit(Editor& editor, const FrameRequest& request) : editor_(editor) {
    editor.params = request.params;
    editor.pictures = request.pictures;
    editor.shouldStop = request.shouldStop;
  }
  ~Visit() {
    editor_.params = nullptr;
    editor_.pictures = nullptr;
    editor_.shouldStop = nullptr;
  }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

 private:
  Editor& editor_;
};

Performance::Performance(stage::EffectModule& module, const FrameRequest& request)
    : look_(request.look),
      frameRate_(request.frameRate),
      highQuality_(request.highQuality),
      hasBackground_(request.hasBackground),
      coarse_(request.seconds >= kLateSeconds),
      hasInput_(HasLayer(request, Layer::kInput)),
      hasFurther_(HasLayer(request, Layer::kFurther)),
      editor_(std::make_shared<Editor>()),
      scene_(request.look->SceneFor(request.frameRate, request.seconds)),
      askedScale_(request.scale),
      scale_(request.scale ? *request.scale : stage::OutputScale::FittedTo(scene_, request.width, request.height)) {
  editor_->preroll = scene_.time.preroll;
  editor_->scale = scale_;
  if (!hasBackground_) scene_.background = {};
  OfferPictures(request);
  for (const stage::Emitter& emitter : scene_.emitters) lookTracks_.push_back(emitter.tracks);
  origins_.resize(lookTracks_.front().size(), Origin::kLook);
  constants_.resize(origins_.size());
  const Visit visit(*editor_, request);
  TakeValues(request);
  stage::RenderOptions options;
  options.highQuality = request.highQuality;
  options.scale = scale_;
  options.checkImages = false;
  options.keepResumePoints = true;
  options.shouldStop = [editor = editor_.get()] { return editor->shouldStop && editor->shouldStop(); };
  renderer_ = std::make_unique<stage::SceneRenderer>(module, scene_, options);
}

Performance::~Performance() = default;

bool Performance::Fits(const FrameRequest& request) const {
  return look_ == request.look && frameRate_ == request.frameRate && scale_.width == request.width &&
         scale_.height == request.height && askedScale_ == request.scale && highQuality_ == request.highQuality &&
         hasBackground_ == request.hasBackground && coarse_ == (request.seconds >= kLateSeconds) &&
         hasInput_ == HasLayer(request, Layer::kInput) && hasFurther_ == HasLayer(request, Layer::kFurther);
}

void Performance::OfferPictures(const FrameRequest& request) {
  const auto offered = [&](Layer layer) {
    const std::shared_ptr<Editor> editor = editor_;
    const std::int32_t unitsPerSecond = scene_.time.timeScale;
    stage::Media media;
    media.open = [=] {
      EditorsPictures::Questions ask;
      // Outside a frame the editor cannot be asked; the answers given then are not used.
      ask.moves = [=] { return editor->pictures != nullptr && editor->pictures->Moves(layer); };
      ask.keyAt = [=](std::int32_t hostTime) -> std::int64_t {
        const bool moves = editor->pictures != nullptr && editor->pictures->Moves(layer);
        return moves ? OnTick(hostTime, unitsPerSecond) : 0;
      };
      ask.decode = [=](std::int64_t key) {
        const LookTime time{static_cast<std::int32_t>(key) - editor->preroll, unitsPerSecond};
        return editor->Stretched(editor->pictures->PictureAt(layer, time));
      };
      return std::make_unique<EditorsPictures>(std::move(ask));
    };
    return media;
  };
  if (HasLayer(request, Layer::kInput)) scene_.input = offered(Layer::kInput);
  if (!HasLayer(request, Layer::kFurther)) return;
  scene_.layers.push_back(offered(Layer::kFurther));
  editor_->further = static_cast<std::int32_t>(scene_.layers.size());
}

// Whether anything differs from the last frame's.
bool Performance::TakeValues(const FrameRequest& request) {
  bool changed = false;
  for (const stage::ParamInfo& info : Catalog().Params()) {
    if (!info.BearsValue()) continue;
    const auto index = static_cast<std::size_t>(info.hostIndex);
    const Origin origin = request.params == nullptr ? Origin::kLook : request.params->OriginOf(info.hostIndex);
    stage::Value constant;
    if (IsConstant(origin)) constant = editor_->ValueAt(info, editor_->preroll, scene_.time.timeScale);
    if (origin == origins_[index] && constant == constants_[index]) continue;
    changed = true;
    origins_[index] = origin;
    constants_[index] = constant;
    for (std::size_t i = 0; i < scene_.emitters.size(); ++i) {
      stage::Track& track = scene_.emitters[i].tracks[index];
      const stage::Track& look = lookTracks_[i][index];
      track = look;
      if (origin == Origin::kLook) continue;
      const bool one = origin == Origin::kConstantX || origin == Origin::kConstantY;
      if (one && StopCoordinate(track, origin, std::get<stage::PointValue>(constant))) continue;
      track = stage::Track();
      track.factor = look.factor;  // the outlines of one drawing keep their sizes to one another
      if (IsConstant(origin)) track.keys = {{0, constant, {}}};
      if (origin == Origin::kVarying) {
        track.live = std::make_shared<EditorsValue>([editor = editor_.get(), &info](auto hostTime, auto timeScale) {
          return editor->ValueAt(info, hostTime, timeScale);
        });
      }
    }
  }
  return changed;
}

bool Performance::Varies(const FrameRequest& request) const {
  if (request.stamp != 0 && request.stamp == stamp_) return false;
  return hasInput_ || hasFurther_ || std::find(origins_.begin(), origins_.end(), Origin::kVarying) != origins_.end();
}

// The effect looks for changes to the end of the layer; a clip may be longer than the look.
bool Performance::MakeRoomFor(std::int32_t hostTime) {
  const std::int64_t block = std::int64_t{kSecondsOfRoom} * scene_.time.timeScale;
  const std::int64_t needed = std::int64_t{hostTime} - scene_.time.preroll;
  if (needed < scene_.time.duration) return false;
  scene_.time.duration = static_cast<std::int32_t>(std::min<std::int64_t>((needed / block + 1) * block, kLatestUnits));
  return true;
}

std::int32_t Performance::Prepare(const FrameRequest& request) {
  const double units = std::floor(request.seconds * scene_.time.timeScale + 0.5) + scene_.time.preroll;
  if (!(units <= double{kLatestUnits})) {
    throw stage::InputError(fmt::format("a frame at {} s is too late: the clock ends before", request.seconds));
  }
  const auto hostTime = static_cast<std::int32_t>(std::max(units, 0.0));
  const bool valuesChanged = TakeValues(request), longer = MakeRoomFor(hostTime), varies = Varies(request);
  if (valuesChanged || longer || varies) renderer_->SceneChanged();
  stamp_ = request.stamp;
  return hostTime;
}

void Performance::Render(const FrameRequest& request, const Rows& rows) {
  const Visit visit(*editor_, request);
  const std::int32_t hostTime = Prepare(request);
  renderer_->RenderInto(hostTime, rows.data, static_cast<std::int32_t>(rows.rowBytes));
  for (std::int32_t y = 0; y < request.height; ++y) {
    stage::AlphaLast(rows.data + rows.rowBytes * y, static_cast<std::size_t>(request.width));
  }
  GiveBackPictures(request);
}

stage::Picture16 Performance::Render16(const FrameRequest& request) {
  const Visit visit(*editor_, request);
  stage::Picture16 picture = renderer_->Render16At(Prepare(request));
  GiveBackPictures(request);
  return picture;
}

// Those that the next frame asks for anew would stay with every idle module.
void Performance::GiveBackPictures(const FrameRequest& request) {
  if (request.stamp == 0 && (hasInput_ || hasFurther_)) renderer_->SceneChanged();
}

}  // namespace orvandel::bridge
