#include "web/core/unseen_media.h"

#include <fmt/format.h>

#include <map>
#include <set>
#include <utility>
#include <variant>

#include "stage/base/addition.h"
#include "stage/media/media_formats.h"
#include "stage/scene/sequence_name.h"
#include "stage/sound/wav_file.h"
#include "stage/stills/png_file.h"
#include "web/core/given_films.h"

namespace orvandel::web {
namespace {

// Nothing, at any time.
class Unseen final : public stage::MediaSource {
 public:
  bool Moves() const override { return false; }
  std::int64_t KeyAt(std::int32_t) override { return 0; }
  stage::Picture Decode(std::int64_t) override { return stage::Picture(1, 1); }
};

class GivenFormats final : public stage::MediaFormats {
 public:
  std::unique_ptr<stage::MediaSource> OpenMoving(const stage::Media& media,
                                                 const stage::Timebase& time) const override {
    if (TheFilms().Has(media.file)) return TheFilms().Open(media, time);
    return std::make_unique<Unseen>();
  }
  stage::Picture DecodeStill(const std::filesystem::path&) const override { return {1, 1}; }
};

const GivenFormats formats;
const stage::Addition<stage::MediaFormats> entered(formats);

// "scene.json: /background/file": what follows the scene's name.
std::string PointerOf(const std::string& place) {
  const std::size_t at = place.find(": /");
  return at == std::string::npos ? std::string() : place.substr(at + 2);
}

bool IsShown(const std::filesystem::path& file) {
  if (TheFilms().Has(file)) return true;
  const auto sequence = stage::ParseSequenceName(file);
  if (!sequence) return stage::IsPng(file);
  const auto numbers = sequence->Existing();
  return numbers.empty() || stage::IsPng(sequence->FileOf(numbers.front()));
}

void AddMedium(const stage::Media& medium, std::vector<UnseenPart>& parts) {
  if (IsShown(medium.file)) return;
  const std::string file = medium.file.string();
  parts.push_back({PointerOf(medium.place), file,
                   fmt::format("{} is not shown: only PNG pictures are read here, and films that the caller decodes",
                               medium.file.filename().string())});
}

std::set<std::string> SoundsOf(const stage::Track& track) {
  std::set<std::string> files;
  for (const stage::NumberSource& source : track.sources) {
    if (const auto* audio = std::get_if<stage::AudioSource>(&source)) files.insert(audio->file.string());
  }
  return files;
}

}  // namespace

std::vector<UnseenPart> UnseenParts(const stage::Scene& scene, const stage::ParamCatalog& catalog) {
  std::vector<UnseenPart> parts;
  if (scene.input) AddMedium(*scene.input, parts);
  if (scene.background.medium) AddMedium(*scene.background.medium, parts);
  for (const stage::Media& layer : scene.layers) AddMedium(layer, parts);
  std::map<std::string, std::set<std::string>> followers;  // parameters by the sound that they follow
  for (const stage::Emitter& emitter : scene.emitters) {
    for (const stage::ParamInfo& info : catalog.Params()) {
      for (const std::string& file : SoundsOf(emitter.tracks[static_cast<std::size_t>(info.hostIndex)])) {
        if (!stage::IsWav(file)) followers[file].insert(info.name);
      }
    }
  }
  for (const auto& [file, names] : followers) {
    parts.push_back({{},
                     file,
                     fmt::format("{} is not heard: only WAV sounds are read here, so {} {} as in silence", file,
                                 fmt::join(names, ", "), names.size() == 1 ? "is" : "are")});
  }
  return parts;
}

}  // namespace orvandel::web
