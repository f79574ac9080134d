#include "plugins/openfx/render.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>

#include "plugins/openfx/clip_pictures.h"
#include "stage/base/errors.h"
#include "stage/scene/scene_limits.h"

namespace orvandel::ofx {
namespace {

double TimeOf(const Properties& in) { return in.Double(prop::kTime).value_or(0); }

OfxPointD ScaleOf(const Properties& in) {
  const OfxPointD scale = in.Pair(prop::kRenderScale).value_or(OfxPointD{1, 1});
  const auto usable = [](double value) { return value > 0 && value <= 64 ? value : 1; };
  return {usable(scale.x), usable(scale.y)};
}

bool IsDraft(const Properties& in) { return in.Int(prop::kDraft).value_or(0) != 0; }

bool DrawsOverSource(const Instance& instance, double time) {
  return instance.SourceClip() != nullptr && instance.IsConnected(instance.SourceClip()) &&
         static_cast<CompositeChoice>(static_cast<int>(instance.ValueAt(kComposite, time)[0])) ==
             CompositeChoice::kOverSource;
}

std::optional<OfxRectD> RegionOf(const Instance& instance, OfxImageClipHandle clip, double time) {
  OfxRectD rect{};
  if (clip == nullptr || instance.Host().effects->clipGetRegionOfDefinition(clip, time, &rect) != kOk) return {};
  if (!HasArea(rect)) return {};
  return rect;
}

// But for parts of pixels at the edges.
bool Holds(const OfxRectD& whole, const OfxRectD& part, OfxPointD pixel) {
  return whole.x1 < part.x1 + pixel.x && whole.x2 > part.x2 - pixel.x && whole.y1 < part.y1 + pixel.y &&
         whole.y2 > part.y2 - pixel.y;
}

// Where the host has no project, the effect's layer is the image being rendered. Where the image has no region, the
// clip's is taken, provided that it contains the image (some hosts give the region of the scaled picture) and is
// finite.
Stage StageOf(const Instance& instance, const ClipImage& image, double time, OfxPointD scale) {
  if (const auto project = instance.ProjectStage(image.Props())) return *project;
  const ImageView& output = *image.View();
  Stage stage;
  stage.pixelAspect = instance.PixelAspect(image.Props());
  const auto told = image.Props().IntRect(prop::kImageRegion);
  const bool tells = told && told->x2 > told->x1 && told->y2 > told->y1;
  const OfxRectI& whole = tells ? *told : output.bounds;
  const double rows = output.rows == Rows::kAll ? 1 : 2;
  stage.rect = {whole.x1 / scale.x * stage.pixelAspect, whole.y1 * rows / scale.y,
                whole.x2 / scale.x * stage.pixelAspect, whole.y2 * rows / scale.y};
  const auto clip = tells ? std::nullopt : RegionOf(instance, instance.OutputClip(), time);
  const bool ends = clip && std::max(clip->x2 - clip->x1, clip->y2 - clip->y1) <= stage::kMaxLayerSide;
  if (ends && Holds(*clip, stage.rect, {stage.pixelAspect / scale.x, rows / scale.y})) stage.rect = *clip;
  return stage;
}

std::optional<Stage> StageWithoutImage(const Instance& instance, double time) {
  if (const auto project = instance.ProjectStage()) return project;
  const auto source = RegionOf(instance, instance.SourceClip(), time);
  if (!source) return {};
  const double aspect = instance.PropsOf(instance.SourceClip()).Double(prop::kPixelAspect).value_or(1);
  return Stage{*source, aspect > 0 ? aspect : 1};
}

// The frame's pixels for the rows of an image, transparent where there are none.
class WindowWriter {
 public:
  WindowWriter(const ImageView& output, const OfxRectI& window, const Moment& moment, const Frame& frame)
      : output_(output), window_(Intersection(window, output.bounds)), grid_(moment.Grid()), frame_(frame) {
    // Images of one field are half as high as the frame.
    const std::int64_t height = std::int64_t{output.bounds.y2} - output.bounds.y1;
    oneField_ = output.rows != Rows::kAll && height * 4 <= std::int64_t{grid_.Height()} * 3;
  }

