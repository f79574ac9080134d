#include "stage/scene/svg_path.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/base/names.h"
#include "stage/scene/svg_number.h"

namespace orvandel::stage {
namespace {

constexpr double kPi = std::numbers::pi;

PointValue operator+(PointValue a, PointValue b) { return {a.x + b.x, a.y + b.y}; }
PointValue operator-(PointValue a, PointValue b) { return {a.x - b.x, a.y - b.y}; }
PointValue operator*(PointValue a, double k) { return {a.x * k, a.y * k}; }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// How many numbers each command takes; -1: no command.
int ArgumentCount(char command) {
  switch (command) {
    case 'Z':
      return 0;
    case 'H':
    case 'V':
      return 1;
    case 'M':
    case 'L':
    case 'T':
      return 2;
    case 'S':
    case 'Q':
      return 4;
    case 'C':
      return 6;
    case 'A':
      return 7;
    default:
      return -1;
  }
}

// The text as blanks, commas, numbers, flags and letters.
class PathText {
 public:
  explicit PathText(std::string_view text) : text_(text) {}

  void SkipBlanks() {
    while (at_ < text_.size() && std::string_view(" \t\n\f\r").find(text_[at_]) != std::string_view::npos) ++at_;
  }
  // Blanks with one comma among them at most; true when there was a comma.
  bool SkipSeparator() {
    SkipBlanks();
    if (!Take(',')) return false;
    SkipBlanks();
    return true;
  }
  bool AtEnd() const { return at_ == text_.size(); }
  bool AtNumber() const {
    return !AtEnd() && (IsDigit(text_[at_]) || text_[at_] == '-' || text_[at_] == '+' || text_[at_] == '.');
  }
  char TakeLetter() { return text_[at_++]; }
  double TakeNumber();
  // A flag is one digit, so that "01" is two flags and "12" a flag and a number.
  double TakeFlag() {
    if (Take('0')) return 0;
    if (Take('1')) return 1;
    Fail("a flag, 0 or 1, is missing");
  }
  void StepBack() { --at_; }
  [[noreturn]] void Fail(std::string_view complaint) const {
    const std::string_view rest = text_.substr(at_);
    const std::string near = rest.empty() ? "the end" : Quoted(rest.substr(0, 12));
    throw InputError(fmt::format("at character {} ({}): {}", at_ + 1, near, complaint));
  }

