// The host's named services: acquired at first use, kept for the rest of the call, released at its end.
#pragma once

#include <cstdint>

#include "orvandel/services.h"
#include "orvandel/wave_report.h"

namespace orvandel {

class HostServices {
 public:
  HostServices() = default;
  HostServices(const HostServices&) = delete;
  HostServices& operator=(const HostServices&) = delete;
  ~HostServices();

  // A null table throws AbortException(512).
  void Initialise(const OrvServiceTable* table);

  // Each throws AbortException(512) when the host refuses the service or hands back a null table.
  const OrvParamUtilsService& ParamUtils();
  const OrvPathQueryService& PathQuery();
  const OrvPathDataService& PathData();

  // Null when the host does not offer them; each is requested once per call.
  const OrvChangeStampService* ChangeStamp() { return TryOnce(changeStamp_); }
  const OrvProgressIntervalService* ProgressInterval() { return TryOnce(progressInterval_); }
  const OrvResumePointsService* ResumePoints() { return TryOnce(resumePoints_); }
  const OrvWaveReportService* WaveReport() { return TryOnce(waveReport_); }

 private:
  const void* TryAcquire(const char* name, std::int32_t version) const;
  template <typename Service>
  const Service& Acquire(const Service*& held, const char* name, std::int32_t version);

  // A service that the effect can do without.
  template <typename Service>
  struct Optional {
    const char* name;
    std::int32_t version;
    const Service* held = nullptr;
    bool requested = false;
  };
  template <typename Service>
  const Service* TryOnce(Optional<Service>& service) {
    if (!service.requested) service.held = static_cast<const Service*>(TryAcquire(service.name, service.version));
    service.requested = true;
    return service.held;
  }
  template <typename Service>
  void Release(const Optional<Service>& service) noexcept {
    if (service.held != nullptr) table_->release(service.name, service.version);
  }

  const OrvServiceTable* table_ = nullptr;
  const OrvParamUtilsService* paramUtils_ = nullptr;
  const OrvPathQueryService* pathQuery_ = nullptr;
  const OrvPathDataService* pathData_ = nullptr;
  Optional<OrvChangeStampService> changeStamp_{ORV_CHANGE_STAMP_SERVICE, ORV_CHANGE_STAMP_VERSION};
  Optional<OrvProgressIntervalService> progressInterval_{ORV_PROGRESS_INTERVAL_SERVICE, ORV_PROGRESS_INTERVAL_VERSION};
  Optional<OrvResumePointsService> resumePoints_{ORV_RESUME_POINTS_SERVICE, ORV_RESUME_POINTS_VERSION};
  Optional<OrvWaveReportService> waveReport_{ORV_WAVE_REPORT_SERVICE, ORV_WAVE_REPORT_VERSION};
};

}  // namespace orvandel
