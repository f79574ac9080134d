#include "stage/scene/mask_reader.h"

#include <cmath>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/base/names.h"
#include "stage/scene/outline_choice.h"
#include "stage/scene/svg_drawing.h"
#include "stage/scene/svg_file.h"
#include "stage/scene/svg_path.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kMaskForms =
    "a mask: {\"d\": path}, {\"file\": name, \"part\": which} or {\"keyframes\": [...]}";

// Path text has no length limit of its own: the file's size and the number of segments are limited.
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
  place.MustBeObject(kMaskForms)
      .OnlyKeys({"d", "file", "keyframes", "id", "part", "close", "fit", "scale", "rotate", "position", "anchor"});
  std::string_view form;
  for (const std::string_view key : {"d", "file", "keyframes"}) {
    if (!place.Find(key)) continue;
    if (!form.empty()) place.FailAt(key, fmt::format("is given together with \"{}\": a mask has one of the two", form));
    form = key;
  }
  for (const std::string_view key : {"id", "part"}) {
    if (place.Find(key) && form != "file") place.FailAt(key, "belongs to \"file\", which is missing");
  }
  return form;
}

// What a mask takes of its file.
struct Wanted {
  std::string id;  // empty: the whole drawing
  OutlineChoice choice;
  bool plain = true;  // no "part" is given
};

OutlineChoice::Kind KindOf(std::string_view part) {
  if (part == "all") return OutlineChoice::Kind::kAll;
  return part == "largest" ? OutlineChoice::Kind::kLargest : OutlineChoice::Kind::kUsual;
}

Wanted ReadWanted(const JsonPlace& place) {
  Wanted wanted;
  if (const auto id = place.Find("id")) {
    wanted.id = id->Text("the id of an element");
    if (wanted.id.empty()) id->Fail("the id is empty");
  }
  if (const auto close = place.Find("close")) wanted.choice.close = close->Truth();
  const auto part = place.Find("part");
  if (!part) return wanted;
  wanted.plain = false;
  if (part->IsNumber()) {
    const double number = part->NumberIn(1, 1e6, "the number of an outline");
    if (number != std::floor(number)) part->FailNot("the number of an outline");
    wanted.choice.kind = OutlineChoice::Kind::kNumber;
    wanted.choice.number = static_cast<std::size_t>(number);
    return wanted;
  }
  const std::string& text = part->Text("the number of an outline, an id, \"largest\" or \"all\"");
  wanted.choice.kind = KindOf(text);
  if (wanted.choice.kind != OutlineChoice::Kind::kUsual) return wanted;
  if (!wanted.id.empty()) part->Fail(fmt::format("{} is an id, but \"id\" is given as well", part->Found()));
  if (text.empty()) part->Fail("the id is empty");
  wanted.id = text;
  return wanted;
}

std::string WhyNothing(const SvgDrawing& drawing) {
  if (!drawing.complaint.empty()) return "draws no outline: " + drawing.complaint;
  if (drawing.texts > 0) return "has text and no outline: convert the text to paths in the drawing program";
  if (drawing.images > 0) return "has pictures and no outline: name a picture among \"layers\" to trace it";
  return "draws no outline";
}

std::string WhatIsLeftOut(const SvgDrawing& drawing) {
  std::string note;
  if (drawing.texts > 0) note = "text is not read: convert it to paths in the drawing program";
  if (drawing.images > 0) note += std::string(note.empty() ? "" : "; ") + "pictures inside the drawing are not read";
  if (!drawing.complaint.empty()) note += (note.empty() ? "" : "; ") + drawing.complaint;
  return note;
}

// A drawing that is a single path of one sub-path, not transformed: its numbers are taken exactly.
bool TakeLonePath(const SvgFile& file, const Wanted& wanted, MaskPath& path) {
  const char* text = wanted.plain ? file.LonePath(wanted.id) : nullptr;
  if (text == nullptr) return false;
  try {
    path = ParseSvgPath(text).path;
    return path.closed || wanted.choice.close;
  } catch (const InputError&) {
    return false;  // as a drawing, which says why
  }
}

// Gives a complaint that knows no place the place that caused it.
template <typename Work>
auto At(const JsonPlace& place, std::string_view key, const Work& work) {
  try {
    return work();
  } catch (const InputError& error) {
    if (key.empty()) place.Fail(error.what());
    place.FailAt(key, error.what());
  }
}

