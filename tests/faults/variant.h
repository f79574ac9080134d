// The scenes that every sweep runs over: four kinds of outline, two qualities, with and without reflection, both modes
// of taking parameters. Small pictures and few waves, so that many schedules are cheap; values move, so that the cache
// of parameter values has something to hold.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/fake_host.h"

namespace orvandel::test {

enum class Shape { kPolygon, kRoundedStar, kMask, kContour };

struct Variant {
  Shape shape = Shape::kPolygon;
  bool supersampled = false;
  bool reflection = false;
  bool eachFrame = false;

  std::string Name() const;
};
inline std::ostream& operator<<(std::ostream& stream, const Variant& variant) { return stream << variant.Name(); }

std::vector<Variant> AllVariants();  // 32

inline constexpr std::int32_t kSweepWidth = 24, kSweepHeight = 16;

// Layers, masks and length of the layer; before parameter set-up.
void Furnish(FakeHost& host);
// The variant's parameter values; after parameter set-up.
void Apply(FakeHost& host, const Variant& variant);
}  // namespace orvandel::test
