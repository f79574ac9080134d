// The in-record and out-record of one command, filled.
#pragma once

#include <cstdint>

#include "orvandel/effect.h"
#include "stage/module/host_answers.h"
#include "stage/scene/output_scale.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// What the host says it is: the interface that the effect was written for.
inline constexpr std::int16_t kHostVersionMajor = 13, kHostVersionMinor = 15;

// The part of the in-record that differs from command to command. Filled the same for every kind of command.
struct CommandTime {
  std::int32_t currentTime = 0, timeStep = 1000, duration = 30000, timeScale = 30000;
  std::int32_t width = 1, height = 1;  // of the layer at full size
  Rational downsampleX{1, 1}, downsampleY{1, 1};
  Rational pixelAspect{1, 1};
  bool highQuality = true;

  static CommandTime Of(const Scene& scene, std::int32_t hostTime, const OutputScale& scale, bool highQuality);
};

OrvInRecord MakeInRecord(HostAnswers& answers, const CommandTime& when, OrvHandle globalData, OrvHandle sequenceData);

// Zero but for the two handles.
OrvOutRecord MakeOutRecord(OrvHandle globalData, OrvHandle sequenceData);

// The message field up to its NUL, its end when there is none.
std::string MessageOf(const OrvOutRecord& record);

}  // namespace orvandel::stage
