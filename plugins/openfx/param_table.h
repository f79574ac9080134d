// The effect's parameters as hosts show them: made from what the effect itself registers, with a few that only a host
// needs after them.
//
// A project keeps parameters by name, and choices by their place or by their text: names and choices are promises. A
// name is that of the effect in lowerCamelCase ("Pre-Blur" is preBlur, "Lifespan (sec)" lifespanSec); what is new comes
// after what there is.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stage/scene/param_catalog.h"

namespace orvandel::ofx {

enum class Kind { kInteger, kNumber, kAngle, kSwitch, kChoice, kColor, kPoint, kFile };

struct ShownParam {
  Kind kind = Kind::kNumber;
  std::int32_t hostIndex = 0;  // of the effect's parameter; 0: the plug-in's own
  std::string name, label, hint, group;
  double lowest = 0, highest = 0, sliderLow = 0, sliderHigh = 0;  // of numbers
  int digits = 0;
  std::vector<double> defaults{0};   // one a component; a point's as a share of the project, y upward; colours 0..1
  std::vector<std::string> choices;  // a choice's value is the place, from 0
  bool animates = true;
};
struct ShownGroup {
  std::string name, label;
  bool open = false;
};
struct ParamTable {
  std::vector<ShownGroup> groups;  // in the order in which their first parameter comes
  std::vector<ShownParam> params;

  const ShownParam* Find(const std::string& name) const;
};

// The plug-in's own.
inline constexpr const char *kComposite = "composite", *kStartFrame = "startFrame", *kFrameRateParam = "frameRate";
// The effect's, which the plug-in gives choices of its own.
inline constexpr const char* kSourceLayer = "sourceLayer";
// What Composite and Source Layer offer, by place.
enum class CompositeChoice { kOverSource, kWavesAlone };
enum class SourceLayerChoice { kAutomatic, kSource, kLayer };

// The clip that is traced in the Source's place.
inline constexpr const char* kLayerClip = "Layer";

// Of a group that the effect calls so; empty: none.
std::string GroupName(const std::string& label);
ParamTable MakeParamTable(const stage::ParamCatalog& catalog);

}  // namespace orvandel::ofx
