// Waves as vector graphics: an SVG document of a frame.
//
// A stroke is a band along the inside of its outline. SVG strokes lie on both sides of a path, so every path is stroked
// twice as wide and clipped by itself; a profile across the band becomes a mask of nested strokes. Corners of bands
// that are wider than their shape look different from the rendered picture, where such a band crosses itself.
#pragma once

#include <string>
#include <vector>

#include "stage/reports/reported_waves.h"

namespace orvandel::cli {

struct SvgEffect {
  stage::Blend blend = stage::Blend::kNormal;
  double opacity = 1;
  bool reflects = false;  // what lies beyond the picture is mirrored into it
  const std::vector<stage::ReportedWave>* waves = nullptr;
};

// The page is the scene's picture at full size.
std::string WavesAsSvg(const stage::Scene& scene, const std::vector<SvgEffect>& effects);

}  // namespace orvandel::cli
