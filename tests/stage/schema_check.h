// The scene's schema put to an independent validator: python3-jsonschema.
#pragma once

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/support/temp_folder.h"

namespace orvandel::stage {

// What the validator says of each scene, "" for one that it takes. Throws when the schema itself is not one.
inline std::vector<std::string> SchemaComplaints(const std::string& schema, const std::vector<std::string>& scenes) {
  nlohmann::json work{{"schema", nlohmann::json::parse(schema)}, {"scenes", nlohmann::json::array()}};
  constexpr bool kThrows = true, kSkipComments = true;
  for (const std::string& scene : scenes) {
    work["scenes"].push_back(nlohmann::json::parse(scene, nullptr, kThrows, kSkipComments));
  }
  const test::TempFolder folder;
  const auto file = folder / "schema.json";
  test::WriteFile(file, work.dump());
  const auto script = std::filesystem::path(ORVANDEL_STAGE_TESTS) / "check_schema.py";
  FILE* const pipe = popen(("python3 '" + script.string() + "' '" + file.string() + "'").c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("python3 cannot be started");
  std::string answer;
  char block[4096];
  for (std::size_t n = 0; (n = fread(block, 1, sizeof block, pipe)) > 0;) answer.append(block, n);
  const int code = pclose(pipe);
  if (code != 0) throw std::runtime_error("the validator failed; is python3-jsonschema installed?");
  return nlohmann::json::parse(answer).get<std::vector<std::string>>();
}

}  // namespace orvandel::stage
