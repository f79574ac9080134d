#include "plugins/openfx/looks.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "plugins/openfx/shelf.h"
#include "stage/base/errors.h"
#include "stage/base/path_text.h"

namespace orvandel::ofx {
namespace {

namespace fs = std::filesystem;

// Never destroyed: a host may unload the plug-in from its own last destructors, when ours have run already.
auto& Looks() {
  static auto* const looks = new Shelf<std::string, bridge::Look, 16>;
  return *looks;
}
auto& Players() {
  static auto* const players = new Shelf<std::vector<double>, bridge::Player, 32>;
  return *players;
}

// "logo.svg#ring" is an element of a file, unless a file is called so.
std::pair<fs::path, std::string> FileAndPart(const std::string& name) {
  std::error_code none;
  const std::size_t mark = name.rfind('#');
  if (mark == std::string::npos || fs::exists(stage::PathOf(name), none)) return {stage::PathOf(name), {}};
  return {stage::PathOf(std::string_view(name).substr(0, mark)), name.substr(mark + 1)};
}

std::string WrittenAt(const fs::path& file) {
  std::error_code none;
  const auto time = fs::last_write_time(file, none);
  return none ? std::string() : std::to_string(time.time_since_epoch().count());
}

// Only texts become values of the JSON library: its objects ask for memory when they are destroyed, and end the process
// where there is none.
std::string JsonText(const std::string& text) { return nlohmann::json(text).dump(); }

// The scene is of our own making: what is wrong with the mask is said without the scene's name and places.
std::shared_ptr<const bridge::Look> LookFrom(const std::string& text, const fs::path& sceneFile) {
  try {
    return bridge::Look::FromText(text, sceneFile);
  } catch (const stage::InputError& error) {
    const std::string_view said = error.what();
    const std::string place = sceneFile.string() + ": /masks/mask: ";
    if (said.substr(0, place.size()) != place) throw;
    throw stage::InputError(std::string(said.substr(place.size())));
  }
}

}  // namespace

std::shared_ptr<const bridge::Look> LookOf(const FrameGrid& grid, const stage::Rational& frameRate,
                                           const MaskChoice& mask) {
  std::string text =
      fmt::format(R"({{"version":1,"width":{},"height":{},"pixelAspect":"{}","frameRate":"{}","duration":1)",
                  grid.layerWidth, grid.layerHeight, stage::TextOf(grid.pixelAspect), stage::TextOf(frameRate));
  fs::path sceneFile = "Orvandel.json";
  std::string written;
  if (!mask.file.empty()) {
    const auto [file, part] = FileAndPart(mask.file);
    std::error_code none;
    // A scene names files of its own folder; links are followed first.
    const fs::path whole = fs::weakly_canonical(file, none);
    if (none || !fs::is_regular_file(whole, none)) throw stage::InputError("there is no file " + file.string());
    sceneFile = whole.parent_path() / sceneFile;
    written = WrittenAt(whole);
    text += R"(,"masks":{"mask":{"file":)" + JsonText(whole.filename().string());
    if (!part.empty()) text += R"(,"id":)" + JsonText(part);
    text += mask.severalOutlines ? R"(}},"parameters":{"Wave Type":"Mask"})" : R"(,"part":"largest"}})";
  }
  text += '}';
  return Looks().Get(sceneFile.string() + '\n' + written + '\n' + text, [&] { return LookFrom(text, sceneFile); });
}

std::string StampOf(const std::string& mask) {
  return mask.empty() ? mask : mask + '\n' + WrittenAt(FileAndPart(mask).first);
}

std::shared_ptr<const bridge::Player> PlayerOf(const std::vector<double>& values) {
  return Players().Get(values, [] { return std::make_shared<bridge::Player>(); });
}

void ForgetLooksAndPlayers() {
  Players().Clear();
  Looks().Clear();
}

}  // namespace orvandel::ofx
