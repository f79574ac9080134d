#include "stage/base/errors.h"

#include <utility>

#include <fmt/format.h>

namespace orvandel::stage {

EffectError::EffectError(std::int32_t effectCode, std::string effectMessage)
    : std::runtime_error(effectMessage.empty() ? fmt::format("the effect returned code {}", effectCode)
                                               : effectMessage),
      code(effectCode),
      message(std::move(effectMessage)) {}

}  // namespace orvandel::stage
