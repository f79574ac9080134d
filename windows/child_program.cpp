#include "windows/child_program.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <system_error>
#include <thread>
#include <utility>

#include "stage/base/errors.h"
#include "windows/console.h"

namespace orvandel::windows {
namespace {

class Handle {
 public:
  explicit Handle(HANDLE handle = nullptr) : handle_(handle) {}
  ~Handle() { Close(); }
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  HANDLE Get() const { return handle_; }
  void Close() {
    if (handle_ != nullptr) CloseHandle(std::exchange(handle_, nullptr));
  }

 private:
  HANDLE handle_;
};

// All children belong to one job, which ends with this process however that comes about.
HANDLE Job() {
  static const HANDLE job = [] {
    const HANDLE made = CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return made;
  }();
  return job;
}

struct Pipe {
  Handle read, write;
  // The child's end alone is handed on.
  explicit Pipe(bool childReads) {
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE ends[2] = {};
    constexpr DWORD kRoom = 1U << 20;
    if (CreatePipe(&ends[0], &ends[1], &inherited, kRoom) == 0) throw stage::WorkError("the system has no pipes left");
    read = Handle(ends[0]);
    write = Handle(ends[1]);
    SetHandleInformation((childReads ? write : read).Get(), HANDLE_FLAG_INHERIT, 0);
  }
};

// As programs split their line: a backslash is itself unless a quotation mark follows.
std::wstring Quoted(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

}  // namespace

struct ChildProgram::Impl {
  Handle process, input, errors;
  std::string words;
  std::thread listener;

  void Listen() {
    constexpr std::size_t kMost = 4096;
    char bytes[1024];
    DWORD count = 0;
    while (ReadFile(errors.Get(), bytes, sizeof bytes, &count, nullptr) != 0 && count > 0) {
      words.append(bytes, count);
      if (words.size() > kMost) words.erase(0, words.size() - kMost);
    }
  }
};

std::optional<std::filesystem::path> FindProgram(const std::wstring& name) {
  const wchar_t* const folders = _wgetenv(L"PATH");
  std::wstring left = folders == nullptr ? L"" : folders;
  while (!left.empty()) {
    const std::size_t end = std::min(left.find(L';'), left.size());
    const std::filesystem::path folder = left.substr(0, end);
    left.erase(0, end + 1);
    std::error_code none;
    const std::filesystem::path file = folder / (name + L".exe");
    if (folder.is_absolute() && std::filesystem::is_regular_file(file, none)) return file;
  }
  return std::nullopt;
}

ChildProgram::ChildProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments)
    : impl_(std::make_unique<Impl>()) {
  Pipe input(true), errors(false);
  std::wstring line = Quoted(program.wstring());
  for (const std::string& argument : arguments) line += L' ' + Quoted(WideOf(argument));
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = input.read.Get();
  start.hStdOutput = start.hStdError = errors.write.Get();
  PROCESS_INFORMATION made{};
  constexpr DWORD kHow = CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP;
  if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, kHow, nullptr, nullptr, &start, &made) ==
      0) {
    const auto reason = static_cast<int>(GetLastError());
    throw stage::WorkError(program.string() + ": cannot be started: " + std::system_category().message(reason));
  }
  impl_->process = Handle(made.hProcess);
  const Handle thread(made.hThread);
  AssignProcessToJobObject(Job(), made.hProcess);
  ResumeThread(made.hThread);
  impl_->input = std::move(input.write);
  impl_->errors = std::move(errors.read);
  errors.write.Close();  // or the listener would wait for words of this process
  impl_->listener = std::thread([impl = impl_.get()] { impl->Listen(); });
}

ChildProgram::~ChildProgram() {
  TerminateProcess(impl_->process.Get(), 1);
  Finish();
}

bool ChildProgram::Write(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    constexpr std::size_t kAtOnce = 1U << 20;
    DWORD written = 0;
    const auto count = static_cast<DWORD>(std::min(bytes.size(), kAtOnce));
    if (WriteFile(impl_->input.Get(), bytes.data(), count, &written, nullptr) == 0) return false;
    bytes = bytes.subspan(written);
  }
  return true;
}

std::uint32_t ChildProgram::Finish() {
  impl_->input.Close();
  WaitForSingleObject(impl_->process.Get(), INFINITE);
  if (impl_->listener.joinable()) impl_->listener.join();
  DWORD code = 1;
  GetExitCodeProcess(impl_->process.Get(), &code);
  return code;
}

const std::string& ChildProgram::Words() const { return impl_->words; }

void EndChildren() { TerminateJobObject(Job(), 1); }

}  // namespace orvandel::windows
