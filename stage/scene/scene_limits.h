// Numbers and names of the scene file that its reader and its schema share.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "stage/scene/scene.h"

namespace orvandel::stage {

inline constexpr int kMaxLayerSide = 30000;
inline constexpr std::size_t kMaxEmitters = 64;  // each holds a sequence and its media open
inline constexpr int kMaxSamples = 64;
inline constexpr int kMaxShutter = 720;      // degrees
inline constexpr int kMaxGlowRadius = 2000;  // pixels
inline constexpr int kMaxGlowStrength = 100;

inline constexpr std::array<std::pair<std::string_view, Blend>, 4> kBlendNames{
    {{"normal", Blend::kNormal}, {"add", Blend::kAdd}, {"screen", Blend::kScreen}, {"multiply", Blend::kMultiply}}};

}  // namespace orvandel::stage
