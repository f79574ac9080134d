#include "web/core/given_files.h"

#include <utility>

namespace orvandel::web {
std::string PlainName(const std::filesystem::path& file) { return file.lexically_normal().string(); }

const std::string* HandedIn::Find(const std::string& name) const {
  const auto found = files_.find(PlainName(name));
  return found == files_.end() ? nullptr : &found->second;
}

std::vector<std::string> HandedIn::Names() const {
  std::vector<std::string> names;
  for (const auto& [name, bytes] : files_) names.push_back(name);
  return names;
}

void HandedIn::Put(const std::string& name, std::string bytes) { files_[PlainName(name)] = std::move(bytes); }

}  // namespace orvandel::web
