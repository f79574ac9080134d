#include "stage/scene/set_option.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

constexpr std::size_t kMostDigits = 4;

// Takes "2:" off the front of a name.
std::size_t TakeEffect(std::string_view& name, const std::string& option) {
  const std::size_t colon = name.find(':');
  if (colon == 0 || colon == std::string_view::npos) return 0;
  const std::string_view digits = name.substr(0, colon);
  const bool number = std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
  if (!number) return 0;
  std::size_t effect = 0;
  if (digits.size() <= kMostDigits) std::from_chars(digits.data(), digits.data() + colon, effect);
  if (effect == 0) throw InputError(fmt::format("{}: effects are counted from 1", option));
  name.remove_prefix(colon + 1);
  return effect;
}

}  // namespace

JsonNode ParseOptionValue(std::string_view text, const std::string& option) {
  try {
    return ParseJson(text, option);
  } catch (const InputError&) {
    if (!text.empty() && std::string_view("[{\"").find(text.front()) != std::string_view::npos) throw;
  }
  JsonNode bare;
  bare.kind = JsonNode::Kind::kString;
  bare.text = text;
  return bare;
}

SetOption ParseSetOption(std::string_view text) {
  SetOption set;
  set.option = "--set " + Printable(text);
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos || Trimmed(text.substr(0, equals)).empty()) {
    throw InputError(set.option + ": is not NAME=VALUE");
  }
  std::string_view name = Trimmed(text.substr(0, equals));
  set.effect = TakeEffect(name, set.option);
  set.name = Trimmed(name);
  set.value = ParseOptionValue(Trimmed(text.substr(equals + 1)), set.option);
  return set;
}

}  // namespace orvandel::stage
