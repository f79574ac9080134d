// One value of a JSON file together with its place, so that every error names the file and the place.
//
// A place points to its parent place and to the tree: both must outlive it. Members of a temporary are refused by the
// compiler for that reason. The pointer text is built only when a complaint needs it.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "stage/scene/json_tree.h"

#include "stage/base/errors.h"

namespace orvandel::stage {

// A complaint about one value, whole and in its parts.
struct Complaint {
  std::string message;  // "scene.json: /parameters/Frequency: 900 is outside 0..500"
  std::string pointer;  // "/parameters/Frequency"; empty: the whole file, or no place in it
  std::string allowed;  // "0..500"; empty where the message alone says it
  std::string nearest;  // the known name that was probably meant; empty: none
};
class PlaceError : public InputError {
 public:
  explicit PlaceError(Complaint whole) : InputError(whole.message), complaint(std::move(whole)) {}
  Complaint complaint;
};

class JsonPlace {
 public:
  JsonPlace(const JsonNode& root, const std::string& fileName) : node_(&root), fileName_(&fileName) {}

  const JsonNode& Node() const { return *node_; }
  bool IsNull() const { return node_->kind == JsonNode::Kind::kNull; }
  bool IsString() const { return node_->kind == JsonNode::Kind::kString; }
  bool IsNumber() const { return node_->kind == JsonNode::Kind::kNumber; }
  bool IsArray() const { return node_->kind == JsonNode::Kind::kArray; }
  bool IsObject() const { return node_->kind == JsonNode::Kind::kObject; }

  // The item of an array or the value of an object's member, by its order.
  std::size_t Size() const { return node_->items.size(); }
  JsonPlace Item(std::size_t index) const&;
  JsonPlace Item(std::size_t index) const&& = delete;
  const std::string& KeyOf(std::size_t index) const { return node_->keys[index]; }

  // A member of an object.
  std::optional<JsonPlace> Find(std::string_view key) const&;
  std::optional<JsonPlace> Find(std::string_view key) const&& = delete;
  JsonPlace Need(std::string_view key, std::string_view allowed) const&;
  JsonPlace Need(std::string_view key, std::string_view allowed) const&& = delete;
  // Refuses every member that is not among `known`.
  void OnlyKeys(std::initializer_list<std::string_view> known) const;

  // Each refuses another kind of value; `allowed` completes "... is not ...".
  const JsonPlace& MustBeObject(std::string_view allowed) const;
  const JsonPlace& MustBeArray(std::string_view allowed) const;
  const std::string& Text(std::string_view allowed) const;  // at most kMaxJsonString bytes
  double Number(std::string_view allowed) const;
  bool Truth() const;
  // `allowed` names the unit or use: "seconds". Inclusive.
  double NumberIn(double low, double high, std::string_view allowed = "a number") const;

  // "scene.json: /masks/ring/d", as complaints begin.
  std::string Where() const;
  // The value as a message shows it.
  std::string Found() const;
  // Throws PlaceError: "scene.json: /masks/ring/d: " + complaint.
  [[noreturn]] void Fail(std::string_view complaint, std::string_view allowed = {},
                         std::string_view nearest = {}) const;
  // The same for a member, which need not exist.
  [[noreturn]] void FailAt(std::string_view key, std::string_view complaint, std::string_view allowed = {},
                           std::string_view nearest = {}) const;
  // "... is not ALLOWED; did you mean ...?"; `text` is what was written in place of one of `known`.
  [[noreturn]] void FailUnlike(std::string_view allowed, std::string_view text,
                               const std::vector<std::string>& known) const;
  // "5 is not ...".
  [[noreturn]] void FailNot(std::string_view allowed) const;

 private:
  JsonPlace() = default;
  std::string Pointer() const;

  const JsonNode* node_ = nullptr;
  const std::string* fileName_ = nullptr;
  const JsonPlace* parent_ = nullptr;
  std::size_t index_ = 0;  // among the parent's items
};

}  // namespace orvandel::stage
