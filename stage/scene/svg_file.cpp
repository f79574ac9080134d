#include "stage/scene/svg_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <pugixml.hpp>

#include "stage/base/errors.h"
#include "stage/base/names.h"
#include "stage/scene/json_tree.h"

namespace orvandel::stage {
namespace {

[[noreturn]] void Refuse(const std::filesystem::path& file, std::string_view complaint) {
  throw InputError(fmt::format("{}: {}", Printable(file.string()), complaint));
}

// "svg:path" is a path as well.
std::string_view LocalName(std::string_view name) {
  const auto colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

bool IsBlank(const char* text) { return Trimmed(text).empty(); }

// The element, itself or above it, that moves the path away from its numbers; null when none does.
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
  Walk(const std::filesystem::path& file, pugi::xml_node document) : file_(file), node_(document) {}

  pugi::xml_node Next() {
    do {
      Step();
      // Drawing programs name a public document type, which nobody fetches; one with declarations could hold entities.
      if (node_.type() == pugi::node_doctype && std::strchr(node_.value(), '[') != nullptr) {
        Refuse(file_,
               "declares its own document type (<!DOCTYPE ... [...]>), which is not read; remove the declarations");
      }
    } while (node_ && node_.type() != pugi::node_element);
    return node_;
  }

 private:
  void Step() {
    if (const pugi::xml_node child = node_.first_child()) {
      node_ = child;
      if (++depth_ > kMaxSvgDepth) Refuse(file_, fmt::format("elements nested more than {} deep", kMaxSvgDepth));
      return;
    }
    while (node_ && !node_.next_sibling()) {
      node_ = node_.parent();
      --depth_;
    }
    if (node_) node_ = node_.next_sibling();
  }

  const std::filesystem::path& file_;
  pugi::xml_node node_;
  int depth_ = 0;
};

struct Candidates {
  std::vector<pugi::xml_node> wanted;
  std::vector<std::string> ids;  // of all paths that have one
  std::string other;             // the element that has the id but is no path
};

Candidates FindPaths(const std::filesystem::path& file, pugi::xml_node document, const std::string& id) {
  Candidates found;
  Walk walk(file, document);
  while (const pugi::xml_node node = walk.Next()) {
    const bool isPath = LocalName(node.name()) == "path";
    const char* nodeId = node.attribute("id").value();
    const bool named = !id.empty() && id == nodeId;
    if (named && !isPath) found.other = node.name();
    if (!isPath) continue;
    if (id.empty() || named) found.wanted.push_back(node);
    if (*nodeId != '\0') found.ids.emplace_back(nodeId);
  }
  return found;
}

pugi::xml_node OnlyPath(const std::filesystem::path& file, const Candidates& found, const std::string& id) {
  const std::size_t count = found.wanted.size();
  if (count == 1) return found.wanted.front();
  if (id.empty()) {
    Refuse(file,
           count == 0 ? std::string("has no <path>") : fmt::format("has {} paths: an \"id\" must choose one", count));
  }
  if (count > 1) Refuse(file, fmt::format("has {} paths with the id {}", count, Quoted(id)));
  if (!found.other.empty()) Refuse(file, fmt::format("{} is a <{}>, not a <path>", Quoted(id), Printable(found.other)));
  Refuse(file, fmt::format("has no <path> with the id {}{}", Quoted(id), DidYouMean(id, found.ids)));
}

}  // namespace

std::string ReadWholeFile(const std::filesystem::path& file, std::size_t limit) {
  std::error_code failure;
  if (std::filesystem::is_directory(file, failure)) Refuse(file, "is a folder");
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  if (!in) Refuse(file, errno == ENOENT ? "does not exist" : std::string("cannot be read: ") + std::strerror(errno));
  std::string text;
  char block[65536];
  while (in.read(block, sizeof block), in.gcount() > 0) {
    text.append(block, static_cast<std::size_t>(in.gcount()));
    if (text.size() > limit) Refuse(file, fmt::format("is larger than {} bytes", limit));
  }
  if (in.bad()) Refuse(file, "cannot be read");
  return text;
}

std::string ReadSvgPathText(const std::filesystem::path& file, const std::string& id) {
  const std::string text = ReadWholeFile(file, kMaxSvgBytes);
  if (static_cast<std::size_t>(std::count(text.begin(), text.end(), '<')) > 2 * kMaxSvgElements) {
    Refuse(file, fmt::format("more than {} elements", kMaxSvgElements));
  }
  pugi::xml_document document;
  const auto result = document.load_buffer(text.data(), text.size(), pugi::parse_default | pugi::parse_doctype);
  if (!result) {
    std::string sentence = result.description();
    throw InputError(
        fmt::format("{}:{}: {}", Printable(file.string()),
                    LineAndColumn(text, static_cast<std::size_t>(std::max<std::ptrdiff_t>(result.offset, 0))),
                    Printable(sentence)));
  }
  const pugi::xml_node path = OnlyPath(file, FindPaths(file, document, id), id);
  if (const pugi::xml_node moved = TransformedAbove(path)) {
    Refuse(file,
           fmt::format("a transform on <{}> moves the path; apply it to the path first", Printable(moved.name())));
  }
  const pugi::xml_attribute d = path.attribute("d");
  if (!d) Refuse(file, "the <path> has no d");
  return d.value();
}

}  // namespace orvandel::stage
