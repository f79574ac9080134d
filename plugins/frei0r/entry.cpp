// The functions that a host finds. Nothing leaves them by an exception, and an instance is always made: hosts crash
// without one. Built once as a source and once as a filter.
#include <cstdint>
#include <cstring>
#include <exception>

#include "plugins/bridge/plain_arithmetic.h"
#include "plugins/frei0r/frei0r_interface.h"
#include "plugins/frei0r/instance.h"

namespace {

using orvandel::frei0r::Caller;
using orvandel::frei0r::CallerAt;
using orvandel::frei0r::Instance;
using orvandel::frei0r::Param;

constexpr bool kIsFilter = ORVANDEL_FREI0R_FILTER;

const std::vector<Param>* Table() {
  try {
    return &orvandel::frei0r::Params(kIsFilter);
  } catch (const std::exception&) {  // told by the first instance
    return nullptr;
  }
}

int TypeOf(const Param& param) {
  switch (param.kind) {
    case Param::Kind::kSwitch:
      return F0R_PARAM_BOOL;
    case Param::Kind::kColor:
      return F0R_PARAM_COLOR;
    case Param::Kind::kWords:
    case Param::Kind::kMask:
    case Param::Kind::kText:
      return F0R_PARAM_STRING;
    default:
      return F0R_PARAM_DOUBLE;
  }
}

void Update(f0r_instance_t instance, Caller caller, double time, const std::uint32_t* in, std::uint32_t* out) {
  if (instance == nullptr || out == nullptr) return;
  // The runtime allocates a record at a thread's first exception, and ends the process when it cannot: it does so now,
  // while there may still be memory. The function is pure, so that its result has to be used.
  [[maybe_unused]] const volatile int pending = std::uncaught_exceptions();
  const orvandel::bridge::PlainArithmetic plain;
  static_cast<Instance*>(instance)->Update(time, caller, in, out);
}

}  // namespace

int f0r_init() { return 1; }

void f0r_deinit() {}

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
  info->name = kIsFilter ? "orvandel-over" : "orvandel";
  info->author = "Orvandel";
  info->plugin_type = kIsFilter ? F0R_PLUGIN_TYPE_FILTER : F0R_PLUGIN_TYPE_SOURCE;
  info->color_model = F0R_COLOR_MODEL_RGBA8888;
  info->frei0r_version = FREI0R_MAJOR_VERSION;
  info->major_version = 1;
  info->minor_version = 0;
  const auto* table = Table();
  info->num_params = table == nullptr ? 0 : static_cast<int>(table->size());
  info->explanation = kIsFilter ? "Expanding shapes over the picture, or traced from it" : "Expanding shapes";
}

void f0r_get_param_info(f0r_param_info_t* info, int index) {
  const auto* table = Table();
  if (table == nullptr || index < 0 || static_cast<std::size_t>(index) >= table->size()) return;
  const Param& param = (*table)[static_cast<std::size_t>(index)];
  info->name = param.name.c_str();
  info->type = TypeOf(param);
  info->explanation = param.explanation.c_str();
}

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
  try {
    return new Instance(kIsFilter, width, height);
  } catch (const std::exception&) {  // no memory at all
    return nullptr;
  }
}

void f0r_destruct(f0r_instance_t instance) { delete static_cast<Instance*>(instance); }

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
  const auto caller = CallerAt(__builtin_return_address(0));
  try {
    if (instance != nullptr) static_cast<Instance*>(instance)->Set(index, value, caller);
  } catch (const std::exception&) {  // no memory for a text: the old one stays
  }
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
  const auto caller = CallerAt(__builtin_return_address(0));
  if (instance != nullptr) static_cast<Instance*>(instance)->Get(index, value, caller);
}

void f0r_update(f0r_instance_t instance, double time, const std::uint32_t* in, std::uint32_t* out) {
  Update(instance, CallerAt(__builtin_return_address(0)), time, in, out);
}

void f0r_update2(f0r_instance_t instance, double time, const std::uint32_t* in, const std::uint32_t*,
                 const std::uint32_t*, std::uint32_t* out) {
  Update(instance, CallerAt(__builtin_return_address(0)), time, in, out);
}
