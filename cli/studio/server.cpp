#include "cli/studio/server.h"

#include <fmt/format.h>
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "cli/studio/changes.h"
#include "cli/studio/gate.h"
#include "cli/studio/page_files.h"
#include "cli/studio/scene_file.h"
#include "cli/studio/scene_folder.h"
#include "stage/base/errors.h"
#include "stage/scene/json_tree.h"

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

constexpr int kThreads = 32;  // a browser holds several connections open, and one for each page's events
constexpr std::size_t kMostMediumBytes = std::size_t{1} << 30;
constexpr auto kLookAgain = std::chrono::milliseconds(50);
constexpr auto kSignOfLife = std::chrono::seconds(5);
constexpr const char* kJson = "application/json; charset=utf-8";

// The page loads nothing from elsewhere, and a medium that is opened on its own runs nothing.
constexpr const char* kPagePolicy =
    "default-src 'self'; script-src 'self' 'wasm-unsafe-eval'; style-src 'self' 'unsafe-inline'; "
    "img-src 'self' blob: data:; media-src 'self' blob: data:; worker-src 'self' blob:; connect-src 'self' blob: "
    "data:; "
    "object-src 'none'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
constexpr const char* kMediumPolicy = "default-src 'none'; style-src 'unsafe-inline'; sandbox";

enum Status {
  kOk = 200,
  kCreated = 201,
  kNoContent = 204,
  kForbidden = 403,
  kNotFound = 404,
  kNotAllowed = 405,
  kChangedMeanwhile = 412,
  kTooLarge = 413,
  kWrongKind = 415,
  kNoSuchRange = 416,
  kNeedsCondition = 428,
  kFailed = 500
};

std::string TextOf(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

void Refuse(httplib::Response& response, Status status, const std::string& why) {
  response.status = status;
  response.set_content(TextOf({{"error", why}}), kJson);
}

std::vector<std::string> AllOf(const httplib::Request& request, const char* header) {
  std::vector<std::string> values;
  for (std::size_t i = 0; i < request.get_header_value_count(header); ++i) {
    values.push_back(request.get_header_value(header, i));
  }
  return values;
}

// The library answers with whatever range it is asked for, whether there are such bytes or not: it gets one that fits,
// or none for several, which is answered with the whole. False: there are no such bytes.
bool FitRange(const httplib::Request& request, std::size_t size) {
  auto& ranges = const_cast<httplib::Request&>(request).ranges;  // NOLINT: the library's own, which it made for us
  if (ranges.size() != 1) {
    ranges.clear();
    return true;
  }
  auto& [first, last] = ranges.front();
  const auto end = static_cast<ssize_t>(size);
  if (first < 0) {  // a suffix: the last -first bytes
    first = std::max<ssize_t>(0, end - last);
    last = end - 1;
  }
  if (last < 0 || last >= end) last = end - 1;
  return first <= last;
}

void SendFile(const httplib::Request& request, httplib::Response& response, const std::filesystem::path& file) {
  auto in = std::make_shared<std::ifstream>(file, std::ios::binary | std::ios::ate);
  if (!*in) return Refuse(response, kNotFound, "the file cannot be read");
  const auto size = static_cast<std::size_t>(in->tellg());
  response.set_header("Accept-Ranges", "bytes");
  response.set_header("Content-Security-Policy", kMediumPolicy);
  if (!request.ranges.empty() && !FitRange(request, size)) {
    response.set_header("Content-Range", fmt::format("bytes */{}", size));
    const_cast<httplib::Request&>(request).ranges.clear();  // NOLINT: or the refusal's own text would be cut
    return Refuse(response, kNoSuchRange, "the file has no such bytes");
  }
  const std::string type(ContentTypeOf(file.filename().string()));
  if (size == 0) return response.set_content("", type);
  response.set_content_provider(size, type, [in](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
    char block[65536];
    in->clear();
    in->seekg(static_cast<std::streamoff>(offset));
    in->read(block, static_cast<std::streamsize>(std::min(length, sizeof block)));
    return in->gcount() > 0 && sink.write(block, static_cast<std::size_t>(in->gcount()));
  });
}

}  // namespace

struct StudioServer::Impl {
  httplib::Server http;
  std::string sceneName;
  std::optional<Gate> gate;
  std::optional<SceneFile> scene;  // these three together, or none
  std::optional<SceneFolder> folder;
  std::optional<Changes> changes;
  std::mutex receiving;
  std::atomic<bool> stopping{false};

  Impl(const std::filesystem::path& file, int port);

  // The path below the random word; none: the request was refused.
  std::optional<std::string> Admit(const httplib::Request& request, httplib::Response& response) const;
  void Get(const httplib::Request& request, httplib::Response& response);
  void Put(const httplib::Request& request, httplib::Response& response, const httplib::ContentReader& body);

