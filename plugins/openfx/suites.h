// What a host offers the plug-in: its suites, and property sets that may refuse anything.
#pragma once

#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "plugins/openfx/abi/core.h"
#include "plugins/openfx/abi/image_effect.h"
#include "plugins/openfx/abi/names.h"
#include "plugins/openfx/abi/parameter.h"

namespace orvandel::ofx {

struct Suites {
  const OfxPropertySuite* properties = nullptr;
  const OfxImageEffectSuite* effects = nullptr;
  const OfxParameterSuite* params = nullptr;
  const OfxMessageSuite* messages = nullptr;  // its functions may still be null
  bool messagesStand = false;                 // version 2, and it can

  bool Suffice() const { return properties != nullptr && effects != nullptr && params != nullptr; }
};

// A host may be set, and the plug-in loaded, any number of times and from several threads; the last host applies to
// what begins afterwards. An instance keeps the suites that it was made with.
void RememberHost(const OfxHost* host);
OfxHost CurrentHost();
Suites FetchSuites(const OfxHost& host);

// A property set. Hosts know different properties, and answer sets and gets of unknown ones differently, some with
// success: a set is not checked unless the property is required, and what is read is checked to exist.
class Properties {
 public:
  Properties() = default;
  Properties(const Suites& suites, OfxPropertyHandle handle) : suite_(suites.properties), handle_(handle) {}

  OfxPropertyHandle Handle() const { return handle_; }
  explicit operator bool() const { return suite_ != nullptr && handle_ != nullptr; }

  bool Set(Name name, const char* value, int index = 0) const {
    return *this && suite_->setString(handle_, name, index, value) == kOk;
  }
  bool Set(Name name, int value, int index = 0) const {
    return *this && suite_->setInt(handle_, name, index, value) == kOk;
  }
  bool Set(Name name, double value, int index = 0) const {
    return *this && suite_->setDouble(handle_, name, index, value) == kOk;
  }
  bool SetPair(Name name, double x, double y) const {
    const bool first = Set(name, x, 0), second = Set(name, y, 1);
    return first && second;
  }
  bool SetRect(Name name, const OfxRectD& rect) const {
    const double corners[4] = {rect.x1, rect.y1, rect.x2, rect.y2};
    bool all = true;
    for (int i = 0; i < 4; ++i) all = Set(name, corners[i], i) && all;
    return all;
  }

  // Finite, or nothing: a host that answers yes and leaves the variable alone gives nothing as well.
  std::optional<double> Double(Name name, int index = 0) const {
    double value = std::numeric_limits<double>::quiet_NaN();
    if (!*this || suite_->getDouble(handle_, name, index, &value) != kOk || !std::isfinite(value)) return {};
    return value;
  }
  std::optional<OfxPointD> Pair(Name name) const {
    const auto x = Double(name, 0), y = Double(name, 1);
    if (!x || !y) return {};
    return OfxPointD{*x, *y};
  }
  std::optional<OfxRectD> Rect(Name name) const {
    const auto low = Pair(name);
    const auto x2 = Double(name, 2), y2 = Double(name, 3);
    if (!low || !x2 || !y2) return {};
    return OfxRectD{low->x, low->y, *x2, *y2};
  }
  std::optional<int> Int(Name name, int index = 0) const {
    constexpr int kUntouched = std::numeric_limits<int>::min();
    int value = kUntouched;
    if (!*this || suite_->getInt(handle_, name, index, &value) != kOk || value == kUntouched) return {};
    return value;
  }
  std::optional<OfxRectI> IntRect(Name name) const {
    const auto x1 = Int(name, 0), y1 = Int(name, 1), x2 = Int(name, 2), y2 = Int(name, 3);
    if (!x1 || !y1 || !x2 || !y2) return {};
    return OfxRectI{*x1, *y1, *x2, *y2};
  }
  // Copied at once: the host's text lives until the next call. Empty: none.
  std::string Text(Name name, int index = 0) const {
    char* value = nullptr;
    if (!*this || suite_->getString(handle_, name, index, &value) != kOk || value == nullptr) return {};
    return value;
  }
  void* Pointer(Name name) const {
    void* value = nullptr;
    if (!*this || suite_->getPointer(handle_, name, 0, &value) != kOk) return nullptr;
    return value;
  }

 private:
  const OfxPropertySuite* suite_ = nullptr;
  OfxPropertyHandle handle_ = nullptr;
};

}  // namespace orvandel::ofx
