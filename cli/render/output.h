// What an output name stands for: pictures, a film, or a stream of raw frames.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "cli/output_pattern.h"

namespace orvandel::cli {

enum class OutputKind {
  kPictures,  // PNG or EXR files, one a frame
  kFilm,      // one file
  kStream     // standard output: every frame's pixels as bytes red, green, blue, alpha, one frame after another
};

struct Output {
  OutputKind kind = OutputKind::kPictures;
  OutputPattern pattern{"-"};

  bool IsExr() const { return kind == OutputKind::kPictures && pattern.Extension() == ".exr"; }
  bool IsOrdered() const { return kind != OutputKind::kPictures; }
  std::filesystem::path FileOf(std::int32_t frame) const { return pattern.For(frame); }
  std::string Name() const;  // for people
};

// By the name's extension; "-" is the stream. A name without a number gets one when several pictures are to be written.
// Refuses names that cannot work with `frames` (InputError).
Output ParseOutput(std::string_view text, const std::vector<std::int32_t>& frames);

// Creates the folder and checks that it is writable, before the first frame is rendered. WorkError;
// InputError, naming `option`, when the name is a folder's.
void PrepareFolder(const std::filesystem::path& file, std::string_view option = "--output");

// InputError when a frame's file exists: `option` is the one that named the files, `advice` what the person can do.
void RefuseExisting(const Output& output, const std::vector<std::int32_t>& frames, std::string_view option,
                    std::string_view advice);

// What to do about files that exist already under the names to be written.
enum class Existing { kRefuse, kReplace, kKeep };

// What pictures are to be written; files that hold something else do not count as done.
struct PictureForm {
  std::int32_t width = 0, height = 0;
  int depth = 8;
};

// The frames that are left to do. Refuses files that exist where that is the policy; where they are kept, a picture
// counts as done when its file is a whole one of this form, and one of another form is refused. InputError.
std::vector<std::int32_t> FramesLeft(const Output& output, const std::vector<std::int32_t>& frames, Existing existing,
                                     const PictureForm& form);

}  // namespace orvandel::cli
