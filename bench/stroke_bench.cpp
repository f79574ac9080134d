// The drawing pass alone: clear the output, then stroke every wave of a prepared list, as one frame does.
//
// The compared scenes at render quality 4 under their own names, with the peers beside them; then other qualities,
// profiles, instruction sets and a host that hears of every row. One thread. The host answers progress with 0 at once,
// and otherwise wants it as often as the host of this repository.

#include <benchmark/benchmark.h>

#include <deque>
#include <memory>
#include <string_view>
#include <vector>

#include "effect/params/param_ids.h"
#include "effect/render/draw_wave.h"
#include "effect/render/stroke_code.h"
#include "peers.h"

namespace orvandel::bench {
namespace {

enum class Progress { kAsOurHost, kEveryRow };

std::int32_t GoOn(OrvEffectRef, std::int32_t, std::int32_t) { return 0; }

// A host whose only service is the progress interval.
std::int32_t RowsBetweenReports(OrvEffectRef, std::int32_t* rows) {
  *rows = 256;
  return 0;
}
constexpr OrvProgressIntervalService kProgressInterval = {RowsBetweenReports};
std::int32_t Acquire(const char* name, std::int32_t, const void** service) {
  if (std::string_view(name) != ORV_PROGRESS_INTERVAL_SERVICE) return 1;
  *service = &kProgressInterval;
  return 0;
}
std::int32_t Refuse(const char*, std::int32_t, const void**) { return 1; }
std::int32_t Release(const char*, std::int32_t) { return 0; }

// One render call at high quality on a full-size layer.
class Call {
 public:
  Call(std::int32_t width, std::int32_t height, std::int32_t quality, Progress progress)
      : serviceTable_{progress == Progress::kEveryRow ? Refuse : Acquire, Release} {
    context_.services.Initialise(&serviceTable_);
    in_.callbacks.progress = GoOn;
    in_.quality = 1;
    in_.width = width;
    in_.height = height;
    in_.downsampleX = in_.downsampleY = in_.pixelAspect = {1, 1};
    context_.inRecord = &in_;
    context_.globals = &globals_;
    SetParam(kRenderQuality, ORV_PARAM_INTEGER, quality);
    SetParam(kReflection, ORV_PARAM_CHECKBOX, 0);
  }
  EffectContext& Context() { return context_; }

 private:
  void SetParam(ParamId id, std::int32_t type, std::int32_t value) {
    globals_.paramIndexTable[static_cast<std::size_t>(id)] = id;
    ParamSlot& slot = context_.slots[static_cast<std::size_t>(id)];
    slot.definition.type = type;
    slot.definition.value.integer.value = value;
    slot.filled = true;
  }

  OrvServiceTable serviceTable_;
  OrvInRecord in_{};
  GlobalData globals_{};
  EffectContext context_;
};

WaveList WavesOf(const Scene& scene) {
  WaveList list;
  for (const SceneWave& from : scene.waves) {
    Wave& wave = list.Append();
    wave.placed = from.points;
    wave.origin = {0.5F, 0.5F};
    wave.age = 1;
    wave.lifespan = 2;
    wave.opacity = kSceneAlpha;
    wave.startWidth = wave.endWidth = from.strokeWidth;
    wave.profile = static_cast<std::uint32_t>(from.profile);
    wave.color = from.color;
  }
  return list;
}

// Rows begin on cache lines, as a host's usually do.
class Picture {
 public:
  Picture(std::int32_t width, std::int32_t height)
      : bytes_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4 + 64),
        width_(width),
        height_(height) {}
  ImageBuffer View() {
    const auto address = reinterpret_cast<std::uintptr_t>(bytes_.data());
    return {bytes_.data() + (64 - address % 64), width_, height_, width_ * 4, 0, 0, nullptr};
  }

 private:
  std::vector<std::uint8_t> bytes_;
  std::int32_t width_, height_;
};

void DrawFrames(benchmark::State& state, const Scene& scene, std::int32_t quality, StrokeCode code, Progress progress) {
  const StrokeCode usual = CurrentStrokeCode();
  if (!ChooseStrokeCode(code)) {
    state.SkipWithError("not for this processor");
    return;
  }
  WaveList list = WavesOf(scene);
  Picture picture(scene.width, scene.height);
  const auto call = std::make_unique<Call>(scene.width, scene.height, quality, progress);
  for (auto frame : state) {
    Canvas canvas(picture.View(), Canvas::Ground::kCleared);
    for (auto position = list.waves.begin(); position != list.waves.end();) {
      if (DrawWave(list, call->Context(), canvas, position) != 0) state.SkipWithError("the drawing stopped");
    }
    canvas.Flush();
    benchmark::ClobberMemory();
  }
  ChooseStrokeCode(usual);
}

// The scene outlives the benchmark.
void Register(const std::string& name, const Scene& scene, std::int32_t quality, StrokeCode code,
              Progress progress = Progress::kAsOurHost) {
  benchmark::RegisterBenchmark(name.c_str(), [=, &scene](benchmark::State& state) {
    DrawFrames(state, scene, quality, code, progress);
  })->Unit(benchmark::kMillisecond);
}

void RegisterAll() {
  constexpr std::int32_t kUsualQuality = 4;
  const StrokeCode best = CurrentStrokeCode();
  static const std::vector<Scene> scenes = ComparedScenes();
  for (const Scene& scene : scenes) {
    Register(scene.name, scene, kUsualQuality, best);
#if defined(ORVANDEL_WITH_CAIRO)
    RegisterCairo(scene);
#endif
#if defined(ORVANDEL_WITH_AGG)
    RegisterAgg(scene);
#endif
  }
  const std::pair<const char*, StrokeCode> codes[] = {
      {"plain/", StrokeCode::kPlain}, {"portable/", StrokeCode::kPortable}, {"avx2/", StrokeCode::kAvx2}};
  for (const auto& [prefix, code] : codes) {
    for (const Scene& scene : scenes) Register(prefix + scene.name, scene, kUsualQuality, code);
  }
  for (const Scene& scene : scenes) {
    Register("every_row/" + scene.name, scene, kUsualQuality, best, Progress::kEveryRow);
  }
  for (std::int32_t quality = 1; quality <= 16; ++quality) {
    if (quality == kUsualQuality) continue;
    for (const Scene& scene : scenes) {
      Register(scene.name + "/quality_" + std::to_string(quality), scene, quality, best);
    }
  }
  static std::deque<Scene> profiled;
  const char* const profiles[] = {"square", "triangle", "sawtooth_out", "sawtooth_in", "gaussian", "bell", "sine"};
  for (std::int32_t profile = kSquareProfile; profile <= kSineProfile; ++profile) {
    const Scene& scene = profiled.emplace_back(RingsWithProfile(static_cast<Profile>(profile), "rings_w40"));
    Register("profile/" + std::string(profiles[profile - 1]), scene, kUsualQuality, best);
  }
}

// What draws unless a benchmark's name says otherwise.
const char* CodeName() {
  switch (CurrentStrokeCode()) {
    case StrokeCode::kAvx512:
      return "AVX-512";
    case StrokeCode::kAvx2:
      return "AVX2";
    case StrokeCode::kPlain:
      return "plain";
    default:
#if defined(__aarch64__)
      return "NEON";
#else
      return "portable";
#endif
  }
}

}  // namespace
}  // namespace orvandel::bench

int main(int argc, char** argv) {
  benchmark::AddCustomContext("commit", ORVANDEL_COMMIT);
  benchmark::AddCustomContext("code", orvandel::bench::CodeName());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  orvandel::bench::RegisterAll();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
