// Who answers the effect's callbacks during a command. The effect reference that the host hands in points to it.
//
// The callbacks themselves (host_services.cpp) keep the ledger, refuse what breaks the contract and keep exceptions out
// of the effect; what is answered differs between setting the module up and playing a scene.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "orvandel/host.h"
#include "stage/module/ledger.h"
#include "stage/module/resume_points.h"

struct OrvWave;  // orvandel/wave_report.h

namespace orvandel::stage {

// What a callback returns when the host failed; the reason waits in HostAnswers::failure.
inline constexpr std::int32_t kHostFailed = 0x4F56464C;
// What abort check and progress return once the caller has asked to stop.
inline constexpr std::int32_t kHostStops = 0x4F565354;

class HostAnswers {
 public:
  explicit HostAnswers(Ledger& books) : ledger(books) {}
  virtual ~HostAnswers() = default;
  HostAnswers(const HostAnswers&) = delete;
  HostAnswers& operator=(const HostAnswers&) = delete;

  // Each may throw: the exception is kept and thrown again after the command. Codes: 0 = success.
  virtual std::int32_t CheckOut(std::int32_t hostIndex, std::int32_t time, OrvParamDef& definition);
  // The parameter that a checked-out definition belongs to; -1: none.
  virtual std::int32_t HostIndexOf(const OrvParamDef& definition) const;
  virtual std::int32_t AddParam(const OrvParamDef& definition);
  virtual bool ShouldStop() { return false; }
  virtual std::int32_t UpdateParamUi(std::int32_t hostIndex, const OrvParamDef& definition);

  // Another number once any answer may have changed; 0: no promise.
  virtual std::uint64_t ChangeStamp() { return 0; }
  // Rows of a wave between two progress reports; each of them asks ShouldStop.
  virtual std::int32_t RowsBetweenReports() { return 1; }

  // The sequence's resume points (orvandel/services.h); null: none are kept.
  virtual ResumePoints* KeptResumePoints() { return nullptr; }

  // Whether the waves of a frame are to be reported, and each of them; its points are valid during the call.
  virtual bool WantsWaves() const { return false; }
  virtual void ReportWave(const OrvWave&) {}

  // Mask paths; 0: no such mask.
  virtual OrvPathRef CheckOutPath(std::int32_t pathId, std::int32_t time);
  virtual bool PathIsOpen(OrvPathRef path);
  virtual std::int32_t SegmentCount(OrvPathRef path);
  virtual OrvLengthQuery PrepareLengths(OrvPathRef path, std::int32_t segment, std::int32_t resolution);
  virtual double SegmentLength(OrvLengthQuery query);
  virtual void PointAtLength(OrvLengthQuery query, double distance, double& x, double& y);
  virtual void MaskLoanReturned() {}  // a path or a query, which was lent

  // After every command: releases what was lent and reports what is wrong with it, "" when nothing is.
  virtual std::string EndCommand() { return {}; }

  Ledger& ledger;
  std::int32_t timeScale = 1, timeStep = 1;  // what questions about other times must carry
  bool stopped = false;                      // kHostStops has been answered in this command
  std::exception_ptr failure;
};

// Makes `answers` the one that callbacks without an effect reference turn to, on this thread, for its own life.
class AnswersInForce {
 public:
  explicit AnswersInForce(HostAnswers& answers);
  ~AnswersInForce();
  AnswersInForce(const AnswersInForce&) = delete;
  AnswersInForce& operator=(const AnswersInForce&) = delete;

 private:
  HostAnswers* previous_;
};

}  // namespace orvandel::stage
