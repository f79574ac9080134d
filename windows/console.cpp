#include "windows/console.h"

#include <windows.h>

#include <atomic>

namespace orvandel::windows {
namespace {

constexpr UINT kInterrupted = 130;
std::atomic<bool> stopRequested = false;

BOOL WINAPI OnControl(DWORD) {
  if (stopRequested.exchange(true)) ExitProcess(kInterrupted);
  return TRUE;
}

bool IsConsole(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0;
}

void Write(DWORD which, std::string_view text) {
  const HANDLE handle = GetStdHandle(which);
  DWORD written = 0;
  if (IsConsole(handle)) {
    const std::wstring wide = WideOf(text);
    WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
  } else {
    WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  }
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

void WriteOutput(std::string_view text) { Write(STD_OUTPUT_HANDLE, text); }
void Tell(std::string_view text) { Write(STD_ERROR_HANDLE, text); }
bool IsWatched() { return IsConsole(GetStdHandle(STD_ERROR_HANDLE)); }

}  // namespace orvandel::windows
