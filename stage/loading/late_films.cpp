// Stands for the module of the film libraries until something is asked of it.
#include <dlfcn.h>
#include <fmt/format.h>

#include <utility>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/loading/film_module.h"
#include "stage/loading/loaded_effect.h"

namespace orvandel::stage {
namespace {

const FilmModule& Load() {
  const std::filesystem::path file = LibraryFolder() / "films.so";
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* reason = dlerror();
    throw WorkError(fmt::format("the part for films, sounds and pictures other than PNG cannot be loaded: {}",
                                reason == nullptr ? file.string() : reason));
  }
  const auto entry = reinterpret_cast<FilmModuleEntry*>(dlsym(library, kFilmModuleEntry));
  const FilmModule* module = entry == nullptr ? nullptr : entry(ORVANDEL_VERSION);
  if (module == nullptr) throw WorkError(file.string() + ": belongs to another version of this program");
  return *module;
}

// Stays loaded until the program ends. After a failure the next call tries again.
const FilmModule& Module() {
  static const FilmModule& module = Load();
  return module;
}

template <typename Work>
void Timed(const Work& work) {
  struct Counted {
    const FilmModule& module = Module();
    ~Counted() { AddStageSeconds(module.takeStageSeconds()); }
  } const counted;
  work(counted.module);
}

class LateWriter final : public FilmWriter {
 public:
  explicit LateWriter(std::unique_ptr<FilmWriter> writer) : writer_(std::move(writer)) {}
  void Add(const PictureRows& picture) override {
    Timed([&](const FilmModule&) { writer_->Add(picture); });
  }
  void Finish() override {
    Timed([&](const FilmModule&) { writer_->Finish(); });
  }

 private:
  std::unique_ptr<FilmWriter> writer_;
};

class LateFilms final : public FilmFiles {
 public:
  std::unique_ptr<FilmWriter> Open(const std::filesystem::path& file, const FilmOptions& options) const override {
    return std::make_unique<LateWriter>(Module().films->Open(file, options));
  }
  void WriteExr(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken) const override {
    Timed([&](const FilmModule& module) { module.films->WriteExr(file, picture, ifTaken); });
  }
  std::string Libraries() const override {
    try {
      return Module().films->Libraries();
    } catch (const WorkError& error) {
      return fmt::format("none for films ({})", error.what());
    }
  }
};

class LateMedia final : public MediaFormats {
 public:
  std::unique_ptr<MediaSource> OpenMoving(const Media& media, const Timebase& time) const override {
    return Module().media->OpenMoving(media, time);
  }
  Picture DecodeStill(const std::filesystem::path& file) const override { return Module().media->DecodeStill(file); }
};

class LateSounds final : public SoundReader {
 public:
  AudioEnvelope Measure(const std::filesystem::path& file, const AudioShape& shape) const override {
    return Module().sounds->Measure(file, shape);
  }
  void Try(const std::filesystem::path& file) const override { Module().sounds->Try(file); }
};

const LateFilms films;
const LateMedia media;
const LateSounds sounds;
const Addition<FilmFiles> enteredFilms(films);
const Addition<MediaFormats> enteredMedia(media);
const Addition<SoundReader> enteredSounds(sounds);

}  // namespace
}  // namespace orvandel::stage
