#include "plugins/frei0r/host_time.h"

#include <dlfcn.h>

#include <cmath>
#include <cstring>
#include <string_view>

namespace orvandel::frei0r {
namespace {

using stage::Rational;

constexpr Rational kUsualRates[] = {{30, 1},       {25, 1},       {24, 1},       {60, 1}, {50, 1},
                                    {30000, 1001}, {24000, 1001}, {60000, 1001}, {48, 1}, {15, 1}};

// The whole milliseconds differ from the frame's time by half of one, and by the noise of doubles.
constexpr double kHalfMillisecond = 0.0005 + 1e-9;

double RateOf(const Rational& rate) { return static_cast<double>(rate.num) / static_cast<double>(rate.den); }

// The time of the nearest frame.
double NearestFrame(double seconds, const Rational& rate) {
  const double frame = std::floor(seconds * RateOf(rate) + 0.5);
  return frame * static_cast<double>(rate.den) / static_cast<double>(rate.num);
}

Caller CallerInLibrary(const void* code) {
  Dl_info info{};
  std::string_view name = dladdr(code, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
  name.remove_prefix(name.rfind('/') == std::string_view::npos ? 0 : name.rfind('/') + 1);
  const auto begins = [&](const char* text) { return name.substr(0, std::strlen(text)) == text; };
  if (begins("libavfilter.so.8")) return Caller::kFfmpeg5;
  if (begins("libavfilter.so")) return Caller::kFfmpeg;
  if (begins("libgstfrei0r.so")) return Caller::kGStreamer;
  if (begins("libmltfrei0r.so")) return Caller::kOther;
  // Linked into the program itself.
  const auto version = reinterpret_cast<unsigned (*)()>(dlsym(RTLD_DEFAULT, "avfilter_version"));
  if (version == nullptr) return Caller::kOther;
  return version() >> 16 == 8 ? Caller::kFfmpeg5 : Caller::kFfmpeg;
}

}  // namespace

// A thread calls from one place for every frame. What is found there is kept, since the loader takes its lock to tell.
Caller CallerAt(const void* code) noexcept {
  thread_local const void* known = nullptr;
  thread_local Caller caller = Caller::kOther;
  if (known != code) {
    caller = CallerInLibrary(code);
    known = code;
  }
  return caller;
}

double SecondsOfMilliseconds(double milliseconds, const Rational& sure, const Rational& likely) {
  const double seconds = milliseconds / 1000;
  if (sure.num > 0) return NearestFrame(seconds, sure);
  const auto isFrame = [&](const Rational& rate) {
    return rate.num > 0 && std::fabs(NearestFrame(seconds, rate) - seconds) <= kHalfMillisecond;
  };
  if (isFrame(likely)) return NearestFrame(seconds, likely);
  for (const Rational& rate : kUsualRates) {
    if (isFrame(rate)) return NearestFrame(seconds, rate);
  }
  return seconds;
}

}  // namespace orvandel::frei0r
