#include "stage/scene/outline_choice.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/scene/path_measure.h"
#include "stage/scene/scene_limits.h"
#include "stage/scene/svg_path.h"

namespace orvandel::stage {
namespace {

constexpr double kLeastArea = 1e-9;  // of the drawing's box: what is less is a line drawn to and fro

bool EndsMeet(const MaskPath& path) { return path.segments.front().p0 == path.segments.back().p3; }

// A filling shuts an outline whose path leaves it open, as does an end on its start.
void CloseWhatIsFilled(SvgDrawing& drawing, bool all) {
  for (SvgOutline& outline : drawing.outlines) {
    if (all || outline.filled || EndsMeet(outline.path)) ClosePath(outline.path);
  }
}

void KeepWhere(std::vector<SvgOutline>& outlines, const std::vector<bool>& keep) {
  if (std::find(keep.begin(), keep.end(), true) == keep.end()) return;  // all are alike: none is the better one
  std::size_t kept = 0;
  for (std::size_t i = 0; i < keep.size(); ++i) {
    if (keep[i] && kept != i) outlines[kept] = std::move(outlines[i]);
    if (keep[i]) ++kept;
  }
  outlines.resize(kept);
}

// What is seen rather than what is not, closed rather than open, with an inside rather than without.
void KeepTheBest(SvgDrawing& drawing) {
  std::vector<bool> keep;
  for (const SvgOutline& outline : drawing.outlines) keep.push_back(outline.seen);
  KeepWhere(drawing.outlines, keep);
  PathBox box;
  for (const SvgOutline& outline : drawing.outlines) TakeInto(box, outline.path);
  const double least = kLeastArea * box.Width() * box.Height();
  keep.clear();
  for (const SvgOutline& outline : drawing.outlines) {
    keep.push_back(outline.path.closed && AreaOf(outline.path) > least);
  }
  KeepWhere(drawing.outlines, keep);
}

// The places of the largest ones, the largest first, the others in their order.
std::vector<std::size_t> Largest(const std::vector<SvgOutline>& outlines, std::size_t count) {
  std::vector<std::pair<double, std::size_t>> areas;
  for (std::size_t i = 0; i < outlines.size(); ++i) areas.emplace_back(-AreaOf(outlines[i].path), i);
  std::sort(areas.begin(), areas.end());
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < std::min(count, areas.size()); ++i) places.push_back(areas[i].second);
  std::sort(places.begin() + 1, places.end());
  return places;
}

std::size_t CountOf(const OutlineChoice& choice, std::size_t there) {
  switch (choice.kind) {
    case OutlineChoice::Kind::kUsual:
      return std::min(there, kUsualOutlines);
    case OutlineChoice::Kind::kAll:
      if (there > kMaxEmitters) {
        throw InputError(
            fmt::format("{} outlines, and each takes an effect of the {} that a scene has at most; without "
                        "\"part\" the {} largest are taken",
                        there, kMaxEmitters, kUsualOutlines));
      }
      return there;
    default:
      return 1;
  }
}

std::string NoteOf(std::string_view name, std::size_t there, std::size_t taken) {
  const std::string which = taken == there ? "all are taken, an effect for each"
                                           : fmt::format("the {} largest are taken, an effect for each", taken);
  return fmt::format("{} has {} outlines: {}; \"part\" chooses others: a number in 1..{}, \"largest\" or \"all\"", name,
                     there, which, there);
}

}  // namespace

void ClosePath(MaskPath& path) {
  if (path.closed) return;
  path.closed = true;
  if (EndsMeet(path)) return;
  const PointValue a = path.segments.back().p3, b = path.segments.front().p0;
  const auto mixed = [&](double way) { return PointValue{a.x + (b.x - a.x) * way, a.y + (b.y - a.y) * way}; };
  path.segments.push_back({a, mixed(1.0 / 3.0), mixed(2.0 / 3.0), b});
}

ChosenOutlines ChooseOutlines(SvgDrawing drawing, const OutlineChoice& choice, std::string_view name) {
  CloseWhatIsFilled(drawing, choice.close);
  KeepTheBest(drawing);
  std::vector<SvgOutline>& outlines = drawing.outlines;
  const std::size_t there = outlines.size();
  ChosenOutlines chosen;
  if (choice.kind == OutlineChoice::Kind::kNumber) {
    if (choice.number > there) {
      throw InputError(fmt::format("{} is outside 1..{}: {} has {} closed outline{}", choice.number, there, name, there,
                                   there == 1 ? "" : "s"));
    }
    chosen.paths.push_back(std::move(outlines[choice.number - 1].path));
  } else {
    for (const std::size_t place : Largest(outlines, CountOf(choice, there))) {
      chosen.paths.push_back(std::move(outlines[place].path));
    }
    if (choice.kind == OutlineChoice::Kind::kUsual && there > 1) chosen.note = NoteOf(name, there, chosen.paths.size());
  }
  for (const MaskPath& path : chosen.paths) {
    if (path.segments.size() > kMaxSegments) {
      throw InputError(fmt::format("an outline of {} segments; {} are allowed", path.segments.size(), kMaxSegments));
    }
  }
  return chosen;
}

}  // namespace orvandel::stage
