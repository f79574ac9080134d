#include "plugins/frei0r/instance.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "plugins/frei0r/over.h"
#include "stage/base/errors.h"
#include "stage/base/names.h"
#include "stage/media/background.h"
#include "stage/picture/picture_rows.h"
#include "stage/picture/pixel_order.h"

namespace orvandel::frei0r {
namespace {

using Kind = Param::Kind;
using Origin = bridge::ParamSource::Origin;

bool IsNumber(Kind kind) {
  return kind == Kind::kNumber || kind == Kind::kAngle || kind == Kind::kPointX || kind == Kind::kPointY ||
         kind == Kind::kSwitch;
}

f0r_param_color_t ColorOf(std::uint32_t rgb) {
  const auto part = [rgb](int shift) { return static_cast<float>(rgb >> shift & 0xFFu) / 255.0F; };
  return {part(16), part(8), part(0)};
}

double Channel(float value) { return std::isnan(value) ? 0 : 255 * std::clamp(static_cast<double>(value), 0.0, 1.0); }

bool IsBeside(double value, double other, double hair) { return value != other && std::fabs(value - other) < 2 * hair; }

bool IsBeside(const f0r_param_color_t& color, const f0r_param_color_t& other) {
  return color.r == other.r && color.g == other.g && IsBeside(color.b, other.b, 0.6 / 255);
}

// Given back as a default, so that what comes back untouched is known.
constexpr double kUntouched = 1e-9;
constexpr float kUntouchedChannel = 1e-6F;

}  // namespace

bool Instance::Means(const Param& param, const Held& held, Caller caller) {
  switch (param.kind) {
    case Kind::kSwitch:
      // One host sets everything that nobody has touched, and knows on and off alone.
      if (caller == Caller::kGStreamer && held.number == param.defaultNumber) return false;
      return !std::isnan(held.number) && held.number != kNoSwitch;
    case Kind::kColor:
      return !std::isnan(held.color.r + held.color.g + held.color.b) &&
             !IsBeside(held.color, ColorOf(param.defaultColor));
    case Kind::kWords:
    case Kind::kMask:
    case Kind::kText:
      return !held.text.empty();
    default:
      return !std::isnan(held.number) && !IsBeside(held.number, param.defaultNumber, kHair);
  }
}

// The values of a moment. One that is not set leaves the look as it is.
struct Instance::Values final : bridge::ParamSource {
  const std::vector<Param>& params;
  std::vector<Held> held;

  explicit Values(const std::vector<Param>& table) : params(table) {}

  Origin OriginOf(std::int32_t hostIndex) const override {
    Origin origin = Origin::kLook;
    for (std::size_t i = 0; i < params.size(); ++i) {
      if (!IsOf(i, hostIndex) || !held[i].isSet || !IsKnown(i)) continue;
      const bool isX = params[i].kind == Kind::kPointX, isY = params[i].kind == Kind::kPointY;
      if (!isX && !isY) return Origin::kConstant;
      origin = origin != Origin::kLook ? Origin::kConstant : isX ? Origin::kConstantX : Origin::kConstantY;
    }
    return origin;
  }

  stage::Value ValueAt(std::int32_t hostIndex, const bridge::LookTime&) const override {
    stage::PointValue point;
    for (std::size_t i = 0; i < params.size(); ++i) {
      if (!IsOf(i, hostIndex)) continue;
      const Param& param = params[i];
      if (param.kind == Kind::kPointX) {
        point.x = Place(param.curve.At(held[i].number));
      } else if (param.kind == Kind::kPointY) {
        point.y = Place(param.curve.At(held[i].number));
      } else {
        return ValueOf(param, held[i]);
      }
    }
    return point;
  }

  const Held& At(Role role) const {
    for (std::size_t i = 0; i < params.size(); ++i) {
      if (params[i].role == role) return held[i];
    }
    static const Held nothing;
    return nothing;
  }

  bool TracesItsInput() const {
    for (std::size_t i = 0; i < params.size(); ++i) {
      if (params[i].name == "Wave Type" && held[i].isSet) return WordOf(params[i].words, held[i].text) == 2;
    }
    return false;
  }

