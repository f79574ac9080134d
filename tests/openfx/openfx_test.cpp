// What hosts do differently changes no pixel, and what is described is a promise.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cfenv>
#include <cmath>
#include <cstdio>
#include <set>
#include <string_view>
#include <utility>

#include "plugins/openfx/half.h"
#include "scene_player.h"
#include "tests/support/dice.h"

namespace orvandel::ofx::test {
namespace {

using orvandel::test::Dice;
using testing::ElementsAre;

const Binary& ThePlugin() {
  static const Binary binary(ORVANDEL_OFX_FILE);
  return binary;
}

void Answer(OfxImageEffect& effect, const std::string& name, double value) {
  effect.params.Find(name)->value = [value](double) { return std::array<double, 3>{value, 0, 0}; };
}

std::vector<std::uint8_t> Reference(double time) {
  const Host host(ThePlugin(), {}, context::kGenerator);
  return host.Render(*host.Create(), time).image->Bytes();
}

struct Habit {
  const char* what;
  std::function<void(Habits&)> take;
};

TEST(Hosts, AllGetTheSameFrame) {
  const std::vector<std::uint8_t> expected = Reference(40);
  ASSERT_GT(std::count_if(expected.begin(), expected.end(), [](auto byte) { return byte != 0; }), 1000);
  const std::vector<Habit> habits{
      {"knows few properties", [](Habits& h) { h.knowsOnlyTheNeeded = true; }},
      {"says yes to properties it does not know",
       [](Habits& h) { h.knowsOnlyTheNeeded = true, h.unknownAnswer = kOk; }},
      {"calls unknown properties wrong values",
       [](Habits& h) { h.knowsOnlyTheNeeded = true, h.unknownAnswer = kErrValue; }},
      {"has one buffer for texts", [](Habits& h) { h.textsShareOneBuffer = true; }},
      {"has no messages, and no frames of other times",
       [](Habits& h) { h.missingSuites = {kMessageSuite}, h.givesOtherTimes = false; }},
      {"keeps rows downward and apart", [](Habits& h) { h.rowsDownward = true, h.rowPadding = 12; }},
      {"gives more than is asked for", [](Habits& h) { h.border = 37; }},
      {"hands out the default point as described", [](Habits& h) { h.defaultPointsRaw = true; }},
      {"tells no project", [](Habits& h) { h.tellsProject = false, h.defaultPointsRaw = true; }},
      {"tells a project of no size", [](Habits& h) { h.projectIsZero = true, h.defaultPointsRaw = true; }},
      {"tells how far the project goes, not what of it is used", [](Habits& h) { h.tellsExtentAlone = true; }},
      {"cannot read parameters", [](Habits& h) { h.valuesFail = true; }},
      {"has no values of times", [](Habits& h) { h.timedReadsFail = true; }},
      {"counts no keys, and knows no time", [](Habits& h) { h.keysUnknown = true, h.ignoresTime = true; }},
      {"has neither texts nor points nor choices", [](Habits& h) { h.refusesParamKinds = true; }},
      {"takes neither halves nor alpha alone",
       [](Habits& h) {
         h.refusedTexts = {depth::kHalf, components::kAlpha, context::kFilter};
       }},
      {"has blue first", [](Habits& h) { h.form.blueFirst = true; }},
  };
  for (const Habit& habit : habits) {
    SCOPED_TRACE(habit.what);
    Habits taken;
    habit.take(taken);
    for (const Name context : {context::kGenerator, context::kFilter, context::kGeneral}) {
      const Host host(ThePlugin(), taken, context);
      ASSERT_EQ(host.Described(), kOk);
      const auto effect = host.Create();
      for (int i = 0; i < 2; ++i) {
        const auto rendered = host.Render(*effect, 40);
        ASSERT_EQ(rendered.status, kOk) << testing::PrintToString(effect->messages);
        ASSERT_EQ(rendered.image->Bytes().size(),
                  static_cast<std::size_t>((160 + 2 * taken.border) * (90 + 2 * taken.border) * 4));
        if (taken.border == 0) {
          ASSERT_EQ(rendered.image->Bytes(), expected);
        }
        ASSERT_TRUE(rendered.keptToWindow);
        ASSERT_TRUE(effect->lent.empty());
      }
    }
  }
}

TEST(Hosts, ThreadsMayRoundAsTheyLike) {
  const std::vector<std::uint8_t> expected = Reference(40);
  const Host host(ThePlugin(), {}, context::kGenerator);
  const auto effect = host.Create();
  std::fesetround(FE_UPWARD);
  _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
  const auto rendered = host.Render(*effect, 40);
  EXPECT_EQ(std::fegetround(), FE_UPWARD);
  std::fesetenv(FE_DFL_ENV);
  EXPECT_EQ(rendered.image->Bytes(), expected);
}

// The project without a rate: the parameter's.
TEST(Hosts, AFrameRateCanBeGivenWhereTheHostHasNone) {
  Habits habits;
  habits.tellsRate = false;
  const Host host(ThePlugin(), habits, context::kFilter);
  const auto effect = host.Create();
  Answer(*effect, "frameRate", 30);
  Answer(*effect, "startFrame", -7);
  EXPECT_EQ(host.Render(*effect, 33).image->Bytes(), Reference(40));
  EXPECT_EQ(host.Render(*effect, 12.5).image->Bytes(), Reference(19.5));
  Answer(*effect, "startFrame", 100);
  EXPECT_THAT(host.Render(*effect, -3).image->Bytes(), testing::Each(0));
}

// A window anywhere, at any scale, aspect and place of the project, is a part of the whole; a field has its rows.
TEST(Windows, AreCutOutOfOneFrame) {
  for (std::uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE(seed);
    Dice dice(seed);
    Habits habits;
    const double scales[] = {1, 0.5, 0.25, 1 / 3.0};
    habits.scale = {scales[dice(4)], scales[dice(4)]};
    habits.pixelAspect = seed % 3 == 0 ? 1.0667 : seed % 3 == 1 ? 2 : 1;
    habits.offsetX = dice.Whole(-40, 40);
    habits.offsetY = dice.Whole(-40, 40);
    habits.tellsAspect = dice.OneIn(2);
    habits.oneFieldOnly = dice.OneIn(2);
    habits.tellsProject = seed % 4 != 0;
    habits.border = habits.oneFieldOnly || !habits.tellsProject ? 0 : dice.Whole(0, 5);
    habits.rowsDownward = dice.OneIn(2);
    habits.form.depth = dice.OneIn(2) ? depth::kByte : depth::kFloat;
    const Host host(ThePlugin(), habits, context::kGenerator);
    const auto effect = host.Create();
    Answer(*effect, "frequency", 6);
    const OfxRectI whole = host.WholeWindow();
    const auto frame = host.Render(*effect, 50), later = host.Render(*effect, 50.5);
    for (int i = 0; i < 7; ++i) {
      const int beyond = habits.tellsProject ? 9 : 0;
      const int left = dice.Whole(whole.x1 - beyond, whole.x2 - 1), low = dice.Whole(whole.y1 - beyond, whole.y2 - 1);
      const int right = left + dice.Whole(1, 40), high = low + dice.Whole(1, 40);
      const OfxRectI window{left, low, std::min(right, whole.x2 + beyond), std::min(high, whole.y2 + beyond)};
      const auto part = host.Render(*effect, 50, window);
      ASSERT_TRUE(part.status == kOk && part.keptToWindow);
      for (int y = window.y1; y < window.y2; ++y) {
        for (int x = window.x1; x < window.x2; ++x) {
          const bool inside = x >= whole.x1 && x < whole.x2 && y >= whole.y1 && y < whole.y2;
          for (int c = 0; c < 4; ++c) {
            ASSERT_EQ(part.image->Channel(x, y, c), inside ? frame.image->Channel(x, y, c) : 0);
          }
        }
      }
    }
    for (const int upper : {0, 1}) {
      const auto field = host.Render(*effect, 50 + upper * 0.5, whole, upper == 1 ? field::kUpper : field::kLower);
      ASSERT_TRUE(field.status == kOk && field.keptToWindow);
      for (int y = whole.y1; y < whole.y2; ++y) {
        for (int x = whole.x1; x < whole.x2 && (y & 1) == upper; ++x) {
          for (int c = 0; c < 4; ++c) {
            ASSERT_EQ(field.image->Channel(x, habits.oneFieldOnly ? y >> 1 : y, c),
                      (upper == 1 ? later : frame).image->Channel(x, y, c));
          }
        }
      }
    }
  }
}

std::unique_ptr<Image> NoisePicture(const Habits& habits, std::uint32_t seed) {
  Dice dice(seed);
  stage::Picture picture(160, 90);
  for (auto& byte : picture.bytes) byte = static_cast<std::uint8_t>(dice(256));
  return ImageOf(habits, picture);
}

// Every kind of pixel, alone and over a Source of every kind, against the formula in doubles.
TEST(Pixels, OfEveryKind) {
  const Host plain(ThePlugin(), {}, context::kGenerator);
  const auto waves = plain.Render(*plain.Create(), 40);
  struct Depth {
    Name name;
    double step;
  };
  const Depth depths[] = {
      {depth::kByte, 1 / 255.0}, {depth::kShort, 1 / 65535.0}, {depth::kHalf, 1 / 1024.0}, {depth::kFloat, 1e-6}};
  const Name states[] = {alpha::kOpaque, alpha::kPremultiplied, alpha::kStraight};
  const Name kinds[] = {components::kRgba, components::kRgb, components::kAlpha};
  std::uint32_t seed = 0;
  for (const Depth& depth : depths) {
    for (const Name components : kinds) {
      for (const Name state : states) {
        for (const bool overSource : {false, true}) {
          ++seed;
          SCOPED_TRACE(std::string(depth.name) + components + state + (overSource ? " over Source" : ""));
          Habits habits;
          habits.form = {depth.name, components, state};
          // Of the same kind, and of another one.
          const bool same = seed / 2 % 2 == 1;
          habits.sourceForm = same ? habits.form : Form{depths[seed / 2 % 4].name, kinds[0], states[seed / 4 % 3]};
          const Host host(ThePlugin(), habits, context::kFilter);
          const auto effect = host.Create();
          const auto source = NoisePicture(host.Had(), seed);
          if (overSource) {
            effect->clips[clip::kSource].pictures = [&](double) { return NoisePicture(host.Had(), seed); };
          }
          auto rendered = host.Render(*effect, 40);
          ASSERT_EQ(rendered.status, kOk);
          // Colour times alpha, and alpha.
          const auto valueOf = [](Image& image, int x, int y, int c) {
            const std::string kind = image.form.components, alphaIs = image.form.alpha;
            if (kind == components::kAlpha) return image.Channel(x, y, 0);
            const double a = kind == components::kRgb || alphaIs == alpha::kOpaque ? 1 : image.Channel(x, y, 3);
            if (c == 3) return a;
            const bool straight = alphaIs == alpha::kStraight && kind != std::string(components::kRgb);
            return image.Channel(x, y, c) * (straight ? a : 1);
          };
          const double steps = depth.step + (overSource && habits.sourceForm.depth == depth::kHalf ? 1 / 1024.0 : 0);
          for (int y = 0; y < 90; y += 2) {
            for (int x = y % 3; x < 160; x += 3) {
              const double top = waves.image->Channel(x, y, 3);
              const int channels = habits.form.Channels();
              for (int c = channels == 1 ? 3 : 0; c < (channels == 3 ? 3 : 4); ++c) {
                const double under = overSource ? valueOf(*source, x, y, c) : 0;
                double expected = (c == 3 ? 1 : waves.image->Channel(x, y, c)) * top + under * (1 - top);
                if (c == 3 && channels == 4 && state == std::string(alpha::kOpaque)) expected = 1;
                ASSERT_NEAR(valueOf(*rendered.image, x, y, c), expected, steps) << x << ' ' << y << ' ' << c;
              }
              if (overSource && top == 0 && same) {
                ASSERT_TRUE(std::equal(source->At(x, y), source->At(x, y) + channels * habits.form.ChannelBytes(),
                                       rendered.image->At(x, y)));
              }
            }
          }
        }
      }
    }
  }
}

TEST(Pixels, HalvesAreBinary16) {
  const std::pair<float, int> known[] = {{1, 0x3C00},   {-2, 0xC000},       {65504, 0x7BFF},    {65520, 0x7C00},
                                         {0x1p-24F, 1}, {0x1p-14F, 0x0400}, {1 / 3.0F, 0x3555}, {1 + 0x1p-11F, 0x3C00}};
  for (const auto& [value, bits] : known) EXPECT_EQ(HalfOfFloat(value), bits) << value;
  for (int bits = 0; bits < 0x7C00; ++bits) {
    const auto half = static_cast<std::uint16_t>(bits);
    ASSERT_EQ(HalfOfFloat(FloatOfHalf(half)), half);
    ASSERT_LT(FloatOfHalf(half), FloatOfHalf(static_cast<std::uint16_t>(bits + 1)));
  }
}

// A square that wanders, opaque on nothing.
std::unique_ptr<Image> SquareAt(const Habits& habits, double time) {
  stage::Picture picture(160, 90);
  const int left = 10 + static_cast<int>(time) % 100;
  for (int y = 20; y < 60; ++y) {
    for (int x = left; x < left + 40; ++x) {
      std::fill_n(picture.bytes.begin() + (y * 160 + x) * 4, 4, std::uint8_t{255});
    }
  }
  return ImageOf(habits, picture);
}

TEST(Contours, TheFramesThatAreAnnouncedAreThoseAskedFor) {
  const Host host(ThePlugin(), {}, context::kFilter);
  for (const bool eachFrame : {false, true}) {
    for (const char* traced : {clip::kSource, "Layer"}) {
      const auto effect = host.Create();
      Answer(*effect, "waveType", 1);
      Answer(*effect, "parametersAreSetAt", eachFrame ? 1 : 0);
      Answer(*effect, "frequency", 4);
      Answer(*effect, "lifespanSec", 1);
      Answer(*effect, "sourceLayer", traced == clip::kSource ? 1 : 0);
      OfxImageClip& clip = effect->clips[traced];
      clip.pictures = [&](double time) { return SquareAt(host.Had(), time); };
      OfxPropertySet in = host.Args(75), out;
      ASSERT_EQ(host.Do(action::kGetFramesNeeded, effect.get(), &in, &out), kOk);
      const auto rendered = host.Render(*effect, 75);
      EXPECT_TRUE(effect->lent.empty() && effect->messages.empty()) << testing::PrintToString(effect->messages);
      EXPECT_THAT(rendered.image->Bytes(), testing::Contains(testing::Gt(0)));
      std::set<double> announced;
      for (const auto& value : out.values.at(std::string(prop::kFrameRangeOf) + traced)) {
        announced.insert(std::get<double>(value));
      }
      const std::set<double> asked(clip.asked.begin(), clip.asked.end());
      EXPECT_TRUE(std::includes(announced.begin(), announced.end(), asked.begin(), asked.end()))
          << testing::PrintToString(announced) << testing::PrintToString(asked);
      EXPECT_GT(announced.size(), eachFrame ? 0U : 3U);
      const auto& ofSource = out.values.at(std::string(prop::kFrameRangeOf) + clip::kSource);
      EXPECT_THAT(ofSource, testing::Contains(OfxPropertySet::Value(75.0))) << "what is drawn over is needed too";
      EXPECT_LT(announced.size(), 10U) << testing::PrintToString(announced) << testing::PrintToString(asked);
      OfxPropertySet region;
      in.Put(prop::kRegionOfInterest, 5.0, 5.0, 9.0, 9.0);
      host.Do(action::kGetRegionsOfInterest, effect.get(), &in, &region);
      EXPECT_EQ(region.Get<double>(std::string(prop::kRegionOfInterestOf) + traced, 2), 160);
    }
  }
}

TEST(Contours, AnEditEndsWhatASequencePromised) {
  const Host host(ThePlugin(), {}, context::kFilter);
  const auto shown = [&](bool edited, OfxImageEffect& effect) {
    Answer(effect, "waveType", 1);
    Answer(effect, "frequency", 4);
    effect.params.Find("expansion")->value = [=](double time) {
      return std::array<double, 3>{(edited ? 2 : 1) + time / 100, 0, 0};
    };
    effect.clips[clip::kSource].pictures = [&, edited](double time) {
      return SquareAt(host.Had(), edited ? 90 - time : time);
    };
    return host.Render(effect, 75).image->Bytes();
  };
  const auto before = host.Create(), after = host.Create();
  const auto first = shown(false, *before), second = shown(true, *after);
  ASSERT_NE(first, second);
  const auto effect = host.Create();
  host.Do(action::kBeginSequenceRender, effect.get());
  EXPECT_EQ(shown(false, *effect), first);
  OfxPropertySet in = host.Args(75);
  in.Put(prop::kName, std::string(clip::kSource));
  host.Do(action::kInstanceChanged, effect.get(), &in);
  EXPECT_EQ(shown(true, *effect), second);
}

std::vector<std::uint8_t> MadeAnew(const Host& host, OfxImageEffect& effect, double time) {
  host.Do(action::kPurgeCaches, &effect);
  return host.Render(effect, time).image->Bytes();
}

// Waves born between two ticks go by the values of the second one.
TEST(Edits, ShowInAFrameThatLiesBeforeThem) {
  for (const double rate : {24, 25, 60}) {
    Habits habits;
    habits.frameRate = rate;
    const Host host(ThePlugin(), habits, context::kGenerator);
    const auto effect = host.Create();
    Answer(*effect, "frequency", 500);
    Answer(*effect, "expansion", 300);
    const auto renderWith = [&](double slope) {
      effect->params.Find("producerPoint")->animated = true;
      effect->params.Find("producerPoint")->value = [slope](double time) {
        return std::array<double, 3>{80 + (time > 1 ? slope * (time - 1) : 0), 45, 0};
      };
      return host.Render(*effect, 1).image->Bytes();
    };
    renderWith(0);
    const std::vector<std::uint8_t> edited = renderWith(60);
    EXPECT_EQ(edited, MadeAnew(host, *effect, 1)) << rate;
  }
}

TEST(Edits, CountWhileAFramesValuesAreRead) {
  const Host host(ThePlugin(), {}, context::kGenerator);
  for (const char* const last : {"producerPoint", "endWidth", "frequency"}) {
    const auto effect = host.Create();
    Answer(*effect, "expansion", 0.25);
    double moved = 0;
    bool edits = false;
    const auto edit = [&] {
      if (!std::exchange(edits, false)) return;
      moved = 30;
      OfxPropertySet in = host.Args(200);
      in.Put(prop::kName, std::string("producerPoint"));
      host.Do(action::kInstanceChanged, effect.get(), &in);
    };
    Answer(*effect, "frequency", 3);
    Answer(*effect, "endWidth", 5);
    effect->params.Find("producerPoint")->value = [&](double time) {
      return std::array<double, 3>{80 + time / 10 + (time < 150 ? moved : 0), 45, 0};
    };
    auto& read = effect->params.Find(last)->value;
    read = [&edit, answer = read](double time) {
      edit();
      return answer(time);
    };
    host.Do(action::kBeginSequenceRender, effect.get());
    host.Render(*effect, 200);
    edits = true;
    const std::vector<std::uint8_t> during = host.Render(*effect, 201).image->Bytes();
    EXPECT_FALSE(edits);
    const std::vector<std::uint8_t> after = host.Render(*effect, 202).image->Bytes();
    host.Do(action::kEndSequenceRender, effect.get());
    EXPECT_EQ(after, MadeAnew(host, *effect, 202)) << last;
    const bool isBeforeAllReads = std::string_view(last) == "producerPoint";
    EXPECT_TRUE(!isBeforeAllReads || during == MadeAnew(host, *effect, 201));
  }
}

TEST(Answers, SayWhatIsDrawnWhere) {
  Habits habits;
  habits.offsetX = 20;
  habits.sourceForm.alpha = alpha::kOpaque;
  const Host host(ThePlugin(), habits, context::kFilter);
  const auto effect = host.Create();
  effect->clips[clip::kSource].pictures = [&](double) { return NoisePicture(host.Had(), 1); };
  const auto isIdentity = [&](double time) {
    OfxPropertySet in = host.Args(time), out;
    const OfxStatus status = host.Do(action::kIsIdentity, effect.get(), &in, &out);
    return status == kOk && out.Get<std::string>(prop::kName) == clip::kSource && out.Get<double>(prop::kTime) == time;
  };
  const auto preferences = [&] {
    OfxPropertySet out;
    EXPECT_EQ(host.Do(action::kGetClipPreferences, effect.get(), nullptr, &out), kOk);
    EXPECT_EQ(out.Get<int>(prop::kFrameVarying), 1);
    return out.Get<std::string>(prop::kPreMultiplication);
  };
  EXPECT_TRUE(isIdentity(-5));
  EXPECT_FALSE(isIdentity(40));
  Answer(*effect, "opacity", 0);
  EXPECT_TRUE(isIdentity(40));
  EXPECT_EQ(preferences(), alpha::kOpaque);
  Answer(*effect, "composite", 1);
  EXPECT_FALSE(isIdentity(40)) << "without the Source nothing is something";
  EXPECT_EQ(preferences(), alpha::kStraight) << "what no wave covers is to be seen through";

  OfxPropertySet in = host.Args(40), out;
  ASSERT_EQ(host.Do(action::kGetRegionOfDefinition, effect.get(), &in, &out), kOk);
  EXPECT_EQ(out.Get<double>(prop::kRegionOfDefinition, 0), 20);
  EXPECT_EQ(out.Get<double>(prop::kRegionOfDefinition, 2), 180);

  EXPECT_EQ(host.Do("OfxActionOfAnotherAge", effect.get()), kReplyDefault);
  EXPECT_EQ(host.Do(action::kRender, nullptr), kBadHandle);
  EXPECT_EQ(host.Do(action::kRender, &in), kBadHandle);
  EXPECT_EQ(host.Do(action::kDestroyInstance, &in), kBadHandle);
  EXPECT_EQ(host.Do(action::kRender, effect.get()), kFailed) << "outside a render there is no output";
}

// Stopped at every check that there is, a render gives everything back, and the next one is right.
TEST(Stops, AnyCheckMayEndARender) {
  const std::vector<std::uint8_t> expected = Reference(40);
  const Host host(ThePlugin(), {}, context::kFilter);
  const auto effect = host.Create();
  int stops = 0;
  for (int after = 0;; after += 1 + after / 20) {
    host.Do(action::kPurgeCaches, effect.get());
    effect->abortChecks = 0;
    effect->stopAfter = after;
    OfxPropertySet in = host.Args(40), out;
    ASSERT_EQ(host.Do(action::kIsIdentity, effect.get(), &in, &out), kReplyDefault);
    effect->abortChecks = 0;
    const auto stopped = host.Render(*effect, 40);
    ASSERT_TRUE(stopped.status == kOk || stopped.status == kFailed);
    ASSERT_TRUE(effect->lent.empty());
    const bool ended = effect->abortChecks <= after;
    effect->stopAfter = -1;
    if (stops % 8 == 0) {
      ASSERT_EQ(host.Render(*effect, 40).image->Bytes(), expected) << after;
    }
    if (ended) break;
    ++stops;
  }
  EXPECT_GT(stops, 10);
}

// A source that cannot be had is none; a mask that cannot be read is said.
TEST(Faults, AreSurvivedAndSaid) {
  const Host host(ThePlugin(), {}, context::kFilter);
  const auto effect = host.Create();
  effect->clips[clip::kSource].pictures = [&](double) {
    auto image = NoisePicture(host.Had(), 1);
    image->properties.values.erase(prop::kData);
    return image;
  };
  EXPECT_EQ(host.Render(*effect, 40).image->Bytes(), Reference(40));
  EXPECT_EQ(host.Render(*effect, 40, {5, 5, 5, 5}).status, kOk) << "an empty window";
  EXPECT_TRUE(effect->lent.empty());
  for (const double odd : {std::nan(""), -1e300, 7e9}) {
    for (const auto& param : effect->params.params) {
      if (param->type == type::kInteger || param->type == type::kBoolean || param->type == type::kChoice) continue;
      param->value = [odd](double) { return std::array<double, 3>{odd, odd, odd}; };
    }
    Answer(*effect, "frequency", 2);
    Answer(*effect, "frameRate", 25);
    EXPECT_EQ(host.Render(*effect, 40).status, kOk) << odd;
  }
  Habits bare;
  for (const char* missing : {"", "OfxMessageSuite 2", "its members"}) {
    bare.missingSuites = {missing};
    bare.messagesAreNull = missing == std::string("its members");
    const Host saying(ThePlugin(), bare, context::kGenerator);
    const auto masked = saying.Create();
    Answer(*masked, "waveType", 2);
    const std::string file = *missing == '\0' ? ORVANDEL_MEDIA "/crow.svg#none" : "/nowhere/logo.svg";
    masked->params.Find("mask")->text = file;
    EXPECT_EQ(saying.Render(*masked, 40).status, kFailed);
    EXPECT_THAT(masked->messages, ElementsAre(testing::AllOf(testing::HasSubstr(file.substr(file.rfind('/') + 1, 8)),
                                                             testing::Not(testing::HasSubstr("json")))));
  }
  bare.missingSuites = {kParameterSuite};
  EXPECT_EQ(Host(ThePlugin(), bare, context::kFilter).Described(), kMissingHostFeature);
  EXPECT_EQ(Host(ThePlugin(), {}, "OfxImageEffectContextTransition").Described(), kMissingHostFeature);
}

// From the first look on, and whenever a choice is made.
TEST(Panel, WhatIsOfNoUseIsDimmed) {
  const Host host(ThePlugin(), {}, context::kFilter), generator(ThePlugin(), {}, context::kGenerator);
  const auto effect = host.Create();
  EXPECT_EQ(generator.Create()->params.Find("composite")->properties.Get<int>(prop::kEnabled), 0);
  const auto enabled = [&](double waveType, double star) {
    Answer(*effect, "waveType", waveType);
    Answer(*effect, "star", star);
    OfxPropertySet in = host.Args(0);
    in.Put(prop::kName, std::string("waveType"));
    host.Do(action::kInstanceChanged, effect.get(), &in);
    std::string names;
    for (const char* name : {"sides", "starDepth", "sourceLayer", "mask", "frequency", "groupPolygon",
                             "groupImageContour", "groupMask", "groupStroke", "composite"}) {
      const auto& properties = effect->params.Find(name)->properties;
      if (properties.Get<int>(prop::kEnabled) == 1) names += name + std::string(" ");
    }
    return names;
  };
  EXPECT_EQ(effect->params.Find("mask")->properties.Get<int>(prop::kEnabled), 0);
  EXPECT_EQ(enabled(1, 1), "sourceLayer frequency groupImageContour groupStroke composite ");
  EXPECT_EQ(enabled(2, 0), "mask frequency groupMask groupStroke composite ");
  EXPECT_EQ(enabled(0, 1), "sides starDepth frequency groupPolygon groupStroke composite ");
}

// Projects hold these names, and choices by place or by text. What is here stays; what is new comes after it.
TEST(Promises, NamesAndChoices) {
  const Host host(ThePlugin(), {}, context::kGeneral);
  std::string told;
  for (const auto& param : host.Descriptor().params.params) {
    if (param->type == type::kGroup || param->type == type::kPage) continue;
    told += param->name;
    const auto options = param->properties.values.find(prop::kChoiceOption);
    if (options != param->properties.values.end()) {
      for (const auto& option : options->second) told += "|" + std::get<std::string>(option);
    }
    told += ' ';
    EXPECT_NE(param->properties.Get<std::string>(prop::kHint), "") << param->name;
    const auto parent = param->properties.values.find(prop::kParent);
    if (parent != param->properties.values.end()) {
      EXPECT_NE(host.Descriptor().params.Find(std::get<std::string>(parent->second[0])), nullptr) << param->name;
    }
  }
  EXPECT_EQ(
      told,
      "producerPoint parametersAreSetAt|Birth|Each Frame renderQuality waveType|Polygon|Image Contours|Mask sides "
      "curveSize curvyness star starDepth sourceLayer|Automatic|Source|Layer sourceCenter "
      "valueChannel|Intensity|Red|Green|Blue|Alpha|Hue|Lightness|Saturation|Value invertInput valueThreshold "
      "preBlur tolerance contour mask frequency expansion orientation direction velocity spin lifespanSec "
      "reflection profile|Square|Triangle|Sawtooth Out|Sawtooth In|Gaussian|Bell|Sine color opacity fadeInTime "
      "fadeOutTime startWidth endWidth composite|Over Source|Waves Alone startFrame frameRate ");
  EXPECT_STREQ(ThePlugin().Plugin()->pluginIdentifier, "org.orvandel.Orvandel");
  const auto pages = host.Descriptor().params.properties.values.at(prop::kPageOrder);
  EXPECT_NE(host.Descriptor().params.Find(std::get<std::string>(pages.at(0))), nullptr);
  const std::filesystem::path contents = std::filesystem::path(ORVANDEL_OFX_FILE).parent_path().parent_path();
  for (const auto& icon : host.Descriptor().properties.values.at(prop::kIcon)) {
    EXPECT_TRUE(std::filesystem::exists(contents / "Resources" / std::get<std::string>(icon)));
  }
}

#if !defined(_WIN32)  // where script/test_windows looks
TEST(Promises, OnlyTheEntriesShow) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen("nm -D --defined-only " ORVANDEL_OFX_FILE, "r"), pclose);
  std::vector<std::string> names;
  char line[256], name[128];
  while (std::fgets(line, sizeof(line), pipe.get()) != nullptr) {
    if (std::sscanf(line, "%*s %*s %127s", name) == 1) names.emplace_back(name);
  }
  EXPECT_THAT(names, testing::UnorderedElementsAre("OfxGetNumberOfPlugins", "OfxGetPlugin", "OfxSetHost"));
}
#endif

}  // namespace
}  // namespace orvandel::ofx::test
