#include "test_host.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <type_traits>

#include "memory_faults.h"
#include "plugins/openfx/half.h"

namespace orvandel::ofx::test {
namespace {

constexpr std::uint8_t kGuard = 0xA5;
constexpr std::size_t kGuardBytes = 64;

// The render that a thread is in: pictures may be had there alone.
thread_local OfxImageEffect* rendering = nullptr;
thread_local double renderTime = 0;
thread_local Image* renderOutput = nullptr;
thread_local Refusal refusal;

bool Refuses() {
  const int call = refusal.calls++;
  return refusal.at >= 0 && (call == refusal.at || (refusal.persistent && call > refusal.at));
}

bool Known(const OfxPropertySet& set, const std::string& name) {
  static const std::set<std::string> kNeeded{
      prop::kLabel, prop::kContexts, prop::kDepths, prop::kSupportedComponents, prop::kDefault, prop::kChoiceOption};
  if (set.habits == nullptr) return true;
  return !set.habits->knowsOnlyTheNeeded || kNeeded.count(name) != 0;
}

template <typename T>
using Stored = std::conditional_t<std::is_same_v<T, const char*>, std::string, T>;

template <typename T>
OfxStatus Set(OfxPropertyHandle set, const char* name, int index, T value) {
  if (set == nullptr) return kBadHandle;
  if (!Known(*set, name)) return set->habits->unknownAnswer;
  if constexpr (std::is_same_v<T, const char*>) {
    if (set->habits != nullptr && set->habits->refusedTexts.count(value) != 0) return kErrValue;
  }
  auto& values = set->values[name];
  if (index < 0 || static_cast<std::size_t>(index) > values.size()) return kBadIndex;
  if (static_cast<std::size_t>(index) == values.size()) values.emplace_back();
  values[static_cast<std::size_t>(index)] = Stored<T>(value);
  return kOk;
}

template <typename T>
const T* Find(OfxPropertyHandle set, const char* name, int index, OfxStatus& status) {
  status = kBadHandle;
  if (set == nullptr) return nullptr;
  const auto found = set->values.find(name);
  status = kUnknown;
  if (found == set->values.end()) return nullptr;
  status = kBadIndex;
  if (index < 0 || static_cast<std::size_t>(index) >= found->second.size()) return nullptr;
  const T* value = std::get_if<T>(&found->second[static_cast<std::size_t>(index)]);
  status = value == nullptr ? kUnknown : kOk;
  return value;
}

template <typename T>
OfxStatus Get(OfxPropertyHandle set, const char* name, int index, T* value) {
  OfxStatus status = kOk;
  if (const T* found = Find<T>(set, name, index, status)) *value = *found;
  return status;
}

OfxStatus GetText(OfxPropertyHandle set, const char* name, int index, char** value) {
  OfxStatus status = kOk;
  const auto* found = Find<std::string>(set, name, index, status);
  if (found == nullptr) return status;
  thread_local char buffer[4096];
  if (set->habits != nullptr && set->habits->textsShareOneBuffer) {
    std::memset(buffer, '?', sizeof(buffer));
    std::strncpy(buffer, found->c_str(), sizeof(buffer) - 1);
    *value = buffer;
  } else {
    *value = const_cast<char*>(found->c_str());
  }
  return kOk;
}

OfxStatus GetEffectSet(OfxImageEffectHandle effect, OfxPropertyHandle* set) {
  if (effect == nullptr) return kBadHandle;
  *set = &effect->properties;
  return kOk;
}
OfxStatus GetParamSet(OfxImageEffectHandle effect, OfxParamSetHandle* set) {
  *set = &effect->params;
  return kOk;
}
OfxStatus DefineClip(OfxImageEffectHandle effect, const char* name, OfxPropertyHandle* set) {
  OfxImageClip& clip = effect->clips[name];
  clip.name = name;
  clip.properties = OfxPropertySet(*effect->habits);
  *set = &clip.properties;
  return kOk;
}
OfxStatus GetClip(OfxImageEffectHandle effect, const char* name, OfxImageClipHandle* clip, OfxPropertyHandle* set) {
  const auto found = effect->clips.find(name);
  if (found == effect->clips.end()) return kUnknown;
  *clip = &found->second;
  if (set != nullptr) *set = &found->second.properties;
  return kOk;
}
OfxStatus GetClipSet(OfxImageClipHandle clip, OfxPropertyHandle* set) {
  *set = &clip->properties;
  return kOk;
}

OfxStatus GetImage(OfxImageClipHandle clip, OfxTime time, const OfxRectD*, OfxPropertyHandle* set) {
  OfxImageEffect& effect = *clip->effect;
  if (rendering != &effect) {
    const std::lock_guard lock(effect.books);
    effect.messages.emplace_back("a picture was asked for outside a render");
    return kFailed;
  }
  std::unique_ptr<Image> image;
  if (clip->name == clip::kOutput) {
    *set = &renderOutput->properties;
  } else {
    const std::lock_guard lock(effect.books);
    clip->asked.push_back(time);
    if (!effect.habits->givesOtherTimes) time = renderTime;
    image = clip->pictures ? clip->pictures(time) : nullptr;
    if (image == nullptr) return kFailed;
    *set = &image.release()->properties;
  }
  const std::lock_guard lock(effect.books);
  effect.lent.insert(*set);
  return kOk;
}

OfxStatus ReleaseImage(OfxPropertyHandle set) {
  OfxImageEffect& effect = *rendering;
  const std::lock_guard lock(effect.books);
  if (effect.lent.erase(set) == 0) {
    effect.messages.emplace_back("an image was given back twice");
  } else if (set->image != renderOutput) {
    delete set->image;
  }
  return kOk;
}

OfxStatus ClipRegion(OfxImageClipHandle clip, OfxTime, OfxRectD* rect) {
  const Habits& habits = *clip->effect->habits;
  *rect = {habits.offsetX, habits.offsetY, habits.offsetX + habits.width, habits.offsetY + habits.height};
  return kOk;
}

int Aborts(OfxImageEffectHandle effect) {
  const int asked = effect->abortChecks++;
  return effect->stopAfter >= 0 && asked >= effect->stopAfter ? 9 : 0;
}

OfxStatus DefineParam(OfxParamSetHandle set, const char* type, const char* name, OfxPropertyHandle* properties) {
  const std::set<std::string> kRefused{type::kString, type::kDouble2D, type::kChoice, type::kPage};
  if (set->habits->refusesParamKinds && kRefused.count(type) != 0) return kUnsupported;
  OfxParam* param = set->Find(name);
  if (param == nullptr) param = set->params.emplace_back(std::make_unique<OfxParam>()).get();
  param->type = type;
  param->name = name;
  param->properties = OfxPropertySet(*set->habits);
  *properties = &param->properties;
  return kOk;
}
OfxStatus GetParam(OfxParamSetHandle set, const char* name, OfxParamHandle* param, OfxPropertyHandle* properties) {
  *param = set->Find(name);
  if (*param == nullptr) return kUnknown;
  if (properties != nullptr) *properties = &(*param)->properties;
  return kOk;
}

std::array<double, 3> DefaultOf(const OfxParam& param) {
  const Habits& habits = *param.properties.habits;
  std::array<double, 3> values{};
  const auto set = param.properties.values.find(prop::kDefault);
  if (set == param.properties.values.end()) return values;
  const auto& defaults = set->second;
  for (std::size_t i = 0; i < defaults.size(); ++i) {
    const int* whole = std::get_if<int>(&defaults[i]);
    values[i] = whole != nullptr ? *whole : std::get<double>(defaults[i]);
  }
  if (param.type == type::kDouble2D && !habits.defaultPointsRaw) {
    values[0] = values[0] * habits.width + habits.offsetX;
    values[1] = values[1] * habits.height + habits.offsetY;
  }
  return values;
}

OfxStatus Value(OfxParamHandle param, OfxTime time, va_list& out) {
  const Habits& habits = *param->properties.habits;
  if (habits.valuesFail) return kMissingHostFeature;
  if (param->type == type::kString) {
    *va_arg(out, char**) = param->text.data();
    return kOk;
  }
  const std::array<double, 3> values =
      param->value ? param->value(habits.ignoresTime ? renderTime : time) : DefaultOf(*param);
  const bool whole = param->type == type::kInteger || param->type == type::kBoolean || param->type == type::kChoice;
  const int count = param->type == type::kRgb ? 3 : param->type == type::kDouble2D ? 2 : 1;
  for (int i = 0; i < count; ++i) {
    if (whole) {
      *va_arg(out, int*) = static_cast<int>(values[0]);
    } else {
      *va_arg(out, double*) = values[static_cast<std::size_t>(i)];
    }
  }
  return kOk;
}
OfxStatus GetValueAtTime(OfxParamHandle param, OfxTime time, ...) {
  const memory::Suspended atHost;
  if (Refuses() || param->properties.habits->timedReadsFail) return TheRefusal().answer;
  va_list out;
  va_start(out, time);
  const OfxStatus status = Value(param, time, out);
  va_end(out);
  return status;
}
OfxStatus GetValue(OfxParamHandle param, ...) {
  const memory::Suspended atHost;
  if (Refuses()) return TheRefusal().answer;
  va_list out;
  va_start(out, param);
  const OfxStatus status = Value(param, renderTime, out);
  va_end(out);
  return status;
}
OfxStatus GetNumKeys(OfxParamHandle param, unsigned* count) {
  if (param->properties.habits->keysUnknown) return kUnsupported;
  *count = param->animated && !param->properties.habits->ignoresTime ? 2 : 0;
  return kOk;
}
OfxStatus GetSetOfParams(OfxParamSetHandle params, OfxPropertyHandle* set) {
  *set = &params->properties;
  return kOk;
}

OfxStatus Say(void* effect, const char*, const char*, const char* format, ...) {
  const memory::Suspended atHost;
  char text[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof(text), format, args);
  va_end(args);
  auto& said = *static_cast<OfxImageEffect*>(effect);
  const std::lock_guard lock(said.books);
  said.messages.emplace_back(text);
  return kOk;
}

template <auto kFunction>
struct Asked;
template <typename Answer, typename... Args, Answer (*kFunction)(Args...)>
struct Asked<kFunction> {
  static Answer Here(Args... args) {
    const memory::Suspended atHost;
    return Refuses() ? TheRefusal().answer : kFunction(args...);
  }
};
template <auto kFunction>
constexpr auto kAsked = &Asked<kFunction>::Here;

OfxStatus ReleaseAlways(OfxPropertyHandle set) {
  const memory::Suspended atHost;
  return ReleaseImage(set);
}

// What the plug-in has no use for is left out.
const OfxPropertySuite kProperties{kAsked<Set<void*>>,
                                   kAsked<Set<const char*>>,
                                   kAsked<Set<double>>,
                                   kAsked<Set<int>>,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   kAsked<Get<void*>>,
                                   kAsked<GetText>,
                                   kAsked<Get<double>>,
                                   kAsked<Get<int>>,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr};
const OfxImageEffectSuite kEffects{kAsked<GetEffectSet>,
                                   kAsked<GetParamSet>,
                                   kAsked<DefineClip>,
                                   kAsked<GetClip>,
                                   kAsked<GetClipSet>,
                                   kAsked<GetImage>,
                                   ReleaseAlways,
                                   kAsked<ClipRegion>,
                                   kAsked<Aborts>,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr};
const OfxParameterSuite kParams{kAsked<DefineParam>,
                                kAsked<GetParam>,
                                kAsked<GetSetOfParams>,
                                nullptr,
                                GetValue,
                                GetValueAtTime,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr,
                                kAsked<GetNumKeys>,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr};
const OfxMessageSuite kMessages{Say, Say, [](void*) -> OfxStatus { return kOk; }}, kNoMessages{};

const void* FetchSuite(OfxPropertyHandle host, const char* name, int version) {
  const memory::Suspended atHost;
  const std::string wanted = name + (" " + std::to_string(version));
  const auto& missing = host->habits->missingSuites;
  if (missing.count(name) != 0 || missing.count(wanted) != 0) return nullptr;
  if (wanted == "OfxPropertySuite 1") return &kProperties;
  if (wanted == "OfxImageEffectSuite 1") return &kEffects;
  if (wanted == "OfxParameterSuite 1") return &kParams;
  if (wanted == "OfxMessageSuite 2" && host->habits->messagesAreNull) return &kNoMessages;
  if (wanted == "OfxMessageSuite 2" || wanted == "OfxMessageSuite 1") return &kMessages;
  return nullptr;
}

}  // namespace

Refusal& TheRefusal() { return refusal; }

int Form::Channels() const {
  return components == std::string(components::kRgba) ? 4 : components == std::string(components::kRgb) ? 3 : 1;
}
int Form::ChannelBytes() const {
  return depth == std::string(depth::kByte) ? 1 : depth == std::string(depth::kFloat) ? 4 : 2;
}

Image::Image(const Habits& habits, const Form& of, OfxRectI rect) : bounds(rect), form(of), properties(habits) {
  const auto width = static_cast<std::size_t>(rect.x2 - rect.x1), height = static_cast<std::size_t>(rect.y2 - rect.y1);
  const std::size_t tight = width * static_cast<std::size_t>(form.Channels() * form.ChannelBytes());
  const std::size_t stride = tight + static_cast<std::size_t>(habits.rowPadding) + kGuardBytes;
  memory.assign(stride * height + 2 * kGuardBytes, kGuard);
  first = kGuardBytes + (habits.rowsDownward ? stride * (height - 1) : 0);
  rowBytes = habits.rowsDownward ? -static_cast<std::ptrdiff_t>(stride) : static_cast<std::ptrdiff_t>(stride);
  properties.image = this;
  properties.Put<void*>(prop::kData, memory.data() + first);
  properties.Put(prop::kRowBytes, static_cast<int>(rowBytes));
  properties.Put(prop::kBounds, rect.x1, rect.y1, rect.x2, rect.y2);
  properties.Put(prop::kPixelDepth, std::string(form.depth));
  properties.Put(prop::kComponents, std::string(form.components));
  properties.Put(prop::kPreMultiplication, std::string(form.alpha));
  properties.Put(prop::kPixelAspect, habits.pixelAspect);
  properties.Put(prop::kField, std::string(field::kNone));
  if (form.blueFirst) properties.Put(prop::kPixelOrder, std::string("OfxImagePixelOrderBGRA"));
}

std::uint8_t* Image::At(int x, int y) {
  return memory.data() + static_cast<std::ptrdiff_t>(first) + (y - bounds.y1) * rowBytes +
         std::ptrdiff_t{x - bounds.x1} * form.Channels() * form.ChannelBytes();
}

double Image::Channel(int x, int y, int channel) {
  const std::uint8_t* at = At(x, y) + channel * form.ChannelBytes();
  if (form.ChannelBytes() == 1) return *at / 255.0;
  if (form.ChannelBytes() == 4) {
    float value = 0;
    std::memcpy(&value, at, sizeof(value));
    return value;
  }
  std::uint16_t word = 0;
  std::memcpy(&word, at, sizeof(word));
  return form.depth == std::string(depth::kHalf) ? FloatOfHalf(word) : word / 65535.0;
}

void Image::SetChannel(int x, int y, int channel, double value) {
  std::uint8_t* at = At(x, y) + channel * form.ChannelBytes();
  if (form.ChannelBytes() == 1) {
    *at = static_cast<std::uint8_t>(std::lround(value * 255));
  } else if (form.ChannelBytes() == 4) {
    const auto stored = static_cast<float>(value);
    std::memcpy(at, &stored, sizeof(stored));
  } else {
    const bool half = form.depth == std::string(depth::kHalf);
    const auto word =
        half ? HalfOfFloat(static_cast<float>(value)) : static_cast<std::uint16_t>(std::lround(value * 65535));
    std::memcpy(at, &word, sizeof(word));
  }
}

std::vector<std::uint8_t> Image::Bytes() {
  std::vector<std::uint8_t> bytes;
  for (int y = bounds.y2 - 1; y >= bounds.y1; --y) {
    for (int x = bounds.x1; x < bounds.x2; ++x) {
      const std::uint8_t* at = At(x, y);
      bytes.insert(bytes.end(), {at[3], at[form.blueFirst ? 2 : 0], at[1], at[form.blueFirst ? 0 : 2]});
    }
  }
  return bytes;
}

bool Image::OnlyWrote(const OfxRectI& window, const std::function<bool(int y)>& writes) const {
  const int pixelBytes = form.Channels() * form.ChannelBytes();
  std::vector<bool> allowed(memory.size());
  for (int y = std::max(window.y1, bounds.y1); y < std::min(window.y2, bounds.y2); ++y) {
    if (writes && !writes(y)) continue;
    const int x1 = std::max(window.x1, bounds.x1), x2 = std::min(window.x2, bounds.x2);
    const auto from =
        static_cast<std::ptrdiff_t>(first) + (y - bounds.y1) * rowBytes + std::ptrdiff_t{x1 - bounds.x1} * pixelBytes;
    for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{std::max(x2 - x1, 0)} * pixelBytes; ++i) {
      allowed[static_cast<std::size_t>(from + i)] = true;
    }
  }
  for (std::size_t i = 0; i < memory.size(); ++i) {
    if (!allowed[i] && memory[i] != kGuard) return false;
  }
  return true;
}

}  // namespace orvandel::ofx::test