void NoteOtherShapes(const SvgFile& file, MaskRead& read) {
  try {
    const std::size_t there = DrawSvg(file, "").outlines.size();
    if (there < 2) return;
    read.notes.push_back(
        fmt::format("{} has {} outlines: its only <path> is taken; \"part\": \"all\" takes all", file.Name(), there));
  } catch (const InputError&) {  // faults of shapes that are not taken do not matter
  }
}

void ReadDrawing(const JsonPlace& place, const SceneFiles& files, MaskRead& read) {
  const JsonPlace name = place.Need("file", "a file name");
  const std::filesystem::path path = files.Plain(name);
  const Wanted wanted = ReadWanted(place);
  const auto file = At(place, "", [&] { return std::make_unique<SvgFile>(path); });
  MaskPath lone;
  if (TakeLonePath(*file, wanted, lone)) {
    if (wanted.choice.close) ClosePath(lone);
    read.mask.keys.push_back({0, std::move(lone), {}});
    if (wanted.id.empty()) NoteOtherShapes(*file, read);
    return;
  }
  SvgDrawing drawing = At(place, "", [&] { return DrawSvg(*file, wanted.id); });
  if (drawing.outlines.empty()) At(place, "", [&] { file->Refuse(WhyNothing(drawing)); });
  const std::string leftOut = WhatIsLeftOut(drawing);
  ChosenOutlines chosen = At(place, wanted.plain ? "" : "part",
                             [&] { return ChooseOutlines(std::move(drawing), wanted.choice, file->Name()); });
  if (!chosen.note.empty()) read.notes.push_back(chosen.note);
  if (!leftOut.empty()) read.notes.push_back(file->Name() + ": " + leftOut);
  read.mask.keys.push_back({0, std::move(chosen.paths.front()), {}});
  read.further.assign(std::make_move_iterator(chosen.paths.begin() + 1), std::make_move_iterator(chosen.paths.end()));
  read.asked = wanted.choice.kind == OutlineChoice::Kind::kAll;
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

std::vector<MaskKey> ReadKeys(const JsonPlace& place, bool close, KeyReader& reader) {
  std::vector<MaskKey> keys;
  SvgPath first;
  reader.Read(place, "d", [&](const JsonPlace& value, double time, const Easing& easing) {
    SvgPath path = ReadPathText(value);
    if (close) ClosePath(path.path);
    keys.push_back({time, path.path, easing});
    if (keys.size() == 1) {
      first = std::move(path);
    } else {
      MustMatchFirst(value, path, first);
    }
  });
  return keys;
}

void MustStayNear(const JsonPlace& place, const MaskPath& path) {
  for (const Cubic& segment : path.segments) {
    for (const PointValue p : {segment.p0, segment.c1, segment.c2, segment.p3}) {
      if (std::abs(p.x) <= kMaxMaskCoordinate && std::abs(p.y) <= kMaxMaskCoordinate) continue;
      place.Fail(fmt::format("has a point outside -{0}..{0} pixels", kMaxMaskCoordinate));
    }
  }
}

void Place(const JsonPlace& place, bool fromDrawing, const PictureSize& picture, MaskRead& read) {
  std::vector<MaskPath*> moved;
  for (MaskKey& key : read.mask.keys) moved.push_back(&key.path);
  for (MaskPath& path : read.further) moved.push_back(&path);
  // Of keyframes, the first gives the box: the others keep their way from it.
  std::vector<const MaskPath*> measured{&read.mask.keys.front().path};
  for (const MaskPath& path : read.further) measured.push_back(&path);
  const std::string note = PlaceMask(ReadPlacement(place), picture, fromDrawing, measured, moved);
  if (!note.empty()) read.notes.push_back(note);
  for (const MaskPath* path : moved) MustStayNear(place, *path);
}

}  // namespace

MaskRead ReadMask(const JsonPlace& place, std::string name, const SceneFiles& files, const PictureSize& picture,
                  KeyReader& keys) {
  const std::string_view form = FormOf(place);
  MaskRead read;
  read.mask.name = std::move(name);
  const auto closing = place.Find("close");
  const bool close = closing && closing->Truth();
  if (form == "keyframes") {
    read.mask.keys = ReadKeys(place, close, keys);
  } else if (form == "file") {
    ReadDrawing(place, files, read);
  } else {
    const JsonPlace text = place.Need("d", "a path (or \"file\", or \"keyframes\")");
    SvgPath path = ReadPathText(text);
    if (close) ClosePath(path.path);
    read.mask.keys.push_back({0, std::move(path.path), {}});
  }
  Place(place, form == "file", picture, read);
  for (std::string& note : read.notes) note = place.Where() + ": " + note;
  return read;
}

}  // namespace orvandel::stage
