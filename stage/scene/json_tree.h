// JSON text to a tree that keeps what the scene needs and ordinary trees lose: numbers as they were written, members in
// their order, and no member twice. `//` and `/* */` comments are skipped.
//
// The text may come from anyone, so size, depth and count are bounded while it is read, before anything walks the tree.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orvandel::stage {

constexpr std::size_t kMaxSceneBytes = std::size_t{16} << 20;
constexpr std::size_t kMaxJsonDepth = 64;        // arrays and objects inside one another
constexpr std::size_t kMaxJsonString = 4096;     // bytes; path text has its own limit, on its segments
constexpr std::size_t kMaxJsonValues = 2000000;  // bounds memory: 100,000 keys of the richest form are a million

struct JsonNode {
  enum class Kind { kNull, kBool, kNumber, kString, kArray, kObject };
  Kind kind = Kind::kNull;
  bool truth = false;
  double number = 0;              // finite
  std::string text;               // a string's text; a number as it was written
  std::vector<JsonNode> items;    // of an array; of an object, its members' values in their order
  std::vector<std::string> keys;  // of an object, in step with `items`
};

// Throws InputError: "scene.json:3:14: ..." for the grammar, "scene.json: /layers: ..." for what the grammar allows and
// this does not. Messages begin with `fileName`.
JsonNode ParseJson(std::string_view text, const std::string& fileName);

// "/a/0/b": one step down a JSON pointer, with its escapes.
std::string PointerStep(std::string_view key);

// "3:14": line and column of a byte in a text, from 1, columns counted in characters.
std::string LineAndColumn(std::string_view text, std::size_t offset);

}  // namespace orvandel::stage
