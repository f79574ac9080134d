#include "cli/version_text.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "stage/films/film_limits.h"

namespace orvandel::cli {
namespace {

// The effect draws with the widest of these sets that the processor has whole.
const char* WidestVectors() {
#if defined(__x86_64__)
  const bool common = __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi2");
  if (common && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
      __builtin_cpu_supports("avx512vpopcntdq") && __builtin_cpu_supports("avx512vnni") &&
      __builtin_cpu_supports("vpclmulqdq")) {
    return "AVX-512";
  }
  if (common && __builtin_cpu_supports("avx2")) return "AVX2";
#endif
  return "128 bits";
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
  return fmt::format(
      "orvandel " ORVANDEL_VERSION "\nlibraries: {}, fmt {}.{}.{}, nlohmann_json {}.{}.{}\nvectors: {}\nbuilt: {}",
      stage::FilmLibraries(), FMT_VERSION / 10000, FMT_VERSION / 100 % 100, FMT_VERSION % 100,
      NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR, NLOHMANN_JSON_VERSION_PATCH, WidestVectors(), kBuild);
}

}  // namespace orvandel::cli
