#include "stage/scene/svg_drawing.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "stage/base/names.h"
#include "stage/scene/svg_path.h"
#include "stage/scene/svg_shapes.h"
#include "stage/scene/svg_transform.h"

namespace orvandel::stage {
namespace {

constexpr std::size_t kCharactersOfElement = 64;  // what visiting one costs, not counting its attributes

// What an element inherits from those above it.
struct Surroundings {
  Affine transform;
  SvgLook look;
  SvgViewport viewport;
};

// Elements that are drawn only where another one refers to them.
bool IsTemplate(std::string_view name) {
  for (const std::string_view known : {"defs", "symbol", "clipPath", "mask", "pattern", "marker"}) {
    if (name == known) return true;
  }
  return false;
}

class Drafter {
 public:
  explicit Drafter(const SvgFile& file) : file_(file) {}

  SvgDrawing Draw(const std::string& id) {
    const pugi::xml_node root = file_.Root();
    if (SvgLocalName(root.name()) != "svg") file_.Refuse("is not an SVG file: its outermost element is not <svg>");
    const pugi::xml_node node = id.empty() ? root : file_.Find(id);
    if (!node) file_.RefuseId(id);
    std::vector<pugi::xml_node> above;
    for (pugi::xml_node it = node.parent(); it.type() == pugi::node_element; it = it.parent()) above.push_back(it);
    Surroundings around{{}, {}, {}};
    for (auto it = above.rbegin(); it != above.rend(); ++it) around = Inside(*it, around, nullptr);
    // An element that is asked for by name is drawn, wherever it is.
    if (!id.empty()) around.look.displayed = around.look.visible = true;
    Visit(node, around, nullptr, !id.empty());
    return std::move(drawing_);
  }

 private:
  void Spend(std::size_t characters) {
    spent_ += characters;
    if (spent_ > kMaxDrawnCharacters) {
      file_.Refuse("is too much work: elements that are repeated by <use> count each time");
    }
  }
  void Complain(std::string text) {
    if (drawing_.complaint.empty()) drawing_.complaint = std::move(text);
  }

  // What the children of an element inherit. `use`: the <use> element that repeats this one.
  Surroundings Inside(pugi::xml_node node, const Surroundings& around, const pugi::xml_node* use) {
    Surroundings inside = around;
    for (const char* name : {"transform", "style", "class"}) Spend(std::strlen(node.attribute(name).value()));
    inside.look = file_.Styles().LookOf(node, around.look);
    if (const pugi::xml_attribute transform = node.attribute("transform")) {
      if (const auto moved = ParseTransform(transform.value())) {
        inside.transform = inside.transform.After(*moved);
      } else {
        Complain(fmt::format("the transform {} is not understood", Quoted(transform.value())));
      }
    }
    const std::string_view name = SvgLocalName(node.name());
    if (name == "svg" || name == "symbol") EnterViewport(node, use, inside);
    return inside;
  }

  static std::string_view Given(pugi::xml_node node, const pugi::xml_node* use, const char* name) {
    if (use != nullptr && use->attribute(name)) return use->attribute(name).value();
    return node.attribute(name).value();
  }

  static void EnterViewport(pugi::xml_node node, const pugi::xml_node* use, Surroundings& inside) {
    const bool outermost = node.parent().type() != pugi::node_element;
    const auto view = ParseViewBox(node.attribute("viewBox").value());
    SvgViewport& port = inside.viewport;
    if (outermost && view) port = {view->width, view->height};
    // The default of browsers is 300 x 150.
    if (port.width == 0) port = {300, 150};
    SvgBox box{0, 0, SvgLength(Given(node, use, "width"), port.width, port.width),
               SvgLength(Given(node, use, "height"), port.height, port.height)};
    if (outermost) {
      if (!view) port = {box.width, box.height};
      return;  // the picture is the scene's
    }
    if (SvgLocalName(node.name()) == "svg") {
      box.x = SvgLength(node.attribute("x").value(), port.width, 0);
      box.y = SvgLength(node.attribute("y").value(), port.height, 0);
    }
    if (!view) {
      inside.transform = inside.transform.After(Affine::Move(box.x, box.y));
      port = {box.width, box.height};
      return;
    }
    inside.transform = inside.transform.After(FromViewBox(*view, box, node.attribute("preserveAspectRatio").value()));
    port = {view->width, view->height};
  }

