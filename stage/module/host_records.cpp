#include "stage/module/host_records.h"

#include <algorithm>
#include <string>

#include "stage/module/host_services.h"

namespace orvandel::stage {
namespace {

OrvRatio RatioOf(const Rational& ratio) {
  return {static_cast<std::int32_t>(ratio.num), static_cast<std::uint32_t>(ratio.den)};
}

}  // namespace

CommandTime CommandTime::Of(const Scene& scene, std::int32_t hostTime, const OutputScale& scale, bool highQuality) {
  const std::int32_t duration = scene.time.preroll + scene.time.duration;
  CommandTime when{hostTime, scene.time.timeStep, duration, scene.time.timeScale};
  when.width = scale.layerWidth;
  when.height = scale.layerHeight;
  when.downsampleX = scale.x;
  when.downsampleY = scale.y;
  when.pixelAspect = scene.pixelAspect;
  when.highQuality = highQuality;
  return when;
}

OrvInRecord MakeInRecord(HostAnswers& answers, const CommandTime& when, OrvHandle globalData, OrvHandle sequenceData) {
  OrvInRecord record{};
  record.callbacks = HostCallbacks();
  record.utilities = HostUtilities();
  record.effectRef = &answers;
  record.hostVersionMajor = kHostVersionMajor;
  record.hostVersionMinor = kHostVersionMinor;
  record.quality = when.highQuality ? 1 : 0;
  record.currentTime = when.currentTime;
  record.timeStep = when.timeStep;
  record.duration = when.duration;
  record.paramTimeStep = when.timeStep;
  record.timeScale = when.timeScale;
  record.width = when.width;
  record.height = when.height;
  record.downsampleX = RatioOf(when.downsampleX);
  record.downsampleY = RatioOf(when.downsampleY);
  record.pixelAspect = RatioOf(when.pixelAspect);
  record.globalData = globalData;
  record.sequenceData = sequenceData;
  record.services = HostServiceTable();
  return record;
}

OrvOutRecord MakeOutRecord(OrvHandle globalData, OrvHandle sequenceData) {
  OrvOutRecord record{};
  record.globalData = globalData;
  record.sequenceData = sequenceData;
  return record;
}

std::string MessageOf(const OrvOutRecord& record) {
  return {record.message, std::find(record.message, record.message + ORV_MESSAGE_BYTES, '\0')};
}

}  // namespace orvandel::stage
