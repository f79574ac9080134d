#include "stage/render/snapshot_files.h"

#include <fmt/format.h>

#include <charconv>
#include <cstring>
#include <string_view>
#include <utility>

#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/base/partial_file.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kEnding = ".state";
constexpr std::size_t kMostBytes = std::size_t{1} << 28;

struct Header {
  char magic[8] = {'o', 'r', 'v', 's', 't', 'a', 't', 'e'};
  std::uint32_t form = 2;  // in another byte order this is no 2
  std::int32_t tick = 0;
  std::uint64_t checksum = 0;
};
static_assert(sizeof(Header) == 24);

// Each step is invertible in the byte read, so that a single changed byte always shows.
std::uint64_t Checksum(std::span<const std::uint8_t> bytes, std::uint64_t sum) {
  for (const std::uint8_t byte : bytes) sum = (sum ^ byte) * 0x9E3779B97F4A7C15U;
  return sum;
}

// What a state of that size is a state of: a file that was copied or renamed from another scene's or effect's is no
// better than a damaged one.
std::uint64_t Owner(const std::filesystem::path& folder, const std::string& name, std::size_t size) {
  const std::string owner = folder.filename().string() + "/" + name;
  return Checksum(std::span(reinterpret_cast<const std::uint8_t*>(owner.data()), owner.size()), size);
}

}  // namespace

SnapshotFiles::SnapshotFiles(std::filesystem::path folder, std::string name, std::int32_t spacing, Tell tell)
    : folder_(std::move(folder)), name_(std::move(name)), spacing_(spacing), tell_(std::move(tell)) {
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(folder_, none)) {
    const std::string file = entry.path().filename().string();
    const std::string start = name_ + "-";
    if (!file.starts_with(start) || !file.ends_with(kEnding)) continue;
    std::int32_t tick = 0;
    const char* const end = file.data() + file.size() - kEnding.size();
    const auto [stop, error] = std::from_chars(file.data() + start.size(), end, tick);
    if (error == std::errc() && stop == end && tick > 0) ticks_.insert(tick);
  }
}

std::filesystem::path SnapshotFiles::FileOf(std::int32_t tick) const {
  return folder_ / fmt::format("{}-{}{}", name_, tick, kEnding);
}

bool SnapshotFiles::Wants(std::int32_t tick, std::int32_t, std::int32_t) {
  return isWritable_ && tick > 0 && tick % spacing_ == 0 && ticks_.count(tick) == 0;
}

void SnapshotFiles::Keep(std::int32_t tick, std::span<const std::uint8_t> bytes) {
  if (bytes.size() > kMostBytes - sizeof(Header)) return;
  Header header;
  header.tick = tick;
  header.checksum = Checksum(bytes, Owner(folder_, name_, bytes.size()));
  std::vector<std::uint8_t> content(sizeof header + bytes.size());
  std::memcpy(content.data(), &header, sizeof header);
  std::memcpy(content.data() + sizeof header, bytes.data(), bytes.size());
  try {
    std::error_code none;
    std::filesystem::create_directories(folder_, none);
    WriteWholeFile(FileOf(tick), content, IfTaken::kReplace);
    ticks_.insert(tick);
  } catch (const WorkError& error) {
    isWritable_ = false;
    tell_(fmt::format("no more snapshots are written: {}", error.what()));
  }
}

std::span<const std::uint8_t> SnapshotFiles::Latest(std::int32_t atOrBefore, std::int32_t& tick) {
  for (auto after = ticks_.upper_bound(atOrBefore); after != ticks_.begin(); after = ticks_.upper_bound(atOrBefore)) {
    tick = *--after;
    if (tick == loadedTick_ || Load(tick)) return std::span(loaded_).subspan(sizeof(Header));
    ticks_.erase(after);  // to be written anew
  }
  return {};
}

bool SnapshotFiles::Load(std::int32_t tick) {
  const std::filesystem::path file = FileOf(tick);
  std::string content;
  try {
    content = ReadWholeFile(file, kMostBytes);
  } catch (const InputError& error) {
    tell_(fmt::format("a snapshot is passed over: {}", error.what()));
    return false;
  }
  Header header;
  const Header expected;
  bool isWhole = content.size() > sizeof header;
  if (isWhole) std::memcpy(&header, content.data(), sizeof header);
  loadedTick_ = -1;
  loaded_.assign(content.begin(), content.end());
  const auto state = std::span(loaded_).subspan(isWhole ? sizeof header : 0);
  isWhole = isWhole && std::memcmp(header.magic, expected.magic, sizeof header.magic) == 0 &&
            header.form == expected.form && header.tick == tick &&
            header.checksum == Checksum(state, Owner(folder_, name_, state.size()));
  if (!isWhole) {
    tell_(fmt::format("a snapshot is passed over: {}: damaged, or of another scene or machine", file.string()));
    return false;
  }
  loadedTick_ = tick;
  return true;
}

}  // namespace orvandel::stage
