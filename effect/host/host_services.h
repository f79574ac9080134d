// The host's named services: acquired at first use, kept for the rest of the call, released at its end.
#pragma once

#include <cstdint>

#include "orvandel/services.h"

namespace orvandel {

class HostServices {
 public:
  HostServices() = default;
  HostServices(const HostServices&) = delete;
  HostServices& operator=(const HostServices&) = delete;
  ~HostServices() { ReleaseAll(); }

  // A null table throws AbortException(512).
  void Initialise(const OrvServiceTable* table);

  // Each throws AbortException(512) when the host refuses the service or hands back a null table.
  const OrvParamUtilsService& ParamUtils();
  const OrvPathQueryService& PathQuery();
  const OrvPathDataService& PathData();

  // Null when the host does not offer it; asked for once a call.
  const OrvChangeStampService* ChangeStamp() noexcept;

  void ReleaseAll() noexcept;

 private:
  const void* TryAcquire(const char* name, std::int32_t version) const noexcept;
  template <typename Service>
  const Service& Acquire(const Service*& held, const char* name, std::int32_t version);

  const OrvServiceTable* table_ = nullptr;
  const OrvParamUtilsService* paramUtils_ = nullptr;
  const OrvPathQueryService* pathQuery_ = nullptr;
  const OrvPathDataService* pathData_ = nullptr;
  const OrvChangeStampService* changeStamp_ = nullptr;
  bool changeStampAsked_ = false;
};

}  // namespace orvandel
