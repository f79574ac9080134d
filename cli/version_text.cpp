#include "cli/version_text.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "effect/base/processor.h"
#include "stage/films/film_limits.h"

namespace orvandel::cli {
namespace {

const char* NameOf(VectorSet vectors) {
  switch (vectors) {
    case VectorSet::kAvx512:
      return "AVX-512";
    case VectorSet::kAvx2:
      return "AVX2";
    default:
      return "128 bits";
  }
}

constexpr const char* kBuild =
#ifdef NDEBUG
    "optimised"
#else
    "for debugging"
#endif
#ifdef __clang__
    ", clang " __clang_version__;
#else
    ", gcc " __VERSION__;
#endif

}  // namespace

std::string VersionText() {
  return fmt::format("orvandel " ORVANDEL_VERSION
                     "\nlibraries: {}, fmt {}.{}.{}, nlohmann_json {}.{}.{}\nvectors: {}\nbuilt: {}",
                     stage::FilmLibraries(), FMT_VERSION / 10000, FMT_VERSION / 100 % 100, FMT_VERSION % 100,
                     NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR, NLOHMANN_JSON_VERSION_PATCH,
                     NameOf(WidestVectorSet()), kBuild);
}

}  // namespace orvandel::cli
