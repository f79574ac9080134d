#include "tests/faults/walk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/faults/heap_faults.h"

namespace orvandel::test {
namespace {

using Pixels = std::vector<std::uint8_t>;

constexpr double kRates[] = {24000.0 / 1001, 24, 25, 30000.0 / 1001, 30, 50, 60000.0 / 1001, 60, 100, 120};

// The variants that strings play with; few, so that fresh pictures are soon known.
const std::vector<Variant>& Variants() {
  static const std::vector<Variant> variants = {
      {Shape::kPolygon, false, false, false}, {Shape::kRoundedStar, true, true, true},
      {Shape::kMask, false, true, true},      {Shape::kContour, true, false, false},
      {Shape::kContour, false, false, true},  {Shape::kPolygon, true, true, true}};
  return variants;
}

constexpr std::int32_t kFailure = 77, kStop = 78;

// How a frame is asked for; the first are the usual terms.
struct Terms {
  std::int32_t quality = 1, width = kSweepWidth, height = kSweepHeight;  // of the output
  std::uint32_t downsample = 1;
  std::int32_t layerWidth = kSweepWidth, timeScale = 30000, origin = 0;
  bool passParams = true;
};
constexpr Terms kTerms[] = {{},
                            {.quality = 0},
                            {.width = 30, .height = 22},
                            {.width = 12, .height = 8, .downsample = 2},
                            {.layerWidth = 20},
                            {.timeScale = 24000},
                            {.origin = 2},
                            {.passParams = false}};

// Outputs that nothing can be drawn into.
OrvImage WithoutPixels(std::size_t kind, FencedImage& output) {
  OrvImage image = output.View();
  if (kind == 0) image.data = nullptr;
  if (kind == 1) image = OrvImage{};
  if (kind > 1) (kind == 2 ? image.width : image.height) *= -1;
  return image;
}

}  // namespace

Walk::Walk(Dice dice, OrvFilterMain entry, Reload reload)
    : host_(kSweepWidth, kSweepHeight, entry), reload_(std::move(reload)), dice_(dice) {
  Furnish(host_);
  sequences_[1].variant = Pick(Variants().size());
}

void Walk::Run() {
  if (Pick(10) != 0) Command(ORV_GLOBAL_SET_UP);
  if (Pick(12) != 0) Command(ORV_PARAM_SET_UP);
  for (std::size_t i = 4 + Pick(10); i > 0 && !testing::Test::HasFailure(); --i) Next();
  for (Sequence& sequence : sequences_) {
    current_ = &sequence;
    Command(ORV_SEQUENCE_SET_DOWN);
  }
  Command(ORV_GLOBAL_SET_DOWN);
  host_.in.globalData = otherInstance_;
  Command(ORV_GLOBAL_SET_DOWN);
  std::string left;
  EXPECT_TRUE(host_.NothingLeft(&left)) << left << Log();
}

void Walk::Next() {
  constexpr std::int32_t kIgnored[] = {2, 9, 10, 12, 15, 16, 17, 19, 1000, -1, INT32_MIN, INT32_MAX};
  switch (Pick(24)) {
    case 0:
      return Command(ORV_SEQUENCE_SET_UP);
    case 1:
      return Command(ORV_SEQUENCE_RE_SET_UP);
    case 2:
      return Command(Pick(2) == 0 ? ORV_SEQUENCE_FLATTEN : ORV_SEQUENCE_SET_DOWN);
    case 3:
      return Command(Pick(2) == 0 ? ORV_ABOUT : ORV_QUERY_DYNAMIC_FLAGS);
    case 4:
      return Command(kIgnored[Pick(std::size(kIgnored))]);
    case 5:
      return Command(Pick(2) == 0 ? ORV_UPDATE_PARAMS_UI : ORV_USER_CHANGED_PARAM);
    case 6:
      return Command(Pick(2) == 0 ? ORV_GLOBAL_SET_UP : ORV_PARAM_SET_UP);
    case 7:
      current_->variant = Pick(Variants().size());  // as if the user had edited everything
      return;
    case 8:
      return EndInstance();
    case 9:
      return LoadAnew();
    case 12:
      return ChangeInstance();
    case 10:
    case 11:
      current_ = &sequences_[Pick(2)];
      return;
    default:
      return RenderSomeFrame();
  }
}

void Walk::Use(const Sequence& sequence) {
  if (ParamsKnown()) Apply(host_, Variants()[sequence.variant]);
  host_.changeStamp = 1 + sequence.variant;
  host_.rowsBetweenReports = static_cast<std::int32_t>(sequence.variant % 3) * 7;
  host_.hearsWaves = sequence.variant % 2 == 1;
  host_.keepsResumePoints = sequence.variant != 1;
  host_.in.sequenceData = sequence.data;
}

void Walk::Command(std::int32_t selector) {
  log_ += " " + std::to_string(selector) + (current_ == &sequences_[0] ? "a" : "b");
  Use(*current_);
  OrvChangedParam changed{static_cast<std::int32_t>(Pick(50))};
  const std::int32_t code = host_.Send(selector, &changed);
  current_->data = host_.in.sequenceData;
  const bool needsParams = selector == ORV_UPDATE_PARAMS_UI || selector == ORV_USER_CHANGED_PARAM;
  EXPECT_EQ(code, needsParams && !ParamsKnown() ? ORV_INVALID_CALLBACK : 0) << Log();
  ExpectOrder();
}

void Walk::AskFor(std::size_t terms) {
  const Terms& asked = kTerms[terms];
  host_.in.quality = asked.quality;
  host_.in.width = asked.layerWidth;
  host_.in.downsampleX = host_.in.downsampleY = {1, asked.downsample};
  host_.in.origin = {asked.origin, 0};
  host_.timeScale = asked.timeScale;
  host_.duration = asked.timeScale * 2 / 3;
  host_.passParamsToRender = asked.passParams;
  host_.output = FencedImage(asked.width, asked.height, 0x5A);
}

std::int32_t Walk::SomeTime() {
  const double rate = kRates[Pick(std::size(kRates))];
  // Mostly early frames; some late enough for the host's promise that nothing changed to be asked for.
  const double seconds = Pick(16) == 0 ? 5 : 0;
  const auto frame = static_cast<double>(Pick(static_cast<std::size_t>(rate * 0.6))) + rate * seconds;
  return static_cast<std::int32_t>(frame * host_.timeScale / rate);
}

void Walk::RenderSomeFrame() {
  if (Pick(4) == 0) terms_ = Pick(2) == 0 ? 0 : Pick(std::size(kTerms));
  AskFor(terms_);
  const std::int32_t time = SomeTime();
  log_ += " render" + std::to_string(time) + "/" + std::to_string(terms_) + (current_ == &sequences_[0] ? "a" : "b");
  Use(*current_);
  const bool drawn = Pick(16) != 0;
  if (!drawn) {
    host_.lentOutput = WithoutPixels(Pick(4), host_.output);
    if (Pick(2) == 0) {
      host_.lentInput = host_.lentLayer = OrvImage{};
      host_.changeStamp += Variants().size();
    }
  }
  if (drawn && Pick(5) == 0) BreakSomething();
  const std::int32_t code = host_.Render(time);
  const bool disturbed = host_.FaultStruck() || heap_faults::Struck();
  host_.Disarm();
  heap_faults::Disarm();
  host_.lentOutput = host_.lentInput = host_.lentLayer = std::nullopt;
  current_->data = host_.in.sequenceData;
  ExpectOrder();
  if (disturbed) {
    constexpr std::int32_t kCodes[] = {0, kFailure, kStop, ORV_OUT_OF_MEMORY, ORV_INVALID_CALLBACK};
    EXPECT_TRUE(std::count(std::begin(kCodes), std::end(kCodes), code) == 1) << code << Log();
    log_ += " (" + std::to_string(code) + ")";
    return;
  }
  ASSERT_EQ(code, ParamsKnown() ? 0 : ORV_INVALID_CALLBACK) << Log();
  if (!ParamsKnown() || !drawn) return;
  const Pixels picture = host_.output.Pixels();
  static std::map<std::tuple<std::size_t, std::size_t, std::int32_t>, Pixels> fresh;
  Pixels& expected = fresh[{current_->variant, terms_, time}];
  if (expected.empty()) expected = host_.FreshPicture(time);
  EXPECT_TRUE(picture == expected) << "variant " << current_->variant << Log();
  ++frames_;
}

// A callback, and often a stop before or behind it, or the memory; mostly early in the frame.
void Walk::BreakSomething() {
  const auto sometime = [this] { return static_cast<std::int64_t>(Pick(Pick(2) == 0 ? 10 : 500)); };
  Fault fault{static_cast<Callback>(Pick(static_cast<std::size_t>(Callback::kCount))), sometime(), kFailure};
  fault.persistent = Pick(3) == 0;
  fault.throws = Pick(4) == 0 && fault.callback != Callback::kCheckIn;
  fault.leaves = static_cast<Leaves>(Pick(3));
  host_.ArmAll({fault, {Callback::kPoll, Pick(2) == 0 ? sometime() : -1, kStop}});
  if (Pick(4) == 0) heap_faults::Arm(sometime(), Pick(2) == 0);
  log_ += " fault" + std::to_string(static_cast<int>(fault.callback));
}

// The sequences stay with the host: they must find that their memory has gone with the instance.
void Walk::EndInstance() {
  log_ += " end";
  const bool known = ParamsKnown();
  Command(ORV_GLOBAL_SET_DOWN);
  if (known) Command(ORV_PARAM_SET_UP);
}

void Walk::ChangeInstance() {
  log_ += " other";
  std::swap(host_.in.globalData, otherInstance_);
  if (ParamsKnown()) Command(ORV_PARAM_SET_UP);
}

void Walk::LoadAnew() {
  if (!reload_) return;
  log_ += " reload";
  host_.Enter(reload_());
}

void Walk::ExpectOrder() {
  std::string why;
  EXPECT_TRUE(host_.Balanced(&why)) << why << Log();
  EXPECT_TRUE(host_.output.FencesIntact()) << Log();
  EXPECT_EQ(heap_faults::Damage(), "") << Log();
}

}  // namespace orvandel::test
