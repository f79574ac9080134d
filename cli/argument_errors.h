// The argument parser's complaints in the program's own words.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace orvandel::cli {

// One line: what is wrong, the nearest name where one is unknown, and which help to read.
std::string ExplainArguments(const CLI::App& program, const CLI::ParseError& error);

}  // namespace orvandel::cli
