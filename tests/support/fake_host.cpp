#include "tests/support/fake_host.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "orvandel/wave_report.h"

namespace orvandel::test {
namespace {

constexpr std::uint8_t kFence = 0xC7;
constexpr std::size_t kRedZone = 256;
constexpr OrvStringsRef kStrings = 0x5151;

FakeHost* current = nullptr;

}  // namespace

FencedImage::FencedImage(std::int32_t width, std::int32_t height, std::uint8_t fill, std::int32_t padding,
                         bool upsideDown)
    : width_(width),
      height_(height),
      rowBytes_(width * 4 + padding),
      upsideDown_(upsideDown),
      storage_(static_cast<std::size_t>(rowBytes_) * static_cast<std::size_t>(height) + 2 * kRedZone, kFence) {
  for (std::int32_t y = 0; y < height; ++y) std::memset(Pixel(0, y), fill, static_cast<std::size_t>(width) * 4);
}

std::size_t FencedImage::Offset(std::int32_t x, std::int32_t y) const {
  const auto row = static_cast<std::size_t>(upsideDown_ ? height_ - 1 - y : y);
  return kRedZone + row * static_cast<std::size_t>(rowBytes_) + static_cast<std::size_t>(x) * 4;
}

OrvImage FencedImage::View() {
  return {storage_.empty() ? nullptr : Pixel(0, 0), width_, height_, upsideDown_ ? -rowBytes_ : rowBytes_, 0, nullptr};
}

std::uint8_t* FencedImage::Pixel(std::int32_t x, std::int32_t y) { return storage_.data() + Offset(x, y); }

std::vector<std::uint8_t> FencedImage::Pixels() const {
  std::vector<std::uint8_t> pixels;
  for (std::int32_t y = 0; y < height_; ++y) {
    const auto row = storage_.begin() + static_cast<std::ptrdiff_t>(Offset(0, y));
    pixels.insert(pixels.end(), row, row + width_ * 4);
  }
  return pixels;
}

bool FencedImage::FencesIntact() const {
  for (std::size_t i = 0; i < storage_.size(); ++i) {
    const bool inside = i >= kRedZone && i < storage_.size() - kRedZone &&
                        (i - kRedZone) % static_cast<std::size_t>(rowBytes_) < static_cast<std::size_t>(width_) * 4;
    if (!inside && storage_[i] != kFence) return false;
  }
  return true;
}

// The C callbacks; every one counts itself, may be told to fail, and keeps the ledger.
struct FakeCallbacks {
  static FakeHost& Host(OrvEffectRef ref) { return *static_cast<FakeHost*>(ref); }

