// The effect as a module file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

#include "stage/module/effect_library.h"

namespace orvandel::stage {

// A library of its own each time: a private copy while anything else in the process has the file loaded.
// Any thread may call it. Throws WorkError with the file and the reason.
std::unique_ptr<EffectLibrary> LoadEffect(const std::filesystem::path& file);

// The same from the bytes of a module file, which must stay.
std::unique_ptr<EffectLibrary> LoadEffectBytes(std::span<const std::uint8_t> module);

// Where modules lie beside the running program: <bin>/../lib/orvandel.
std::filesystem::path LibraryFolder();

// orvandel.so there, or $ORVANDEL_MODULE.
std::filesystem::path DefaultModulePath();

}  // namespace orvandel::stage
