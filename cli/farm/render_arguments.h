// A render as the words of its command line, with absolute names, so that any folder and any machine of the farm gets
// the same pictures.
#pragma once

#include "cli/farm/farm_job.h"
#include "cli/requests.h"

namespace orvandel::cli {

// The program's own file.
std::filesystem::path ProgramFile();

// InputError for names that a script cannot carry.
Words PictureArguments(const RenderRequest& request, const std::string& pictures);
Words FilmArguments(const RenderRequest& request, const std::string& pictures, const std::string& film);

}  // namespace orvandel::cli
