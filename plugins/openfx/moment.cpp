#include "plugins/openfx/moment.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "plugins/openfx/looks.h"

namespace orvandel::ofx {
namespace {

// What is asked here of the effect's parameters goes by their names.
constexpr std::string_view kWaveType = "Wave Type", kContours = "Image Contours", kMask = "Mask";

const ShownParam* Labelled(const ParamTable& table, std::string_view label) {
  const auto found =
      std::find_if(table.params.begin(), table.params.end(), [&](const auto& shown) { return shown.label == label; });
  return found == table.params.end() ? nullptr : &*found;
}

// Of a choice, by its text; -1: none.
double PlaceOf(const ShownParam* shown, std::string_view choice) {
  if (shown == nullptr) return -1;
  const auto found = std::find(shown->choices.begin(), shown->choices.end(), choice);
  return found == shown->choices.end() ? -1 : static_cast<double>(found - shown->choices.begin());
}

bool MayTrace(const ParamTable& table, const Values& values) {
  const ShownParam* type = Labelled(table, kWaveType);
  const double contours = PlaceOf(type, kContours);
  return contours >= 0 && values.EverTakes(type->hostIndex, contours);
}

SourceLayerChoice LayerChoice(const ParamTable& table, Values& values) {
  const ShownParam* layer = table.Find(kSourceLayer);
  if (layer == nullptr) return SourceLayerChoice::kAutomatic;
  return static_cast<SourceLayerChoice>(static_cast<int>(values.At(layer->hostIndex, values.Units())[0]));
}

// A share that gives the pixel back when it is multiplied: the product is truncated toward zero, to 1/65536 of a pixel.
double ShareOf(double pixel, std::int32_t side) {
  const double share = pixel / side;
  return std::fabs(share * side) < std::fabs(pixel) ? std::nextafter(share, std::copysign(HUGE_VAL, pixel)) : share;
}

// Takes down which pictures are asked for, and gives none.
class AskedFrames final : public bridge::PictureSource {
 public:
  explicit AskedFrames(const Moment& moment) : moment_(moment) {}
  bool Has(Layer layer) const override { return layer == Layer::kInput; }
  bool Moves(Layer) const override { return true; }
  stage::Picture PictureAt(Layer, const bridge::LookTime& time) override {
    asked.push_back(moment_.FrameOf(time));
    return {};
  }
  std::vector<double> asked;

 private:
  const Moment& moment_;
};

}  // namespace

// The bridge's questions, answered from the values.
class Moment::Params final : public bridge::ParamSource {
 public:
  explicit Params(Moment& moment) : moment_(moment) {}

  Origin OriginOf(std::int32_t hostIndex) const override {
    // The look has the masks, and says which effect draws which outline.
    if (moment_.values_.ShownOf(hostIndex).kind == Kind::kFile) return Origin::kLook;
    return moment_.values_.IsConstant(hostIndex) ? Origin::kConstant : Origin::kVarying;
  }

  stage::Value ValueAt(std::int32_t hostIndex, const bridge::LookTime& time) const override {
    const ShownParam& shown = moment_.values_.ShownOf(hostIndex);
    const RawValue& raw = moment_.values_.At(hostIndex, time.units);
    switch (shown.kind) {
      case Kind::kSwitch:
        return stage::Choice{raw[0] != 0 ? 1 : 0};
      case Kind::kChoice:
        // Which clip stands for the input is settled before.
        return stage::Choice{shown.name == kSourceLayer ? 0 : static_cast<std::int32_t>(raw[0]) + 1};
      case Kind::kColor:
        return stage::ColorValue{raw[0] * 255, raw[1] * 255, raw[2] * 255};
      case Kind::kPoint:
        return PointOf(shown, raw);
      default:
        return raw[0];
    }
  }

 private:
  stage::Value PointOf(const ShownParam& shown, const RawValue& raw) const {
    // Some hosts give the default as it was described: a share of the project, where a place in it is asked for.
    if (raw[0] == shown.defaults[0] && raw[1] == shown.defaults[1]) return stage::PointValue{raw[0], 1 - raw[1]};
    const FrameGrid& grid = moment_.grid_;
    const stage::PointValue pixel = LayerPoint(moment_.stage_, grid, {raw[0], raw[1]});
    return stage::PointValue{ShareOf(pixel.x, grid.layerWidth), ShareOf(pixel.y, grid.layerHeight)};
  }

