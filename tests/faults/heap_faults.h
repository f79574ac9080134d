// The private heap made to fail, watched and filled: stands between the effect and its heap by the linker's --wrap, so
// that every request passes here, whether the heap has a free block or not.
//
// Each block lies between a header and a red zone, both looked at when it is freed or moved; every Reallocate moves.
#pragma once

#include <cstdint>
#include <string>

namespace orvandel::test::heap_faults {

// The at-th request from now on is refused, counted from 0; all later ones too when `persistent`. -1: none.
void Arm(std::int64_t at, bool persistent);
inline void Disarm() { Arm(-1, false); }

std::int64_t Requests();            // since the last Arm
bool Struck();                      // likewise
std::uint64_t FirstRefusedBytes();  // likewise; 0 when none was refused

// Requests that would take the heap beyond this are refused as well; none by default.
void LimitBytes(std::uint64_t bytes);

void FillNewBlocksWith(std::uint8_t value);
std::int64_t LiveBlocks();
// Damaged red zones and blocks freed twice so far; empty: none.
const std::string& Damage();

}  // namespace orvandel::test::heap_faults
