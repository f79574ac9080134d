#include "stage/scene/source_reader.h"

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/base/names.h"
#include "stage/scene/media_reader.h"
#include "stage/scene/value_sources.h"
#include "stage/sources/sound_reader.h"

namespace orvandel::stage {
namespace {

constexpr double kWordLimit = 32768;
constexpr double kMostSeed = 0x1p53;  // beyond, JSON numbers are no longer whole in every program
constexpr double kLongestFollowing = 60, kHighestHertz = 100000;
constexpr std::string_view kBandForms = "\"full\", \"bass\", \"mid\", \"treble\" or [low, high] in Hz";

struct NamedBand {
  std::string_view name;
  double low, high;  // 0: no edge
};
constexpr std::array<NamedBand, 4> kNamedBands{
    {{"full", 0, 0}, {"bass", 20, 150}, {"mid", 150, 2500}, {"treble", 2500, 0}}};

std::pair<double, double> ReadBand(const JsonPlace& place) {
  if (place.IsString()) {
    std::vector<std::string> known;
    for (const NamedBand& band : kNamedBands) {
      if (band.name == place.Node().text) return {band.low, band.high};
      known.emplace_back(band.name);
    }
    place.FailUnlike(kBandForms, place.Node().text, known);
  }
  if (!place.IsArray() || place.Size() != 2) place.FailNot(kBandForms);
  const JsonPlace high = place.Item(1);
  const std::pair band{place.Item(0).NumberIn(0, kHighestHertz, "a frequency"),
                       high.NumberIn(0, kHighestHertz, "a frequency")};
  if (band.second <= band.first)
    high.Fail(fmt::format("{} is not above {}, the band's lower end", high.Found(), band.first));
  return band;
}

}  // namespace

double ReadNumberOf(const JsonPlace& place, const ParamInfo& info) {
  if (info.Type() == ORV_PARAM_INTEGER || info.Type() == ORV_PARAM_FIXED) {
    return place.NumberIn(info.ValidMin(), info.ValidMax());
  }
  const std::string_view unit = info.Type() == ORV_PARAM_ANGLE ? "degrees" : "pixels";
  const double number = place.Number(fmt::format("a number of {} inside -32768..32768", unit));
  if (number < -kWordLimit || number >= kWordLimit) {
    place.Fail(fmt::format("{} is outside -32768..32768", place.Found()));
  }
  return number;
}

bool TakesSources(const ParamInfo& info) {
  switch (info.Type()) {
    case ORV_PARAM_INTEGER:
    case ORV_PARAM_FIXED:
    case ORV_PARAM_ANGLE:
    case ORV_PARAM_POINT:
      return true;
    default:
      return false;
  }
}

NumberSource SourceReader::Read(const JsonPlace& place, const ParamInfo& info, std::size_t coordinate) {
  if (const auto random = place.Find("random")) return ReadRandom(*random, info, coordinate);
  if (const auto audio = place.Find("audio")) return ReadAudio(*audio, info);
  return ReadExpression(place.Need("expression", "\"random\", \"audio\" or \"expression\""));
}

RandomSource SourceReader::ReadRandom(const JsonPlace& place, const ParamInfo& info, std::size_t coordinate) const {
  place.MustBeObject("random draws: {\"min\": number, \"max\": number}").OnlyKeys({"seed", "min", "max", "every"});
  RandomSource random;
  random.stream = StreamOf(info.name, coordinate);
  if (const auto seed = place.Find("seed")) {
    const double number = seed->NumberIn(0, kMostSeed, "a whole number");
    if (number != std::floor(number)) seed->FailNot("a whole number from 0");
    random.seed = static_cast<std::uint64_t>(number);
  }
  const JsonPlace max = place.Need("max", "the largest value");
  random.min = ReadNumberOf(place.Need("min", "the smallest value"), info);
  random.max = ReadNumberOf(max, info);
  if (random.max < random.min) max.Fail(fmt::format("{} is below \"min\", {}", max.Found(), random.min));
  random.whole = info.Type() == ORV_PARAM_INTEGER;
  if (random.whole) {
    random.min = std::floor(random.min + 0.5);
    random.max = std::floor(random.max + 0.5);
  }
  if (const auto every = place.Find("every")) {
    random.every = ReadExact(*every, "a number of seconds or \"numerator/denominator\"", true);
    if (random.every.num <= 0) every->Fail(fmt::format("{} is not above 0", every->Found()));
  }
  return random;
}

AudioSource SourceReader::ReadAudio(const JsonPlace& place, const ParamInfo& info) {
  place.MustBeObject("a sound's loudness: {\"file\": name, \"min\": number, \"max\": number}")
      .OnlyKeys({"file", "band", "min", "max", "attack", "release", "start"});
  AudioSource audio;
  audio.atSilence = ReadNumberOf(place.Need("min", "the value at silence"), info);
  audio.atPeak = ReadNumberOf(place.Need("max", "the value at the loudest moment"), info);
  AudioShape shape;
  if (const auto band = place.Find("band")) std::tie(shape.low, shape.high) = ReadBand(*band);
  if (const auto attack = place.Find("attack")) shape.attack = attack->NumberIn(0, kLongestFollowing, "seconds");
  if (const auto release = place.Find("release")) shape.release = release->NumberIn(0, kLongestFollowing, "seconds");
  if (const auto start = place.Find("start")) audio.start = ReadExact(*start, "a number of seconds", false);
  const JsonPlace name = place.Need("file", "a sound file's name");
  const std::filesystem::path file = files_.Plain(name);
  auto& envelope = envelopes_[{file, shape}];
  if (envelope == nullptr) {
    const SoundReader* sounds = Addition<SoundReader>::Find();
    if (sounds == nullptr) name.Fail("this program reads no sounds");
    try {
      envelope = std::make_shared<const AudioEnvelope>(sounds->Measure(file, shape));
    } catch (const InputError& error) {
      name.Fail(error.what());
    }
  }
  audio.envelope = envelope;
  audio.file = file;
  return audio;
}

ExpressionSource SourceReader::ReadExpression(const JsonPlace& place) const {
  const std::string& text = place.Text("a formula as a text");
  const ExpressionReader* expressions = Addition<ExpressionReader>::Find();
  if (expressions == nullptr) place.Fail("this program reads no expressions");
  try {
    return {expressions->Read(text, constants_), place.Where()};
  } catch (const InputError& error) {
    place.Fail(error.what());
  }
}

}  // namespace orvandel::stage
