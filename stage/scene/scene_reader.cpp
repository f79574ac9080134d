#include "stage/scene/scene_reader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "stage/base/color_text.h"
#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/base/names.h"
#include "stage/scene/json_place.h"
#include "stage/scene/json_tree.h"
#include "stage/scene/key_reader.h"
#include "stage/scene/loop.h"
#include "stage/scene/mask_groups.h"
#include "stage/scene/mask_reader.h"
#include "stage/scene/media_reader.h"
#include "stage/scene/scene_limits.h"
#include "stage/scene/set_option.h"
#include "stage/scene/track_reader.h"

namespace orvandel::stage {
namespace {

constexpr std::int64_t kMaxAspectTerm = 65535;
constexpr std::string_view kInputName = "input";
constexpr std::string_view kCompositings = "\"stored\" or \"linear\"";
constexpr std::string_view kBackgrounds =
    "a colour \"#rrggbb\", \"input\", a file name or {\"file\": name, \"start\": seconds}";
constexpr std::string_view kRateForms = "a number or \"numerator/denominator\"";

double ReadWhole(const JsonPlace& place, double low, double high) {
  const double number = place.NumberIn(low, high, "a whole number");
  if (number != std::floor(number)) place.FailNot(fmt::format("a whole number in {}..{}", low, high));
  return number;
}

Blend ReadBlend(const JsonPlace& place) {
  std::string allowed;
  std::vector<std::string> known;
  for (const auto& [name, blend] : kBlendNames) {
    allowed += (allowed.empty() ? "one of " : ", ") + Quoted(name);
    known.emplace_back(name);
  }
  const std::string& text = place.Text(allowed);
  for (const auto& [name, blend] : kBlendNames) {
    if (name == text) return blend;
  }
  place.FailUnlike(allowed, text, known);
}

class SceneReader {
 public:
  // `complaints` null: the first complaint is thrown. Otherwise each is added there, and reading goes on.
  SceneReader(const JsonPlace& root, const std::filesystem::path& file, const ParamCatalog& catalog,
              const ReadOptions& options, std::vector<Complaint>* complaints)
      : root_(root),
        catalog_(catalog),
        options_(options),
        complaints_(complaints),
        files_(file, options.allowOutside),
        sources_(files_) {
    scene_.file = file;
  }

  Scene Read() {
    root_.MustBeObject("a scene, which is an object");
    Try([&] {
      root_.OnlyKeys({"$schema",    "version", "width",       "height",     "frameRate", "duration",   "pixelAspect",
                      "input",      "layers",  "masks",       "parameters", "effects",   "motionBlur", "glow",
                      "background", "blend",   "compositing", "sound",      "preroll",   "loop"});
    });
    Try([&] { ReadVersion(); });
    Try([&] { TakeOverrides(); });
    Try([&] { scene_.width = ReadSide("width"); });
    Try([&] { scene_.height = ReadSide("height"); });
    ReadTime();
    Try([&] { ReadAspect(); });
    sources_.SetConstants({double(scene_.width), double(scene_.height), seconds_});
    if (const auto input = root_.Find("input")) Try([&] { scene_.input = ReadMedia(*input, "input", files_); });
    ReadNamed("layers", names_.layers, [&](const JsonPlace& place, const std::string& name) {
      scene_.layers.push_back(ReadMedia(place, name, files_));
    });
    ReadNamed("masks", names_.masks, [&](const JsonPlace& place, const std::string& name) {
      MaskRead read = ReadMask(place, name, files_, {scene_.width, scene_.height}, keys_);
      scene_.masks.push_back(std::move(read.mask));
      scene_.notes.insert(scene_.notes.end(), read.notes.begin(), read.notes.end());
      if (read.further.empty()) return;
      groups_.push_back({scene_.masks.size(), std::move(read.further), read.asked, place.Where()});
    });
    ReadEmitters();
    Try([&] { ReadMotionBlur(); });
    if (const auto glow = root_.Find("glow")) Try([&] { ReadGlow(*glow); });
    if (const auto background = root_.Find("background")) Try([&] { ReadBackground(*background); });
    if (const auto blend = root_.Find("blend")) Try([&] { scene_.blend = ReadBlend(*blend); });
    if (const auto compositing = root_.Find("compositing")) Try([&] { ReadCompositing(*compositing); });
    if (const auto sound = root_.Find("sound")) Try([&] { ReadSoundOf(*sound); });
    for (const std::string& set : options_.sets) Try([&] { ApplySet(set); });
    Try([&] { DrawMaskGroups(std::move(groups_), catalog_, scene_); });
    Try([&] { ReadPreroll(); });
    return std::move(scene_);
  }

