// A formula of time, read and evaluated by muParser: arithmetic and functions of numbers, no files, no clock, no state.
//
// The library keeps the compiled formula and is small, maintained and without dependencies of its own. Its assignment
// and its lists of results are refused here: a formula is one number.
#pragma once

#include <memory>
#include <string>

namespace orvandel::stage {

struct ExpressionTime {
  double seconds = 0;  // "t"
  double tick = 0;     // whole ticks of 1/30 s begun
  double frame = 0;    // whole frames begun
};

// What stays the same throughout a scene.
struct ExpressionConstants {
  double width = 0, height = 0;  // pixels
  double duration = 0;           // seconds
};

class Expression {
 public:
  // Throws InputError without a file: "at character 5: ...".
  Expression(const std::string& text, const ExpressionConstants& constants);
  ~Expression();
  Expression(const Expression&) = delete;
  Expression& operator=(const Expression&) = delete;

  // May be infinite or not a number. One thread at a time.
  double ValueAt(const ExpressionTime& when) const;

 private:
  struct Formula;
  std::unique_ptr<Formula> formula_;
};

}  // namespace orvandel::stage
