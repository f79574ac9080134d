// The fuzz targets: each takes any bytes and must come back. What it finds wrong it tells by a gtest expectation, which
// the replay reports and the fuzzer stops at.
#pragma once

#include <cstdint>
#include <span>

namespace orvandel::fuzz {

using Bytes = std::span<const std::uint8_t>;
using Target = void (*)(Bytes);

struct NamedTarget {
  const char* name;  // also of its corpus
  Target run;
};

void ReadSceneFrom(Bytes bytes);         // the scene file's reader
void ReadSvgPathFrom(Bytes bytes);       // the path text's reader
void DrawSvgFrom(Bytes bytes);           // an SVG file's outlines
void ReadRegistrationFrom(Bytes bytes);  // the effect's walk of its resource, and the host's reading of a module file
void RunCommandsFrom(Bytes bytes);       // a string of commands
void RenderWordsFrom(Bytes bytes);       // parameter words and records
void ResumeFrom(Bytes bytes);            // a state of the simulation that the host kept

inline constexpr NamedTarget kTargets[] = {{"scene", ReadSceneFrom},      {"svg_path", ReadSvgPathFrom},
                                           {"svg", DrawSvgFrom},          {"registration", ReadRegistrationFrom},
                                           {"commands", RunCommandsFrom}, {"words", RenderWordsFrom},
                                           {"resume", ResumeFrom}};

}  // namespace orvandel::fuzz
