#include "cli/text_table.h"

#include <algorithm>

namespace orvandel::cli {
namespace {

std::size_t CodePoints(const std::string& text) {
  const auto begins = [](char c) { return (static_cast<unsigned char>(c) & 0xc0u) != 0x80u; };
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins));
}

// 0 for a column that is left out.
std::vector<std::size_t> ColumnWidths(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (std::size_t row = 1; row < rows.size(); ++row) {
    for (std::size_t column = 0; column < widths.size(); ++column) {
      widths[column] = std::max(widths[column], CodePoints(rows[row][column]));
    }
  }
  for (std::size_t column = 0; column < widths.size(); ++column) {
    if (widths[column] > 0) widths[column] = std::max(widths[column], CodePoints(rows.front()[column]));
  }
  return widths;
}

}  // namespace

std::string TextTable(const std::vector<std::vector<std::string>>& rows) {
  const auto widths = ColumnWidths(rows);
  std::string text;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < widths.size(); ++column) {
      if (widths[column] == 0) continue;
      if (!line.empty()) line += "  ";
      line += row[column] + std::string(widths[column] - CodePoints(row[column]), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

}  // namespace orvandel::cli
