// How much memory a render will take, estimated before it begins.
//
// The figures are bytes a pixel, rounded up: of MP4, MOV and WebM as measured over films of 600 and 1200 pixels a side,
// of MKV at 2000, of APNG a guess. Glow, EXR and sound are not counted. Waves, layers
// and libraries come on top and are small beside large pictures.
#pragma once

#include <cstdint>
#include <string>

#include "cli/render/output.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

struct MemoryNeed {
  std::uint64_t process = 0;  // of each render process
  std::uint64_t encoder = 0;  // of a film's encoder, and the frames that wait for it
  int jobs = 1;
  std::uint64_t Total() const { return process * static_cast<std::uint64_t>(jobs) + encoder; }
};

MemoryNeed EstimateMemory(const stage::Scene& scene, const Output& output, const PictureForm& form, int jobs);

// "3.2 GB".
std::string MemoryText(std::uint64_t bytes);

// InputError when that is more than `maxMemory` bytes; 0: than the machine has.
void RefuseTooMuchMemory(const stage::Scene& scene, const MemoryNeed& need, std::uint64_t maxMemory);

// InputError when no film can have this size.
void RefuseImpossibleFilm(const stage::Scene& scene, const PictureForm& form);

}  // namespace orvandel::cli