  static std::int32_t CheckOut(OrvEffectRef ref, std::int32_t index, std::int32_t time, std::int32_t step,
                               std::int32_t scale, OrvParamDef* definition) {
    FakeHost& host = Host(ref);
    host.lastCheckOut = {index, time, step, scale};
    const Fault* fault = host.FaultAt(Callback::kCheckOut);
    const Leaves leaves = fault == nullptr ? Leaves::kNothing : fault->leaves;
    if (fault != nullptr && leaves == Leaves::kNothing) return fault->code;
    *definition = host.ValueOf(index, time);
    if (leaves == Leaves::kZeroValue) definition->value = {};
    if (leaves == Leaves::kJunk) std::memset(static_cast<void*>(definition), 0xFF, sizeof(*definition));
    if (fault != nullptr) return fault->code;
    ++host.checkOuts_;
    return 0;
  }
  static std::int32_t CheckIn(OrvEffectRef ref, OrvParamDef*) {
    FakeHost& host = Host(ref);
    const Fault* fault = host.FaultAt(Callback::kCheckIn);
    if (--host.checkOuts_ < 0) host.problems_.insert("a parameter was checked in twice");
    return fault == nullptr ? 0 : fault->code;
  }
  static std::int32_t AddParam(OrvEffectRef ref, std::int32_t position, OrvParamDef* definition) {
    FakeHost& host = Host(ref);
    if (const Fault* fault = host.FaultAt(Callback::kAddParam)) return fault->code;
    if (position != -1) host.problems_.insert("addParam without position -1");
    if (host.definitions.empty()) {
      host.definitions.emplace_back();
      host.paramNames.emplace_back();
      host.choices.emplace_back();
    }
    const bool popup = definition->type == ORV_PARAM_POPUP;
    const bool checkbox = definition->type == ORV_PARAM_CHECKBOX;
    host.definitions.push_back(*definition);
    host.choices.emplace_back(popup ? definition->value.popup.choices : "");
    host.paramNames.emplace_back(checkbox ? definition->value.checkbox.label : definition->name);
    return 0;
  }
  static std::int32_t Poll(FakeHost& host, Callback callback) {
    if (host.stopped_) ++host.pollsAfterStop_;
    if (host.onPoll) host.onPoll();
    std::int32_t code = 0;
    for (const Callback each : {callback, Callback::kPoll}) {  // both count; at most one of them is armed
      if (const Fault* fault = host.FaultAt(each)) code = fault->code;
    }
    if (--host.pollsLeft < 0) code = FakeHost::kOutOfPatience;
    host.stopped_ = code != 0;
    return code;
  }
  static std::int32_t Abort(OrvEffectRef ref) { return Poll(Host(ref), Callback::kAbort); }
  static std::int32_t Progress(OrvEffectRef ref, std::int32_t done, std::int32_t total) {
    Host(ref).progressDone.push_back(done);
    Host(ref).progressTotal.push_back(total);
    return Poll(Host(ref), Callback::kProgress);
  }
  static std::int32_t OpenStrings(OrvStringsRef* strings, std::int32_t) {
    if (const Fault* fault = current->FaultAt(Callback::kOpenStrings)) return fault->code;
    const auto& table = *reinterpret_cast<const OrvStringTable*>(*strings);
    current->texts_.clear();
    for (std::uint64_t i = 0; i < table.count; ++i) {
      const auto& [key, words] = table.entries[i];
      const bool wordsZero = words[0] == 0 && words[1] == 0 && words[2] == 0;
      if (!wordsZero || (key == nullptr) != (i + 1 == table.count)) current->problems_.insert("a damaged text table");
    }
    for (std::uint64_t i = 0; i + 1 < table.count; ++i) {
      const char* text = std::strchr(table.entries[i].key, '=') + 1;
      current->texts_.push_back(current->translate ? current->translate(text) : text);
    }
    ++current->stringTables_;
    *strings = kStrings;
    return 0;
  }
  static const char* GetString(OrvStringsRef strings, std::int32_t id, std::int32_t none, std::uint32_t* zero) {
    if (*zero != 0 || none != 0 || strings != kStrings) current->problems_.insert("getString with wrong arguments");
    if (current->FaultAt(Callback::kGetString) != nullptr) return nullptr;
    const bool known = id >= 0 && static_cast<std::size_t>(id) < current->texts_.size();
    return known ? current->texts_[static_cast<std::size_t>(id)].c_str() : "";
  }
  static std::int32_t CloseStrings(OrvStringsRef* strings) {
    if (*strings != kStrings) current->problems_.insert("a text table was closed that was never opened");
    --current->stringTables_;
    return 0;
  }

  static OrvHandle NewHandle(std::uint64_t size) {
    if (current->FaultAt(Callback::kNewHandle) != nullptr) {
      if (current->refused_ == 0) current->refused_ = size;
      return nullptr;
    }
    auto* block = new FakeHost::Block;
    block->bytes.assign(static_cast<std::size_t>(size), current->handleFill);
    block->bytes.resize(block->bytes.size() + kRedZone, kFence);
    block->address = block->bytes.data();
    OrvHandle handle = &block->address;
    current->handles_[handle] = block;
    return handle;
  }
  static FakeHost::Block* Find(OrvHandle handle) {
    const auto found = current->handles_.find(handle);
    if (found != current->handles_.end()) return found->second;
    current->problems_.insert("an unknown handle was used");
    return nullptr;
  }
  static void Lock(OrvHandle handle) {
    if (FakeHost::Block* block = Find(handle)) ++block->locks;
  }
  static void Unlock(OrvHandle handle) {
    FakeHost::Block* block = Find(handle);
    if (block != nullptr && --block->locks < 0) current->problems_.insert("a handle was unlocked too often");
  }
  static void Dispose(OrvHandle handle) {
    FakeHost::Block* block = Find(handle);
    if (block == nullptr) return;
    if (block->locks > 0) current->problems_.insert("a locked handle was disposed");
    const auto fence = block->bytes.end() - static_cast<std::ptrdiff_t>(kRedZone);
    if (std::any_of(fence, block->bytes.end(), [](std::uint8_t byte) { return byte != kFence; })) {
      current->problems_.insert("bytes behind a handle's block were written");
    }
    current->handles_.erase(handle);
    current->resumePoints.erase(handle);
    delete block;
  }
  static void CopyString(char* destination, const char* source) { std::strcpy(destination, source); }