OfxParam* OfxParamSet::Find(const std::string& name) const {
  for (const auto& param : params) {
    if (param->name == name) return param.get();
  }
  return nullptr;
}

namespace orvandel::ofx::test {

namespace {

#if defined(_WIN32)
void* Load(const std::filesystem::path& file) { return LoadLibraryW(file.c_str()); }
void* FindIn(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}
void Unload(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }
#else
// What the plug-in never destroys, leak checks find through its variables, as long as those are there.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kStays = RTLD_NODELETE;
#else
constexpr int kStays = 0;
#endif
void* Load(const std::filesystem::path& file) { return dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL | kStays); }
void* FindIn(void* library, const char* name) { return dlsym(library, name); }
void Unload(void* library) { dlclose(library); }
#endif

}  // namespace

Binary::Binary(const std::filesystem::path& file) : library_(Load(file)) {
  if (library_ == nullptr) throw std::runtime_error(file.string() + " cannot be loaded");
  const auto count = reinterpret_cast<int (*)()>(FindIn(library_, "OfxGetNumberOfPlugins"));
  const auto get = reinterpret_cast<OfxPlugin* (*)(int)>(FindIn(library_, "OfxGetPlugin"));
  if (count == nullptr || get == nullptr || count() != 1) throw std::runtime_error("no plug-in");
  plugin_ = get(0);
}

