#include "stroke_case.h"

#include <cstring>
#include <memory>

#include "effect/params/param_ids.h"

namespace orvandel {
namespace {

struct Reports {
  std::vector<ProgressReport> made;
  int stopAt;
  std::int32_t rowsBetween;
};

std::int32_t RecordProgress(OrvEffectRef effectRef, std::int32_t done, std::int32_t total) {
  auto& reports = *reinterpret_cast<Reports*>(effectRef);
  reports.made.push_back({done, total});
  return static_cast<int>(reports.made.size()) - 1 == reports.stopAt ? kStopCode : 0;
}

// Offers the one service that a stroke asks for.
std::int32_t AcquireInterval(const char* name, std::int32_t, const void** service) {
  static constexpr OrvProgressIntervalService kInterval = {[](OrvEffectRef effectRef, std::int32_t* rows) {
    *rows = reinterpret_cast<const Reports*>(effectRef)->rowsBetween;
    return 0;
  }};
  *service = &kInterval;
  return std::strcmp(name, ORV_PROGRESS_INTERVAL_SERVICE);
}
constexpr OrvServiceTable kServices = {&AcquireInterval, [](const char*, std::int32_t) { return 0; }};

void SetParam(EffectContext& context, ParamId id, std::int32_t type, std::int32_t value) {
  context.globals->paramIndexTable[static_cast<std::size_t>(id)] = id;
  ParamSlot& slot = context.slots[static_cast<std::size_t>(id)];
  slot.definition.type = type;
  slot.definition.value.integer.value = value;
  slot.hostIndex = id;
  slot.filled = true;
}

// Of the list's first `most` waves.
StrokeOutcome DrawSome(WaveList& list, const StrokeCase& stroke, Picture& picture, std::size_t most) {
  Reports reports{{}, stroke.stopAtReport, stroke.rowsBetweenReports};
  OrvInRecord in{};
  in.callbacks.progress = RecordProgress;
  in.effectRef = reinterpret_cast<OrvEffectRef>(&reports);
  in.quality = 1;
  in.width = stroke.layerWidth;
  in.height = stroke.layerHeight;
  in.downsampleX = stroke.downsampleX;
  in.downsampleY = stroke.downsampleY;
  in.pixelAspect = stroke.pixelAspect;
  in.origin = stroke.outputOrigin;

  const auto globals = std::make_unique<GlobalData>();
  const auto context = std::make_unique<EffectContext>();
  context->inRecord = &in;
  context->globals = globals.get();
  context->services.Initialise(&kServices);
  SetParam(*context, kRenderQuality, ORV_PARAM_INTEGER, stroke.quality);
  SetParam(*context, kReflection, ORV_PARAM_CHECKBOX, stroke.reflection ? 1 : 0);

  StrokeOutcome outcome;
  Canvas canvas(picture.View(), Canvas::Ground::kAsItIs);
  WaveList::Position position = list.waves.begin();
  for (; most > 0 && outcome.result == 0 && position != list.waves.end(); --most) {
    outcome.result = DrawWave(list, *context, canvas, position);
  }
  outcome.aborted = context->aborted;
  outcome.reports = reports.made;
  return outcome;
}

}  // namespace

Wave WaveOf(const StrokeCase& stroke) {
  Wave wave;
  wave.placed = stroke.points;
  wave.age = 1;
  wave.lifespan = 2;
  wave.startWidth = wave.endWidth = stroke.width;
  wave.opacity = stroke.opacity;
  wave.profile = stroke.profile;
  wave.color = stroke.color;
  wave.origin = stroke.origin;
  return wave;
}

StrokeOutcome DrawFront(WaveList& list, const StrokeCase& stroke, Picture& picture) {
  return DrawSome(list, stroke, picture, 1);
}

StrokeOutcome DrawAll(WaveList& list, const StrokeCase& stroke, Picture& picture) {
  return DrawSome(list, stroke, picture, list.waves.size());
}

StrokeOutcome Draw(const StrokeCase& stroke, Picture& picture) {
  WaveList list;
  list.Append() = WaveOf(stroke);
  return DrawFront(list, stroke, picture);
}

}  // namespace orvandel
