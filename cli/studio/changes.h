// Changes on disk, by any program: to the scene file and to the media beside it.
//
// Found by comparing sizes and times a few times a second, which works on every file system, network folders included.
// A scene file written a moment ago is read even if its time is the same: some file systems have coarse times.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "cli/studio/scene_file.h"
#include "cli/studio/scene_folder.h"

namespace orvandel::cli {

class Changes {
 public:
  // Both must outlive it.
  Changes(const SceneFile& scene, const SceneFolder& folder);
  ~Changes();

  struct News {
    std::uint64_t number = 0;        // of the last change reported here
    std::string tag;                 // the scene's now
    std::vector<std::string> media;  // changed, come or gone
  };
  // What is new since news number `since`; waits for it, at most about a second. The number is `since` when nothing is.
  News Since(std::uint64_t since);
  // Ends the waiting.
  void Stop();

 private:
  void Watch();
  void LookAtScene();
  void LookAtMedia();

  const SceneFile& scene_;
  const SceneFolder& folder_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopping_ = false;
  std::uint64_t number_ = 1;
  std::string tag_;
  SceneFolder::Listed seen_;                                  // the scene file, when its tag was taken
  std::vector<std::pair<std::uint64_t, std::string>> media_;  // by the number of the change
  SceneFolder::Listing listing_;
  std::thread thread_;
};

}  // namespace orvandel::cli