Binary::~Binary() {
  plugin_->mainEntry("OfxActionUnload", nullptr, nullptr, nullptr);
  Unload(library_);
}

Host::Host(const Binary& binary, Habits habits, Name context)
    : plugin_(binary.Plugin()),
      habits_(std::make_shared<Habits>(std::move(habits))),
      hostSet_(*habits_),
      context_(context),
      descriptor_(std::make_shared<OfxImageEffect>()) {
  hostSet_.Put(prop::kName, std::string("org.example.host"));
  if (habits_->givesOtherTimes) hostSet_.Put(prop::kTemporalAccess, 1);
  host_ = std::make_shared<OfxHost>(OfxHost{&hostSet_, FetchSuite});
  descriptor_->habits = habits_.get();
  descriptor_->properties = OfxPropertySet(*habits_);
  descriptor_->params.habits = habits_.get();
  plugin_->setHost(host_.get());
  described_ = Do(action::kLoad, nullptr);
  // Twice, as some do on one descriptor.
  for (int i = 0; i < 2 && described_ == kOk; ++i) described_ = Do(action::kDescribe, descriptor_.get());
  OfxPropertySet in(*habits_);
  in.Put(prop::kContext, std::string(context));
  in.Put("OfxPropLabel", std::string("more than is asked for"));
  if (described_ == kOk) described_ = Do(action::kDescribeInContext, descriptor_.get(), &in);
}

