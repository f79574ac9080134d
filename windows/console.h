// The console: text in UTF-8 whatever the system's code page, Ctrl-C as a request.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvandel::windows {

// UTF-16 as the system has it, and back.
std::string Utf8Of(std::wstring_view text);
std::wstring WideOf(std::string_view text);

// The first Ctrl-C asks for an end, a second one ends the program.
void CatchInterrupts();
bool StopRequested();

// To the console as it is, to files and pipes as UTF-8.
void WriteOutput(std::string_view text);
void Tell(std::string_view text);
// Whether somebody watches what is told.
bool IsWatched();

}  // namespace orvandel::windows
