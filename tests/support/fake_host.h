// A host for tests: plays any order of commands, keeps a ledger of everything it lends, and can make any callback fail.
//
// One at a time: instances of one module share its heap, and the global set-down of one frees the memory of all.
//
// It speaks to a command entry point (the one linked into the test unless another is given), answers check-outs from
// value functions, and after every command can say what is still outstanding. Output and layers lie between red zones.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "orvandel/effect.h"

namespace orvandel::test {

// An image with padded rows between red zones; bytes outside the pixels hold a pattern. Upside down: the rows lie in
// memory from the bottom up, so the stride is negative.
class FencedImage {
 public:
  FencedImage() = default;
  FencedImage(std::int32_t width, std::int32_t height, std::uint8_t fill = 0, std::int32_t padding = 20,
              bool upsideDown = false);
  OrvImage View();
  std::uint8_t* Pixel(std::int32_t x, std::int32_t y);
  // The pixels alone, row by row.
  std::vector<std::uint8_t> Pixels() const;
  bool FencesIntact() const;
  std::int32_t Width() const { return width_; }
  std::int32_t Height() const { return height_; }

 private:
  std::size_t Offset(std::int32_t x, std::int32_t y) const;
  std::int32_t width_ = 0, height_ = 0, rowBytes_ = 0;
  bool upsideDown_ = false;
  std::vector<std::uint8_t> storage_;
};

// A closed or open polyline as a mask; every segment is straight.
struct FakePath {
  std::vector<std::pair<double, double>> points;
  bool open = false;
};

enum class Callback {
  kCheckOut,
  kCheckIn,
  kAddParam,
  kAbort,
  kProgress,
  kOpenStrings,
  kGetString,
  kNewHandle,
  kAcquire,
  kUpdateUi,
  kCheckOutPath,
  kIsOpen,
  kSegmentCount,
  kPrepareQuery,
  kSegmentLength,
  kPointAtLength,
  kReportWave,
  kPoll,  // the abort check or the progress report, whichever comes first
  kCount
};

// What a refused check-out leaves in the definition.
enum class Leaves { kNothing, kJunk, kZeroValue };

// What a callback answers instead of its real answer. kGetString, kNewHandle: null. kAcquire with code 0: a null table.
struct Fault {
  Callback callback = Callback::kCount;
  std::int64_t at = -1;  // the at-th call of that callback from now, counted from 0
  std::int32_t code = 4;
  bool persistent = false;  // all later calls too
  bool throws = false;      // instead of answering
  Leaves leaves = Leaves::kNothing;
};

class FakeHost {
 public:
  using ValueFunction = std::function<void(std::int32_t hostTime, OrvParamDef& definition)>;

  explicit FakeHost(std::int32_t width = 64, std::int32_t height = 48, OrvFilterMain entry = &FilterMain);
  // Further commands go to this entry point: the module has been loaded anew.
  void Enter(OrvFilterMain entry) { entry_ = entry; }
  ~FakeHost();
  FakeHost(const FakeHost&) = delete;
  FakeHost& operator=(const FakeHost&) = delete;

  // One command: fills the records, sends it, keeps the handles. Returns the code.
  std::int32_t Send(std::int32_t selector, void* extra = nullptr, bool withParams = false, bool withOutput = false);
  std::int32_t SetUp();  // global and parameter set-up, sequence set-up; the first code that is not 0
  std::int32_t Render(std::int32_t hostTime);
  std::int32_t RenderTick(double tick) { return Render(static_cast<std::int32_t>(tick * timeScale / 30.0)); }
  // The picture that a sequence of its own gives when this is the only frame it renders.
  std::vector<std::uint8_t> FreshPicture(std::int32_t hostTime);
  std::vector<std::uint8_t> FreshPictureAtTick(double tick) {
    return FreshPicture(static_cast<std::int32_t>(tick * timeScale / 30.0));
  }
  std::int32_t SetDown();  // sequence set-down, global set-down

  // Values. A parameter without a function has its default (points in per cent of the layer, layers and masks as set
  // below).
  std::int32_t IndexOf(std::int32_t paramId) const;  // by definition id / 2
  void SetFixed(std::int32_t paramId, double value);
  void SetWord(std::int32_t paramId, std::int32_t word);
  void SetPoint(std::int32_t paramId, double x, double y);
  void SetValue(std::int32_t paramId, ValueFunction function);
  ValueFunction ValueFunctionOf(std::int32_t paramId) const;  // empty when it has its default
  void ClearValues() { values_.clear(); }

