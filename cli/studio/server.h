// The studio's server: the page's files, and the scene with its media, to one browser on this machine.
//
// Below the address: the page's files; api/scene, the scene file (GET, PUT with If-Match); api/files, the media of its
// folder (GET, HEAD and PUT of each by its name); api/events, changes on disk as they come.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace orvandel::cli {

class StudioServer {
 public:
  // `scene` may be empty: then there is the page alone. `port` 0: any that is free. WorkError when it is taken.
  StudioServer(const std::filesystem::path& scene, int port);
  ~StudioServer();
  StudioServer(const StudioServer&) = delete;
  StudioServer& operator=(const StudioServer&) = delete;

  // Where a browser finds the page.
  std::string Address() const;
  // Serves until `shouldStop`, which is asked a few times a second.
  void Run(const std::function<bool()>& shouldStop);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace orvandel::cli
