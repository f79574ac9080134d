// What numbered pictures were rendered from, kept in a small hidden file beside them, so that a resumed render does not
// put frames of two different scenes side by side.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/render/output.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

struct RenderRun {
  std::string scene;     // a hash of the scene's values, of what the command line puts in their place, and of its media
  std::string settings;  // the options that change pictures, as a person would write them, and the program's version
  bool operator==(const RenderRun&) const = default;
};

// Comments and blanks of `sceneText` do not count; of the media, size and time of change do.
std::string SceneHash(const std::string& sceneText, const stage::Scene& scene, const std::vector<std::string>& options);

class RenderRecord {
 public:
  // Only numbered pictures have one; for other outputs nothing is read or written.
  explicit RenderRecord(const Output& output);

  // InputError when the pictures are known to come from anything but `run`. Without a record nothing is known.
  void RefuseOther(const RenderRun& run) const;
  // Adds the run; with `replacesAll` it is the only one from then on. WorkError.
  void Enter(const RenderRun& run, bool replacesAll) const;

 private:
  std::vector<RenderRun> Runs() const;

  std::string name_;            // of the pictures, for people
  std::filesystem::path file_;  // empty: none
};

}  // namespace orvandel::cli
