// Strokes and pictures drawn by lot, the same for the same seed: every kind of outline, quality, profile and placement
// that a host can ask for, with the odd ones more often than in life.
#pragma once

#include <string>

#include "stroke_case.h"
#include "tests/support/dice.h"

namespace orvandel {

using test::Dice;

StrokeCase RandomStroke(Dice& dice);

// Bytes of every kind, clear pixels among them, so that the blend's order shows; padding behind the rows.
Picture RandomPicture(Dice& dice);

std::string Describe(const StrokeCase& stroke);

}  // namespace orvandel
