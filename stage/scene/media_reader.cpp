#include "stage/scene/media_reader.h"

#include <utility>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/scene/sequence_name.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kMediaForms =
    "a file name or {\"file\": name, \"start\": seconds, or pictures of a sequence}";

}  // namespace

Rational ReadExact(const JsonPlace& place, std::string_view allowed, bool texts) {
  if (!place.IsNumber() && !(texts && place.IsString())) place.FailNot(allowed);
  try {
    return ParseRational(place.IsString() ? place.Text(allowed) : place.Node().text);
  } catch (const InputError& error) {
    place.Fail(error.what());
  }
}

Media ReadMedia(const JsonPlace& place, std::string name, const SceneFiles& files) {
  Media media;
  media.name = std::move(name);
  media.start = {0, 1};
  if (place.IsString()) {
    media.file = files.PlainOrSequence(place);
    media.place = place.Where();
    return media;
  }
  place.MustBeObject(kMediaForms).OnlyKeys({"file", "start"});
  const JsonPlace file = place.Need("file", "a file name");
  media.file = files.PlainOrSequence(file);
  media.place = file.Where();
  if (const auto start = place.Find("start")) {
    media.start = ReadExact(*start, "a number of seconds, or of pictures of a sequence", false);
    if (media.start.den != 1 && ParseSequenceName(media.file)) {
      start->Fail(
          fmt::format("{} is not a whole number: the start of a numbered sequence counts pictures", start->Found()));
    }
  }
  return media;
}

Media ReadSound(const JsonPlace& place, const SceneFiles& files) {
  Media sound;
  sound.name = "sound";
  sound.start = {0, 1};
  sound.place = place.Where();
  if (place.IsString()) {
    sound.file = files.Plain(place);
    return sound;
  }
  place.MustBeObject("a sound file's name, {\"file\": name, \"start\": seconds} or null").OnlyKeys({"file", "start"});
  const JsonPlace file = place.Need("file", "a sound file's name");
  sound.file = files.Plain(file);
  sound.place = file.Where();
  if (const auto start = place.Find("start")) sound.start = ReadExact(*start, "a number of seconds", false);
  return sound;
}

}  // namespace orvandel::stage
