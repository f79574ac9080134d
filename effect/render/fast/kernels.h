// The kernels of the fast drawing code, compiled once per instruction set from the same source.
#pragma once

#include "effect/render/fast/job/stroke_job.h"

namespace orvandel::fast {

struct Kernels {
  // False when the stroke is not for this code: points or offset points not finite or out of range, or edges so flat
  // that their slope is no number to count on.
  bool (*setUp)(SetUpJob& job);
  // Before the first band.
  void (*begin)(DrawJob& job);
  // Bands 0 to bandCount - 1 of the job, one after the other.
  void (*drawBand)(DrawJob& job, std::int32_t band);
};

extern const Kernels kPortableKernels, kAvx2Kernels, kAvx512Kernels;

}  // namespace orvandel::fast
