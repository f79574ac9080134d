// Layer pictures: acquiring a wave's source image, and the sparse fingerprint that tells whether a picture changed.
#pragma once

#include <array>
#include <cstdint>

#include "effect/host/effect_context.h"

namespace orvandel {

using Fingerprint = std::array<std::uint32_t, 2>;

// The slot of "Source Layer", or of the input layer when no layer is chosen, holding its pixels at `hostTime`. The
// layer stays checked out until CheckIn(slot) or the end of the context. AbortException with the host's code on
// failure.
ParamSlot& AcquireSourceSlot(EffectContext& context, std::int32_t hostTime);
// The picture that the slot holds.
ImageBuffer SlotImage(const ParamSlot& slot);

// Checks the layer of `slot` out at `hostTime` unless it is held for that time already. Returns whether it has pixels.
bool AcquireLayer(ParamSlot& slot, std::int32_t hostTime);

// (0, 0) for an image without pixels. Visits about one pixel in six.
Fingerprint FingerprintImage(const ImageBuffer& image);

}  // namespace orvandel
