#include "stage/scene/svg_style.h"

#include <algorithm>
#include <functional>

#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

constexpr std::size_t kMostRules = 4096;
constexpr std::size_t kMostRulesOfOne = 64;  // that share an id, a class or a type
constexpr std::size_t kMostClasses = 16;     // of one element
constexpr std::size_t kMostOfDeclarations = 256;
constexpr std::string_view kBlanks = " \t\n\f\r";

void Apply(std::string_view name, std::string_view value, const SvgLook& above, SvgLook& look) {
  value = Trimmed(value.substr(0, value.find('!')));
  if (value.empty()) return;
  const bool none = value == "none" || value == "transparent", inherited = value == "inherit";
  if (name == "display") {
    look.displayed = inherited ? above.displayed : !none;
  } else if (name == "visibility") {
    look.visible = inherited ? above.visible : value == "visible";
  } else if (name == "fill") {
    look.filled = inherited ? above.filled : !none;
  } else if (name == "stroke") {
    look.stroked = inherited ? above.stroked : !none;
  }
}

// "fill: none; stroke: red".
void ApplyAll(std::string_view declarations, const SvgLook& above, SvgLook& look) {
  while (!declarations.empty()) {
    const std::size_t end = std::min(declarations.find(';'), declarations.size());
    const std::string_view one = declarations.substr(0, end);
    if (const std::size_t colon = one.find(':'); colon != std::string_view::npos) {
      Apply(Trimmed(one.substr(0, colon)), one.substr(colon + 1), above, look);
    }
    declarations.remove_prefix(std::min(end + 1, declarations.size()));
  }
}

// Keeps only what LookOf applies, because it is parsed again for every matching element.
std::string Relevant(std::string_view declarations) {
  std::string result;
  while (!declarations.empty()) {
    const std::size_t end = std::min(declarations.find(';'), declarations.size());
    const std::string_view one = declarations.substr(0, end), name = Trimmed(one.substr(0, one.find(':')));
    const bool counts = name == "display" || name == "visibility" || name == "fill" || name == "stroke";
    if (counts && one.size() < kMostOfDeclarations) result.append(one).append(";");
    declarations.remove_prefix(std::min(end + 1, declarations.size()));
  }
  return result.substr(0, kMostOfDeclarations);
}

void ForEachWord(std::string_view text, const std::function<void(std::string_view)>& take) {
  for (std::size_t count = 0; count < kMostClasses; ++count) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return;
    const std::size_t end = std::min(text.find_first_of(kBlanks, begin), text.size());
    take(text.substr(begin, end - begin));
    text.remove_prefix(end);
  }
}

bool HasWord(std::string_view text, std::string_view word) {
  bool found = false;
  ForEachWord(text, [&](std::string_view one) { found = found || one == word; });
  return found;
}

std::string WithoutComments(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = std::min(text.find("/*", at), text.size());
    result.append(text.substr(at, begin - at));
    const std::size_t end = text.find("*/", begin);
    at = end == std::string_view::npos ? text.size() : end + 2;
  }
  return result;
}

}  // namespace

std::string_view SvgLocalName(std::string_view name) {
  const auto colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

void SvgStyles::AddSheet(std::string_view text) {
  const std::string plain = WithoutComments(text);
  for (std::string_view rest = plain; count_ < kMostRules;) {
    const std::size_t open = rest.find('{'), close = rest.find('}', open);
    if (open == std::string_view::npos || close == std::string_view::npos) return;
    std::string_view selectors = rest.substr(0, open);
    while (!selectors.empty() && count_ < kMostRules) {
      const std::size_t end = std::min(selectors.find(','), selectors.size());
      AddSelector(Trimmed(selectors.substr(0, end)), rest.substr(open + 1, close - open - 1));
      selectors.remove_prefix(std::min(end + 1, selectors.size()));
    }
    rest.remove_prefix(close + 1);
  }
}

void SvgStyles::AddSelector(std::string_view selector, std::string_view declarations) {
  if (selector.empty() || selector.find_first_of(" \t\n\f\r>+~:[@()") != std::string_view::npos) return;
  Rule rule;
  std::size_t end = std::min(selector.find_first_of(".#"), selector.size());
  rule.type = selector.substr(0, end);
  if (rule.type == "*") rule.type.clear();
  rule.weight = rule.type.empty() ? 0 : 1;
  while (end < selector.size()) {
    const char sign = selector[end];
    const std::size_t begin = end + 1;
    end = std::min(selector.find_first_of(".#", begin), selector.size());
    const std::string name(selector.substr(begin, end - begin));
    rule.weight += sign == '#' ? 10000 : 100;
    if (sign == '#') rule.id = name;
    if (sign == '.') rule.classes.push_back(name);
  }
  rule.declarations = Relevant(declarations);
  if (rule.declarations.empty()) return;
  const std::string key = !rule.id.empty() ? "#" + rule.id : !rule.classes.empty() ? "." + rule.classes[0] : rule.type;
  std::vector<Rule>& alike = rules_[key];
  if (alike.size() == kMostRulesOfOne || rule.classes.size() > kMostClasses) return;
  ++count_;
  alike.push_back(std::move(rule));
}

bool SvgStyles::Meets(const Rule& rule, pugi::xml_node element, std::string_view classes) {
  if (!rule.type.empty() && rule.type != SvgLocalName(element.name())) return false;
  if (!rule.id.empty() && rule.id != element.attribute("id").value()) return false;
  return std::all_of(rule.classes.begin(), rule.classes.end(),
                     [&](const std::string& name) { return HasWord(classes, name); });
}

SvgLook SvgStyles::LookOf(pugi::xml_node element, SvgLook above) const {
  SvgLook look = above;
  for (const char* name : {"display", "visibility", "fill", "stroke"}) {
    Apply(name, element.attribute(name).value(), above, look);
  }
  if (!rules_.empty()) {
    const std::string_view classes = element.attribute("class").value();
    std::vector<const Rule*> met;
    const auto meet = [&](const std::string& key) {
      const auto found = rules_.find(key);
      if (found == rules_.end()) return;
      for (const Rule& rule : found->second) {
        if (Meets(rule, element, classes)) met.push_back(&rule);
      }
    };
    meet("");
    meet(std::string(SvgLocalName(element.name())));
    ForEachWord(classes, [&](std::string_view name) { meet("." + std::string(name)); });
    meet("#" + std::string(element.attribute("id").value()));
    std::stable_sort(met.begin(), met.end(), [](const Rule* a, const Rule* b) { return a->weight < b->weight; });
    for (const Rule* rule : met) ApplyAll(rule->declarations, above, look);
  }
  ApplyAll(element.attribute("style").value(), above, look);
  return look;
}

}  // namespace orvandel::stage