  // The frame.
  std::vector<std::uint8_t> Picture() const { return output.Pixels(); }
  bool Balanced(std::string* why = nullptr) const;     // nothing lent but handles the effect may keep
  bool NothingLeft(std::string* why = nullptr) const;  // after global set-down

  void ArmAll(std::vector<Fault> faults);  // each counts the calls of its own callback
  void Arm(const Fault& fault) { ArmAll({fault}); }
  void Disarm() { faults_.clear(); }
  std::int64_t Calls(Callback callback) const { return calls_[static_cast<std::size_t>(callback)]; }
  void ResetCalls();
  std::int64_t PollsAfterStop() const { return pollsAfterStop_; }
  bool FaultStruck() const { return struck_; }                  // since it was armed
  bool NeededServiceRefused() const { return neededRefused_; }  // not one that the effect does without
  std::uint64_t FirstRefusedBytes() const { return refused_; }  // of the handles refused since the fault was armed

  OrvInRecord in{};
  OrvOutRecord out{};
  FencedImage output;
  FencedImage input;                // the effect's own layer; empty: transparent of the layer's size
  std::vector<FencedImage> layers;  // "Source Layer" = n chooses layers[n - 1] when `sourceLayer` is set
  std::int32_t sourceLayer = 0;     // 0: none
  std::vector<FakePath> masks;
  std::int32_t timeScale = 30000;
  std::int32_t duration = 300000;
  std::vector<OrvParamDef> definitions;  // by host index, element 0 the input layer
  std::vector<std::string> paramNames, choices;
  std::map<std::int32_t, OrvParamDef> uiUpdates;  // the last update of each parameter's UI by host index
  std::vector<std::int32_t> uiOrder;
  std::vector<std::int32_t> progressDone, progressTotal;
  std::uint8_t handleFill = 0xA5;
  bool passParamsToRender = true;
  std::uint64_t changeStamp = 0;        // offered as the optional service unless 0
  std::int32_t rowsBetweenReports = 0;  // the same
  bool hearsWaves = false;              // the same
  bool keepsResumePoints = false;       // the same; kept whatever changes, till the sequence ends
  std::map<OrvHandle, std::map<std::int32_t, std::vector<std::uint8_t>>> resumePoints;  // by sequence and tick
  std::function<void()> onPoll;                              // before an abort check or progress report is answered
  std::function<double(double)> distortPaths;                // what the path services say of lengths and coordinates
  std::optional<OrvImage> lentOutput, lentInput, lentLayer;  // images of the test's own instead
  std::function<std::string(std::string)> translate;         // every text, when a string table is opened
  std::int32_t paramCountBefore = 0;                         // what the out-record says when a command begins
  struct {
    std::int32_t index, time, step, scale;
  } lastCheckOut{};
  std::int64_t pollsLeft = INT64_MAX;  // then every poll is answered with kOutOfPatience
  static constexpr std::int32_t kOutOfPatience = -7;

 private:
  friend struct FakeCallbacks;
  const Fault* FaultAt(Callback callback);  // counts the call; null: it is answered
  void FillRecords();
  OrvParamDef ValueOf(std::int32_t hostIndex, std::int32_t hostTime);

  // The bytes asked for and a red zone behind them.
  struct Block {
    std::vector<std::uint8_t> bytes;
    void* address = nullptr;  // what the handle points to
    std::int32_t locks = 0;
  };

  OrvFilterMain entry_;
  std::map<std::int32_t, ValueFunction> values_;
  std::vector<std::int64_t> calls_ = std::vector<std::int64_t>(static_cast<std::size_t>(Callback::kCount));
  std::vector<Fault> faults_;  // `at` counts down
  bool struck_ = false;
  bool neededRefused_ = false;
  std::uint64_t refused_ = 0;
  std::map<OrvHandle, Block*> handles_;
  std::int32_t checkOuts_ = 0, services_ = 0, stringTables_ = 0, paths_ = 0, queries_ = 0;
  bool stopped_ = false;
  std::int64_t pollsAfterStop_ = 0;
  std::set<std::string> problems_;
  std::vector<std::string> texts_;  // copied when the table is opened: the module may go away meanwhile
};

}  // namespace orvandel::test
