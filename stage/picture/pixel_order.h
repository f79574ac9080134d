// Between the order of bytes that the effect has, alpha first, and the one that most others take: red, green, blue,
// alpha.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvandel::stage {

// In place.
void AlphaLast(std::uint8_t* row, std::size_t pixels);
void AlphaFirst(std::uint8_t* row, std::size_t pixels);
// From one place to another, which may begin before `row` and reach into it.
void CopyAlphaLast(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels);
// Blue, green, red, alpha.
void CopyReversed(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels);
// Opaque, still with the alpha first: what the row looks like over black, rounded.
void CopyOverBlack(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels);
// The same over a row of opaque pixels: (colour x alpha + colour behind x (255 - alpha) + 127) / 255 in integers.
void CopyOver(const std::uint8_t* row, const std::uint8_t* behind, std::uint8_t* out, std::size_t pixels);
// `row` less `other`, byte by byte, the alpha last.
void DifferenceAlphaLast(const std::uint8_t* row, const std::uint8_t* other, std::uint8_t* out, std::size_t pixels);

// How many pixels of a row with its alpha first are not transparent.
std::size_t CountVisible(const std::uint8_t* row, std::size_t pixels);

}  // namespace orvandel::stage