 private:
  template <typename Work>
  void Try(const Work& work) {
    try {
      work();
    } catch (const PlaceError& error) {
      if (complaints_ == nullptr) throw;
      complaints_->push_back(error.complaint);
    } catch (const InputError& error) {
      if (complaints_ == nullptr) throw;
      complaints_->push_back({error.what(), {}, {}, {}});
    }
  }

  void ReadVersion() {
    const JsonPlace version = root_.Need("version", "1");
    if (version.Number("1, the version of this format") != 1) version.FailNot("1, the version of this format");
  }

  // Complaints about an option's value name the option in the file's place.
  void Override(std::string_view key, std::string option, std::string_view text) {
    JsonNode value = ParseOptionValue(text, option);
    overrides_.insert_or_assign(std::string(key), OptionValue{std::move(option), std::move(value)});
  }
  void TakeOverrides() {
    if (!options_.frameRate.empty())
      Override("frameRate", "--fps " + Printable(options_.frameRate), options_.frameRate);
    if (!options_.duration.empty())
      Override("duration", "--duration " + Printable(options_.duration), options_.duration);
    if (options_.size.empty()) return;
    const std::string option = "--size " + Printable(options_.size);
    const std::size_t by = options_.size.find('x');
    if (by == std::string::npos) throw InputError(option + ": is not WIDTHxHEIGHT");
    const std::string_view size = options_.size;
    Override("width", option, size.substr(0, by));
    Override("height", option, size.substr(by + 1));
  }
  JsonPlace NeedMember(std::string_view key, std::string_view allowed) const {
    const auto override = overrides_.find(key);
    if (override == overrides_.end()) return root_.Need(key, allowed);
    return {override->second.value, override->second.option};
  }

  std::int32_t ReadSide(std::string_view key) {
    const JsonPlace place = NeedMember(key, fmt::format("a whole number in 1..{}", kMaxLayerSide));
    return static_cast<std::int32_t>(ReadWhole(place, 1, kMaxLayerSide));
  }

