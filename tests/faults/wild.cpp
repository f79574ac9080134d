#include "tests/faults/wild.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "effect/params/param_ids.h"
#include "effect/sim/ticks.h"
#include "tests/faults/heap_faults.h"

namespace orvandel::test {
namespace {

constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 26;
// Requests to heap and host between two polls: 28 parameters are read at every tick up to the frame, and up to 2.4
// hours beyond it; a mask may have 2^24 points, a step 4096 births.
constexpr double kMostWorkATick = 3 * 28;
constexpr double kMostWorkAFrame = 80e6;
constexpr std::int64_t kPatience = 1000;  // polls a render

constexpr std::array<std::int32_t, 14> kWildWords = {INT32_MIN, INT32_MIN + 1, INT32_MAX, -1,     0,       1,      2, 3,
                                                     65536,     -65536,        0x7FFF,    100000, 1 << 24, 1 << 30};

std::int32_t WildWord(Dice& source) {
  return source(4) == 0 ? source.Whole(INT32_MIN, INT32_MAX)
                        : kWildWords[source(static_cast<std::uint32_t>(kWildWords.size()))];
}

OrvRatio WildRatio(Dice& source) {
  return {source(2) == 0 ? 1 : WildWord(source), source(3) == 0 ? 0 : source(2) == 0 ? 1 : source(UINT32_MAX)};
}

FencedImage OutputOf(Dice& source) {
  constexpr std::pair<std::int32_t, std::int32_t> kSizes[] = {{1, 1}, {1, 32768}, {32768, 1}, {3, 2}, {24, 16}};
  const auto [width, height] = kSizes[source(8) == 0 ? source(4) : 4];
  return FencedImage(width, height, 0x5A, 12, source(2) == 0);
}

double WildNumber(Dice& source, double usual) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNumbers[] = {
      std::numeric_limits<double>::quiet_NaN(), kInfinity, -kInfinity, 1e300, -1e300, 1e7, -5, 0, 3e9, 1e38, 5e-324};
  return source(3) == 0 ? kNumbers[source(std::size(kNumbers))] : usual;
}

// In range, or one step outside: popup 0 and n + 1.
std::int32_t WordNearRange(Dice& source, const Range& range) {
  const std::uint32_t kind = source(8);
  if (kind == 0 && range.low > INT32_MIN) return range.low - 1;
  if (kind == 1 && range.high < INT32_MAX) return range.high + 1;
  return WordInRange(source, range);
}

// A picture that no host means: no pixels, rows upside down, a size that its pixels do not have.
OrvImage WildImage(Dice& source, FencedImage& real) {
  OrvImage image = real.View();
  switch (source(4)) {
    case 0:
      image.data = nullptr;
      break;
    case 1:
      image.width = 0;
      if (source(2) == 0) image.height = 0;
      break;
    case 2:
      image.data = real.Pixel(0, real.Height() - 1);
      image.rowBytes = -image.rowBytes;
      break;
    default:
      image.width = 1;
  }
  return image;
}

}  // namespace

std::int32_t WordInRange(Dice& source, const Range& range) {
  const std::uint32_t kind = source(8);
  if (kind == 0) return source(2) == 0 ? range.low : range.high;
  if (kind == 1) return source.Whole(range.low, range.high);
  const double spread = 1 + std::abs(static_cast<double>(range.usual)) * 2;
  const double word = range.usual + spread * (2 * source.Fraction() - 1);
  return static_cast<std::int32_t>(std::clamp(word, static_cast<double>(range.low), static_cast<double>(range.high)));
}

ValueHost::ValueHost() : FakeHost(kSweepWidth, kSweepHeight) {
  Furnish(*this);
  sourceLayer = 1;
  EXPECT_EQ(Send(ORV_GLOBAL_SET_UP), 0);
  EXPECT_EQ(Send(ORV_PARAM_SET_UP), 0);
  for (std::int32_t id = kWaveType; id <= kMask; ++id) ranges_.push_back(RangeOf(id));
  heap_faults::LimitBytes(kMostBytes);
  heap_faults::Arm(-1, false);
  onPoll = [this] { CountWork(); };
}

ValueHost::~ValueHost() {
  Send(ORV_SEQUENCE_SET_DOWN);
  EXPECT_EQ(heap_faults::LiveBlocks(), 0);
  Send(ORV_GLOBAL_SET_DOWN);
  heap_faults::LimitBytes(UINT64_MAX);
}

std::int32_t ValueHost::RenderAnew(std::int32_t hostTime) {
  Send(ORV_SEQUENCE_SET_UP);
  return RenderOn(hostTime);
}

std::int32_t ValueHost::RenderOn(std::int32_t hostTime) {
  workDone_ = Work();
  mostWork_ = 0;
  pollsLeft = kPatience;
  const std::int32_t code = Render(hostTime);
  pollsLeft = INT64_MAX;
  CountWork();
  std::string why;
  EXPECT_TRUE(Balanced(&why)) << why;
  EXPECT_TRUE(output.FencesIntact());
  EXPECT_EQ(heap_faults::Damage(), "");
  EXPECT_LE(static_cast<double>(mostWork_),
            kMostWorkAFrame + kMostWorkATick * std::max(TicksOf(hostTime, timeScale), 0.0));
  EXPECT_TRUE(code == 0 || code == kOutOfPatience || code == ORV_OUT_OF_MEMORY || code == ORV_INVALID_CALLBACK) << code;
  const auto pixels = output.Pixels();
  if (code == 0 && std::any_of(pixels.begin(), pixels.end(), [](std::uint8_t byte) { return byte != 0; })) ++pictures_;
  return code;
}

