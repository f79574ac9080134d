#include "stage/scene/mask_reader.h"

#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/scene/svg_file.h"
#include "stage/scene/svg_path.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kMaskForms =
    "a mask: {\"d\": path}, {\"file\": name, \"id\": name} or {\"keyframes\": [...]}";

// Path text has no length limit of its own: the file and the number of segments have.
SvgPath ReadPathText(const JsonPlace& place) {
  if (!place.IsString()) place.FailNot("a path's text");
  try {
    return ParseSvgPath(place.Node().text);
  } catch (const InputError& error) {
    place.Fail(error.what());
  }
}

// Which of the three forms a mask has.
std::string_view FormOf(const JsonPlace& place) {
  place.MustBeObject(kMaskForms).OnlyKeys({"d", "file", "id", "keyframes"});
  std::string_view form;
  for (const std::string_view key : {"d", "file", "keyframes"}) {
    if (!place.Find(key)) continue;
    if (!form.empty()) place.FailAt(key, fmt::format("stands beside \"{}\": a mask has one of the two", form));
    form = key;
  }
  if (place.Find("id") && form != "file") place.FailAt("id", "belongs to \"file\", which is missing");
  return form;
}

SvgPath ReadPathFile(const JsonPlace& place, const SceneFiles& files) {
  const JsonPlace name = place.Need("file", "a file name");
  const std::filesystem::path file = files.Plain(name);
  std::string id;
  if (const auto given = place.Find("id")) {
    id = given->Text("the id of a <path>");
    if (id.empty()) given->Fail("the id is empty");
  }
  try {
    const std::string text = ReadSvgPathText(file, id);
    try {
      return ParseSvgPath(text);
    } catch (const InputError& error) {
      throw InputError(fmt::format("{}: {}", file.string(), error.what()));
    }
  } catch (const InputError& error) {
    place.Fail(error.what());
  }
}

// Points are interpolated one to one, so every key must be drawn like the first. Equal commands do not settle it: an
// arc has one to four segments, and Z adds a line only where a gap is.
void MustMatchFirst(const JsonPlace& place, const SvgPath& path, const SvgPath& first) {
  if (path.commands != first.commands) {
    std::size_t i = 0;
    while (i < path.commands.size() && i < first.commands.size() && path.commands[i] == first.commands[i]) ++i;
    const auto letter = [i](const std::string& all) { return i < all.size() ? all.substr(i, 1) : "nothing"; };
    place.Fail(fmt::format("command {} is {}, in the first key {}: every key needs the same commands", i + 1,
                           letter(path.commands), letter(first.commands)));
  }
  if (path.path.segments.size() != first.path.segments.size()) {
    place.Fail(fmt::format(
        "becomes {} segments, the first key {}: arcs of another size, or a gap that Z closes in one of them only",
        path.path.segments.size(), first.path.segments.size()));
  }
}

std::vector<MaskKey> ReadKeys(const JsonPlace& place, KeyReader& reader) {
  std::vector<MaskKey> keys;
  SvgPath first;
  reader.Read(place, "d", [&](const JsonPlace& value, double time, const Easing& easing) {
    SvgPath path = ReadPathText(value);
    keys.push_back({time, path.path, easing});
    if (keys.size() == 1) {
      first = std::move(path);
    } else {
      MustMatchFirst(value, path, first);
    }
  });
  return keys;
}

}  // namespace

Mask ReadMask(const JsonPlace& place, std::string name, const SceneFiles& files, KeyReader& keys) {
  const std::string_view form = FormOf(place);
  Mask mask;
  mask.name = std::move(name);
  if (form == "keyframes") {
    mask.keys = ReadKeys(place, keys);
  } else if (form == "file") {
    mask.keys.push_back({0, ReadPathFile(place, files).path, {}});
  } else {
    const JsonPlace text = place.Need("d", "a path (or \"file\", or \"keyframes\")");
    mask.keys.push_back({0, ReadPathText(text).path, {}});
  }
  return mask;
}

}  // namespace orvandel::stage