  void Write(Rows wanted, const std::optional<ImageView>& behind) {
    if (window_.x1 >= window_.x2) return;
    waves_.resize(static_cast<std::size_t>(window_.x2 - window_.x1) * 4);
    for (int y = window_.y1; y < window_.y2; ++y) {
      if (!oneField_ && wanted != Rows::kAll && ((y & 1) != 0) != (wanted == Rows::kUpper)) continue;
      TakeRow(oneField_ ? 2 * y + (output_.rows == Rows::kUpper ? 1 : 0) : y);
      if (behind) {
        WriteRowOver(output_, window_.x1, window_.x2, y, waves_.data(), *behind, scratch_);
      } else {
        WriteRow(output_, window_.x1, window_.x2, y, waves_.data());
      }
    }
  }

 private:
  void TakeRow(int y) {
    std::fill(waves_.begin(), waves_.end(), std::uint8_t{0});
    const int from = std::max(window_.x1, grid_.pixels.x1), to = std::min(window_.x2, grid_.pixels.x2);
    if (from >= to || y < grid_.pixels.y1 || y >= grid_.pixels.y2) return;
    const auto row = static_cast<std::size_t>(grid_.pixels.y2 - 1 - y), width = static_cast<std::size_t>(frame_.width);
    const std::uint8_t* at = frame_.bytes.data() + (row * width + static_cast<std::size_t>(from - grid_.pixels.x1)) * 4;
    std::copy(at, at + static_cast<std::ptrdiff_t>(to - from) * 4,
              waves_.begin() + static_cast<std::ptrdiff_t>(from - window_.x1) * 4);
  }

