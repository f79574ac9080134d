// Every function here is called by the effect, through C: it must not throw. Guarded() keeps an exception for the
// command's end and answers kHostFailed instead.
#include "stage/module/host_services.h"

#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "orvandel/wave_report.h"
#include "stage/base/display_text.h"
#include "stage/base/errors.h"
#include "stage/module/object_ref.h"

namespace orvandel::stage {
namespace {

thread_local HostAnswers* inForce = nullptr;

template <typename Work>
std::int32_t Guarded(HostAnswers& answers, const Work& work) noexcept {
  try {
    return work();
  } catch (...) {
    if (!answers.failure) answers.failure = std::current_exception();
    return kHostFailed;
  }
}

// For callbacks that name the effect reference: refuses any but the one of the running command.
template <typename Work>
std::int32_t For(OrvEffectRef effectRef, const Work& work) noexcept {
  if (inForce == nullptr) return kHostFailed;
  if (effectRef != inForce) {
    inForce->ledger.Fault("a callback came with a foreign effect reference");
    return kHostFailed;
  }
  return Guarded(*inForce, [&] { return work(*inForce); });
}

void ExpectTimeUnits(HostAnswers& answers, std::int32_t timeStep, std::int32_t timeScale) {
  if (timeStep != answers.timeStep || timeScale != answers.timeScale) {
    answers.ledger.Fault("a question about a time came with another step or scale than the in-record's");
  }
}

// --- Callbacks

std::int32_t CheckOutParam(OrvEffectRef effectRef, std::int32_t hostIndex, std::int32_t time, std::int32_t timeStep,
                           std::int32_t timeScale, OrvParamDef* definition) {
  return For(effectRef, [&](HostAnswers& answers) {
    ExpectTimeUnits(answers, timeStep, timeScale);
    const std::int32_t code = answers.CheckOut(hostIndex, time, *definition);
    if (code == 0) answers.ledger.Lend(Ledger::Loan::kParameter, static_cast<std::uint32_t>(hostIndex));
    return code;
  });
}

std::int32_t CheckInParam(OrvEffectRef effectRef, OrvParamDef* definition) {
  return For(effectRef, [&](HostAnswers& answers) {
    const std::int32_t hostIndex = answers.HostIndexOf(*definition);
    answers.ledger.TakeBack(Ledger::Loan::kParameter, static_cast<std::uint32_t>(hostIndex));
    return 0;
  });
}

std::int32_t AddParam(OrvEffectRef effectRef, std::int32_t position, OrvParamDef* definition) {
  return For(effectRef, [&](HostAnswers& answers) {
    if (position != -1) answers.ledger.Fault("a parameter was added at a place other than the end");
    return answers.AddParam(*definition);
  });
}

std::int32_t AskToStop(OrvEffectRef effectRef) {
  return For(effectRef, [](HostAnswers& answers) {
    if (answers.stopped) answers.ledger.Fault("the effect went on asking after it had been told to stop");
    answers.stopped = answers.ShouldStop();
    return answers.stopped ? kHostStops : 0;
  });
}

std::int32_t AbortCheck(OrvEffectRef effectRef) { return AskToStop(effectRef); }

std::int32_t Progress(OrvEffectRef effectRef, std::int32_t, std::int32_t) { return AskToStop(effectRef); }

// --- String table: a copy of the display texts, by id.

using DisplayTexts = std::vector<std::string>;

std::int32_t OpenStrings(OrvStringsRef* strings, std::int32_t resourceId) {
  if (inForce == nullptr || resourceId != ORV_STRING_TABLE_ID) return kHostFailed;
  return Guarded(*inForce, [&] {
    const auto* table = ObjectOf<const OrvStringTable>(*strings);
    auto texts = std::make_unique<DisplayTexts>();
    for (std::uint64_t i = 0; i < table->count && table->entries[i].key != nullptr; ++i) {
      texts->push_back(DisplayText(table->entries[i].key));
    }
    *strings = RefTo(texts.release());
    inForce->ledger.StringsOpened();
    return 0;
  });
}

const char* GetString(OrvStringsRef strings, std::int32_t id, std::int32_t, std::uint32_t*) {
  const auto* texts = ObjectOf<const DisplayTexts>(strings);
  const bool known = texts != nullptr && id >= 0 && static_cast<std::size_t>(id) < texts->size();
  return known ? (*texts)[static_cast<std::size_t>(id)].c_str() : "";
}

std::int32_t CloseStrings(OrvStringsRef* strings) {
  delete ObjectOf<DisplayTexts>(*strings);
  *strings = 0;
  if (inForce != nullptr) inForce->ledger.StringsClosed();
  return 0;
}

// --- Utilities

OrvHandle NewHandle(std::uint64_t size) {
  return inForce == nullptr ? nullptr : inForce->ledger.NewHandle(size, inForce);
}
void LockHandle(OrvHandle handle) {
  if (inForce != nullptr) inForce->ledger.Lock(handle);
}
void UnlockHandle(OrvHandle handle) {
  if (inForce != nullptr) inForce->ledger.Unlock(handle);
}
void DisposeHandle(OrvHandle handle) {
  if (inForce != nullptr) inForce->ledger.Dispose(handle);
}
void CopyString(char* destination, const char* source) { std::memcpy(destination, source, std::strlen(source) + 1); }

// --- Named services

std::int32_t UpdateParamUi(OrvEffectRef effectRef, std::int32_t hostIndex, const OrvParamDef* definition) {
  return For(effectRef, [&](HostAnswers& answers) { return answers.UpdateParamUi(hostIndex, *definition); });
}

std::int32_t CheckOutPath(OrvEffectRef effectRef, std::int32_t pathId, std::int32_t time, std::int32_t timeStep,
                          std::int32_t timeScale, OrvPathRef* path) {
  return For(effectRef, [&](HostAnswers& answers) {
    ExpectTimeUnits(answers, timeStep, timeScale);
    *path = answers.CheckOutPath(pathId, time);
    if (*path != 0) answers.ledger.Lend(Ledger::Loan::kPath, *path);
    return 0;
  });
}

std::int32_t CheckInPath(OrvEffectRef effectRef, std::int32_t, std::int32_t, OrvPathRef path) {
  return For(effectRef, [&](HostAnswers& answers) {
    if (answers.ledger.TakeBack(Ledger::Loan::kPath, path)) answers.MaskLoanReturned();
    return 0;
  });
}

std::int32_t IsOpen(OrvEffectRef effectRef, OrvPathRef path, std::int32_t* open) {
  return For(effectRef, [&](HostAnswers& answers) {
    *open = answers.PathIsOpen(path) ? 1 : 0;
    return 0;
  });
}

std::int32_t SegmentCount(OrvEffectRef effectRef, OrvPathRef path, std::int32_t* count) {
  return For(effectRef, [&](HostAnswers& answers) {
    *count = answers.SegmentCount(path);
    return 0;
  });
}

std::int32_t PrepareLengthQuery(OrvEffectRef effectRef, OrvPathRef path, std::int32_t segment, std::int32_t resolution,
                                OrvLengthQuery* query) {
  return For(effectRef, [&](HostAnswers& answers) {
    *query = answers.PrepareLengths(path, segment, resolution);
    answers.ledger.Lend(Ledger::Loan::kLengthQuery, *query);
    return 0;
  });
}

std::int32_t SegmentLength(OrvEffectRef effectRef, OrvPathRef, std::int32_t, OrvLengthQuery query, double* length) {
  return For(effectRef, [&](HostAnswers& answers) {
    *length = answers.SegmentLength(query);
    return 0;
  });
}

std::int32_t PointAtLength(OrvEffectRef effectRef, OrvPathRef, OrvLengthQuery query, std::int32_t, double distance,
                           double* x, double* y) {
  return For(effectRef, [&](HostAnswers& answers) {
    answers.PointAtLength(query, distance, *x, *y);
    return 0;
  });
}

std::int32_t ReleaseLengthQuery(OrvEffectRef effectRef, OrvPathRef, std::int32_t, OrvLengthQuery query) {
  return For(effectRef, [&](HostAnswers& answers) {
    if (answers.ledger.TakeBack(Ledger::Loan::kLengthQuery, query)) answers.MaskLoanReturned();
    return 0;
  });
}

std::int32_t ChangeStamp(OrvEffectRef effectRef, std::uint64_t* stamp) {
  return For(effectRef, [&](HostAnswers& answers) {
    *stamp = answers.ChangeStamp();
    return 0;
  });
}

std::int32_t RowsBetweenReports(OrvEffectRef effectRef, std::int32_t* rows) {
  return For(effectRef, [&](HostAnswers& answers) {
    *rows = answers.RowsBetweenReports();
    return 0;
  });
}

template <typename Work>
std::int32_t WithResumePoints(OrvEffectRef effectRef, const Work& work) noexcept {
  return For(effectRef, [&](HostAnswers& answers) {
    ResumePoints* points = answers.KeptResumePoints();
    if (points == nullptr) return kHostFailed;
    work(*points);
    return 0;
  });
}

std::int32_t ResumePointWanted(OrvEffectRef effectRef, std::int32_t tick, std::int32_t from, std::int32_t to,
                               std::int32_t* wanted) {
  return WithResumePoints(effectRef, [&](ResumePoints& points) { *wanted = points.Wants(tick, from, to) ? 1 : 0; });
}

std::int32_t KeepResumePoint(OrvEffectRef effectRef, std::int32_t tick, const void* bytes, std::uint64_t size) {
  return WithResumePoints(effectRef, [&](ResumePoints& points) {
    try {
      points.Keep(tick, {static_cast<const std::uint8_t*>(bytes), static_cast<std::size_t>(size)});
    } catch (const std::bad_alloc&) {  // the frame may need what they take
      points.Clear();
    }
  });
}

std::int32_t LatestResumePoint(OrvEffectRef effectRef, std::int32_t atOrBefore, std::int32_t* tick, const void** bytes,
                               std::uint64_t* size) {
  return WithResumePoints(effectRef, [&](ResumePoints& points) {
    const std::span<const std::uint8_t> latest = points.Latest(atOrBefore, *tick);
    *bytes = latest.data();
    *size = latest.size();
  });
}

std::int32_t ReportWave(OrvEffectRef effectRef, const OrvWave* wave) {
  return For(effectRef, [&](HostAnswers& answers) {
    answers.ReportWave(*wave);
    return 0;
  });
}

constexpr OrvParamUtilsService kParamUtils = {UpdateParamUi};
constexpr OrvPathQueryService kPathQuery = {nullptr, nullptr, CheckOutPath, CheckInPath};
constexpr OrvPathDataService kPathData = {IsOpen,        SegmentCount,  nullptr, PrepareLengthQuery,
                                          SegmentLength, PointAtLength, nullptr, ReleaseLengthQuery};

constexpr OrvChangeStampService kChangeStamp = {ChangeStamp};
constexpr OrvProgressIntervalService kProgressInterval = {RowsBetweenReports};
constexpr OrvResumePointsService kResumePoints = {ResumePointWanted, KeepResumePoint, LatestResumePoint};
constexpr OrvWaveReportService kWaveReport = {ReportWave};

struct NamedService {
  std::string_view name;
  std::int32_t version;
  const void* table;
};
constexpr NamedService kServices[] = {
    {ORV_PARAM_UTILS_SERVICE, ORV_PARAM_UTILS_VERSION, &kParamUtils},
    {ORV_PATH_QUERY_SERVICE, ORV_PATH_QUERY_VERSION, &kPathQuery},
    {ORV_PATH_DATA_SERVICE, ORV_PATH_DATA_VERSION, &kPathData},
    {ORV_CHANGE_STAMP_SERVICE, ORV_CHANGE_STAMP_VERSION, &kChangeStamp},
    {ORV_PROGRESS_INTERVAL_SERVICE, ORV_PROGRESS_INTERVAL_VERSION, &kProgressInterval},
    {ORV_RESUME_POINTS_SERVICE, ORV_RESUME_POINTS_VERSION, &kResumePoints},
    {ORV_WAVE_REPORT_SERVICE, ORV_WAVE_REPORT_VERSION, &kWaveReport}};

const NamedService* FindService(const char* name, std::int32_t version) {
  for (const NamedService& service : kServices) {
    if (name == service.name && version == service.version) return &service;
  }
  return nullptr;
}

std::int32_t AcquireService(const char* name, std::int32_t version, const void** service) {
  const NamedService* found = FindService(name, version);
  *service = found == nullptr ? nullptr : found->table;
  if (found == nullptr || inForce == nullptr) return kHostFailed;
  const bool withheld = (found->table == &kWaveReport && !inForce->WantsWaves()) ||
                        (found->table == &kResumePoints && inForce->KeptResumePoints() == nullptr);
  if (withheld) {
    *service = nullptr;
    return kHostFailed;
  }
  inForce->ledger.Lend(Ledger::Loan::kService, static_cast<std::uint64_t>(found - kServices));
  return 0;
}

std::int32_t ReleaseService(const char* name, std::int32_t version) {
  const NamedService* found = FindService(name, version);
  if (found == nullptr || inForce == nullptr) return kHostFailed;
  inForce->ledger.TakeBack(Ledger::Loan::kService, static_cast<std::uint64_t>(found - kServices));
  return 0;
}

constexpr OrvUtilities kUtilities = {NewHandle, LockHandle, UnlockHandle, DisposeHandle, CopyString};
constexpr OrvServiceTable kServiceTable = {AcquireService, ReleaseService};

[[noreturn]] void NotHere(const char* what) {
  throw WorkError(std::string("the effect asked for ") + what + " in a command that has none");
}

}  // namespace

OrvCallbacks HostCallbacks() {
  return {CheckOutParam, CheckInParam, AddParam, AbortCheck, Progress, OpenStrings, GetString, CloseStrings};
}

const OrvUtilities* HostUtilities() { return &kUtilities; }

const OrvServiceTable* HostServiceTable() { return &kServiceTable; }

AnswersInForce::AnswersInForce(HostAnswers& answers) : previous_(inForce) { inForce = &answers; }

AnswersInForce::~AnswersInForce() { inForce = previous_; }

std::int32_t HostAnswers::CheckOut(std::int32_t, std::int32_t, OrvParamDef&) { NotHere("a parameter's value"); }
std::int32_t HostAnswers::HostIndexOf(const OrvParamDef&) const { return -1; }
std::int32_t HostAnswers::AddParam(const OrvParamDef&) { NotHere("a further parameter"); }
std::int32_t HostAnswers::UpdateParamUi(std::int32_t, const OrvParamDef&) { NotHere("a parameter's appearance"); }
OrvPathRef HostAnswers::CheckOutPath(std::int32_t, std::int32_t) { NotHere("a mask"); }
bool HostAnswers::PathIsOpen(OrvPathRef) { NotHere("a mask"); }
std::int32_t HostAnswers::SegmentCount(OrvPathRef) { NotHere("a mask"); }
OrvLengthQuery HostAnswers::PrepareLengths(OrvPathRef, std::int32_t, std::int32_t) { NotHere("a mask"); }
double HostAnswers::SegmentLength(OrvLengthQuery) { NotHere("a mask"); }
void HostAnswers::PointAtLength(OrvLengthQuery, double, double&, double&) { NotHere("a mask"); }

}  // namespace orvandel::stage
