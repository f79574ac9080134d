#include "cli/frame_list.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <numeric>
#include <unordered_set>

#include "stage/base/errors.h"
#include "stage/base/names.h"

namespace orvandel::cli {
namespace {

using stage::InputError;

[[noreturn]] void RefuseItem(std::string_view item, std::string_view why) {
  throw InputError(fmt::format("--frames: '{}' {}; write N, A-B or A-BxS, separated by commas or blanks", item, why));
}

constexpr std::string_view kBlanks = " \t\r\n";

// Takes a run of digits from the front of `rest`. Numbers beyond 32 bits are as wrong as frames outside the scene.
std::int32_t TakeNumber(std::string_view& rest, std::string_view item, std::int32_t frameCount) {
  std::int32_t number = 0;
  if (rest.empty() || rest.front() < '0' || rest.front() > '9') RefuseItem(item, "is not a frame or a range");
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  if (error != std::errc{}) {
    throw InputError(fmt::format("--frames: '{}' is outside 0..{}", item, frameCount - 1));
  }
  rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
  return number;
}

bool TakeMark(std::string_view& rest, std::string_view mark) {
  if (!rest.starts_with(mark)) return false;
  rest.remove_prefix(mark.size());
  return true;
}

struct Range {
  std::int32_t first = 0, last = 0, step = 1;
};

Range ParseItem(std::string_view item, std::int32_t frameCount) {
  if (item.front() == '-') {
    throw InputError(fmt::format("--frames: '{}' is negative; the scene has frames 0..{}", item, frameCount - 1));
  }
  std::string_view rest = item;
  Range range;
  range.first = range.last = TakeNumber(rest, item, frameCount);
  if (TakeMark(rest, "-") || TakeMark(rest, "..")) {
    range.last = TakeNumber(rest, item, frameCount);
    if (TakeMark(rest, "x")) range.step = TakeNumber(rest, item, frameCount);
  }
  if (!rest.empty()) RefuseItem(item, "is not a frame or a range");
  if (range.step < 1) RefuseItem(item, "has a step of 0");
  if (range.last < range.first) RefuseItem(item, "runs backwards");
  if (range.last >= frameCount) {
    throw InputError(fmt::format("--frames: '{}' is outside the scene's frames 0..{}", item, frameCount - 1));
  }
  return range;
}

void AppendRange(const Range& range, std::vector<std::int32_t>& frames) {
  // 64 bits: first + step may pass the last representable frame.
  for (std::int64_t frame = range.first; frame <= range.last; frame += range.step) {
    frames.push_back(static_cast<std::int32_t>(frame));
  }
}

// Items between two commas, separated by blanks; at least one.
void AppendItems(std::string_view text, std::int32_t frameCount, std::vector<std::int32_t>& frames) {
  auto begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) RefuseItem(text, "is empty");
  while (begin != std::string_view::npos) {
    const auto end = std::min(text.find_first_of(kBlanks, begin), text.size());
    AppendRange(ParseItem(text.substr(begin, end - begin), frameCount), frames);
    begin = text.find_first_not_of(kBlanks, end);
  }
}

// How many frames begin before a time of the scene.
std::int32_t FramesBefore(const std::string& option, const std::string& text, const stage::Timebase& time) {
  const stage::Rational rate = time.frameRate;
  const stage::Rational end = stage::Reduced({time.frameCount * rate.den, rate.num});
  const std::string shown = fmt::format("{} {}", option, stage::Printable(text));
  stage::Rational seconds;
  try {
    seconds = stage::ParseRational(text);
  } catch (const InputError& error) {
    throw InputError(fmt::format("{}: {}; write seconds, such as 2.5 or 1001/30", option, error.what()));
  }
  const double to = static_cast<double>(end.num) / static_cast<double>(end.den);
  const double value = static_cast<double>(seconds.num) / static_cast<double>(seconds.den);
  if (value < 0 || value > to) throw InputError(fmt::format("{}: is outside the scene's 0..{:g} s", shown, to));
  std::int64_t over = 0, under = 0;
  if (__builtin_mul_overflow(seconds.num, rate.num, &over) || __builtin_mul_overflow(seconds.den, rate.den, &under)) {
    throw InputError(shown + ": has too many digits");
  }
  return std::min(time.frameCount, static_cast<std::int32_t>(over / under + (over % under == 0 ? 0 : 1)));
}

}  // namespace

std::vector<std::int32_t> ChosenFrames(const FrameChoice& choice, const stage::Timebase& time) {
  if (choice.list) return ParseFrameList(*choice.list, time.frameCount);
  const std::int32_t begin = choice.in.empty() ? 0 : FramesBefore("--in", choice.in, time);
  const std::int32_t end = choice.out.empty() ? time.frameCount : FramesBefore("--out", choice.out, time);
  if (begin < end) {
    std::vector<std::int32_t> frames(static_cast<std::size_t>(end - begin));
    std::iota(frames.begin(), frames.end(), begin);
    return frames;
  }
  const std::string where = choice.out.empty() ? fmt::format("after --in {}", choice.in)
                            : choice.in.empty()
                                ? fmt::format("before --out {}", choice.out)
                                : fmt::format("from --in {} to --out {}, which must be later", choice.in, choice.out);
  throw InputError(
      fmt::format("no frame begins {}; the scene has {} frames a second", where, stage::TextOf(time.frameRate)));
}

std::vector<std::int32_t> ParseFrameList(std::string_view text, std::int32_t frameCount) {
  std::vector<std::int32_t> frames;
  for (bool more = true; more;) {
    const auto comma = text.find(',');
    AppendItems(text.substr(0, comma), frameCount, frames);
    more = comma != std::string_view::npos;
    if (more) text.remove_prefix(comma + 1);
  }
  return frames;
}

std::vector<std::int32_t> AllFrames(std::int32_t frameCount) {
  std::vector<std::int32_t> frames(static_cast<std::size_t>(frameCount));
  std::iota(frames.begin(), frames.end(), 0);
  return frames;
}

std::vector<std::int32_t> WithoutRepeats(const std::vector<std::int32_t>& frames) {
  std::vector<std::int32_t> once;
  std::unordered_set<std::int32_t> seen;
  for (const std::int32_t frame : frames) {
    if (seen.insert(frame).second) once.push_back(frame);
  }
  return once;
}

}  // namespace orvandel::cli
