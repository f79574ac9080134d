#include "plugins/openfx/instance.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

#include "stage/base/errors.h"

namespace orvandel::ofx {
namespace {

constexpr double kUnknownRate = 25;

// 23.976, 29.97 and 59.94 are what hosts call 24000/1001, 30000/1001 and 60000/1001.
stage::Rational RateOf(double framesPerSecond) {
  const double whole = std::round(framesPerSecond * 1.001);
  if (whole >= 1 && std::fabs(framesPerSecond - whole / 1.001) < 1e-3 &&
      framesPerSecond != std::round(framesPerSecond)) {
    return stage::Reduced({static_cast<std::int64_t>(whole) * 1000, 1001});
  }
  return SimplestRatio(std::clamp(framesPerSecond, 0.01, 1000.0), 1e-6);
}

Clock ClockFor(const stage::Rational& rate) {
  Clock clock;
  try {
    clock.time = stage::TimebaseOfRate(rate);
    clock.unitsPerFrame = clock.time.timeStep;
  } catch (const stage::InputError&) {  // no clock holds the frames of such a rate: they are rounded to units
    clock.time = stage::TimebaseOfRate({30, 1});
    clock.unitsPerFrame = clock.time.timeScale * static_cast<double>(rate.den) / static_cast<double>(rate.num);
  }
  return clock;
}

RawValue DefaultOf(const ShownParam& shown) {
  RawValue value{};
  std::copy(shown.defaults.begin(), shown.defaults.end(), value.begin());
  return value;
}

void Confine(const ShownParam& shown, RawValue& value) {
  const RawValue fallback = DefaultOf(shown);
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (!std::isfinite(value[i])) value[i] = fallback[i];
  }
  switch (shown.kind) {
    case Kind::kInteger:
    case Kind::kNumber:
    case Kind::kAngle:
      value[0] = std::clamp(value[0], shown.lowest, shown.highest);
      break;
    case Kind::kChoice:
      value[0] = std::clamp(value[0], 0.0, static_cast<double>(shown.choices.size()) - 1);
      break;
    case Kind::kSwitch:
      value[0] = value[0] != 0 ? 1 : 0;
      break;
    default:
      break;
  }
}

}  // namespace

std::int32_t Clock::UnitsAt(double frame) const {
  constexpr double kMost = 1 << 30;
  return static_cast<std::int32_t>(std::clamp(std::round((frame - startFrame) * unitsPerFrame), -kMost, kMost));
}

Instance::Instance(const Suites& suites, OfxImageEffectHandle handle, const ParamTable& table)
    : suites_(suites), handle_(handle), table_(table) {
  OfxPropertyHandle properties = nullptr;
  if (suites_.effects->getPropertySet(handle, &properties) == kOk) properties_ = Properties(suites_, properties);
  output_ = Clip(clip::kOutput);
  source_ = Clip(clip::kSource);
  layer_ = Clip(kLayerClip);
  OfxParamSetHandle set = nullptr;
  if (suites_.effects->getParamSet(handle, &set) != kOk) set = nullptr;
  const auto named = [&](const std::string& name) {
    OfxParamHandle param = nullptr;
    OfxPropertyHandle ofParam = nullptr;
    if (set == nullptr || suites_.params->paramGetHandle(set, name.c_str(), &param, &ofParam) != kOk) {
      param = nullptr;
      ofParam = nullptr;
    }
    panel_.emplace_back(suites_, ofParam);
    return param;
  };
  for (const ShownParam& shown : table_.params) params_.push_back(named(shown.name));
  for (const ShownGroup& group : table_.groups) named(group.name);
}

OfxImageClipHandle Instance::Clip(Name name) const {
  OfxImageClipHandle clip = nullptr;
  return suites_.effects->clipGetHandle(handle_, name, &clip, nullptr) == kOk ? clip : nullptr;
}

Properties Instance::PropsOf(OfxImageClipHandle clip) const {
  OfxPropertyHandle handle = nullptr;
  if (clip == nullptr || suites_.effects->clipGetPropertySet(clip, &handle) != kOk) return {};
  return {suites_, handle};
}

bool Instance::IsConnected(OfxImageClipHandle clip) const {
  return clip != nullptr && PropsOf(clip).Int(prop::kConnected).value_or(1) != 0;
}

RawValue Instance::ValueAt(std::size_t place, double frame) const {
  const ShownParam& shown = table_.params[place];
  RawValue value = DefaultOf(shown);
  const OfxParamHandle param = params_[place];
  if (param == nullptr || shown.kind == Kind::kFile) return value;
  bool isRead = false;
  switch (shown.kind) {
    case Kind::kInteger:
    case Kind::kSwitch:
    case Kind::kChoice: {
      int whole = static_cast<int>(value[0]);
      isRead = Read(param, frame, &whole);
      value[0] = whole;
      break;
    }
    case Kind::kPoint:
      isRead = Read(param, frame, &value[0], &value[1]);
      break;
    case Kind::kColor:
      isRead = Read(param, frame, &value[0], &value[1], &value[2]);
      break;
    default:
      isRead = Read(param, frame, &value[0]);
  }
  if (!isRead) return DefaultOf(shown);
  Confine(shown, value);
  return value;
}

