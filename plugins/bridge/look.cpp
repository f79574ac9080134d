#include "plugins/bridge/look.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "plugins/bridge/effect_pool.h"
#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/base/names.h"
#include "stage/base/path_text.h"
#include "stage/media/sequence_rules.h"
#include "stage/render/scene_renderer.h"
#include "stage/scene/json_tree.h"
#include "stage/scene/scene_reader.h"

namespace orvandel::bridge {
namespace {

namespace fs = std::filesystem;

constexpr std::int32_t kPlainWidth = 1920, kPlainHeight = 1080;

// Frames of 24, 25, 30, 48, 50, 60, 120 a second and of those at 1000/1001 fall on whole units.
constexpr std::int32_t kFineClock = 120000;
constexpr std::int32_t kCoarseClock = 30000;
constexpr double kLatestOnFineClock = 8000;  // seconds; host times stay below 2^30 units

std::string ReadFile(const fs::path& file) { return stage::ReadWholeFile(file, stage::kMaxSceneBytes); }

std::optional<fs::path> PresetFile(const std::string& name) {
  if (name.find('/') != std::string::npos) return std::nullopt;
  std::error_code none;
  for (const fs::path& folder : PresetFolders()) {
    fs::path file = folder / stage::PathOf(name + ".json");
    if (fs::is_regular_file(file, none)) return file;
  }
  return std::nullopt;
}

const BuiltInPreset* FindBuiltIn(const std::string& name) {
  const auto& presets = BuiltInPresets();
  const auto found =
      std::find_if(presets.begin(), presets.end(), [&](const BuiltInPreset& preset) { return preset.name == name; });
  return found == presets.end() ? nullptr : &*found;
}

// What a person types; hosts hand it over as it is.
std::string WithHome(const std::string& name) {
  const char* home = std::getenv("HOME");
  return home != nullptr && name.rfind("~/", 0) == 0 ? home + name.substr(1) : name;
}

// A relative name is looked for where the host runs, which few people know.
[[noreturn]] void Unknown(const std::string& name, const fs::path& file) {
  std::error_code none;
  if (file.has_parent_path() || file.has_extension()) {
    throw stage::InputError(fmt::format("there is no scene file {}", stage::Quoted(fs::absolute(file, none).string())));
  }
  std::vector<std::string> names;
  for (const BuiltInPreset& preset : BuiltInPresets()) names.emplace_back(preset.name);
  throw stage::InputError(
      fmt::format("there is no scene file or preset {}{}", stage::Quoted(name), stage::DidYouMean(name, names)));
}

stage::Scene PlainScene() {
  stage::Scene scene;
  scene.width = kPlainWidth;
  scene.height = kPlainHeight;
  scene.emitters.resize(1);
  scene.emitters[0].tracks.resize(EffectPool::The().Catalog().Params().size() + 1);
  return scene;
}

stage::Timebase PlainTime(const stage::Rational& frameRate, double seconds) {
  if (frameRate.num > 0) {
    try {
      return stage::TimebaseOfRate(frameRate);
    } catch (const stage::InputError&) {  // a rate that no clock of whole units holds: times are rounded
    }
  }
  stage::Timebase time;
  time.frameRate = {30, 1};
  time.timeScale = seconds < kLatestOnFineClock ? kFineClock : kCoarseClock;
  time.timeStep = time.timeScale / 30;
  return time;
}

}  // namespace

std::vector<fs::path> PresetFolders() {
  std::vector<fs::path> folders;
  if (const char* named = std::getenv("ORVANDEL_SCENES"); named != nullptr && *named != '\0')
    folders.emplace_back(named);
  const char* data = std::getenv("XDG_DATA_HOME");
  const char* home = std::getenv("HOME");
  if (data != nullptr && *data != '\0') {
    folders.push_back(fs::path(data) / "orvandel" / "scenes");
  } else if (home != nullptr) {
    folders.push_back(fs::path(home) / ".local" / "share" / "orvandel" / "scenes");
  }
  folders.emplace_back("/usr/local/share/orvandel/scenes");
  folders.emplace_back("/usr/share/orvandel/scenes");
  return folders;
}

std::shared_ptr<const Look> Look::Plain() {
  static const std::shared_ptr<const Look> plain(new Look({}, {}));
  return plain;
}

std::shared_ptr<const Look> Look::Open(const std::string& name) {
  const std::string trimmed(stage::Trimmed(name));
  if (trimmed.empty()) return Plain();
  std::error_code none;
  if (const auto preset = PresetFile(trimmed)) return FromText(ReadFile(*preset), *preset);
  const fs::path file = stage::PathOf(WithHome(trimmed));
  if (fs::is_regular_file(file, none)) return FromText(ReadFile(file), fs::absolute(file, none));
  if (const BuiltInPreset* builtIn = FindBuiltIn(trimmed)) return FromText(builtIn->text, trimmed + ".json");
  Unknown(trimmed, file);
}

std::shared_ptr<const Look> Look::FromText(std::string text, fs::path file) {
  std::shared_ptr<Look> look(new Look(std::move(text), std::move(file)));
  const stage::Scene scene = look->SceneFor({0, 1}, 0);  // refuses what is wrong at once
  look->frameRate_ = scene.time.frameRate;
  look->blend_ = scene.blend;
  look->linear_ = scene.linear;
  look->laidPlainly_ = !scene.linear && scene.blend == stage::Blend::kNormal && stage::HasEightBits(scene);
  look->hasInput_ = scene.input.has_value();
  look->tracesInput_ = std::any_of(scene.emitters.begin(), scene.emitters.end(), [&](const stage::Emitter& emitter) {
    return stage::TracesInput(scene, emitter, EffectPool::The().Catalog());
  });
  return look;
}

stage::Scene Look::SceneFor(const stage::Rational& frameRate, double seconds) const {
  if (text_.empty()) {
    stage::Scene scene = PlainScene();
    scene.time = PlainTime(frameRate, seconds);
    return scene;
  }
  stage::ReadOptions options;
  if (frameRate.num > 0) options.frameRate = stage::TextOf(frameRate);
  return stage::ReadSceneText(text_, file_, EffectPool::The().Catalog(), options);
}

}  // namespace orvandel::bridge
