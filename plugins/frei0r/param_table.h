// The plug-ins' parameters: the effect's own, as frei0r can say them, in an order that never changes.
//
// Hosts store parameters by their place, and FFmpeg takes them by place alone. So the order is a promise: it goes by
// how often people set them, and new ones come at the end (docs/plugins.md).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plugins/frei0r/value_curve.h"
#include "stage/scene/param_catalog.h"

namespace orvandel::frei0r {

// What a parameter is beside one of the effect's.
enum class Role { kEffect, kScene, kTimeUnit, kFrameRate, kKeepInput };

struct Param {
  enum class Kind { kNumber, kAngle, kPointX, kPointY, kSwitch, kColor, kWords, kMask, kText };

  std::string name;
  Role role = Role::kEffect;
  Kind kind = Kind::kText;
  const stage::ParamInfo* info = nullptr;  // the effect's; null for other roles
  ValueCurve curve;                        // of numbers, angles and points
  std::vector<std::string> words;          // of kWords, in the order of their numbers from 1
  double defaultNumber = 0;                // 0..1; switches 0 or 1
  std::uint32_t defaultColor = 0;          // 0xrrggbb
  std::string defaultText;
  std::string explanation;
  std::string unit;  // "seconds"; empty: none
};

// Hosts that write every parameter down, touched or not, write one of these for what is not touched: beside the
// default, colours by one of 255 steps in blue; a switch that is neither on nor off.
inline constexpr double kHair = 1e-5, kNoSwitch = 0.25;

// The effect's own set-up is asked once. Throws WorkError when the effect cannot be loaded.
const std::vector<Param>& Params(bool isFilter);
// From 1; 0: neither a word, whatever its case and blanks, nor a number.
std::int32_t WordOf(const std::vector<std::string>& words, const std::string& text);

}  // namespace orvandel::frei0r
