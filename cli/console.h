// Standard output and standard error as programs meet them: a terminal, a full disk, a pipe without a reader, closed.
// This folder has the POSIX implementation; the one for Windows is windows/console.cpp.
#pragma once

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace orvandel::cli {

// Puts something under the numbers of closed standard descriptors, so that no file or socket gets them: texts meant
// for people would end up in it. Using such a descriptor still fails. Before anything else is opened.
void OccupyClosedDescriptors();

// Whether standard output is open for writing.
bool OutputIsOpen();

// WorkError when standard output cannot be written. A full disk may show only in FlushOutput.
void WriteOutput(std::string_view text);
void FlushOutput();

template <typename... Values>
void Print(fmt::format_string<Values...> format, Values&&... values) {
  WriteOutput(fmt::format(format, std::forward<Values>(values)...));
}

// To standard error, at once. Text that cannot be written is dropped: a message that cannot be shown is no reason to
// fail.
void Tell(std::string_view text) noexcept;
// Whether it is a terminal, which takes the control sequences of a bar.
bool TellsTerminal();

}  // namespace orvandel::cli