  void ReadTime() {
    bool rateKnown = false;
    Try([&] {
      const JsonPlace rate = NeedMember("frameRate", kRateForms);
      const Rational exact = ReadExact(rate, kRateForms, true);
      At(rate, [&] { scene_.time = TimebaseOfRate(exact); });
      rateKnown = true;
    });
    Try([&] {
      const JsonPlace duration = NeedMember("duration", "a number of seconds above 0");
      const Rational exact = ReadExact(duration, "a number of seconds above 0", false);
      exactDuration_ = exact;
      seconds_ = static_cast<double>(exact.num) / static_cast<double>(exact.den);
      if (rateKnown) At(duration, [&] { SetDuration(scene_.time, exact); });
    });
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

  // A name is known even where its value is refused, so that uses of the name are not reported as well.
  void ReadNamed(std::string_view key, PlaceByName& names,
                 const std::function<void(const JsonPlace&, const std::string&)>& read) {
    const auto list = root_.Find(key);
    if (!list) return;
    Try([&] { list->MustBeObject(fmt::format("an object of named {}", key)); });
    for (std::size_t i = 0; list->IsObject() && i < list->Size(); ++i) {
      names.emplace(list->KeyOf(i), static_cast<std::int32_t>(i + 1));
      Try([&] { read(list->Item(i), list->KeyOf(i)); });
    }
  }

  void ReadEmitters() {
    const auto parameters = root_.Find("parameters"), effects = root_.Find("effects");
    if (!effects) {
      ReadEmitter(parameters);
      return;
    }
    Try([&] {
      if (parameters) root_.FailAt("effects", "is given together with \"parameters\": a scene has one of the two");
      const std::size_t count = effects->MustBeArray("an array of effects").Size();
      if (count == 0) effects->Fail("is empty: at least one effect is required");
      if (count > kMaxEmitters) effects->Fail(fmt::format("{} effects, {} are allowed", count, kMaxEmitters));
      for (std::size_t i = 0; i < count; ++i) {
        const JsonPlace effect = effects->Item(i);
        Try([&] { ReadEffect(effect); });
      }
    });
  }

  void ReadEffect(const JsonPlace& effect) {
    effect.MustBeObject("an effect: {\"parameters\": ..., \"blend\": ..., \"opacity\": ...}");
    ReadEmitter(effect.Find("parameters"));
    Try([&] { effect.OnlyKeys({"parameters", "blend", "opacity"}); });
    Emitter& emitter = scene_.emitters.back();
    if (const auto blend = effect.Find("blend")) Try([&] { emitter.blend = ReadBlend(*blend); });
    if (const auto opacity = effect.Find("opacity")) Try([&] { emitter.opacity = opacity->NumberIn(0, 1); });
  }

  void ReadEmitter(const std::optional<JsonPlace>& parameters) {
    std::size_t count = 1;
    for (const ParamInfo& info : catalog_.Params())
      count = std::max(count, static_cast<std::size_t>(info.hostIndex) + 1);
    Emitter& emitter = scene_.emitters.emplace_back();
    emitter.tracks.resize(count);
    if (!parameters) return;
    Try([&] { parameters->MustBeObject("an object of named parameters"); });
    for (std::size_t i = 0; parameters->IsObject() && i < parameters->Size(); ++i) {
      Try([&] {
        const JsonPlace place = parameters->Item(i);
        const ParamInfo& info = NeedParam(place, Trimmed(parameters->KeyOf(i)));
        Track& track = emitter.tracks[static_cast<std::size_t>(info.hostIndex)];
        if (!track.IsDefault()) place.Fail("is given twice");  // once with blanks around it
        track = ReadTrack(place, info, names_, keys_, sources_);
      });
    }
  }

  const ParamInfo& NeedParam(const JsonPlace& place, std::string_view name) const {
    const ParamInfo* const info = catalog_.Find(name);
    if (info != nullptr) return *info;
    const std::string nearest = catalog_.Nearest(name);
    place.Fail("unknown parameter" + (nearest.empty() ? std::string() : DidYouMean(name, {nearest})), {}, nearest);
  }

  void ReadMotionBlur() {
    const auto place = root_.Find("motionBlur");
    if (!place) return;
    place->MustBeObject("motion blur: {\"samples\": number, \"shutter\": degrees}")
        .OnlyKeys({"samples", "shutter", "phase"});
    MotionBlur& blur = scene_.motionBlur;
    blur.samples = static_cast<std::int32_t>(
        ReadWhole(place->Need("samples", fmt::format("a whole number in 1..{}", kMaxSamples)), 1, kMaxSamples));
    if (const auto shutter = place->Find("shutter")) blur.shutter = shutter->NumberIn(0, kMaxShutter, "degrees");
    if (const auto phase = place->Find("phase")) blur.phase = phase->NumberIn(-kMaxShutter, kMaxShutter, "degrees");
  }

  void ReadGlow(const JsonPlace& place) {
    place.MustBeObject("a glow: {\"radius\": pixels, \"strength\": number, \"threshold\": number}")
        .OnlyKeys({"radius", "strength", "threshold"});
    Glow glow;
    glow.radius = place.Need("radius", "pixels that the halo reaches").NumberIn(0, kMaxGlowRadius, "pixels");
    if (const auto strength = place.Find("strength")) glow.strength = strength->NumberIn(0, kMaxGlowStrength);
    if (const auto threshold = place.Find("threshold")) glow.threshold = threshold->NumberIn(0, 1);
    if (glow.radius > 0 && glow.strength > 0) scene_.glow = glow;
  }

  void ReadBackground(const JsonPlace& place) {
    Backdrop& background = scene_.background;
    if (place.IsObject()) {
      background.medium = ReadMedia(place, "background", files_);
      return;
    }
    const std::string& text = place.Text(kBackgrounds);
    if (text == kInputName) {
      if (!root_.Find(kInputName)) place.Fail("the scene has no \"input\"");
      background.medium = scene_.input;
    } else if (text.starts_with('#')) {
      background.color = ParseColor(text);
      if (!background.color) place.FailNot("a colour \"#rrggbb\"");
    } else if (text.find_first_of("./%") == std::string::npos &&
               !std::filesystem::exists(scene_.file.parent_path() / text)) {
      place.FailNot(kBackgrounds);  // a colour's name, more likely than a file's
    } else {
      background.medium = ReadMedia(place, "background", files_);
    }
  }

  void ReadCompositing(const JsonPlace& place) {
    const std::string& text = place.Text(kCompositings);
    scene_.linear = text == "linear";
    if (!scene_.linear && text != "stored") place.FailNot(kCompositings);
  }

  void ReadSoundOf(const JsonPlace& place) {
    scene_.silent = place.IsNull();
    if (!scene_.silent) scene_.sound = ReadSound(place, files_);
  }

  // Last, because a loop looks at all that repeats in it.
  void ReadPreroll() {
    const auto preroll = root_.Find("preroll"), loop = root_.Find("loop");
    if (loop && loop->Truth()) {
      if (preroll)
        root_.FailAt("preroll",
                     "is given together with \"loop\", which itself begins as long before frame 0 as the waves live");
      if (complaints_ != nullptr && !complaints_->empty()) return;  // there is no scene yet to look at
      At(*loop, [&] { PlayInLoop(scene_, exactDuration_, catalog_); });
      return;
    }
    if (!preroll) return;
    preroll->NumberIn(0, 36000, "seconds");
    const Rational exact = ReadExact(*preroll, "a number of seconds", false);
    if (scene_.time.timeScale != 0) At(*preroll, [&] { SetPreroll(scene_.time, exact); });
  }

  // Complaints name the option in the file's place.
  void ApplySet(const std::string& text) {
    SetOption set = ParseSetOption(text);
    const JsonPlace place(set.value, set.option);
    const ParamInfo& info = NeedParam(place, set.name);
    const bool isOn = set.value.text == "on";
    if (info.Type() == ORV_PARAM_CHECKBOX && (isOn || set.value.text == "off")) {  // the words that lists show
      set.value.kind = JsonNode::Kind::kBool;
      set.value.truth = isOn;
    }
    if (set.effect > scene_.emitters.size()) {
      place.Fail(
          fmt::format("the scene has {} effect{}", scene_.emitters.size(), scene_.emitters.size() == 1 ? "" : "s"));
    }
    const Track track = ReadTrack(place, info, names_, keys_, sources_);
    for (std::size_t i = 0; i < scene_.emitters.size(); ++i) {
      if (set.effect == 0 || set.effect == i + 1) {
        scene_.emitters[i].tracks[static_cast<std::size_t>(info.hostIndex)] = track;
      }
    }
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

  struct OptionValue {
    std::string option;
    JsonNode value;
  };

  const JsonPlace& root_;
  const ParamCatalog& catalog_;
  const ReadOptions& options_;
  std::vector<Complaint>* complaints_;
  SceneFiles files_;
  Scene scene_;
  std::map<std::string, OptionValue, std::less<>> overrides_;  // by the member that they stand in for
  double seconds_ = 0;                                         // the duration as written
  Rational exactDuration_;
  SceneNames names_;
  std::vector<MaskGroup> groups_;
  KeyReader keys_;
  SourceReader sources_;
};

std::string BytesOf(const std::filesystem::path& file) { return ReadWholeFile(file, kMaxSceneBytes); }

}  // namespace

Scene ReadScene(const std::filesystem::path& file, const ParamCatalog& catalog, const ReadOptions& options) {
  return ReadSceneText(BytesOf(file), file, catalog, options);
}

Scene ReadSceneText(std::string_view text, const std::filesystem::path& file, const ParamCatalog& catalog,
                    const ReadOptions& options) {
  const std::string fileName = Printable(file.string());
  const JsonNode tree = ParseJson(text, fileName);
  const JsonPlace root(tree, fileName);
  return SceneReader(root, file, catalog, options, nullptr).Read();
}

std::vector<Complaint> SceneFaults(std::string_view text, const std::filesystem::path& file,
                                   const ParamCatalog& catalog, const ReadOptions& options) {
  std::vector<Complaint> complaints;
  try {
    const std::string fileName = Printable(file.string());
    const JsonNode tree = ParseJson(text, fileName);
    const JsonPlace root(tree, fileName);
    SceneReader(root, file, catalog, options, &complaints).Read();
  } catch (const PlaceError& error) {
    complaints.push_back(error.complaint);
  } catch (const InputError& error) {
    complaints.push_back({error.what(), {}, {}, {}});
  }
  return complaints;
}

std::vector<std::string> SceneTextComplaints(std::string_view text, const std::filesystem::path& file,
                                             const ParamCatalog& catalog, const ReadOptions& options) {
  std::vector<std::string> messages;
  for (Complaint& complaint : SceneFaults(text, file, catalog, options))
    messages.push_back(std::move(complaint.message));
  return messages;
}

}  // namespace orvandel::stage
