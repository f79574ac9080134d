// Contours of pictures: one trace with and without Pre-Blur, the blur alone beside the plain one, and many waves that
// look at one picture.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "effect/outline/blur.h"
#include "effect/outline/contour.h"
#include "frame_host.h"
#include "registrations.h"
#include "tests/outline/open_call.h"

namespace orvandel::bench {
namespace {

constexpr float kLargestBlur = 50;  // the end of the slider

enum class Subject { kDisc, kNoise };

void Paint(test::FencedImage& image, Subject subject) {
  std::mt19937 random(11);
  const double radius = 0.4 * image.Height();
  for (std::int32_t y = 0; y < image.Height(); ++y) {
    for (std::int32_t x = 0; x < image.Width(); ++x) {
      const double distance = std::hypot(x - image.Width() / 2.0, y - image.Height() / 2.0);
      const bool inside = subject == Subject::kDisc ? distance < radius : random() % 2 == 0;
      std::memset(image.Pixel(x, y), inside ? 255 : 0, 4);
    }
  }
}

// A picture on a host, and the record of one call on it.
struct Studio {
  Studio(const PictureSize& size, Subject subject) : frames(size, 10) { Paint(frames.host.input, subject); }
  ContourJob Job(float preBlur) {
    ContourJob job;
    job.preBlur = preBlur;
    job.source = call.context.input;
    job.valueImage = call.context.outputView;
    job.context = &call.context;
    return job;
  }
  FrameHost frames;
  test::OpenCall call{frames.host};
};

void Trace(benchmark::State& state, const PictureSize& size, Subject subject, float preBlur) {
  Studio studio(size, subject);
  const ContourJob job = studio.Job(preBlur);
  TracedContour traced;
  for (auto frame : state) {
    if (TraceContours(job, 1, traced) != 0) state.SkipWithError("the trace stopped");
  }
  state.counters["contours"] = static_cast<double>(traced.found);
  state.counters["points"] = static_cast<double>(traced.chain.size());
}

// ---- The blur alone

void Blur(benchmark::State& state, const PictureSize& size, float radius, bool portable) {
  Studio studio(size, Subject::kNoise);
  const ContourJob job = studio.Job(radius);
  ExtractValueChannel(job);
  for (auto frame : state) {
    if (BlurValueImage(job, portable) != 0) state.SkipWithError("the blur stopped");
  }
}

using Kernel = HeapVector<std::uint16_t>;

// The half `from` of `count` value pixels, `stride` bytes apart, into the half `to`: one sum after the other.
void BlurLinePlainly(std::uint8_t* first, std::ptrdiff_t stride, std::int32_t count, int from, int to,
                     const Kernel& kernel, std::vector<std::uint16_t>& line) {
  line.resize(static_cast<std::size_t>(count));
  for (std::int32_t i = 0; i < count; ++i)
    std::memcpy(&line[static_cast<std::size_t>(i)], first + i * stride + from, 2);
  const auto taps = static_cast<std::int32_t>(kernel.size());
  for (std::int32_t j = 0; j < count; ++j) {
    std::uint32_t sum = 0;
    for (std::int32_t m = 0; m < taps; ++m) {
      const std::int32_t i = j - taps / 2 + m;
      if (i >= 0 && i < count)
        sum += kernel[static_cast<std::size_t>(m)] * std::uint32_t{line[static_cast<std::size_t>(i)]};
    }
    const auto value = static_cast<std::uint16_t>(sum >> 10);
    std::memcpy(first + j * stride + to, &value, 2);
  }
}

void BlurPlainly(benchmark::State& state, const PictureSize& size, float radius) {
  Studio studio(size, Subject::kNoise);
  const ContourJob job = studio.Job(radius);
  ExtractValueChannel(job);
  const Kernel kernel = BlurKernelFor(static_cast<double>(radius));
  const ImageBuffer& image = job.valueImage;
  std::vector<std::uint16_t> line;
  for (auto frame : state) {
    for (std::int32_t y = 0; y < image.height; ++y) BlurLinePlainly(image.Row(y), 4, image.width, 0, 2, kernel, line);
    for (std::int32_t x = 0; x < image.width; ++x) {
      BlurLinePlainly(image.Row(0) + 4 * x, image.rowBytes, image.height, 2, 0, kernel, line);
    }
  }
}

// ---- Many waves, one picture

// The picture from frame to frame: another one, the same one, or one that the host promises to be the same.
enum class Source { kChanging, kStill, kPromised };

// Every wave looks for its shape anew, as after a restored list.
void ShapesOfWaves(benchmark::State& state, const PictureSize& size, std::size_t count, Source source) {
  Studio studio(size, Subject::kDisc);
  studio.frames.host.changeStamp = source == Source::kPromised ? 1 : 0;
  std::vector<Wave> waves(count);
  for (Wave& wave : waves) {
    wave.waveType = kContourWave;
    wave.valueChannel = kAlpha;
    wave.valueThreshold = 127;
    wave.tolerance = 0.5F;
    wave.contour = 1;
    wave.sourceCenter = {0.5F, 0.5F};
  }
  TraceMemory traces;
  const auto buildShapes = [&] {
    for (Wave& wave : waves) {
      wave.shapeValid = false;
      BuildContourShape(wave, studio.call.context, traces);
    }
  };
  buildShapes();  // the first one traces
  for (auto frame : state) {
    if (source == Source::kChanging) studio.frames.host.input.Pixel(9, 5)[1] ^= 1;
    buildShapes();
  }
}

// Frames of a sequence as a host plays them: `count` waves live at any time. The output shows the waves, so it is not
// what they were traced from.
void PlayContourWaves(benchmark::State& state, std::int32_t count, std::int32_t unitsPerFrame) {
  FrameHost frames(kFullHd, 600);
  test::FakeHost& host = frames.host;
  Paint(host.input, Subject::kDisc);
  host.SetWord(kWaveType, kContourWave);
  host.SetFixed(kFrequency, count / 10.0);
  host.SetFixed(kLifespan, 10);
  host.SetFixed(kExpansion, 3);
  std::int32_t number = 310;
  host.Render(unitsPerFrame * (number - 1));
  for (auto frame : state) {
    if (host.Render(unitsPerFrame * number++) != 0) state.SkipWithError("the frame failed");
  }
}

template <typename Function, typename... Arguments>
void Register(const std::string& name, Function function, Arguments... arguments) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    function(state, arguments...);
  })->Unit(benchmark::kMillisecond);
}

}  // namespace

