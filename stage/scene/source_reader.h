// A number that follows a rule over time, in the scene file: {"random": ...}, {"audio": ...}, {"expression": "..."}.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "stage/scene/json_place.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"
#include "stage/scene/scene_files.h"
#include "stage/sources/audio_envelope.h"
#include "stage/sources/expression.h"

namespace orvandel::stage {

// Inside the valid range of a slider; inside the words of an angle or a coordinate.
double ReadNumberOf(const JsonPlace& place, const ParamInfo& info);

// Whether numbers of such a parameter can come from a source, as they are or one for each coordinate.
bool TakesSources(const ParamInfo& info);

class SourceReader {
 public:
  // Both must outlive the reader. The constants of expressions are set once the scene's frame is read.
  explicit SourceReader(const SceneFiles& files) : files_(files) {}
  void SetConstants(const ExpressionConstants& constants) { constants_ = constants; }

  // An object with one of the three members. `coordinate` is 0 but for the second of a point.
  NumberSource Read(const JsonPlace& place, const ParamInfo& info, std::size_t coordinate);

 private:
  RandomSource ReadRandom(const JsonPlace& place, const ParamInfo& info, std::size_t coordinate) const;
  AudioSource ReadAudio(const JsonPlace& place, const ParamInfo& info);
  ExpressionSource ReadExpression(const JsonPlace& place) const;

  const SceneFiles& files_;
  ExpressionConstants constants_;
  // A sound that several parameters follow in the same way is decoded once.
  std::map<std::pair<std::filesystem::path, AudioShape>, std::shared_ptr<const AudioEnvelope>> envelopes_;
};

}  // namespace orvandel::stage
