// The effect's own sine, cosine and exponential for all that a frame can depend on: a checksum of the answers, which is
// one on all systems, and how many of them the system's C library answers otherwise. script/survey_math runs it.
//
// Sines and cosines of angles: every float from 0 to a full turn and a little beyond, rounded to float as the effect
// does, a line for each power of two. Corners of polygons and stars with 1 to 4000 sides or points, rounded and not.
// The profiles' exponentials and sines. The weights of blurs, for every radius of 1/256 to 100 pixels.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <vector>

#include "effect/base/float_rules.h"

namespace orvandel {
namespace {

constexpr double kPi = 3.141592653589793, kTwoPi = 6.283185307179586;

class Checksum {
 public:
  template <typename T>
  void Add(T own, T library) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &own, sizeof own);
    sum_ = (sum_ ^ bits) * 1099511628211U;
    ++count_;
    if (own != library) ++others_;
  }
  void Print(const char* what, double where) const {
    std::printf("%-24s %-12g %10llu %016llx  library: %llu others\n", what, where, count_, sum_, others_);
    std::fflush(stdout);
  }

 private:
  unsigned long long sum_ = 14695981039346656037U, count_ = 0, others_ = 0;
};

float FloatOf(std::uint32_t bits) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// `step` 1: all of them.
void SurveyAngles(std::uint32_t step) {
  constexpr std::uint32_t kEight = 0x41000000, kBinade = 1U << 23;
  for (std::uint32_t first = 0; first < kEight; first += kBinade) {
    Checksum sines, cosines;
    for (std::uint32_t bits = first; bits < first + kBinade; bits += step) {
      const float angle = FloatOf(bits);
      sines.Add(SinF(angle), static_cast<float>(std::sin(static_cast<double>(angle))));
      cosines.Add(CosF(angle), static_cast<float>(std::cos(static_cast<double>(angle))));
    }
    sines.Print("sine, float", FloatOf(first));
    cosines.Print("cosine, float", FloatOf(first));
  }
}

void SurveyCorners() {
  Checksum rounded, whole, apothems;
  for (std::int64_t sides = 1; sides <= 4000; ++sides) {
    for (std::int64_t i = 0; i < sides; ++i) {
      const double angle = static_cast<double>(i) * kTwoPi / static_cast<double>(static_cast<float>(sides));
      const double x = Cosine(angle), y = Sine(angle), itsX = std::cos(angle), itsY = std::sin(angle);
      rounded.Add(static_cast<float>(x), static_cast<float>(itsX));
      rounded.Add(static_cast<float>(y), static_cast<float>(itsY));
      whole.Add(x, itsX);
      whole.Add(y, itsY);
    }
    const double angle = kPi / static_cast<double>(sides);
    apothems.Add(static_cast<float>(Cosine(angle)), static_cast<float>(std::cos(angle)));
  }
  rounded.Print("corners, float", 4000);
  whole.Print("corners, double", 4000);
  apothems.Print("apothems, float", 4000);
}

void SurveyProfiles() {
  Checksum curves;
  for (const float sharpness : {1.0F, 2.0F}) {
    float x = -1.0F;
    for (int i = 0; i < 512; ++i, x += 0.004F) {
      const float power = -(x * x) * (sharpness * sharpness);
      curves.Add(ExpF(power), static_cast<float>(std::exp(static_cast<double>(power))));
    }
  }
  float x = 0;
  for (int i = 0; i < 512; ++i, x += 0.0062831854F) {
    curves.Add(SinF(x), static_cast<float>(std::sin(static_cast<double>(x))));
  }
  curves.Print("profiles, float", 512);
}

std::vector<double> Shares(double radius, double (*exponential)(double)) {
  const int reach = static_cast<int>(std::ceil(2 * radius));
  std::vector<double> shares;
  for (int d = -reach; d <= reach; ++d) {
    const double scaled = 2.0 * d / radius;
    shares.push_back(exponential(-(scaled * scaled)));
  }
  return shares;
}

void SurveyBlurs() {
  Checksum weights, whole;
  for (int step = 1; step <= 25600; ++step) {
    const auto own = Shares(step / 256.0, Exponential), library = Shares(step / 256.0, std::exp);
    const double ownSum = std::accumulate(own.begin(), own.end(), 0.0);
    const double librarySum = std::accumulate(library.begin(), library.end(), 0.0);
    for (std::size_t i = 0; i < own.size(); ++i) {
      whole.Add(own[i], library[i]);
      weights.Add(TruncateTo<std::uint16_t>(own[i] * 1024 / ownSum),
                  TruncateTo<std::uint16_t>(library[i] * 1024 / librarySum));
    }
  }
  weights.Print("blur weights", 100);
  whole.Print("blur shares, double", 100);
}

}  // namespace
}  // namespace orvandel

// mathlib_survey [STEP]: only every STEP-th float
int main(int count, char** arguments) {
  orvandel::SurveyProfiles();
  orvandel::SurveyCorners();
  orvandel::SurveyBlurs();
  orvandel::SurveyAngles(count > 1 ? static_cast<std::uint32_t>(std::strtoul(arguments[1], nullptr, 10)) : 1);
}
