#include "plugins/bridge/built_in_effect.h"

#include <cstdint>
#include <span>

#include "stage/loading/loaded_effect.h"

// module_bytes.S
extern "C" const std::uint8_t orvandelModuleBegin[], orvandelModuleEnd[];

namespace orvandel::bridge {

std::unique_ptr<stage::EffectLibrary> BuiltInEffect() {
  return stage::LoadEffectBytes({orvandelModuleBegin, orvandelModuleEnd});
}

}  // namespace orvandel::bridge
