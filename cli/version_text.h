// What the program was built from and what it runs on, for `--version` and reports of faults.
#pragma once

#include <string>

namespace orvandel::cli {

std::string VersionText();

}  // namespace orvandel::cli
