// A scene as a project of the test host: what the scene says over time is what the host answers.
#pragma once

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>

#include "stage/media/media_in.h"
#include "stage/picture/picture_scale.h"
#include "stage/scene/param_values.h"
#include "stage/scene/scene.h"
#include "test_host.h"
#include "tests/support/temp_folder.h"

namespace orvandel::ofx::test {

inline double ValueOf(const stage::Rational& ratio) {
  return static_cast<double>(ratio.num) / static_cast<double>(ratio.den);
}

inline Habits HabitsOf(const stage::Scene& scene, int k = 1) {
  Habits habits;
  habits.pixelAspect = ValueOf(scene.pixelAspect);
  habits.width = scene.width * habits.pixelAspect;
  habits.height = scene.height;
  habits.frameRate = ValueOf(scene.time.frameRate);
  habits.scale = {1.0 / k, 1.0 / k};
  return habits;
}

// A picture as the host's image of the frame.
inline std::unique_ptr<Image> ImageOf(const Habits& habits, const stage::Picture& picture) {
  auto image = std::make_unique<Image>(habits, habits.sourceForm, OfxRectI{0, 0, picture.width, picture.height});
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const std::uint8_t* pixel = &picture.bytes[static_cast<std::size_t>(y * picture.width + x) * 4];
      const int row = picture.height - 1 - y, channels = habits.sourceForm.Channels();
      const bool opaque = channels == 4 && habits.sourceForm.alpha == std::string(alpha::kOpaque);
      const double a = opaque ? 1 : pixel[0] / 255.0;
      const double share = habits.sourceForm.alpha == std::string(alpha::kPremultiplied) ? a : 1;
      for (int c = 0; c < 3 && channels > 1; ++c) image->SetChannel(x, row, c, pixel[c + 1] / 255.0 * share);
      if (channels != 3) image->SetChannel(x, row, channels - 1, a);
    }
  }
  return image;
}

class ScenePlayer {
 public:
  ScenePlayer(const stage::Scene& scene, const stage::ParamCatalog& catalog) : scene_(scene), catalog_(catalog) {}

  // Answers the instance's parameters; a mask is an absolute file, or a path that is written to one.
  void Direct(OfxImageEffect& effect, const std::string& maskPath) const {
    for (const auto& param : effect.params.params) {
      if (param->type == type::kGroup) continue;
      const stage::ParamInfo* info = catalog_.Find(param->properties.Get<std::string>(prop::kLabel));
      if (info == nullptr || info->Type() == ORV_PARAM_LAYER) continue;
      if (info->Type() == ORV_PARAM_PATH) {
        if (std::filesystem::path(maskPath).is_absolute()) {
          param->text = maskPath;
        } else if (!maskPath.empty()) {
          param->text = (folder_ / "mask.svg").string();
          orvandel::test::WriteFile(param->text, "<svg><path d=\"" + maskPath + "\"/></svg>");
        }
        continue;
      }
      const stage::Track& track = scene_.emitters[0].tracks[static_cast<std::size_t>(info->hostIndex)];
      if (track.IsDefault()) continue;
      param->animated = !track.IsConstant();
      param->value = [this, info](double time) { return AtTime(*info, time); };
    }
  }

  // What a medium shows at the host's frames, at 1/k.
  std::function<std::unique_ptr<Image>(double)> Pictures(const Habits& habits, const stage::Media& media, int k) const {
    std::shared_ptr<stage::MediaSource> source = stage::OpenMedia(media, scene_.time);
    return [this, &habits, source, k](double time) {
      const auto hostTime = static_cast<std::int32_t>(std::lround(time * scene_.time.timeStep));
      return ImageOf(habits, stage::AverageBlocks(source->Decode(source->KeyAt(hostTime)), k));
    };
  }

 private:
  std::array<double, 3> AtTime(const stage::ParamInfo& info, double time) const {
    const auto hostTime = static_cast<std::int32_t>(std::lround(time * scene_.time.timeStep));
    const stage::Value value = stage::ValueAtTime(scene_, scene_.emitters[0], info, hostTime);
    if (const auto* point = std::get_if<stage::PointValue>(&value)) {
      return {point->x * ValueOf(scene_.pixelAspect), scene_.height - point->y, 0};
    }
    if (const auto* color = std::get_if<stage::ColorValue>(&value)) {
      return {color->red / 255, color->green / 255, color->blue / 255};
    }
    if (const auto* choice = std::get_if<stage::Choice>(&value)) {
      return {static_cast<double>(choice->index - (info.Type() == ORV_PARAM_POPUP ? 1 : 0)), 0, 0};
    }
    const double number = std::get<double>(value);
    return {info.Type() == ORV_PARAM_INTEGER ? std::floor(number + 0.5) : number, 0, 0};
  }

  const stage::Scene& scene_;
  const stage::ParamCatalog& catalog_;
  orvandel::test::TempFolder folder_;
};

}  // namespace orvandel::ofx::test
