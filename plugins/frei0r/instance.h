// One instance as a host has made it: a size of picture and its parameters' values.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "plugins/bridge/look.h"
#include "plugins/bridge/player.h"
#include "plugins/frei0r/frei0r_interface.h"
#include "plugins/frei0r/host_time.h"
#include "plugins/frei0r/param_table.h"

namespace orvandel::frei0r {

class Instance {
 public:
  // Cheap: hosts make instances only to look at them.
  Instance(bool isFilter, unsigned width, unsigned height);

  // What a host sets holds over a scene, a default too, unless it is what stands for no value: no number, an empty
  // text, or a value a hair beside the default (see param_table.h).
  void Set(int index, f0r_param_t value, Caller caller);
  void Get(int index, f0r_param_t value, Caller caller);
  // Anything that goes wrong is reported on standard error, once, and the picture is transparent; a filter's is its
  // input.
  void Update(double time, Caller caller, const std::uint32_t* in, std::uint32_t* out);

 private:
  // A parameter's value in the host's own terms.
  struct Held {
    double number = 0;
    f0r_param_color_t color{};
    std::string text;
    bool isSet = false;
  };
  static bool Means(const Param& param, const Held& held, Caller caller);
  struct Values;
  void Render(double time, Caller caller, const std::uint32_t* in, std::uint32_t* out);
  void OpenLook();
  double CountedSeconds(const stage::Rational& rate);
  void Complain(const char* what) noexcept;

  const bool isFilter_;
  const std::int32_t width_, height_;
  const std::vector<Param>* params_ = nullptr;  // null: the effect could not be loaded
  bridge::Player player_;
  std::mutex guard_;  // over what follows
  std::vector<Held> held_;
  std::optional<std::string> scene_ = "";     // that look_ was opened for
  std::shared_ptr<const bridge::Look> look_;  // null: it cannot be opened
  std::string complained_;
  std::int64_t untimed_ = 0;  // frames that came without a time
};

}  // namespace orvandel::frei0r
