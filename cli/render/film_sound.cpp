#include "cli/render/film_sound.h"

#include <fmt/format.h>

#include <algorithm>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/scene/sequence_name.h"
#include "stage/sources/sound_reader.h"

namespace orvandel::cli {
namespace {

// Each sound that parameters follow, with its start, once.
std::vector<stage::Media> SoundsFollowed(const stage::Scene& scene) {
  std::vector<stage::Media> sounds;
  const auto keep = [&](const stage::AudioSource& audio) {
    const auto same = [&](const stage::Media& sound) { return sound.file == audio.file && sound.start == audio.start; };
    if (std::none_of(sounds.begin(), sounds.end(), same)) sounds.push_back({"sound", audio.file, audio.start});
  };
  for (const stage::Emitter& emitter : scene.emitters) {
    for (const stage::Track& track : emitter.tracks) {
      for (const stage::NumberSource& source : track.sources) {
        if (const auto* audio = std::get_if<stage::AudioSource>(&source)) keep(*audio);
      }
    }
  }
  return sounds;
}

const stage::SoundReader& Reader() {
  const stage::SoundReader* reader = stage::Addition<stage::SoundReader>::Find();
  if (reader == nullptr) throw stage::InputError("this program reads no sounds");
  return *reader;
}

bool HasSound(const std::filesystem::path& file) {
  try {
    Reader().Try(file);
    return true;
  } catch (const stage::InputError&) {
    return false;
  }
}

void MustBeDecodable(const stage::Media& sound) {
  try {
    Reader().Try(sound.file);
  } catch (const stage::InputError& error) {
    if (sound.place.empty()) throw;
    throw stage::InputError(sound.place + ": " + error.what());
  }
}

// Exact, as far as the parts fit 62 bits: a start is written with few digits.
stage::Rational StartInFilm(const stage::Media& sound, const stage::Scene& scene, std::int32_t firstFrame) {
  const stage::Rational rate = scene.time.frameRate;
  const stage::Rational first = stage::Reduced({firstFrame * rate.den, rate.num});
  std::int64_t a = 0, b = 0, den = 0, num = 0;
  if (__builtin_mul_overflow(sound.start.num, first.den, &a) ||
      __builtin_mul_overflow(first.num, sound.start.den, &b) ||
      __builtin_mul_overflow(sound.start.den, first.den, &den) || __builtin_sub_overflow(a, b, &num)) {
    throw stage::InputError(sound.place + ": the sound's start is too far away or has too many digits");
  }
  return stage::Reduced({num, den});
}

}  // namespace

SoundChoice ChooseSound(const stage::Scene& scene, const std::optional<stage::Media>& footage,
                        const std::vector<std::int32_t>& frames) {
  SoundChoice choice;
  if (scene.silent || frames.empty()) return choice;
  std::optional<stage::Media> sound = scene.sound;
  if (!sound) {
    const auto followed = SoundsFollowed(scene);
    if (followed.size() > 1) {
      choice.note = fmt::format("no sound: parameters follow {} sounds; name one with \"sound\"", followed.size());
      return choice;
    }
    if (!followed.empty()) {
      sound = followed.front();
    } else if (footage && !stage::ParseSequenceName(footage->file) && HasSound(footage->file)) {
      sound = footage;
    }
  }
  if (!sound) return choice;
  const auto gap = std::adjacent_find(frames.begin(), frames.end(), [](auto a, auto b) { return b != a + 1; });
  if (gap != frames.end()) {
    choice.note = fmt::format("no sound: frame {} comes after frame {}, and sound cannot skip", *(gap + 1), *gap);
    return choice;
  }
  MustBeDecodable(*sound);
  choice.sound = {sound->file, StartInFilm(*sound, scene, frames.front())};
  return choice;
}

}  // namespace orvandel::cli
