// Text in columns, for people.
#pragma once

#include <string>
#include <vector>

namespace orvandel::cli {

// Pads every column to its widest cell (UTF-8, one column a code point), two blanks between columns, no blanks at a
// line's end. A column that is empty below its heading, the first row, is left out.
std::string TextTable(const std::vector<std::vector<std::string>>& rows);

}  // namespace orvandel::cli
