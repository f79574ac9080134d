#include "cli/studio/changes.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

constexpr auto kPause = std::chrono::milliseconds(200);
constexpr auto kCoarsestTime = std::chrono::seconds(3);
constexpr auto kLongestWait = std::chrono::seconds(1);
constexpr int kPausesBetweenListings = 5;
constexpr std::size_t kMostRemembered = 4096;

}  // namespace

Changes::Changes(const SceneFile& scene, const SceneFolder& folder)
    : scene_(scene), folder_(folder), tag_(scene.Read().tag), listing_(folder.List()), thread_([this] { Watch(); }) {}

Changes::~Changes() {
  Stop();
  thread_.join();
}

void Changes::Stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
}

Changes::News Changes::Since(std::uint64_t since) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, kLongestWait, [&] { return stopping_ || number_ > since; });
  News news{number_, tag_, {}};
  for (const auto& [number, name] : media_) {
    if (number > since) news.media.push_back(name);
  }
  std::sort(news.media.begin(), news.media.end());
  news.media.erase(std::unique(news.media.begin(), news.media.end()), news.media.end());
  return news;
}

void Changes::Watch() {
  for (int round = 1;; ++round) {
    {
      std::unique_lock lock(mutex_);
      if (changed_.wait_for(lock, kPause, [&] { return stopping_; })) return;
    }
    try {
      LookAtScene();
      if (round % kPausesBetweenListings == 0) LookAtMedia();
    } catch (const std::bad_alloc&) {  // nothing was taken note of: the next round looks again
    }
  }
}

void Changes::LookAtScene() {
  std::error_code gone;
  const SceneFolder::Listed now{std::filesystem::file_size(scene_.File(), gone),
                                std::filesystem::last_write_time(scene_.File(), gone)};
  const bool old = !gone && std::filesystem::file_time_type::clock::now() - now.written > kCoarsestTime;
  if (old && now == seen_) return;
  std::string tag;
  try {
    tag = scene_.Read().tag;
  } catch (const stage::InputError&) {
    return;  // unreadable for the moment, as while another program writes it
  }
  seen_ = now;
  const std::lock_guard lock(mutex_);
  if (tag == tag_) return;
  tag_ = std::move(tag);
  ++number_;
  changed_.notify_all();
}

void Changes::LookAtMedia() {
  SceneFolder::Listing now = folder_.List();
  std::vector<std::string> names;
  for (const auto& [name, file] : now.files) {
    const auto before = listing_.files.find(name);
    if (before == listing_.files.end() || before->second != file) names.push_back(name);
  }
  for (const auto& [name, file] : listing_.files) {
    if (now.files.find(name) == now.files.end()) names.push_back(name);
  }
  const std::lock_guard lock(mutex_);
  media_.reserve(media_.size() + names.size());
  listing_ = std::move(now);  // from here on nothing can fail
  if (names.empty()) return;
  ++number_;
  for (std::string& name : names) media_.emplace_back(number_, std::move(name));
  if (media_.size() > kMostRemembered) media_.erase(media_.begin(), media_.end() - kMostRemembered);
  changed_.notify_all();
}

}  // namespace orvandel::cli
