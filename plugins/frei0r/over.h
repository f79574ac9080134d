// One picture laid over another, both red, green, blue, alpha, colour not multiplied by alpha.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvandel::frei0r {

// `top` becomes itself over `below`. Over an opaque picture a channel is (colour x alpha + below x (255 - alpha) + 127)
// / 255, as a scene's background is.
void LayOver(const std::uint8_t* below, std::uint8_t* top, std::size_t pixels);

}  // namespace orvandel::frei0r
