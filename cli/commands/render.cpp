// `orvandel render`: frames of a scene, in the order asked for, into pictures or a film.
#include <fmt/format.h>

#include <chrono>

#include "cli/commands/commands.h"
#include "cli/frame_list.h"
#include "cli/frame_sink.h"
#include "cli/interrupt.h"
#include "cli/module_file.h"
#include "stage/errors.h"
#include "stage/frame_renderer.h"
#include "stage/scene_reader.h"

namespace orvandel::cli {
namespace {

using Clock = std::chrono::steady_clock;

stage::RenderOptions OptionsOf(const RenderRequest& request) {
  stage::RenderOptions options;
  options.highQuality = request.highQuality;
  options.downsample = request.downsample;
  options.shouldStop = StopRequested;
  return options;
}

stage::FilmOptions FilmOf(const stage::Scene& scene, const stage::FrameRenderer& renderer) {
  stage::FilmOptions film;
  film.frameRate = scene.time.frameRate;
  film.pixelAspect = scene.pixelAspect;
  film.width = renderer.OutputWidth();
  film.height = renderer.OutputHeight();
  return film;
}

// What the effect complains of is told with the frame it happened at.
stage::Picture RenderFrame(stage::FrameRenderer& renderer, std::int32_t frame) {
  try {
    return renderer.Render(frame);
  } catch (const stage::EffectError& error) {
    if (error.message.empty()) throw;
    throw stage::EffectError(error.code, fmt::format("frame {}: {}", frame, error.message));
  }
}

void RenderFrames(stage::FrameRenderer& renderer, const std::vector<std::int32_t>& frames, FrameSink& sink,
                  Progress& progress) {
  const auto total = static_cast<std::int64_t>(frames.size());
  std::int64_t done = 0;
  for (const std::int32_t frame : frames) {
    if (StopRequested()) throw stage::Interrupted();
    sink.Put(frame, RenderFrame(renderer, frame));
    progress.Show(++done, total);
  }
  if (StopRequested()) throw stage::Interrupted();
  sink.Finish();
}

void RenderScene(const RenderRequest& request, stage::EffectModule& module) {
  const stage::Scene scene = stage::ReadScene(request.scene, module.Catalog());
  const auto frames =
      request.frames ? ParseFrameList(*request.frames, scene.time.frameCount) : AllFrames(scene.time.frameCount);
  stage::FrameRenderer renderer(module, scene, 0, OptionsOf(request));
  const auto sink = OpenSink(request.output, frames, FilmOf(scene, renderer));
  const auto start = Clock::now();
  {
    const auto progress = MakeProgress(request.progress);
    RenderFrames(renderer, frames, *sink, *progress);
  }
  if (request.progress == ProgressKind::kSilent) return;
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  fmt::print(stderr, "{}: {} frame{} in {:.1f} s\n", sink->Name(), frames.size(), frames.size() == 1 ? "" : "s",
             seconds);
}

}  // namespace

void Render(const RenderRequest& request) {
  stage::EffectModule module(ModuleFile(request.module));
  RenderScene(request, module);
  module.SetDown();
}

}  // namespace orvandel::cli
