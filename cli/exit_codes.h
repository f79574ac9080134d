// What the program's exit codes mean; scripts rely on them.
#pragma once

namespace orvandel::cli {

enum ExitCode : int {
  kDone = 0,
  kFailed = 1,    // the work failed: the effect, the module, a file that cannot be written, memory
  kBadInput = 2,  // arguments, scene or media are at fault; nothing was rendered unless a medium broke on the way
  kInterrupted = 130
};

}  // namespace orvandel::cli
