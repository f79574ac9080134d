// What an editor knows and the look does not: its parameters' values over time, and its pictures.
//
// All of it is asked on the thread that renders, during the call, at the very times that the effect asks for.
#pragma once

#include <cstdint>

#include "stage/picture/picture.h"
#include "stage/scene/scene.h"

namespace orvandel::bridge {

// A time of the look's clock; 0 is its first frame, and a preroll lies before it.
struct LookTime {
  std::int32_t units = 0;
  std::int32_t unitsPerSecond = 1;

  double Seconds() const { return static_cast<double>(units) / static_cast<double>(unitsPerSecond); }
  // Rounded once, so that whole frames are whole numbers on a clock that was made for the rate.
  double Frames(const stage::Rational& rate) const {
    return static_cast<double>(units * rate.num) / static_cast<double>(unitsPerSecond * rate.den);
  }
};

class ParamSource {
 public:
  enum class Origin {
    kLook,       // what the look says holds
    kConstant,   // one value at all times
    kConstantX,  // of a point: the other coordinate is the look's
    kConstantY,
    kVarying,  // to be asked at every time
  };
  virtual ~ParamSource() = default;
  // Parameters are told apart by the effect's own host indices (Catalog()). Asked once a frame.
  virtual Origin OriginOf(std::int32_t hostIndex) const = 0;
  // Of the parameter's kind (stage/scene/scene.h): points in fractions of the frame, 0..1 inside it; the Source Layer 0
  // for the input, 1 for the further layer; a mask by its place among the look's, from 1. Held inside the registered
  // range by the bridge. A constant is asked at time 0.
  virtual stage::Value ValueAt(std::int32_t hostIndex, const LookTime& time) const = 0;
};

class PictureSource {
 public:
  enum class Layer { kInput, kFurther };
  virtual ~PictureSource() = default;
  virtual bool Has(Layer layer) const = 0;
  // Whether it shows different pictures at different times.
  virtual bool Moves(Layer layer) const = 0;
  // Of the frame's size; anything else is stretched to it. An empty picture stands for a transparent one.
  virtual stage::Picture PictureAt(Layer layer, const LookTime& time) = 0;
};

}  // namespace orvandel::bridge
