#include "cli/studio/scene_file.h"

#include <fmt/format.h>

#include <cstdint>
#include <system_error>

#include "cli/interrupt.h"
#include "stage/base/file_bytes.h"
#include "stage/base/partial_file.h"
#include "stage/scene/json_tree.h"

namespace orvandel::cli {

std::string TagOf(const std::string& text) {
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return fmt::format("\"{:x}-{:016x}\"", text.size(), hash);
}

TaggedText SceneFile::Read() const {
  if (stage::FileKindOf(file_) == stage::FileKind::kNone) return {{}, kGoneTag};
  std::string text = stage::ReadWholeFile(file_, stage::kMaxSceneBytes);
  std::string tag = TagOf(text);
  return {std::move(text), std::move(tag)};
}

bool SceneFile::Replace(const std::string& tag, const std::string& text) {
  const std::lock_guard lock(saving_);
  if (Read().tag != tag) return false;
  std::error_code failed;
  const auto permissions = std::filesystem::status(file_, failed).permissions();
  stage::RemoveAbandoned({file_});
  stage::PartialFile file(file_, stage::IfTaken::kReplace);
  const UnfinishedFile unfinished(file.WorkName());
  file.Write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  file.Sync();
  if (tag != kGoneTag && !failed) std::filesystem::permissions(file.WorkName(), permissions, failed);
  file.Keep();
  return true;
}

}  // namespace orvandel::cli
