#include "tests/faults/walk.h"

#include <gtest/gtest.h>

#include <map>
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

}  // namespace

Walk::Walk(Choices choices, OrvFilterMain entry, Reload reload)
    : host_(kSweepWidth, kSweepHeight, entry), reload_(std::move(reload)), choices_(choices) {
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
    case 10:
    case 11:
    case 12:
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

void Walk::RenderSomeFrame() {
  const double rate = kRates[Pick(std::size(kRates))];
  // Mostly early frames; some late enough for the host's promise that nothing changed to be asked for.
  const double seconds = Pick(16) == 0 ? 5 : 0;
  const auto frame = static_cast<double>(Pick(static_cast<std::size_t>(rate * 0.6))) + rate * seconds;
  const auto time = static_cast<std::int32_t>(frame * host_.timeScale / rate);
  log_ += " render" + std::to_string(time) + (current_ == &sequences_[0] ? "a" : "b");
  Use(*current_);
  host_.output = FencedImage(kSweepWidth, kSweepHeight, 0x5A);
  const std::int32_t code = host_.Render(time);
  current_->data = host_.in.sequenceData;
  ASSERT_EQ(code, ParamsKnown() ? 0 : ORV_INVALID_CALLBACK) << Log();
  ExpectOrder();
  if (!ParamsKnown()) return;
  const Pixels picture = host_.output.Pixels();
  static std::map<std::pair<std::size_t, std::int32_t>, Pixels> fresh;
  Pixels& expected = fresh[{current_->variant, time}];
  if (expected.empty()) expected = host_.FreshPicture(time);
  EXPECT_TRUE(picture == expected) << "variant " << current_->variant << Log();
  ++frames_;
}

// The sequences stay with the host: they must find that their memory has gone with the instance.
void Walk::EndInstance() {
  log_ += " end";
  const bool known = ParamsKnown();
  Command(ORV_GLOBAL_SET_DOWN);
  if (known) Command(ORV_PARAM_SET_UP);
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
