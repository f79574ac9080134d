#include "cli/failure.h"

#include <fmt/format.h>

#include <cctype>
#include <new>
#include <nlohmann/json.hpp>

#include "cli/console.h"
#include "orvandel/effect.h"
#include "stage/base/errors.h"

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

void PrintError(std::string_view text) { Tell(fmt::format("orvandel: error: {}\n", OnOneLine(text))); }

void PrintNote(std::string_view text) { Tell(fmt::format("orvandel: note: {}\n", OnOneLine(text))); }

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

namespace {

struct Failure {
  ExitCode exit = kFailed;
  std::string text;
};

Failure Explain(std::exception_ptr failure) {
  try {
    std::rethrow_exception(std::move(failure));
  } catch (const stage::Interrupted& interrupted) {
    return {kInterrupted, interrupted.what()};
  } catch (const stage::InputError& error) {
    return {kBadInput, error.what()};
  } catch (const stage::EffectError& error) {
    return {kFailed, error.message.empty() ? EffectCodeInWords(error.code) : error.message};
  } catch (const std::bad_alloc&) {
    return {kFailed, "out of memory"};
  } catch (const std::exception& error) {
    return {kFailed, error.what()};
  }
}

}  // namespace

ExitCode ReportFailure(std::exception_ptr failure, FailureStyle style) {
  const Failure explained = Explain(std::move(failure));
  if (style == FailureStyle::kLine) {
    PrintError(explained.text);
  } else {
    const nlohmann::ordered_json json{
        {"event", "error"}, {"exit", explained.exit}, {"message", OnOneLine(explained.text)}};
    Tell(json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
  }
  return explained.exit;
}

}  // namespace orvandel::cli
