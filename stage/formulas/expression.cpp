// Formulas read and evaluated by muParser.
//
// The library keeps the compiled formula and is small, maintained and without dependencies of its own. Its assignment
// and its lists of results are refused here: a formula is one number.
#include "stage/sources/expression.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <muParser.h>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

double Fraction(double x) { return x - std::floor(x); }
// The remainder with the divisor's sign, so that a count goes round without a jump at 0.
double Modulo(double x, double y) { return x - y * std::floor(x / y); }
double Clamped(double x, double low, double high) { return std::min(std::max(x, low), high); }
double Between(double a, double b, double way) { return a + (b - a) * way; }
double SmoothStep(double low, double high, double x) {
  const double way = Clamped((x - low) / (high - low), 0, 1);
  return way * way * (3 - 2 * way);
}

void DefineFunctions(mu::Parser& parser) {
  parser.DefineFun("floor", static_cast<double (*)(double)>(std::floor));
  parser.DefineFun("ceil", static_cast<double (*)(double)>(std::ceil));
  parser.DefineFun("fract", Fraction);
  parser.DefineFun("mod", Modulo);
  parser.DefineFun("clamp", Clamped);
  parser.DefineFun("lerp", Between);
  parser.DefineFun("smoothstep", SmoothStep);
}

[[noreturn]] void Refuse(std::size_t offset, std::string_view complaint) {
  throw InputError(fmt::format("at character {}: {}", offset + 1, complaint));
}

// "=" on its own would set a variable, also for the values that follow.
void RefuseAssignment(const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '=') continue;
    if (i + 1 < text.size() && text[i + 1] == '=') {
      ++i;
    } else if (i == 0 || std::string_view("<>!").find(text[i - 1]) == std::string_view::npos) {
      Refuse(i, "\"=\" sets nothing here; \"==\" compares");
    }
  }
}

std::vector<std::string> KnownNames(const mu::Parser& parser) {
  std::vector<std::string> names;
  for (const auto& [name, function] : parser.GetFunDef()) names.push_back(name);
  for (const auto& [name, value] : parser.GetConst()) names.push_back(name);
  for (const auto& [name, variable] : parser.GetVar()) names.push_back(name);
  return names;
}

// The library's sentence without what follows the fault itself: "Unexpected value "2" found at position 2".
std::string PlainSentence(std::string sentence) {
  for (const std::string_view place : {" found at position", " at position", " at expression position"}) {
    if (const auto at = sentence.find(place); at != std::string::npos) sentence.erase(at);
  }
  while (!sentence.empty() && (sentence.back() == '.' || sentence.back() == '!')) sentence.pop_back();
  return Printable(sentence);
}

[[noreturn]] void Explain(const mu::Parser& parser, const mu::ParserError& error, std::size_t length) {
  const int position = static_cast<int>(error.GetPos());
  const auto offset = std::min(static_cast<std::size_t>(std::max(position, 0)), length);
  const std::string token(Trimmed(error.GetToken()));
  if (error.GetCode() == mu::ecUNASSIGNABLE_TOKEN) {
    Refuse(offset, fmt::format("unknown name or sign {}{}", Quoted(token), DidYouMean(token, KnownNames(parser))));
  }
  if (position < 0) throw InputError(PlainSentence(error.GetMsg()));
  Refuse(offset, PlainSentence(error.GetMsg()));
}

// A formula as the library evaluates it: with variables of its own, and so for one thread at a time.
class Compiled {
 public:
  Compiled(const std::string& text, const ExpressionConstants& constants);
  double ValueAt(const ExpressionTime& when);

 private:
  mu::Parser parser_;
  ExpressionTime when_;  // what the formula's variables point to
};

Compiled::Compiled(const std::string& text, const ExpressionConstants& constants) {
  RefuseAssignment(text);
  try {
    parser_.ClearConst();
    parser_.DefineConst("pi", 3.141592653589793238462643);
    parser_.DefineConst("e", 2.718281828459045235360287);
    parser_.DefineConst("width", constants.width);
    parser_.DefineConst("height", constants.height);
    parser_.DefineConst("duration", constants.duration);
    parser_.DefineVar("t", &when_.seconds);
    parser_.DefineVar("tick", &when_.tick);
    parser_.DefineVar("frame", &when_.frame);
    DefineFunctions(parser_);
    parser_.SetExpr(text);
    int results = 0;
    parser_.Eval(results);
    if (results != 1) throw InputError(fmt::format("{} numbers with commas between them; one is needed", results));
  } catch (const mu::ParserError& error) {
    Explain(parser_, error, text.size());
  }
}

double Compiled::ValueAt(const ExpressionTime& when) {
  when_ = when;
  try {
    return parser_.Eval();
  } catch (const mu::ParserError& error) {
    throw InputError(PlainSentence(error.GetMsg()));
  }
}

// Asked by several threads at once it compiles once more for each of them.
class Formula final : public Expression {
 public:
  Formula(const std::string& text, const ExpressionConstants& constants) : text_(text), constants_(constants) {
    idle_.push_back(std::make_unique<Compiled>(text, constants));
  }

  double ValueAt(const ExpressionTime& when) const override {
    std::unique_ptr<Compiled> compiled = Take();
    const double value = compiled->ValueAt(when);
    const std::lock_guard lock(mutex_);
    idle_.push_back(std::move(compiled));
    return value;
  }

 private:
  std::unique_ptr<Compiled> Take() const {
    {
      const std::lock_guard lock(mutex_);
      if (!idle_.empty()) {
        std::unique_ptr<Compiled> compiled = std::move(idle_.back());
        idle_.pop_back();
        return compiled;
      }
    }
    return std::make_unique<Compiled>(text_, constants_);
  }

  std::string text_;
  ExpressionConstants constants_;
  mutable std::mutex mutex_;
  mutable std::vector<std::unique_ptr<Compiled>> idle_;
};

class FormulaReader final : public ExpressionReader {
 public:
  std::shared_ptr<const Expression> Read(const std::string& text, const ExpressionConstants& constants) const override {
    return std::make_shared<const Formula>(text, constants);
  }
};

const FormulaReader reader;
const Addition<ExpressionReader> entered(reader);

}  // namespace
}  // namespace orvandel::stage
