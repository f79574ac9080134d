#include "stage/scene/svg_file.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <pugixml.hpp>

#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/base/names.h"
#include "stage/scene/json_tree.h"

namespace orvandel::stage {
namespace {

bool IsBlank(const char* text) { return Trimmed(text).empty(); }

// The element, the path itself or one above it, that applies a transform; null when none does.
pugi::xml_node TransformedAbove(pugi::xml_node node) {
  for (; node.type() == pugi::node_element; node = node.parent()) {
    if (!IsBlank(node.attribute("transform").value())) return node;
    if (std::strstr(node.attribute("style").value(), "transform") != nullptr) return node;
  }
  return {};
}

// Elements in document order, without recursion.
class Walk {
 public:
  explicit Walk(pugi::xml_node document) : node_(document) {}

  // Null after the last one.
  pugi::xml_node Next() {
    do {
      Step();
    } while (node_ && node_.type() != pugi::node_element);
    return node_;
  }
  int Depth() const { return depth_; }

 private:
  void Step() {
    if (const pugi::xml_node child = node_.first_child()) {
      node_ = child;
      ++depth_;
      return;
    }
    while (node_ && !node_.next_sibling()) {
      node_ = node_.parent();
      --depth_;
    }
    if (node_) node_ = node_.next_sibling();
  }

  pugi::xml_node node_;
  int depth_ = 0;
};

}  // namespace

SvgFile::SvgFile(const std::filesystem::path& file) : SvgFile(ReadWholeFile(file, kMaxSvgBytes), file) {}

SvgFile::SvgFile(std::string text, std::filesystem::path file) : text_(std::move(text)), file_(std::move(file)) {
  if (static_cast<std::size_t>(std::count(text_.begin(), text_.end(), '<')) > 2 * kMaxSvgElements) {
    Refuse(fmt::format("more than {} elements", kMaxSvgElements));
  }
  if (text_.size() >= 2 && text_[0] == '\x1f' && text_[1] == '\x8b') {
    Refuse("is compressed (.svgz); decompress it first: gunzip < it > logo.svg");
  }
  // A document type is skipped, even one that declares entities: references to them are not replaced.
  const auto result = document_.load_buffer(text_.data(), text_.size(), pugi::parse_default);
  if (!result) {
    const std::string sentence = result.description();
    throw InputError(
        fmt::format("{}:{}: {}", Printable(file_.string()),
                    LineAndColumn(text_, static_cast<std::size_t>(std::max<std::ptrdiff_t>(result.offset, 0))),
                    Printable(sentence)));
  }
  Index();
}

void SvgFile::Index() {
  Walk walk(document_);
  while (const pugi::xml_node node = walk.Next()) {
    if (walk.Depth() > kMaxSvgDepth) Refuse(fmt::format("elements nested more than {} deep", kMaxSvgDepth));
    const std::string_view name = SvgLocalName(node.name());
    if (const char* id = node.attribute("id").value(); *id != '\0') ids_.emplace(id, node);
    if (name == "path") paths_.push_back(node);
    if (name == "style") {
      for (const pugi::xml_node text : node.children()) styles_.AddSheet(text.value());
    }
  }
}

pugi::xml_node SvgFile::Find(std::string_view id) const {
  const auto found = ids_.find(id);
  return found == ids_.end() ? pugi::xml_node() : found->second;
}

const char* SvgFile::LonePath(const std::string& id) const {
  pugi::xml_node lone;
  for (const pugi::xml_node path : paths_) {
    if (!id.empty() && id != path.attribute("id").value()) continue;
    if (lone) return nullptr;
    lone = path;
  }
  const pugi::xml_attribute d = lone.attribute("d");
  return d && !TransformedAbove(lone) ? d.value() : nullptr;
}

void SvgFile::Refuse(std::string_view complaint) const {
  throw InputError(fmt::format("{}: {}", Printable(file_.string()), complaint));
}

void SvgFile::RefuseId(const std::string& id) const {
  std::vector<std::string> known;
  for (const auto& [name, node] : ids_) known.emplace_back(name);
  std::sort(known.begin(), known.end());
  Refuse(fmt::format("has nothing with the id {}{}", Quoted(id), DidYouMean(id, known)));
}

std::string SvgFile::Name() const { return Printable(file_.filename().string()); }

}  // namespace orvandel::stage
