// What is drawn before an editor changes anything: a scene file, a preset, or the effect as it comes.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::bridge {

class Look {
 public:
  // Every parameter at its default, in a layer of 1,920 x 1,080.
  static std::shared_ptr<const Look> Plain();
  // A scene file, or the name of a preset. Throws InputError with one line that says what is wrong.
  static std::shared_ptr<const Look> Open(const std::string& name);
  // A scene's text as if it were in the file. Throws InputError.
  static std::shared_ptr<const Look> FromText(std::string text, std::filesystem::path file);

  // With the clock for a frame rate; 0: the scene's own, or one on which every usual rate's frames fall, as long as the
  // times stay below `seconds`. Throws InputError.
  stage::Scene SceneFor(const stage::Rational& frameRate, double seconds) const;
  // What a scene file says; 0/1 without one.
  stage::Rational FrameRate() const { return frameRate_; }
  // Whether a scene's effects trace the layer that they are applied to, and whether the scene has a picture for it.
  bool TracesInput() const { return tracesInput_; }
  bool HasInput() const { return hasInput_; }
  // How the scene's picture is laid over what stands behind it. Plainly: it has no more than 8 bits, and normal blend
  // in stored values mixes it.
  bool IsLaidPlainly() const { return laidPlainly_; }
  stage::Blend Blend() const { return blend_; }
  bool IsLinear() const { return linear_; }

 private:
  Look(std::string text, std::filesystem::path file) : text_(std::move(text)), file_(std::move(file)) {}

  std::string text_;  // empty: plain
  std::filesystem::path file_;
  stage::Rational frameRate_{0, 1};
  bool tracesInput_ = false, hasInput_ = false, laidPlainly_ = true, linear_ = false;
  stage::Blend blend_ = stage::Blend::kNormal;
};

// Where presets are looked for, and those whose folder is not installed: built in.
std::vector<std::filesystem::path> PresetFolders();
struct BuiltInPreset {
  const char* name;
  const char* text;
};
const std::vector<BuiltInPreset>& BuiltInPresets();

}  // namespace orvandel::bridge