  Moment& moment_;
};

Moment::Moment(Instance& instance, double frame, OfxPointD scale, bool draft, const Stage& stage)
    : instance_(instance),
      frame_(frame),
      draft_(draft),
      stage_(stage),
      grid_(GridOf(stage, scale)),
      clock_(instance.ClockAt(frame)),
      sequence_(instance.SequenceNumber()),
      values_(instance, clock_, frame) {
  // Edited while the values were read: they are of no sequence.
  if (instance.SequenceNumber() != sequence_) sequence_ = 0;
  traces_ = MayTrace(instance.Table(), values_);
  const SourceLayerChoice choice = LayerChoice(instance.Table(), values_);
  prefersLayer_ = choice == SourceLayerChoice::kAutomatic && instance.IsConnected(instance.LayerClip());
  traced_ = choice == SourceLayerChoice::kLayer || prefersLayer_ ? instance.LayerClip() : instance.SourceClip();
}

// The picture that stands then: it begins with its frame. One unit more, since the effect asks up to one too early.
double Moment::FrameOf(const bridge::LookTime& time) const { return std::floor(clock_.FrameAt(time.units + 1)); }

// Where the traced picture is taken from.
std::vector<double> Moment::TracedPlace() const {
  return {stage_.rect.x1, stage_.rect.y1,     stage_.rect.x2,
          stage_.rect.y2, stage_.pixelAspect, TracedClip() == instance_.LayerClip() ? 1.0 : 0.0};
}

FrameKey Moment::Key() const {
  FrameKey key{grid_, draft_, values_.Key(), StampOf(Mask().file)};
  const std::vector<double> place = TracedPlace();
  key.values.insert(key.values.end(), place.begin(), place.end());
  return key;
}

// The file is read only where an outline is to be drawn.
MaskChoice Moment::Mask() const {
  const ShownParam* type = Labelled(instance_.Table(), kWaveType);
  const double mask = PlaceOf(type, kMask);
  if (mask < 0 || !values_.EverTakes(type->hostIndex, mask)) return {};
  return {values_.File(), values_.IsConstant(type->hostIndex)};
}

std::vector<double> Moment::Signature() const {
  std::vector<double> signature = values_.Constants();
  for (const std::int32_t side : {grid_.layerWidth, grid_.layerHeight, grid_.Width(), grid_.Height()}) {
    signature.push_back(side);
  }
  signature.push_back(draft_ ? 1 : 0);
  return signature;
}

FramePtr Moment::Render(bridge::PictureSource* pictures) {
  const auto shouldStop = [this] { return instance_.ShouldStop(); };
  // Before its time the effect has drawn nothing.
  if (values_.Units() < 0) return std::make_shared<const Frame>(grid_.Width(), grid_.Height());
  FrameKey key = Key();
  // What is traced cannot be compared: within a sequence of renders it stays, otherwise no frame is like another.
  const bool comparable = TracedClip() == nullptr;
  key.values.push_back(comparable ? 0 : sequence_ != 0 ? sequence_ : Instance::NewNumber());
  return KeptFrames::The().Get(
      key, [&] { return Make(*PlayerOf(Signature()), pictures, instance_.StampIn(sequence_, TracedPlace())); },
      shouldStop);
}

// A player of its own: waves that have found nothing to trace are not to be met again.
std::vector<double> Moment::FramesTraced() {
  if (!HasBegun()) return {};
  const FrameKey key = Key();
  if (const auto known = instance_.tracedFrames.Find(key)) return *known;
  AskedFrames asked(*this);
  Make(bridge::Player(), &asked, 0);
  instance_.tracedFrames.Keep(key, asked.asked);
  return asked.asked;
}

Frame Moment::Make(const bridge::Player& player, bridge::PictureSource* pictures, std::uint64_t stamp) {
  Params params(*this);
  bridge::FrameRequest request;
  request.look = LookOf(grid_, clock_.time.frameRate, Mask());
  request.seconds = static_cast<double>(values_.Units()) / clock_.time.timeScale;
  request.frameRate = clock_.time.frameRate;
  request.width = grid_.Width();
  request.height = grid_.Height();
  request.scale = stage::OutputScale{grid_.Width(),     grid_.Height(), grid_.layerWidth,
                                     grid_.layerHeight, grid_.scaleX,   grid_.scaleY};
  request.params = &params;
  request.pictures = TracedClip() == nullptr ? nullptr : pictures;
  request.stamp = stamp;
  request.highQuality = !draft_;
  request.shouldStop = [this] { return instance_.ShouldStop(); };
  Frame frame(grid_.Width(), grid_.Height());
  player.Render(request, {frame.bytes.data(), std::ptrdiff_t{4} * frame.width});
  return frame;
}

}  // namespace orvandel::ofx
