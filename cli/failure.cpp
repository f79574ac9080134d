#include "cli/failure.h"

#include <fmt/format.h>

#include <cctype>
#include <cstdio>
#include <new>

#include "orvandel/effect.h"
#include "stage/errors.h"

namespace orvandel::cli {
namespace {

// Texts of the effect and of libraries may hold line breaks; runs of blanks and breaks become one blank.
std::string OnOneLine(std::string_view text) {
  std::string line;
  bool blank = false;
  for (const char c : text) {
    if (std::iscntrl(static_cast<unsigned char>(c)) != 0 || c == ' ') {
      blank = true;
      continue;
    }
    if (blank && !line.empty()) line += ' ';
    blank = false;
    line += c;
  }
  return line;
}

}  // namespace

void PrintError(std::string_view text) { fmt::print(stderr, "orvandel: error: {}\n", OnOneLine(text)); }

std::string EffectCodeInWords(std::int32_t code) {
  switch (code) {
    case ORV_OUT_OF_MEMORY:
      return "the effect ran out of memory";
    case ORV_INVALID_CALLBACK:
      return "the effect failed: something it needs from its host is missing (code 512)";
    default:
      return fmt::format("the effect failed with code {}", code);
  }
}

ExitCode ReportFailure(std::exception_ptr failure) {
  try {
    std::rethrow_exception(std::move(failure));
  } catch (const stage::Interrupted& interrupted) {
    PrintError(interrupted.what());
    return kInterrupted;
  } catch (const stage::InputError& error) {
    PrintError(error.what());
    return kBadInput;
  } catch (const stage::EffectError& error) {
    PrintError(error.message.empty() ? EffectCodeInWords(error.code) : error.message);
  } catch (const std::bad_alloc&) {
    PrintError("out of memory");
  } catch (const std::exception& error) {
    PrintError(error.what());
  }
  return kFailed;
}

}  // namespace orvandel::cli