void RegisterContours() {
  for (const PictureSize& size : {kFullHd, kUltraHd}) {
    const std::string end = std::string("/") + size.name;
    Register("trace/disc" + end, Trace, size, Subject::kDisc, 0.0F);
    Register("trace/noise" + end, Trace, size, Subject::kNoise, 0.0F);
    Register("trace/disc_blur_50" + end, Trace, size, Subject::kDisc, kLargestBlur);
    for (const int radius : {5, 15, 50}) {
      const std::string name = "blur_" + std::to_string(radius) + end;
      Register(name, Blur, size, static_cast<float>(radius), false);
      Register(name + "/portable", Blur, size, static_cast<float>(radius), true);
      Register(name + "/plain", BlurPlainly, size, static_cast<float>(radius));
    }
    for (const std::size_t count : {1, 10, 50}) {
      const std::string name = "contour_shapes" + end + "/";
      Register(name + "changing/" + std::to_string(count), ShapesOfWaves, size, count, Source::kChanging);
      Register(name + "still/" + std::to_string(count), ShapesOfWaves, size, count, Source::kStill);
      Register(name + "promised/" + std::to_string(count), ShapesOfWaves, size, count, Source::kPromised);
    }
  }
  for (const std::int32_t count : {1, 10, 50}) {
    Register("contour_frames/fps_30/" + std::to_string(count), PlayContourWaves, count, kUnitsPerTick);
    Register("contour_frames/fps_29.97/" + std::to_string(count), PlayContourWaves, count, kUnitsPerNtscFrame);
  }
}

}  // namespace orvandel::bench
