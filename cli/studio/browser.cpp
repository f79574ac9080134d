#include "cli/studio/browser.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <unistd.h>

#include <cstdlib>

#include "cli/console.h"

extern char** environ;

namespace orvandel::cli {
namespace {

constexpr const char* kOpener = "xdg-open";

bool IsSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

}  // namespace

bool HasDisplay() { return IsSet("DISPLAY") || IsSet("WAYLAND_DISPLAY"); }

BrowserStart::BrowserStart(const std::string& address) {
  const std::filesystem::path folder = IsSet("XDG_RUNTIME_DIR") ? std::getenv("XDG_RUNTIME_DIR") : "/tmp";
  std::string name = (folder / "orvandel-XXXXXX.html").string();
  const int file = mkstemps(name.data(), 5);  // for this person alone
  if (file < 0) return;
  file_ = name;
  const std::string text = fmt::format(
      "<!doctype html><meta charset=\"utf-8\"><meta http-equiv=\"refresh\" content=\"0; url={0}\">"
      "<title>Orvandel</title><a href=\"{0}\">Orvandel</a>\n",
      address);
  const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(file);
  if (!written) return;
  char* words[] = {const_cast<char*>(kOpener), name.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // What browsers print is not ours to show.
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
  }
  pid_t process = 0;
  if (posix_spawnp(&process, kOpener, &actions, nullptr, words, environ) != 0) {
    Tell(fmt::format("{} cannot be started; open the address yourself\n", kOpener));
  }
  posix_spawn_file_actions_destroy(&actions);
}

BrowserStart::~BrowserStart() {
  std::error_code ignored;
  if (!file_.empty()) std::filesystem::remove(file_, ignored);
}

}  // namespace orvandel::cli