RawValue Instance::ValueAt(const char* name, double frame) const {
  const ShownParam* shown = table_.Find(name);
  return shown == nullptr ? RawValue{} : ValueAt(static_cast<std::size_t>(shown - table_.params.data()), frame);
}

std::string Instance::TextAt(std::size_t place, double frame) const {
  char* text = nullptr;
  const OfxParamHandle param = params_[place];
  if (param == nullptr || !Read(param, frame, &text) || text == nullptr) return {};
  return text;
}

bool Instance::HasNoKeys(std::size_t place) const {
  unsigned count = ~0U;
  const OfxParamHandle param = params_[place];
  return param == nullptr || (suites_.params->paramGetNumKeys(param, &count) == kOk && count == 0);
}

void Instance::Enable(const std::vector<bool>& enabled) {
  std::vector<bool> before;
  {
    const std::lock_guard lock(guard_);
    before = std::exchange(enabled_, enabled);
  }
  for (std::size_t place = 0; place < enabled.size(); ++place) {
    if (place < before.size() && before[place] == enabled[place]) continue;
    panel_[place].Set(prop::kEnabled, enabled[place] ? 1 : 0);
  }
}

stage::Rational Instance::FrameRateAt(double frame) const {
  double rate = ValueAt(kFrameRateParam, frame)[0];
  for (const Properties& told : {properties_, PropsOf(output_), PropsOf(source_)}) {
    if (!(rate > 0)) rate = told.Double(prop::kFrameRate).value_or(0);
  }
  return RateOf(rate > 0 ? rate : kUnknownRate);
}

Clock Instance::ClockAt(double frame) const {
  Clock clock = ClockFor(FrameRateAt(frame));
  clock.startFrame = ValueAt(kStartFrame, frame)[0];
  return clock;
}

double Instance::PixelAspect(const Properties& image) const {
  for (const Properties& told : {image, PropsOf(output_)}) {
    if (const double aspect = told.Double(prop::kPixelAspect).value_or(0); aspect > 0) return aspect;
  }
  const double aspect = properties_.Double(prop::kProjectAspect).value_or(1);
  return aspect > 0 ? aspect : 1;
}

std::optional<Stage> Instance::ProjectStage(const Properties& image) const {
  const OfxPointD size = properties_.Pair(prop::kProjectSize).value_or(OfxPointD{0, 0});
  const OfxPointD offset = properties_.Pair(prop::kProjectOffset).value_or(OfxPointD{0, 0});
  Stage stage;
  stage.rect = {offset.x, offset.y, offset.x + size.x, offset.y + size.y};
  if (!HasArea(stage.rect)) {
    const OfxPointD extent = properties_.Pair(prop::kProjectExtent).value_or(OfxPointD{0, 0});
    stage.rect = {0, 0, extent.x, extent.y};
  }
  if (!HasArea(stage.rect)) return {};
  stage.pixelAspect = PixelAspect(image);
  return stage;
}

// A host may send actions while it shows a message, so that no lock is held then.
void Instance::Complain(const std::string& text) {
  {
    const std::lock_guard lock(guard_);
    if (complaint_ == text) return;  // once, not for every frame
    complaint_ = text;
  }
  if (suites_.messages == nullptr) return;
  const auto stand = suites_.messagesStand ? suites_.messages->setPersistentMessage : nullptr;
  const auto say = stand != nullptr ? stand : suites_.messages->message;
  if (say != nullptr) say(handle_, "OfxMessageError", "", "%s", text.c_str());
}

void Instance::ClearComplaint() {
  {
    const std::lock_guard lock(guard_);
    if (complaint_.empty()) return;
    complaint_.clear();
  }
  if (!suites_.messagesStand || suites_.messages->clearPersistentMessage == nullptr) return;
  suites_.messages->clearPersistentMessage(handle_);
}

double Instance::NewNumber() {
  static std::atomic<std::uint32_t> last{0};
  return ++last;
}

// A new number for each, since some hosts never end one.
void Instance::BeginSequence() {
  const std::lock_guard lock(guard_);
  ++openSequences_;
  sequence_ = NewNumber();
}

void Instance::EndSequence() {
  const std::lock_guard lock(guard_);
  if (openSequences_ > 0 && --openSequences_ == 0) sequence_ = 0;
}

double Instance::SequenceNumber() const {
  const std::lock_guard lock(guard_);
  return sequence_;
}

std::uint64_t Instance::StampIn(double sequence, const std::vector<double>& circumstances) {
  if (sequence == 0) return 0;
  const std::lock_guard lock(guard_);
  std::vector<double> now = circumstances;
  now.push_back(sequence);
  if (now != stampOf_) {
    stampOf_ = std::move(now);
    stamp_ = static_cast<std::uint64_t>(NewNumber());
  }
  return stamp_;
}

void Instance::Edited() {
  const std::lock_guard lock(guard_);
  if (openSequences_ > 0) sequence_ = NewNumber();
}

}  // namespace orvandel::ofx