  const ImageView& output_;
  OfxRectI window_;
  const FrameGrid& grid_;
  const Frame& frame_;
  bool oneField_ = false;
  std::vector<std::uint8_t> waves_;
  FloatRow scratch_;
};

Rows RowsOf(const Properties& in) {
  const std::string field = in.Text(prop::kFieldToRender);
  return field == field::kLower ? Rows::kLower : field == field::kUpper ? Rows::kUpper : Rows::kAll;
}

// Where the host says of every clip that it is connected, a picture tells.
void SettleTracedClip(const Instance& instance, Moment& moment) {
  if (!moment.PrefersLayer() || moment.TracedClip() == nullptr) return;
  const ClipImage layer(instance.Host(), instance.LayerClip(), moment.Time(), nullptr);
  if (!layer.View()) moment.TraceSourceInstead();
}

OfxStatus AllSet(bool all) { return all ? kOk : kReplyDefault; }

}  // namespace

OfxStatus Render(Instance& instance, const Properties& in) {
  const double time = TimeOf(in);
  const OfxPointD scale = ScaleOf(in);
  const auto window = in.IntRect(prop::kRenderWindow);
  if (window && (window->x1 >= window->x2 || window->y1 >= window->y2)) return kOk;
  const ClipImage output(instance.Host(), instance.OutputClip(), time, nullptr);
  if (!output.View()) {
    if (instance.ShouldStop()) return kFailed;  // a host that stops may refuse its pictures
    instance.Complain("the output has no pixels, or pixels of an unknown kind");
    return kFailed;
  }
  Moment moment(instance, time, scale, IsDraft(in), StageOf(instance, output, time, scale));
  SettleTracedClip(instance, moment);
  ClipPictures pictures(instance, moment);
  const FramePtr frame = moment.Render(&pictures);

  std::optional<ImageView> behind;
  std::optional<ClipImage> source;
  if (DrawsOverSource(instance, time)) {
    source.emplace(instance.Host(), instance.SourceClip(), time, nullptr);
    behind = source->View();
  }
  WindowWriter writer(*output.View(), window.value_or(output.View()->bounds), moment, *frame);
  writer.Write(RowsOf(in), behind);
  instance.ClearComplaint();
  return kOk;
}

// Whatever is drawn is drawn to find out, and kept for the render that follows.
OfxStatus IsIdentity(Instance& instance, const Properties& in, const Properties& out) {
  const double time = TimeOf(in);
  // Where a clip that has nothing is said to be connected, there is nothing to take in place of the waves.
  if (!DrawsOverSource(instance, time) || !RegionOf(instance, instance.SourceClip(), time)) return kReplyDefault;
  const auto stage = StageWithoutImage(instance, time);
  if (!stage) return kReplyDefault;
  Moment moment(instance, time, ScaleOf(in), IsDraft(in), *stage);
  if (moment.TracedClip() != nullptr && moment.HasBegun()) return kReplyDefault;
  const FramePtr frame = moment.Render(nullptr);
  for (std::size_t alpha = 3; alpha < frame->bytes.size(); alpha += 4) {
    if (frame->bytes[alpha] != 0) return kReplyDefault;
  }
  const bool named = out.Set(prop::kName, clip::kSource), timed = out.Set(prop::kTime, time);
  return AllSet(named && timed);
}

OfxStatus GetRegionOfDefinition(Instance& instance, const Properties& in, const Properties& out) {
  const double time = TimeOf(in);
  const auto stage = StageWithoutImage(instance, time);
  if (!stage) return kReplyDefault;
  OfxRectD rect = stage->rect;
  if (DrawsOverSource(instance, time)) {
    if (const auto source = RegionOf(instance, instance.SourceClip(), time)) rect = Union(rect, *source);
  }
  return AllSet(out.SetRect(prop::kRegionOfDefinition, rect));
}

OfxStatus GetRegionsOfInterest(Instance& instance, const Properties& in, const Properties& out) {
  const double time = TimeOf(in);
  const auto asked = in.Rect(prop::kRegionOfInterest);
  const auto stage = StageWithoutImage(instance, time);
  if (!asked || !stage || instance.SourceClip() == nullptr) return kReplyDefault;
  const Moment moment(instance, time, ScaleOf(in), false, *stage);
  // A contour is traced in the whole picture, whatever part of the waves is asked for.
  const auto whole = [&](OfxImageClipHandle clip) {
    return clip != nullptr &&
           (moment.TracedClip() == clip || (moment.PrefersLayer() && moment.TracedClip() != nullptr));
  };
  static const std::string kOfSource = std::string(prop::kRegionOfInterestOf) + clip::kSource,
                           kOfLayer = std::string(prop::kRegionOfInterestOf) + kLayerClip;
  out.SetRect(kOfSource.c_str(), whole(instance.SourceClip()) ? Union(*asked, stage->rect) : *asked);
  if (whole(instance.LayerClip())) out.SetRect(kOfLayer.c_str(), stage->rect);
  return kOk;
}

// The pictures of the waves that are alive: those of their births, or of the moment. The effect itself says which when
// it is run with nothing to trace.
OfxStatus GetFramesNeeded(Instance& instance, const Properties& in, const Properties& out) {
  const double time = TimeOf(in);
  const auto stage = StageWithoutImage(instance, time);
  if (!stage) return kReplyDefault;
  constexpr double kSmall = 1.0 / 16;  // births do not go by the size of the pictures, of which there is one for each
  Moment moment(instance, time, {kSmall, kSmall}, true, *stage);
  if (moment.TracedClip() == nullptr) return kReplyDefault;
  const std::vector<double> asked = moment.FramesTraced();
  const std::set<double> shown{time};
  std::set<double> traced(asked.begin(), asked.end());
  traced.insert(time);
  const auto announce = [&](const std::string& property, const std::set<double>& frames) {
    int index = 0;
    for (const double frame : frames) {
      out.Set(property.c_str(), frame, index++);
      out.Set(property.c_str(), frame, index++);
    }
  };
  static const std::string kOfSource = std::string(prop::kFrameRangeOf) + clip::kSource,
                           kOfLayer = std::string(prop::kFrameRangeOf) + kLayerClip;
  const bool layer = moment.TracedClip() == instance.LayerClip();
  if (layer) announce(kOfLayer, traced);
  announce(kOfSource, layer && !moment.PrefersLayer() ? shown : traced);
  return kOk;
}

OfxStatus GetClipPreferences(Instance& instance, const Properties& out) {
  // Straight alpha is what the effect draws; over a Source the Source's holds. Composite has no keys.
  Name alpha = alpha::kStraight;
  if (DrawsOverSource(instance, 0)) {
    switch (AlphaStateOf(instance.PropsOf(instance.SourceClip())).value_or(AlphaState::kStraight)) {
      case AlphaState::kOpaque:
        alpha = alpha::kOpaque;
        break;
      case AlphaState::kPremultiplied:
        alpha = alpha::kPremultiplied;
        break;
      case AlphaState::kStraight:
        break;
    }
  }
  out.Set(prop::kPreMultiplication, alpha);
  out.Set(prop::kFrameVarying, 1);
  out.Set(prop::kContinuousSamples, 1);
  return kOk;
}

}  // namespace orvandel::ofx
