// How much memory a render will take, estimated before it begins.
//
// The figures are bytes a pixel: of pictures, effects, blur, glow and media as measured at 1 to 12 megapixels, of films
// at 1 to 4 megapixels over 70 frames. Of about 40 settings measured none took more than the estimate, and none above a
// megapixel less than half of it; below that the fixed part decides. Waves come on top and are small beside large
// pictures; so does what grows with a film's length, its compressed frames in an animated WebP.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/render/output.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

struct MemoryNeed {
  std::uint64_t process = 0;  // of each render process
  std::uint64_t encoder = 0;  // of this one: a film's encoder, and the frames that wait for it
  int jobs = 1;
  std::uint64_t Total() const { return process * static_cast<std::uint64_t>(jobs) + encoder; }
};

// One medium that a render opens, at its own size.
struct MediumSize {
  std::uint64_t pixels = 0;
  bool moves = false;
  bool isTraced = false;   // its pictures go into the effect, not only behind it
  bool keepsSize = false;  // it is not stretched to the scene's size
};

// Opens every medium that the scene's pictures are made of: InputError when one cannot be read.
std::vector<MediumSize> MediaSizes(const stage::Scene& scene, const stage::ParamCatalog& catalog);

// `codec`: as FilmOptions::format.
MemoryNeed EstimateMemory(const stage::Scene& scene, const std::vector<MediumSize>& media, const Output& output,
                          const PictureForm& form, const std::string& codec, int jobs);

// "3.2 GB".
std::string MemoryText(std::uint64_t bytes);

// Bytes that a render may take: `maxMemory`; 0: what the machine has.
std::uint64_t AllowedMemory(std::uint64_t maxMemory);

// InputError when that is more than AllowedMemory.
void RefuseTooMuchMemory(const stage::Scene& scene, const MemoryNeed& need, std::uint64_t maxMemory);

// InputError when no film can have this size.
void RefuseImpossibleFilm(const stage::Scene& scene, const PictureForm& form);

}  // namespace orvandel::cli
