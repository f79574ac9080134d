#include "cli/farm/new_job.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "cli/exit_codes.h"
#include "cli/farm/child_process.h"
#include "cli/farm/frame_cost.h"
#include "cli/farm/render_arguments.h"
#include "cli/farm/shell_text.h"
#include "cli/module_file.h"
#include "cli/render/background_option.h"
#include "cli/scene_input.h"
#include "stage/base/errors.h"
#include "stage/films/film_out.h"
#include "stage/picture/picture_scale.h"

namespace orvandel::cli {
namespace {

using stage::InputError;

// Where everything goes.
struct Names {
  std::string pictures, film;
  std::filesystem::path folder;
  std::string title;
  bool onlyFilm = false;
};

std::filesystem::path Absolute(const std::filesystem::path& file) {
  return std::filesystem::absolute(file).lexically_normal();
}

// "ring" of "ring.####.png".
std::string TitleOf(const std::string& fileName) {
  std::string title = fileName.substr(0, fileName.find('#'));
  if (title.size() == fileName.size()) title = std::filesystem::path(fileName).stem().string();
  while (!title.empty() && std::string_view("._- ").find(title.back()) != std::string_view::npos) title.pop_back();
  return title.empty() ? "frames" : title;
}

Names NamesFor(const FarmRequest& request, const std::vector<std::int32_t>& frames) {
  const Output output = ParseOutput(request.render.output, frames);
  if (output.kind == OutputKind::kStream) throw InputError("--output: a farm renders into files, not into a pipe");
  if (output.IsExr()) throw InputError("--output: a farm's pictures are .png, which can be resumed");
  if (output.kind == OutputKind::kPictures && !output.pattern.HasNumber()) {
    throw InputError("--output: a farm renders numbered pictures or a film; one picture needs orvandel render only");
  }
  Names names;
  const std::filesystem::path file = Absolute(output.pattern.Text());
  names.title = TitleOf(file.filename().string());
  names.folder = request.folder.empty() ? file.parent_path() / (names.title + ".farm") : Absolute(request.folder);
  names.onlyFilm = output.kind == OutputKind::kFilm;
  if (names.onlyFilm) {
    if (!request.film.empty()) throw InputError("--film: --output names a film already");
    names.film = file.string();
    names.pictures = (names.folder / "frames" / (names.title + ".####.png")).string();
  } else {
    if (!request.film.empty()) names.film = Absolute(request.film).string();
    if (!request.film.empty() && !stage::IsFilmName(names.film)) {
      throw InputError(
          fmt::format("--film: '{}' is no film; orvandel render --list-formats lists the films that can "
                      "be made",
                      request.film));
    }
    names.pictures = file.string();
  }
  RefuseControlCharacters(names.pictures + names.film, "--output");
  RefuseControlCharacters(names.folder.string(), "--folder");
  // Slurm gives a backslash in the names of logs a meaning of its own.
  if (names.folder.string().find('\\') != std::string::npos) throw InputError("--folder: a backslash is not allowed");
  return names;
}

std::vector<std::int32_t> RisingFrames(const FarmRequest& request, const stage::Scene& scene) {
  std::vector<std::int32_t> frames = WithoutRepeats(ChosenFrames(request.render.frames, scene.time));
  std::sort(frames.begin(), frames.end());
  return frames;
}

// A film without alpha is composed over black, in linear light where the scene says so. Pictures with alpha no longer
// know about the light, so the background goes into them.
RenderRequest RenderOf(const FarmRequest& request, const Names& names, const stage::Scene& scene) {
  RenderRequest render = request.render;
  if (!names.onlyFilm || !scene.linear || !scene.background.IsNothing()) return render;
  if (!stage::FilmKindOf(names.film, render.codec).hasAlpha) render.background = "#000000";
  return render;
}

// A dry run of the program itself: it refuses here what its tasks would refuse.
void Rehearse(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  const ChildResult result = RunChild(words, ChildOutput::kErrors);
  if (result.exitCode == 0) return;
  if (result.exitCode == kInterrupted) throw stage::Interrupted();
  std::string text = result.text;
  constexpr std::string_view kPrefix = "orvandel: error: ";
  if (const auto at = text.find(kPrefix); at != std::string::npos) text = text.substr(at + kPrefix.size());
  while (!text.empty() && text.back() == '\n') text.pop_back();
  if (result.exitCode == kBadInput) throw InputError(text);
  throw stage::WorkError(text.empty() ? EndText(ShellLine(words), result) : text);
}

// Whether the pictures that are there are of another scene, where they may be replaced.
bool RehearsePictures(const FarmJob& job, const std::vector<std::int32_t>& frames, bool mayReplace) {
  const std::string list = RunsText(frames, Steps::kWritten);
  try {
    Rehearse(job.render, {"--frames", list, "--dry-run"});
    return false;
  } catch (const InputError&) {
    if (!mayReplace) throw;
  }
  Words anew = job.render;
  std::replace(anew.begin(), anew.end(), std::string("--resume"), std::string("--overwrite"));
  Rehearse(anew, {"--frames", list, "--dry-run"});
  return true;
}

// Simulating the frames before the last chunk takes longer than this, or, where nothing was measured, there are this
// many of them: then tasks keep states of the waves for one another.
constexpr double kLongWaySeconds = 0.2;
constexpr std::int32_t kFarFrame = 3000;

struct Division {
  Chunks chunks;
  bool isFar = false;
};

Division Divide(const FarmRequest& request, const Words& render, const std::vector<std::int32_t>& frames,
                const stage::Scene& scene, const stage::ParamCatalog& catalog, std::vector<std::string>& notes) {
  if (request.chunk == "auto") {
    const MeasuredCosts measured = MeasureFrames(render, frames, scene, catalog);
    notes.push_back(measured.note);
    Chunks chunks = ChunksByCost(frames, measured.costs);
    const double way = measured.wayPerFrame * chunks.back().front();
    return {std::move(chunks), way > kLongWaySeconds};
  }
  std::size_t size = 0;
  const char* const end = request.chunk.data() + request.chunk.size();
  if (std::from_chars(request.chunk.data(), end, size).ptr != end || size == 0) {
    throw InputError(fmt::format("--chunk: '{}' is neither auto nor a number of frames", request.chunk));
  }
  if (const std::size_t least = (frames.size() + kMostChunks - 1) / kMostChunks; size < least) {
    throw InputError(
        fmt::format("--chunk: {} frames in chunks of {} are more than {} tasks, where most farms' arrays end; {} is "
                    "the least",
                    frames.size(), size, kMostChunks, least));
  }
  Chunks chunks = ChunksOfSize(frames, size);
  const bool isFar = chunks.back().front() >= kFarFrame;
  return {std::move(chunks), isFar};
}

void AddFilm(const RenderRequest& render, const Names& names, const std::vector<std::int32_t>& frames, FarmJob& job) {
  if (names.film.empty()) {
    if (!render.codec.empty())
      throw InputError(fmt::format("--codec: '{}' is for films; --film or --output must name one", render.codec));
    return;
  }
  job.film = names.film;
  job.filmCommand = FilmArguments(render, names.pictures, names.film);
  job.filmCommand.insert(job.filmCommand.end(), {"--frames", RunsText(frames, Steps::kWritten)});
  Rehearse(job.filmCommand,
           render.existing == Existing::kReplace ? Words{"--dry-run", "--overwrite"} : Words{"--dry-run"});
  job.filmCommand.emplace_back("--overwrite");  // a join that runs again makes it anew
}

}  // namespace

NewJob MakeFarmJob(const FarmRequest& request) {
  if (request.render.scene.file.empty()) throw InputError("scene is required (orvandel farm --help)");
  if (request.render.scene.file == "-") throw InputError("SCENE: a farm needs a file that its machines can read");
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.render.scene.module)));
  stage::Scene scene = ReadSceneOf(request.render.scene, module.Catalog());
  ReplaceBackground(request.render.background, scene);
  const auto frames = RisingFrames(request, scene);
  const Names names = NamesFor(request, frames);
  const RenderRequest render = RenderOf(request, names, scene);
  NewJob made;
  FarmJob& job = made.job;
  job.folder = names.folder;
  job.program = ProgramFile().string();
  job.version = ORVANDEL_VERSION;
  job.pictures = names.pictures;
  job.form = {stage::CellsOf(scene.width, render.downsample), stage::CellsOf(scene.height, render.downsample),
              render.depth};
  job.render = PictureArguments(render, names.pictures);
  job.tries = request.tries;
  job.name = names.title;
  if (!request.partition.empty()) job.everyJob.push_back("--partition=" + request.partition);
  job.everyJob.insert(job.everyJob.end(), request.sbatch.begin(), request.sbatch.end());
  if (render.jobs > 1) job.arrayOnly.push_back(fmt::format("--cpus-per-task={}", *render.jobs));
  job.atOnce = request.atOnce;
  made.replacesFrames = RehearsePictures(job, frames, names.onlyFilm && render.existing == Existing::kReplace);
  AddFilm(render, names, frames, job);
  Division division = Divide(request, job.render, frames, scene, module.Catalog(), made.notes);
  job.chunks = std::move(division.chunks);
  if (division.isFar && request.render.snapshots.empty()) {
    RenderRequest further = render;
    further.snapshots = job.folder / "states";
    job.render = PictureArguments(further, names.pictures);
    made.notes.push_back(fmt::format("late chunks begin at states of the waves in {}", further.snapshots.string()));
  }
  module.SetDown();
  return made;
}

}  // namespace orvandel::cli
