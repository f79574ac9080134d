// Stands for ffmpeg.exe: what comes through the pipe goes into the file that the last argument names, the arguments
// into ffmpeg.txt, one a line. FFMPEG_DOES: "fail" reads a little, complains and ends with 7; "dawdle" takes a second a
// read.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

int wmain(int count, wchar_t** arguments) {
  const char* const named = std::getenv("FFMPEG_DOES");
  const std::string does = named == nullptr ? "" : named;
  std::FILE* const told = std::fopen("ffmpeg.txt", "wb");
  for (int i = 1; i < count; ++i) {
    char text[4096] = {};
    WideCharToMultiByte(CP_UTF8, 0, arguments[i], -1, text, sizeof text - 1, nullptr, nullptr);
    std::fprintf(told, "%s\n", text);
  }
  std::fclose(told);
  std::FILE* const film = _wfopen(arguments[count - 1] + std::wcslen(L"file:"), L"wb");
  if (film == nullptr) return 3;
  std::vector<char> bytes(1 << 16);
  DWORD got = 0;
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  while (ReadFile(input, bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr) != 0 && got > 0) {
    std::fwrite(bytes.data(), 1, got, film);
    if (does == "dawdle") Sleep(1000);
    if (does != "fail") continue;
    std::fputs("no such\nencoder", stderr);
    return 7;
  }
  return std::fclose(film) == 0 ? 0 : 4;
}
