#include "stage/scene/key_reader.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kEasingForms =
    "\"linear\", \"hold\", \"ease-in\", \"ease-out\", \"ease-in-out\" or [x1, y1, x2, y2]";
// Overshoot is allowed; beyond this, sums over an eased value would no longer be finite.
constexpr double kMaxOvershoot = 1e6;

struct NamedEasing {
  std::string_view name;
  Easing easing;
};
constexpr std::array<NamedEasing, 5> kNamedEasings{{
    {"linear", {Interpolation::kLinear, 0, 0, 1, 1}},
    {"hold", {Interpolation::kHold, 0, 0, 1, 1}},
    {"ease-in", {Interpolation::kBezier, 0.42, 0, 1, 1}},
    {"ease-out", {Interpolation::kBezier, 0, 0, 0.58, 1}},
    {"ease-in-out", {Interpolation::kBezier, 0.42, 0, 0.58, 1}},
}};

Easing ReadNamedEasing(const JsonPlace& place) {
  const std::string& name = place.Text(kEasingForms);
  std::vector<std::string> known;
  for (const NamedEasing& named : kNamedEasings) {
    if (named.name == name) return named.easing;
    known.emplace_back(named.name);
  }
  place.FailUnlike(kEasingForms, name, known);
}

Easing ReadEasing(const JsonPlace& place) {
  if (place.IsString()) return ReadNamedEasing(place);
  if (place.MustBeArray(kEasingForms).Size() != 4) place.FailNot(kEasingForms);
  std::array<double, 4> points{};
  for (std::size_t i = 0; i < points.size(); ++i) {
    const bool isX = i % 2 == 0;
    points[i] = place.Item(i).NumberIn(isX ? 0 : -kMaxOvershoot, isX ? 1 : kMaxOvershoot);
  }
  return {Interpolation::kBezier, points[0], points[1], points[2], points[3]};
}

double ReadTime(const JsonPlace& place, double before, bool first) {
  const double time = place.Number("a number of seconds");
  if (!first && time <= before) {
    place.Fail(fmt::format("{} does not come after the time before, {}", place.Found(), before));
  }
  return time;
}

}  // namespace

void KeyReader::Read(const JsonPlace& holder, std::string_view valueKey, const TakeKey& take) {
  const JsonPlace list = holder.Need("keyframes", "an array of keys");
  const std::size_t count = list.MustBeArray("an array of keys").Size();
  if (count == 0) list.Fail("is empty: at least one key is required");
  if (count > kMaxKeysOfOne) list.Fail(fmt::format("{} keys, {} are allowed", count, kMaxKeysOfOne));
  total_ += count;
  if (total_ > kMaxKeysOfScene) {
    list.Fail(fmt::format("{} keys in the scene so far, {} are allowed", total_, kMaxKeysOfScene));
  }
  double before = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const JsonPlace key = list.Item(i);
    key.MustBeObject(fmt::format("a key {{\"time\": seconds, \"{}\": ...}}", valueKey))
        .OnlyKeys({"time", valueKey, "interp"});
    const JsonPlace time = key.Need("time", "a number of seconds");
    before = ReadTime(time, before, i == 0);
    const auto interp = key.Find("interp");
    take(key.Need(valueKey, "the key's value"), before, interp ? ReadEasing(*interp) : Easing{});
  }
}

}  // namespace orvandel::stage
