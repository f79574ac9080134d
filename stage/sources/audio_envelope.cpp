#include "stage/sources/audio_envelope.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orvandel::stage {
namespace {

constexpr int kTicksPerSecond = 30;
// The poles of a fourth-order Butterworth filter in pairs: 1 / (2 cos(pi/8)) and 1 / (2 cos(3 pi/8)).
constexpr std::array kQualities{0.5411961001461970, 1.3065629648763766};
// What is left of the peak when the tail after the sound's end is cut off: less than a picture shows.
constexpr double kInaudible = 1e-4;

double Share(double seconds) { return seconds <= 0 ? 1 : 1 - std::exp(-1 / (kTicksPerSecond * seconds)); }

}  // namespace

double AudioEnvelope::LevelAt(double tick) const {
  const double whole = std::floor(tick);
  const auto level = [&](double at) -> double {
    return at >= 0 && at < static_cast<double>(levels_.size()) ? levels_[static_cast<std::size_t>(at)] : 0;
  };
  return level(whole) + (level(whole + 1) - level(whole)) * (tick - whole);
}

EnvelopeFollower::EnvelopeFollower(const AudioShape& shape, int samplesPerSecond)
    : shape_(shape), rate_(samplesPerSecond) {
  if (shape.low > 0) AddEdge(shape.low, true);
  if (shape.high > 0 && shape.high * 2 < rate_) AddEdge(shape.high, false);
}

// The bilinear transform of the analogue sections, with the edge's frequency kept.
void EnvelopeFollower::AddEdge(double frequency, bool passesAbove) {
  const double angle = 2 * std::numbers::pi * frequency / rate_;
  for (const double quality : kQualities) {
    const double cosine = std::cos(angle), bend = std::sin(angle) / (2 * quality), scale = 1 / (1 + bend);
    Section section;
    section.b0 = section.b2 = (passesAbove ? 1 + cosine : 1 - cosine) / 2 * scale;
    section.b1 = (passesAbove ? -2 : 2) * section.b0;
    section.a1 = -2 * cosine * scale;
    section.a2 = (1 - bend) * scale;
    sections_.push_back(section);
  }
}

double EnvelopeFollower::Section::Next(double x) {
  const double y = b0 * x + s1;
  s1 = b1 * x - a1 * y + s2;
  s2 = b2 * x - a2 * y;
  return y;
}

void EnvelopeFollower::Add(double sample) {
  // Sample n belongs to tick floor(30 n / rate), whatever the rate.
  if (taken_ * kTicksPerSecond / rate_ > static_cast<std::int64_t>(levels_.size())) CloseTick();
  ++taken_;
  ++inTick_;
  for (Section& section : sections_) sample = section.Next(sample);
  squares_ += sample * sample;
}

void EnvelopeFollower::CloseTick() {
  Follow(inTick_ == 0 ? 0 : std::sqrt(squares_ / static_cast<double>(inTick_)));
  squares_ = 0;
  inTick_ = 0;
}

void EnvelopeFollower::Follow(double rawLevel) {
  level_ += (rawLevel - level_) * Share(rawLevel > level_ ? shape_.attack : shape_.release);
  peak_ = std::max(peak_, level_);
  levels_.push_back(static_cast<float>(level_));
}

AudioEnvelope EnvelopeFollower::Finish() {
  if (inTick_ > 0) CloseTick();
  while (level_ > peak_ * kInaudible) Follow(0);
  if (peak_ > 0) {
    for (float& level : levels_) level = static_cast<float>(level / peak_);
  }
  return AudioEnvelope(std::move(levels_));
}

}  // namespace orvandel::stage
