#include "stage/scene/json_place.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/base/names.h"

namespace orvandel::stage {

JsonPlace JsonPlace::Item(std::size_t index) const& {
  JsonPlace item;
  item.node_ = &node_->items[index];
  item.fileName_ = fileName_;
  item.parent_ = this;
  item.index_ = index;
  return item;
}

std::optional<JsonPlace> JsonPlace::Find(std::string_view key) const& {
  const auto found = std::find(node_->keys.begin(), node_->keys.end(), key);
  if (found == node_->keys.end()) return std::nullopt;
  return Item(static_cast<std::size_t>(found - node_->keys.begin()));
}

JsonPlace JsonPlace::Need(std::string_view key, std::string_view allowed) const& {
  const auto found = Find(key);
  if (!found) FailAt(key, fmt::format("is missing: {} is required", allowed), allowed);
  return *found;
}

void JsonPlace::OnlyKeys(std::initializer_list<std::string_view> known) const {
  for (const std::string& key : node_->keys) {
    if (std::find(known.begin(), known.end(), key) != known.end()) continue;
    const std::vector<std::string> names(known.begin(), known.end());
    std::string allowed;
    for (const std::string& name : names) allowed += (allowed.empty() ? "" : ", ") + Quoted(name);
    FailAt(key, fmt::format("unknown key{} Allowed are {}", DidYouMean(key, names), allowed), allowed,
           NearestOf(key, names));
  }
}

const JsonPlace& JsonPlace::MustBeObject(std::string_view allowed) const {
  if (!IsObject()) FailNot(allowed);
  return *this;
}

const JsonPlace& JsonPlace::MustBeArray(std::string_view allowed) const {
  if (!IsArray()) FailNot(allowed);
  return *this;
}

const std::string& JsonPlace::Text(std::string_view allowed) const {
  if (!IsString()) FailNot(allowed);
  if (node_->text.size() > kMaxJsonString) {
    Fail(fmt::format("a text of {} bytes, {} are allowed", node_->text.size(), kMaxJsonString));
  }
  return node_->text;
}

double JsonPlace::Number(std::string_view allowed) const {
  if (!IsNumber()) FailNot(allowed);
  return node_->number;
}

bool JsonPlace::Truth() const {
  if (node_->kind != JsonNode::Kind::kBool) FailNot("true or false");
  return node_->truth;
}

double JsonPlace::NumberIn(double low, double high, std::string_view allowed) const {
  const double number = Number(fmt::format("{} in {}..{}", allowed, low, high));
  if (number < low || number > high)
    Fail(fmt::format("{} is outside {}..{}", Found(), low, high), fmt::format("{}..{}", low, high));
  return number;
}

std::string JsonPlace::Found() const {
  switch (node_->kind) {
    case JsonNode::Kind::kNull:
      return "null";
    case JsonNode::Kind::kBool:
      return node_->truth ? "true" : "false";
    case JsonNode::Kind::kNumber:
      return Printable(node_->text);
    case JsonNode::Kind::kString:
      return Quoted(node_->text);
    case JsonNode::Kind::kArray:
      return node_->items.empty() ? "an empty array" : fmt::format("an array of {}", node_->items.size());
    case JsonNode::Kind::kObject:
      return "an object";
  }
  return {};
}

std::string JsonPlace::Where() const {
  const std::string pointer = Pointer();
  return pointer.empty() ? *fileName_ : fmt::format("{}: {}", *fileName_, pointer);
}

void JsonPlace::Fail(std::string_view complaint, std::string_view allowed, std::string_view nearest) const {
  throw PlaceError({fmt::format("{}: {}", Where(), complaint), Pointer(), std::string(allowed), std::string(nearest)});
}

void JsonPlace::FailAt(std::string_view key, std::string_view complaint, std::string_view allowed,
                       std::string_view nearest) const {
  const std::string pointer = Pointer() + Printable(PointerStep(key));
  throw PlaceError(
      {fmt::format("{}: {}: {}", *fileName_, pointer, complaint), pointer, std::string(allowed), std::string(nearest)});
}

void JsonPlace::FailNot(std::string_view allowed) const {
  Fail(fmt::format("{} is not {}", Found(), allowed), allowed);
}

void JsonPlace::FailUnlike(std::string_view allowed, std::string_view text,
                           const std::vector<std::string>& known) const {
  Fail(fmt::format("{} is not {}{}", Found(), allowed, DidYouMean(text, known)), allowed, NearestOf(text, known));
}

std::string JsonPlace::Pointer() const {
  if (parent_ == nullptr) return {};
  const bool member = parent_->IsObject();
  const std::string step = member ? Printable(PointerStep(parent_->KeyOf(index_))) : fmt::format("/{}", index_);
  return parent_->Pointer() + step;
}

}  // namespace orvandel::stage
