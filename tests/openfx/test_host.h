// An OpenFX host for one effect, which does what hosts do differently: every habit is a flag or a number in Habits.
//
// It keeps books: images not given back, images asked for outside a render, and bytes written beside a window are
// complaints, which tests expect to be none.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "plugins/openfx/abi/image_effect.h"
#include "plugins/openfx/abi/names.h"
#include "plugins/openfx/abi/parameter.h"

namespace orvandel::ofx::test {

struct Form {
  Name depth = depth::kByte, components = components::kRgba, alpha = alpha::kStraight;
  bool blueFirst = false;

  int Channels() const;
  int ChannelBytes() const;
};

struct Habits {
  // Property sets.
  std::set<std::string> refusedTexts;  // as values
  bool knowsOnlyTheNeeded = false;     // every set but a few is of an unknown name
  OfxStatus unknownAnswer = kUnknown;
  bool textsShareOneBuffer = false;
  // What it offers.
  std::set<std::string> missingSuites;  // all versions, or "name version"
  bool messagesAreNull = false;         // in version 2
  bool givesOtherTimes = true;
  bool refusesParamKinds = false;  // texts, points and choices cannot be defined
  // Parameters.
  bool valuesFail = false;  // every read
  bool timedReadsFail = false;
  bool ignoresTime = false;  // the value is that of the frame in render
  bool defaultPointsRaw = false;
  bool keysUnknown = false;  // the number of keys is not told
  // The project.
  double width = 160, height = 90, offsetX = 0, offsetY = 0;  // canonical
  bool tellsProject = true, projectIsZero = false, tellsExtentAlone = false, tellsRate = true, tellsAspect = true;
  double pixelAspect = 1, frameRate = 30;
  OfxPointD scale{1, 1};
  // Images.
  Form form, sourceForm;
  bool rowsDownward = false;  // in memory; row bytes are negative then
  int rowPadding = 0;
  int border = 0;             // pixels that the output has around its window
  bool oneFieldOnly = false;  // images of fields have these rows alone
};

struct Image;

}  // namespace orvandel::ofx::test

struct OfxPropertySet {
  using Value = std::variant<std::monostate, int, double, std::string, void*>;
  const orvandel::ofx::test::Habits* habits = nullptr;
  std::map<std::string, std::vector<Value>> values;
  orvandel::ofx::test::Image* image = nullptr;

  OfxPropertySet() = default;
  explicit OfxPropertySet(const orvandel::ofx::test::Habits& of) : habits(&of) {}
  template <typename... Values>
  void Put(const std::string& name, Values... put) {
    values[name] = {Value(put)...};
  }
  template <typename T>
  T Get(const std::string& name, std::size_t index = 0) const {
    return std::get<T>(values.at(name).at(index));
  }
};

namespace orvandel::ofx::test {

// Pixels with a guard around every row.
struct Image {
  OfxRectI bounds{};
  Form form;
  std::vector<std::uint8_t> memory;
  std::ptrdiff_t rowBytes = 0;
  std::size_t first = 0;  // of the pixel at bounds.x1, bounds.y1
  OfxPropertySet properties;

  Image(const Habits& habits, const Form& form, OfxRectI bounds);
  std::uint8_t* At(int x, int y);
  // A channel as 0..1, as stored.
  double Channel(int x, int y, int channel);
  void SetChannel(int x, int y, int channel, double value);
  // Bytes alpha, red, green, blue from the top, as the stage keeps pictures: of an 8-bit RGBA image.
  std::vector<std::uint8_t> Bytes();
  // Whether nothing was written but the pixels of `window` in rows that `writes` allows.
  bool OnlyWrote(const OfxRectI& window, const std::function<bool(int y)>& writes = {}) const;
};

}  // namespace orvandel::ofx::test

struct OfxParam {
  std::string type, name;
  OfxPropertySet properties;
  std::function<std::array<double, 3>(double time)> value;  // none: the default
  std::string text;
  bool animated = false;
};
struct OfxParamSet {
  const orvandel::ofx::test::Habits* habits = nullptr;
  OfxPropertySet properties;
  std::vector<std::unique_ptr<OfxParam>> params;
  OfxParam* Find(const std::string& name) const;
};
struct OfxImageClip {
  std::string name;
  OfxPropertySet properties;
  OfxImageEffect* effect = nullptr;
  std::function<std::unique_ptr<orvandel::ofx::test::Image>(double time)> pictures;  // null or none: not connected
  std::vector<double> asked;                                                         // times of pictures
};
struct OfxImageEffect {
  const orvandel::ofx::test::Habits* habits = nullptr;
  OfxPropertySet properties;
  OfxParamSet params;
  std::map<std::string, OfxImageClip> clips;
  std::atomic<int> abortChecks{0};
  std::atomic<int> stopAfter{-1};
  std::vector<std::string> messages;
  std::mutex books;
  std::set<OfxPropertySet*> lent;
};

namespace orvandel::ofx::test {

// The calls that this thread's host answers, counted from 0: one of them, or that one and all later ones, is refused,
// and its variables are left alone.
struct Refusal {
  int at = -1;
  bool persistent = false;
  OfxStatus answer = kFailed;
  int calls = 0;
};
Refusal& TheRefusal();

// The plug-in's file, loaded.
class Binary {
 public:
  explicit Binary(const std::filesystem::path& file);
  ~Binary();
  Binary(const Binary&) = delete;
  Binary& operator=(const Binary&) = delete;
  OfxPlugin* Plugin() const { return plugin_; }

 private:
  void* library_ = nullptr;
  OfxPlugin* plugin_ = nullptr;
};

struct NoInstance {
  OfxStatus answer = kOk;
};

class Host {
 public:
  // Sets itself as the host, loads, describes in the context.
  Host(const Binary& binary, Habits habits, Name context);

  const OfxImageEffect& Descriptor() const { return *descriptor_; }
  OfxStatus Described() const { return described_; }
  const Habits& Had() const { return *habits_; }

  std::unique_ptr<OfxImageEffect, std::function<void(OfxImageEffect*)>> Create() const;  // or NoInstance is thrown
  OfxStatus Do(Name action, const void* handle, OfxPropertySet* in = nullptr, OfxPropertySet* out = nullptr) const;
  OfxPropertySet Args(double time) const;

  OfxRectI WholeWindow() const;
  struct Rendered {
    OfxStatus status = kOk;
    std::unique_ptr<Image> image;
    bool keptToWindow = true;
  };
  Rendered Render(OfxImageEffect& effect, double time, OfxRectI window, Name field = field::kNone) const;
  Rendered Render(OfxImageEffect& effect, double time) const { return Render(effect, time, WholeWindow()); }

 private:
  OfxPlugin* plugin_;
  std::shared_ptr<Habits> habits_;
  OfxPropertySet hostSet_;
  std::shared_ptr<OfxHost> host_;
  Name context_;
  std::shared_ptr<OfxImageEffect> descriptor_;
  OfxStatus described_ = kOk;
};

}  // namespace orvandel::ofx::test
