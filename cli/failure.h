// One place turns what a command throws into one line on standard error and an exit code.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

#include "cli/exit_codes.h"

namespace orvandel::cli {

// "orvandel: error: <text>", on one line whatever the text holds.
void PrintError(std::string_view text);
// "orvandel: note: <text>", likewise: what to know, not what went wrong.
void PrintNote(std::string_view text);

// What an effect's code means when it gave no text of its own.
std::string EffectCodeInWords(std::int32_t code);

enum class FailureStyle {
  kLine,  // as PrintError does
  kJson   // {"event": "error", "exit": 2, "message": ...} on standard error, for readers of JSON progress
};

// Prints what `failure` says and returns the code to exit with.
ExitCode ReportFailure(std::exception_ptr failure, FailureStyle style);

}  // namespace orvandel::cli
