#include "plugins/openfx/suites.h"

#include <mutex>

namespace orvandel::ofx {
namespace {

std::mutex guard;
OfxHost current{};

}  // namespace

void RememberHost(const OfxHost* host) {
  const std::lock_guard lock(guard);
  current = host == nullptr ? OfxHost{} : *host;
}

OfxHost CurrentHost() {
  const std::lock_guard lock(guard);
  return current;
}

Suites FetchSuites(const OfxHost& host) {
  Suites suites;
  if (host.fetchSuite == nullptr) return suites;
  const auto fetch = [&](Name name, int version) { return host.fetchSuite(host.host, name, version); };
  suites.properties = static_cast<const OfxPropertySuite*>(fetch(kPropertySuite, 1));
  suites.effects = static_cast<const OfxImageEffectSuite*>(fetch(kImageEffectSuite, 1));
  suites.params = static_cast<const OfxParameterSuite*>(fetch(kParameterSuite, 1));
  suites.messages = static_cast<const OfxMessageSuite*>(fetch(kMessageSuite, 2));
  suites.messagesStand = suites.messages != nullptr && suites.messages->setPersistentMessage != nullptr;
  // Some have the newer version by its name alone.
  if (!suites.messagesStand && (suites.messages == nullptr || suites.messages->message == nullptr)) {
    suites.messages = static_cast<const OfxMessageSuite*>(fetch(kMessageSuite, 1));
  }
  return suites;
}

}  // namespace orvandel::ofx