 private:
  bool IsOf(std::size_t i, std::int32_t hostIndex) const {
    return params[i].info != nullptr && params[i].info->hostIndex == hostIndex;
  }
  // An unknown word is no change.
  bool IsKnown(std::size_t i) const {
    if (params[i].kind == Kind::kWords) return WordOf(params[i].words, held[i].text) != 0;
    return params[i].kind != Kind::kMask || MaskOf(held[i].text) > 0;
  }
  // In pixels it is cut towards 0, to 1/65536: a share that stands for such a step must not lie below it by the noise
  // of doubles.
  static double Place(double share) { return share + std::copysign(1e-15, share); }
  static std::int32_t MaskOf(const std::string& text) {
    const std::string_view number = stage::Trimmed(text);
    std::int32_t place = 0;
    for (const char letter : number) {
      if (letter < '0' || letter > '9' || place > 1000) return 0;
      place = 10 * place + (letter - '0');
    }
    return place;
  }
  static stage::Value ValueOf(const Param& param, const Held& value) {
    switch (param.kind) {
      case Kind::kSwitch:
        return stage::Choice{value.number >= 0.5 ? 1 : 0};
      case Kind::kColor:
        return stage::ColorValue{Channel(value.color.r), Channel(value.color.g), Channel(value.color.b)};
      case Kind::kWords:
        return stage::Choice{WordOf(param.words, value.text)};
      case Kind::kMask:
        return stage::Choice{MaskOf(value.text)};
      default:
        return param.curve.At(value.number);
    }
  }
};

namespace {

// The filter's picture of the moment, which has no past.
class InputPicture final : public bridge::PictureSource {
 public:
  InputPicture(const std::uint32_t* words, std::int32_t rowPixels, std::int32_t width, std::int32_t height)
      : words_(words), rowPixels_(rowPixels), width_(width), height_(height) {}
  bool Has(Layer layer) const override { return words_ != nullptr && layer == Layer::kInput; }
  bool Moves(Layer) const override { return false; }
  stage::Picture PictureAt(Layer, const bridge::LookTime&) override {
    stage::Picture picture(width_, height_);
    const std::size_t rowSize = static_cast<std::size_t>(width_) * 4;
    for (std::ptrdiff_t y = 0; y < height_; ++y) {
      std::memcpy(&picture.bytes[rowSize * static_cast<std::size_t>(y)], words_ + y * rowPixels_, rowSize);
    }
    stage::AlphaFirst(picture.bytes.data(), picture.bytes.size() / 4);
    return picture;
  }

