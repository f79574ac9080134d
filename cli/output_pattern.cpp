#include "cli/output_pattern.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "stage/base/errors.h"
#include "stage/base/path_text.h"

namespace orvandel::cli {
namespace {

using stage::InputError;

constexpr int kMostDigits =
    9;  // frames are 32-bit; wider numbers are never needed, and a typo could ask for absurd ones

struct Place {
  std::size_t begin = std::string::npos, size = 0;
  int digits = 0;
  bool Found() const { return begin != std::string::npos; }
};

Place HashesFrom(const std::string& name, std::size_t begin) {
  std::size_t end = begin;
  while (end < name.size() && name[end] == '#') ++end;
  return {begin, end - begin, static_cast<int>(end - begin)};
}

// "%d" or "%0Nd" at `begin`.
Place DirectiveAt(const std::string& name, std::size_t begin, std::string_view option) {
  std::size_t end = begin + 1;
  int digits = 1;
  if (end + 1 < name.size() && name[end] == '0' && std::isdigit(static_cast<unsigned char>(name[end + 1])) != 0) {
    digits = name[end + 1] - '0';
    end += 2;
  }
  if (end >= name.size() || name[end] != 'd' || digits == 0) {
    throw InputError(fmt::format("{}: '{}': only %d and %01d to %09d may follow '%'", option, name));
  }
  return {begin, end + 1 - begin, digits};
}

Place FindPlace(const std::string& name, std::size_t from, std::string_view option) {
  const std::size_t begin = name.find_first_of("%#", from);
  if (begin == std::string::npos) return {};
  return name[begin] == '#' ? HashesFrom(name, begin) : DirectiveAt(name, begin, option);
}

}  // namespace

OutputPattern::OutputPattern(std::string_view text, std::string_view option) {
  const std::filesystem::path path = stage::PathOf(text);
  folder_ = path.parent_path();
  before_ = path.filename().string();
  if (before_.empty() || before_ == "." || before_ == "..") {
    throw InputError(fmt::format("{}: '{}' does not name a file", option, text));
  }
  const Place place = FindPlace(before_, 0, option);
  if (!place.Found()) return;
  if (place.digits > kMostDigits) {
    throw InputError(fmt::format("{}: '{}' asks for more than {} digits", option, before_, kMostDigits));
  }
  if (FindPlace(before_, place.begin + place.size, option).Found()) {
    throw InputError(fmt::format("{}: '{}' has two places for the frame's number; one is allowed", option, before_));
  }
  hasNumber_ = true;
  digits_ = place.digits;
  after_ = before_.substr(place.begin + place.size);
  before_.resize(place.begin);
}

void OutputPattern::AddNumber() {
  const std::string extension = stage::PathOf(before_).extension().string();
  before_.resize(before_.size() - extension.size());
  before_ += '.';
  after_ = extension;
  digits_ = 4;
  hasNumber_ = true;
}

std::filesystem::path OutputPattern::For(std::int32_t frame) const {
  if (!hasNumber_) return folder_ / stage::PathOf(before_);
  return folder_ / stage::PathOf(fmt::format("{}{:0{}}{}", before_, frame, digits_, after_));
}

std::vector<std::filesystem::path> OutputPattern::Existing() const {
  std::vector<std::filesystem::path> files;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(folder_.empty() ? "." : folder_, none)) {
    std::string number = entry.path().filename().string();
    if (!number.starts_with(before_) || !number.ends_with(after_)) continue;
    if (!hasNumber_) return {entry.path()};
    if (number.size() < before_.size() + static_cast<std::size_t>(digits_) + after_.size()) continue;
    number = number.substr(before_.size(), number.size() - before_.size() - after_.size());
    if (number.find_first_not_of("0123456789") == std::string::npos) files.push_back(entry.path());
  }
  return files;
}

std::string OutputPattern::Extension() const {
  std::string extension = stage::PathOf(hasNumber_ ? "x" + after_ : before_).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

std::string OutputPattern::Text() const {
  if (!hasNumber_) return For(0).string();
  return (folder_ /
          stage::PathOf(fmt::format("{}{}{}", before_, std::string(static_cast<std::size_t>(digits_), '#'), after_)))
      .string();
}

}  // namespace orvandel::cli
