// Prints a digest of every number that the effect takes from the C library's mathematics, after the effect's own
// roundings: the vertices of all polygons and stars, the profile tables of all opacities that differ, the blur weights
// of all radii. The test beside it runs this program with the library's variants for newer processors switched off.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "effect/outline/blur.h"
#include "effect/outline/polygon.h"
#include "effect/render/stroke/profile_table.h"

namespace {

using namespace orvandel;

class Digest {
 public:
  void Add(const void* bytes, std::size_t count) {
    const auto* byte = static_cast<const std::uint8_t*>(bytes);
    for (std::size_t i = 0; i < count; ++i) hash_ = (hash_ ^ byte[i]) * 1099511628211u;
    items_ += 1;
  }
  void Print(const char* name) const {
    std::printf("%s %llu %016llx\n", name, static_cast<unsigned long long>(items_),
                static_cast<unsigned long long>(hash_));
  }

 private:
  std::uint64_t hash_ = 14695981039346656037u, items_ = 0;
};

void PrintVertices() {
  Digest digest;
  for (std::uint32_t sides = 3; sides <= 256; ++sides) {
    for (const float depth : {-1.0F, -0.5F, 0.0F, 0.7F, 10.0F}) {
      Wave wave;
      wave.sides = sides;
      wave.starDepth = depth;
      BuildPolygonShape(wave);
      digest.Add(wave.shape.data(), wave.shape.size() * sizeof(UnitPoint));
      BuildStarShape(wave);
      digest.Add(wave.shape.data(), wave.shape.size() * sizeof(UnitPoint));
    }
  }
  digest.Print("vertices");
}

void PrintTables() {
  Digest digest;
  for (int alpha = 1; alpha <= 255; ++alpha) {
    for (std::int32_t profile = kSquareProfile; profile <= kSineProfile; ++profile) {
      ProfileTable table;
      BuildProfileTable(static_cast<float>(alpha) / 255.0F, profile, table);
      digest.Add(table.data(), sizeof table);
    }
  }
  digest.Print("tables");
}

void PrintBlurWeights() {
  Digest digest;
  for (std::int32_t word = 1; word <= 50 * 65536; ++word) {
    const HeapVector<std::uint16_t> kernel = BlurKernelFor(static_cast<double>(static_cast<float>(word) / 65536.0F));
    // The weights are even: one half holds all there is to know.
    digest.Add(kernel.data(), (kernel.size() / 2 + 1) * sizeof(std::uint16_t));
  }
  digest.Print("blur");
}

}  // namespace

int main() {
  PrintVertices();
  PrintTables();
  PrintBlurWeights();
}
