// What numbered pictures were rendered from, kept in a small hidden file beside them, so that a resumed render does not
// put frames of two different scenes side by side.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "cli/render/output.h"

namespace orvandel::cli {

using RunParts = std::map<std::string, std::string>;  // hashes by what a person would call the part

struct RenderRun {
  std::string scene;     // a hash of the scene's values, and of what the command line puts in their place
  std::string settings;  // the options that change pictures, as a person would write them, and the program's version
  RunParts parts;        // what the scene takes from other files
  bool operator==(const RenderRun&) const = default;
};

class RenderRecord {
 public:
  static bool IsKeptFor(const Output& output);
  // Only numbered pictures have one; for other outputs nothing is read or written.
  explicit RenderRecord(const Output& output);

  // InputError when the pictures are known to come from anything but `run`. Without a record nothing is known.
  void RefuseOther(const RenderRun& run) const;
  // Adds the run; with `replacesAll` it is the only one from then on. WorkError.
  void Enter(const RenderRun& run, bool replacesAll) const;

 private:
  std::vector<RenderRun> Runs() const;

  OutputPattern pattern_;
  std::string name_;            // of the pictures, for people
  std::filesystem::path file_;  // empty: none
};

}  // namespace orvandel::cli
