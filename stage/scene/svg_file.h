// An SVG file as a tree of elements, with an index of ids and paths.
//
// The file is not trusted: entities are never replaced and nothing is fetched, and size, depth and number of
// elements are bounded.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

#include "stage/scene/svg_style.h"

namespace orvandel::stage {

constexpr std::size_t kMaxSvgBytes = std::size_t{16} << 20;
constexpr int kMaxSvgDepth = 256;
constexpr std::size_t kMaxSvgElements = 1000000;

class SvgFile {
 public:
  // The InputError that both throw starts with the file's name.
  explicit SvgFile(const std::filesystem::path& file);
  SvgFile(std::string text, std::filesystem::path file);
  SvgFile(const SvgFile&) = delete;
  SvgFile& operator=(const SvgFile&) = delete;

  pugi::xml_node Root() const { return document_.document_element(); }
  // The first element with the id; null when there is none.
  pugi::xml_node Find(std::string_view id) const;
  const SvgStyles& Styles() const { return styles_; }
  // The text of the only <path> in the file, or of the one with the id; null when there are several or none, or when a
  // transform applies to it.
  const char* LonePath(const std::string& id) const;
  // Throws InputError: "logo.svg: " + complaint.
  [[noreturn]] void Refuse(std::string_view complaint) const;
  [[noreturn]] void RefuseId(const std::string& id) const;
  // "logo.svg", for notes.
  std::string Name() const;

 private:
  void Index();

  std::string text_;  // the tree points into it
  std::filesystem::path file_;
  pugi::xml_document document_;
  std::unordered_map<std::string_view, pugi::xml_node> ids_;
  std::vector<pugi::xml_node> paths_;
  SvgStyles styles_;
};

}  // namespace orvandel::stage
