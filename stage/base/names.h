// Names in messages: the nearest known one, and text of strangers made fit for one line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvandel::stage {

// The candidate with the smallest edit distance to `text`, letters compared without their case, the first of equals;
// empty when there are no candidates.
std::string NearestOf(std::string_view text, const std::vector<std::string>& candidates);

// "; did you mean "Frequency"?", or nothing when there are no candidates.
std::string DidYouMean(std::string_view text, const std::vector<std::string>& candidates);

// Control characters escaped, cut to a readable length: fit for a one-line message.
std::string Printable(std::string_view text);
// The same between double quotes.
std::string Quoted(std::string_view text);

// Without the blanks around it.
std::string_view Trimmed(std::string_view text);

}  // namespace orvandel::stage
