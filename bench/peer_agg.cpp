// The compared scenes with AGG, on pixels of straight alpha as ours.
//
// A band of one alpha is one fill, even-odd, between the outline and the band's inner edge. A profile is AGG's own line
// with a profile across, along the middle of the band.

#include <agg_pixfmt_rgba.h>
#include <agg_rasterizer_outline_aa.h>
#include <agg_rasterizer_scanline_aa.h>
#include <agg_renderer_base.h>
#include <agg_renderer_outline_aa.h>
#include <agg_renderer_scanline.h>
#include <agg_rendering_buffer.h>
#include <agg_scanline_u.h>
#include <benchmark/benchmark.h>

#include <cmath>

#include "peers.h"

namespace orvandel::bench {
namespace {

using PixelFormat = agg::pixfmt_rgba32_plain;
using Base = agg::renderer_base<PixelFormat>;

struct Band {
  PlacedOutline outer, inner;  // lines: the middle, twice
  bool line;
  double width;
  agg::rgba8 color;
};

std::vector<Band> BandsOf(const Scene& scene) {
  std::vector<Band> bands;
  const auto alpha = static_cast<unsigned>(255 * kSceneAlpha);
  for (const SceneWave& wave : scene.waves) {
    const bool line = wave.profile != kSquareProfile;
    const agg::rgba8 color(wave.color >> 8 & 255, wave.color >> 16 & 255, wave.color >> 24, alpha);
    bands.push_back({line ? InnerEdge(wave, wave.strokeWidth / 2) : wave.points, InnerEdge(wave, wave.strokeWidth),
                     line, static_cast<double>(wave.strokeWidth), color});
  }
  return bands;
}

template <typename Rasterizer>
void AddPath(Rasterizer& rasterizer, const PlacedOutline& points, double x, double y) {
  rasterizer.move_to_d(x + static_cast<double>(points[0].x), y + static_cast<double>(points[0].y));
  for (std::size_t i = 1; i < points.size(); ++i) {
    rasterizer.line_to_d(x + static_cast<double>(points[i].x), y + static_cast<double>(points[i].y));
  }
}

void FillBand(Base& base, agg::rasterizer_scanline_aa<>& rasterizer, agg::scanline_u8& scanline, const Band& band,
              double x, double y) {
  rasterizer.reset();
  rasterizer.filling_rule(agg::fill_even_odd);
  AddPath(rasterizer, band.outer, x, y);
  rasterizer.close_polygon();
  AddPath(rasterizer, band.inner, x, y);
  rasterizer.close_polygon();
  agg::render_scanlines_aa_solid(rasterizer, scanline, base, band.color);
}

void StrokeBand(Base& base, const Band& band, double x, double y) {
  const auto gaussian = [](double fromEdge) { return std::exp(-4 * (1 - fromEdge) * (1 - fromEdge)); };
  agg::line_profile_aa profile;
  profile.gamma(gaussian);
  profile.smoother_width(band.width / 2);
  profile.width(band.width / 2);
  agg::renderer_outline_aa<Base> renderer(base, profile);
  renderer.color(band.color);
  agg::rasterizer_outline_aa<agg::renderer_outline_aa<Base>> rasterizer(renderer);
  rasterizer.line_join(agg::outline_miter_accurate_join);
  AddPath(rasterizer, band.outer, x, y);
  rasterizer.render(true);
}

void DrawFrames(benchmark::State& state, const Scene& scene) {
  const std::vector<Band> bands = BandsOf(scene);
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(scene.width) * static_cast<std::size_t>(scene.height) * 4);
  agg::rendering_buffer buffer(pixels.data(), static_cast<unsigned>(scene.width), static_cast<unsigned>(scene.height),
                               scene.width * 4);
  PixelFormat format(buffer);
  Base base(format);
  agg::rasterizer_scanline_aa<> rasterizer;
  rasterizer.clip_box(0, 0, scene.width, scene.height);
  agg::scanline_u8 scanline;
  const double x = scene.width / 2.0, y = scene.height / 2.0;
  for (auto frame : state) {
    base.clear(agg::rgba8(0, 0, 0, 0));
    for (const Band& band : bands) {
      if (band.line) {
        StrokeBand(base, band, x, y);
      } else {
        FillBand(base, rasterizer, scanline, band, x, y);
      }
    }
    benchmark::ClobberMemory();
  }
}

}  // namespace

void RegisterAgg(const Scene& scene) {
  benchmark::RegisterBenchmark(("agg/" + scene.name).c_str(), [scene](benchmark::State& state) {
    DrawFrames(state, scene);
  })->Unit(benchmark::kMillisecond);
}

}  // namespace orvandel::bench
