// Answers the effect's questions from a scene: parameter values, layers, masks, whether to stop.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "stage/media/layer_pictures.h"
#include "stage/module/host_answers.h"
#include "stage/module/mask_lender.h"
#include "stage/module/module_session.h"
#include "stage/module/value_table.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

class SceneAnswers final : public HostAnswers {
 public:
  // Opens the input and every layer that the emitter may choose: InputError. Both references must outlive the answers.
  SceneAnswers(EffectModule::Impl& module, const Scene& scene, const Emitter& emitter, const OutputScale& scale);

  std::function<bool()> shouldStop;            // empty: never
  bool checkImages = true;                     // see RenderOptions
  bool sequenceEnds = false;                   // with the running command
  HostImage* output = nullptr;                 // of the running command: only its padding is watched
  std::function<void(const OrvWave&)> onWave;  // see RenderOptions
  std::int64_t maxWaves = 0;
  ResumePoints* resumePoints = nullptr;  // of the sequence, while its frames may begin at one
  std::int64_t wavesReported = 0;        // in the running command

  // The scene has other values, or live pictures.
  void SceneChanged();

  bool InputMoves() const { return input_->Moves(); }
  // Of a layer that the emitter may choose, from 1.
  bool LayerMoves(std::int32_t place) { return OpenLayer(static_cast<std::size_t>(place))->Moves(); }

  // The parameter array of a command at `hostTime`: the input layer with its picture, every other value, no other
  // pixels. Valid until the next call; the picture until the command has ended.
  OrvParamDef** ParamsAt(std::int32_t hostTime);

  std::int32_t CheckOut(std::int32_t hostIndex, std::int32_t time, OrvParamDef& definition) override;
  std::int32_t HostIndexOf(const OrvParamDef& definition) const override;
  bool ShouldStop() override { return shouldStop && shouldStop(); }
  std::int32_t UpdateParamUi(std::int32_t hostIndex, const OrvParamDef& definition) override;
  std::uint64_t ChangeStamp() override { return stamp_; }
  ResumePoints* KeptResumePoints() override { return resumePoints; }
  bool WantsWaves() const override { return true; }
  void ReportWave(const OrvWave& wave) override;
  // A stop is still noticed within a millisecond.
  std::int32_t RowsBetweenReports() override { return 256; }
  OrvPathRef CheckOutPath(std::int32_t pathId, std::int32_t time) override { return masks_.PathAt(pathId, time); }
  bool PathIsOpen(OrvPathRef path) override { return masks_.IsOpen(path); }
  std::int32_t SegmentCount(OrvPathRef path) override { return masks_.SegmentCount(path); }
  OrvLengthQuery PrepareLengths(OrvPathRef path, std::int32_t segment, std::int32_t resolution) override {
    return masks_.Prepare(path, segment, resolution);
  }
  double SegmentLength(OrvLengthQuery query) override { return MaskLender::QueryOf(query).Length(); }
  void PointAtLength(OrvLengthQuery query, double distance, double& x, double& y) override;
  void MaskLoanReturned() override { masks_.TakeBack(); }
  std::string EndCommand() override;

 private:
  void OpenMedia();
  std::unique_ptr<LayerPictures>& OpenLayer(std::size_t place);
  bool LentPicturesAreWhole();
  OrvImage Lend(const std::shared_ptr<HostImage>& image);

  EffectModule::Impl& module_;
  const Scene& scene_;
  const Emitter& emitter_;
  OutputScale scale_;
  std::uint64_t stamp_ = 1;  // of the scene as it is now
  ValueTable values_;
  MaskLender masks_;
  std::unique_ptr<LayerPictures> input_;
  std::vector<std::unique_ptr<LayerPictures>> layers_;  // by place; null where the emitter never chooses it
  std::vector<std::shared_ptr<HostImage>> lent_;        // in this command, each once
  std::vector<std::shared_ptr<HostImage>> unchecked_;   // lent since they were last checked
  std::uint32_t commands_ = 0;
  std::vector<OrvParamDef> params_;
  std::vector<OrvParamDef*> paramPointers_;
};

}  // namespace orvandel::stage
