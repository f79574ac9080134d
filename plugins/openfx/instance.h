// One effect in a project: its handles, and how the host's frames are the effect's time.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "plugins/openfx/geometry.h"
#include "plugins/openfx/image.h"
#include "plugins/openfx/kept_frames.h"
#include "plugins/openfx/param_table.h"
#include "plugins/openfx/suites.h"
#include "stage/scene/timebase.h"

namespace orvandel::ofx {

// The effect's time begins at `startFrame` of the host's.
struct Clock {
  stage::Timebase time;  // units that ticks of the effect fall on, and frames where there is a clock for the rate
  double unitsPerFrame = 1;
  double startFrame = 0;

  // The nearest unit; beyond what the effect counts, the last.
  std::int32_t UnitsAt(double frame) const;
  // Rounded once, so that whole frames are asked of the host as whole numbers.
  double FrameAt(std::int32_t units) const { return startFrame + units / unitsPerFrame; }
};

using RawValue = std::array<double, 3>;

class Instance {
 public:
  Instance(const Suites& suites, OfxImageEffectHandle handle, const ParamTable& table);
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  const Suites& Host() const { return suites_; }
  OfxImageEffectHandle Handle() const { return handle_; }
  const ParamTable& Table() const { return table_; }
  const Properties& Props() const { return properties_; }

  OfxImageClipHandle OutputClip() const { return output_; }
  OfxImageClipHandle SourceClip() const { return source_; }  // null in a Generator
  OfxImageClipHandle LayerClip() const { return layer_; }
  // Whether the host says that something is connected; some say so of every clip.
  bool IsConnected(OfxImageClipHandle clip) const;
  Properties PropsOf(OfxImageClipHandle clip) const;

  // A parameter by its place in the table: finite and in its range, whatever the host answers.
  RawValue ValueAt(std::size_t place, double frame) const;
  RawValue ValueAt(const char* name, double frame) const;
  std::string TextAt(std::size_t place, double frame) const;
  // Whether the host says that the parameter has no keys.
  bool HasNoKeys(std::size_t place) const;

  // The table's parameters, then its groups. The host is told what has changed.
  void Enable(const std::vector<bool>& enabled);

  Clock ClockAt(double frame) const;
  // As the image that is rendered says, else as the output or the project does.
  double PixelAspect(const Properties& image) const;
  // The project, where the host tells one: the part of it that is used, else all of it.
  std::optional<Stage> ProjectStage(const Properties& image = {}) const;

  // Shown to the person where the host can.
  void Complain(const std::string& text);
  void ClearComplaint();

  bool ShouldStop() const { return suites_.effects->abort(handle_) != 0; }
  // Within a sequence of renders nothing but the time changes.
  void BeginSequence();
  void EndSequence();
  // The person, or another part of the host, has changed something: another sequence, as far as numbers go.
  void Edited();
  // Different for each sequence of the process; 0 outside one.
  double SequenceNumber() const;
  // One that no sequence has.
  static double NewNumber();
  // The same for the same circumstances of one sequence, as FrameRequest::stamp promises; 0 for sequence 0.
  std::uint64_t StampIn(double sequence, const std::vector<double>& circumstances);

  KeptTimes tracedFrames;

 private:
  OfxImageClipHandle Clip(Name name) const;
  // Into variables that hold the default. For a parameter without keys some hosts refuse to give the value at a time,
  // and give it without one.
  template <typename... To>
  bool Read(OfxParamHandle param, double frame, To*... to) const {
    return suites_.params->paramGetValueAtTime(param, frame, to...) == kOk ||
           suites_.params->paramGetValue(param, to...) == kOk;
  }
  stage::Rational FrameRateAt(double frame) const;

  Suites suites_;
  OfxImageEffectHandle handle_;
  const ParamTable& table_;
  Properties properties_;
  OfxImageClipHandle output_ = nullptr, source_ = nullptr, layer_ = nullptr;
  std::vector<OfxParamHandle> params_;  // as in the table; null: the host has none
  std::vector<Properties> panel_;       // of the parameters, then of the groups
  mutable std::mutex guard_;
  std::string complaint_;
  std::vector<bool> enabled_;  // as the host was told
  int openSequences_ = 0;
  double sequence_ = 0;
  std::uint64_t stamp_ = 0;
  std::vector<double> stampOf_;
};

}  // namespace orvandel::ofx
