#include "windows/console.h"

#include <windows.h>

#include <atomic>
#include <system_error>

#include "cli/console.h"
#include "cli/exit_codes.h"
#include "stage/base/errors.h"
#include "stage/base/partial_file_system.h"
#include "windows/child_program.h"

namespace orvandel::windows {
namespace {

std::atomic<bool> stopRequested = false;

// The system calls it on a thread of its own, and ends a program whose console closes when it returns.
BOOL WINAPI OnControl(DWORD what) {
  constexpr DWORD kPatience = 4000;  // the system's is a second longer
  const bool isKey = what == CTRL_C_EVENT || what == CTRL_BREAK_EVENT;
  if (!stopRequested.exchange(true) && isKey) return TRUE;
  if (!isKey) Sleep(kPatience);
  EndChildren();
  stage::RemoveUnfinished();
  TerminateProcess(GetCurrentProcess(), cli::kInterrupted);
  return TRUE;
}

bool IsConsole(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0;
}

// To a console as it is, to files and pipes as UTF-8.
bool Write(DWORD which, std::string_view text) {
  const HANDLE handle = GetStdHandle(which);
  DWORD written = 0;
  if (!IsConsole(handle)) {
    return WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != 0;
  }
  const std::wstring wide = WideOf(text);
  return WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr) != 0;
}

}  // namespace

std::string Utf8Of(std::wstring_view text) {
  const auto convert = [&](char* to, int room) {
    return WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), to, room, nullptr, nullptr);
  };
  std::string bytes(static_cast<std::size_t>(convert(nullptr, 0)), '\0');
  convert(bytes.data(), static_cast<int>(bytes.size()));
  return bytes;
}

std::wstring WideOf(std::string_view text) {
  const auto convert = [&](wchar_t* to, int room) {
    return MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), to, room);
  };
  std::wstring wide(static_cast<std::size_t>(convert(nullptr, 0)), L'\0');
  convert(wide.data(), static_cast<int>(wide.size()));
  return wide;
}

void CatchInterrupts() { SetConsoleCtrlHandler(OnControl, TRUE); }
bool StopRequested() { return stopRequested.load(std::memory_order_relaxed); }

}  // namespace orvandel::windows

namespace orvandel::cli {

void WriteOutput(std::string_view text) {
  if (windows::Write(STD_OUTPUT_HANDLE, text)) return;
  const std::string reason = std::system_category().message(static_cast<int>(GetLastError()));
  throw stage::WorkError("standard output cannot be written: " + reason);
}

void Tell(std::string_view text) noexcept {
  try {
    windows::Write(STD_ERROR_HANDLE, text);
  } catch (const std::bad_alloc&) {
  }
}

bool TellsTerminal() {
  const HANDLE handle = GetStdHandle(STD_ERROR_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0 && SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

}  // namespace orvandel::cli
