#include "effect/host/host_services.h"

#include "effect/base/errors.h"
#include "orvandel/effect.h"

namespace orvandel {

void HostServices::Initialise(const OrvServiceTable* table) {
  if (table == nullptr) throw AbortException(ORV_INVALID_CALLBACK);
  table_ = table;
}

// Null when the host refuses it. A service acquired with a null table counts as acquired: it is released again.
const void* HostServices::TryAcquire(const char* name, std::int32_t version) const {
  const void* service = nullptr;
  const std::int32_t result = table_->acquire(name, version, &service);
  if (result == 0 && service == nullptr) table_->release(name, version);
  return result == 0 ? service : nullptr;
}

template <typename Service>
const Service& HostServices::Acquire(const Service*& held, const char* name, std::int32_t version) {
  if (held == nullptr) held = static_cast<const Service*>(TryAcquire(name, version));
  if (held == nullptr) throw AbortException(ORV_INVALID_CALLBACK);
  return *held;
}

const OrvParamUtilsService& HostServices::ParamUtils() {
  return Acquire(paramUtils_, ORV_PARAM_UTILS_SERVICE, ORV_PARAM_UTILS_VERSION);
}

const OrvPathQueryService& HostServices::PathQuery() {
  return Acquire(pathQuery_, ORV_PATH_QUERY_SERVICE, ORV_PATH_QUERY_VERSION);
}

const OrvPathDataService& HostServices::PathData() {
  return Acquire(pathData_, ORV_PATH_DATA_SERVICE, ORV_PATH_DATA_VERSION);
}

HostServices::~HostServices() {
  if (paramUtils_ != nullptr) table_->release(ORV_PARAM_UTILS_SERVICE, ORV_PARAM_UTILS_VERSION);
  if (pathQuery_ != nullptr) table_->release(ORV_PATH_QUERY_SERVICE, ORV_PATH_QUERY_VERSION);
  if (pathData_ != nullptr) table_->release(ORV_PATH_DATA_SERVICE, ORV_PATH_DATA_VERSION);
  Release(changeStamp_);
  Release(progressInterval_);
  Release(resumePoints_);
  Release(waveReport_);
}

}  // namespace orvandel