void ValueHost::SetWords(const Range& range, std::int32_t word, std::int32_t second) {
  if (range.type == ORV_PARAM_LAYER) return;
  SetValue(range.id, [range, word, second](std::int32_t, OrvParamDef& d) {
    d.value.integer.value = word;
    if (range.type == ORV_PARAM_POINT) d.value.point = {word, second, 1, 0, 0};
  });
}

Range ValueHost::RangeOf(std::int32_t id) const {
  const OrvParamDef& d = definitions[static_cast<std::size_t>(IndexOf(id))];
  switch (d.type) {
    case ORV_PARAM_INTEGER:
      return {id, d.type, d.value.integer.validMin, d.value.integer.validMax, d.value.integer.defaultValue};
    case ORV_PARAM_FIXED:
      return {id, d.type, d.value.fixed.validMin, d.value.fixed.validMax, d.value.fixed.defaultValue};
    case ORV_PARAM_ANGLE:
      return {id, d.type, -32767 * 65536, 32767 * 65536, d.value.angle.defaultValue};
    case ORV_PARAM_CHECKBOX:
      return {id, d.type, 0, 1, 0};
    case ORV_PARAM_POPUP:
      return {id, d.type, 1, d.value.popup.choiceCount, d.value.popup.defaultValue};
    case ORV_PARAM_PATH:
      return {id, d.type, 0, 2, 1};
    case ORV_PARAM_POINT:
      return {id, d.type, -100 * 65536, 100 * 65536, 10 * 65536};
    default:
      return {id, d.type, INT32_MIN, INT32_MAX, 0};
  }
}

std::int64_t ValueHost::Work() const {
  return Calls(Callback::kCheckOut) + Calls(Callback::kNewHandle) + Calls(Callback::kPointAtLength) +
         heap_faults::Requests();
}

void ValueHost::CountWork() {
  mostWork_ = std::max(mostWork_, Work() - workDone_);
  workDone_ = Work();
}

void ValueHost::WildParams(Dice& source) {
  const std::uint32_t wildness = 1 + source(8);  // of 32
  for (const Range& range : ranges_) {
    if (range.type == ORV_PARAM_LAYER || source(32) >= 2 * wildness) continue;
    const std::int32_t word = source(2) == 0 ? WildWord(source) : WordNearRange(source, range);
    const std::int32_t second = WildWord(source);
    const std::int32_t type = source(12) == 0 ? static_cast<std::int32_t>(1 + source(14)) : range.type;
    SetValue(range.id, [range, word, second, type](std::int32_t, OrvParamDef& d) {
      d.type = type;
      d.value.integer.value = word;
      if (range.type == ORV_PARAM_POINT) d.value.point.y = second;
    });
  }
}

void ValueHost::WildRecord(Dice& source) {
  const auto sometimes = [&](std::int32_t usual) { return source(12) == 0 ? WildWord(source) : usual; };
  timeScale = source(12) == 0 ? WildWord(source) : 30000;
  duration = sometimes(20000);
  in.width = sometimes(kSweepWidth);
  in.height = sometimes(kSweepHeight);
  in.origin = {sometimes(0), sometimes(0)};
  in.quality = static_cast<std::int32_t>(source(2));
  for (OrvRatio* ratio : {&in.downsampleX, &in.downsampleY, &in.pixelAspect}) {
    *ratio = source(12) == 0 ? WildRatio(source) : OrvRatio{1, 1};
  }
}

void ValueHost::GoWild(Dice& source) {
  WildParams(source);
  WildRecord(source);
  output = OutputOf(source);
  sourceLayer = static_cast<std::int32_t>(source(3));
  passParamsToRender = source(2) == 0;
  if (source(24) == 0) {  // no pixels, or sizes that nothing has
    lentOutput = output.View();
    (source(2) == 0 ? lentOutput->width : lentOutput->height) *= static_cast<std::int32_t>(source(2)) - 1;
  }
  if (source(4) == 0) lentInput = WildImage(source, input);
  if (sourceLayer > 0 && source(4) == 0) lentLayer = WildImage(source, layers[0]);
  if (source(3) == 0) distortPaths = [&source](double usual) { return WildNumber(source, usual); };
}

void ValueHost::TameAll() {
  ClearValues();
  distortPaths = nullptr;
  lentOutput = lentInput = lentLayer = std::nullopt;
}

// Frames that lie far behind the start take seconds and are all alike: few of them.
std::int32_t ValueHost::WildTime(Dice& source) const {
  const auto usual = static_cast<std::int32_t>(source(9000));
  const std::int32_t wild = source(6) == 0 ? WildWord(source) : usual;
  const double ticks = TicksOf(wild, timeScale);
  return ticks > 200 && ticks <= kLatestTick && source(200) != 1 ? usual : wild;
}

}  // namespace orvandel::test