  void SendPage(const std::string& path, httplib::Response& response) const;
  void SendScene(httplib::Response& response) const;
  void SendListing(httplib::Response& response) const;
  void SendEvents(httplib::Response& response);
  void TakeScene(const httplib::Request& request, httplib::Response& response, const httplib::ContentReader& body);
  void TakeMedium(const std::string& name, httplib::Response& response, const httplib::ContentReader& body);
};

StudioServer::Impl::Impl(const std::filesystem::path& file, int port) {
  http.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  http.set_keep_alive_max_count(10000);
  http.set_payload_max_length(kMostMediumBytes);
  // Not SO_REUSEPORT, the library's own choice: another program could then take the same port beside this one.
  http.set_socket_options([](socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  if (port == 0) {
    port = http.bind_to_any_port("127.0.0.1");
    if (port < 0) throw stage::WorkError("no port of this machine can be had");
  } else if (!http.bind_to_port("127.0.0.1", port)) {
    throw stage::WorkError(
        fmt::format("port {} cannot be had: another program has it, or it needs other rights", port));
  }
  gate.emplace(RandomWord(), port);
  if (!file.empty()) {
    scene.emplace(file);
    folder.emplace(file.parent_path());
    changes.emplace(*scene, *folder);
    sceneName = file.filename().string();
  }
  const auto get = [this](const httplib::Request& request, httplib::Response& response) { Get(request, response); };
  http.Get(".*", get);
  http.Put(".*", [this](const httplib::Request& request, httplib::Response& response,
                        const httplib::ContentReader& body) { Put(request, response, body); });
  http.set_exception_handler([](const httplib::Request&, httplib::Response& response, std::exception_ptr failure) {
    try {
      std::rethrow_exception(std::move(failure));
    } catch (const std::exception& error) {
      Refuse(response, kFailed, error.what());
    }
  });
  http.set_error_handler([](const httplib::Request&, httplib::Response& response) {
    if (response.body.empty()) Refuse(response, static_cast<Status>(response.status), "this cannot be answered");
  });
  http.set_default_headers({{"X-Content-Type-Options", "nosniff"},
                            {"Referrer-Policy", "no-referrer"},
                            {"Cache-Control", "no-store"},
                            {"Cross-Origin-Resource-Policy", "same-origin"}});
}

std::optional<std::string> StudioServer::Impl::Admit(const httplib::Request& request,
                                                     httplib::Response& response) const {
  auto inside = gate->Inside(
      {request.path, AllOf(request, "Host"), AllOf(request, "Origin"), request.get_header_value("Sec-Fetch-Site")});
  if (!inside) Refuse(response, kForbidden, "only the page at the address that the program printed may ask");
  return inside;
}

void StudioServer::Impl::Get(const httplib::Request& request, httplib::Response& response) {
  const auto path = Admit(request, response);
  if (!path) return;
  constexpr std::string_view kFiles = "api/files/";
  if (!path->starts_with("api/")) return SendPage(*path, response);
  if (!scene) return Refuse(response, kNotFound, "no scene file is open");
  if (*path == "api/scene") return SendScene(response);
  if (*path == "api/files") return SendListing(response);
  if (*path == "api/events") return SendEvents(response);
  const auto file = path->starts_with(kFiles) ? folder->Find(path->substr(kFiles.size())) : std::nullopt;
  if (!file) return Refuse(response, kNotFound, "the scene's folder has no such medium");
  SendFile(request, response, *file);
}

void StudioServer::Impl::Put(const httplib::Request& request, httplib::Response& response,
                             const httplib::ContentReader& body) {
  const auto path = Admit(request, response);
  if (!path) return;
  constexpr std::string_view kFiles = "api/files/";
  if (!scene) return Refuse(response, kNotFound, "no scene file is open");
  if (*path == "api/scene") return TakeScene(request, response, body);
  if (path->starts_with(kFiles)) return TakeMedium(path->substr(kFiles.size()), response, body);
  Refuse(response, kNotAllowed, "nothing can be written there");
}

void StudioServer::Impl::SendPage(const std::string& path, httplib::Response& response) const {
  const auto bytes = PageFile(path);
  if (!bytes) return Refuse(response, kNotFound, "the page has no such file");
  response.set_header("Content-Security-Policy", kPagePolicy);
  const bool isIndex = path.empty() || path == "index.html";
  const std::string_view type = ContentTypeOf(isIndex ? "index.html" : path);
  response.set_content(isIndex ? ServedIndex(*bytes, sceneName) : std::string(*bytes),
                       type.empty() ? "application/octet-stream" : std::string(type));
}

void StudioServer::Impl::SendScene(httplib::Response& response) const {
  const TaggedText now = scene->Read();
  if (now.tag == kGoneTag) return Refuse(response, kNotFound, sceneName + " does not exist any more");
  response.set_header("ETag", now.tag);
  response.set_content(now.text, kJson);
}

void StudioServer::Impl::SendListing(httplib::Response& response) const {
  const SceneFolder::Listing listing = folder->List();
  ordered_json files = ordered_json::array();
  for (const auto& [name, file] : listing.files) files.push_back({{"name", name}, {"size", file.size}});
  response.set_content(TextOf({{"files", std::move(files)}, {"more", listing.more}}), kJson);
}

// Tells the scene's tag at once, then what changes, and in between that the program is still there.
void StudioServer::Impl::SendEvents(httplib::Response& response) {
  struct Told {
    std::uint64_t number = 0;
    std::string tag;
    std::chrono::steady_clock::time_point when;
  };
  auto told = std::make_shared<Told>();
  response.set_chunked_content_provider("text/event-stream", [this, told](std::size_t, httplib::DataSink& sink) {
    if (stopping) return false;
    const bool first = told->number == 0;
    Changes::News news = changes->Since(told->number);
    std::string text;
    if (news.tag != told->tag) text += fmt::format("event: scene\ndata: {}\n\n", TextOf({{"etag", news.tag}}));
    if (!first && !news.media.empty()) {
      text += fmt::format("event: files\ndata: {}\n\n", TextOf({{"names", news.media}}));
    }
    const auto now = std::chrono::steady_clock::now();
    if (text.empty() && now - told->when > kSignOfLife) text = ": here\n\n";
    *told = {news.number, std::move(news.tag), text.empty() ? told->when : now};
    return text.empty() ? sink.is_writable() : sink.write(text.data(), text.size());
  });
}

void StudioServer::Impl::TakeScene(const httplib::Request& request, httplib::Response& response,
                                   const httplib::ContentReader& body) {
  const std::string tag = request.get_header_value("If-Match");
  if (tag.empty()) return Refuse(response, kNeedsCondition, "If-Match has to say which text this one replaces");
  std::string text;
  const bool whole = body([&](const char* bytes, std::size_t size) {
    text.append(bytes, size);
    return text.size() <= stage::kMaxSceneBytes;
  });
  if (text.size() > stage::kMaxSceneBytes) {
    return Refuse(response, kTooLarge, fmt::format("a scene has at most {} bytes", stage::kMaxSceneBytes));
  }
  if (!whole) return Refuse(response, kFailed, "the text did not arrive whole; nothing was changed");
  if (scene->Replace(tag, text)) {
    response.status = kNoContent;
    response.set_header("ETag", TagOf(text));
    return;
  }
  const TaggedText now = scene->Read();
  response.status = kChangedMeanwhile;
  response.set_header("ETag", now.tag);
  response.set_content(now.text, kJson);
}

void StudioServer::Impl::TakeMedium(const std::string& name, httplib::Response& response,
                                    const httplib::ContentReader& body) {
  if (!IsMediaName(name)) return Refuse(response, kWrongKind, "only pictures, sounds and films are taken");
  const std::lock_guard lock(receiving);
  const auto place = folder->PlaceFor(name);
  if (!place) return Refuse(response, kForbidden, "media go into the scene's folder or below");
  NewMedium medium(*place);
  const bool whole = body([&](const char* bytes, std::size_t size) {
    medium.Append({bytes, size});
    return !stopping;
  });
  if (!whole) return Refuse(response, kFailed, "the file did not arrive whole and was not kept");
  switch (medium.Finish()) {
    case NewMedium::Outcome::kMade:
      response.status = kCreated;
      return;
    case NewMedium::Outcome::kSame:
      response.status = kNoContent;
      return;
    case NewMedium::Outcome::kTaken:
      Refuse(response, kChangedMeanwhile, "another file has that name");
  }
}

StudioServer::StudioServer(const std::filesystem::path& scene, int port) : impl_(std::make_unique<Impl>(scene, port)) {}
StudioServer::~StudioServer() = default;

std::string StudioServer::Address() const { return impl_->gate->Address(); }

void StudioServer::Run(const std::function<bool()>& shouldStop) {
  std::atomic<bool> ended{false};
  std::thread listening([&] {
    impl_->http.listen_after_bind();
    ended = true;
  });
  while (!shouldStop() && !ended) std::this_thread::sleep_for(kLookAgain);
  impl_->stopping = true;
  if (impl_->changes) impl_->changes->Stop();
  impl_->http.stop();
  listening.join();
}

}  // namespace orvandel::cli
