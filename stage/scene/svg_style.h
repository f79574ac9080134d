// Which elements of an SVG file are seen: display, visibility, fill and stroke, from attributes and style sheets.
//
// In style sheets only selectors of a single element are read: "path", ".logo", "#eye", "g.logo", and lists of them. No
// other property matters to outlines.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

namespace orvandel::stage {

// Inherited from element to element. By default elements are filled and not stroked.
struct SvgLook {
  bool displayed = true;
  bool visible = true;
  bool filled = true;
  bool stroked = false;

  bool IsSeen() const { return displayed && visible && (filled || stroked); }
};

class SvgStyles {
 public:
  // Adds the text of one <style>; rules beyond the limit are ignored.
  void AddSheet(std::string_view text);
  // Of the element inside one that looks like `above`.
  SvgLook LookOf(pugi::xml_node element, SvgLook above) const;
  std::size_t RuleCount() const { return count_; }

 private:
  struct Rule {
    std::string type, id;  // empty: any
    std::vector<std::string> classes;
    int weight = 0;
    std::string declarations;
  };
  void AddSelector(std::string_view selector, std::string_view declarations);
  static bool Meets(const Rule& rule, pugi::xml_node element, std::string_view classes);

  // By the rule's id, class or type, with its sign, so that few rules are tried for an element.
  std::unordered_map<std::string, std::vector<Rule>> rules_;
  std::size_t count_ = 0;
};

// "path" of "svg:path".
std::string_view SvgLocalName(std::string_view name);

}  // namespace orvandel::stage
