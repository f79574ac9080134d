#include "stage/scene/sequence_name.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "stage/base/file_bytes.h"
#include "stage/base/path_text.h"

namespace orvandel::stage {
namespace {

constexpr std::size_t kMaxNumberDigits = 18;  // fits 64 bits

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::filesystem::path SequenceName::FileOf(std::int64_t number) const {
  return folder / PathOf(fmt::format("{}{:0{}}{}", before, number, digits, after));
}

std::optional<std::int64_t> SequenceName::NumberOf(std::string_view fileName) const {
  if (fileName.size() <= before.size() + after.size() || !fileName.starts_with(before) || !fileName.ends_with(after)) {
    return std::nullopt;
  }
  const std::string_view text = fileName.substr(before.size(), fileName.size() - before.size() - after.size());
  if (text.size() > kMaxNumberDigits || !std::all_of(text.begin(), text.end(), IsDigit)) return std::nullopt;
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  // "%04d" writes 7 as 0007 and 12345 as it is; 00012345 is another file's name.
  if (fmt::format("{:0{}}", number, digits) != text) return std::nullopt;
  return number;
}

std::vector<std::int64_t> SequenceName::Existing() const {
  std::vector<std::int64_t> numbers;
  for (const std::string& name : NamesInFolder(folder)) {
    if (const auto number = NumberOf(name)) numbers.push_back(*number);
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::optional<SequenceName> ParseSequenceName(const std::filesystem::path& file) {
  const std::string name = file.filename().string();
  for (std::size_t percent = name.find('%'); percent != std::string::npos; percent = name.find('%', percent + 1)) {
    std::size_t end = percent + 1;
    int digits = 1;
    if (end + 1 < name.size() && name[end] == '0' && name[end + 1] >= '1' && name[end + 1] <= '9') {
      digits = name[end + 1] - '0';
      end += 2;
    }
    if (end >= name.size() || name[end] != 'd') continue;
    return SequenceName{file.parent_path(), name.substr(0, percent), name.substr(end + 1), digits};
  }
  return std::nullopt;
}

}  // namespace orvandel::stage
