// Which parameters a person can set: those of the other wave types are dimmed, as the effect itself says.
#pragma once

#include "plugins/openfx/instance.h"

namespace orvandel::ofx {

// By the choices and switches that hold at a time. Does nothing where that cannot be found out.
void ShowWhatIsActive(Instance& instance, double time);

}  // namespace orvandel::ofx
