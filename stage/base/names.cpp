#include "stage/base/names.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

namespace orvandel::stage {
namespace {

// The comparison takes |text| * |candidate| steps for each candidate, and a stranger's file chooses all three numbers.
constexpr std::size_t kMaxComparedLength = 64;
constexpr std::size_t kMaxCandidates = 2000;
// Enough to recognise what was written; a message stays one line.
constexpr std::size_t kMaxShownBytes = 80;

char Lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::size_t EditDistance(std::string_view a, std::string_view b) {
  a = a.substr(0, kMaxComparedLength);
  b = b.substr(0, kMaxComparedLength);
  std::vector<std::size_t> row(b.size() + 1);  // row[j]: distance of a's first i letters to b's first j
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = diagonal + (Lowered(a[i - 1]) == Lowered(b[j - 1]) ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

// As "Lifespan" does "Lifespan (sec)" and "params" does "parameters": the first letter, then letters of the name in
// order.
bool Abbreviates(std::string_view text, std::string_view name) {
  if (text.empty() || name.empty() || Lowered(text[0]) != Lowered(name[0])) return false;
  std::size_t found = 0;
  for (const char letter : name) {
    if (found < text.size() && Lowered(text[found]) == Lowered(letter)) ++found;
  }
  return found == text.size();
}

bool ContinuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0u) == 0x80u; }

}  // namespace

std::string NearestOf(std::string_view text, const std::vector<std::string>& candidates) {
  const std::string* nearest = nullptr;
  std::pair<bool, std::size_t> smallest;
  for (std::size_t i = 0; i < std::min(candidates.size(), kMaxCandidates); ++i) {
    // An abbreviation means its name, however much is missing, before any name with fewer edits.
    const std::pair distance{!Abbreviates(text, candidates[i]), EditDistance(text, candidates[i])};
    if (nearest != nullptr && distance >= smallest) continue;
    nearest = &candidates[i];
    smallest = distance;
  }
  return nearest == nullptr ? std::string() : *nearest;
}

std::string DidYouMean(std::string_view text, const std::vector<std::string>& candidates) {
  if (candidates.empty()) return {};
  return fmt::format("; did you mean {}?", Quoted(NearestOf(text, candidates)));
}

std::string Printable(std::string_view text) {
  std::string shown;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (shown.size() >= kMaxShownBytes && !ContinuesCharacter(text[i])) return shown + "...";
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte == '\n') {
      shown += "\\n";
    } else if (byte < 0x20 || byte == 0x7F) {
      shown += fmt::format("\\u{:04x}", byte);
    } else {
      shown += text[i];
    }
  }
  return shown;
}

std::string Quoted(std::string_view text) { return '"' + Printable(text) + '"'; }

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace orvandel::stage
