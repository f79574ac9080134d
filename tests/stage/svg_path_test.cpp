#include "stage/scene/svg_path.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "stage/base/errors.h"
#include "tests/support/error_of.h"

namespace orvandel::stage {
namespace {

PointValue operator+(PointValue a, PointValue b) { return {a.x + b.x, a.y + b.y}; }
PointValue operator-(PointValue a, PointValue b) { return {a.x - b.x, a.y - b.y}; }

PointValue At(const Cubic& c, double t) {
  const double u = 1 - t;
  const double w[] = {u * u * u, 3 * u * u * t, 3 * u * t * t, t * t * t};
  return {w[0] * c.p0.x + w[1] * c.c1.x + w[2] * c.c2.x + w[3] * c.p3.x,
          w[0] * c.p0.y + w[1] * c.c1.y + w[2] * c.c2.y + w[3] * c.p3.y};
}

void ExpectSame(const MaskPath& a, const MaskPath& b, double tolerance, const std::string& what) {
  ASSERT_EQ(a.segments.size(), b.segments.size()) << what;
  EXPECT_EQ(a.closed, b.closed) << what;
  for (std::size_t i = 0; i < a.segments.size(); ++i) {
    const Cubic &s = a.segments[i], &r = b.segments[i];
    for (const auto& [p, q] : {std::pair{s.p0, r.p0}, {s.c1, r.c1}, {s.c2, r.c2}, {s.p3, r.p3}}) {
      ASSERT_NEAR(p.x, q.x, tolerance) << what << " segment " << i;
      ASSERT_NEAR(p.y, q.y, tolerance) << what << " segment " << i;
    }
  }
}

MaskPath Parsed(const std::string& text) { return ParseSvgPath(text).path; }

TEST(SvgPath, EveryCommandHasItsLongForm) {
  // Left: the short form; right: the same drawn with M, L, C and Q alone.
  const struct {
    std::string shortForm, longForm;
  } pairs[] = {
      {"m1 2 3 4 5 6", "M1 2L4 6L9 12"},
      {"M1 2 3 4z", "M1 2L3 4L1 2Z"},
      {"M1 2 3 4 1 2z", "M1 2L3 4L1 2Z"},  // no gap, no closing line
      {"M1 2H5h-2V9v1", "M1 2L5 2L3 2L3 9L3 10"},
      {"M1 2c1 1 2 3 4 5s1 1 2 2S0 0 1 1", "M1 2C2 3 3 5 5 7C7 9 6 8 7 9C8 10 0 0 1 1"},
      {"M1 2L5 5S7 8 9 9", "M1 2L5 5C5 5 7 8 9 9"},  // nothing to go on from
      {"M1 2Q4 4 5 5S7 8 9 9", "M1 2Q4 4 5 5C5 5 7 8 9 9"},
      {"M1 2q2 2 4 3t3 3T0 0", "M1 2Q3 4 5 5Q7 6 8 8Q9 10 0 0"},
      {"M1 2C3 4 5 6 7 8T9 9T3 3", "M1 2C3 4 5 6 7 8Q7 8 9 9Q11 10 3 3"},
      {"M0 0L3 3A0 5 0 0 0 9 9a2 2 0 1 1 0 0H1", "M0 0L3 3L9 9L1 9"},  // a flat arc is a line, one to itself nothing
  };
  for (const auto& [shortForm, longForm] : pairs) {
    ExpectSame(Parsed(shortForm), Parsed(longForm), 1e-12, shortForm);
  }
  const Cubic line = Parsed("M0 0L3 6").segments[0];
  EXPECT_EQ(line.c1, (PointValue{1, 2}));
  EXPECT_EQ(line.c2, (PointValue{2, 4}));
  const Cubic raised = Parsed("M0 0Q3 6 9 0").segments[0];
  for (double t = 0; t <= 1; t += 0.125) {
    EXPECT_NEAR(At(raised, t).x, 2 * t * (1 - t) * 3 + t * t * 9, 1e-12);
    EXPECT_NEAR(At(raised, t).y, 2 * t * (1 - t) * 6, 1e-12);
  }
  EXPECT_EQ(ParseSvgPath("m1 1 2 2h3s1 2 3 4 5 6 7 8a1 1 0 01 2 0z").commands, "MLHSSAZ");
}

TEST(SvgPath, NumbersRunTogetherAsTheGrammarAllows) {
  const struct {
    std::string tight, plain;
  } pairs[] = {
      {"M.5.5-1-1", "M 0.5 0.5 L -1 -1"},
      {"M1.5.25+3-.5e1", "M 1.5 0.25 L 3 -5"},
      {"M5.1.5L1e1.5", "M 5.1 0.5 L 10 0.5"},
      {"\n\tM 1,2\r\f3 ,4 5\n,\n6 ", "M 1 2 L 3 4 L 5 6"},
      {"M1E2 1e-2L1e+2 007", "M 100 0.01 L 100 7"},
      {"M1. 2.L3.e0 4.", "M 1 2 L 3 4"},
      {"M0 0a1 1 0 01 2 0", "M 0 0 A 1 1 0 0 1 2 0"},
      {"M0 0a1,1,0,1,12,0", "M 0 0 A 1 1 0 1 1 2 0"},
      {"M0 0a1 1 0 00.5.5", "M 0 0 A 1 1 0 0 0 0.5 0.5"},
  };
  for (const auto& [tight, plain] : pairs) {
    ExpectSame(Parsed(tight), Parsed(plain), 0, tight);
  }
}

TEST(SvgPath, GarbageIsRefusedWhereItStands) {
  const struct {
    std::string text, telling;
  } bad[] = {
      {"", "empty"},
      {" \n", "empty"},
      {"L 1 1", "at character 1 (\"L 1 1\"): a path begins with M"},
      {"M 1", "at character 4 (the end): a number is missing"},
      {"M 1 1", "no segment"},
      {"M 1 1 Z", "no segment"},
      {"M,1 1L2 2", "at character 2"},
      {"M1 1L2 2,", "a number is missing after the comma"},
      {"M1 1L2,,2", "at character 8 (\",2\")"},
      {"M1 1L2 2,Z", "after the comma"},
      {"M1 1 2 2 3", "a number is missing"},
      {"M1 1L2 2 Z Z", "second sub-path"},
      {"M1 1L2 2ZL3 3", "second sub-path"},
      {"M1 1L2 2M3 3", "second sub-path"},
      {"M1 1L2 2K", "not a path command"},
      {"M1 1L2 2 #", "not a path command"},
      {"M1 1L--2 2", "a number is missing"},
      {"M1 1L+-2 2", "a number is missing"},
      {"M1 1L. 2", "a number is missing"},
      {"M1 1LInf NaN", "a number is missing"},
      {"M1 1L1e999 2", "a number"},
      {"M1 1L1000001 0", "outside -1000000..1000000"},
      {"M0 0A1e9 1e9 0 1 1 10 0", "outside"},
      {"M0 0A1 1 0 2 0 3 3", "a flag, 0 or 1, is missing"},
      {"M0 0A1 1 0 -1 0 3 3", "a flag"},
      {"M0 0L1 1e", "not a path command"},
      {"M0 0L1 1px", "not a path command"},
  };
  for (const auto& [text, telling] : bad) {
    EXPECT_THAT(test::ErrorOf<InputError>([&] { ParseSvgPath(text); }), testing::HasSubstr(telling)) << text;
  }
  std::string many = "M0 0H";
  for (std::size_t i = 0; i < kMaxSegments; ++i) many += "1 ";
  EXPECT_EQ(Parsed(many).segments.size(), kMaxSegments);
  EXPECT_THROW(Parsed(many + "1"), InputError);
}

struct Arc {
  PointValue from, to;
  double rx, ry, degrees;
  int large, sweep;

