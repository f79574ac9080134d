// A parameter given on the command line in place of the scene's: "Frequency=5", "Color=#ff0000",
// "Producer Point=[1, 2]", "2:Sides=6" (of the second effect alone).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "stage/scene/json_tree.h"

namespace orvandel::stage {

struct SetOption {
  std::string option;      // as messages name it: "--set Frequency=5"
  std::size_t effect = 0;  // from 1; 0: every effect
  std::string name;        // of the parameter, blanks trimmed
  JsonNode value;
};

// JSON, or a bare text without its quotes: what begins like JSON's texts, arrays and objects must be JSON. InputError
// that begins with the option.
JsonNode ParseOptionValue(std::string_view text, const std::string& option);

// "NAME=VALUE" or "N:NAME=VALUE", the value as in ParseOptionValue. Likewise.
SetOption ParseSetOption(std::string_view text);

}  // namespace orvandel::stage
