#include "stage/scene/scene_files.h"

#include <algorithm>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "stage/base/file_bytes.h"
#include "stage/base/names.h"
#include "stage/base/path_text.h"
#include "stage/scene/sequence_name.h"

namespace orvandel::stage {
namespace {

void MustBePlainFile(const JsonPlace& place, const std::filesystem::path& file) {
  const auto complaint = [](FileKind kind) {
    if (kind == FileKind::kNone) return "does not exist";
    return kind == FileKind::kUnreachable ? "cannot be reached" : "is not a plain file";
  };
  const FileKind kind = FileKindOf(file);
  if (kind != FileKind::kPlain) place.Fail(fmt::format("{} {}", Quoted(file.string()), complaint(kind)));
}

}  // namespace

SceneFiles::SceneFiles(const std::filesystem::path& sceneFile, bool allowOutside)
    : folder_(sceneFile.parent_path()), allowOutside_(allowOutside || !HasFolders()) {
  if (allowOutside_) return;
  std::error_code failure;
  root_ =
      std::filesystem::weakly_canonical(std::filesystem::absolute(folder_.empty() ? "." : folder_, failure), failure);
  if (!root_.has_filename()) root_ = root_.parent_path();  // a folder written with a slash at its end
}

// The name of a file on this machine: decoders would open more than that.
std::filesystem::path SceneFiles::Resolved(const JsonPlace& place) const {
  const std::string& name = place.Text("a file name");
  if (name.empty()) place.Fail("the file name is empty");
  if (name.find('\0') != std::string::npos) place.Fail(fmt::format("{} is not a file name", place.Found()));
  if (name.find("://") != std::string::npos) {
    place.Fail(fmt::format("{} is an address; only files are read", place.Found()));
  }
  return folder_ / PathOf(name);
}

void SceneFiles::MustBeInside(const JsonPlace& place, const std::filesystem::path& file) const {
  if (allowOutside_) return;
  std::error_code failure;
  // Absolute first: a name of which nothing exists would stay relative.
  const auto target = std::filesystem::weakly_canonical(std::filesystem::absolute(file, failure), failure);
  const bool inside =
      !failure && std::mismatch(root_.begin(), root_.end(), target.begin(), target.end()).first == root_.end();
  if (inside) return;
  place.Fail(fmt::format("{} lies outside the scene's folder, which needs --allow-outside", Quoted(file.string())));
}

std::filesystem::path SceneFiles::Plain(const JsonPlace& place) const {
  std::filesystem::path file = Resolved(place);
  MustBeInside(place, file);
  MustBePlainFile(place, file);
  return file;
}

std::filesystem::path SceneFiles::PlainOrSequence(const JsonPlace& place) const {
  std::filesystem::path file = Resolved(place);
  const auto sequence = ParseSequenceName(file);
  if (!sequence && file.filename().string().find("##") != std::string::npos && FileKindOf(file) == FileKind::kNone) {
    place.Fail(fmt::format("{} does not exist; a numbered sequence is written with %04d in place of ####",
                           Quoted(file.string())));
  }
  if (!sequence) return Plain(place);
  MustBeInside(place, file);
  const auto numbers = sequence->Existing();
  if (numbers.empty()) place.Fail(fmt::format("no file is named like {}", Quoted(file.string())));
  for (const std::int64_t number : numbers) MustBeInside(place, sequence->FileOf(number));
  return file;
}

}  // namespace orvandel::stage
