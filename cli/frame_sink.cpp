#include "cli/frame_sink.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "cli/interrupt.h"
#include "cli/output_pattern.h"
#include "stage/errors.h"
#include "stage/partial_file.h"

namespace orvandel::cli {
namespace {

using stage::InputError;
using stage::WorkError;

// Where the stage writes until the file is whole.
std::filesystem::path WorkNameOf(const std::filesystem::path& file) { return stage::PartialFile(file).WorkName(); }

class NumberedPictures final : public FrameSink {
 public:
  explicit NumberedPictures(OutputPattern pattern) : pattern_(std::move(pattern)) {}

  void Put(std::int32_t frame, const stage::Picture& picture) override {
    const std::filesystem::path file = pattern_.For(frame);
    const UnfinishedFile unfinished(WorkNameOf(file));
    stage::WritePng(file, picture);
  }
  void Finish() override {}
  std::string Name() const override { return pattern_.Text(); }

 private:
  OutputPattern pattern_;
};

class Film final : public FrameSink {
 public:
  Film(const std::filesystem::path& file, const stage::FilmOptions& options)
      : file_(file), unfinished_(WorkNameOf(file)), writer_(stage::OpenFilm(file, options)) {}

  void Put(std::int32_t, const stage::Picture& picture) override { writer_->Add(picture); }
  void Finish() override { writer_->Finish(); }
  std::string Name() const override { return file_.string(); }

 private:
  std::filesystem::path file_;
  UnfinishedFile unfinished_;
  std::unique_ptr<stage::FilmWriter> writer_;
};

// The stage knows which films there are; pictures are this file's.
[[noreturn]] void RefuseKind(const std::filesystem::path& file, const stage::FilmOptions& film) {
  try {
    stage::OpenFilm(file, film);
  } catch (const InputError& error) {
    throw InputError(fmt::format("--output: {}, and .png for pictures", error.what()));
  }
  throw InputError(fmt::format("--output: {}: neither a picture nor a film", file.string()));
}

void RequireRisingFrames(const std::vector<std::int32_t>& frames, const std::string& name) {
  const auto fall = std::adjacent_find(frames.begin(), frames.end(), std::greater_equal<>());
  if (fall == frames.end()) return;
  throw InputError(
      fmt::format("--frames: {} comes after {}, but the frames of a film ({}) must rise", *(fall + 1), *fall, name));
}

// Found out before the first frame is rendered, not after it.
void PrepareFolder(const std::filesystem::path& file) {
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
    throw InputError(fmt::format("--output: '{}' is a folder", file.string()));
  }
}

}  // namespace

std::unique_ptr<FrameSink> OpenSink(std::string_view output, const std::vector<std::int32_t>& frames,
                                    const stage::FilmOptions& film) {
  OutputPattern pattern(output);
  if (pattern.Extension() == ".png") {
    if (!pattern.HasNumber() && frames.size() > 1) pattern.AddNumber();
    PrepareFolder(pattern.For(frames.front()));
    return std::make_unique<NumberedPictures>(std::move(pattern));
  }
  if (!stage::IsFilmName(pattern.For(0))) RefuseKind(pattern.For(0), film);
  if (pattern.HasNumber()) {
    throw InputError(fmt::format("--output: '{}' numbers a film; one film holds all frames", output));
  }
  RequireRisingFrames(frames, pattern.Text());
  PrepareFolder(pattern.For(0));
  return std::make_unique<Film>(pattern.For(0), film);
}

}  // namespace orvandel::cli