OfxStatus Host::Do(Name action, const void* handle, OfxPropertySet* in, OfxPropertySet* out) const {
  const memory::Armed here;
  return plugin_->mainEntry(action, handle, in, out);
}

std::unique_ptr<OfxImageEffect, std::function<void(OfxImageEffect*)>> Host::Create() const {
  auto* effect = new OfxImageEffect;
  effect->habits = habits_.get();
  effect->properties = OfxPropertySet(*habits_);
  effect->properties.Put(prop::kContext, std::string(context_));
  if (habits_->tellsProject) {
    const double told = habits_->projectIsZero ? 0 : 1;
    if (habits_->tellsExtentAlone) {
      effect->properties.Put(prop::kProjectExtent, habits_->width, habits_->height);
    } else {
      effect->properties.Put(prop::kProjectSize, habits_->width * told, habits_->height * told);
      effect->properties.Put(prop::kProjectOffset, habits_->offsetX, habits_->offsetY);
    }
    if (habits_->tellsAspect) effect->properties.Put(prop::kProjectAspect, habits_->pixelAspect);
  }
  if (habits_->tellsRate) effect->properties.Put(prop::kFrameRate, habits_->frameRate);
  for (const auto& [name, clip] : descriptor_->clips) {
    OfxImageClip& made = effect->clips[name];
    made.name = name;
    made.properties = clip.properties;
    made.effect = effect;
    made.properties.Put(prop::kConnected, 1);  // some hosts say so of every clip
    made.properties.Put(prop::kPreMultiplication,
                        std::string(name == clip::kOutput ? habits_->form.alpha : habits_->sourceForm.alpha));
  }
  effect->params.habits = habits_.get();
  for (const auto& param : descriptor_->params.params) {
    auto made = std::make_unique<OfxParam>();
    made->type = param->type;
    made->name = param->name;
    made->properties = param->properties;
    effect->params.params.push_back(std::move(made));
  }
  const OfxStatus created = Do(action::kCreateInstance, effect);
  OfxPlugin* plugin = plugin_;
  const auto habitsKept = habits_;
  std::unique_ptr<OfxImageEffect, std::function<void(OfxImageEffect*)>> made{
      effect, [plugin, habitsKept, created](OfxImageEffect* gone) {
        if (created == kOk) plugin->mainEntry(action::kDestroyInstance, gone, nullptr, nullptr);
        delete gone;
      }};
  if (created != kOk) throw NoInstance{created};
  return made;
}