  std::string Text() const {
    return fmt::format("M{} {}A{} {} {} {} {} {} {}", from.x, from.y, rx, ry, degrees, large, sweep, to.x, to.y);
  }
  // Where the ellipse is the unit circle, up to a move.
  PointValue Unit(PointValue p, double grown) const {
    const double a = degrees * M_PI / 180;
    return {(std::cos(a) * p.x + std::sin(a) * p.y) / (rx * grown),
            (std::cos(a) * p.y - std::sin(a) * p.x) / (ry * grown)};
  }
};

TEST(SvgPath, ArcsLieOnTheirEllipseInTheWantedDirection) {
  std::mt19937 random(17);
  std::uniform_real_distribution<double> place(-300, 300), radius(1, 400), turn(-720, 720);
  int grownArcs = 0;
  for (int i = 0; i < 5000; ++i) {
    const Arc arc{{place(random), place(random)},
                  {place(random), place(random)},
                  radius(random),
                  radius(random),
                  turn(random),
                  i & 1,
                  i >> 1 & 1};
    const PointValue chord = arc.Unit(arc.to - arc.from, 1);
    const double grown = std::max(1.0, std::hypot(chord.x, chord.y) / 2);
    grownArcs += grown > 1;
    const MaskPath path = Parsed(arc.Text());
    ASSERT_LE(path.segments.size(), 4u);
    EXPECT_EQ(path.segments.front().p0, arc.from);
    EXPECT_EQ(path.segments.back().p3, arc.to);
    // The centre by a route of its own: two points and the middle one of the curve's first piece fix the circle.
    const Cubic& first = path.segments.front();
    const PointValue a = arc.Unit(first.p0, grown), b = arc.Unit(At(first, 0.5), grown), c = arc.Unit(first.p3, grown);
    const double d = 2 * (a.x * (b.y - c.y) + b.x * (c.y - a.y) + c.x * (a.y - b.y));
    if (std::abs(d) < 1e-3) continue;
    const auto square = [](PointValue p) { return p.x * p.x + p.y * p.y; };
    const PointValue centre{(square(a) * (b.y - c.y) + square(b) * (c.y - a.y) + square(c) * (a.y - b.y)) / d,
                            (square(a) * (c.x - b.x) + square(b) * (a.x - c.x) + square(c) * (b.x - a.x)) / d};
    double swept = 0;
    PointValue before = a - centre;
    for (const Cubic& segment : path.segments) {
      double piece = 0;
      for (int k = 1; k <= 16; ++k) {
        const PointValue p = arc.Unit(At(segment, k / 16.0), grown) - centre;
        ASSERT_NEAR(std::hypot(p.x, p.y), 1, 2e-3) << arc.Text();
        piece += std::atan2(before.x * p.y - before.y * p.x, before.x * p.x + before.y * p.y);
        before = p;
      }
      ASSERT_LE(std::abs(piece), M_PI / 2 + 0.01) << arc.Text();
      swept += piece;
    }
    ASSERT_EQ(swept > 0, arc.sweep == 1) << arc.Text();
    if (grown == 1 && std::abs(std::abs(swept) - M_PI) > 0.02) {
      ASSERT_EQ(std::abs(swept) > M_PI, arc.large == 1) << arc.Text();
    }
  }
  EXPECT_GT(grownArcs, 500);
  // Exact halves and three quarters take no piece more.
  EXPECT_EQ(Parsed("M0 0A1 1 0 0 1 2 0").segments.size(), 2u);
  EXPECT_EQ(Parsed("M0 0A1 1 0 1 1 1 1").segments.size(), 3u);
  EXPECT_EQ(Parsed("M1 0A1 1 0 0 1 0 1").segments.size(), 1u);
}

// Moving or scaling the numbers of a path moves or scales its points; relative and absolute forms agree.
TEST(SvgPath, PointsFollowTheNumbers) {
  std::mt19937 random(23);
  std::uniform_real_distribution<double> number(-100, 100);
  constexpr std::string_view kCommands = "LHVCSQTA";
  for (int round = 0; round < 500; ++round) {
    const double scale = 0.25 + static_cast<double>(random() % 16) / 4;
    const PointValue shift{number(random), number(random)};
    PointValue at{number(random), number(random)};
    std::string plain = fmt::format("M{} {}", at.x, at.y);
    std::string relative = plain;
    std::string moved = fmt::format("M{} {}", at.x * scale + shift.x, at.y * scale + shift.y);
    for (auto left = 1 + random() % 12; left > 0; --left) {
      const char command = kCommands[random() % kCommands.size()];
      const auto lower = static_cast<char>(command - 'A' + 'a');
      std::string a(1, command), r(1, lower), m(1, command);
      PointValue to = at;
      const auto add = [&](bool x, bool y) {
        to = {x ? number(random) : at.x, y ? number(random) : at.y};
        const auto text = [&](double px, double py) {
          return x && y ? fmt::format(" {} {}", px, py) : fmt::format(" {}", x ? px : py);
        };
        a += text(to.x, to.y);
        r += text(to.x - at.x, to.y - at.y);
        m += text(to.x * scale + shift.x, to.y * scale + shift.y);
      };
      if (command == 'A') {
        const double rx = std::abs(number(random)), ry = std::abs(number(random)), turn = number(random);
        const std::string flags = fmt::format(" {} {}{}", turn, random() % 2, random() % 2);
        for (std::string* text : {&a, &r}) *text += fmt::format(" {} {}", rx, ry) + flags;
        m += fmt::format(" {} {}", rx * scale, ry * scale) + flags;
      }
      const int points = command == 'C' ? 3 : command == 'S' || command == 'Q' ? 2 : 1;
      for (int p = 0; p < points; ++p) add(command != 'V', command != 'H');
      at = to;
      plain += a;
      relative += r;
      moved += m;
    }
    const MaskPath path = Parsed(plain + "Z");
    ExpectSame(Parsed(relative + "z"), path, 1e-6, plain);
    MaskPath expected = path;
    for (Cubic& s : expected.segments) {
      for (PointValue* p : {&s.p0, &s.c1, &s.c2, &s.p3}) *p = PointValue{p->x * scale, p->y * scale} + shift;
    }
    ExpectSame(Parsed(moved + "Z"), expected, 1e-6, plain);
  }
}

}  // namespace
}  // namespace orvandel::stage
