// What parameters mean and what their numbers count, for people: the effect registers only names and bare numbers. The
// sentences are those of docs/parameters.md.
#pragma once

#include <string_view>

namespace orvandel::stage {

struct ParamMeaning {
  std::string_view sentence;
  std::string_view unit;  // "waves a second"; empty: none
};
// Both empty for a name that is not known.
ParamMeaning MeaningOf(std::string_view name);

}  // namespace orvandel::stage
