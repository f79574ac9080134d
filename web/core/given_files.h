// The files that the script handed in, in place of folders.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "stage/base/file_bytes.h"

namespace orvandel::web {

// Without "." and ".." in it.
std::string PlainName(const std::filesystem::path& file);

class HandedIn final : public stage::GivenFiles {
 public:
  const std::string* Find(const std::string& name) const override;
  std::vector<std::string> Names() const override;
  void Put(const std::string& name, std::string bytes);
  void Clear() { files_.clear(); }

 private:
  std::map<std::string, std::string> files_;  // by plain name
};

}  // namespace orvandel::web