  static std::int32_t Acquire(const char* name, std::int32_t version, const void** service);
  static std::int32_t Release(const char*, std::int32_t) {
    if (--current->services_ < 0) current->problems_.insert("a service was released twice");
    return 0;
  }

  static std::int32_t UpdateUi(OrvEffectRef ref, std::int32_t index, const OrvParamDef* definition) {
    FakeHost& host = Host(ref);
    if (const Fault* fault = host.FaultAt(Callback::kUpdateUi)) return fault->code;
    host.uiUpdates[index] = *definition;
    host.uiOrder.push_back(index);
    return 0;
  }

  static std::int32_t CheckOutPath(OrvEffectRef ref, std::int32_t id, std::int32_t, std::int32_t, std::int32_t,
                                   OrvPathRef* path) {
    FakeHost& host = Host(ref);
    if (const Fault* fault = host.FaultAt(Callback::kCheckOutPath)) return fault->code;
    const bool known = id >= 1 && static_cast<std::size_t>(id) <= host.masks.size();
    if (!known) return 0;  // an answer without a path
    *path = static_cast<OrvPathRef>(id);
    ++host.paths_;
    return 0;
  }
  static std::int32_t CheckInPath(OrvEffectRef ref, std::int32_t id, std::int32_t none, OrvPathRef path) {
    FakeHost& host = Host(ref);
    if (none != 0 || path != static_cast<OrvPathRef>(id)) host.problems_.insert("a path was checked in as another");
    if (host.services_ == 0) host.problems_.insert("a path was checked in without its service");
    if (path == 0 || --host.paths_ < 0) host.problems_.insert("a path was checked in twice");
    return 0;
  }
  static const FakePath& Path(FakeHost& host, OrvPathRef path) {
    return host.masks[static_cast<std::size_t>(path - 1)];
  }
  static std::int32_t IsOpen(OrvEffectRef ref, OrvPathRef path, std::int32_t* open) {
    if (const Fault* fault = Host(ref).FaultAt(Callback::kIsOpen)) return fault->code;
    if (Path(Host(ref), path).open) *open = 1;  // what is 0 anyway may stay unwritten
    return 0;
  }
  static std::int32_t SegmentCount(OrvEffectRef ref, OrvPathRef path, std::int32_t* count) {
    if (const Fault* fault = Host(ref).FaultAt(Callback::kSegmentCount)) return fault->code;
    const std::size_t size = Path(Host(ref), path).points.size();
    if (size != 0) *count = static_cast<std::int32_t>(size);
    return 0;
  }
  static std::int32_t PrepareQuery(OrvEffectRef ref, OrvPathRef, std::int32_t segment, std::int32_t steps,
                                   OrvLengthQuery* query) {
    if (steps != 500) Host(ref).problems_.insert("a length query of other than 500 steps");
    if (const Fault* fault = Host(ref).FaultAt(Callback::kPrepareQuery)) return fault->code;
    ++Host(ref).queries_;
    *query = static_cast<OrvLengthQuery>(segment + 1);
    return 0;
  }
  static double Distorted(FakeHost& host, double answer) {
    return host.distortPaths ? host.distortPaths(answer) : answer;
  }
  static std::int32_t SegmentLength(OrvEffectRef ref, OrvPathRef path, std::int32_t segment, OrvLengthQuery,
                                    double* length) {
    if (const Fault* fault = Host(ref).FaultAt(Callback::kSegmentLength)) return fault->code;
    const auto& points = Path(Host(ref), path).points;
    const auto& a = points[static_cast<std::size_t>(segment)];
    const auto& b = points[static_cast<std::size_t>(segment + 1) % points.size()];
    *length = Distorted(Host(ref), std::hypot(b.first - a.first, b.second - a.second));
    return 0;
  }
  static std::int32_t PointAtLength(OrvEffectRef ref, OrvPathRef path, OrvLengthQuery, std::int32_t segment,
                                    double distance, double* x, double* y) {
    if (const Fault* fault = Host(ref).FaultAt(Callback::kPointAtLength)) return fault->code;
    const auto& points = Path(Host(ref), path).points;
    const auto& a = points[static_cast<std::size_t>(segment)];
    const auto& b = points[static_cast<std::size_t>(segment + 1) % points.size()];
    const double length = std::hypot(b.first - a.first, b.second - a.second);
    const double t = length > 0 ? distance / length : 0;
    *x = Distorted(Host(ref), a.first + (b.first - a.first) * t);
    *y = Distorted(Host(ref), a.second + (b.second - a.second) * t);
    return 0;
  }
  static std::int32_t ReportWave(OrvEffectRef ref, const OrvWave* wave) {
    FakeHost& host = Host(ref);
    for (std::int32_t i = 0; i < wave->pointCount; ++i) {
      if (!std::isfinite(wave->points[i].x) || wave->size <= 0)
        host.problems_.insert("an impossible wave was reported");
    }
    host.stopped_ = true;  // unless it is answered: it may throw
    const Fault* fault = host.FaultAt(Callback::kReportWave);
    host.stopped_ = fault != nullptr;
    return fault == nullptr ? 0 : fault->code;
  }
  static std::int32_t ReleaseQuery(OrvEffectRef ref, OrvPathRef, std::int32_t, OrvLengthQuery) {
    if (--Host(ref).queries_ < 0) Host(ref).problems_.insert("a length query was released twice");
    return 0;
  }
};

namespace {

constexpr OrvParamUtilsService kParamUtils = {&FakeCallbacks::UpdateUi};
constexpr OrvPathQueryService kPathQuery = {nullptr, nullptr, &FakeCallbacks::CheckOutPath,
                                            &FakeCallbacks::CheckInPath};
constexpr OrvPathDataService kPathData = {
    &FakeCallbacks::IsOpen,        &FakeCallbacks::SegmentCount,  nullptr, &FakeCallbacks::PrepareQuery,
    &FakeCallbacks::SegmentLength, &FakeCallbacks::PointAtLength, nullptr, &FakeCallbacks::ReleaseQuery};
constexpr OrvServiceTable kServices = {&FakeCallbacks::Acquire, &FakeCallbacks::Release};
constexpr OrvUtilities kUtilities = {&FakeCallbacks::NewHandle, &FakeCallbacks::Lock, &FakeCallbacks::Unlock,
                                     &FakeCallbacks::Dispose, &FakeCallbacks::CopyString};
constexpr OrvCallbacks kCallbacks = {
    &FakeCallbacks::CheckOut, &FakeCallbacks::CheckIn,     &FakeCallbacks::AddParam,  &FakeCallbacks::Abort,
    &FakeCallbacks::Progress, &FakeCallbacks::OpenStrings, &FakeCallbacks::GetString, &FakeCallbacks::CloseStrings};

}  // namespace

std::int32_t FakeCallbacks::Acquire(const char* name, std::int32_t version, const void** service) {
  static constexpr OrvChangeStampService kChangeStamp = {[](OrvEffectRef ref, std::uint64_t* stamp) {
    *stamp = Host(ref).changeStamp;
    return 0;
  }};
  static constexpr OrvProgressIntervalService kInterval = {[](OrvEffectRef ref, std::int32_t* rows) {
    *rows = Host(ref).rowsBetweenReports;
    return 0;
  }};
  static constexpr OrvWaveReportService kReport = {&ReportWave};
  static constexpr OrvResumePointsService kResume = {
      [](OrvEffectRef, std::int32_t tick, std::int32_t, std::int32_t, std::int32_t* wanted) {
        *wanted = tick % 2;
        return 0;
      },
      [](OrvEffectRef ref, std::int32_t tick, const void* bytes, std::uint64_t size) {
        const auto* from = static_cast<const std::uint8_t*>(bytes);
        Host(ref).resumePoints[Host(ref).in.sequenceData][tick].assign(from, from + size);
        return 0;
      },
      [](OrvEffectRef ref, std::int32_t atOrBefore, std::int32_t* tick, const void** bytes, std::uint64_t* size) {
        auto& points = Host(ref).resumePoints[Host(ref).in.sequenceData];
        const auto after = points.upper_bound(atOrBefore);
        if (after == points.begin()) return 0;
        *tick = std::prev(after)->first;
        *bytes = std::prev(after)->second.data();
        *size = std::prev(after)->second.size();
        return 0;
      }};
  const auto isOffered = [name](const char* one, bool offered) { return offered && std::strcmp(name, one) == 0; };
  const bool isStamp = isOffered(ORV_CHANGE_STAMP_SERVICE, current->changeStamp != 0);
  const bool isInterval = isOffered(ORV_PROGRESS_INTERVAL_SERVICE, current->rowsBetweenReports != 0);
  const bool isReport = isOffered(ORV_WAVE_REPORT_SERVICE, current->hearsWaves);
  const bool isResume = isOffered(ORV_RESUME_POINTS_SERVICE, current->keepsResumePoints);
  const Fault* fault = current->FaultAt(Callback::kAcquire);
  const bool isNeeded = std::strncmp(name, "PF ", 3) == 0;
  if (!isNeeded && !isStamp && !isInterval && !isReport && !isResume) return 1;
  if (fault != nullptr && isNeeded) current->neededRefused_ = true;
  if (fault != nullptr && fault->code != 0) return fault->code;
  ++current->services_;
  *service = nullptr;
  if (fault != nullptr) return 0;
  if (isStamp) *service = &kChangeStamp;
  if (isInterval) *service = &kInterval;
  if (isReport) *service = &kReport;
  if (isResume) *service = &kResume;
  if (std::strcmp(name, ORV_PARAM_UTILS_SERVICE) == 0 && version == 3) *service = &kParamUtils;
  if (std::strcmp(name, ORV_PATH_QUERY_SERVICE) == 0 && version == 1) *service = &kPathQuery;
  if (std::strcmp(name, ORV_PATH_DATA_SERVICE) == 0 && version == 1) *service = &kPathData;
  if (*service != nullptr) return 0;
  --current->services_;
  return 1;
}

FakeHost::FakeHost(std::int32_t width, std::int32_t height, OrvFilterMain entry) : entry_(entry) {
  current = this;
  in.hostVersionMajor = 13;
  in.hostVersionMinor = 15;
  in.quality = 1;
  in.width = width;
  in.height = height;
  in.downsampleX = in.downsampleY = in.pixelAspect = {1, 1};
  in.utilities = &kUtilities;
  in.services = &kServices;
  output = FencedImage(width, height);
  input = FencedImage(width, height);
}

FakeHost::~FakeHost() {
  // The instance must not outlive the memory that its handles stand for. A module of its own may be gone already.
  if (in.globalData != nullptr && entry_ == &FilterMain) {
    Disarm();
    Send(ORV_GLOBAL_SET_DOWN);
  }
  for (auto& [handle, block] : handles_) delete block;
  if (current == this) current = nullptr;
}

const Fault* FakeHost::FaultAt(Callback callback) {
  ++calls_[static_cast<std::size_t>(callback)];
  for (Fault& fault : faults_) {
    if (fault.callback != callback) continue;
    const std::int64_t left = fault.at--;
    if (left > 0 || (left < 0 && !fault.persistent)) continue;
    struck_ = true;
    if (fault.throws) throw std::runtime_error("a callback of the host");
    return &fault;
  }
  return nullptr;
}

void FakeHost::ArmAll(std::vector<Fault> faults) {
  faults_ = std::move(faults);
  std::erase_if(faults_, [](const Fault& fault) { return fault.at < 0; });
  struck_ = false;
  neededRefused_ = false;
  refused_ = 0;
}

void FakeHost::ResetCalls() { std::fill(calls_.begin(), calls_.end(), 0); }

void FakeHost::FillRecords() {
  in.callbacks = kCallbacks;
  in.effectRef = this;
  in.timeScale = timeScale;
  in.timeStep = timeScale / 30;
  in.paramTimeStep = timeScale / 60;
  in.duration = duration;
  out.outFlags = out.outFlags2 = 0;
  out.paramCount = paramCountBefore;
  std::memset(out.message, 0, sizeof(out.message));
  out.globalData = in.globalData;
  out.sequenceData = in.sequenceData;
}

std::int32_t FakeHost::Send(std::int32_t selector, void* extra, bool withParams, bool withOutput) {
  current = this;
  FillRecords();
  stopped_ = false;
  if (selector == ORV_PARAM_SET_UP) {
    definitions.clear();
    paramNames.clear();
    choices.clear();
  }
  std::vector<OrvParamDef> values;
  std::vector<OrvParamDef*> pointers;
  if (withParams) {
    for (std::size_t i = 0; i < definitions.size(); ++i) {
      values.push_back(ValueOf(static_cast<std::int32_t>(i), in.currentTime));
      if (values.back().type == ORV_PARAM_LAYER && i != 0) values.back().value.layer.image = OrvImage{};
    }
    for (OrvParamDef& value : values) pointers.push_back(&value);
  }
  OrvImage image = lentOutput ? *lentOutput : output.View();
  const std::int32_t code =
      entry_(selector, &in, &out, withParams ? pointers.data() : nullptr, withOutput ? &image : nullptr, extra);
  in.globalData = out.globalData;
  in.sequenceData = out.sequenceData;
  return code;
}

std::int32_t FakeHost::SetUp() {
  for (const std::int32_t selector : {ORV_GLOBAL_SET_UP, ORV_PARAM_SET_UP, ORV_SEQUENCE_SET_UP}) {
    if (const std::int32_t code = Send(selector); code != 0) return code;
  }
  return 0;
}

std::int32_t FakeHost::Render(std::int32_t hostTime) {
  in.currentTime = hostTime;
  return Send(ORV_RENDER, nullptr, passParamsToRender, true);
}

std::vector<std::uint8_t> FakeHost::FreshPicture(std::int32_t hostTime) {
  const OrvHandle kept = in.sequenceData;
  const FencedImage keptOutput = output;
  in.sequenceData = nullptr;
  Send(ORV_SEQUENCE_SET_UP);
  Render(hostTime);
  const auto picture = output.Pixels();
  Send(ORV_SEQUENCE_SET_DOWN);
  in.sequenceData = kept;
  output = keptOutput;
  return picture;
}

std::int32_t FakeHost::SetDown() {
  const std::int32_t sequence = Send(ORV_SEQUENCE_SET_DOWN);
  const std::int32_t global = Send(ORV_GLOBAL_SET_DOWN);
  return sequence != 0 ? sequence : global;
}

std::int32_t FakeHost::IndexOf(std::int32_t paramId) const {
  for (std::size_t i = 1; i < definitions.size(); ++i) {
    if (definitions[i].id == 2 * paramId) return static_cast<std::int32_t>(i);
  }
  return paramId == 0 ? 0 : -1;
}

OrvParamDef FakeHost::ValueOf(std::int32_t hostIndex, std::int32_t hostTime) {
  OrvParamDef value{};
  if (hostIndex == 0) {
    value.value.layer.image = lentInput ? *lentInput : input.View();
    return value;
  }
  value = definitions.at(static_cast<std::size_t>(hostIndex));
  if (value.type == ORV_PARAM_POINT) {
    const auto perCent = [](std::int32_t extent) { return static_cast<OrvFixed>(std::int64_t{extent} * 65536 / 2); };
    value.value.point.x = perCent(in.width);
    value.value.point.y = perCent(in.height);
  }
  if (value.type == ORV_PARAM_LAYER) {
    value.value.layer.image = sourceLayer > 0 ? layers[static_cast<std::size_t>(sourceLayer - 1)].View() : OrvImage{};
    if (sourceLayer > 0 && lentLayer) value.value.layer.image = *lentLayer;
  }
  const auto function = values_.find(hostIndex);
  if (function != values_.end()) function->second(hostTime, value);
  return value;
}

void FakeHost::SetValue(std::int32_t paramId, ValueFunction function) {
  values_[IndexOf(paramId)] = std::move(function);
}

FakeHost::ValueFunction FakeHost::ValueFunctionOf(std::int32_t paramId) const {
  const auto found = values_.find(IndexOf(paramId));
  return found == values_.end() ? nullptr : found->second;
}

void FakeHost::SetWord(std::int32_t paramId, std::int32_t word) {
  SetValue(paramId, [word](std::int32_t, OrvParamDef& d) { std::memcpy(&d.value, &word, sizeof(word)); });
}

void FakeHost::SetFixed(std::int32_t paramId, double value) {
  SetWord(paramId, static_cast<std::int32_t>(value * 65536.0));
}

void FakeHost::SetPoint(std::int32_t paramId, double x, double y) {
  SetValue(paramId, [x, y](std::int32_t, OrvParamDef& d) {
    d.value.point.x = static_cast<OrvFixed>(x * 65536.0);
    d.value.point.y = static_cast<OrvFixed>(y * 65536.0);
  });
}

bool FakeHost::Balanced(std::string* why) const {
  std::string text;
  for (const std::string& problem : problems_) text += problem + "; ";
  const auto outstanding = [&](std::int32_t count, const char* what) {
    if (count != 0) text += std::to_string(count) + " " + what + " outstanding; ";
  };
  outstanding(checkOuts_, "check-outs");
  outstanding(services_, "services");
  outstanding(paths_, "paths");
  outstanding(queries_, "length queries");
  if (why != nullptr) *why = text;
  return text.empty();
}

bool FakeHost::NothingLeft(std::string* why) const {
  std::string text;
  Balanced(&text);
  if (!handles_.empty()) text += std::to_string(handles_.size()) + " handles outstanding; ";
  if (stringTables_ != 0) text += "a string table is open; ";
  if (why != nullptr) *why = text;
  return text.empty();
}

}  // namespace orvandel::test
