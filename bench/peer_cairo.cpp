// The compared scenes with Cairo's image backend.
//
// In both ways that one would draw a band there: filled, even-odd, between the outline and the band's inner edge
// ("cairo_fill"), and stroked along the middle of the band with mitres ("cairo_stroke"). A profile is sixteen nested
// bands, each with the profile's alpha at its middle.

#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <memory>

#include "peers.h"

namespace orvandel::bench {
namespace {

void AddPath(cairo_t* cr, const PlacedOutline& points) {
  cairo_move_to(cr, static_cast<double>(points[0].x), static_cast<double>(points[0].y));
  for (std::size_t i = 1; i < points.size(); ++i) {
    cairo_line_to(cr, static_cast<double>(points[i].x), static_cast<double>(points[i].y));
  }
  cairo_close_path(cr);
}

struct Band {
  PlacedOutline outer, middle, inner;
  double width, alpha;
  std::uint32_t color;
};

std::vector<Band> BandsOf(const Scene& scene) {
  std::vector<Band> bands;
  for (const SceneWave& wave : scene.waves) {
    const std::vector<float> alphas = BandAlphas(wave.profile);
    const float step = wave.strokeWidth / static_cast<float>(alphas.size());
    for (std::size_t i = 0; i < alphas.size(); ++i) {
      const auto number = static_cast<float>(i);
      bands.push_back({i == 0 ? wave.points : InnerEdge(wave, number * step), InnerEdge(wave, (number + 0.5F) * step),
                       InnerEdge(wave, (number + 1) * step), static_cast<double>(step), static_cast<double>(alphas[i]),
                       wave.color});
    }
  }
  return bands;
}

double Channel(std::uint32_t color, int byte) { return (color >> (8 * byte) & 255) / 255.0; }

void DrawFrames(benchmark::State& state, const Scene& scene, bool stroked) {
  const std::vector<Band> bands = BandsOf(scene);
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, scene.width, scene.height);
  cairo_t* cr = cairo_create(surface);
  cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
  for (auto frame : state) {
    cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
    cairo_identity_matrix(cr);
    cairo_paint(cr);
    cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
    cairo_translate(cr, scene.width / 2.0, scene.height / 2.0);
    for (const Band& band : bands) {
      cairo_set_source_rgba(cr, Channel(band.color, 1), Channel(band.color, 2), Channel(band.color, 3), band.alpha);
      if (stroked) {
        cairo_set_line_width(cr, band.width);
        AddPath(cr, band.middle);
        cairo_stroke(cr);
      } else {
        AddPath(cr, band.outer);
        AddPath(cr, band.inner);
        cairo_fill(cr);
      }
    }
    benchmark::ClobberMemory();
  }
  if (cairo_status(cr) != CAIRO_STATUS_SUCCESS) state.SkipWithError(cairo_status_to_string(cairo_status(cr)));
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
}

}  // namespace

void RegisterCairo(const Scene& scene) {
  for (const bool stroked : {false, true}) {
    const std::string name = (stroked ? "cairo_stroke/" : "cairo_fill/") + scene.name;
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
      DrawFrames(state, scene, stroked);
    })->Unit(benchmark::kMillisecond);
  }
}

}  // namespace orvandel::bench
