// The actions of an instance that are about a time: what is drawn, where, from which frames.
#pragma once

#include "plugins/openfx/instance.h"

namespace orvandel::ofx {

OfxStatus Render(Instance& instance, const Properties& in);
OfxStatus IsIdentity(Instance& instance, const Properties& in, const Properties& out);
OfxStatus GetRegionOfDefinition(Instance& instance, const Properties& in, const Properties& out);
OfxStatus GetRegionsOfInterest(Instance& instance, const Properties& in, const Properties& out);
OfxStatus GetFramesNeeded(Instance& instance, const Properties& in, const Properties& out);
OfxStatus GetClipPreferences(Instance& instance, const Properties& out);

}  // namespace orvandel::ofx
