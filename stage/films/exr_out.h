// EXR pictures through the film libraries.
#pragma once

#include <filesystem>

#include "stage/base/partial_file.h"
#include "stage/picture/picture16.h"

namespace orvandel::stage {

// WorkError.
void WriteExrFile(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken);

}  // namespace orvandel::stage
