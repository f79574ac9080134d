// A worker's share of a film that is made of pictures rendered before: reading them.
#pragma once

#include <memory>

#include "cli/output_pattern.h"
#include "cli/render/output.h"
#include "cli/render/worker_pool.h"

namespace orvandel::cli {

// `pictures` must outlive the work. InputError for one that is missing, damaged or of another size.
std::unique_ptr<FrameWork> MakePictureWork(const OutputPattern& pictures, const PictureForm& form, OutputKind into);

// InputError when these cannot be the pictures of an output: one that is no film or stream, or names without numbers.
void RefuseImpossiblePictures(const OutputPattern& pictures, const Output& output);

}  // namespace orvandel::cli
