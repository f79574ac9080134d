// A formula of time in a scene: arithmetic and functions of numbers, no files, no clock, no state. An Addition reads
// it.
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
  virtual ~Expression() = default;
  // May be infinite or not a number. Any number of threads at once.
  virtual double ValueAt(const ExpressionTime& when) const = 0;
};

class ExpressionReader {
 public:
  virtual ~ExpressionReader() = default;
  // Throws InputError without a file: "at character 5: ...".
  virtual std::shared_ptr<const Expression> Read(const std::string& text,
                                                 const ExpressionConstants& constants) const = 0;
};

}  // namespace orvandel::stage
