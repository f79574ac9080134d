// Scenes with one fault each: for the reader, which must point at it, and for the schema, as far as a schema can tell.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace orvandel::stage {

struct Member {
  std::string key, json;  // json empty: the member is left out
};

// A small good scene with one member replaced, added or removed.
inline std::string SceneWith(const std::vector<Member>& changes) {
  std::vector<Member> members = {
      {"version", "1"}, {"width", "640"}, {"height", "360"}, {"frameRate", "30"}, {"duration", "2"}};
  for (const Member& change : changes) {
    bool replaced = false;
    for (Member& member : members) {
      if (member.key != change.key) continue;
      member.json = change.json;
      replaced = true;
    }
    if (!replaced) members.push_back(change);
  }
  std::string text;
  for (const Member& member : members) {
    if (!member.json.empty()) text += (text.empty() ? "{\"" : ", \"") + member.key + "\": " + member.json;
  }
  return text + "}";
}

struct BadScene {
  Member change;
  std::string pointer, telling;
  bool schemaTells = true;  // false: it hangs on other values, on files or on another grammar than JSON's
};

// Those of bad_scenes.json: what is changed, the place of the fault, and what the complaint says of what was found and
// of what is allowed. Behind them, what the JSON grammar allows and a scene does not.
inline std::vector<BadScene> BadScenes() {
  std::ifstream file(std::filesystem::path(ORVANDEL_STAGE_TESTS) / "bad_scenes.json");
  std::vector<BadScene> scenes;
  for (const auto& row : nlohmann::ordered_json::parse(file)) {
    Member change{row.value("without", ""), ""};
    if (row.contains("change")) change = {row["change"].begin().key(), row["change"].begin()->dump()};
    scenes.push_back({change, row["at"], row["says"], row.value("schema", true)});
  }
  const std::vector<BadScene> others = {
      {{"duration", "0.12345678901234567891"}, "/duration", "more digits than can be taken exactly", false},
      {{"effects", R"([{}], "parameters": {})"}, "/effects", "is given together with \"parameters\""},
      {{"parameters", R"({"Star": true, "Star": false})"}, "/parameters/Star", "is given twice", false},
      {{"masks", R"({"m": {"d": "M0 0H1"}, "n": {}, "m": {"d": "M0 0H1"}})"}, "/masks/m", "is given twice"},
      {{"parameters", R"({"Sides": {"keyframes": [{"time": 0, "value": 5, "time": 0}]}})"},
       "/parameters/Sides/keyframes/0/time",
       "is given twice",
       false},
      {{"input", "\"" + std::string(4097, 'x') + "\""}, "/input", "a text of 4097 bytes, 4096 are allowed"},
      {{"input", std::string(64, '[') + std::string(64, ']')}, "/input/0/0", "nested more than 64 deep"},
  };
  scenes.insert(scenes.end(), others.begin(), others.end());
  return scenes;
}

}  // namespace orvandel::stage
