// The effect's arithmetic rounds to nearest and knows denormal numbers, whatever a host's thread is set to.
#pragma once

#include <cfenv>

namespace orvandel::bridge {

class PlainArithmetic {
 public:
  PlainArithmetic() {
    std::fegetenv(&before_);
    std::fesetenv(FE_DFL_ENV);
  }
  ~PlainArithmetic() { std::fesetenv(&before_); }
  PlainArithmetic(const PlainArithmetic&) = delete;
  PlainArithmetic& operator=(const PlainArithmetic&) = delete;

 private:
  std::fenv_t before_{};
};

}  // namespace orvandel::bridge
