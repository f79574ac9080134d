#include "cli/studio/gate.h"

#include <fmt/format.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

// Takes as long wherever the first difference lies.
bool EqualInSecret(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
  return difference == 0;
}

}  // namespace

std::string RandomWord() {
  std::array<unsigned char, 16> bytes{};
  ssize_t got = 0;
  do {
    got = getrandom(bytes.data(), bytes.size(), 0);
  } while (got < 0 && errno == EINTR);
  if (got != static_cast<ssize_t>(bytes.size())) {
    throw stage::WorkError(fmt::format("no random numbers can be had: {}", std::strerror(errno)));
  }
  return fmt::format("{:02x}", fmt::join(bytes, ""));
}

Gate::Gate(std::string word, int port)
    : word_(std::move(word)), hosts_{fmt::format("127.0.0.1:{}", port), fmt::format("localhost:{}", port)} {
  // A browser leaves the protocol's own port out.
  constexpr int kUsualPort = 80;
  if (port == kUsualPort) hosts_.insert(hosts_.end(), {"127.0.0.1", "localhost"});
}

std::string Gate::Address() const { return fmt::format("http://{}/{}/", hosts_.front(), word_); }

std::optional<std::string> Gate::Inside(const AskedBy& request) const {
  const auto isOurs = [&](std::string_view host) {
    return std::find(hosts_.begin(), hosts_.end(), host) != hosts_.end();
  };
  if (request.hosts.size() != 1 || !isOurs(request.hosts.front())) return std::nullopt;
  constexpr std::string_view kProtocol = "http://";
  for (const std::string_view origin : request.origins) {
    if (!origin.starts_with(kProtocol) || !isOurs(origin.substr(kProtocol.size()))) return std::nullopt;
  }
  const std::string_view path = request.path;
  if (path.size() < word_.size() + 2 || path.front() != '/' || path[word_.size() + 1] != '/') return std::nullopt;
  if (!EqualInSecret(path.substr(1, word_.size()), word_)) return std::nullopt;
  std::string inside(path.substr(word_.size() + 2));
  // A link to the page may be followed from anywhere; all else only the page asks for.
  const bool isPage = inside.empty() || inside == "index.html";
  const bool ownSite = request.fetchSite.empty() || request.fetchSite == "same-origin" || request.fetchSite == "none";
  if (!isPage && !ownSite) return std::nullopt;
  return inside;
}

}  // namespace orvandel::cli
