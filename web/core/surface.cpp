#include "web/core/surface.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/picture/pixel_order.h"
#include "stage/scene/scene_reader.h"
#include "stage/scene/scene_schema.h"
#include "stage/stills/png_file.h"
#include "web/core/answers.h"
#include "web/core/given_files.h"
#include "web/core/given_films.h"
#include "web/core/planes.h"
#include "web/core/session.h"
#include "web/core/unseen_media.h"

namespace orvandel::web {
namespace {

using nlohmann::ordered_json;

enum Outcome { kDone = 0, kRefused = 1, kFailed = 2, kWanting = 3 };

HandedIn files;
const stage::Addition<stage::GivenFiles> entered(files);
std::string said;

Session& TheSession() {
  static Session session;
  return session;
}

std::string TextOf(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

template <typename Work>
int Guarded(const Work& work) {
  try {
    said.clear();
    work();
    return kDone;
  } catch (const stage::InputError& error) {
    said = error.what();
    return kRefused;
  } catch (const stage::EffectError& error) {
    said = error.message.empty() ? "the effect failed with code " + std::to_string(error.code) : error.message;
    return kFailed;
  } catch (const std::bad_alloc&) {
    said.assign("there is not enough memory");
    return kFailed;
  } catch (const std::exception& error) {
    said = error.what();
    return kFailed;
  }
}

// What may ask for pictures of films.
template <typename Work>
int GuardedWithFilms(const Work& work) {
  GivenFilms& films = TheFilms();
  films.ForgetMissing();
  const int outcome = Guarded(work);
  if (films.Missing().empty()) {
    if (outcome == kDone) films.KeepFew();
    return outcome;
  }
  const int told = Guarded([&] {
    ordered_json list = ordered_json::array();
    for (const auto& [file, picture] : films.Missing()) list.push_back({{"file", file}, {"picture", picture}});
    TheSession().StartAfresh();
    said = TextOf(list);
  });
  return told == kDone ? kWanting : told;
}

ordered_json PartsJson(const stage::Scene& scene) {
  ordered_json list = ordered_json::array();
  for (const UnseenPart& part : UnseenParts(scene, TheSession().Catalog())) {
    list.push_back({{"pointer", part.pointer}, {"file", part.file}, {"message", part.message}});
  }
  return list;
}

ordered_json Facts(const stage::Scene& scene) {
  return {{"width", scene.width},
          {"height", scene.height},
          {"frames", scene.time.frameCount},
          {"frameRate", stage::TextOf(scene.time.frameRate)},
          {"seconds", static_cast<double>(scene.time.duration) / scene.time.timeScale},
          {"effects", scene.emitters.size()},
          {"notes", scene.notes},
          {"parts", PartsJson(scene)}};
}

ordered_json Complaints(const std::vector<stage::Complaint>& faults) {
  ordered_json list = ordered_json::array();
  for (const stage::Complaint& fault : faults) {
    list.push_back({{"message", fault.message},
                    {"pointer", fault.pointer},
                    {"allowed", fault.allowed},
                    {"nearest", fault.nearest}});
  }
  return list;
}

int Load(std::string_view text, const std::string& name) {
  const int outcome = Guarded([&] { said = TextOf(Facts(TheSession().Load(text, name))); });
  if (outcome != kRefused) return outcome;
  const std::string refusal = said;
  const int explained = Guarded([&] {
    auto faults = stage::SceneFaults(text, name, TheSession().Catalog());
    if (faults.empty()) faults.push_back({refusal, {}, {}, {}});
    said = TextOf(Complaints(faults));
  });
  return explained == kDone ? outcome : kFailed;
}

}  // namespace
}  // namespace orvandel::web

using namespace orvandel;  // NOLINT: the functions below stand in no namespace
using web::Guarded;
using web::GuardedWithFilms;

void* orvandelAllocate(std::size_t size) { return std::malloc(size); }
void orvandelFree(void* memory) { std::free(memory); }

int orvandelPutFile(const char* name, std::size_t nameSize, const std::uint8_t* bytes, std::size_t size) {
  return Guarded(
      [&] { web::files.Put(std::string(name, nameSize), std::string(reinterpret_cast<const char*>(bytes), size)); });
}
int orvandelForgetFiles() {
  return Guarded([] {
    web::files.Clear();
    web::TheFilms().Clear();
  });
}
int orvandelPutFilm(const char* name, std::size_t nameSize, const double* times, std::size_t count,
                    std::int32_t unitsPerSecond) {
  return Guarded([&] {
    const std::string file(name, nameSize);
    web::TheFilms().Put(file, {times, times + count}, unitsPerSecond);
    web::files.Put(file, {});
  });
}
int orvandelPutPicture(const char* name, std::size_t nameSize, std::int32_t picture, std::int32_t width,
                       std::int32_t height, const std::uint8_t* pixels) {
  return Guarded([&] {
    stage::Picture made(width, height);
    std::copy_n(pixels, made.bytes.size(), made.bytes.begin());
    stage::AlphaFirst(made.bytes.data(), made.bytes.size() / 4);
    web::TheFilms().PutPicture({std::string(name, nameSize), static_cast<std::size_t>(picture)}, std::move(made));
  });
}

int orvandelPutPlanes(const char* name, std::size_t nameSize, std::int32_t picture, std::int32_t width,
                      std::int32_t height, const std::uint8_t* bytes, std::size_t size, const std::int32_t* form) {
  return Guarded([&] {
    web::Planes planes{};
    std::memcpy(&planes, form, sizeof planes);
    web::TheFilms().PutPicture({std::string(name, nameSize), static_cast<std::size_t>(picture)},
                               web::PictureOf(planes, width, height, {bytes, size}));
  });
}

int orvandelLoad(const char* text, std::size_t size, const char* name, std::size_t nameSize) {
  return web::Load({text, size}, std::string(name, nameSize));
}

int orvandelFrame(std::int32_t frame, std::int32_t downsample, int draft) {
  return GuardedWithFilms([&] { web::TheSession().RenderFrame(frame, {downsample, draft != 0}); });
}
int orvandelEffectFrame(std::int32_t effect, std::int32_t frame, std::int32_t downsample, int draft) {
  return GuardedWithFilms([&] { web::TheSession().RenderEffect(effect, frame, {downsample, draft != 0}); });
}
std::int32_t orvandelWidth() { return web::TheSession().Last().width; }
std::int32_t orvandelHeight() { return web::TheSession().Last().height; }
const std::uint8_t* orvandelPixels() { return web::TheSession().Last().bytes.data(); }
int orvandelPng() {
  return Guarded([] { web::said = stage::EncodePng(web::TheSession().Last()); });
}

int orvandelSchema() {
  return Guarded([] { web::said = stage::SceneSchema(web::TheSession().Catalog()); });
}

int orvandelCatalog() {
  return Guarded([] { web::said = web::CatalogJson(web::TheSession().Catalog()); });
}
int orvandelShown(std::int32_t effect, std::int32_t frame) {
  return GuardedWithFilms([&] { web::said = web::ShownJson(web::TheSession(), effect, frame); });
}
int orvandelWaves(std::int32_t effect, std::int32_t frame) {
  return GuardedWithFilms([&] { web::said = web::WavesJson(web::TheSession(), effect, frame); });
}
int orvandelValues(std::int32_t effect, const char* name, std::size_t nameSize, std::int32_t first, std::int32_t count,
                   std::int32_t step) {
  return Guarded([&] {
    web::said = web::ValuesJson(web::TheSession(), effect, {name, nameSize}, {first, count, step});
  });
}
int orvandelMasks(std::int32_t frame) {
  return Guarded([&] { web::said = web::MasksJson(web::TheSession(), frame); });
}
int orvandelRemarks() {
  return Guarded([] { web::said = web::RemarksJson(web::TheSession()); });
}

const char* orvandelText() { return web::said.data(); }
std::size_t orvandelTextSize() { return web::said.size(); }