 private:
  const std::uint32_t* words_;
  std::int32_t rowPixels_, width_, height_;
};

void CopyRows(const stage::Picture& picture, std::uint8_t* out, std::ptrdiff_t rowBytes) {
  const stage::PictureRows rows = picture;
  for (std::int32_t y = 0; y < rows.height; ++y) {
    stage::CopyAlphaLast(rows.Row(y), out + rowBytes * y, static_cast<std::size_t>(rows.width));
  }
}

bool IsTime(double time) { return std::fabs(time) < 1e15; }

stage::Rational RateOf(const std::string& text) {
  try {
    const std::string_view bare = stage::Trimmed(text);
    const stage::Rational rate = bare.empty() ? stage::Rational{0, 1} : stage::ParseRational(bare);
    return rate.num > 0 ? rate : stage::Rational{0, 1};
  } catch (const stage::InputError&) {
    return {0, 1};
  }
}

}  // namespace

Instance::Instance(bool isFilter, unsigned width, unsigned height)
    : isFilter_(isFilter), width_(static_cast<std::int32_t>(width)), height_(static_cast<std::int32_t>(height)) {
  try {
    params_ = &Params(isFilter);
  } catch (const std::exception& error) {
    Complain(error.what());
    return;
  }
  for (const Param& param : *params_) {
    held_.push_back({param.defaultNumber, ColorOf(param.defaultColor), param.defaultText, false});
  }
  look_ = bridge::Look::Plain();
}

void Instance::Set(int index, f0r_param_t value, Caller caller) {
  const std::lock_guard lock(guard_);
  if (value == nullptr || index < 0 || static_cast<std::size_t>(index) >= held_.size()) return;
  const Param& param = (*params_)[static_cast<std::size_t>(index)];
  Held& held = held_[static_cast<std::size_t>(index)];
  if (IsNumber(param.kind)) {
    held.number = *static_cast<const double*>(value);
  } else if (param.kind == Kind::kColor) {
    held.color = *static_cast<const f0r_param_color_t*>(value);
  } else if (const char* text = *static_cast<const f0r_param_string*>(value); text != nullptr) {
    held.text = text;
  }
  held.isSet = Means(param, held, caller);
}

void Instance::Get(int index, f0r_param_t value, Caller caller) {
  const std::lock_guard lock(guard_);
  if (value == nullptr || index < 0 || static_cast<std::size_t>(index) >= held_.size()) return;
  const Param& param = (*params_)[static_cast<std::size_t>(index)];
  Held& held = held_[static_cast<std::size_t>(index)];
  if (IsNumber(param.kind)) {
    const bool marked = caller == Caller::kGStreamer && !held.isSet && param.kind != Kind::kSwitch;
    *static_cast<double*>(value) = held.number + (!marked ? 0 : held.number < 1 ? kUntouched : -kUntouched);
  } else if (param.kind == Kind::kColor) {
    f0r_param_color_t color = held.color;
    if (caller == Caller::kGStreamer && !held.isSet) color.b += color.b < 1 ? kUntouchedChannel : -kUntouchedChannel;
    *static_cast<f0r_param_color_t*>(value) = color;
  } else {
    static char none[] = "";
    const bool marked = caller == Caller::kGStreamer && !held.isSet && param.kind == Kind::kWords;
    *static_cast<f0r_param_string*>(value) = marked ? none : held.text.data();
  }
}

// Called where nothing may be thrown any more.
void Instance::Complain(const char* what) noexcept {
  if (complained_ == what) return;
  std::fprintf(stderr, "orvandel: %s\n", what);
  try {
    complained_ = what;
  } catch (const std::bad_alloc&) {  // told again
  }
}

// Under the guard. One that is wrong is read once; what memory did not suffice for is tried again.
void Instance::OpenLook() {
  const std::string& wanted = held_[0].text;
  if (scene_ == wanted) return;
  scene_.reset();
  look_ = nullptr;
  try {
    look_ = bridge::Look::Open(wanted);
  } catch (const stage::InputError&) {
    scene_ = wanted;
    throw;
  }
  scene_ = wanted;
}

// FFmpeg's filter loses the time of frames whose width is no multiple of 64. It shows them in their order to one
// instance, so that counting is right there, at the rate that is known.
double Instance::CountedSeconds(const stage::Rational& rate) {
  constexpr stage::Rational kUsual{30, 1};
  const stage::Rational& known = rate.num > 0 ? rate : kUsual;
  const std::lock_guard lock(guard_);
  return static_cast<double>(untimed_++ * known.den) / static_cast<double>(known.num);
}

void Instance::Render(double time, Caller caller, const std::uint32_t* in, std::uint32_t* out) {
  if (params_ == nullptr) throw stage::WorkError(complained_);
  Values values(*params_);
  bridge::FrameRequest request;
  {
    const std::lock_guard lock(guard_);
    OpenLook();
    if (look_ == nullptr) throw stage::InputError(complained_);
    request.look = look_;
    values.held = held_;
  }
  request.frameRate = RateOf(values.At(Role::kFrameRate).text);
  const std::int32_t said = WordOf({"auto", "seconds", "milliseconds"}, values.At(Role::kTimeUnit).text);
  const TimeUnit unit = said > 1 ? static_cast<TimeUnit>(said - 1) : UnitOf(caller);
  if (!IsTime(time)) {
    request.seconds = CountedSeconds(request.frameRate.num > 0 ? request.frameRate : request.look->FrameRate());
  } else if (unit == TimeUnit::kMilliseconds) {
    request.seconds = SecondsOfMilliseconds(time, request.frameRate, request.look->FrameRate());
  } else {
    request.seconds = time;
  }
  request.width = width_;
  request.height = height_;
  request.params = &values;
  const std::ptrdiff_t rowPixels = RowPixels(caller, width_);
  InputPicture input(in, RowPixels(caller, width_), width_, height_);
  const bool traces = values.TracesItsInput() || (request.look->TracesInput() && !request.look->HasInput());
  if (isFilter_ && traces) request.pictures = &input;
  const bool over = isFilter_ && in != nullptr && values.At(Role::kKeepInput).number >= 0.5;
  request.hasBackground = !over;  // the input takes its place
  auto* const bytes = reinterpret_cast<std::uint8_t*>(out);
  if (over && !request.look->IsLaidPlainly()) {
    const stage::Picture below = input.PictureAt(bridge::PictureSource::Layer::kInput, {});
    stage::Picture16 waves = player_.Render16(request);
    waves = stage::LaidOver(std::move(waves), below, request.look->Blend(), request.look->IsLinear());
    CopyRows(stage::Narrowed(waves), bytes, rowPixels * 4);
    return;
  }
  player_.Render(request, {bytes, rowPixels * 4});
  if (!over) return;
  for (std::ptrdiff_t y = 0; y < height_; ++y) {
    LayOver(reinterpret_cast<const std::uint8_t*>(in + y * rowPixels), bytes + y * rowPixels * 4,
            static_cast<std::size_t>(width_));
  }
}

void Instance::Update(double time, Caller caller, const std::uint32_t* in, std::uint32_t* out) {
  try {
    Render(time, caller, in, out);
    return;
  } catch (const std::exception& error) {
    const std::lock_guard lock(guard_);
    Complain(error.what());
  }
  const std::ptrdiff_t rowPixels = RowPixels(caller, width_);
  for (std::ptrdiff_t y = 0; y < height_; ++y) {
    if (isFilter_ && in != nullptr) {
      std::copy_n(in + y * rowPixels, width_, out + y * rowPixels);
    } else {
      std::fill_n(out + y * rowPixels, width_, 0);
    }
  }
}

}  // namespace orvandel::frei0r