 private:
  bool Take(char wanted) {
    if (AtEnd() || text_[at_] != wanted) return false;
    ++at_;
    return true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

double PathText::TakeNumber() {
  double value = 0;
  switch (TakeSvgNumber(text_, at_, value)) {
    case SvgNumber::kTaken:
      return value;
    case SvgNumber::kMissing:
      Fail("a number is missing");
    default:
      Fail("a number beyond what can be computed with");
  }
}

// Builds the path. Positions are absolute; the text is needed only for the place of a complaint.
class PathPen {
 public:
  PathPen(const PathText& text, double farthest, std::size_t most) : text_(text), farthest_(farthest), most_(most) {}

  PointValue At() const { return at_; }
  void MoveTo(PointValue to) {
    Check(to);
    at_ = start_ = to;
  }
  void LineTo(PointValue to) { Add(at_ + (to - at_) * (1.0 / 3.0), at_ + (to - at_) * (2.0 / 3.0), to); }
  void CubicTo(PointValue c1, PointValue c2, PointValue to) { Add(c1, c2, to); }
  void QuadraticTo(PointValue control, PointValue to) {
    Add(at_ + (control - at_) * (2.0 / 3.0), to + (control - to) * (2.0 / 3.0), to);
  }
  void ArcTo(double rx, double ry, double degrees, bool large, bool sweep, PointValue to);
  void Close() {
    if (at_ != start_) LineTo(start_);
    path_.closed = true;
  }
  bool IsEmpty() const { return path_.segments.empty(); }
  // Ends the sub-path. Without a move the next one starts here.
  MaskPath Take() {
    taken_ += path_.segments.size();
    return std::exchange(path_, {});
  }

 private:
  void Check(PointValue p) const {
    const bool inside = std::abs(p.x) <= farthest_ && std::abs(p.y) <= farthest_;
    if (!inside) text_.Fail(fmt::format("before it a point outside -{0}..{0}", farthest_));
  }
  void Add(PointValue c1, PointValue c2, PointValue to) {
    if (taken_ + path_.segments.size() == most_) text_.Fail(fmt::format("more than {} segments", most_));
    for (const PointValue p : {c1, c2, to}) Check(p);
    path_.segments.push_back({at_, c1, c2, to});
    at_ = to;
  }

  const PathText& text_;
  double farthest_;
  std::size_t most_;
  std::size_t taken_ = 0;
  MaskPath path_;
  PointValue at_, start_;
};

// An elliptical arc by its two ends, in coordinates in which the ellipse is the unit circle: there the ends lie at u
// and -u from their middle, and the centre lies on the perpendicular through it.
void PathPen::ArcTo(double rx, double ry, double degrees, bool large, bool sweep, PointValue to) {
  if (to == at_) return;
  rx = std::abs(rx);
  ry = std::abs(ry);
  if (rx == 0 || ry == 0) return LineTo(to);
  const double turn = std::fmod(degrees, 360.0) * (kPi / 180.0);
  const double cosTurn = std::cos(turn), sinTurn = std::sin(turn);
  const PointValue middle = (at_ + to) * 0.5, half = (at_ - to) * 0.5;
  PointValue u{(cosTurn * half.x + sinTurn * half.y) / rx, (cosTurn * half.y - sinTurn * half.x) / ry};
  const double reach = std::hypot(u.x, u.y);
  PointValue centre{0, 0};
  double swept = sweep ? kPi : -kPi;
  if (reach >= 1) {  // the radii are too short: both grow until the arc is half an ellipse
    rx *= reach;
    ry *= reach;
    u = u * (1 / reach);
  } else {
    const double away = std::sqrt((1 - reach) * (1 + reach)) / reach * (large != sweep ? 1 : -1);
    centre = {away * u.y, -away * u.x};
    swept = std::atan2(-u.y - centre.y, -u.x - centre.x) - std::atan2(u.y - centre.y, u.x - centre.x);
    if (sweep && swept < 0) swept += 2 * kPi;
    if (!sweep && swept > 0) swept -= 2 * kPi;
  }
  const double from = std::atan2(u.y - centre.y, u.x - centre.x);
  // The tolerance keeps rounding from adding a piece to an arc of exactly one, two or three quarters.
  const int pieces = std::max(1, static_cast<int>(std::ceil(std::abs(swept) / (kPi / 2) - 1e-9)));
  const double step = swept / pieces, handle = 4.0 / 3.0 * std::tan(step / 4);
  const auto toLayer = [&](double x, double y) {
    const double ex = rx * (x + centre.x), ey = ry * (y + centre.y);
    return middle + PointValue{cosTurn * ex - sinTurn * ey, sinTurn * ex + cosTurn * ey};
  };
  for (int i = 0; i < pieces; ++i) {
    const double a = from + i * step, b = from + (i + 1) * step;
    const double cosA = std::cos(a), sinA = std::sin(a), cosB = std::cos(b), sinB = std::sin(b);
    Add(toLayer(cosA - handle * sinA, sinA + handle * cosA), toLayer(cosB + handle * sinB, sinB - handle * cosB),
        i + 1 == pieces ? to : toLayer(cosB, sinB));
  }
}

class PathParser {
 public:
  explicit PathParser(std::string_view text) : text_(text), pen_(text_, kMaxMaskCoordinate, kMaxSegments) {}
  PathParser(std::string_view text, std::size_t most)
      : several_(true), text_(text), pen_(text_, kMaxDrawingCoordinate, most) {}

  SvgPath Parse() {
    text_.SkipBlanks();
    if (text_.AtEnd()) text_.Fail("the path is empty");
    for (; !text_.AtEnd(); text_.SkipBlanks()) ParseCommand();
    if (pen_.IsEmpty()) text_.Fail("the path has no segment");
    return {pen_.Take(), std::move(commands_)};
  }

  SvgSubPaths ParseSeveral() {
    SvgSubPaths result;
    try {
      for (text_.SkipBlanks(); !text_.AtEnd(); text_.SkipBlanks()) ParseCommand();
    } catch (const InputError& error) {
      result.complaint = error.what();
    }
    FinishSubPath();
    result.paths = std::move(finished_);
    return result;
  }

 private:
  void FinishSubPath() {
    const bool drawn = !pen_.IsEmpty();
    MaskPath path = pen_.Take();
    if (drawn) finished_.push_back(std::move(path));
  }

  void ParseCommand() {
    const char letter = text_.TakeLetter();
    const int count = ArgumentCount(Upper(letter));
    RefuseMisplaced(Upper(letter), count);
    relative_ = letter != Upper(letter);
    char command = Upper(letter);
    if (command == 'Z') return Draw(command);
    text_.SkipBlanks();
    for (bool more = true; more;) {
      for (int i = 0; i < count; ++i) {
        if (i > 0) text_.SkipSeparator();
        args_[static_cast<std::size_t>(i)] =
            command == 'A' && (i == 3 || i == 4) ? text_.TakeFlag() : text_.TakeNumber();
      }
      Draw(command);
      if (command == 'M') command = 'L';  // further pairs after a move are lines
      const bool comma = text_.SkipSeparator();
      more = text_.AtNumber();
      if (comma && !more) text_.Fail("a number is missing after the comma");
    }
  }

  void RefuseMisplaced(char command, int count) {
    std::string_view complaint;
    if (count < 0) {
      complaint = "not a path command";
    } else if (commands_.empty() && command != 'M') {
      complaint = "a path begins with M or m";
    } else if (!commands_.empty() && (command == 'M' || commands_.back() == 'Z')) {
      if (several_) {
        FinishSubPath();
        return;
      }
      complaint = "a second sub-path; a mask has one";
    } else {
      return;
    }
    text_.StepBack();
    text_.Fail(complaint);
  }

  // The point whose x is at args_[i].
  PointValue Point(std::size_t i) const {
    const PointValue point{args_[i], args_[i + 1]};
    return relative_ ? pen_.At() + point : point;
  }

  void Draw(char command) {
    const PointValue at = pen_.At();
    // S reflects the last control only after a cubic, T only after a quadratic.
    const char before = commands_.empty() ? ' ' : commands_.back();
    const bool afterCubic = before == 'C' || before == 'S', afterQuadratic = before == 'Q' || before == 'T';
    const PointValue mirrored = at + (at - control_);
    switch (command) {
      case 'M':
        pen_.MoveTo(Point(0));
        break;
      case 'L':
        pen_.LineTo(Point(0));
        break;
      case 'H':
        pen_.LineTo({relative_ ? at.x + args_[0] : args_[0], at.y});
        break;
      case 'V':
        pen_.LineTo({at.x, relative_ ? at.y + args_[0] : args_[0]});
        break;
      case 'C':
        DrawCubic(Point(0), Point(2), Point(4));
        break;
      case 'S':
        DrawCubic(afterCubic ? mirrored : at, Point(0), Point(2));
        break;
      case 'Q':
        DrawQuadratic(Point(0), Point(2));
        break;
      case 'T':
        DrawQuadratic(afterQuadratic ? mirrored : at, Point(0));
        break;
      case 'A':
        pen_.ArcTo(args_[0], args_[1], args_[2], args_[3] != 0, args_[4] != 0, Point(5));
        break;
      default:
        pen_.Close();
        break;
    }
    commands_ += command;
  }

  void DrawCubic(PointValue c1, PointValue c2, PointValue to) {
    pen_.CubicTo(c1, c2, to);
    control_ = c2;
  }
  void DrawQuadratic(PointValue control, PointValue to) {
    pen_.QuadraticTo(control, to);
    control_ = control;
  }

  bool several_ = false;
  std::vector<MaskPath> finished_;
  PathText text_;
  PathPen pen_;
  std::array<double, 7> args_{};
  bool relative_ = false;
  PointValue control_;  // the last control of the previous command, where it has one
  std::string commands_;
};

}  // namespace

SvgPath ParseSvgPath(std::string_view text) { return PathParser(text).Parse(); }

SvgSubPaths ParseSvgSubPaths(std::string_view text, std::size_t mostSegments) {
  return PathParser(text, mostSegments).ParseSeveral();
}

}  // namespace orvandel::stage
