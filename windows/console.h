// The console: text in UTF-8 whatever the system's code page, Ctrl-C as a request. What is written goes through
// cli/console.h.
#pragma once

#include <string>
#include <string_view>

namespace orvandel::windows {

// UTF-16 as the system has it, and back.
std::string Utf8Of(std::wstring_view text);
std::wstring WideOf(std::string_view text);

// The first Ctrl-C asks for an end; a second one, and a console that closes, end the program and the programs that it
// started, and remove what is unfinished.
void CatchInterrupts();
bool StopRequested();

}  // namespace orvandel::windows
