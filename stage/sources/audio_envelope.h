// The loudness of a sound over time, as levels of 0..1 at ticks of 1/30 s.
//
// A tick's raw level is the root of the mean square of the samples from the tick to the next, after a band filter: at
// either edge two second-order sections in a row, together a fourth-order Butterworth filter (24 dB an octave). An
// envelope follows the raw levels, y += (x - y) * (1 - exp(-1 / (30 * time))) with the attack's time while it rises and
// the release's while it falls; a time of 0 follows at once. The highest point of the envelope becomes 1, so silence
// is 0, the loudest moment 1, and half the sound pressure a half.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvandel::stage {

struct AudioShape {
  double low = 0;                                       // Hz; 0: no lower edge
  double high = 0;                                      // Hz; 0: no upper edge
  double attack = 0.005;                                // seconds
  double release = 0.150;                               // seconds
  auto operator<=>(const AudioShape&) const = default;  // NOLINT(modernize-use-nullptr): compares with 0 inside
};

class AudioEnvelope {
 public:
  explicit AudioEnvelope(std::vector<float> levels) : levels_(std::move(levels)) {}
  // Linear between ticks; 0 before the first tick and after the last.
  double LevelAt(double tick) const;

 private:
  std::vector<float> levels_;
};

// Takes a sound's samples one by one and gives its envelope.
class EnvelopeFollower {
 public:
  EnvelopeFollower(const AudioShape& shape, int samplesPerSecond);
  void Add(double sample);
  AudioEnvelope Finish();

 private:
  // y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1 y[n-1] - a2 y[n-2], with the sums kept between samples.
  struct Section {
    double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
    double s1 = 0, s2 = 0;
    double Next(double x);
  };
  void AddEdge(double frequency, bool passesAbove);
  void CloseTick();
  void Follow(double rawLevel);

  AudioShape shape_;
  int rate_;
  std::vector<Section> sections_;
  std::int64_t taken_ = 0;  // samples
  std::int64_t inTick_ = 0;
  double squares_ = 0;
  double level_ = 0, peak_ = 0;
  std::vector<float> levels_;
};

}  // namespace orvandel::stage
