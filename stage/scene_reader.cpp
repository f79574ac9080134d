#include "stage/scene_reader.h"

#include <cmath>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "stage/errors.h"
#include "stage/json_place.h"
#include "stage/json_tree.h"
#include "stage/key_reader.h"
#include "stage/mask_reader.h"
#include "stage/media_reader.h"
#include "stage/names.h"
#include "stage/svg_file.h"
#include "stage/track_reader.h"

namespace orvandel::stage {
namespace {

constexpr double kMaxLayerSide = 30000;
constexpr std::int64_t kMaxAspectTerm = 65535;
constexpr std::string_view kRateForms = "a number or \"numerator/denominator\"";

class SceneReader {
 public:
  SceneReader(const JsonPlace& root, const std::filesystem::path& file, const ParamCatalog& catalog)
      : root_(root), folder_(file.parent_path()), catalog_(catalog) {
    scene_.file = file;
  }

  Scene Read() {
    root_.MustBeObject("a scene: an object")
        .OnlyKeys({"version", "width", "height", "frameRate", "duration", "pixelAspect", "input", "layers", "masks",
                   "parameters"});
    ReadVersion();
    scene_.width = ReadSide("width");
    scene_.height = ReadSide("height");
    ReadTime();
    ReadAspect();
    if (const auto input = root_.Find("input")) scene_.input = ReadMedia(*input, "input", folder_);
    ReadLayers();
    ReadMasks();
    ReadParameters();
    return std::move(scene_);
  }

 private:
  void ReadVersion() {
    const JsonPlace version = root_.Need("version", "1");
    if (version.Number("1, the version of this format") != 1) version.FailNot("1, the version of this format");
  }

  std::int32_t ReadSide(std::string_view key) {
    const JsonPlace place = root_.Need(key, "a whole number in 1..30000");
    const double side = place.NumberIn(1, kMaxLayerSide, "a whole number");
    if (side != std::floor(side)) place.FailNot("a whole number in 1..30000");
    return static_cast<std::int32_t>(side);
  }

  void ReadTime() {
    const JsonPlace rate = root_.Need("frameRate", kRateForms);
    const JsonPlace duration = root_.Need("duration", "a number of seconds above 0");
    const Rational exactRate = ReadExact(rate, kRateForms, true);
    const Rational seconds = ReadExact(duration, "a number of seconds above 0", false);
    At(rate, [&] { scene_.time = TimebaseOfRate(exactRate); });
    At(duration, [&] { SetDuration(scene_.time, seconds); });
  }

  void ReadAspect() {
    const auto place = root_.Find("pixelAspect");
    if (!place) return;
    const Rational aspect = ReadExact(*place, kRateForms, true);
    if (aspect.num < 1 || aspect.num > kMaxAspectTerm || aspect.den > kMaxAspectTerm) {
      place->Fail(fmt::format("{} in lowest terms is {}/{}; both must be in 1..{}", place->Found(), aspect.num,
                              aspect.den, kMaxAspectTerm));
    }
    scene_.pixelAspect = aspect;
  }

  void ReadLayers() {
    const auto layers = root_.Find("layers");
    if (!layers) return;
    layers->MustBeObject("an object of named layers");
    for (std::size_t i = 0; i < layers->Size(); ++i) {
      scene_.layers.push_back(ReadMedia(layers->Item(i), layers->KeyOf(i), folder_));
      names_.layers.emplace(layers->KeyOf(i), static_cast<std::int32_t>(i + 1));
    }
  }

  void ReadMasks() {
    const auto masks = root_.Find("masks");
    if (!masks) return;
    masks->MustBeObject("an object of named masks");
    for (std::size_t i = 0; i < masks->Size(); ++i) {
      scene_.masks.push_back(ReadMask(masks->Item(i), masks->KeyOf(i), folder_, keys_));
      names_.masks.emplace(masks->KeyOf(i), static_cast<std::int32_t>(i + 1));
    }
  }

  void ReadParameters() {
    Emitter emitter;
    std::size_t count = 1;
    for (const ParamInfo& info : catalog_.Params())
      count = std::max(count, static_cast<std::size_t>(info.hostIndex) + 1);
    emitter.tracks.resize(count);
    if (const auto parameters = root_.Find("parameters")) {
      parameters->MustBeObject("an object of named parameters");
      for (std::size_t i = 0; i < parameters->Size(); ++i) ReadParameter(*parameters, i, emitter);
    }
    scene_.emitters.push_back(std::move(emitter));
  }

  void ReadParameter(const JsonPlace& parameters, std::size_t i, Emitter& emitter) {
    const JsonPlace place = parameters.Item(i);
    const std::string_view name = Trimmed(parameters.KeyOf(i));
    const ParamInfo* const info = catalog_.Find(name);
    if (info == nullptr) {
      const std::string nearest = catalog_.Nearest(name);
      place.Fail("unknown parameter" + (nearest.empty() ? std::string() : DidYouMean(name, {nearest})));
    }
    Track& track = emitter.tracks[static_cast<std::size_t>(info->hostIndex)];
    if (!track.keys.empty()) place.Fail("is given twice");  // once with blanks around it
    track = ReadTrack(place, *info, names_, keys_);
  }

  // Gives a complaint that knows no place the place that caused it.
  template <typename Work>
  static void At(const JsonPlace& place, const Work& work) {
    try {
      work();
    } catch (const InputError& error) {
      place.Fail(error.what());
    }
  }

  const JsonPlace& root_;
  std::filesystem::path folder_;
  const ParamCatalog& catalog_;
  Scene scene_;
  SceneNames names_;
  KeyReader keys_;
};

}  // namespace

Scene ReadScene(const std::filesystem::path& file, const ParamCatalog& catalog) {
  return ReadSceneText(ReadWholeFile(file, kMaxSceneBytes), file, catalog);
}

Scene ReadSceneText(std::string_view text, const std::filesystem::path& file, const ParamCatalog& catalog) {
  const std::string fileName = Printable(file.string());
  const JsonNode tree = ParseJson(text, fileName);
  const JsonPlace root(tree, fileName);
  return SceneReader(root, file, catalog).Read();
}

}  // namespace orvandel::stage
