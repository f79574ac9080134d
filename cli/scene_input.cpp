#include "cli/scene_input.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/scene/json_tree.h"
#include "stage/scene/scene_reader.h"

namespace orvandel::cli {
namespace {

constexpr const char* kStandardInput = "standard input";

std::string ReadStandardInput() {
  std::string text;
  char block[65536];
  for (;;) {
    const ssize_t count = read(STDIN_FILENO, block, sizeof block);
    if (count == 0) return text;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw stage::InputError(fmt::format("{} cannot be read: {}", kStandardInput, std::strerror(errno)));
    text.append(block, static_cast<std::size_t>(count));
    if (text.size() > stage::kMaxSceneBytes) {
      throw stage::InputError(fmt::format("{} is larger than {} bytes", kStandardInput, stage::kMaxSceneBytes));
    }
  }
}

}  // namespace

SceneText LoadScene(const SceneRequest& request) {
  if (request.file == "-") return {ReadStandardInput(), kStandardInput};
  return {stage::ReadWholeFile(request.file, stage::kMaxSceneBytes), request.file};
}

stage::Scene ReadSceneOf(const SceneRequest& request, const stage::ParamCatalog& catalog) {
  const SceneText scene = LoadScene(request);
  return stage::ReadSceneText(scene.text, scene.file, catalog, request.options);
}

}  // namespace orvandel::cli
