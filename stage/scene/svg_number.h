// Numbers as SVG writes them.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace orvandel::stage {

enum class SvgNumber { kTaken, kMissing, kTooLarge };

// The number at text[at]; `at` moves past it. A number ends where its grammar does: "1.5.5" is 1.5 and 0.5, "1-2" is 1
// and -2, "2em" is 2.
SvgNumber TakeSvgNumber(std::string_view text, std::size_t& at, double& value);

// Numbers with blanks, commas or nothing between them, up to the first text that is not a number.
std::vector<double> SvgNumbers(std::string_view text);

// The lengths that percentages refer to.
struct SvgViewport {
  double width = 0, height = 0;
  double Diagonal() const;
};

// "12", "3mm", "50%": in pixels, 96 per inch; `whole` is 100 %. `otherwise` where there is no number.
double SvgLength(std::string_view text, double whole, double otherwise);

}  // namespace orvandel::stage
