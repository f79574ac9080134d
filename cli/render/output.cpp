#include "cli/render/output.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <set>

#include "cli/render/png_form.h"
#include "stage/base/errors.h"
#include "stage/films/film_out.h"

namespace orvandel::cli {
namespace {

using stage::InputError;
using stage::WorkError;

[[noreturn]] void RefuseKind(const std::filesystem::path& file, const std::string& extension) {
  if (extension == ".gif") {
    throw InputError(
        fmt::format("--output: '{}': a GIF has 256 colours, no soft edges and no 1/30 s; use .webp or .apng, which "
                    "browsers show as well and other programs turn into a GIF",
                    file.string()));
  }
  std::set<std::string> known{".png", ".exr"};
  for (const stage::FilmKind& kind : stage::FilmKinds()) known.insert(kind.extension);
  throw InputError(
      fmt::format("--output: '{}' is neither a picture nor a film; use {} (orvandel render --list-formats)",
                  file.string(), fmt::join(known, ", ")));
}

void RequireRisingFrames(const std::vector<std::int32_t>& frames, const std::string& name) {
  const auto fall = std::adjacent_find(frames.begin(), frames.end(), std::greater_equal<>());
  if (fall == frames.end()) return;
  throw InputError(fmt::format("--frames: {} comes after {}, but the frames of a film ({}) must be in ascending order",
                               *(fall + 1), *fall, name));
}

// Whether the frame's picture is there.
bool IsDone(const std::filesystem::path& file, const PictureForm& form) {
  const auto found = FormOfPng(file);
  if (!found) return false;
  if (found->width == form.width && found->height == form.height && found->depth == form.depth) return true;
  throw InputError(fmt::format(
      "--resume: '{}' is a picture of {} x {} with {} bits a channel, not of {} x {} with {}; resume with the "
      "settings that it was rendered with, or use --overwrite",
      file.string(), found->width, found->height, found->depth, form.width, form.height, form.depth));
}

}  // namespace

std::string Output::Name() const { return kind == OutputKind::kStream ? "standard output" : pattern.Text(); }

Output ParseOutput(std::string_view text, const std::vector<std::int32_t>& frames) {
  Output output{OutputKind::kPictures, OutputPattern(text)};
  if (text == "-") {
    output.kind = OutputKind::kStream;
    return output;
  }
  if (output.pattern.Extension() == ".png" || output.pattern.Extension() == ".exr") {
    if (!output.pattern.HasNumber() && frames.size() > 1) output.pattern.AddNumber();
    return output;
  }
  output.kind = OutputKind::kFilm;
  if (!stage::IsFilmName(output.FileOf(0))) RefuseKind(output.FileOf(0), output.pattern.Extension());
  if (output.pattern.HasNumber()) {
    throw InputError(fmt::format("--output: '{}' numbers a film; one film holds all frames", text));
  }
  RequireRisingFrames(frames, output.pattern.Text());
  return output;
}

void PrepareFolder(const std::filesystem::path& file, std::string_view option) {
  const auto folder = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw WorkError(fmt::format("{}: the folder cannot be made: {}", folder.string(), error.message()));
  if (!std::filesystem::is_directory(folder, error)) {
    throw WorkError(fmt::format("{}: is not a folder", folder.string()));
  }
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    throw WorkError(fmt::format("{}: the folder cannot be written to", folder.string()));
  }
  if (std::filesystem::is_directory(file, error)) {
    throw InputError(fmt::format("{}: '{}' is a folder", option, file.string()));
  }
}

void RefuseExisting(const Output& output, const std::vector<std::int32_t>& frames, std::string_view option,
                    std::string_view advice) {
  for (const std::int32_t frame : frames) {
    const std::filesystem::path file = output.FileOf(frame);
    std::error_code ignored;
    if (!std::filesystem::exists(std::filesystem::symlink_status(file, ignored))) continue;
    throw InputError(fmt::format("{}: '{}' exists; {}", option, file.string(), advice));
  }
}

std::vector<std::int32_t> FramesLeft(const Output& output, const std::vector<std::int32_t>& frames, Existing existing,
                                     const PictureForm& form) {
  if (existing == Existing::kKeep && output.IsOrdered()) {
    throw InputError(fmt::format("--resume: {} cannot be resumed; only numbered pictures can",
                                 output.kind == OutputKind::kFilm ? "a film" : "a stream"));
  }
  if (existing == Existing::kKeep && output.IsExr()) {
    throw InputError("--resume: of numbered pictures, only .png can be resumed");
  }
  if (output.kind == OutputKind::kStream) return frames;
  if (existing == Existing::kRefuse) {
    const bool isFilm = output.kind == OutputKind::kFilm;
    RefuseExisting(output, isFilm ? std::vector{0} : frames, "--output",
                   isFilm ? "--overwrite replaces it"
                          : "--overwrite replaces it, --resume keeps the pictures that are there and renders the rest");
  }
  if (existing != Existing::kKeep) return frames;
  std::vector<std::int32_t> left;
  for (const std::int32_t frame : frames) {
    if (!IsDone(output.FileOf(frame), form)) left.push_back(frame);
  }
  return left;
}

}  // namespace orvandel::cli