  // `asked`: a template is drawn as well, because it was asked for by its id or by a <use>.
  void Visit(pugi::xml_node node, const Surroundings& around, const pugi::xml_node* use, bool asked) {
    if (++depth_ > kMaxSvgDepth) file_.Refuse(fmt::format("elements nested more than {} deep", kMaxSvgDepth));
    Spend(kCharactersOfElement + 4 * file_.Styles().RuleCount());
    const std::string_view name = SvgLocalName(node.name());
    if (asked || !IsTemplate(name)) {
      const Surroundings inside = Inside(node, around, use);
      if (name == "use") {
        Repeat(node, inside);
      } else if (name == "switch") {
        VisitFirst(node, inside);
      } else if (name == "text" || name == "image") {
        if (inside.look.IsSeen()) ++(name == "text" ? drawing_.texts : drawing_.images);
      } else if (name == "svg" || name == "g" || name == "a" || IsTemplate(name)) {
        for (const pugi::xml_node child : node.children()) {
          if (child.type() == pugi::node_element) Visit(child, inside, nullptr, false);
        }
      } else {
        Outline(node, inside);
      }
    }
    --depth_;
  }

  // Of the alternatives, the first one without requirements.
  void VisitFirst(pugi::xml_node node, const Surroundings& inside) {
    for (const pugi::xml_node child : node.children()) {
      if (child.type() != pugi::node_element || SvgLocalName(child.name()) == "foreignObject") continue;
      if (child.attribute("requiredExtensions")) continue;
      return Visit(child, inside, nullptr, false);
    }
  }

  void Repeat(pugi::xml_node use, Surroundings inside) {
    std::string_view target = use.attribute("href").value();
    for (const pugi::xml_attribute attribute : use.attributes()) {
      if (target.empty() && SvgLocalName(attribute.name()) == "href") target = attribute.value();
    }
    const pugi::xml_node node = target.starts_with('#') ? file_.Find(target.substr(1)) : pugi::xml_node();
    if (!node) return Complain(fmt::format("<use> refers to {}, which is not in the file", Quoted(target)));
    if (std::find(repeated_.begin(), repeated_.end(), node) != repeated_.end()) {
      return Complain(fmt::format("<use> of {} inside itself", Quoted(target)));
    }
    inside.transform =
        inside.transform.After(Affine::Move(SvgLength(use.attribute("x").value(), inside.viewport.width, 0),
                                            SvgLength(use.attribute("y").value(), inside.viewport.height, 0)));
    repeated_.push_back(node);
    Visit(node, inside, &use, true);
    repeated_.pop_back();
  }

  void Outline(pugi::xml_node node, const Surroundings& inside) {
    Spend(std::strlen(node.attribute("d").value()) + std::strlen(node.attribute("points").value()));
    const std::string text = SvgPathTextOf(node, inside.viewport);
    if (text.empty()) return;
    SvgSubPaths sub = ParseSvgSubPaths(text, kMaxDrawnSegments - segments_);
    if (!sub.complaint.empty()) {
      Complain(fmt::format("<{}>: {}", Printable(SvgLocalName(node.name())), sub.complaint));
    }
    for (MaskPath& path : sub.paths) {
      segments_ += path.segments.size();
      Move(path, inside.transform);
      drawing_.outlines.push_back({std::move(path), inside.look.filled, inside.look.IsSeen()});
    }
    if (segments_ >= kMaxDrawnSegments) file_.Refuse(fmt::format("draws more than {} segments", kMaxDrawnSegments));
  }

  const SvgFile& file_;
  SvgDrawing drawing_;
  int depth_ = 0;
  std::size_t spent_ = 0, segments_ = 0;
  std::vector<pugi::xml_node> repeated_;  // targets of the <use> elements being followed
};

}  // namespace

SvgDrawing DrawSvg(const SvgFile& file, const std::string& id) { return Drafter(file).Draw(id); }

}  // namespace orvandel::stage