OfxPropertySet Host::Args(double time) const {
  OfxPropertySet args(*habits_);
  args.Put(prop::kTime, time);
  args.Put(prop::kRenderScale, habits_->scale.x, habits_->scale.y);
  args.Put(prop::kFieldToRender, std::string(field::kNone));
  return args;
}

OfxRectI Host::WholeWindow() const {
  const double perPixel = habits_->scale.x / habits_->pixelAspect;
  const auto floored = [](double v) { return static_cast<int>(std::floor(v + 1e-3)); };
  const auto raised = [](double v) { return static_cast<int>(std::ceil(v - 1e-3)); };
  return {floored(habits_->offsetX * perPixel), floored(habits_->offsetY * habits_->scale.y),
          raised((habits_->offsetX + habits_->width) * perPixel),
          raised((habits_->offsetY + habits_->height) * habits_->scale.y)};
}

Host::Rendered Host::Render(OfxImageEffect& effect, double time, OfxRectI window, Name field) const {
  const int border = habits_->border;
  const bool half = habits_->oneFieldOnly && field != std::string(field::kNone);
  const int upper = field == std::string(field::kUpper) ? 1 : 0;
  if (half) window = {window.x1, window.y1 >> 1, window.x2, (window.y2 + 1 - upper) >> 1};
  Rendered rendered;
  rendered.image =
      std::make_unique<Image>(*habits_, habits_->form,
                              OfxRectI{window.x1 - border, window.y1 - border, window.x2 + border, window.y2 + border});
  if (half) rendered.image->properties.Put(prop::kField, std::string(field));
  OfxPropertySet in = Args(time);
  in.Put(prop::kRenderWindow, window.x1, window.y1, window.x2, window.y2);
  in.Put(prop::kFieldToRender, std::string(field));
  rendering = &effect;
  renderTime = time;
  renderOutput = rendered.image.get();
  rendered.status = Do(action::kRender, &effect, &in);
  rendering = nullptr;
  renderOutput = nullptr;
  const bool whole = half || field == std::string(field::kNone) || field == std::string(field::kBoth);
  rendered.keptToWindow = rendered.image->OnlyWrote(window, [&](int y) { return whole || (y & 1) == upper; });
  return rendered;
}

}  // namespace orvandel::ofx::test
