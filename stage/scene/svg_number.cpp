#include "stage/scene/svg_number.h"

#include <cmath>
#include <system_error>

#include <fast_float/fast_float.h>

#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::size_t DigitsFrom(std::string_view text, std::size_t from) {
  while (from < text.size() && IsDigit(text[from])) ++from;
  return from;
}

// The end of the exponent at `at`, or `at` where there is none.
std::size_t ExponentFrom(std::string_view text, std::size_t at) {
  if (at >= text.size() || (text[at] != 'e' && text[at] != 'E')) return at;
  const bool sign = at + 1 < text.size() && (text[at + 1] == '+' || text[at + 1] == '-');
  const std::size_t first = at + (sign ? 2 : 1), end = DigitsFrom(text, first);
  return end > first ? end : at;
}

// Pixels in one unit; 0: no such unit.
double PixelsIn(std::string_view unit) {
  struct Unit {
    std::string_view name;
    double pixels;
  };
  // Fonts are not read: em and ex assume the usual font size of 16 pixels.
  constexpr Unit kUnits[] = {{"", 1},           {"px", 1},  {"pt", 96.0 / 72}, {"pc", 16}, {"mm", 96 / 25.4},
                             {"cm", 96 / 2.54}, {"in", 96}, {"em", 16},        {"ex", 8}};
  for (const Unit& known : kUnits) {
    if (known.name == unit) return known.pixels;
  }
  return 0;
}

}  // namespace

SvgNumber TakeSvgNumber(std::string_view text, std::size_t& at, double& value) {
  std::size_t begin = at;
  const bool sign = begin < text.size() && (text[begin] == '+' || text[begin] == '-');
  const std::size_t whole = begin + (sign ? 1 : 0);
  std::size_t end = DigitsFrom(text, whole), digits = end - whole;
  if (end < text.size() && text[end] == '.') {
    const std::size_t fraction = DigitsFrom(text, end + 1);
    digits += fraction - end - 1;
    end = fraction;
  }
  if (digits == 0) return SvgNumber::kMissing;
  end = ExponentFrom(text, end);
  if (text[begin] == '+') ++begin;
  const auto read = fast_float::from_chars(text.data() + begin, text.data() + end, value);
  if (read.ec != std::errc() || read.ptr != text.data() + end || !std::isfinite(value)) return SvgNumber::kTooLarge;
  at = end;
  return SvgNumber::kTaken;
}

std::vector<double> SvgNumbers(std::string_view text) {
  std::vector<double> numbers;
  std::size_t at = 0;
  double number = 0;
  for (;;) {
    while (at < text.size() && std::string_view(" \t\n\f\r,").find(text[at]) != std::string_view::npos) ++at;
    if (TakeSvgNumber(text, at, number) != SvgNumber::kTaken) return numbers;
    numbers.push_back(number);
  }
}

double SvgViewport::Diagonal() const { return std::sqrt((width * width + height * height) / 2); }

double SvgLength(std::string_view text, double whole, double otherwise) {
  text = Trimmed(text);
  std::size_t at = 0;
  double number = 0;
  if (TakeSvgNumber(text, at, number) != SvgNumber::kTaken) return otherwise;
  const std::string_view unit = Trimmed(text.substr(at));
  if (unit == "%") return number * whole / 100;
  const double pixels = PixelsIn(unit);
  return pixels == 0 ? otherwise : number * pixels;
}

}  // namespace orvandel::stage
