// `orvandel studio`: the page in which scenes are made, served to a browser on this machine, with a scene file open.
#include <fmt/format.h>

#include <optional>

#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/studio/browser.h"
#include "cli/studio/page_files.h"
#include "cli/studio/server.h"
#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"

namespace orvandel::cli {
namespace {

void MustBeThere(const std::filesystem::path& scene) {
  switch (stage::FileKindOf(scene)) {
    case stage::FileKind::kPlain:
      return;
    case stage::FileKind::kNone:
      throw stage::InputError(
          fmt::format("{}: does not exist; orvandel new {} makes it", scene.string(), scene.string()));
    default:
      throw stage::InputError(fmt::format("{}: is not a plain file", scene.string()));
  }
}

}  // namespace

void Studio(const StudioRequest& request) {
  if (!HasPage()) {
    throw stage::WorkError(
        "this program was built without the studio's page: script/studio --build-only makes the "
        "page, and script/build then a program that has it");
  }
  if (!request.scene.empty()) MustBeThere(request.scene);
  StudioServer server(request.scene, request.port);
  Print("{}\n", server.Address());
  FlushOutput();
  Tell("Open that address in a browser of this machine. Ctrl-C ends it.\n");
  std::optional<BrowserStart> browser;
  if (!request.noBrowser && HasDisplay()) browser.emplace(server.Address());
  server.Run(StopRequested);
}

}  // namespace orvandel::cli
