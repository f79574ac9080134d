// Which files a scene may name: plain files in its own folder or below, unless the caller allows more.
//
// A scene may come from a stranger. Links are followed before the question is asked, so neither "..", an absolute name
// nor a link in the folder leads out of it.
#pragma once

#include <filesystem>

#include "stage/scene/json_place.h"

namespace orvandel::stage {

class SceneFiles {
 public:
  // Relative names start at the scene file's folder.
  SceneFiles(const std::filesystem::path& sceneFile, bool allowOutside);

  // A text of the scene that names an existing plain file.
  std::filesystem::path Plain(const JsonPlace& place) const;
  // The same, or a numbered sequence of which every picture is such a file.
  std::filesystem::path PlainOrSequence(const JsonPlace& place) const;

 private:
  std::filesystem::path Resolved(const JsonPlace& place) const;
  void MustBeInside(const JsonPlace& place, const std::filesystem::path& file) const;

  std::filesystem::path folder_;
  std::filesystem::path root_;  // the folder with its links followed
  bool allowOutside_;
};

}  // namespace orvandel::stage
