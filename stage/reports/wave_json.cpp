#include "stage/reports/wave_json.h"

#include <fmt/format.h>

#include <iterator>
#include <nlohmann/json.hpp>

#include "stage/reports/param_text.h"
#include "stage/scene/keyframes.h"

namespace orvandel::stage {
namespace {

using nlohmann::ordered_json;

// The effect computes in single precision: its numbers with no more digits than they need.
double Shortest(float value) { return std::stod(fmt::format("{}", value)); }

std::string ChoiceOf(const ParamCatalog& catalog, const char* parameter, std::int32_t number) {
  const ParamInfo* info = catalog.Find(parameter);
  const auto place = static_cast<std::size_t>(number) - 1;
  return info != nullptr && place < info->choices.size() ? info->choices[place] : std::to_string(number);
}

void AddOutline(std::string& object, const ReportedWave& wave) {
  object.back() = ',';  // in place of the closing brace
  auto out = std::back_inserter(object);
  fmt::format_to(out, "\"outline\":[");
  const char* comma = "";
  for (const OrvWavePoint& point : wave.outline) {
    const PointValue at = wave.OnLayer(point);
    fmt::format_to(out, "{}[{},{}]", comma, static_cast<float>(at.x), static_cast<float>(at.y));
    comma = ",";
  }
  object += "]}";
}

}  // namespace

std::string WaveJson(const Scene& scene, const ParamCatalog& catalog, const WavePlace& place,
                     const ReportedWave& reported, bool withOutline) {
  const OrvWave& wave = reported.wave;
  const ordered_json json{{"frame", place.frame},
                          {"seconds", SecondsOf(place.frame * scene.time.timeStep, scene.time.timeScale)},
                          {"effect", place.effect + 1},
                          {"wave", place.number},
                          {"waveType", ChoiceOf(catalog, "Wave Type", wave.waveType)},
                          {"age", Shortest(wave.age)},
                          {"lifespan", Shortest(wave.lifespan)},
                          {"centre", {Shortest(wave.centreX), Shortest(wave.centreY)}},
                          {"size", Shortest(wave.size)},
                          {"angle", Shortest(wave.angle)},
                          {"strokeWidth", Shortest(wave.width)},
                          {"profile", ChoiceOf(catalog, "Profile", wave.profile)},
                          {"opacity", Shortest(wave.opacity)},
                          {"color", ColorText(reported.Color())}};
  std::string object = json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
  if (withOutline) AddOutline(object, reported);
  return object;
}

}  // namespace orvandel::stage
