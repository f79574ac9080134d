// What a person sees of the effect's texts: keys become their English text, break tokens become line breaks.
#pragma once

#include <string>
#include <string_view>

namespace orvandel::stage {

// "$$$/path=Text" gives "Text" (everything after the first "="); a text that is no such key is shown as it is.
std::string DisplayText(std::string_view key);

// Every "#{cr}" becomes a line break.
std::string WithLineBreaks(std::string_view text);

}  // namespace orvandel::stage
