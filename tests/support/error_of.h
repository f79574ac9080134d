// What a call throws, as a text.
#pragma once

#include <string>

namespace orvandel::test {

// "nothing" when the call comes back.
template <typename Error, typename Call>
std::string ErrorOf(Call&& call) {
  try {
    call();
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing";
}

}  // namespace orvandel::test
