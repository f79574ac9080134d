// Looks and players that the whole process shares: hosts make instances by the hundred, some one for every frame, and
// what one has read or rendered is there for the next that is like it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "plugins/bridge/look.h"
#include "plugins/bridge/player.h"
#include "plugins/openfx/geometry.h"

namespace orvandel::ofx {

struct MaskChoice {
  std::string file;              // "logo.svg", "logo.svg#id"; empty: none
  bool severalOutlines = false;  // all of them, each drawn by an effect of its own; else the largest
};

// The effect in a layer of the grid's size. Throws InputError, about the mask's file.
std::shared_ptr<const bridge::Look> LookOf(const FrameGrid& grid, const stage::Rational& frameRate,
                                           const MaskChoice& mask);

// A mask's name, and when its file was last written.
std::string StampOf(const std::string& mask);

// Shared by instances with the same values: one goes on where the other stopped.
std::shared_ptr<const bridge::Player> PlayerOf(const std::vector<double>& values);

void ForgetLooksAndPlayers();

}  // namespace orvandel::ofx
