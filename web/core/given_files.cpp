#include "web/core/given_files.h"

#include <filesystem>
#include <utility>

namespace orvandel::web {
namespace {

std::string Plain(const std::string& name) { return std::filesystem::path(name).lexically_normal().string(); }

}  // namespace

const std::string* HandedIn::Find(const std::string& name) const {
  const auto found = files_.find(Plain(name));
  return found == files_.end() ? nullptr : &found->second;
}

std::vector<std::string> HandedIn::Names() const {
  std::vector<std::string> names;
  for (const auto& [name, bytes] : files_) names.push_back(name);
  return names;
}

void HandedIn::Put(const std::string& name, std::string bytes) { files_[Plain(name)] = std::move(bytes); }

}  // namespace orvandel::web
